// Positional templates: (Formatter("%0% of %1p file;files%") % n % total).str().
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "string_range.h"

namespace ka {

// One argument of a Formatter.
class FormatterArg {
 public:
  virtual ~FormatterArg() = default;
  virtual void writeStringTo(std::ostream& os) const = 0;
  virtual void writePluralTo(std::ostream& os, StringRange singular, StringRange plural) const;
};

// Keeps the range, not a copy: the text must outlive the formatter.
class StringFormatterArg final : public FormatterArg {
 public:
  explicit StringFormatterArg(StringRange text) : text_(text) {}
  void writeStringTo(std::ostream& os) const override { os << text_; }

 private:
  StringRange text_;
};

template <class T>
class NumericFormatterArg final : public FormatterArg {
 public:
  explicit NumericFormatterArg(T value) : value_(value) {}
  void writeStringTo(std::ostream& os) const override { os << value_; }
  void writePluralTo(std::ostream& os, StringRange singular, StringRange plural) const override {
    os << (value_ == T(1) ? singular : plural);
  }

 private:
  T value_;
};

// `%N%` substitutes argument N, `%%` is a percent sign, `%Np singular;plural%` picks by argument N.
// A missing argument leaves its placeholder visible; surplus arguments are ignored.
class Formatter {
 public:
  explicit Formatter(StringRange format) : format_(format) {}
  Formatter(Formatter const&) = delete;
  Formatter& operator=(Formatter const&) = delete;

  Formatter& operator%(StringRange text) {
    args_.push_back(std::make_unique<StringFormatterArg>(text));
    return *this;
  }
  Formatter& operator%(char const* text) { return *this % StringRange(text); }
  Formatter& operator%(std::string const& text) { return *this % StringRange(text); }
  template <class T>
    requires std::is_arithmetic_v<T>
  Formatter& operator%(T value) {
    args_.push_back(std::make_unique<NumericFormatterArg<T>>(value));
    return *this;
  }

  void writeTo(std::ostream& os) const;
  std::string str() const;

 private:
  StringRange format_;
  std::vector<std::unique_ptr<FormatterArg>> args_;
};

inline std::ostream& operator<<(std::ostream& os, Formatter const& f) {
  f.writeTo(os);
  return os;
}

}  // namespace ka
