// The Json reader: one value from a stream, taken byte by byte straight from its buffer.
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "json.h"
#include "strutil.h"

namespace ka {

namespace {

// Reaches the get area of any stream buffer, so that runs of bytes can be taken at once.
struct GetArea : std::streambuf {
  static char* next(std::streambuf* b) { return (b->*&GetArea::gptr)(); }
  static char* end(std::streambuf* b) { return (b->*&GetArea::egptr)(); }
  static void skip(std::streambuf* b, ptrdiff_t n) { (b->*&GetArea::gbump)(int(n)); }
};

constexpr int kEof = std::char_traits<char>::eof();

bool isDigit(int c) { return c >= '0' && c <= '9'; }
bool isTokenChar(int c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDigit(c) || c == '$' || c == '_';
}
int hexValue(int c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

[[noreturn]] void fail(char const* message) { throw std::runtime_error(message); }

}  // namespace

class JsonReader {
 public:
  explicit JsonReader(std::istream& in) : in_(in), buf_(in.rdbuf()) {}

  Json readValue(int depth) {
    int c = skipWhitespace();
    if (c == '{' || c == '[') {
      if (depth >= Json::kMaxReadDepth) fail("Json nesting deeper than 1024 levels");
      buf_->sbumpc();
      return c == '{' ? readObject(depth + 1) : readArray(depth + 1);
    }
    if (c == '"') {
      buf_->sbumpc();
      std::string& text = scratch_;
      text.clear();
      readStringBytes(text);
      return Json::makeString(text);
    }
    if (c == '-' || isDigit(c)) return readNumber();
    if (isTokenChar(c)) return readToken();
    fail("invalid character encountered while reading Json value");
  }

 private:
  // Peeks at the next byte; notes the end of input on the stream as a get would.
  int peek() {
    int c = buf_->sgetc();
    if (c == kEof) in_.setstate(std::ios_base::eofbit);
    return c;
  }

  // Discards every byte below 33 and peeks at the one behind them.
  int skipWhitespace() {
    while (true) {
      char* p = GetArea::next(buf_);
      char* e = GetArea::end(buf_);
      char* q = p;
      while (q != e && static_cast<unsigned char>(*q) < 33) ++q;
      if (q != p) GetArea::skip(buf_, q - p);
      if (q != e) return static_cast<unsigned char>(*q);
      int c = peek();
      if (c == kEof) fail("EOF encountered while skipping whitespace");
      if (c >= 33) return c;
      buf_->sbumpc();
    }
  }

  Json readObject(int depth) {
    Json object = Json::makeObject();
    auto& members = static_cast<JsonObjectData*>(object.data())->members;
    if (skipWhitespace() == '}') {
      buf_->sbumpc();
      return object;
    }
    while (true) {
      if (skipWhitespace() != '"') fail("Invalid key in Json object, must be a quoted string");
      buf_->sbumpc();
      std::string key;
      readStringBytes(key);
      if (skipWhitespace() != ':') fail("Invalid character following key in Json object, expected ':'");
      buf_->sbumpc();
      Json value = readValue(depth);
      if (value.type() == Json::TYPE_Null) {
        members.erase(key);  // a null member is no member; a later one erases an earlier one
      } else {
        auto [it, inserted] = members.try_emplace(std::move(key), value);
        if (!inserted) it->second = std::move(value);
      }
      int c = skipWhitespace();
      buf_->sbumpc();
      if (c == ',') continue;
      if (c == '}') return object;
      fail("Invalid character following value in Json array, expected ',' or '}'");
    }
  }

  Json readArray(int depth) {
    Json array = Json::makeArray();
    auto& values = static_cast<JsonArrayData*>(array.data())->values;
    if (skipWhitespace() == ']') {
      buf_->sbumpc();
      return array;
    }
    while (true) {
      values.push_back(readValue(depth));
      int c = skipWhitespace();
      buf_->sbumpc();
      if (c == ',') continue;
      if (c == ']') return array;
      fail("Invalid character following value in Json array, expected ',' or ']'");
    }
  }

  // Appends the bytes up to the closing quote, which is consumed.
  void readStringBytes(std::string& out) {
    while (true) {
      char* p = GetArea::next(buf_);
      char* e = GetArea::end(buf_);
      char* q = p;
      while (q != e && *q != '"' && *q != '\\') ++q;
      if (q != p) {
        out.append(p, q);
        GetArea::skip(buf_, q - p);
      }
      int c = peek();
      if (c == kEof) fail("EOF encountered while reading Json string");
      buf_->sbumpc();
      if (c == '"') return;
      if (c == '\\') {
        readEscape(out);
      } else {
        out += char(c);
      }
    }
  }

  int nextInString() {
    int c = peek();
    if (c == kEof) fail("EOF encountered while reading Json string");
    buf_->sbumpc();
    return c;
  }

  void readEscape(std::string& out) {
    int c = nextInString();
    switch (c) {
      case '"': out += '"'; return;
      case '\\': out += '\\'; return;
      case 'b': out += '\b'; return;
      case 'f': out += '\f'; return;
      case 'n': out += '\n'; return;
      case 'r': out += '\r'; return;
      case 't': out += '\t'; return;
      case 'v': out += '\v'; return;
      case 'u': break;
      default: fail("invalid \\ escape in Json string");
    }
    unsigned short unit = 0;
    for (int i = 0; i < 4; ++i) {
      int digit = hexValue(nextInString());
      if (digit < 0) fail("invalid hex digit following \\u escape in Json string");
      unit = static_cast<unsigned short>(unit * 16 + digit);
    }
    // Each unit stands alone, so surrogate pairs are refused rather than joined.
    out += utf16_to_utf8(&unit, &unit + 1);
  }

  // Takes what the standard stream extraction of a double would take, and converts it the same way.
  Json readNumber() {
    std::string& text = scratch_;
    text.clear();
    int c = peek();
    auto take = [&](char stored) {
      text += stored;
      buf_->sbumpc();
      c = peek();
    };
    if (c == '-') take('-');
    bool mantissa = false;
    if (c == '0') {
      take('0');
      mantissa = true;
      while (c == '0') {
        buf_->sbumpc();
        c = peek();
      }
    }
    bool point = false;
    bool exponent = false;
    while (c != kEof) {
      if (isDigit(c)) {
        take(char(c));
        mantissa = true;
      } else if (c == '.' && !point && !exponent) {
        take('.');
        point = true;
      } else if ((c == 'e' || c == 'E') && !exponent && mantissa) {
        take('e');
        exponent = true;
        if (c == '+' || c == '-') take(char(c));
      } else {
        break;
      }
    }
    char* end = nullptr;
    double value = std::strtod(text.c_str(), &end);
    bool whole = !text.empty() && end == text.c_str() + text.size();
    bool overflow = value == HUGE_VAL || value == -HUGE_VAL;
    if (!whole || overflow) fail("Parse of number failed while reading Json string");
    return Json::makeNumber(value);
  }

  Json readToken() {
    std::string token;
    for (int c = peek(); c != kEof && isTokenChar(c); c = peek()) {
      token += char(c);
      buf_->sbumpc();
    }
    if (token == "null") return Json();
    if (token == "true") return Json::makeBoolean(true);
    if (token == "false") return Json::makeBoolean(false);
    throw std::runtime_error(stringprintf("invalid token encountered while reading Json value: %s", token.c_str()));
  }

  std::istream& in_;
  std::streambuf* buf_;
  std::string scratch_;
};

Json Json::readFrom(std::istream& in) {
  if (!in.good() || !in.rdbuf()) {
    in.setstate(std::ios_base::failbit);
    throw std::runtime_error("EOF encountered while skipping whitespace");
  }
  return JsonReader(in).readValue(0);
}

}  // namespace ka
