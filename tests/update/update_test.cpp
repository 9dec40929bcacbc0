// The update engine end to end: a published game, a local server, the stages in order.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>

#include "ka/logsink.h"
#include "support/game_server.h"
#include "support/http_client.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "support/update_pipeline.h"
#include "vorn/output_file.h"

namespace {

using namespace std::chrono_literals;

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
      // An empty stored entry between two others, as other packers place them.
      {{"/data/deep/er/config.json", "{\"fullscreen\":true}", false, true},
       {"/data/empty.bin", "", false, false},
       {"/data/old-notes.txt", "only in version 1", false, false}},
  };
}

class UpdateTest : public ::testing::Test {
 protected:
  // `slash` ends the folders' names, as a player may give them.
  std::shared_ptr<update::UpdateContext> makeContext(std::string const& slash = "") {
    auto context = update::createUpdateContext(client.shared(), game.path() + "/Stable" + slash,
                                               temp.path() + "/cache" + slash, server.baseUrl());
    context->setDownloadPath("game/hashed");
    context->setManifestOnDisk(game.path() + "/Stable/manifest.gz");
    vorn::osutil::mkdirAndParents(context->gameDir());
    vorn::osutil::mkdirAndParents(context->tempDir());
    return context;
  }
  PipelineResult update(std::atomic<bool>* cancel = nullptr) { return runUpdatePipeline(makeContext(), "game/manifest.gz", cancel); }
  std::string installed(std::string const& name) { return readFile(game.path() + "/Stable" + name); }
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
  EXPECT_TRUE(vorn::osutil::fileExists(gamePath("/data/empty.bin")));
  EXPECT_EQ(installed("/data/empty.bin"), "");
  EXPECT_EQ(installed("/data/old-notes.txt"), "only in version 1");
  EXPECT_EQ(readFile(game.path() + "/Stable/manifest.gz"), std::string(v1.manifestGz.begin(), v1.manifestGz.end()));
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

TEST_F(UpdateTest, AnIncrementalUpdateFetchesOnlyTheChangedBundleAndRemovesOnlyWhatTheLauncherInstalled) {
  server.publish(publishGame(versionOne(), "1"), "manifest.gz");
  ASSERT_TRUE(update().ok);
  auto files = versionOne();
  files[2][0].content = "{\"fullscreen\":false}";
  files[2].pop_back();  // old-notes.txt is gone from version 2
  files[2].insert(files[2].begin(), {"/data/new.txt", "new", false, false});
  PublishedGame v2 = publishGame(files, "2");
  server.publish(v2, "manifest.gz");
  // The player's own files beside the game, one of them under a name that differs from a listed
  // one only in case, and one in a folder of the game's.
  vorn::osutil::mkdirAndParents(gamePath("/saves"));
  std::ofstream(gamePath("/saves/slot1.sav")) << "an evening's progress";
  std::ofstream(gamePath("/data/settings.ini")) << "volume=3";
  std::ofstream(gamePath("/README.TXT")) << "case twin";
  chmod(gamePath("/data/deep/er/config.json").c_str(), 0444);  // read-only, and about to be replaced
  server.resetCounts();
  ka::LogSinkMemory log(0);
  PipelineResult r = update();
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(r.bundlesFetched, 1u);
  EXPECT_EQ(server.bundleRequests(), 1);
  EXPECT_EQ(server.requests("hashed/" + v2.manifest->bundles[2].checksum), 1);
  EXPECT_EQ(installed("/data/deep/er/config.json"), "{\"fullscreen\":false}");
  EXPECT_EQ(installed("/data/new.txt"), "new");
  EXPECT_FALSE(vorn::osutil::fileExists(gamePath("/data/old-notes.txt"))) << "installed by the launcher, now stale";
  EXPECT_EQ(installed("/saves/slot1.sav"), "an evening's progress");
  EXPECT_EQ(installed("/data/settings.ini"), "volume=3");
  EXPECT_EQ(installed("/README.TXT"), "case twin");
  EXPECT_EQ(countLines(log, "INFO Leaving 2 files that the launcher did not install:"), 1)
      << "one line for the files it leaves alone";
}

// A game folder that an older launcher filled keeps no record: nothing in it counts as stale.
TEST_F(UpdateTest, WithoutARecordOfInstalledFilesNothingIsDeleted) {
  server.publish(publishGame(versionOne(), "1"), "manifest.gz");
  ASSERT_TRUE(update().ok);
  ASSERT_TRUE(vorn::osutil::deleteFile(gamePath("/.zandor-installed")));
  auto files = versionOne();
  files[2].pop_back();
  server.publish(publishGame(files, "2"), "manifest.gz");
  ASSERT_TRUE(update().ok);
  EXPECT_EQ(installed("/data/old-notes.txt"), "only in version 1");
  // The record is back, so the build after next may tidy up.
  files[0].pop_back();
  server.publish(publishGame(files, "3"), "manifest.gz");
  ASSERT_TRUE(update().ok);
  EXPECT_FALSE(vorn::osutil::fileExists(gamePath("/bin/data/level1.pak")));
  EXPECT_TRUE(vorn::osutil::fileExists(gamePath("/data/old-notes.txt")));
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
  EXPECT_GE(countLines(log, "Skipping " + bundlePath(v1, 0) + ", checksum matches."), 1);
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
  EXPECT_FALSE(std::filesystem::exists(bundlePath(v1, 1))) << "an error page is no bundle";
  EXPECT_FALSE(std::filesystem::exists(bundlePath(v1, 1) + vorn::kPartialFileSuffix)) << "nor a part of one";
  EXPECT_EQ(countLines(log, " WARN Attempt 1 of 3 to download " + v1.manifest->bundles[0].checksum +
                                 " failed: checksum mismatch, got "),
            1);
  EXPECT_EQ(countLines(log, " to download " + v1.manifest->bundles[1].checksum + " failed: transfer of "), 3)
      << "one line for each attempt at the 404";
  EXPECT_EQ(countLines(log, " ERROR Giving up on " + v1.manifest->bundles[1].checksum + " after 3 attempts"), 1);
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

  // What an earlier build installed, a copy that a killed run left half written, a player's save.
  vorn::osutil::mkdirAndParents(gamePath("/old"));
  std::ofstream(gamePath("/old/stale.txt")) << "stale";
  std::ofstream(gamePath("/.zandor-installed")) << R"({"files":["/old/stale.txt"]})";
  std::ofstream(gamePath("/old/game.zandor-part")) << "half";
  std::ofstream(gamePath("/old/save.dat")) << "mine";
  auto apply = std::make_shared<update::UpdateProgress>();
  apply->canceled = true;
  update::updateGameFiles(context, apply, v1.manifest->bundles);
  EXPECT_FALSE(vorn::osutil::fileExists(gamePath("/old/stale.txt")));
  EXPECT_FALSE(vorn::osutil::fileExists(gamePath("/old/game.zandor-part")));
  EXPECT_TRUE(vorn::osutil::fileExists(gamePath("/old/save.dat")));
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

TEST_F(UpdateTest, AFailedAttemptIsForgottenWhenTheNextOneSucceeds) {
  std::vector<std::vector<GameFile>> files = versionOne();
  files.push_back({{"/extra.bin", bigText('x', 100000), false, false}});
  PublishedGame v1 = publishGame(files, "1");
  server.publish(v1, "manifest.gz");
  auto const& b = v1.manifest->bundles;
  server.failOnce("hashed/" + b[0].checksum, 404);
  server.failOnce("hashed/" + b[1].checksum, 500);
  server.truncateOnce("hashed/" + b[2].checksum);
  server.truncateOnce("hashed/" + b[3].checksum);
  server.failOnce("manifest.gz", 503);
  ka::LogSinkMemory log(0);
  PipelineResult r = update();
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(server.requests("manifest.gz"), 2);
  for (auto const& bundle : b) EXPECT_EQ(server.requests("hashed/" + bundle.checksum), 2);
  EXPECT_EQ(countLines(log, " WARN Attempt 1 of 3 to download "), 5) << "each failure is logged once, with its attempt";
  EXPECT_EQ(installed("/extra.bin"), bigText('x', 100000));
}

TEST_F(UpdateTest, ABadManifestIsRefusedWholeAndNeverStored) {
  PublishedGame v1 = publishGame(versionOne(), "1");
  server.publish(v1, "manifest.gz");
  std::vector<char> flipped = v1.manifestGz;
  flipped[flipped.size() / 2] ^= 0x10;
  std::vector<char> truncated(v1.manifestGz.begin(), v1.manifestGz.begin() + long(v1.manifestGz.size() / 2));
  auto zipped = [](std::string const& text) {
    std::vector<char> out;
    vorn::gzip(std::vector<char>(text.begin(), text.end()), out);
    return out;
  };
  std::string nested = std::string(2000, '[') + std::string(2000, ']');
  // Which records the reader refuses, and how it names them, is the manifest's own tests'.
  struct Case {
    char const* what;
    std::vector<char> bytes;
    char const* error;  // the start of the failure
  } const cases[] = {
      {"one flipped byte", flipped, "Refusing manifest: "},
      {"not gzip", std::vector<char>{'<', 'h', 't', 'm', 'l', '>'}, "Refusing manifest: it is not gzip data"},
      {"truncated gzip", truncated, "Refusing manifest: it is damaged ("},
      {"empty", {}, "Refusing manifest: it is not gzip data"},
      {"nested past the reader's limit", zipped("{\"bundles\":" + nested + "}"), "Refusing manifest: it is damaged (Json nesting"},
      {"bundles not an array", zipped("{\"bundles\":{}}"), "Refusing manifest: it has no \"bundles\" array"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.what);
    server.serveRaw("manifest.gz", c.bytes);
    server.resetCounts();
    auto context = makeContext();
    auto progress = std::make_shared<update::UpdateProgress>();
    EXPECT_EQ(update::downloadManifest(context, progress, "game/manifest.gz"), nullptr);
    EXPECT_EQ(progress->errors, 1u);
    EXPECT_TRUE(progress->done);
    EXPECT_EQ(progress->error.rfind(c.error, 0), 0u) << progress->error;
    EXPECT_EQ(context->manifest(), nullptr);
    EXPECT_FALSE(vorn::osutil::fileExists(gamePath("/manifest.gz")));
    EXPECT_FALSE(vorn::osutil::fileExists(gamePath("/manifest.gz.zandor-part")));
    EXPECT_EQ(server.requests("manifest.gz"), 3) << "three attempts, as for a bundle";
  }
}

// Links inside the game folder or the cache, planted or made by a player, are never written through.
TEST_F(UpdateTest, NothingIsWrittenThroughASymbolicLink) {
  PublishedGame v1 = publishGame(versionOne(), "1");
  server.publish(v1, "manifest.gz");
  std::string outside = temp.path() + "/outside";
  vorn::osutil::mkdirAndParents(outside + "/data");
  std::ofstream(outside + "/victim.txt") << "victim";
  std::ofstream(outside + "/victim-bundle") << "victim";
  std::ofstream(outside + "/victim-entry") << "victim";
  vorn::osutil::mkdirAndParents(gamePath(""));
  vorn::osutil::mkdirAndParents(temp.path() + "/cache");
  ASSERT_EQ(symlink((outside + "/data").c_str(), gamePath("/data").c_str()), 0);
  ASSERT_EQ(symlink((outside + "/victim.txt").c_str(), gamePath("/readme.txt").c_str()), 0);
  ASSERT_EQ(symlink((outside + "/victim-bundle").c_str(), bundlePath(v1, 0).c_str()), 0);
  std::string configSum = v1.manifest->bundles[2].entries[0].checksum;
  ASSERT_EQ(symlink((outside + "/victim-entry").c_str(), (temp.path() + "/cache/" + configSum).c_str()), 0);

  PipelineResult r = update();
  ASSERT_TRUE(r.ok) << r.failedStage;
  for (char const* victim : {"/victim.txt", "/victim-bundle", "/victim-entry"}) EXPECT_EQ(readFile(outside + victim), "victim") << victim;
  std::vector<std::string> landed;
  vorn::osutil::listDir(outside + "/data", landed, vorn::LDR_Recurse);
  EXPECT_TRUE(landed.empty()) << landed.front();
  struct stat info {};
  ASSERT_EQ(lstat(gamePath("/data").c_str(), &info), 0);
  EXPECT_TRUE(S_ISDIR(info.st_mode)) << "the link became a real folder";
  ASSERT_EQ(lstat(gamePath("/readme.txt").c_str(), &info), 0);
  EXPECT_TRUE(S_ISREG(info.st_mode));
  EXPECT_EQ(installed("/data/deep/er/config.json"), "{\"fullscreen\":true}");
  EXPECT_EQ(installed("/readme.txt"), "Read me");
}

TEST_F(UpdateTest, AGameFolderGivenWithAFinalSlashKeepsItsFiles) {
  server.publish(publishGame(versionOne(), "1"), "manifest.gz");
  auto slashed = [&] { return makeContext("/"); };
  EXPECT_EQ(slashed()->gameDir().str(), game.path() + "/Stable");
  ASSERT_TRUE(runUpdatePipeline(slashed(), "game/manifest.gz").ok);
  auto files = versionOne();
  files[2][0].content = "changed";
  server.publish(publishGame(files, "2"), "manifest.gz");
  PipelineResult r = runUpdatePipeline(slashed(), "game/manifest.gz");
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(r.bundlesFetched, 1u) << "the files of the other bundles are still in place";
  EXPECT_EQ(installed("/bin/game"), "#!/bin/sh\necho game\n");
}

TEST_F(UpdateTest, ACacheOnAnotherFileSystemIsCopiedFromInsteadOfMoved) {
  // Unpacked files are moved into the game where they can be; across file systems they can't.
  std::string pattern = "/dev/shm/zandor-cache-XXXXXX";
  struct stat shm {}, tmp {};
  if (::stat("/dev/shm", &shm) != 0 || ::stat(game.path().c_str(), &tmp) != 0 || shm.st_dev == tmp.st_dev ||
      !mkdtemp(pattern.data()))
    GTEST_SKIP() << "no second file system to hold the cache";
  PublishedGame v1 = publishGame(versionOne(), "1");
  server.publish(v1, "manifest.gz");
  auto context = update::createUpdateContext(client.shared(), game.path() + "/Stable", pattern, server.baseUrl());
  context->setDownloadPath("game/hashed");
  context->setManifestOnDisk(game.path() + "/Stable/manifest.gz");
  vorn::osutil::mkdirAndParents(context->gameDir());
  PipelineResult r = runUpdatePipeline(context, "game/manifest.gz", nullptr);
  std::vector<std::string> left;
  vorn::osutil::listDir(pattern, left, vorn::LDR_Recurse);
  std::filesystem::remove_all(pattern);
  ASSERT_TRUE(r.ok) << r.failedStage;
  EXPECT_EQ(installed("/bin/game"), "#!/bin/sh\necho game\n");
  EXPECT_EQ(modeOf(gamePath("/bin/game")) & 0111, 0111u);
  EXPECT_EQ(installed("/readme.txt"), "Read me");
  EXPECT_EQ(installed("/docs/copy-of-readme.txt"), "Read me");
  EXPECT_TRUE(left.empty()) << "every unpacked file consumed";
}

TEST_F(UpdateTest, ADownloadLimitHoldsAllTransfersTogetherUnderIt) {
  // 12 MB in six bundles, fetched two at a time, under a limit of 2 MB a second.
  std::vector<std::vector<GameFile>> files;
  for (int b = 0; b < 6; ++b) {
    std::string noise(2000000, ' ');
    for (size_t i = 0; i < noise.size(); ++i) noise[i] = char((i * 2654435761u + size_t(b)) >> 13);
    files.push_back({{"/part" + std::to_string(b) + ".bin", noise, false, false}});
  }
  PublishedGame game = publishGame(files, "1");
  server.publish(game, "manifest.gz");
  auto context = makeContext();
  auto limit = std::make_shared<std::atomic<uint64_t>>(2000000);
  context->setDownloadRateLimit(limit);
  double downloadSeconds = 0;
  std::chrono::steady_clock::time_point stageStart;
  std::string current;
  PipelineResult r = runUpdatePipeline(context, "game/manifest.gz", nullptr, [&](char const* stage) {
    auto now = std::chrono::steady_clock::now();
    if (current == "download") downloadSeconds = std::chrono::duration<double>(now - stageStart).count();
    current = stage;
    stageStart = now;
  });
  ASSERT_TRUE(r.ok) << r.failedStage;
  // An upper bound on the rate: a slow machine only takes longer.
  EXPECT_LE(12e6 / downloadSeconds, 2.2e6) << downloadSeconds << " s";
  EXPECT_EQ(installed("/part5.bin").size(), 2000000u);
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
