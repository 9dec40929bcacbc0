#include "ka/printutil.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "support/text.h"

namespace {

TEST(PrintUtil, EscapesForCAndShell) {
  EXPECT_EQ(printed(ka::CStrEscape{"a\"b\\c\n\t\a\r"}), "a\\\"b\\\\c\\n\\t\\a\\r");
  EXPECT_EQ(printed(ka::CStrEscape{std::string("\x01\x7f\xc3", 3)}), "\\x01\\x7f\\xc3");
  std::string longText(2000, 'x');
  longText += '\n';
  EXPECT_EQ(printed(ka::CStrEscape{longText}), std::string(2000, 'x') + "\\n");
  EXPECT_EQ(printed(ka::BashEscape{"my file's (1).txt"}), "my\\ file\\'s\\ \\(1\\).txt");
  EXPECT_EQ(printed(ka::BashEscape{std::string("a\0b", 3)}), std::string("a\\\0b", 4));
}

TEST(PrintUtil, SizesAndCountsAreAbbreviated) {
  struct Case {
    uint64_t size;
    char const* text;
  } const sizes[] = {
      {0, "0 B"},          {1023, "1023 B"},       {1024, "1 KB"},        {1536, "1.5 KB"},
      {1048575, "1024 KB"}, {1048576, "1 MB"},    {1000u << 20, "1000 MB"}, {3ull << 30, "3 GB"},
  };
  for (Case const& c : sizes) EXPECT_EQ(printed(ka::Bytes{c.size}), c.text) << c.size;

  EXPECT_EQ(printed(ka::Count{999}), "999");
  EXPECT_EQ(printed(ka::Count{1500}), "1.50 K");
  EXPECT_EQ(printed(ka::Count{2500000}), "2.50 M");
  EXPECT_EQ(printed(ka::Count{3, 0.5f}), "1.5");
  EXPECT_EQ(printed(ka::Indent{3, '-'}) + printed(ka::Indent{-1}), "---");
}

TEST(PrintUtil, StreamStateIsRestored) {
  std::ostringstream os;
  os << std::setprecision(9) << std::fixed;
  os << ka::Bytes{123456} << ka::Count{12345};
  EXPECT_EQ(os.precision(), 9);
  EXPECT_TRUE(os.flags() & std::ios_base::fixed);
}

}  // namespace
