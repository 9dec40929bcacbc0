#include "update/platform_util.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "support/temp_dir.h"
#include "vorn/osutil.h"

namespace {

using namespace std::chrono_literals;

bool waitFor(std::function<bool()> const& condition) {
  for (int i = 0; i < 500; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(10ms);
  }
  return false;
}

TEST(PlatformUtil, QuotesArgumentsAsTheCommandLineReadsThem) {
  struct Case {
    char const* argument;
    char const* quoted;
  } const cases[] = {
      {"plain", "plain"},        {"a b", "\"a b\""},           {"a\\b", "a\\b"},
      {"a b\\", "\"a b\\\\\""},  {"", "\"\""},                 {"say \"hi\"", "\"say \\\"hi\\\"\""},
      {"x\\\"y", "\"x\\\\\\\"y\""}, {"tab\there", "\"tab\there\""},
  };
  for (Case const& c : cases) {
    std::string line;
    update::argvAppend(line, c.argument, false);
    EXPECT_EQ(line, c.quoted) << c.argument;
  }
  EXPECT_EQ(update::getPlatformFriendlyName(), "Linux");
  EXPECT_FALSE(update::is64BitWindows());
}

TEST(PlatformUtil, ShellOpenRunsTheLineAndReportsItsStatus) {
  TempDir dir;
  std::string script = dir.write("record.sh", "#!/bin/sh\nfor a in \"$@\"; do echo \"[$a]\"; done > \"$(dirname \"$0\")/out\"\n");
  chmod(script.c_str(), 0755);
  EXPECT_TRUE(update::shellOpen(script, {}, "sh"));
  std::ifstream none(dir.file("out"));
  EXPECT_EQ(std::string((std::istreambuf_iterator<char>(none)), {}), "") << "no --args without arguments";
  EXPECT_TRUE(update::shellOpen(script, {"one two", "3"}, "sh"));
  std::ifstream out(dir.file("out"));
  EXPECT_EQ(std::string((std::istreambuf_iterator<char>(out)), {}), "[--args]\n[one two]\n[3]\n");
  EXPECT_FALSE(update::shellOpen(dir.file("missing.sh"), {}, "sh"));
}

TEST(PlatformUtil, RunProcessStartsAProgramWithoutWaiting) {
  TempDir dir;
  std::string marker = dir.file("ran");
  ASSERT_TRUE(update::runProcess("/bin/sh", {"-c", "echo started > \"$0\"", marker}));
  EXPECT_TRUE(waitFor([&] { return vorn::osutil::fileSize(marker) == 8; }));
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }

  // A program that can't be started is reported, with the system's reason in errno.
  errno = 0;
  EXPECT_FALSE(update::runProcess(dir.file("missing"), {}));
  EXPECT_EQ(errno, ENOENT);
  dir.write("not-executable", "data");
  EXPECT_FALSE(update::runProcess(dir.file("not-executable"), {}));
  EXPECT_EQ(errno, EACCES);
}

TEST(PlatformUtil, FindsProgramsRunningFromADirectoryAlsoReachedThroughASymlink) {
  // The game's directory as the launcher names it is a link; the kernel names the real one.
  TempDir dir;
  std::filesystem::create_directories(dir.file("real/bin"));
  std::filesystem::create_directory_symlink(dir.file("real"), dir.file("game"));
  std::string sleeper = dir.file("game/bin/sleeper");
  std::filesystem::copy_file("/bin/sleep", sleeper);
  chmod(sleeper.c_str(), 0755);
  EXPECT_FALSE(update::anyProcessesRunningInPath(dir.file("game")));
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    execl(sleeper.c_str(), "sleeper", "30", (char*)nullptr);
    _exit(127);
  }
  EXPECT_TRUE(waitFor([&] { return update::anyProcessesRunningInPath(dir.file("real")); }));
  for (std::string name : {dir.file("game"), dir.file("game/"), dir.file("game/bin"), dir.file("game/../game")})
    EXPECT_TRUE(update::anyProcessesRunningInPath(name)) << name;
  EXPECT_FALSE(update::anyProcessesRunningInPath(dir.file("game/other")));
  EXPECT_FALSE(update::anyProcessesRunningInPath(dir.file("real") + "-other"));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(update::anyProcessesRunningInPath(dir.file("game")));
}

TEST(PlatformUtil, MakeWriteableAddsTheOwnersWriteBit) {
  TempDir dir;
  std::string file = dir.write("ro", "x");
  chmod(file.c_str(), 0444);
  EXPECT_TRUE(update::makeWriteable(file));
  struct stat info;
  stat(file.c_str(), &info);
  EXPECT_EQ(info.st_mode & 0777, 0644u);
  EXPECT_FALSE(update::makeWriteable(dir.file("missing")));
}

TEST(PlatformUtilDeathTest, EmbeddedResourcesAreLoudStubs) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(update::loadEmbeddedResources("x"), "Not implemented \\(loadEmbeddedResources\\)");
  EXPECT_DEATH(update::getEmbeddedResource("x"), "Not implemented \\(getEmbeddedResource\\)");
  EXPECT_DEATH(update::getEmbeddedResourceNames(), "Not implemented \\(getEmbeddedResourceNames\\)");
}

}  // namespace
