#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "support/temp_dir.h"
#include "vorn/filesystem.h"
#include "vorn/osutil.h"

namespace {

// Two host directories, A and B, with files in one, the other or both.
class StdioFilesystemTest : public ::testing::Test {
 protected:
  void SetUp() override {
    vorn::osutil::mkdirAndParents(root.file("A/sub"));
    vorn::osutil::mkdirAndParents(root.file("B/sub"));
    root.write("A/onlyA", "a");
    root.write("A/both", "from A");
    root.write("B/both", "from B, longer");
    root.write("B/onlyB", "b");
    root.write("A/sub/x", "ax");
    root.write("B/sub/y", "by");
  }
  std::string a() { return root.file("A"); }
  std::string b() { return root.file("B"); }

  TempDir root;
  ka::Ref<vorn::Filesystem> fs = vorn::createStdioFilesystem();
};

TEST_F(StdioFilesystemTest, LaterRootMountsComeBeforeTheFirstWhichAnswersForEverything) {
  fs->mount(a(), "/", true);
  fs->mount(b(), "/", true);
  EXPECT_EQ(fs->getSystemPath("/onlyA", nullptr), a() + "/onlyA");
  EXPECT_EQ(fs->getSystemPath("/both", nullptr), b() + "/both");
  EXPECT_EQ(fs->getSystemPath("/neither", nullptr), a() + "/neither");
  EXPECT_TRUE(fs->exists("/onlyB"));
  EXPECT_FALSE(fs->exists("/neither"));
  EXPECT_EQ(fs->size("/both"), 14u);
  auto file = fs->open("/both", nullptr);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->size(), 14);
  EXPECT_EQ(fs->open("/neither", nullptr), nullptr);
}

TEST_F(StdioFilesystemTest, SpecificMountsMatchTheirPrefixWithoutRegardToCase) {
  fs->mount(a(), "/", true);
  fs->mount(b(), "/data", false);
  EXPECT_EQ(fs->getSystemPath("/DATA/onlyB", nullptr), b() + "/onlyB");
  EXPECT_EQ(fs->getSystemPath("/Data/Missing", nullptr), a() + "/Data/Missing") << "falls through, case kept";
  EXPECT_EQ(fs->getSystemPath("/data", nullptr), a() + "/data") << "the bare mount point is not covered";
}

TEST_F(StdioFilesystemTest, ListsTheUnionWithTheFrontMountWinning) {
  fs->mount(a(), "/", true);
  fs->mount(b(), "/", true);
  std::vector<std::string> names, again;
  EXPECT_TRUE(fs->listDir("/", names, vorn::LDR_ThisDirectory));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"/both", "/onlyA", "/onlyB", "/sub"}));

  EXPECT_TRUE(fs->listDir("/sub", names, vorn::LDR_Recurse));
  EXPECT_TRUE(fs->listDir("/sub/", again, vorn::LDR_Recurse));
  std::sort(names.begin(), names.end());
  std::sort(again.begin(), again.end());
  EXPECT_EQ(names, (std::vector<std::string>{"/sub/x", "/sub/y"}));
  EXPECT_EQ(again, names);

  std::vector<vorn::FileInfo> infos;
  EXPECT_TRUE(fs->listDir("/", infos, vorn::LDR_ThisDirectory));
  auto both = std::find_if(infos.begin(), infos.end(), [](auto& i) { return i.name == "/both"; });
  ASSERT_NE(both, infos.end());
  EXPECT_EQ(both->size, 14u) << "B was mounted in front";
  EXPECT_TRUE(fs->listDir("/nowhere", names, vorn::LDR_Recurse));
  EXPECT_TRUE(names.empty());
}

TEST_F(StdioFilesystemTest, BadMountsThrowAndBadPathsEndTheProcess) {
  try {
    fs->mount("relative", "/", true);
    ADD_FAILURE();
  } catch (std::runtime_error const& e) {
    EXPECT_STREQ(e.what(), "pathname must be absolute");
  }
  try {
    fs->mount(a(), "data", true);
    ADD_FAILURE();
  } catch (std::runtime_error const& e) {
    EXPECT_STREQ(e.what(), "mount_point must be absolute");
  }
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  fs->mount(a(), "/data", false);
  EXPECT_DEATH(fs->getSystemPath("x", nullptr), "path must start with a slash");
  EXPECT_DEATH(fs->getSystemPath("", nullptr), "path must start with a slash");
  EXPECT_DEATH(fs->exists("/other"), "path not mounted");
  fs->shutdown();
  EXPECT_DEATH(fs->getSystemPath("/data/onlyA", nullptr), "path not mounted");
}

}  // namespace
