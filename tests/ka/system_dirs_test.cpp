// Where the program keeps its per-user files, found from the XDG variables and HOME.
#include "ka/system_dirs.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <stdexcept>

#include "support/env.h"

namespace {

bool exists(std::string const& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

TEST(SystemDirs, UserDirectoriesFollowXdgAndCreateNothing) {
  ScopedEnv env;
  env.set("XDG_DATA_HOME", "/nonexistent/xdg");
  EXPECT_EQ(ka::getUserDataDir("Acme", "Game"), "/nonexistent/xdg/Acme/Game/data");
  EXPECT_EQ(ka::getUserDocDir("Acme", "Game"), "/nonexistent/xdg/Acme/Game/user");
  EXPECT_FALSE(exists("/nonexistent/xdg"));

  env.set("HOME", "/nonexistent/home");
  env.set("XDG_DATA_HOME", "relative/dir");
  EXPECT_EQ(ka::getUserDataDir("Acme", "null"), "/nonexistent/home/.local/share/Acme/null/data");
  env.set("XDG_DATA_HOME", nullptr);
  EXPECT_EQ(ka::getUserDocDir("A", "B"), "/nonexistent/home/.local/share/A/B/user");
}

TEST(SystemDirs, TempExecutableAndResources) {
  ScopedEnv env;
  env.set("TMPDIR", "/var/tmp/x");
  EXPECT_EQ(ka::getTempDir(), "/var/tmp/x");
  env.set("TMPDIR", nullptr);
  EXPECT_EQ(ka::getTempDir(), "/tmp");

  std::string exe = ka::getExecutableFilename();
  EXPECT_EQ(exe.substr(exe.rfind('/') + 1), "ka_tests");
  std::string resources = exe.substr(0, exe.rfind('/')) + "/resources";
  if (exists(resources)) {
    EXPECT_EQ(ka::getResourceDir(), resources);
  } else {
    EXPECT_THROW(ka::getResourceDir(), std::runtime_error);
  }
}

}  // namespace
