// The launcher's own update against the development server, which stands on the fixed port of
// the live setup host that this build was configured with.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "launcher_hosts.h"
#include "support/dev_server_thread.h"
#include "support/launcher_home.h"
#include "support/local_http_server.h"
#include "support/text.h"

namespace {

namespace fs = std::filesystem;
using Inspect = LauncherGUIInspector;

std::string const kCurrent = "1111111111111111111111111111111111111111";
std::string const kNewer = "2222222222222222222222222222222222222222";
char const kUnpacked[] = "/tmp/ZandorLauncherTemp";

int portOf(std::string const& url) { return std::stoi(url.substr(url.rfind(':') + 1)); }

class LauncherSelfUpdateTest : public ::testing::Test, public LauncherHome {
 protected:
  LauncherSelfUpdateTest() {
    writeUI("appchksm.txt", kCurrent);
    // The image: a gzip tar of a launcher folder.
    fs::create_directories(home.file("image/ZandorLauncher"));
    home.write("image/ZandorLauncher/README.txt", "the newer launcher\n");
    std::string tar = "tar -czf '" + home.file("ZandorLauncher.tar.gz") + "' -C '" + home.file("image") + "' .";
    EXPECT_EQ(std::system(tar.c_str()), 0);
    fs::remove_all(kUnpacked);
  }
  ~LauncherSelfUpdateTest() override {
    if (run) {
      EXPECT_TRUE(run->turnUntil([this] { return !Inspect::busy(run->gui()); }));
    }
    run.reset();
    server.reset();
    fs::remove_all(kUnpacked);
  }

  void publish(std::string const& checksum, std::string const& image) {
    devserver::Config config;
    config.port = portOf(hosts::kLiveSetupUrl);
    config.launcherChecksum = checksum;
    config.launcherImage = image;
    server.reset();
    ASSERT_NO_THROW(server = std::make_unique<DevServerThread>(config))
        << "port " << config.port << " is taken; stop the server that holds it";
  }
  RecordedEvent check(std::vector<std::string> words = {}) {
    words.insert(words.begin(), {"--update-check-url", hosts::kLiveSetupUrl});
    options(words);
    run = std::make_unique<LauncherRun>(home.path());
    return run->result(run->view().callText("checkLauncher"));
  }
  std::string cacheFile(std::string const& checksum) const {
    return dataDir("Test Studio", "TestGame") + "/updates/ZandorLauncher_" + checksum.substr(0, 32) + ".tar.gz";
  }

  FakeOpener opener;
  std::unique_ptr<DevServerThread> server;
  std::unique_ptr<LauncherRun> run;
};

TEST_F(LauncherSelfUpdateTest, ANewerLauncherIsDownloadedUnpackedAndShown) {
  publish(kNewer, home.file("ZandorLauncher.tar.gz"));
  RecordedEvent outcome = check();
  EXPECT_TRUE(outcome.flag(1));
  EXPECT_EQ(outcome.text(2), "open dmg folder, exiting...");
  EXPECT_TRUE(run->platform.exitPending());
  EXPECT_EQ(fs::file_size(cacheFile(kNewer)), fs::file_size(home.file("ZandorLauncher.tar.gz")));
  EXPECT_TRUE(fs::exists(std::string(kUnpacked) + "/ZandorLauncher/README.txt"));
  EXPECT_EQ(opener.opened(), std::vector<std::string>{kUnpacked});
  std::string log = readFile(Inspect::logFilePath(run->gui()));
  EXPECT_NE(log.find("Attempting system call \"mkdir -p /tmp/ZandorLauncherTemp && tar -xzf \"" + cacheFile(kNewer) +
                     "\" -C /tmp/ZandorLauncherTemp\""),
            std::string::npos)
      << log;
}

// The published checksum names the cached image and reaches the unpacking command.
TEST_F(LauncherSelfUpdateTest, APublishedChecksumThatIsNotHexadecimalIsIgnored) {
  std::string pwned = home.file("pwned");
  // No blanks: the checksum service's answer must stay two words to get this far.
  for (std::string const& hostile : {"\";touch${IFS}" + pwned + ";\"", "../../../../" + kNewer, "$(touch${IFS}" + pwned + ")"}) {
    SCOPED_TRACE(hostile);
    publish(hostile, home.file("ZandorLauncher.tar.gz"));
    RecordedEvent outcome = check();
    EXPECT_TRUE(outcome.flag(1));
    EXPECT_EQ(outcome.text(2), "");
    EXPECT_FALSE(fs::exists(pwned));
    EXPECT_FALSE(fs::exists(dataDir("Test Studio", "TestGame") + "/updates"));
    EXPECT_TRUE(opener.opened().empty());
    run.reset();
    server.reset();
  }
}

TEST_F(LauncherSelfUpdateTest, AnImageAlreadyCachedIsNotFetchedAgain) {
  publish(kNewer, home.file("no-such-image"));
  fs::create_directories(fs::path(cacheFile(kNewer)).parent_path());
  fs::copy_file(home.file("ZandorLauncher.tar.gz"), cacheFile(kNewer));
  EXPECT_EQ(check().text(2), "open dmg folder, exiting...");
  EXPECT_TRUE(fs::exists(std::string(kUnpacked) + "/ZandorLauncher/README.txt"));
}

TEST_F(LauncherSelfUpdateTest, AnImageThatFailsToUnpackIsDeletedAndFetchedAgain) {
  publish(kNewer, home.file("ZandorLauncher.tar.gz"));
  std::string whole = readFile(home.file("ZandorLauncher.tar.gz"));
  fs::create_directories(fs::path(cacheFile(kNewer)).parent_path());
  std::ofstream(cacheFile(kNewer), std::ios::binary) << whole.substr(0, whole.size() / 2);
  RecordedEvent broken = check();
  EXPECT_FALSE(broken.flag(1));
  EXPECT_EQ(broken.text(2), R"({"Message":"failed to mount dmg"})");
  EXPECT_FALSE(fs::exists(cacheFile(kNewer)));

  run.reset();
  RecordedEvent again = check();
  EXPECT_EQ(again.text(2), "open dmg folder, exiting...");
  EXPECT_TRUE(readFile(cacheFile(kNewer)) == whole) << "the whole image, fetched again";
  EXPECT_TRUE(fs::exists(std::string(kUnpacked) + "/ZandorLauncher/README.txt"));
}

TEST_F(LauncherSelfUpdateTest, AnImageCutShortByAKilledLauncherIsFetchedAgain) {
  // 2 MiB that don't compress: an image above the size limit below, which the launcher's other files stay under.
  {
    std::ifstream random("/dev/urandom", std::ios::binary);
    std::string bytes(2 << 20, '\0');
    random.read(bytes.data(), std::streamsize(bytes.size()));
    std::ofstream(home.file("image/ZandorLauncher/payload.bin"), std::ios::binary) << bytes;
  }
  std::string image = home.file("big.tar.gz");
  ASSERT_EQ(std::system(("tar -czf '" + image + "' -C '" + home.file("image") + "' .").c_str()), 0);
  publish(kNewer, image);

  // The first launcher dies when the image it writes reaches 1 MiB, as on a crash or a kill.
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    rlimit fileSize{1 << 20, 1 << 20}, core{0, 0};
    setrlimit(RLIMIT_FSIZE, &fileSize);
    setrlimit(RLIMIT_CORE, &core);
    // Whatever the test process had, the limit must kill: a blocked or ignored signal would turn
    // it into a failed write the launcher survives.
    signal(SIGXFSZ, SIG_DFL);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGXFSZ);
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    int quiet = open("/dev/null", O_WRONLY);
    dup2(quiet, 1);
    dup2(quiet, 2);
    execl(ZANDOR_CLI_EXE, ZANDOR_CLI_EXE, "--uiurl", ui().c_str(), "--update-check-url", hosts::kLiveSetupUrl,
          "self-update", (char*)nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << "status " << status;

  RecordedEvent next = check();
  EXPECT_EQ(next.text(2), "open dmg folder, exiting...");
  EXPECT_TRUE(readFile(cacheFile(kNewer)) == readFile(image)) << "the whole image, fetched again";
  EXPECT_TRUE(fs::exists(std::string(kUnpacked) + "/ZandorLauncher/payload.bin"));
}

TEST_F(LauncherSelfUpdateTest, TheCurrentLauncherRemovesTheImageOfItsOwnUpdate) {
  publish(kCurrent, home.file("ZandorLauncher.tar.gz"));
  fs::create_directories(fs::path(cacheFile(kCurrent)).parent_path());
  fs::copy_file(home.file("ZandorLauncher.tar.gz"), cacheFile(kCurrent));
  RecordedEvent outcome = check();
  EXPECT_TRUE(outcome.flag(1));
  EXPECT_EQ(outcome.text(2), "");
  EXPECT_FALSE(fs::exists(cacheFile(kCurrent)));
  EXPECT_FALSE(run->platform.exitPending());
  EXPECT_TRUE(opener.opened().empty());
}

TEST_F(LauncherSelfUpdateTest, ABrokenServiceOrASkippedCheckEndsQuietly) {
  publish("", "");  // nothing published: the services answer 404
  RecordedEvent outcome = check();
  EXPECT_TRUE(outcome.flag(1));
  EXPECT_EQ(outcome.text(2), "");

  run.reset();
  server.reset();
  RecordedEvent skipped = check({"--skip-version-check"});
  EXPECT_EQ(skipped.text(2), "");
  EXPECT_TRUE(run->view().events("asyncProgress").empty());
}

TEST_F(LauncherSelfUpdateTest, BetaTakesTheLaunchersFilesFromTheDevelopmentHost) {
  publish(kNewer, home.file("ZandorLauncher.tar.gz"));
  RecordedEvent outcome = check({"--beta"});
  EXPECT_EQ(outcome.text(2), "") << "nothing serves the development host";
  EXPECT_FALSE(fs::exists(cacheFile(kNewer)));
  std::string log = readFile(Inspect::logFilePath(run->gui()));
  EXPECT_NE(log.find("Error downloading launcher checksum information:" + std::string(hosts::kDevSetupUrl) +
                            "/XR/Linux/appchksm.txt"),
            std::string::npos)
      << log;
}

TEST_F(LauncherSelfUpdateTest, ACancelDuringTheImageDownloadEndsQuietly) {
  // A setup host whose image trickles in.
  LocalHttpServer slow;
  std::string image(4 << 20, 'x');
  slow.routes().Get("/Launcher/ChecksumV3", [&](httplib::Request const&, httplib::Response& res) {
    res.set_content(kNewer + " " + std::to_string(image.size()), "text/plain");
  });
  slow.routes().Get("/XR/Linux/appchksm.txt",
                    [](httplib::Request const&, httplib::Response& res) { res.set_content(kNewer, "text/plain"); });
  slow.routes().Get("/XR/Linux/ZandorLauncher.tar.gz", [&](httplib::Request const&, httplib::Response& res) {
    res.set_content_provider(image.size(), "application/gzip",
                             [&](size_t offset, size_t length, httplib::DataSink& sink) {
                               std::this_thread::sleep_for(std::chrono::milliseconds(20));
                               return sink.write(image.data() + offset, std::min<size_t>(length, 16384));
                             });
  });
  slow.start(portOf(hosts::kLiveSetupUrl));
  options({"--update-check-url", hosts::kLiveSetupUrl});
  run = std::make_unique<LauncherRun>(home.path());
  std::string id = run->view().callText("checkLauncher");
  ASSERT_TRUE(run->turnUntil([&] {
    for (RecordedEvent const& e : run->view().events("asyncProgress"))
      if (e.text(0).find("Downloading launcher update") != std::string::npos) return true;
    return false;
  }));
  run->view().call("asyncCancel");
  RecordedEvent outcome = run->result(id);
  EXPECT_TRUE(outcome.flag(1));
  EXPECT_EQ(outcome.text(2), "");
  EXPECT_FALSE(fs::exists(cacheFile(kNewer)));
  run.reset();
  slow.stop();
}

}  // namespace
