#include "ka/format.h"

#include <gtest/gtest.h>

namespace {

TEST(Formatter, SubstitutesByPositionAndLeavesWhatItCannotFill) {
  EXPECT_EQ((ka::Formatter("%0% of %1%") % 3).str(), "3 of %1%");
  EXPECT_EQ((ka::Formatter("%1%-%0%") % "a" % "b").str(), "b-a");
  EXPECT_EQ((ka::Formatter("%0%") % 1 % 2).str(), "1");
  EXPECT_EQ((ka::Formatter("%10%") % 0 % 1 % 2 % 3 % 4 % 5 % 6 % 7 % 8 % 9 % 10).str(), "10");
  EXPECT_EQ(ka::Formatter("100%%").str(), "100%");
  EXPECT_EQ(ka::Formatter("abc%").str(), "abc%");
  EXPECT_EQ((ka::Formatter("%0") % 1).str(), "%0");
  EXPECT_EQ((ka::Formatter("x%0pa;b") % 1).str(), "x%0pa;b");
  EXPECT_EQ((ka::Formatter("Content-Type: %0%") % std::string("text/plain")).str(), "Content-Type: text/plain");
  // Other flag letters print the argument and drop the tail.
  EXPECT_EQ((ka::Formatter("[%0s ignored%]") % 5).str(), "[5]");
}

TEST(Formatter, PluralFormsPickByTheArgument) {
  EXPECT_EQ((ka::Formatter("%0p item;items%") % 1).str(), " item");
  EXPECT_EQ((ka::Formatter("%0% %0pfile;files%") % 2).str(), "2 files");
  EXPECT_EQ((ka::Formatter("%0pitems%") % 1).str(), "");
  EXPECT_EQ((ka::Formatter("%0pitems%") % 2).str(), "items");
  EXPECT_EQ((ka::Formatter("%0pone;many%") % 1.0).str(), "one");
  EXPECT_EQ((ka::Formatter("%0pone;many%") % "1").str(), "1") << "text has no plural";
  // Without a digit the placeholder takes the argument behind the one used last.
  EXPECT_EQ((ka::Formatter("%1% %s%") % "a" % "b" % "c").str(), "b c");
}

TEST(Formatter, NumbersPrintAsTheStreamPrintsThem) {
  EXPECT_EQ((ka::Formatter("%0%,%1%,%2%") % (unsigned char)'A' % -5LL % 2.5f).str(), "A,-5,2.5");
}

}  // namespace
