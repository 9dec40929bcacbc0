#include "ka/strutil.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

std::string bytes(std::initializer_list<int> list) {
  std::string s;
  for (int b : list) s += char(b);
  return s;
}

TEST(Strutil, PrintfAppendsShortAndLongResults) {
  std::string out = "x";
  ka::stringprintf(out, "%d-%s", 7, "y");
  EXPECT_EQ(out, "x7-y");
  std::string big(1000, 'z');
  EXPECT_EQ(ka::stringprintf("[%s]", big.c_str()), "[" + big + "]");
}

TEST(Strutil, DecodesUtf8AndRefusesMalformedSequences) {
  struct Case {
    std::string text;
    unsigned point;
    size_t length;
  } const good[] = {
      {"A", 'A', 1},
      {bytes({0xC3, 0xA9}), 0xE9, 2},
      {bytes({0xE0, 0x80, 0x80}), 0, 3},  // overlong three-byte forms pass
      {bytes({0xED, 0xA0, 0x80}), 0xD800, 3},
      {bytes({0xF4, 0x8F, 0xBF, 0xBF}), 0x10FFFF, 4},
  };
  for (Case const& c : good) {
    char const* p = c.text.data();
    EXPECT_EQ(ka::decodeUtf8Char(p, c.text.data() + c.text.size()), c.point);
    EXPECT_EQ(size_t(p - c.text.data()), c.length);
    char const* back = c.text.data() + c.text.size();
    EXPECT_EQ(ka::prevUtf8Char(back, c.text.data()), c.point);
    EXPECT_EQ(back, c.text.data());
  }
  for (std::string const& bad : {bytes({0xC1, 0x80}), bytes({0x80}), bytes({0xF5, 0x80, 0x80, 0x80}),
                                 bytes({0xC3}), bytes({0xE2, 0x82}), bytes({0xC3, 0x41})}) {
    char const* p = bad.data();
    EXPECT_THROW(ka::decodeUtf8Char(p, bad.data() + bad.size()), std::runtime_error);
  }
  for (std::string const& bad : {bytes({0x80}), bytes({0x80, 0x80, 0x80, 0x80, 0x80}), bytes({0xE2, 0x82})}) {
    char const* p = bad.data() + bad.size();
    EXPECT_THROW(ka::prevUtf8Char(p, bad.data()), std::runtime_error);
  }
}

TEST(Strutil, EncodesUtf16AndUtf32WithTheSystemsBoundaries) {
  auto u16 = [](std::initializer_list<unsigned short> units) {
    std::vector<unsigned short> v(units);
    return ka::utf16_to_utf8(v.data(), v.data() + v.size());
  };
  EXPECT_EQ(u16({0x41, 0x7FF}), bytes({0x41, 0xDF, 0xBF}));
  EXPECT_EQ(u16({0x800}), bytes({0xE0, 0x80}));  // 0x800 keeps the two-byte form
  EXPECT_EQ(u16({0x20AC}), bytes({0xE2, 0x82, 0xAC}));
  EXPECT_EQ(u16({0xD83D, 0xDE00}), bytes({0xF0, 0x9F, 0x98, 0x80}));
  EXPECT_THROW(u16({0xD83D}), std::runtime_error);
  EXPECT_THROW(u16({0xD83D, 0x41}), std::runtime_error);
  EXPECT_THROW(u16({0xE000}), std::runtime_error);

  auto u32 = [](std::initializer_list<unsigned> points) {
    std::vector<unsigned> v(points);
    return ka::utf32_to_utf8(v.data(), v.data() + v.size());
  };
  EXPECT_EQ(u32({0xD800}), bytes({0xF0, 0x8D, 0xA0, 0x80}));  // four bytes from 0xD800 up
  EXPECT_EQ(u32({0x1F600}), bytes({0xF0, 0x9F, 0x98, 0x80}));
  EXPECT_EQ(u32({0x200000}), bytes({0xF8, 0x88, 0x80, 0x80, 0x80}));
  EXPECT_EQ(u32({0x7FFFFFFF}), bytes({0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}));
  EXPECT_THROW(u32({0x80000000u}), std::runtime_error);
  EXPECT_EQ(ka::wstr_to_utf8(L"\u00e9t\u00e9"), "\xc3\xa9t\xc3\xa9");
  EXPECT_EQ(ka::utf8_to_wstr("\xc3\xa9t\xe2\x82\xac"), L"\u00e9t\u20ac");
}

TEST(Strutil, SplitsInThreeWays) {
  std::vector<std::string> out{"old"};
  ka::split("  one two\tthree\n", out);
  EXPECT_EQ(out, (std::vector<std::string>{"one", "two", "three"}));

  out = {"kept"};
  ka::split("a;;b;", ';', out);
  EXPECT_EQ(out, (std::vector<std::string>{"kept", "a", "", "b"}));
  out.clear();
  ka::split("", ';', out);
  EXPECT_TRUE(out.empty());

  ka::split("a;b,", std::string(";,"), out);
  EXPECT_EQ(out, (std::vector<std::string>{"a", "b", ""}));
  ka::split("", std::string(";"), out);
  EXPECT_EQ(out, (std::vector<std::string>{""}));
}

TEST(Strutil, ReplacesWithoutRescanning) {
  std::string text = "aaa";
  EXPECT_EQ(ka::replaceAll(text, "a", "aa"), 3u);
  EXPECT_EQ(text, "aaaaaa");
  EXPECT_EQ(ka::replaceAll(text, "", "x"), 0u);
  text = "one two one";
  EXPECT_TRUE(ka::replace(text, "one", "1"));
  EXPECT_EQ(text, "1 two one");
  EXPECT_FALSE(ka::replace(text, "three", "3"));
  EXPECT_EQ(ka::strUpper("MiXed-1"), "MIXED-1");
  EXPECT_EQ(ka::strLower("MiXed-1"), "mixed-1");
}

TEST(Strutil, UriEncodesOutsideTheUnreservedSet) {
  EXPECT_EQ(ka::uriEncode("a b/c~d", false, nullptr), "a%20b%2fc~d");
  EXPECT_EQ(ka::uriEncode("a b/c", true, "/"), "a+b/c");
  EXPECT_EQ(ka::uriEncode("\xc3\xa9", false, ""), "%c3%a9");
  EXPECT_EQ(ka::uriEncode("", true, nullptr), "");
}

TEST(Strutil, FindsWhiteSpaceByCodePoint) {
  std::string text = "\xc3\xa9 c\td";
  ka::StringRange range(text);
  EXPECT_EQ(range.afterFirstWhiteSpace(), text.data() + 3);
  EXPECT_EQ(range.afterLastWhiteSpace(), text.data() + 5);
  EXPECT_EQ(ka::StringRange("none").afterFirstWhiteSpace(), nullptr);
  EXPECT_THROW(ka::StringRange("\xff ").afterFirstWhiteSpace(), std::runtime_error);
}

}  // namespace
