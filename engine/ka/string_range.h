// Non-owning text ranges and an input stream that reads one without copying.
#pragma once

#include <cstring>
#include <istream>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace ka {

// A pair of pointers into text owned elsewhere; a null pointer is an empty range.
struct StringRange {
  char const* begin = nullptr;
  char const* end = nullptr;

  constexpr StringRange() = default;
  constexpr StringRange(char const* b, char const* e) : begin(b), end(e) {}
  StringRange(char const* text) : begin(text), end(text ? text + std::strlen(text) : text) {}
  StringRange(std::string const& s) : begin(s.data()), end(s.data() + s.size()) {}
  constexpr StringRange(std::string_view s) : begin(s.data()), end(s.data() + s.size()) {}

  size_t size() const { return static_cast<size_t>(end - begin); }
  bool empty() const { return begin == end; }
  char operator[](size_t i) const { return begin[i]; }
  std::string str() const { return begin ? std::string(begin, end) : std::string(); }
  std::string_view view() const { return begin ? std::string_view(begin, size()) : std::string_view(); }
  bool startsWith(StringRange prefix) const { return view().substr(0, prefix.size()) == prefix.view(); }

  // Position just behind the first / last white-space code point, or null if there is none.
  // The range is decoded as UTF-8, so malformed text throws.
  char const* afterFirstWhiteSpace() const;
  char const* afterLastWhiteSpace() const;

  friend bool operator==(StringRange a, StringRange b) {
    if (a.size() != b.size()) return false;
    return a.begin == b.begin || a.view() == b.view();
  }
};

inline std::ostream& operator<<(std::ostream& os, StringRange r) { return os << r.view(); }

// A get area over a range, set once; it reads forward to the end and cannot seek.
class StringRangeStreamBuffer : public std::streambuf {
 public:
  explicit StringRangeStreamBuffer(StringRange range) {
    char* b = const_cast<char*>(range.begin);
    setg(b, b, b + range.size());
  }
};

// Reads a range in place; the range must outlive the stream.
class StringRangeStream : public std::istream {
 public:
  explicit StringRangeStream(StringRange range) : std::istream(nullptr), buffer_(range) { rdbuf(&buffer_); }

 private:
  StringRangeStreamBuffer buffer_;
};

}  // namespace ka
