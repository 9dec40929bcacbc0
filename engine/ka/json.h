// A small Json value with its own lenient reader and writer.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "counted.h"
#include "string_range.h"

namespace ka {

class JsonStringData;
class JsonArrayData;
class JsonObjectData;

// Two words: a type and a payload. Strings, arrays and objects are shared by reference,
// so copies alias one another; setting a key to Null erases it.
class Json {
 public:
  enum Type : int32_t { TYPE_Null, TYPE_Boolean, TYPE_Number, TYPE_String, TYPE_Array, TYPE_Object };

  // Deepest nesting of arrays and objects that readFrom accepts; deeper input throws
  // instead of exhausting the stack. Documents from the network stay far below it.
  static constexpr int kMaxReadDepth = 1024;

  Json() noexcept : type_(TYPE_Null) { payload_.data = nullptr; }
  Json(Json const& other);
  Json(Json&& other) noexcept : type_(other.type_), payload_(other.payload_) { other.type_ = TYPE_Null; }
  Json& operator=(Json other) noexcept;
  ~Json();

  static Json makeBoolean(bool value);
  static Json makeNumber(int value);
  static Json makeNumber(double value);
  // Throws "malformed UTF-8 sequence" unless the bytes are well-formed UTF-8.
  static Json makeString(StringRange value);
  static Json makeArray(size_t n = 0);
  static Json makeObject();

  Type type() const { return type_; }

  bool asBoolean(bool defaultValue) const;
  double asNumber(double defaultValue) const;
  std::string asString(char const* defaultValue) const;

  size_t arrayLength() const;
  Json get(size_t index, Json const& defaultValue = Json()) const;
  void set(size_t index, Json const& value);
  void push_back(Json const& value);

  size_t numKeys() const;
  bool hasKey(StringRange key) const;
  Json get(StringRange key, Json const& defaultValue = Json()) const;
  void set(StringRange key, Json const& value);
  auto object_begin() const;
  auto object_end() const;

  // Containers compare by identity of their shared data, not by contents.
  bool operator==(Json const& other) const;

  // `step` -1 is the compact form; any other value indents by `step`, starting at column `indent`.
  void writeTo(std::ostream& os, int step = -1, int indent = 0) const;
  // Reads one value and leaves whatever follows in the stream.
  static Json readFrom(std::istream& in);

 private:
  friend class JsonReader;
  JsonArrayData& array() const;
  JsonObjectData& object() const;
  Counted* data() const { return payload_.data; }

  Type type_;
  union Payload {
    bool boolean;
    double number;
    Counted* data;
  } payload_;
};

std::ostream& operator<<(std::ostream& os, Json::Type type);

// The value's compact Json text, as writeTo(os) writes it.
std::string compactText(Json const& value);

// Streams a text as a quoted, pure-ASCII Json string.
struct JsonQuote {
  StringRange text;
};
std::ostream& operator<<(std::ostream& os, JsonQuote const& q);

struct JsonKeyHash {
  using is_transparent = void;
  size_t operator()(std::string_view key) const { return std::hash<std::string_view>()(key); }
};

class JsonStringData final : public Counted {
 public:
  std::string value;
};

class JsonArrayData final : public Counted {
 public:
  std::vector<Json> values;
};

class JsonObjectData final : public Counted {
 public:
  JsonObjectData() { members.max_load_factor(1.0f); }
  std::unordered_map<std::string, Json, JsonKeyHash, std::equal_to<>> members;
};

inline auto Json::object_begin() const { return object().members.cbegin(); }
inline auto Json::object_end() const { return object().members.cend(); }

}  // namespace ka
