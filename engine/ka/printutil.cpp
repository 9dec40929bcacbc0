#include "printutil.h"

#include <cstring>

namespace ka {

namespace {

// Collects output and hands it to the stream in chunks rather than per character.
class ChunkWriter {
 public:
  explicit ChunkWriter(std::ostream& os) : os_(os) {}
  ~ChunkWriter() { flush(); }
  void put(char c) {
    if (used_ + 4 > sizeof buffer_) flush();
    buffer_[used_++] = c;
  }
  void flush() {
    os_.write(buffer_, std::streamsize(used_));
    used_ = 0;
  }

 private:
  std::ostream& os_;
  char buffer_[512];
  size_t used_ = 0;
};

}  // namespace

std::ostream& operator<<(std::ostream& os, CStrEscape const& e) {
  static char const hex[] = "0123456789abcdef";
  static char const named[] = "abtnvfr";  // escapes for bytes 7 to 13
  ChunkWriter out(os);
  for (char c : e.text.view()) {
    if (c >= 7 && c <= 13) {
      out.put('\\');
      out.put(named[c - 7]);
    } else if (c < 32 || c == 127) {  // signed: bytes from 128 up land here too
      unsigned char b = static_cast<unsigned char>(c);
      out.put('\\');
      out.put('x');
      out.put(hex[b >> 4]);
      out.put(hex[b & 15]);
    } else {
      if (c == '\\' || c == '"') out.put('\\');
      out.put(c);
    }
  }
  return os;
}

std::ostream& operator<<(std::ostream& os, BashEscape const& e) {
  // The terminating zero of this list counts as special too.
  static char const special[] = " *?'\"\\|<>&[]$(){}`;=";
  ChunkWriter out(os);
  for (char c : e.text.view()) {
    if (std::memchr(special, c, sizeof special)) out.put('\\');
    out.put(c);
  }
  return os;
}

std::ostream& operator<<(std::ostream& os, Count const& c) {
  StreamFormatGuard guard(os);
  float value = float(c.count) * c.scale;
  os.precision(3);
  os.unsetf(std::ios_base::floatfield | std::ios_base::showpoint);
  if (value < 1000) return os << value;
  os.setf(std::ios_base::showpoint);
  os.width(4);
  if (value < 1e6f) return os << value * 0.001f << " K";
  return os << value * 1e-6f << " M";
}

std::ostream& operator<<(std::ostream& os, Bytes const& b) {
  StreamFormatGuard guard(os);
  os.precision(3);
  os.unsetf(std::ios_base::showpoint);
  if (b.size <= 1023) return os << b.size << " B";
  double quotient;
  char const* unit;
  if (b.size < 0x100000) {
    quotient = double(b.size) / 1024;
    unit = " KB";
  } else if (b.size > 0x3FFFFFFF) {
    quotient = double(b.size) / double(1u << 30);
    unit = " GB";
  } else {
    quotient = double(b.size) / double(1u << 20);
    unit = " MB";
  }
  if (quotient >= 1000) os.precision(4);
  return os << quotient << unit;
}

std::ostream& operator<<(std::ostream& os, Indent const& i) {
  for (int32_t n = 0; n < i.count; ++n) os.put(i.character);
  return os;
}

}  // namespace ka
