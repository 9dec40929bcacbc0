// The launcher program in its window on a private X server, against the development server.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "devserver.h"
#include "support/dev_server_thread.h"
#include "support/picture_file.h"
#include "support/request_log.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "support/x11_window.h"
#include "support/xvfb.h"

namespace {

// Waits up to `seconds` for the child to end; its exit status, or -1 if it is still running.
int waitForExit(pid_t pid, int seconds) {
  for (int i = 0; i < seconds * 100; ++i) {
    int raw = 0;
    if (::waitpid(pid, &raw, WNOHANG) == pid) return WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return -1;
}

// True once no process of the group is left, within `seconds`.
bool groupGone(pid_t group, int seconds) {
  for (int i = 0; i < seconds * 100; ++i) {
    if (::kill(-group, 0) != 0 && errno == ESRCH) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

// Starts the launcher against `server` with its home, output and surface files in `home`.
pid_t startLauncher(DevServerThread const& server, TempDir const& home) {
  std::filesystem::create_directories(home.file("run"));
  pid_t launcher = ::fork();
  if (launcher == 0) {
    // A group of its own, so that the engine's helper processes can be found again.
    ::setsid();
    ::setenv("XDG_DATA_HOME", home.path().c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", home.file("run").c_str(), 1);
    std::freopen(home.file("out").c_str(), "w", stdout);
    std::freopen(home.file("err").c_str(), "w", stderr);
    std::string url = server.baseUrl();
    ::execl(ZANDOR_LAUNCHER_EXE, ZANDOR_LAUNCHER_EXE, "--service-url", url.c_str(), "--update-check-url",
            url.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
  return launcher;
}

// Asks the window to close and waits for the launcher and its helpers to end; its exit status.
int closeLauncher(pid_t launcher, unsigned long window) {
  sendDeleteWindow(window);
  int status = waitForExit(launcher, 30);
  if (status == -1) ::kill(-launcher, SIGKILL);
  EXPECT_TRUE(groupGone(launcher, 10)) << "a helper process outlived the launcher";
  ::kill(-launcher, SIGKILL);
  return status;
}

// The bytes of the page's surface file in `folder` that holds a picture of `width` by `height`.
std::string surfacePicture(std::string const& folder, int width, int height) {
  for (auto const& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().filename().string().rfind("buffer_", 0) != 0) continue;
    std::error_code error;
    if (std::filesystem::file_size(entry.path(), error) != uintmax_t(width) * uintmax_t(height) * 4) continue;
    return readFile(entry.path().string());
  }
  return {};
}

// Pixels of the window that differ from the page's picture (B, G, R, A bytes, row 0 at the top),
// on the first try at which the picture held still while the window was read; -1 if it never did
// within `seconds`, or the window never matched. The last window image is kept in `shown`.
long differingPixels(unsigned long window, std::string const& folder, int width, int height, int seconds,
                     std::vector<unsigned char>& shown) {
  long differing = -1;
  for (int attempt = 0; attempt < seconds * 10; ++attempt) {
    std::string before = surfacePicture(folder, width, height);
    shown = windowImage(window, width, height);
    std::string after = surfacePicture(folder, width, height);
    if (!before.empty() && before == after && shown.size() == size_t(width) * size_t(height) * 3) {
      differing = 0;
      for (size_t pixel = 0; pixel < size_t(width) * size_t(height); ++pixel) {
        auto const* page = reinterpret_cast<unsigned char const*>(before.data()) + pixel * 4;
        unsigned char const* screen = &shown[pixel * 3];
        if (screen[0] != page[2] || screen[1] != page[1] || screen[2] != page[0]) ++differing;
      }
      if (differing == 0) return 0;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return differing;
}

TEST(LauncherWindow, OpensItsWindowStaysUpAndClosesInOrder) {
  XvfbDisplay display;
  devserver::Config config = devserver::readConfig(ZANDOR_DEMO_DIR "/devserver.json");
  config.bind = "127.0.0.1";
  config.port = 0;
  DevServerThread server(config);
  TempDir home;

  pid_t launcher = startLauncher(server, home);
  unsigned long window = waitForWindow("ZandorLauncher", 20);
  ASSERT_NE(window, 0u) << readFile(home.file("err"));
  EXPECT_EQ(windowSize(window), std::make_pair(960, 580));
  // The page is read while the window is up: the frames pump the HTML engine.
  for (int i = 0; i < 200 && readFile(home.file("out")).find("launcher.js") == std::string::npos; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_NE(readFile(home.file("out")).find("launcher.js"), std::string::npos);
  EXPECT_EQ(waitForExit(launcher, 1), -1) << "the launcher stays up";

  EXPECT_EQ(closeLauncher(launcher, window), 0) << readFile(home.file("err"));
  std::string out = readFile(home.file("out"));
  EXPECT_NE(out.find("INFO LinuxPlatform::~LinuxPlatform()"), std::string::npos) << out;
  EXPECT_NE(out.find("INFO Exiting with 0"), std::string::npos) << out;
}

// The window shows the page's picture pixel for pixel, before and after a resize, and a player
// signs in by typing into it.
TEST(LauncherWindow, ShowsThePageExactlyAndTakesTypedInput) {
  XvfbDisplay display;
  devserver::Config config = devserver::readConfig(ZANDOR_DEMO_DIR "/devserver.json");
  config.bind = "127.0.0.1";
  config.port = 0;
  RequestLog requests;
  DevServerThread server(config);
  TempDir home;
  pid_t launcher = startLauncher(server, home);
  unsigned long window = waitForWindow("ZandorLauncher", 20);
  ASSERT_NE(window, 0u) << readFile(home.file("err"));

  std::vector<unsigned char> shown;
  EXPECT_EQ(differingPixels(window, home.file("run"), 960, 580, 30, shown), 0);
  writeTopDownPng("launcher-window", 960, 580, shown);

  ASSERT_TRUE(xdotool("windowsize " + std::to_string(window) + " 800 500"));
  for (int i = 0; i < 100 && windowSize(window) != std::make_pair(800, 500); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(differingPixels(window, home.file("run"), 800, 500, 30, shown), 0) << "after the resize";
  writeTopDownPng("launcher-window-resized", 800, 500, shown);

  // The name field has the focus once the page is up.
  std::string id = std::to_string(window);
  EXPECT_TRUE(xdotool("windowfocus --sync " + id));
  EXPECT_TRUE(xdotool("type --delay 20 demo"));
  EXPECT_TRUE(xdotool("key Tab"));
  EXPECT_TRUE(xdotool("type --delay 20 demo"));
  EXPECT_TRUE(xdotool("key Return"));
  for (int i = 0; i < 200 && !requests.has("/GC/Authenticate"); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_TRUE(requests.has("/GC/Authenticate"));

  EXPECT_EQ(closeLauncher(launcher, window), 0) << readFile(home.file("err"));
}

}  // namespace
