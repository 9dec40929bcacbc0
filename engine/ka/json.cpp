#include "json.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "die.h"
#include "printutil.h"
#include "strutil.h"

namespace ka {

namespace {

bool isContainer(Json::Type t) { return t == Json::TYPE_String || t == Json::TYPE_Array || t == Json::TYPE_Object; }

[[noreturn]] void badType() { die("unexpected type for Json value"); }

// Checks well-formed UTF-8, taking runs of ASCII without decoding them.
void checkUtf8(StringRange text) {
  for (char const* p = text.begin; p != text.end;) {
    if (static_cast<unsigned char>(*p) < 0x80) {
      ++p;
    } else {
      decodeUtf8Char(p, text.end);
    }
  }
}

void appendQuoted(std::string& out, StringRange text) {
  static char const named[] = "btnvfr";  // escapes for 8 to 13
  out += '"';
  for (char const* p = text.begin; p != text.end;) {
    unsigned char byte = static_cast<unsigned char>(*p);
    if (byte >= 0x20 && byte <= 0x7E && byte != '"' && byte != '\\') {
      out += char(byte);
      ++p;
      continue;
    }
    unsigned c = decodeUtf8Char(p, text.end);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += char(c);
    } else if (c > 0x10000) {
      stringprintf(out, "\\u%04x\\u%04x", ((c - 0x10000) >> 10) + 0xD800, (c & 0x3FF) | 0xDC00);
    } else if (c >= 8 && c <= 13) {
      out += '\\';
      out += named[c - 8];
    } else {
      stringprintf(out, "\\u%04x", c);
    }
  }
  out += '"';
}

}  // namespace

Json::Json(Json const& other) : type_(other.type_), payload_(other.payload_) {
  if (isContainer(type_)) payload_.data->addRef();
}

Json& Json::operator=(Json other) noexcept {
  std::swap(type_, other.type_);
  std::swap(payload_, other.payload_);
  return *this;
}

Json::~Json() {
  if (isContainer(type_)) payload_.data->dropRef();
}

Json Json::makeBoolean(bool value) {
  Json j;
  j.type_ = TYPE_Boolean;
  j.payload_.boolean = value;
  return j;
}

Json Json::makeNumber(int value) { return makeNumber(double(value)); }

Json Json::makeNumber(double value) {
  Json j;
  j.type_ = TYPE_Number;
  j.payload_.number = value;
  return j;
}

Json Json::makeString(StringRange value) {
  checkUtf8(value);
  auto* data = new JsonStringData;
  data->value.assign(value.begin, value.size());
  data->addRef();
  Json j;
  j.type_ = TYPE_String;
  j.payload_.data = data;
  return j;
}

Json Json::makeArray(size_t n) {
  auto* data = new JsonArrayData;
  data->addRef();
  Json j;
  j.type_ = TYPE_Array;
  j.payload_.data = data;
  data->values.resize(n);
  return j;
}

Json Json::makeObject() {
  auto* data = new JsonObjectData;
  data->addRef();
  Json j;
  j.type_ = TYPE_Object;
  j.payload_.data = data;
  return j;
}

bool Json::asBoolean(bool defaultValue) const {
  switch (type_) {
    case TYPE_Null: return defaultValue;
    case TYPE_Boolean: return payload_.boolean;
    case TYPE_Number: return payload_.number != 0.0;
    case TYPE_String: return !static_cast<JsonStringData*>(data())->value.empty();
    case TYPE_Array: return !array().values.empty();
    case TYPE_Object: return !object().members.empty();
  }
  badType();
}

double Json::asNumber(double defaultValue) const {
  switch (type_) {
    case TYPE_Null: return defaultValue;
    case TYPE_Boolean: return payload_.boolean ? 1.0 : 0.0;
    case TYPE_Number: return payload_.number;
    case TYPE_String: {
      std::istringstream in(static_cast<JsonStringData*>(data())->value);
      double value = 0;
      in >> value;
      if (!in.eof()) in >> std::ws;
      if (in.rdstate() != std::ios_base::eofbit) throw std::runtime_error("Can't convert Json string to a number");
      return value;
    }
    case TYPE_Array: throw std::runtime_error("Can't convert Json array to number");
    case TYPE_Object: throw std::runtime_error("Can't convert Json object to number");
  }
  badType();
}

std::string Json::asString(char const* defaultValue) const {
  switch (type_) {
    case TYPE_Null: return defaultValue;
    case TYPE_Boolean: return payload_.boolean ? "true" : "false";
    case TYPE_String: return static_cast<JsonStringData*>(data())->value;
    case TYPE_Number:
    case TYPE_Array:
    case TYPE_Object: return compactText(*this);
  }
  badType();
}

JsonArrayData& Json::array() const {
  if (type_ != TYPE_Array) throw std::runtime_error("Json value isn't an array");
  return *static_cast<JsonArrayData*>(data());
}

JsonObjectData& Json::object() const {
  if (type_ != TYPE_Object) throw std::runtime_error("Json value isn't an object");
  return *static_cast<JsonObjectData*>(data());
}

size_t Json::arrayLength() const { return array().values.size(); }

Json Json::get(size_t index, Json const& defaultValue) const {
  std::vector<Json> const& values = array().values;
  return index < values.size() ? values[index] : defaultValue;
}

void Json::set(size_t index, Json const& value) {
  std::vector<Json>& values = array().values;
  if (index >= values.size()) values.resize(index + 1);
  values[index] = value;
}

void Json::push_back(Json const& value) { array().values.push_back(value); }

size_t Json::numKeys() const { return object().members.size(); }

bool Json::hasKey(StringRange key) const { return object().members.contains(key.view()); }

Json Json::get(StringRange key, Json const& defaultValue) const {
  auto const& members = object().members;
  auto it = members.find(key.view());
  return it == members.end() ? defaultValue : it->second;
}

void Json::set(StringRange key, Json const& value) {
  auto& members = object().members;
  if (value.type_ == TYPE_Null) {
    auto it = members.find(key.view());
    if (it != members.end()) members.erase(it);
    return;
  }
  auto [it, inserted] = members.try_emplace(key.str(), value);
  if (!inserted) it->second = value;
}

bool Json::operator==(Json const& other) const {
  if (type_ < TYPE_Null || type_ > TYPE_Object) badType();
  if (type_ != other.type_) return false;
  switch (type_) {
    case TYPE_Null: return true;
    case TYPE_Boolean: return payload_.boolean == other.payload_.boolean;
    case TYPE_Number: return payload_.number == other.payload_.number;
    case TYPE_String:
      return static_cast<JsonStringData*>(data())->value == static_cast<JsonStringData*>(other.data())->value;
    case TYPE_Array:
    case TYPE_Object: return data() == other.data();
  }
  badType();
}

void Json::writeTo(std::ostream& os, int step, int indent) const {
  bool pretty = step != -1;
  switch (type_) {
    case TYPE_Null: os << "null"; return;
    case TYPE_Boolean: os << (payload_.boolean ? "true" : "false"); return;
    case TYPE_Number: os << payload_.number; return;
    case TYPE_String: os << JsonQuote{static_cast<JsonStringData*>(data())->value}; return;
    case TYPE_Array: {
      std::vector<Json> const& values = array().values;
      os << '[';
      for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0) os << ',';
        if (pretty) os << '\n' << Indent{indent + step};
        values[i].writeTo(os, step, indent + step);
      }
      if (pretty && !values.empty()) os << '\n' << Indent{indent};
      os << ']';
      return;
    }
    case TYPE_Object: {
      auto const& members = object().members;
      os << '{';
      std::string quotedKey;
      bool first = true;
      for (auto const& [key, value] : members) {
        if (!first) os << ',';
        first = false;
        quotedKey.clear();
        appendQuoted(quotedKey, key);
        if (pretty) {
          os << '\n' << Indent{indent + step} << quotedKey << ": ";
          value.writeTo(os, step, indent + step + int(quotedKey.size()) + 2);
        } else {
          os << quotedKey << ':';
          value.writeTo(os, step, indent);
        }
      }
      if (pretty && !members.empty()) os << '\n' << Indent{indent};
      os << '}';
      return;
    }
  }
  badType();
}

std::ostream& operator<<(std::ostream& os, JsonQuote const& q) {
  std::string out;
  out.reserve(q.text.size() + 2);
  appendQuoted(out, q.text);
  return os << out;
}

std::ostream& operator<<(std::ostream& os, Json::Type type) {
  static char const* const names[] = {"TYPE_Null",   "TYPE_Boolean", "TYPE_Number",
                                      "TYPE_String", "TYPE_Array",   "TYPE_Object"};
  if (type >= Json::TYPE_Null && type <= Json::TYPE_Object) return os << names[type];
  return os << "Json::Type(" << int(type) << ")";
}

std::string compactText(Json const& value) {
  std::ostringstream os;
  value.writeTo(os, -1, 0);
  return os.str();
}

}  // namespace ka
