#include "strutil.h"

#include <cctype>
#include <cstdio>
#include <cwctype>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace ka {

namespace {

[[noreturn]] void malformedUtf8() { throw std::runtime_error("malformed UTF-8 sequence"); }
[[noreturn]] void malformedUtf16() { throw std::runtime_error("malformed UTF-16 sequence"); }

bool isContinuation(unsigned char c) { return c >= 0x80 && c <= 0xBF; }

// Number of continuation bytes a lead byte announces, or -1 if it can't lead.
int continuationCount(unsigned char lead) {
  if (lead < 0x80) return 0;
  if (lead < 0xC2) return -1;
  if (lead <= 0xDF) return 1;
  if (lead <= 0xEF) return 2;
  if (lead <= 0xF4) return 3;
  return -1;
}

void appendContinuations(std::string& out, unsigned c, int count) {
  for (int shift = 6 * (count - 1); shift >= 0; shift -= 6) out += char(0x80 | ((c >> shift) & 0x3F));
}

// The shared lower ranges of the UTF-16 and UTF-32 encoders; false if `c` is beyond them.
bool appendBelowSurrogates(std::string& out, unsigned c) {
  if (c < 0x80) {
    out += char(c);
  } else if (c <= 0x800) {
    out += char(0xC0 | (c >> 6));
    appendContinuations(out, c, 1);
  } else if (c < 0xD800) {
    out += char(0xE0 | (c >> 12));
    appendContinuations(out, c, 2);
  } else {
    return false;
  }
  return true;
}

void appendFourBytes(std::string& out, unsigned c) {
  out += char(0xF0 | (c >> 18));
  appendContinuations(out, c, 3);
}

}  // namespace

void stringvprintf(std::string& out, char const* format, va_list args) {
  char stackBuffer[256];
  va_list copy;
  va_copy(copy, args);
  int n = std::vsnprintf(stackBuffer, sizeof stackBuffer, format, copy);
  va_end(copy);
  if (n < 0) return;
  if (n < int(sizeof stackBuffer)) {
    out.append(stackBuffer, size_t(n));
    return;
  }
  std::unique_ptr<char[]> big(new char[size_t(n) + 1]);
  va_copy(copy, args);
  std::vsnprintf(big.get(), size_t(n) + 1, format, copy);
  va_end(copy);
  out.append(big.get(), size_t(n));
}

std::string stringvprintf(char const* format, va_list args) {
  std::string out;
  stringvprintf(out, format, args);
  return out;
}

void stringprintf(std::string& out, char const* format, ...) {
  va_list args;
  va_start(args, format);
  stringvprintf(out, format, args);
  va_end(args);
}

std::string stringprintf(char const* format, ...) {
  va_list args;
  va_start(args, format);
  std::string out = stringvprintf(format, args);
  va_end(args);
  return out;
}

unsigned decodeUtf8Char(char const*& pos, char const* end) {
  unsigned char lead = static_cast<unsigned char>(*pos);
  int more = continuationCount(lead);
  if (more < 0) malformedUtf8();
  if (more == 0) {
    ++pos;
    return lead;
  }
  unsigned c = lead & (0x3F >> more);
  char const* p = pos + 1;
  for (int i = 0; i < more; ++i, ++p) {
    if (p >= end || !isContinuation(static_cast<unsigned char>(*p))) malformedUtf8();
    c = (c << 6) | (static_cast<unsigned char>(*p) & 0x3F);
  }
  pos = p;
  return c;
}

unsigned prevUtf8Char(char const*& pos, char const* begin) {
  char const* p = pos;
  unsigned bits = 0;
  int stepped = 0;
  while (true) {
    if (p <= begin) malformedUtf8();
    --p;
    unsigned char c = static_cast<unsigned char>(*p);
    if (!isContinuation(c)) break;
    if (stepped == 3) malformedUtf8();
    bits |= unsigned(c & 0x3F) << (6 * stepped);
    ++stepped;
  }
  unsigned char lead = static_cast<unsigned char>(*p);
  if (continuationCount(lead) != stepped) malformedUtf8();
  pos = p;
  unsigned leadBits = stepped == 0 ? 0x7F : (0x3F >> stepped);
  return (unsigned(lead & leadBits) << (6 * stepped)) | bits;
}

std::string utf16_to_utf8(unsigned short const* begin, unsigned short const* end) {
  std::string out;
  out.reserve(size_t(end - begin));
  for (unsigned short const* p = begin; p != end; ++p) {
    unsigned unit = *p;
    if (appendBelowSurrogates(out, unit)) continue;
    if (unit >= 0xDC00 || p + 1 == end || p[1] < 0xDC00 || p[1] > 0xDFFF) malformedUtf16();
    unsigned trail = *++p;
    appendFourBytes(out, 0x10000 + ((unit - 0xD800) << 10) + (trail - 0xDC00));
  }
  return out;
}

std::string utf32_to_utf8(unsigned int const* begin, unsigned int const* end) {
  std::string out;
  out.reserve(size_t(end - begin));
  for (unsigned int const* p = begin; p != end; ++p) {
    unsigned c = *p;
    if (appendBelowSurrogates(out, c)) continue;
    if (c <= 0x1FFFFF) {
      appendFourBytes(out, c);
    } else if (c < 0x4000000) {
      out += char(0xF8 | (c >> 24));
      appendContinuations(out, c, 4);
    } else if (c <= 0x7FFFFFFF) {
      out += char(0xFC | (c >> 30));
      appendContinuations(out, c, 5);
    } else {
      throw std::runtime_error("invalid Unicode codepoint");
    }
  }
  return out;
}

static_assert(sizeof(wchar_t) == sizeof(unsigned int), "wide characters are UTF-32 here");

std::string wstr_to_utf8(wchar_t const* begin, wchar_t const* end) {
  return utf32_to_utf8(reinterpret_cast<unsigned int const*>(begin), reinterpret_cast<unsigned int const*>(end));
}

std::string wstr_to_utf8(wchar_t const* text) { return wstr_to_utf8(text, text + std::wcslen(text)); }

std::string wstr_to_utf8(std::wstring const& text) { return wstr_to_utf8(text.data(), text.data() + text.size()); }

std::wstring utf8_to_wstr(StringRange text) {
  std::wstring out;
  for (char const* p = text.begin; p != text.end;) out += wchar_t(decodeUtf8Char(p, text.end));
  return out;
}

void split(StringRange text, std::vector<std::string>& out) {
  out.clear();
  std::istringstream in(text.str());
  for (std::string word; in >> word;) out.push_back(word);
}

void split(StringRange text, char delimiter, std::vector<std::string>& out) {
  std::istringstream in(text.str());
  for (std::string field; std::getline(in, field, delimiter);) out.push_back(field);
}

void split(StringRange text, std::string const& delimiters, std::vector<std::string>& out) {
  out.clear();
  std::string_view rest = text.view();
  while (true) {
    size_t cut = rest.find_first_of(delimiters);
    out.emplace_back(rest.substr(0, cut));
    if (cut == std::string_view::npos) return;
    rest.remove_prefix(cut + 1);
  }
}

bool replace(std::string& text, StringRange from, StringRange to) {
  size_t at = text.find(from.view());
  if (at == std::string::npos) return false;
  text.replace(at, from.size(), to.view());
  return true;
}

size_t replaceAll(std::string& text, StringRange from, StringRange to) {
  if (from.empty()) return 0;
  size_t count = 0;
  for (size_t at = text.find(from.view()); at != std::string::npos; at = text.find(from.view(), at + to.size())) {
    text.replace(at, from.size(), to.view());
    ++count;
  }
  return count;
}

std::string strLower(StringRange text) {
  std::string out = text.str();
  for (char& c : out) c = char(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string strUpper(StringRange text) {
  std::string out = text.str();
  for (char& c : out) c = char(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

std::string uriEncode(StringRange text, bool plusForSpace, char const* extraSet) {
  std::string allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._~-";
  if (extraSet) allowed += extraSet;
  static char const hex[] = "0123456789abcdef";
  std::string out;
  out.reserve(text.size());
  for (char c : text.view()) {
    if (allowed.find(c) != std::string::npos) {
      out += c;
    } else if (plusForSpace && c == ' ') {
      out += '+';
    } else {
      unsigned char b = static_cast<unsigned char>(c);
      out += '%';
      out += hex[b >> 4];
      out += hex[b & 15];
    }
  }
  return out;
}

// Lives here rather than beside StringRange so that the header stays free of the UTF-8 decoder.
char const* StringRange::afterFirstWhiteSpace() const {
  for (char const* p = begin; p != end;) {
    if (std::iswspace(wint_t(decodeUtf8Char(p, end)))) return p;
  }
  return nullptr;
}

char const* StringRange::afterLastWhiteSpace() const {
  char const* found = nullptr;
  for (char const* p = begin; p != end;) {
    if (std::iswspace(wint_t(decodeUtf8Char(p, end)))) found = p;
  }
  return found;
}

}  // namespace ka
