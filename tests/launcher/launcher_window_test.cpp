// The launcher program in its window on a private X server, against the development server.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "devserver.h"
#include "support/dev_server_thread.h"
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

TEST(LauncherWindow, OpensItsWindowStaysUpAndClosesInOrder) {
  XvfbDisplay display;
  devserver::Config config = devserver::readConfig(ZANDOR_DEMO_DIR "/devserver.json");
  config.bind = "127.0.0.1";
  config.port = 0;
  DevServerThread server(config);
  TempDir home;

  pid_t launcher = ::fork();
  if (launcher == 0) {
    // A group of its own, so that the engine's helper processes can be found again.
    ::setsid();
    ::setenv("XDG_DATA_HOME", home.path().c_str(), 1);
    std::freopen(home.file("out").c_str(), "w", stdout);
    std::freopen(home.file("err").c_str(), "w", stderr);
    std::string url = server.baseUrl();
    ::execl(ZANDOR_LAUNCHER_EXE, ZANDOR_LAUNCHER_EXE, "--service-url", url.c_str(), "--update-check-url",
            url.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
  unsigned long window = waitForWindow("ZandorLauncher", 20);
  ASSERT_NE(window, 0u) << readFile(home.file("err"));
  EXPECT_EQ(windowSize(window), std::make_pair(960, 580));
  // The page is read while the window is up: the frames pump the HTML engine.
  for (int i = 0; i < 200 && readFile(home.file("out")).find("launcher.js") == std::string::npos; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_NE(readFile(home.file("out")).find("launcher.js"), std::string::npos);
  EXPECT_EQ(waitForExit(launcher, 1), -1) << "the launcher stays up";

  sendDeleteWindow(window);
  int status = waitForExit(launcher, 30);
  if (status == -1) ::kill(-launcher, SIGKILL);
  EXPECT_EQ(status, 0) << readFile(home.file("err"));
  EXPECT_TRUE(groupGone(launcher, 10)) << "a helper process outlived the launcher";
  ::kill(-launcher, SIGKILL);
  std::string out = readFile(home.file("out"));
  EXPECT_NE(out.find("INFO LinuxPlatform::~LinuxPlatform()"), std::string::npos) << out;
  EXPECT_NE(out.find("INFO Exiting with 0"), std::string::npos) << out;
}

}  // namespace
