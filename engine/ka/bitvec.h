// A growable set of non-negative integers held as bits. Bits past the stored words read as 0, so
// vectors with different word counts can be equal.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace ka {

class BitVec {
 public:
  // A writable bit of a vector that grew to hold it.
  class BitRef {
   public:
    BitRef(uint32_t& word, uint32_t mask) : word_(word), mask_(mask) {}
    operator bool() const { return word_ & mask_; }
    BitRef& operator=(bool on) {
      word_ = on ? word_ | mask_ : word_ & ~mask_;
      return *this;
    }

   private:
    uint32_t& word_;
    uint32_t mask_;
  };

  void swap(BitVec& other) noexcept { words_.swap(other.words_); }
  // Room for `bits` bits; words grow in powers of two and start at 0.
  void reserve(int bits);
  // Frees the words.
  void clear();
  bool operator[](int bit) const;
  BitRef operator[](int bit);

  // Scans for a set (or, with z, a clear) bit: upward from above `start` and below `end`, or
  // downward from below `start` down to `end`. -1 as `start` begins at the bottom (upward) or the
  // top (downward); -1 as `end` means no limit. -1 if there is none.
  int bitscan(int start, int end = -1) const;
  int rbitscan(int start, int end = -1) const;
  // With no limit, a `start` behind the stored words gives start + 1 rounded down to a multiple of
  // 32: long-standing behaviour that callers rely on.
  int bitscanz(int start, int end = -1) const;
  int rbitscanz(int start, int end = -1) const;
  int popcount() const;

  // The bits from `start`, a multiple of 32; `length` -1 is to the end. Clamped to the stored words.
  BitVec extract(int start, int length) const;
  // 32 bits from `position`; 0 past the end.
  uint32_t extract32(int position) const;
  // Stores 32 bits at `position`, growing as needed; returns the index of the last word written.
  int deposit32(int position, uint32_t value);
  // Clears a range (`length` -1 to the end) without growing.
  void zeroFill(int start, int length);
  // Sets a range of `length` above 0, growing to hold it.
  void oneFill(int start, int length);
  bool any() const;

  BitVec& operator|=(BitVec const& other);
  BitVec& operator&=(BitVec const& other);
  BitVec& operator-=(BitVec const& other);

  int wordCount() const { return int(words_.size()); }
  uint32_t word(int index) const { return index < wordCount() ? words_[size_t(index)] : 0; }

 private:
  void growToWords(int count);

  std::vector<uint32_t> words_;
};

BitVec operator|(BitVec a, BitVec const& b);
BitVec operator&(BitVec a, BitVec const& b);
BitVec operator-(BitVec a, BitVec const& b);
bool operator==(BitVec const& a, BitVec const& b);
// No bit of a is missing from b.
bool subset(BitVec const& a, BitVec const& b);
bool proper_subset(BitVec const& a, BitVec const& b);
// "BitVec(" and each word as an unsigned decimal followed by a blank, then ")".
std::ostream& operator<<(std::ostream& out, BitVec const& v);

}  // namespace ka
