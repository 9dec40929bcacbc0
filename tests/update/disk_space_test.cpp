#include "update/disk_space.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/temp_dir.h"
#include "vorn/osutil.h"

namespace {

using namespace update;

class DiskSpaceTest : public ::testing::Test {
 protected:
  DiskSpaceTest() {
    vorn::osutil::mkdirAndParents(dir.file("game"));
    vorn::osutil::mkdirAndParents(dir.file("cache"));
    context = createUpdateContext(nullptr, dir.file("game"), dir.file("cache"), "http://127.0.0.1/");
    // Two bundles: 1000 and 600 bytes on the server, holding 5000 bytes of files, one content twice.
    bundles.resize(2);
    bundles[0].checksum = std::string(40, 'a');
    bundles[0].size = 1000;
    bundles[0].entries = {entry("/big.dat", 'c', 4000), entry("/copy-of-small.txt", 'd', 500)};
    bundles[1].checksum = std::string(40, 'b');
    bundles[1].size = 600;
    bundles[1].entries = {entry("/small.txt", 'd', 500)};
  }
  static ManifestEntry entry(std::string const& name, char content, uint64_t size) {
    ManifestEntry e;
    e.filename = name;
    e.checksum = std::string(40, content);
    e.size = size;
    return e;
  }
  void put(std::string const& path, size_t size) { std::ofstream(path, std::ios::binary) << std::string(size, 'x'); }
  // Reports `free` bytes, on one device or on two.
  FreeSpaceProbe probe(uint64_t cacheFree, uint64_t gameFree, bool oneDevice) {
    return [=, this](std::string const& path, FreeSpace& out) {
      bool isCache = path == dir.file("cache");
      out.bytes = isCache ? cacheFree : gameFree;
      out.device = oneDevice || isCache ? 1 : 2;
      return true;
    };
  }

  TempDir dir;
  std::shared_ptr<UpdateContext> context;
  std::vector<ManifestBundle> bundles;
};

TEST_F(DiskSpaceTest, TheNeedCountsBundlesToFetchContentOnceAndWhatTheFilesReplace) {
  SpaceNeeded need = spaceNeeded(*context, bundles);
  EXPECT_EQ(need.cache, 1600u + 4500u);
  EXPECT_EQ(need.game, 5000u);
  // Half a bundle already in the cache, and an old file of 3000 bytes under one of the names.
  put(dir.file("cache/" + bundles[0].checksum + ".bundle"), 400);
  put(dir.file("game/big.dat"), 3000);
  need = spaceNeeded(*context, bundles);
  EXPECT_EQ(need.cache, 600u + 600u + 4500u);
  EXPECT_EQ(need.game, 2000u);
}

TEST_F(DiskSpaceTest, AShortFileSystemIsNamedWithWhatIsNeededAndWhatIsThere) {
  EXPECT_EQ(checkDiskSpace(*context, bundles, probe(6100, 0, true)), "");
  EXPECT_NE(checkDiskSpace(*context, bundles, probe(6099, 1 << 30, true)), "");
  EXPECT_EQ(checkDiskSpace(*context, bundles, probe(5000, 1 << 30, true)),
            "Not enough disk space: need 5.96 KB, have 4.88 KB");
  // On two file systems each must hold its own part.
  EXPECT_EQ(checkDiskSpace(*context, bundles, probe(6100, 5000, false)), "");
  EXPECT_NE(checkDiskSpace(*context, bundles, probe(6100, 4999, false)).find("need 4.88 KB"), std::string::npos);
  EXPECT_NE(checkDiskSpace(*context, bundles, probe(100, 1 << 30, false)).find("Not enough disk space"),
            std::string::npos);
  // A file system that can't be asked about doesn't stop an update.
  EXPECT_EQ(checkDiskSpace(*context, bundles, [](std::string const&, FreeSpace&) { return false; }), "");
}

TEST_F(DiskSpaceTest, TheRealProbeAnswersForAFolder) {
  FreeSpace space;
  ASSERT_TRUE(probeFreeSpace(dir.path(), space));
  EXPECT_GT(space.bytes, 0u);
  EXPECT_FALSE(probeFreeSpace(dir.file("missing"), space));
}

}  // namespace
