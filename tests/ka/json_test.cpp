#include "ka/json.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace {

using ka::Json;

std::string compact(Json const& v) {
  std::ostringstream os;
  v.writeTo(os);
  return os.str();
}

std::string pretty(Json const& v, int step) {
  std::ostringstream os;
  v.writeTo(os, step, 0);
  return os.str();
}

std::string quoted(std::string const& text) {
  std::ostringstream os;
  os << ka::JsonQuote{text};
  return os.str();
}

TEST(Json, ConversionsFollowTheTypeTable) {
  Json str = Json::makeString("x");
  Json arr = Json::makeArray(2);
  Json obj = Json::makeObject();
  EXPECT_TRUE(Json().asBoolean(true));
  EXPECT_FALSE(Json::makeNumber(0).asBoolean(true));
  EXPECT_TRUE(Json::makeNumber(0.5).asBoolean(false));
  EXPECT_TRUE(str.asBoolean(false));
  EXPECT_FALSE(Json::makeString("").asBoolean(true));
  EXPECT_TRUE(arr.asBoolean(false));
  EXPECT_FALSE(obj.asBoolean(true));

  EXPECT_EQ(Json().asNumber(7), 7);
  EXPECT_EQ(Json::makeBoolean(true).asNumber(7), 1);
  EXPECT_EQ(Json::makeString(" 12 ").asNumber(0), 12);
  EXPECT_EQ(Json::makeString("1e3").asNumber(0), 1000);
  for (char const* bad : {"12a", "", "  ", "abc", "1 2"}) {
    EXPECT_THROW(Json::makeString(bad).asNumber(0), std::runtime_error) << bad;
  }
  EXPECT_THROW(arr.asNumber(0), std::runtime_error);
  EXPECT_THROW(obj.asNumber(0), std::runtime_error);

  EXPECT_EQ(Json().asString("null"), "null");
  EXPECT_EQ(Json::makeBoolean(false).asString(""), "false");
  EXPECT_EQ(Json::makeNumber(7).asString(""), "7");
  EXPECT_EQ(arr.asString(""), "[null,null]");
  EXPECT_EQ(str.asString(""), "x");
}

TEST(Json, ContainersAliasAndCompareByIdentity) {
  Json a = Json::makeArray();
  Json alias = a;
  alias.push_back(Json::makeNumber(1));
  EXPECT_EQ(a.arrayLength(), 1u);
  EXPECT_EQ(a, alias);
  Json other = Json::makeArray();
  other.push_back(Json::makeNumber(1));
  EXPECT_NE(a, other);
  EXPECT_EQ(Json::makeString("s"), Json::makeString("s"));
  EXPECT_NE(Json::makeNumber(1), Json::makeBoolean(true));
  EXPECT_EQ(Json(), Json());

  Json o = Json::makeObject();
  Json view = o;
  view.set("k", Json::makeNumber(3));
  EXPECT_TRUE(o.hasKey("k"));
  o.set("k", Json());
  EXPECT_FALSE(view.hasKey("k"));
  o.set("missing", Json());
  EXPECT_EQ(o.numKeys(), 0u);
}

TEST(Json, ArrayAndObjectAccessors) {
  Json a = Json::makeArray(2);
  Json fallback = Json::makeString("x");
  EXPECT_EQ(a.get(5, fallback), fallback);
  a.set(5, Json::makeNumber(9));
  EXPECT_EQ(a.arrayLength(), 6u);
  EXPECT_EQ(a.get(3).type(), Json::TYPE_Null);
  EXPECT_EQ(a.get(5).asNumber(0), 9);

  Json o = Json::makeObject();
  o.set("a", Json::makeNumber(1));
  o.set("a", Json::makeNumber(2));
  EXPECT_EQ(o.get("a").asNumber(0), 2);
  EXPECT_EQ(o.get("b", fallback), fallback);
  int seen = 0;
  for (auto it = o.object_begin(); it != o.object_end(); ++it) seen += it->first == "a";
  EXPECT_EQ(seen, 1);

  struct Misuse {
    std::function<void()> call;
    char const* message;
  } const misuses[] = {
      {[&] { o.arrayLength(); }, "Json value isn't an array"},
      {[&] { o.push_back(Json()); }, "Json value isn't an array"},
      {[&] { Json::makeNumber(1).get(0); }, "Json value isn't an array"},
      {[&] { a.numKeys(); }, "Json value isn't an object"},
      {[&] { a.hasKey("a"); }, "Json value isn't an object"},
      {[&] { Json().get("a"); }, "Json value isn't an object"},
      {[&] { Json::makeString("s").object_begin(); }, "Json value isn't an object"},
  };
  for (Misuse const& m : misuses) {
    try {
      m.call();
      ADD_FAILURE() << "no exception, expected " << m.message;
    } catch (std::runtime_error const& e) {
      EXPECT_STREQ(e.what(), m.message);
    }
  }
  EXPECT_THROW(Json::makeString("\xc0\x80"), std::runtime_error);
}

TEST(Json, WritesCompactAndPrettyForms) {
  Json o = Json::makeObject();
  Json list = Json::makeArray();
  list.push_back(Json::makeNumber(1));
  list.push_back(Json::makeBoolean(true));
  o.set("list", list);
  EXPECT_EQ(compact(o), "{\"list\":[1,true]}");
  // A nested container lines up behind its key.
  EXPECT_EQ(pretty(o, 2), "{\n  \"list\": [\n" + std::string(12, ' ') + "1,\n" + std::string(12, ' ') + "true\n" + std::string(10, ' ') + "]\n}");
  EXPECT_EQ(pretty(Json::makeArray(), 2), "[]");
  EXPECT_EQ(pretty(Json::makeObject(), 4), "{}");
  EXPECT_EQ(compact(Json::makeNumber(1234567)), "1.23457e+06");
  EXPECT_EQ(compact(Json::makeNumber(0.5)), "0.5");
  EXPECT_EQ(compact(Json()), "null");
}

TEST(Json, QuotingEscapesToPureAscii) {
  struct Case {
    std::string text;
    char const* quoted;
  } const cases[] = {
      {"plain / text", "\"plain / text\""},
      {"\"\\", "\"\\\"\\\\\""},
      {"\b\t\n\v\f\r", "\"\\b\\t\\n\\v\\f\\r\""},
      {std::string(1, '\0') + "\x1f\x7f", "\"\\u0000\\u001f\\u007f\""},
      {"\xc3\xa9", "\"\\u00e9\""},
      {"\xf0\x90\x80\x80", "\"\\u10000\""},  // U+10000 itself is not split
      {"\xf0\x9f\x98\x80", "\"\\ud83d\\ude00\""},
  };
  for (Case const& c : cases) EXPECT_EQ(quoted(c.text), c.quoted);
  EXPECT_THROW(quoted("\xff"), std::runtime_error);
}

TEST(Json, TypesPrintByName) {
  std::ostringstream os;
  os << Json::TYPE_Array << " " << Json::Type(9);
  EXPECT_EQ(os.str(), "TYPE_Array Json::Type(9)");
}

TEST(Json, CompactTextReadsBackToTheSameValues) {
  std::istringstream in("{\"a\":[1,2.5,\"x\\ny\",{\"b\":false}],\"c\":\"\\u00e9\"}");
  Json v = Json::readFrom(in);
  std::istringstream again(compact(v));
  Json w = Json::readFrom(again);
  EXPECT_EQ(compact(w.get("a")), compact(v.get("a")));
  EXPECT_EQ(w.get("c").asString(""), "\xc3\xa9");
}

}  // namespace
