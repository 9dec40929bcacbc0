// Bundles fetched in more than one go: a part kept from an interrupted transfer is completed with
// a ranged request, and the digest over old and new bytes still decides.
#include <gtest/gtest.h>
#include <signal.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/dev_server_thread.h"
#include "ka/logsink.h"
#include "support/game_server.h"
#include "support/http_client.h"
#include "support/log_lines.h"
#include "support/nginx.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "support/update_pipeline.h"
#include "update/bundle_receiver.h"
#include "vorn/output_file.h"

namespace {

namespace fs = std::filesystem;

// Bytes that don't compress, so that sizes on the wire are the bundle's.
std::string noise(size_t size, uint32_t seed) {
  std::string s(size, '\0');
  for (size_t i = 0; i < size; ++i) {
    seed = seed * 1664525u + 1013904223u;
    s[i] = char(seed >> 24);
  }
  return s;
}

void writeFile(std::string const& path, std::string const& bytes) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

class ResumeTest : public ::testing::Test {
 protected:
  ResumeTest() : game(publishGame({{{"/data/big.bin", noise(3 << 20, 1)}}}, "1")) {
    server.publish(game, "manifest.gz");
  }
  std::shared_ptr<update::UpdateContext> makeContext(std::string const& baseUrl) {
    auto context = update::createUpdateContext(client.shared(), gameDir(), temp.path() + "/cache", baseUrl);
    context->setDownloadPath("game/hashed");
    context->setManifestOnDisk(gameDir() + "/manifest.gz");
    return context;
  }
  PipelineResult update() { return runUpdatePipeline(makeContext(server.baseUrl()), "game/manifest.gz"); }
  std::string gameDir() { return temp.path() + "/game"; }
  std::string checksum() { return game.manifest->bundles[0].checksum; }
  std::string bundle() { return std::string(game.bundles.at(checksum()).begin(), game.bundles.at(checksum()).end()); }
  std::string partPath() { return temp.path() + "/cache/" + checksum() + ".bundle" + vorn::kPartialFileSuffix; }
  std::string served() { return "hashed/" + checksum(); }
  void expectInstalled() {
    EXPECT_EQ(readFile(gameDir() + "/data/big.bin"), noise(3 << 20, 1));
    EXPECT_FALSE(fs::exists(partPath()));
  }

  TempDir temp;
  PublishedGame game;
  GameServer server;
  PumpedLoader client;
};

TEST_F(ResumeTest, AKeptPartIsCompletedWithARangeEvenAfterAnErrorAnswer) {
  writeFile(partPath(), bundle().substr(0, 1 << 20));
  server.failOnce(served(), 503);
  ka::LogSinkMemory log(0);
  ASSERT_TRUE(update().ok);
  EXPECT_EQ(server.ranges(served()), (std::vector<std::string>{"bytes=1048576-", "bytes=1048576-"}));
  EXPECT_EQ(countLines(log, "Resuming " + checksum() + " after 1048576 bytes"), 2) << "the error page kept the part";
  expectInstalled();
}

TEST_F(ResumeTest, AServerThatIgnoresRangesSendsTheWholeBundleWhichReplacesThePart) {
  writeFile(partPath(), bundle().substr(0, 1 << 20));
  server.ignoreRanges(served());
  ASSERT_TRUE(update().ok);
  EXPECT_EQ(server.requests(served()), 1) << "the whole answer is used, not fetched again";
  expectInstalled();
}

TEST_F(ResumeTest, APartThatNoLongerMatchesTheServersFileIsThrownAwayAndTheBundleFetchedWhole) {
  // The file changed on the server between two attempts: the kept bytes are another file's.
  writeFile(partPath(), noise(1 << 20, 2));
  ka::LogSinkMemory log(0);
  ASSERT_TRUE(update().ok);
  EXPECT_EQ(server.ranges(served()), (std::vector<std::string>{"bytes=1048576-", ""}));
  EXPECT_EQ(countLines(log, "(resumed after 1048576 bytes)"), 1);
  expectInstalled();

  // A part as long as the bundle or longer is judged without a request.
  fs::remove_all(gameDir());
  fs::remove(temp.path() + "/cache/" + checksum() + ".bundle");
  server.resetCounts();
  writeFile(partPath(), bundle() + "more");
  ASSERT_TRUE(update().ok);
  EXPECT_EQ(server.ranges(served()), std::vector<std::string>{""});
  expectInstalled();
}

TEST_F(ResumeTest, ATransferThatBreaksGoesOnFromWhereItBroke) {
  server.truncateOnce(served());
  ASSERT_TRUE(update().ok);
  std::vector<std::string> ranges = server.ranges(served());
  ASSERT_EQ(ranges.size(), 2u);
  EXPECT_EQ(ranges[0], "");
  EXPECT_EQ(ranges[1], "bytes=" + std::to_string(bundle().size() / 2) + "-") << "all that arrived was kept";
  expectInstalled();
}

// An 8 MiB bundle on a site folder, and an update of it in a process of its own that is killed
// once a quarter of the bundle is on disk; then the update again, in this process.
class KilledUpdateTest : public ::testing::Test {
 protected:
  KilledUpdateTest() : game(publishGame({{{"/data/huge.bin", noise(8 << 20, 3)}}}, "1")) {
    writeFile(temp.path() + "/site/game/manifest.gz", std::string(game.manifestGz.begin(), game.manifestGz.end()));
    auto const& bytes = game.bundles.at(checksum());
    writeFile(temp.path() + "/site/game/hashed/" + checksum(), std::string(bytes.begin(), bytes.end()));
    fs::permissions(temp.path(), fs::perms::others_exec | fs::perms::others_read, fs::perm_options::add);
  }
  std::string checksum() const { return game.manifest->bundles[0].checksum; }
  uint64_t size() const { return game.manifest->bundles[0].size; }
  std::string part() const { return temp.path() + "/cache/" + checksum() + ".bundle" + vorn::kPartialFileSuffix; }

  // Returns the bytes kept at the kill. `rate`: the runner's own download limit, 0 for none.
  uint64_t killMidBundle(std::string const& baseUrl, std::string const& rate) {
    pid_t child = fork();
    if (child == 0) {
      int devNull = open("/dev/null", O_WRONLY);
      dup2(devNull, STDOUT_FILENO);
      std::string gameDir = temp.path() + "/game", cache = temp.path() + "/cache";
      execl(ZANDOR_UPDATE_RUNNER, ZANDOR_UPDATE_RUNNER, baseUrl.c_str(), gameDir.c_str(), cache.c_str(),
            "game/manifest.gz", rate.c_str(), (char*)nullptr);
      _exit(127);
    }
    auto held = [this] {
      std::error_code error;
      uintmax_t bytes = fs::file_size(part(), error);
      return error ? 0 : bytes;
    };
    bool ended = false;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!ended && held() < size() / 4 && std::chrono::steady_clock::now() < deadline) {
      ended = waitpid(child, nullptr, WNOHANG) == child;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (!ended) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
    EXPECT_FALSE(ended) << "the update ended before it was killed";
    return held();
  }
  void finish(std::string const& baseUrl, std::string const& authSuffix = "") {
    PumpedLoader client;
    std::string gameDir = temp.path() + "/game";
    auto context = update::createUpdateContext(client.shared(), gameDir, temp.path() + "/cache", baseUrl);
    context->setDownloadPath("game/hashed");
    context->setDownloadAuthSuffix(authSuffix);
    context->setManifestOnDisk(gameDir + "/manifest.gz");
    ASSERT_TRUE(runUpdatePipeline(context, "game/manifest.gz").ok);
    EXPECT_EQ(fs::file_size(gameDir + "/data/huge.bin"), 8u << 20);
  }

  TempDir temp;
  PublishedGame game;
};

TEST_F(KilledUpdateTest, FromNginxOnlyTheRestIsFetchedNextTime) {
  if (!fs::exists("/usr/sbin/nginx")) GTEST_SKIP() << "nginx is not installed";
  // Slow enough to be caught part way, and little in flight when the client dies, even for a
  // client slowed down by a sanitizer.
  Nginx nginx(temp.path() + "/site", temp.path(), "limit_rate 4m;");
  ASSERT_TRUE(nginx.accepting()) << "nginx did not start";
  uint64_t kept = killMidBundle(nginx.url(), "0");
  EXPECT_GE(kept, size() / 4);
  finish(nginx.url());

  // Each line: URI STATUS BYTES RANGE. The killed transfer's bytes count too: what it got was kept.
  std::ifstream log(nginx.accessLog());
  uint64_t sent = 0;
  std::vector<std::string> requests;
  for (std::string uri, status, range; log >> uri >> status;) {
    uint64_t bytes = 0;
    log >> bytes >> range;
    if (uri.find("/hashed/") == std::string::npos) continue;
    sent += bytes;
    requests.push_back(status + " " + range);
  }
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1], "206 bytes=" + std::to_string(kept) + "-");
  // Lost at the kill: the receiver's block being filled, and what the sockets held (less than
  // another block at this rate).
  EXPECT_LE(sent, size() + 2 * update::BundleReceiver::kBlockSize) << "sent " << sent << " for " << size();
}

TEST_F(KilledUpdateTest, FromTheDevelopmentServerOnlyTheRestIsFetchedNextTime) {
  devserver::Config config;
  config.port = 0;
  config.streams.push_back({"s", "1", "", "game", "manifest.gz", temp.path() + "/site", "", ""});
  DevServerThread devServer(config);
  std::string url = devServer.baseUrl() + "/content/s/";
  ka::LogSinkMemory log(0);
  uint64_t kept = killMidBundle(url, std::to_string(4 << 20));  // the server doesn't throttle: the client does
  EXPECT_GE(kept, size() / 4);
  finish(url);
  EXPECT_EQ(countLines(log, "GET /content/s/game/hashed/" + checksum() + " 200"), 1);
  EXPECT_EQ(countLines(log, "GET /content/s/game/hashed/" + checksum() + " 206 bytes=" + std::to_string(kept) + "-"), 1)
      << logText(log);
}

}  // namespace
