#include "update/manifest_check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "support/temp_dir.h"
#include "vorn/osutil.h"

namespace {

using update::ManifestBundle;
using update::ManifestEntry;

// A game directory and a manifest describing it, file by file.
class ManifestCheckTest : public ::testing::Test {
 protected:
  ManifestEntry file(std::string const& name, std::string const& content, mode_t mode = 0644, bool exe = false) {
    std::string path = game.path() + name;
    vorn::osutil::mkdirAndParents(path.substr(0, path.rfind('/')));
    game.write(name.substr(1), content);
    chmod(path.c_str(), mode);
    ManifestEntry e;
    e.filename = name;
    e.checksum = update::checksumBytes(std::vector<char>(content.begin(), content.end()));
    e.size = content.size();
    e.executable = exe;
    return e;
  }
  ManifestBundle bundle(char tag, uint64_t size, std::vector<ManifestEntry> entries) {
    ManifestBundle b;
    b.checksum = std::string(40, tag);
    b.size = size;
    b.entries = std::move(entries);
    return b;
  }
  // The checksums of the reported bundles, sorted.
  std::string run(std::vector<ManifestBundle> bundles) {
    auto manifest = std::make_shared<update::Manifest>();
    manifest->version = "7";
    manifest->bundles = std::move(bundles);
    context->setManifest(manifest);
    std::vector<ManifestBundle> needs;
    update::check(context, progress, needs);
    EXPECT_TRUE(progress->done);
    EXPECT_EQ(progress->errors, 0u);
    std::string tags;
    for (auto const& b : needs) tags += b.checksum[0];
    std::sort(tags.begin(), tags.end());
    return tags;
  }

  TempDir game;
  std::shared_ptr<update::UpdateContext> context = update::createUpdateContext(nullptr, game.path(), "/tmp", "http://h/");
  std::shared_ptr<update::UpdateProgress> progress = std::make_shared<update::UpdateProgress>();
};

TEST_F(ManifestCheckTest, ReportsEachBundleWithABadFileOnce) {
  ManifestEntry missing = file("/gone", "x");
  vorn::osutil::deleteFile(game.path() + "/gone");
  ManifestEntry nullDigest = file("/nulled", "n");
  nullDigest.checksum = "null";
  ManifestEntry changed = file("/data/changed.pak", "new content");
  changed.checksum = update::checksumBytes({'o', 'l', 'd'});
  std::string tags = run({
      bundle('a', 10, {file("/a1", "one"), file("/data/a2", "two")}),
      bundle('b', 20, {file("/b1", "three"), missing}),
      bundle('c', 30, {}),
      bundle('d', 40, {nullDigest}),
      bundle('e', 50, {changed, file("/e2", "fine")}),
  });
  EXPECT_EQ(tags, "bde");
  EXPECT_EQ(progress->total, 7u);
}

TEST_F(ManifestCheckTest, ExecuteBitsAreCheckedOnlyWhereTheManifestAsks) {
  EXPECT_EQ(run({bundle('a', 1, {file("/run", "#!", 0755, true)}), bundle('b', 1, {file("/tool", "#!", 0754, true)}),
                 bundle('c', 1, {file("/plain", "x", 0755, false)})}),
            "b");
}

TEST_F(ManifestCheckTest, AnEmptyDirectoryFailsEveryBundleAtItsFirstFile) {
  std::vector<ManifestBundle> bundles;
  for (char tag : {'a', 'b', 'c'}) {
    ManifestEntry e1, e2;
    e1.filename = std::string("/") + tag + "1";
    e1.checksum = std::string(40, '0');
    e2 = e1;
    e2.filename += "x";
    bundles.push_back(bundle(tag, 1, {e1, e2}));
  }
  EXPECT_EQ(run(bundles), "abc");
  EXPECT_EQ(progress->index, 3u) << "the rest of a condemned bundle is not read";
  EXPECT_EQ(progress->total, 6u);
}

TEST_F(ManifestCheckTest, SortsBundlesLargestFirstAndEntriesSmallestFirst) {
  EXPECT_EQ(run({bundle('a', 5, {file("/big", "123456"), file("/small", "1")}), bundle('b', 9, {})}), "");
  auto const& bundles = context->manifest()->bundles;
  EXPECT_EQ(bundles[0].checksum[0], 'b');
  EXPECT_EQ(bundles[1].entries[0].filename, "/small");
  EXPECT_EQ(progress->index, 2u);
}

TEST_F(ManifestCheckTest, NothingToCheckAndCancelledChecksReportNothing) {
  EXPECT_EQ(run({}), "");
  EXPECT_EQ(progress->total, 0u);

  progress = std::make_shared<update::UpdateProgress>();
  progress->canceled = true;
  ManifestEntry bad;
  bad.filename = "/missing";
  EXPECT_EQ(run({bundle('a', 1, {bad})}), "");
  EXPECT_EQ(progress->index, 0u);
}

TEST(FileDigests, ReadFilesInChunksOrWhole) {
  TempDir dir;
  std::string content(300000, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = char(i * 7);
  std::string path = dir.write("f", content);
  std::vector<char> bytes{'x'};
  std::string sha = update::readAndChecksum(path, &bytes);
  EXPECT_EQ(sha, update::checksumBytes(std::vector<char>(content.begin(), content.end())));
  EXPECT_EQ(bytes.size(), content.size() + 1) << "appended";
  EXPECT_EQ(update::readAndChecksum(dir.file("none"), nullptr), "");
  EXPECT_EQ(update::checksumBytes({}), "da39a3ee5e6b4b0d3255bfef95601890afd80709");

  EXPECT_EQ(update::readAndChecksumMD5(dir.write("empty", ""), nullptr), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(update::readAndChecksumMD5(dir.write("abc", "abc"), nullptr), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(update::readAndChecksumMD5(dir.file("none"), nullptr), "");
}

TEST(ManifestCheckPool, UsesOneThreadFewerThanTheHardwareAndAtMostFour) {
  std::pair<unsigned, unsigned> const cases[] = {{0, 4}, {1, 1}, {2, 1}, {3, 2}, {5, 4}, {64, 4}};
  for (auto [hardware, threads] : cases) EXPECT_EQ(update::checkPoolSize(hardware), threads) << hardware;
}

}  // namespace
