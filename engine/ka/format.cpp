#include "format.h"

#include <sstream>

namespace ka {

void FormatterArg::writePluralTo(std::ostream& os, StringRange, StringRange) const { writeStringTo(os); }

void Formatter::writeTo(std::ostream& os) const {
  enum class State { Text, Percent, Number, Tail };
  State state = State::Text;
  size_t nextIndex = 0;
  size_t index = 0;
  char flag = 0;
  char const* placeholder = nullptr;  // the '%' that opened the current placeholder
  char const* tail = nullptr;         // text behind the flag character

  auto substitute = [&](char const* closing) {
    if (index >= args_.size()) {
      os << StringRange(placeholder, closing + 1);
      return;
    }
    FormatterArg const& arg = *args_[index];
    if (flag != 'p') {
      arg.writeStringTo(os);
    } else {
      StringRange text(tail, closing);
      std::string_view v = text.view();
      size_t cut = v.find(';');
      if (cut == std::string_view::npos) {
        arg.writePluralTo(os, StringRange(), text);
      } else {
        arg.writePluralTo(os, StringRange(tail, tail + cut), StringRange(tail + cut + 1, closing));
      }
    }
    nextIndex = index + 1;
  };

  for (char const* p = format_.begin; p != format_.end; ++p) {
    char c = *p;
    bool digit = c >= '0' && c <= '9';
    switch (state) {
      case State::Text:
        if (c != '%') {
          os.put(c);
        } else {
          placeholder = p;
          flag = 0;
          state = State::Percent;
        }
        break;
      case State::Percent:
        if (digit) {
          index = size_t(c - '0');
          state = State::Number;
        } else if (c == '%') {
          os.put('%');
          state = State::Text;
        } else {
          index = nextIndex;
          flag = c;
          tail = p + 1;
          state = State::Tail;
        }
        break;
      case State::Number:
        if (digit) {
          index = index * 10 + size_t(c - '0');
        } else if (c == '%') {
          substitute(p);
          state = State::Text;
        } else {
          flag = c;
          tail = p + 1;
          state = State::Tail;
        }
        break;
      case State::Tail:
        if (c == '%') {
          substitute(p);
          state = State::Text;
        }
        break;
    }
  }
  if (state != State::Text) os << StringRange(placeholder, format_.end);
}

std::string Formatter::str() const {
  std::ostringstream os;
  writeTo(os);
  return os.str();
}

}  // namespace ka
