// The update engine end to end: a published game, a local server, the stages in order.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <thread>

#include "ka/logsink.h"
#include "support/game_server.h"
#include "support/http_client.h"
#include "support/temp_dir.h"
#include "support/update_pipeline.h"

namespace {

using namespace std::chrono_literals;

std::string slurp(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

mode_t modeOf(std::string const& path) {
  struct stat info {};
  stat(path.c_str(), &info);
  return info.st_mode & 07777;
}

std::string bigText(char seed, size_t size) {
  std::string s(size, ' ');
  for (size_t i = 0; i < size; ++i) s[i] = char('a' + (i * 7 + size_t(seed)) % 23);
  return s;
}

// Version 1 of the game: compressed and stored entries, shared content, an executable, nested folders.
std::vector<std::vector<GameFile>> versionOne() {
  return {
      {{"/bin/game", "#!/bin/sh\necho game\n", true, false}, {"/bin/data/level1.pak", bigText('1', 300000), false, true}},
      {{"/readme.txt", "Read me", false, true}, {"/docs/copy-of-readme.txt", "Read me", false, false}},
      // An empty stored entry must lie at its bundle's end: a size of 0 means "to the end" to the unpacker.
      {{"/data/deep/er/config.json", "{\"fullscreen\":true}", false, true}, {"/data/empty.bin", "", false, false}},
  };
}

class UpdateTest : public ::testing::Test {
 protected:
  std::shared_ptr<update::UpdateContext> makeContext() {
    auto context = update::createUpdateContext(client.shared(), game.path() + "/Stable", temp.path() + "/cache",
                                               server.baseUrl());
    context->setDownloadPath("game/hashed");
    context->setManifestOnDisk(game.path() + "/Stable/manifest.gz");
    vorn::osutil::mkdirAndParents(context->gameDir());
    vorn::osutil::mkdirAndParents(context->tempDir());
    return context;
  }
  PipelineResult update(std::atomic<bool>* cancel = nullptr) { return runUpdatePipeline(makeContext(), "game/manifest.gz", cancel); }
  std::string installed(std::string const& name) { return slurp(game.path() + "/Stable" + name); }
  std::string gamePath(std::string const& name) { return game.path() + "/Stable" + name; }
  std::string bundlePath(PublishedGame const& g, size_t index) {
    return temp.path() + "/cache/" + g.manifest->bundles[index].checksum + ".bundle";
  }

  TempDir game, temp;
  GameServer server;
  PumpedLoader client;
};

TEST_F(UpdateTest, AFreshInstallIsProvenByTheSecondCheck) {
  PublishedGame v1 = publishGame(versionOne(), "1");
  server.publish(v1, "manifest.gz");
  PipelineResult r = update();
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(r.bundlesFetched, 3u);
  EXPECT_EQ(installed("/bin/game"), "#!/bin/sh\necho game\n");
  EXPECT_EQ(modeOf(gamePath("/bin/game")) & 0111, 0111u);
  EXPECT_EQ(installed("/bin/data/level1.pak"), bigText('1', 300000));
  EXPECT_EQ(installed("/docs/copy-of-readme.txt"), "Read me");
  EXPECT_EQ(installed("/data/deep/er/config.json"), "{\"fullscreen\":true}");
  EXPECT_EQ(slurp(game.path() + "/Stable/manifest.gz"), std::string(v1.manifestGz.begin(), v1.manifestGz.end()));
  // The temporary directory is left empty: unpacked files consumed, bundles deleted.
  std::vector<std::string> left;
  vorn::osutil::listDir(temp.path() + "/cache", left, vorn::LDR_Recurse);
  EXPECT_TRUE(left.empty());

  server.resetCounts();
  PipelineResult again = update();
  EXPECT_TRUE(again.ok);
  EXPECT_EQ(again.bundlesFetched, 0u);
  EXPECT_EQ(server.bundleRequests(), 0);
}

TEST_F(UpdateTest, AnIncrementalUpdateFetchesOnlyTheChangedBundle) {
  server.publish(publishGame(versionOne(), "1"), "manifest.gz");
  ASSERT_TRUE(update().ok);
  auto files = versionOne();
  files[2][0].content = "{\"fullscreen\":false}";
  files[2].insert(files[2].begin(), {"/data/new.txt", "new", false, false});
  PublishedGame v2 = publishGame(files, "2");
  server.publish(v2, "manifest.gz");
  // A file of the old build, now gone from the manifest, and a file a player left in place
  // under a name that differs from a listed one only in case.
  std::ofstream(gamePath("/stale.log")) << "old";
  std::ofstream(gamePath("/README.TXT")) << "case twin";
  chmod(gamePath("/data/deep/er/config.json").c_str(), 0444);  // read-only, and about to be replaced
  server.resetCounts();
  PipelineResult r = update();
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(r.bundlesFetched, 1u);
  EXPECT_EQ(server.bundleRequests(), 1);
  EXPECT_EQ(server.requests("hashed/" + v2.manifest->bundles[2].checksum), 1);
  EXPECT_EQ(installed("/data/deep/er/config.json"), "{\"fullscreen\":false}");
  EXPECT_EQ(installed("/data/new.txt"), "new");
  EXPECT_FALSE(vorn::osutil::fileExists(gamePath("/stale.log")));
  EXPECT_TRUE(vorn::osutil::fileExists(gamePath("/README.TXT")));
}

TEST_F(UpdateTest, ABundleAlreadyOnDiskIsKeptAndAPartialOneFetchedAgain) {
  PublishedGame v1 = publishGame(versionOne(), "1");
  server.publish(v1, "manifest.gz");
  vorn::osutil::mkdirAndParents(temp.path() + "/cache");
  auto const& whole = v1.bundles.at(v1.manifest->bundles[0].checksum);
  std::ofstream(bundlePath(v1, 0), std::ios::binary).write(whole.data(), std::streamsize(whole.size()));
  auto const& part = v1.bundles.at(v1.manifest->bundles[1].checksum);
  std::ofstream(bundlePath(v1, 1), std::ios::binary).write(part.data(), std::streamsize(part.size() / 2));
  ka::LogSinkMemory log(0);
  ASSERT_TRUE(update().ok);
  EXPECT_EQ(server.requests("hashed/" + v1.manifest->bundles[0].checksum), 0);
  EXPECT_EQ(server.requests("hashed/" + v1.manifest->bundles[1].checksum), 1);
  EXPECT_EQ(server.bundleRequests(), 2);
  bool skipped = false;
  for (auto const& line : log.messages()) skipped |= line.find("Skipping " + bundlePath(v1, 0) + ", checksum matches.") != std::string::npos;
  EXPECT_TRUE(skipped);
}

TEST_F(UpdateTest, ADigestMismatchIsRetriedButAnHttpErrorFailsAllThreeAttempts) {
  PublishedGame v1 = publishGame(versionOne(), "1");
  server.publish(v1, "manifest.gz");
  std::string corrupt = "hashed/" + v1.manifest->bundles[0].checksum;
  std::string missing = "hashed/" + v1.manifest->bundles[1].checksum;
  server.corruptOnce(corrupt);
  server.failAlways(missing);
  ka::LogSinkMemory log(0);

  auto context = makeContext();
  auto progress = std::make_shared<update::UpdateProgress>();
  ASSERT_TRUE(update::downloadManifest(context, progress, "game/manifest.gz"));
  auto download = std::make_shared<update::UpdateProgress>();
  update::downloadManifestEntries(context, download, std::make_shared<update::DownloadProgressAggregator>(),
                                  v1.manifest->bundles);
  EXPECT_EQ(download->errors, 1u);
  EXPECT_EQ(download->error, "Failed to download one or more files. Check log for details.");
  EXPECT_EQ(server.requests(corrupt), 2);
  EXPECT_EQ(server.requests(missing), 3);
  EXPECT_EQ(update::readAndChecksum(bundlePath(v1, 0), nullptr), v1.manifest->bundles[0].checksum);
  EXPECT_EQ(slurp(bundlePath(v1, 1)), "<html>Not Found</html>") << "the error page lands in the bundle file";
  int retries = 0;
  for (auto const& line : log.messages()) retries += line.find(" WARN Retrying download of ") != std::string::npos;
  EXPECT_EQ(retries, 4) << "one for the mismatch, three for the 404";
}

TEST_F(UpdateTest, CancelStopsTheDownloadAndTheUnpackAndStaleFilesStillGo) {
  std::vector<std::vector<GameFile>> files = versionOne();
  std::string noise(1 << 20, '\0');
  for (size_t i = 0; i < noise.size(); ++i) noise[i] = char((i * 2654435761u) >> 13);
  files.insert(files.begin(), {{"/big.bin", noise, false, false}});  // over a second at the throttled rate
  PublishedGame v1 = publishGame(files, "1");
  server.publish(v1, "manifest.gz");
  for (auto const& b : v1.manifest->bundles) server.throttle("hashed/" + b.checksum);
  auto context = makeContext();
  ASSERT_TRUE(update::downloadManifest(context, std::make_shared<update::UpdateProgress>(), "game/manifest.gz"));
  auto download = std::make_shared<update::UpdateProgress>();
  std::thread canceller([&] {
    std::this_thread::sleep_for(150ms);
    download->canceled = true;
  });
  update::downloadManifestEntries(context, download, std::make_shared<update::DownloadProgressAggregator>(),
                                  v1.manifest->bundles);
  canceller.join();
  EXPECT_TRUE(download->done);
  EXPECT_NE(update::readAndChecksum(bundlePath(v1, 0), nullptr), v1.manifest->bundles[0].checksum);

  auto unpack = std::make_shared<update::UpdateProgress>();
  unpack->canceled = true;
  update::unpackManifestBundles(context, unpack, v1.manifest->bundles);
  EXPECT_EQ(unpack->index, 0u);
  EXPECT_EQ(unpack->errors, 0u);

  vorn::osutil::mkdirAndParents(gamePath("/old"));
  std::ofstream(gamePath("/old/stale.txt")) << "stale";
  auto apply = std::make_shared<update::UpdateProgress>();
  apply->canceled = true;
  update::updateGameFiles(context, apply, v1.manifest->bundles);
  EXPECT_FALSE(vorn::osutil::fileExists(gamePath("/old/stale.txt")));
  EXPECT_TRUE(vorn::osutil::fileExists(gamePath("/manifest.gz")));
}

TEST_F(UpdateTest, AnUpdateKilledInAnyStageEndsCorrectOnTheNextRun) {
  std::vector<std::vector<GameFile>> files = versionOne();
  for (int i = 0; i < 6; ++i) files.push_back({{"/big/part" + std::to_string(i), bigText(char(i), 2000000), false, true}});
  PublishedGame v1 = publishGame(files, "1");
  server.publish(v1, "manifest.gz");
  std::string outside = temp.path() + "/outside";
  vorn::osutil::mkdir(outside);
  for (char const* stage : {"download", "unpack", "apply"}) {
    SCOPED_TRACE(stage);
    int out[2];
    ASSERT_EQ(pipe(out), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      dup2(out[1], STDOUT_FILENO);
      close(out[0]);
      execl(ZANDOR_UPDATE_RUNNER, ZANDOR_UPDATE_RUNNER, server.baseUrl().c_str(), gamePath("").c_str(),
            (temp.path() + "/cache").c_str(), "game/manifest.gz", (char*)nullptr);
      _exit(127);
    }
    close(out[1]);
    // Kill the runner as soon as it announces the stage.
    std::string seen;
    char buffer[256];
    while (seen.find(std::string("stage ") + stage) == std::string::npos) {
      ssize_t n = read(out[0], buffer, sizeof buffer);
      if (n <= 0) break;
      seen.append(buffer, size_t(n));
    }
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    close(out[0]);
    EXPECT_TRUE(WIFSIGNALED(status) || seen.find("result") != std::string::npos) << seen;
  }
  PipelineResult r = update();
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(installed("/big/part5"), bigText(5, 2000000));
  std::vector<std::string> outsideFiles;
  vorn::osutil::listDir(outside, outsideFiles, vorn::LDR_Recurse);
  EXPECT_TRUE(outsideFiles.empty());
}

TEST(SanityTest, StopsAtTheFirstStepThatFailsAndSaysWhy) {
  TempDir dir;
  std::string notADirectory = dir.write("file", "x");
  auto context = update::createUpdateContext(nullptr, notADirectory, dir.path(), "http://unused/");
  auto progress = std::make_shared<update::UpdateProgress>();
  vorn::osutil::mkdir(dir.file("testdir"));  // left over: not created again, but removed
  ka::LogSinkMemory log(0);
  update::sanityTest(context, progress);
  EXPECT_EQ(progress->errors, 1u);
  EXPECT_TRUE(progress->done);
  std::vector<std::string> lines;
  for (auto const& line : log.messages()) lines.push_back(std::regex_replace(line, std::regex(R"(^\[[^\]]*\] )"), ""));
  EXPECT_EQ(lines, (std::vector<std::string>{"INFO Sanity Test:\n", "INFO   Delete temp dir: pass\n",
                                             "INFO   Create temp file: pass\n", "INFO   Delete temp file: pass\n",
                                             "ERROR   Create game dir: fail\n", "ERROR     Not a directory\n"}));
  EXPECT_FALSE(vorn::osutil::fileExists(dir.file("testdir")));

  if (geteuid() != 0) {  // root writes into read-only directories anyway
    TempDir readOnly;
    chmod(readOnly.path().c_str(), 0555);
    auto blocked = update::createUpdateContext(nullptr, readOnly.path(), dir.path(), "http://unused/");
    auto p = std::make_shared<update::UpdateProgress>();
    update::sanityTest(blocked, p);
    EXPECT_EQ(p->errors, 1u);
    chmod(readOnly.path().c_str(), 0755);
  }
}

}  // namespace
