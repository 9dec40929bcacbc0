// The files that carry the engine's pictures: private to the user, under a name nobody can
// guess or plant, in the user's runtime folder when there is one.
#include "webui/shared_memory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "support/env.h"
#include "support/temp_dir.h"
#include "support/text.h"

namespace {

struct Answer : webui::SurfaceResponse {
  void Signal(webui::SurfaceHandle given) override { handle = given; }
  webui::SurfaceHandle handle;
};

webui::SurfaceHandle makeSurface(unsigned long size) {
  Answer answer;
  return webui::initSharedMemory(size, &answer);
}

// Where the file lies and that it goes again: SurfacesArePrivateFilesUnderFreshNamesInTheRuntimeFolder.
TEST(SharedMemory, ReadsAPictureFile) {
  Answer answer;
  webui::SurfaceHandle handle = webui::initSharedMemory(64, &answer);
  EXPECT_EQ(std::string(answer.handle.name), handle.name);
  ASSERT_GE(handle.fd, 0);
  std::vector<char> picture(64, 'x');
  ASSERT_TRUE(webui::readFromSharedMemory(handle, 64, picture.data()));
  EXPECT_EQ(picture, std::vector<char>(64, '\0')) << "a new surface starts blank";
  ASSERT_EQ(pwrite(handle.fd, "BGRA", 4, 8), 4);
  ASSERT_TRUE(webui::readFromSharedMemoryIntoBuffer(handle, picture.data(), 64));
  EXPECT_EQ(std::string(picture.data() + 8, 4), "BGRA");
  webui::destroySharedMemory(handle);
}

TEST(SharedMemory, SurfacesArePrivateFilesUnderFreshNamesInTheRuntimeFolder) {
  TempDir runtime;
  for (char const* folder : {runtime.path().c_str(), static_cast<char const*>(nullptr)}) {
    ScopedEnv env("XDG_RUNTIME_DIR", folder);
    webui::SurfaceHandle first = makeSurface(64);
    webui::SurfaceHandle second = makeSurface(64);
    ASSERT_GE(first.fd, 0);
    ASSERT_GE(second.fd, 0);
    EXPECT_NE(std::string(first.name), std::string(second.name));
    std::string const expected = folder ? folder : "/tmp";
    for (webui::SurfaceHandle const& handle : {first, second}) {
      std::filesystem::path path(handle.name);
      EXPECT_EQ(path.parent_path(), expected) << handle.name;
      EXPECT_EQ(path.filename().string().rfind("buffer_", 0), 0u) << handle.name;
      struct stat info {};
      ASSERT_EQ(::lstat(handle.name, &info), 0) << handle.name;
      EXPECT_TRUE(S_ISREG(info.st_mode));
      EXPECT_EQ(info.st_mode & 07777, 0600u) << handle.name;
      EXPECT_EQ(info.st_size, 64);
      webui::destroySharedMemory(handle);
      EXPECT_FALSE(std::filesystem::exists(path));
    }
  }
}

TEST(SharedMemory, ANamePlantedBeforeIsNeverOpened) {
  TempDir folder;
  std::string const victim = folder.write("victim", "keep me");
  std::string const planted = folder.write("buffer_1_2", "planted");
  std::filesystem::create_symlink(victim, folder.file("buffer_3_4"));
  std::filesystem::create_symlink(folder.file("nothing"), folder.file("buffer_5_6"));
  for (char const* name : {"buffer_1_2", "buffer_3_4", "buffer_5_6"}) {
    errno = 0;
    int fd = webui::createSurfaceFile(folder.file(name), 1024);
    EXPECT_EQ(fd, -1) << name;
    EXPECT_EQ(errno, EEXIST) << name;
    if (fd >= 0) ::close(fd);
  }
  EXPECT_EQ(readFile(victim), "keep me") << "a link's target is never written";
  EXPECT_EQ(readFile(planted), "planted");
  EXPECT_FALSE(std::filesystem::exists(folder.file("nothing"))) << "a dangling link makes no file";

  int fd = webui::createSurfaceFile(folder.file("buffer_7_8"), 1024);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(std::filesystem::file_size(folder.file("buffer_7_8")), 1024u);
  ::close(fd);
}

}  // namespace
