// Path joining, splitting and searching, in the Posix and Windows styles.
#include "ka/pathutil.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "ka/posixpath.h"
#include "support/env.h"

namespace {

using ka::path::Posix;
using ka::path::Windows;

// A null range and an empty one print alike; this tells them apart.
std::string shown(ka::StringRange r) { return r.begin ? "'" + r.str() + "'" : "null"; }

TEST(PathUtil, TakesPathsApartInBothStyles) {
  struct Case {
    char const* path;
    ka::path::Style style;
    char const* parent;
    char const* basename;
    char const* ext;
    char const* sansExt;
  } const cases[] = {
      {"abc", Posix, "null", "'abc'", "''", "'abc'"},
      {"/", Posix, "'/'", "''", "''", "'/'"},
      {"/a", Posix, "'/'", "'a'", "''", "'/a'"},
      {"/a/", Posix, "'/a'", "''", "''", "'/a/'"},
      {"dir/archive.tar.gz", Posix, "'dir'", "'archive.tar.gz'", "'.gz'", "'dir/archive.tar'"},
      {".profile", Posix, "null", "'.profile'", "''", "'.profile'"},
      {"..a", Posix, "null", "'..a'", "''", "'..a'"},
      {"dir.d/file", Posix, "'dir.d'", "'file'", "''", "'dir.d/file'"},
      {"a\\b.c", Posix, "null", "'a\\b.c'", "'.c'", "'a\\b'"},
      {"C:a", Windows, "'C:'", "'a'", "''", "'C:a'"},
      {"C:\\a", Windows, "'C:\\'", "'a'", "''", "'C:\\a'"},
      {"C:\\d\\x.txt", Windows, "'C:\\d'", "'x.txt'", "'.txt'", "'C:\\d\\x'"},
      {"\\a", Windows, "'\\'", "'a'", "''", "'\\a'"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(shown(ka::path::parent(c.path, c.style)), c.parent);
    EXPECT_EQ(shown(ka::path::basename(c.path, c.style)), c.basename);
    EXPECT_EQ(shown(ka::path::ext(c.path, c.style)), c.ext);
    EXPECT_EQ(shown(ka::path::sansExt(c.path, c.style)), c.sansExt);
  }
}

TEST(PathUtil, JoinsWithOneDelimiterAtTheSeam) {
  struct Case {
    char const* a;
    char const* b;
    ka::path::Style style;
    char const* joined;
  } const cases[] = {
      {"", "", Posix, ""},         {"a", "", Posix, "a"},          {"", "b", Posix, "b"},
      {"a", "b", Posix, "a/b"},    {"a/", "/b", Posix, "a/b"},     {"a//", "/b", Posix, "a//b"},
      {"/x", "/y", Posix, "/x/y"}, {"a\\", "b", Posix, "a\\/b"},   {"C:", "x", Windows, "C:x"},
      {"C:", "\\x", Windows, "C:\\x"}, {"C:\\a", "b", Windows, "C:\\a\\b"}, {"a/", "\\b", Windows, "a/b"},
  };
  for (Case const& c : cases) EXPECT_EQ(ka::path::join(c.a, c.b, c.style), c.joined) << c.a << " + " << c.b;
}

TEST(PathUtil, DrivesAndAbsolutePaths) {
  EXPECT_TRUE(ka::path::isAbsolute("/a"));
  EXPECT_FALSE(ka::path::isAbsolute("a/b"));
  EXPECT_FALSE(ka::path::isAbsolute("\\a", Windows));
  EXPECT_TRUE(ka::path::isAbsolute("C:/a", Windows));
  EXPECT_FALSE(ka::path::isAbsolute("C:a", Windows));
  EXPECT_FALSE(ka::path::hasDrive("C:a"));
  EXPECT_EQ(shown(ka::path::drive("C:a", Windows)), "'C:'");
  EXPECT_EQ(shown(ka::path::drive("a", Windows)), "null");
  EXPECT_EQ(ka::path::sansDrive("C:\\a", Windows).str(), "\\a");
  EXPECT_STREQ(ka::path::nativePathDelimiter(Windows), "\\");
  EXPECT_STREQ(ka::path::validPathDelimiters(Windows), "\\/");
  EXPECT_DEATH(ka::path::join("a", "b", ka::path::Style(7)), "strange value for style");
}

TEST(PathUtil, SearchesPathAndMakesPathsAbsolute) {
  EXPECT_EQ(ka::path::searchPath("./tool"), "./tool");
  std::string sh = ka::path::searchPath("sh");
  EXPECT_TRUE(sh == "/bin/sh" || sh == "/usr/bin/sh") << sh;
  {
    ScopedEnv path("PATH", "::/nonexistent:/bin");
    EXPECT_EQ(ka::path::searchPath("sh"), "/bin/sh");
    path.set("PATH", nullptr);
    EXPECT_EQ(ka::path::searchPath("sh"), "");
  }

  char here[4096];
  ASSERT_TRUE(getcwd(here, sizeof here));
  EXPECT_EQ(ka::path::cwd(), here);
  EXPECT_EQ(ka::path::makeAbsolute("x/y"), std::string(here) + "/x/y");
  EXPECT_EQ(ka::path::makeAbsolute("/x"), "/x");
}

TEST(PosixPath, SplitsAndFindsExtensions) {
  auto split = [](char const* p) {
    auto [dir, file] = ka::posix_path::split(p);
    return shown(dir) + " " + shown(file);
  };
  EXPECT_EQ(split(""), "null null");
  EXPECT_EQ(split("a"), "null 'a'");
  EXPECT_EQ(split("/a"), "'/' 'a'");
  EXPECT_EQ(split("x/y/z"), "'x/y' 'z'");
  EXPECT_EQ(shown(ka::posix_path::extension("d/..a")), "'.a'");
  EXPECT_EQ(shown(ka::posix_path::extension("d/.a")), "null");
  EXPECT_EQ(shown(ka::posix_path::extension("d/a.b.c")), "'.c'");
  EXPECT_EQ(shown(ka::posix_path::extension("d.x/")), "null");
}

}  // namespace
