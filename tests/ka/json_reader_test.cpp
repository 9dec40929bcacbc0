#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "ka/json.h"

namespace {

ka::Json read(std::string const& text) {
  std::istringstream in(text);
  return ka::Json::readFrom(in);
}

std::string errorOf(std::string const& text) {
  try {
    read(text);
  } catch (std::runtime_error const& e) {
    return e.what();
  }
  return "<no error>";
}

TEST(JsonReader, RejectsMalformedInputWithItsOwnMessages) {
  struct Case {
    char const* input;
    char const* message;
  } const cases[] = {
      {"", "EOF encountered while skipping whitespace"},
      {"  \t\x01\x1f ", "EOF encountered while skipping whitespace"},
      {"[1,]", "invalid character encountered while reading Json value"},
      {"]", "invalid character encountered while reading Json value"},
      {"{\"a\":1,}", "Invalid key in Json object, must be a quoted string"},
      {"{a:1}", "Invalid key in Json object, must be a quoted string"},
      {"{\"a\" 1}", "Invalid character following key in Json object, expected ':'"},
      {"{\"a\":1 \"b\":2}", "Invalid character following value in Json array, expected ',' or '}'"},
      {"[1 2]", "Invalid character following value in Json array, expected ',' or ']'"},
      {"\"\\/\"", "invalid \\ escape in Json string"},
      {"\"\\ud83d\\ude00\"", "malformed UTF-16 sequence"},
      {"\"\\ue000\"", "malformed UTF-16 sequence"},
      {"\"\\u12g4\"", "invalid hex digit following \\u escape in Json string"},
      {"\"\\u12", "EOF encountered while reading Json string"},
      {"\"abc", "EOF encountered while reading Json string"},
      {"\"abc\\", "EOF encountered while reading Json string"},
      {"\"\xc3\"", "malformed UTF-8 sequence"},
      {"nullable", "invalid token encountered while reading Json value: nullable"},
      {"True", "invalid token encountered while reading Json value: True"},
      {"-", "Parse of number failed while reading Json string"},
      {"1e", "Parse of number failed while reading Json string"},
      {"-e5", "Parse of number failed while reading Json string"},
      {"1e999", "Parse of number failed while reading Json string"},
      {"[", "EOF encountered while skipping whitespace"},
      {"{\"a\":", "EOF encountered while skipping whitespace"},
  };
  for (Case const& c : cases) EXPECT_EQ(errorOf(c.input), c.message) << "input: " << c.input;
}

TEST(JsonReader, NumbersFollowTheStreamGrammar) {
  // Whatever the standard extraction of a double accepts, the reader accepts, with the same value.
  char const* inputs[] = {"0",     "-0",    "007",   "12.5",   "-3.25e2", "1E5",   "1e+2",    "1e-2",
                          "0.",    "-.5",   "5.e1",  "1e-400", "123456789012345678901234567890",
                          "4.9e-324", "1.7976931348623157e308"};
  for (char const* text : inputs) {
    std::istringstream reference(text);
    double expected = 0;
    reference >> expected;
    ASSERT_FALSE(reference.fail()) << text;
    ka::Json value = read(text);
    ASSERT_EQ(value.type(), ka::Json::TYPE_Number) << text;
    EXPECT_EQ(value.asNumber(0), expected) << text;
  }
}

TEST(JsonReader, LeavesTrailingTextInTheStream) {
  struct Case {
    char const* input;
    double value;
    char const* rest;
  } const cases[] = {
      {"1 2", 1, " 2"}, {"1.2.3", 1.2, ".3"}, {"0x10", 0, "x10"}, {"1e5e3", 1e5, "e3"}, {"12abc", 12, "abc"},
  };
  for (Case const& c : cases) {
    std::istringstream in(c.input);
    EXPECT_EQ(ka::Json::readFrom(in).asNumber(-1), c.value) << c.input;
    std::string rest((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(rest, c.rest) << c.input;
  }
  std::istringstream in("{\"a\":[true]} tail");
  ka::Json::readFrom(in);
  std::string rest;
  std::getline(in, rest);
  EXPECT_EQ(rest, " tail");
}

TEST(JsonReader, ReadsStructuresWithNullErasingKeys) {
  ka::Json v = read("\x01{ \"a\" : null, \"b\":[1, \"two\", false, null, {}], \"c\":{\"d\":true}, \"c\":{\"e\":1}}");
  EXPECT_FALSE(v.hasKey("a"));
  EXPECT_EQ(v.numKeys(), 2u);
  ka::Json b = v.get("b");
  ASSERT_EQ(b.arrayLength(), 5u);
  EXPECT_EQ(b.get(1).asString(""), "two");
  EXPECT_EQ(b.get(3).type(), ka::Json::TYPE_Null);
  EXPECT_EQ(b.get(4).numKeys(), 0u);
  // The last duplicate wins, and a later null erases an earlier value.
  EXPECT_FALSE(v.get("c").hasKey("d"));
  EXPECT_TRUE(v.get("c").hasKey("e"));
  EXPECT_EQ(read("{\"k\":1,\"k\":null}").numKeys(), 0u);
  EXPECT_EQ(read("[]").arrayLength(), 0u);
}

TEST(JsonReader, StringsKeepRawBytesAndDecodeEscapes) {
  EXPECT_EQ(read("\"line\nbreak\ttab\"").asString(""), "line\nbreak\ttab");
  EXPECT_EQ(read("\"\\\"\\\\\\b\\f\\n\\r\\t\\v\"").asString(""), "\"\\\b\f\n\r\t\v");
  EXPECT_EQ(read("\"\\u00e9\\u20AC\\u0041\"").asString(""), "\xc3\xa9\xe2\x82\xac" "A");
  EXPECT_EQ(read("\"\xf0\x9f\x98\x80\"").asString(""), "\xf0\x9f\x98\x80");
  // Keys are not checked for UTF-8.
  EXPECT_TRUE(read("{\"\xff\":1}").hasKey("\xff"));
}

TEST(JsonReader, DeepNestingThrowsInsteadOfOverflowing) {
  int const limit = ka::Json::kMaxReadDepth;
  std::string ok = std::string(limit, '[') + std::string(limit, ']');
  EXPECT_NO_THROW(read(ok));
  std::string deep = std::string(limit + 1, '[') + std::string(limit + 1, ']');
  EXPECT_EQ(errorOf(deep), "Json nesting deeper than 1024 levels");
  EXPECT_EQ(errorOf(std::string(1000000, '[')), "Json nesting deeper than 1024 levels");
  std::string objects;
  for (int i = 0; i <= limit; ++i) objects += "{\"a\":";
  EXPECT_EQ(errorOf(objects), "Json nesting deeper than 1024 levels");
}

TEST(JsonReader, ReadsFromARangeInPlaceAndFromSmallBuffers) {
  std::string text = "{\"name\":\"" + std::string(5000, 'x') + "\", \"n\": 42}";
  ka::StringRangeStream stream(text);
  ka::Json v = ka::Json::readFrom(stream);
  EXPECT_EQ(v.get("name").asString("").size(), 5000u);
  EXPECT_EQ(v.get("n").asNumber(0), 42);

  // A stream buffer that hands out one byte at a time exercises every refill path.
  struct Trickle : std::streambuf {
    std::string data;
    size_t at = 0;
    char current = 0;
    int_type underflow() override {
      if (at >= data.size()) return traits_type::eof();
      current = data[at++];
      setg(&current, &current, &current + 1);
      return traits_type::to_int_type(current);
    }
  } trickle;
  trickle.data = text;
  std::istream in(&trickle);
  EXPECT_EQ(ka::Json::readFrom(in).get("name").asString(""), std::string(5000, 'x'));
}

}  // namespace
