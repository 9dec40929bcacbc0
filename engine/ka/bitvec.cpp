#include "bitvec.h"

#include <algorithm>
#include <bit>
#include <ostream>

#include "die.h"

namespace ka {

void BitVec::growToWords(int count) {
  if (count <= wordCount()) return;
  int size = wordCount() ? wordCount() * 2 : 1;
  while (size < count) size *= 2;
  words_.resize(size_t(size), 0);
}

void BitVec::reserve(int bits) { growToWords((bits + 31) / 32); }

void BitVec::clear() { std::vector<uint32_t>().swap(words_); }

bool BitVec::operator[](int bit) const { return (word(bit >> 5) >> (bit & 31)) & 1; }

BitVec::BitRef BitVec::operator[](int bit) {
  reserve(bit + 1);
  return BitRef(words_[size_t(bit >> 5)], 1u << (bit & 31));
}

int BitVec::bitscan(int start, int end) const {
  int limit = wordCount() * 32;
  if (end >= 0) limit = std::min(limit, end);
  for (int i = std::max(start + 1, 0); i < limit;) {
    uint32_t w = words_[size_t(i >> 5)] >> (i & 31);
    if (!w) {
      i = (i | 31) + 1;
      continue;
    }
    int bit = i + std::countr_zero(w);
    return bit < limit ? bit : -1;
  }
  return -1;
}

int BitVec::rbitscan(int start, int end) const {
  int stored = wordCount() * 32;
  int lowest = std::max(end, 0);
  for (int i = (start < 0 ? stored : std::min(start, stored)) - 1; i >= lowest;) {
    uint32_t w = words_[size_t(i >> 5)] << (31 - (i & 31));
    if (!w) {
      i = (i & ~31) - 1;
      continue;
    }
    int bit = i - std::countl_zero(w);
    return bit >= lowest ? bit : -1;
  }
  return -1;
}

int BitVec::bitscanz(int start, int end) const {
  int stored = wordCount() * 32;
  int first = std::max(start + 1, 0);
  if (end < 0 && first >= stored) return (start + 1) & ~31;
  int limit = end < 0 ? stored : end;
  for (int i = first; i < limit;) {
    if (i >= stored) return i;
    uint32_t w = ~words_[size_t(i >> 5)] >> (i & 31);
    if (!w) {
      i = (i | 31) + 1;
      continue;
    }
    int bit = i + std::countr_zero(w);
    return bit < limit ? bit : -1;
  }
  // All ones to the end of the stored words: with no limit, the first bit behind them.
  return end < 0 ? stored : -1;
}

int BitVec::rbitscanz(int start, int end) const {
  int stored = wordCount() * 32;
  int lowest = std::max(end, 0);
  for (int i = start < 0 ? stored - 1 : start - 1; i >= lowest;) {
    if (i >= stored) return i;
    uint32_t w = ~words_[size_t(i >> 5)] << (31 - (i & 31));
    if (!w) {
      i = (i & ~31) - 1;
      continue;
    }
    int bit = i - std::countl_zero(w);
    return bit >= lowest ? bit : -1;
  }
  return -1;
}

int BitVec::popcount() const {
  int count = 0;
  for (uint32_t w : words_) count += std::popcount(w);
  return count;
}

BitVec BitVec::extract(int start, int length) const {
  if (start % 32) die("BitVec::Extract: bit-shifting extract unimplemented");
  int stored = wordCount() * 32;
  int end = length < 0 ? stored : std::min(stored, start + length);
  BitVec out;
  if (end <= start) return out;
  out.words_.assign(words_.begin() + start / 32, words_.begin() + (end + 31) / 32);
  if (int tail = (end - start) % 32) out.words_.back() &= (1u << tail) - 1;
  return out;
}

uint32_t BitVec::extract32(int position) const {
  int index = position >> 5, shift = position & 31;
  uint32_t value = word(index) >> shift;
  if (shift) value |= word(index + 1) << (32 - shift);
  return value;
}

int BitVec::deposit32(int position, uint32_t value) {
  int index = position >> 5, shift = position & 31;
  if (!shift) {
    growToWords(index + 1);
    words_[size_t(index)] = value;
    return index;
  }
  growToWords(index + 2);
  uint32_t low = (1u << shift) - 1;
  words_[size_t(index)] = (words_[size_t(index)] & low) | value << shift;
  words_[size_t(index + 1)] = (words_[size_t(index + 1)] & ~low) | value >> (32 - shift);
  return index + 1;
}

void BitVec::zeroFill(int start, int length) {
  int end = length < 0 ? wordCount() * 32 : std::min(wordCount() * 32, start + length);
  for (int i = start; i < end; ++i) words_[size_t(i >> 5)] &= ~(1u << (i & 31));
}

void BitVec::oneFill(int start, int length) {
  if (length <= 0) return;
  reserve(start + length);
  for (int i = start; i < start + length; ++i) words_[size_t(i >> 5)] |= 1u << (i & 31);
}

bool BitVec::any() const {
  return std::any_of(words_.begin(), words_.end(), [](uint32_t w) { return w != 0; });
}

BitVec& BitVec::operator|=(BitVec const& other) {
  growToWords(other.wordCount());
  for (int i = 0; i < other.wordCount(); ++i) words_[size_t(i)] |= other.words_[size_t(i)];
  return *this;
}

BitVec& BitVec::operator&=(BitVec const& other) {
  for (int i = 0; i < wordCount(); ++i) words_[size_t(i)] &= other.word(i);
  return *this;
}

BitVec& BitVec::operator-=(BitVec const& other) {
  int common = std::min(wordCount(), other.wordCount());
  for (int i = 0; i < common; ++i) words_[size_t(i)] &= ~other.words_[size_t(i)];
  return *this;
}

BitVec operator|(BitVec a, BitVec const& b) { return a |= b; }
BitVec operator&(BitVec a, BitVec const& b) { return a &= b; }
BitVec operator-(BitVec a, BitVec const& b) { return a -= b; }

bool operator==(BitVec const& a, BitVec const& b) {
  int count = std::max(a.wordCount(), b.wordCount());
  for (int i = 0; i < count; ++i) {
    if (a.word(i) != b.word(i)) return false;
  }
  return true;
}

bool subset(BitVec const& a, BitVec const& b) {
  for (int i = 0; i < a.wordCount(); ++i) {
    if (a.word(i) & ~b.word(i)) return false;
  }
  return true;
}

bool proper_subset(BitVec const& a, BitVec const& b) { return subset(a, b) && !(a == b); }

std::ostream& operator<<(std::ostream& out, BitVec const& v) {
  out << "BitVec(";
  for (int i = 0; i < v.wordCount(); ++i) out << v.word(i) << " ";
  return out << ")";
}

}  // namespace ka
