// Offline play: when the installed "stable" build may start, and how it is started.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/launcher_home.h"
#include "support/text.h"

namespace {

namespace fs = std::filesystem;
using Inspect = LauncherGUIInspector;

class LauncherOfflineTest : public ::testing::Test, public LauncherHome {
 protected:
  LauncherRun& start(std::vector<std::string> const& words = {}) {
    options(words);
    run = std::make_unique<LauncherRun>(home.path());
    return *run;
  }
  void TearDown() override {
    if (run) {
      EXPECT_TRUE(run->turnUntil([this] { return !Inspect::busy(run->gui()); }));
    }
  }
  // A game that writes the arguments it was given beside itself, whole or not at all (renamed into
  // place), so that a reader never sees the first line without the rest.
  void installGame(std::string const& gameDir) {
    fs::create_directories(gameDir + "/bin");
    home.write("game", "#!/bin/sh\nd=\"$(dirname \"$0\")\"\nfor a in \"$@\"; do echo \"$a\"; done > \"$d/args.part\"\n"
                       "mv \"$d/args.part\" \"$d/args\"\n");
    fs::copy_file(home.file("game"), gameDir + "/bin/game", fs::copy_options::overwrite_existing);
    fs::permissions(gameDir + "/bin/game", fs::perms::owner_all);
  }
  std::string stableDir() const { return dataDir("Test Studio", "TestGame") + "/streams/stable"; }

  std::unique_ptr<LauncherRun> run;
};

TEST_F(LauncherOfflineTest, TheInstalledBuildNumberDecides) {
  LauncherRun& r = start();
  EXPECT_FALSE(std::get<bool>(r.view().call("checkOfflineAvailable"))) << "nothing installed";
  installGame(stableDir());
  EXPECT_FALSE(std::get<bool>(r.view().call("checkOfflineAvailable"))) << "no version.txt";

  struct Case {
    char const* version;
    bool allowed;
  } const cases[] = {
      {"78231", false}, {"78232", true}, {"78232-beta", true}, {"  90000\n", true},
      {"", true},  // unreadable numbers get the benefit of the doubt
      {"beta", true},   {"1", false},
  };
  for (Case const& c : cases) {
    std::ofstream(stableDir() + "/version.txt") << c.version;
    EXPECT_EQ(std::get<bool>(r.view().call("checkOfflineAvailable")), c.allowed) << '"' << c.version << '"';
  }
}

TEST_F(LauncherOfflineTest, TheGameDirectoryOptionAppliesOffline) {
  installGame(home.file("games"));
  std::ofstream(home.file("games/version.txt")) << "80000";
  LauncherRun& r = start({"-d", home.file("games")});
  EXPECT_TRUE(std::get<bool>(r.view().call("checkOfflineAvailable")));
}

TEST_F(LauncherOfflineTest, StartsTheGameWithOnlyTheExtraArguments) {
  installGame(stableDir());
  LauncherRun& r = start({"--devmode"});
  std::string id = r.view().callText("launchOffline", {std::string("--windowed \"save slot\"")});
  RecordedEvent outcome = r.result(id);
  EXPECT_TRUE(outcome.flag(1));
  EXPECT_EQ(outcome.text(2), "launched!");
  EXPECT_TRUE(r.platform.exitPending());
  EXPECT_TRUE(r.view().events("asyncProgress").empty()) << "offline launch publishes no progress";
  std::string args = stableDir() + "/bin/args";
  ASSERT_TRUE(r.turnUntil([&] { return fs::exists(args) && fs::file_size(args) > 0; }));
  EXPECT_EQ(readFile(args), "--windowed\nsave slot\n") << "no ticket and no development flag offline";
}

TEST_F(LauncherOfflineTest, AGameThatCannotStartReportsWhy) {
  LauncherRun& r = start();
  RecordedEvent outcome = r.result(r.view().callText("launchOffline", {std::string("")}));
  EXPECT_FALSE(outcome.flag(1));
  EXPECT_NE(outcome.text(2).find("No such file or directory"), std::string::npos) << outcome.text(2);
  EXPECT_FALSE(r.platform.exitPending());
}

}  // namespace
