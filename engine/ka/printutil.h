// Stream wrappers that print text escaped, counts abbreviated and sizes with a unit.
#pragma once

#include <cstdint>
#include <ostream>

#include "string_range.h"

namespace ka {

// The text with C escapes: named escapes for 7 to 13, \xNN for other control and high bytes.
struct CStrEscape {
  StringRange text;
};
// The text with a backslash before every shell-special byte.
struct BashEscape {
  StringRange text;
};
// A count times a scale, abbreviated with " K" or " M" from 1000 up.
struct Count {
  int64_t count;
  float scale = 1.0f;
};
// A size in B, KB, MB or GB (binary units).
struct Bytes {
  uint64_t size;
};
// `count` copies of `character`.
struct Indent {
  int32_t count;
  char character = ' ';
};

// Restores a stream's precision and flags when the scope ends.
class StreamFormatGuard {
 public:
  explicit StreamFormatGuard(std::ostream& os) : os_(os), flags_(os.flags()), precision_(os.precision()) {}
  ~StreamFormatGuard() {
    os_.flags(flags_);
    os_.precision(precision_);
  }
  StreamFormatGuard(StreamFormatGuard const&) = delete;
  StreamFormatGuard& operator=(StreamFormatGuard const&) = delete;

 private:
  std::ostream& os_;
  std::ios_base::fmtflags flags_;
  std::streamsize precision_;
};

std::ostream& operator<<(std::ostream& os, CStrEscape const& e);
std::ostream& operator<<(std::ostream& os, BashEscape const& e);
std::ostream& operator<<(std::ostream& os, Count const& c);
std::ostream& operator<<(std::ostream& os, Bytes const& b);
std::ostream& operator<<(std::ostream& os, Indent const& i);

}  // namespace ka
