// File and folder operations on the real filesystem: copies, moves, listings, permissions.
#include "vorn/osutil.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <random>

#include "support/temp_dir.h"
#include "support/text.h"

namespace {

namespace osutil = vorn::osutil;

bool isDirectory(std::string const& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

TEST(Osutil, MakesDirectoriesAndParents) {
  TempDir dir;
  std::string file = dir.write("file", "x");
  EXPECT_TRUE(osutil::mkdir(dir.file("d")));
  EXPECT_TRUE(osutil::mkdir(dir.file("d"))) << "an existing directory counts as made";
  EXPECT_FALSE(osutil::mkdir(file)) << "an existing file does not";
  EXPECT_FALSE(osutil::mkdir(dir.file("missing/d")));

  EXPECT_TRUE(osutil::mkdirAndParents(dir.file("a/b/c/")));
  EXPECT_TRUE(isDirectory(dir.file("a/b/c")));
  EXPECT_TRUE(osutil::mkdirAndParents(dir.file("a/b/c")));
  EXPECT_TRUE(osutil::mkdirAndParents(dir.file("a//x/y")));
  EXPECT_TRUE(isDirectory(dir.file("a/x/y")));
  EXPECT_FALSE(osutil::mkdirAndParents(dir.file("file/sub/deeper")));
  EXPECT_FALSE(osutil::mkdirAndParents(""));

  std::string here = std::filesystem::current_path();
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  EXPECT_TRUE(osutil::mkdirAndParents("rel/one/two"));
  ASSERT_EQ(chdir(here.c_str()), 0);
  EXPECT_TRUE(isDirectory(dir.file("rel/one/two")));

  EXPECT_FALSE(osutil::rmdir(dir.file("a"))) << "not empty";
  EXPECT_TRUE(osutil::rmdir(dir.file("a/b/c")));
  EXPECT_FALSE(osutil::rmdir(dir.file("a/b/c")));
}

TEST(Osutil, FileOperationsReportAbsencesAsResults) {
  TempDir dir;
  std::string file = dir.write("file", "content");
  EXPECT_TRUE(osutil::fileExists(file));
  EXPECT_EQ(osutil::fileSize(file), 7u);
  EXPECT_FALSE(osutil::fileExists(dir.file("none")));
  EXPECT_EQ(osutil::fileSize(dir.file("none")), ~uint64_t(0));
  EXPECT_EQ(osutil::fileOpen(dir.file("none")), nullptr);

  EXPECT_TRUE(osutil::touch(file));
  EXPECT_EQ(osutil::fileSize(file), 0u) << "touch empties an existing file";
  EXPECT_TRUE(osutil::touch(dir.file("new")));
  EXPECT_FALSE(osutil::touch(dir.file("none/new")));

  EXPECT_TRUE(osutil::renameFile(dir.file("new"), dir.file("renamed")));
  EXPECT_FALSE(osutil::renameFile(dir.file("new"), dir.file("again")));
  EXPECT_TRUE(osutil::deleteFile(dir.file("renamed")));
  EXPECT_FALSE(osutil::deleteFile(dir.file("renamed")));
  EXPECT_FALSE(osutil::deleteFile(dir.path())) << "directories are not files";
}

TEST(Osutil, CopiesFilesOfEverySize) {
  TempDir dir;
  std::mt19937 rng(5);
  for (size_t size : {size_t(0), size_t(1), size_t(1023), size_t(1025), size_t(3) << 20}) {
    std::string content(size, '\0');
    for (char& c : content) c = char(rng());
    std::string from = dir.write("from", content);
    dir.write("to", std::string(5000000, 'o'));  // longer than any source: must be truncated
    EXPECT_TRUE(osutil::copyFile(from, dir.file("to")));
    EXPECT_EQ(readFile(dir.file("to")), content) << size;
  }
}

TEST(Osutil, CopyFileSaysTrueEvenWhenNothingWasCopied) {
  TempDir dir;
  EXPECT_TRUE(osutil::copyFile(dir.file("missing"), dir.file("to")));
  EXPECT_EQ(osutil::fileSize(dir.file("to")), 0u) << "the destination is still created";
  EXPECT_TRUE(osutil::copyFile(dir.write("from", "x"), dir.file("none/to")));
  EXPECT_FALSE(osutil::fileExists(dir.file("none/to")));
}

TEST(Osutil, OpenedFilesReadSeekAndMeasure) {
  TempDir dir;
  auto file = osutil::fileOpen(dir.write("f", "0123456789"));
  ASSERT_TRUE(file);
  EXPECT_EQ(file->size(), 10);
  char buffer[4];
  EXPECT_EQ(file->read(buffer, 4), 4);
  EXPECT_EQ(std::string(buffer, 4), "0123");
  EXPECT_EQ(file->seek(-2, vorn::SEEK_FromEnd), 0);
  EXPECT_EQ(file->tell(), 8);
  EXPECT_EQ(file->read(buffer, 4), 2);
  EXPECT_EQ(file->seek(3, vorn::SeekMode(9)), 0) << "unknown modes seek from the start";
  EXPECT_EQ(file->tell(), 3);
  EXPECT_EQ(file->size(), 10);
  EXPECT_EQ(file->tell(), 3) << "size leaves the position alone";
}

TEST(Osutil, ListsRegularFilesAndDirectoriesOnly) {
  TempDir dir;
  osutil::mkdirAndParents(dir.file("sub/deep"));
  dir.write("a.txt", "aaa");
  dir.write("sub/b.bin", "bb");
  dir.write("sub/deep/c", "");
  ASSERT_EQ(symlink(dir.file("a.txt").c_str(), dir.file("link").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);

  std::vector<std::string> names{"kept"};
  EXPECT_TRUE(osutil::listDir(dir.path(), names, vorn::LDR_ThisDirectory));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{dir.file("a.txt"), dir.file("sub"), "kept"}));

  names.clear();
  EXPECT_TRUE(osutil::listDir(dir.path(), names, vorn::LDR_Recurse));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{dir.file("a.txt"), dir.file("sub"), dir.file("sub/b.bin"),
                                             dir.file("sub/deep"), dir.file("sub/deep/c")}));

  std::vector<vorn::FileInfo> infos;
  EXPECT_TRUE(osutil::listDir(dir.path() + "/sub", infos, vorn::LDR_Recurse));
  std::sort(infos.begin(), infos.end(), [](auto& x, auto& y) { return x.name < y.name; });
  ASSERT_EQ(infos.size(), 3u);
  EXPECT_EQ(infos[0].name, dir.file("sub/b.bin"));
  EXPECT_EQ(infos[0].size, 2u);
  EXPECT_EQ(infos[0].type, vorn::FileInfo::TYPE_File);
  EXPECT_GT(infos[0].modified, 1600000000);
  EXPECT_EQ(infos[1].type, vorn::FileInfo::TYPE_Directory);

  EXPECT_FALSE(osutil::listDir(dir.file("missing"), names, vorn::LDR_Recurse));
  EXPECT_FALSE(osutil::listDir(dir.file("a.txt"), infos, vorn::LDR_Recurse));
}

}  // namespace
