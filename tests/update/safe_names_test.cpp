#include "update/safe_names.h"

#include <gtest/gtest.h>

namespace {

TEST(SafeNames, GamePathsAreSlashThenPlainComponents) {
  struct Case {
    std::string name;
    bool game;      // as a manifest's file name
    bool relative;  // as a stream's folder or manifest name
  } const cases[] = {
      {"/bin/game", true, false},        {"bin/game", false, true},     {"/a", true, false},
      {"manifest.gz", false, true},      {"/..a/b..", true, false},     {"...", false, true},
      {"", false, false},                {"/", false, false},           {"//a", false, false},
      {"/a/", false, false},             {"a/", false, false},          {"/a//b", false, false},
      {"/.", false, false},              {"/..", false, false},         {"/a/../b", false, false},
      {"..", false, false},              {"../x", false, false},        {"./x", false, false},
      {std::string("/a\0b", 4), false, false},                          {std::string("a\0", 2), false, false},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(update::isSafeGamePath(c.name), c.game) << c.name;
    EXPECT_EQ(update::isSafeRelativePath(c.name), c.relative) << c.name;
  }
}

TEST(SafeNames, ChecksumsAreFortyLowerCaseHexDigits) {
  EXPECT_TRUE(update::isChecksumText("0123456789abcdef0123456789abcdef01234567"));
  for (char const* bad : {"0123456789ABCDEF0123456789abcdef01234567", "0123456789abcdef0123456789abcdef0123456",
                          "0123456789abcdef0123456789abcdef012345678", "../456789abcdef0123456789abcdef01234567",
                          "0123456789abcdef0123456789abcdef0123456g", "", "null"})
    EXPECT_FALSE(update::isChecksumText(bad)) << bad;
}

}  // namespace
