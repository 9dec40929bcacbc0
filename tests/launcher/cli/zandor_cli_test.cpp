// zandor-cli as a player runs it, against the development server with the demo game.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "launcher_hosts.h"
#include "support/dev_server_thread.h"
#include "support/env.h"
#include "support/game_publisher.h"
#include "update/stream_signature.h"
#include "support/poll.h"
#include "support/pty.h"
#include "support/slow_site.h"
#include "support/text.h"
#include "support/temp_dir.h"
#include "update/manifest.h"

namespace {

namespace fs = std::filesystem;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

// The lines of a text, split at line ends and at the terminal's "go to the line's start".
std::vector<std::string> linesOf(std::string const& text) {
  std::vector<std::string> lines;
  std::string line;
  for (char c : text) {
    if (c == '\n' || c == '\r') {
      if (!line.empty()) lines.push_back(line);
      line.clear();
    } else {
      line += c;
    }
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

class ZandorCliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server = std::make_unique<DevServerThread>(demoConfig());
    home.write("password", "demo\n");
    home.write("wrong", "not it\n");
  }
  static devserver::Config demoConfig() {
    devserver::Config config = devserver::readConfig(ZANDOR_DEMO_DIR "/devserver.json");
    config.port = 0;
    return config;
  }

  // Serves, besides the demo, the stream "big": a small game and a file of 1 GiB that is already
  // installed. Every check reads that file whole, so that each check lasts long enough for the
  // launcher to report it, whatever the machine.
  void serveBigStream() {
    std::string gameDir = home.file("share/Zandor Works/ZandorGame/data/streams/big");
    fs::create_directories(gameDir + "/data");
    std::ofstream(gameDir + "/data/huge.bin").close();
    fs::resize_file(gameDir + "/data/huge.bin", uint64_t(1) << 30);
    PublishedGame game = publishGame({{{"/bin/sample-game", "#!/bin/sh\nexit 0\n", true}, {"/data/small.txt", "s"}}}, "1");
    update::ManifestBundle installed;
    installed.checksum = sha1Of("never fetched");
    installed.size = uint64_t(1) << 30;
    installed.entries.push_back({"/data/huge.bin", update::readAndChecksum(gameDir + "/data/huge.bin", nullptr), "",
                                 installed.size, 0, 0, false});
    game.manifest->bundles.push_back(installed);
    std::ostringstream json;
    update::Manifest::toJson(game.manifest).writeTo(json);
    std::string text = json.str();
    ASSERT_TRUE(vorn::gzip(std::vector<char>(text.begin(), text.end()), game.manifestGz));
    fs::create_directories(home.file("site/Big/hashed"));
    home.write("site/Big/manifest.gz", game.manifestGz);
    // Signed as the demo is: the launcher's built-in trust root is the demo's key.
    home.write("site/Big/manifest.gz.sig",
               update::signStream(readFile(ZANDOR_DEMO_DIR "/stream-signing-key.pem"), "Big/manifest.gz", game.manifestGz));
    for (auto const& [checksum, data] : game.bundles) home.write("site/Big/hashed/" + checksum, data);

    devserver::Config config = demoConfig();
    devserver::Stream big;
    big.name = "big";
    big.buildId = "1";
    big.description = "A small game beside a large file";
    big.titleFolder = "Big";
    big.manifestName = "manifest.gz";
    big.contentDir = home.file("site");
    big.authSuffix = "?token=big";
    big.titleId = 7;
    config.streams.push_back(big);
    server.reset();
    server = std::make_unique<DevServerThread>(config);
  }

  // Starts zandor-cli with its output in files, or its standard output on the terminal named;
  // the caller waits for it.
  pid_t spawn(std::vector<std::string> args, std::string const& terminal = "") {
    args.insert(args.begin(), {ZANDOR_CLI_EXE, "--service-url", server->baseUrl()});
    pid_t child = fork();
    if (child == 0) {
      setenv("XDG_DATA_HOME", home.file("share").c_str(), 1);
      if (terminal.empty()) {
        dup2(open(home.file("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
      } else {
        setsid();
        dup2(open(terminal.c_str(), O_RDWR), 1);
      }
      dup2(open(home.file("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
      std::vector<char*> argv;
      for (std::string& a : args) argv.push_back(a.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    return child;
  }
  Outcome finish(pid_t child) {
    int raw = 0;
    waitpid(child, &raw, 0);
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, readFile(home.file("out")), readFile(home.file("err"))};
  }
  Outcome cli(std::vector<std::string> const& args) { return finish(spawn(args)); }
  std::string gameDir() const { return home.file("share/Zandor Works/ZandorGame/data/streams/stable"); }

  TempDir home;
  std::unique_ptr<DevServerThread> server;
};

TEST(ZandorCliResources, TheUIFolderCarriesTheLaunchersChecksum) {
  // Self-update compares it with the published one; the folder beside zandor-cli must have it
  // whatever target laid the folder out.
  std::string folder = fs::path(ZANDOR_CLI_EXE).parent_path() / "resources/ui";
  ASSERT_TRUE(fs::exists(folder + "/appchksm.txt"));
  EXPECT_EQ(readFile(folder + "/appchksm.txt"), update::readAndChecksum(ZANDOR_LAUNCHER_EXE, nullptr));
}

TEST_F(ZandorCliTest, PlaysTheDemoStreamAndThenPlaysOffline) {
  Outcome first = cli({"play", "stable", "--user", "demo", "--password-file", home.file("password")});
  EXPECT_EQ(first.status, 0) << first.err;
  EXPECT_NE(first.out.find("Signed in as Demo Player\n"), std::string::npos) << first.out;
  EXPECT_NE(first.out.find("Downloading update 2"), std::string::npos) << first.out;
  EXPECT_NE(first.out.find("Updated stable\nStarting stable\n"), std::string::npos) << first.out;
  // Each game started records its arguments; wait for one run's record before the next run.
  std::string launched = gameDir() + "/bin/last-launch.txt";
  auto gameArguments = [&] {
    pollUntil([&] { return !readFile(launched).empty(); }, std::chrono::seconds(10), std::chrono::milliseconds(10));
    std::string text = readFile(launched);
    fs::remove(launched);
    return text;
  };
  EXPECT_EQ(gameArguments().rfind("--ticket=", 0), 0u);
  EXPECT_EQ(readFile(gameDir() + "/data/config.json"), "{\"version\": 2}\n");

  Outcome second = cli({"play", "stable", "--user", "demo", "--password-file", home.file("password")});
  EXPECT_EQ(second.status, 0) << second.err;
  EXPECT_NE(second.out.find("Up to date: stable\n"), std::string::npos) << second.out;
  EXPECT_EQ(gameArguments().rfind("--ticket=", 0), 0u);

  Outcome offline = cli({"offline", "--game-args", "--level 2"});
  EXPECT_EQ(offline.status, 0) << offline.err;
  EXPECT_EQ(gameArguments(), "--level\n2\n");

  Outcome streams = cli({"streams", "--user", "demo", "--password-file", home.file("password")});
  EXPECT_EQ(streams.status, 0);
  EXPECT_NE(streams.out.find("stable\tVersion 2, a patch on version 1\nlegacy\tVersion 1\n"), std::string::npos)
      << streams.out;
}

TEST_F(ZandorCliTest, FailuresEndWithStatusOneAndTheReason) {
  struct Case {
    std::vector<std::string> args;
    char const* error;
  } const cases[] = {
      {{"play", "stable", "--user", "demo", "--password-file", home.file("wrong")},
       "Sign-in failed: Invalid user name or password.\n"},
      {{"play", "nightly", "--user", "demo", "--password-file", home.file("password")},
       "No stream named \"nightly\"; this account may use: stable, legacy\n"},
      {{"play", "stable", "--user", "demo", "--password-file", home.file("missing")},
       "Can't read a password from "},
      {{"play", "stable"}, "play needs --user and --password-file\n"},
      {{"offline"}, "No installed build of \"stable\" can be played offline\n"},
      {{"dance"}, "Unknown command \"dance\"\n"},
      {{}, "No command given\n"},
  };
  for (Case const& c : cases) {
    Outcome o = cli(c.args);
    EXPECT_EQ(o.status, 1) << c.error;
    EXPECT_EQ(o.err.rfind(c.error, 0), 0u) << o.err;
  }
}

TEST_F(ZandorCliTest, IntoAPipeEachPhaseIsOneLineAndTheFinalCheckHasItsOwn) {
  serveBigStream();
  Outcome o = cli({"play", "big", "--user", "demo", "--password-file", home.file("password")});
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out.find('\r'), std::string::npos) << o.out;
  std::vector<std::string> lines = linesOf(o.out);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(o.out.find("OnViewCreated"), std::string::npos) << "only the launcher's own output:\n" << o.out;
  auto position = [&](std::string const& start) {
    size_t found = lines.size();
    for (size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].rfind(start, 0) != 0) continue;
      EXPECT_EQ(found, lines.size()) << "\"" << start << "\" twice in\n" << o.out;
      found = i;
    }
    return found;
  };
  size_t checking = position("Checking manifest ["), verifying = position("Verifying update ["),
         updated = position("Updated big");
  EXPECT_LT(checking, verifying) << o.out;
  EXPECT_LT(verifying, updated) << o.out;
  // Starting the game runs a sanity test of its own, which may show after this.
  ASSERT_LT(updated + 1, lines.size()) << o.out;
  EXPECT_EQ(lines[updated + 1], "Starting big");
}

TEST_F(ZandorCliTest, OnATerminalEveryLineFitsItsWidth) {
  serveBigStream();
  PseudoTerminal terminal(40);
  pid_t child = spawn({"play", "big", "--user", "demo", "--password-file", home.file("password")}, terminal.name());
  std::string shown = terminal.readAll();
  Outcome o = finish(child);
  EXPECT_EQ(o.status, 0) << o.err;
  std::vector<std::string> lines = linesOf(shown);
  bool sawCheck = false;
  for (std::string line : lines) {
    if (line.rfind("\033[K", 0) == 0) line.erase(0, 3);
    EXPECT_LT(line.size(), 40u) << line;
    sawCheck = sawCheck || line.rfind("Checking manifest", 0) == 0;
  }
  EXPECT_TRUE(sawCheck) << shown;
}

TEST_F(ZandorCliTest, WithoutADesktopSelfUpdateSaysWhereItUnpacked) {
  // The build's live setup host, as the launcher self-update tests serve it.
  TempDir image;
  fs::create_directories(image.file("ZandorLauncher"));
  image.write("ZandorLauncher/README.txt", "the newer launcher\n");
  ASSERT_EQ(std::system(("tar -czf '" + image.file("ZandorLauncher.tar.gz") + "' -C '" + image.path() +
                         "' ZandorLauncher").c_str()), 0);
  devserver::Config setup;
  std::string setupUrl = hosts::kLiveSetupUrl;
  setup.port = std::stoi(setupUrl.substr(setupUrl.rfind(':') + 1));
  setup.launcherChecksum = "2222222222222222222222222222222222222222";
  setup.launcherImage = image.file("ZandorLauncher.tar.gz");
  std::unique_ptr<DevServerThread> host;
  ASSERT_NO_THROW(host = std::make_unique<DevServerThread>(setup))
      << "port " << setup.port << " is taken; stop the server that holds it";

  // No desktop: the opener fails (whether it fails or is missing, the desktop opener says no alike).
  TempDir failing;
  failing.write("xdg-open", "#!/bin/sh\nexit 3\n");
  fs::permissions(failing.file("xdg-open"), fs::perms::owner_all);
  fs::remove_all("/tmp/ZandorLauncherTemp");
  Outcome o;
  {
    ScopedEnv path("PATH", (failing.path() + ":" + std::getenv("PATH")).c_str());
    o = cli({"--update-check-url", hosts::kLiveSetupUrl, "self-update"});
  }
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_NE(o.out.find("Launcher update unpacked into /tmp/ZandorLauncherTemp\n"), std::string::npos) << o.out;
  EXPECT_TRUE(fs::exists("/tmp/ZandorLauncherTemp/ZandorLauncher/README.txt"));
  fs::remove_all("/tmp/ZandorLauncherTemp");
}

TEST_F(ZandorCliTest, CtrlCCancelsTheUpdateOnce) {
  SlowSite slow(ZANDOR_DEMO_DIR "/site/v2");
  pid_t child = spawn({"--download-url", slow.url(), "play", "stable", "--user", "demo", "--password-file",
                       home.file("password")});
  // Into a file, the download's line shows only once it is over: the host tells when it began.
  pollUntil([&] { return slow.bundleAsked(); }, std::chrono::seconds(30), std::chrono::milliseconds(10));
  kill(child, SIGINT);
  kill(child, SIGINT);
  Outcome o = finish(child);
  slow.stop();
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err.rfind("Cancelling ...\nUpdate failed: canceled\n", 0), 0u) << o.err;
}

}  // namespace
