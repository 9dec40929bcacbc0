// A private X display for window tests: an Xvfb server of the test's own, numbered by the server
// itself (-displayfd), so that tests running side by side never race for a display number.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

class XvfbDisplay {
 public:
  // Starts the server and points DISPLAY at it; throws if it does not come up in 10 seconds.
  XvfbDisplay() {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    pid_ = ::fork();
    if (pid_ == 0) {
      // The server goes with the test, however the test ends.
      ::prctl(PR_SET_PDEATHSIG, SIGTERM);
      ::fcntl(fds[1], F_SETFD, 0);
      int quiet = ::open("/dev/null", O_WRONLY);
      ::dup2(quiet, 1);
      ::dup2(quiet, 2);
      std::string fd = std::to_string(fds[1]);
      ::execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1280x1024x24", "-nolisten", "tcp",
               static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(fds[1]);
    std::string number;
    pollfd reader{fds[0], POLLIN, 0};
    char c = 0;
    while (::poll(&reader, 1, 10000) == 1 && ::read(fds[0], &c, 1) == 1 && c != '\n') number += c;
    ::close(fds[0]);
    if (number.empty()) {
      stop();
      throw std::runtime_error("Xvfb did not start");
    }
    name_ = ":" + number;
    ::setenv("DISPLAY", name_.c_str(), 1);
  }
  ~XvfbDisplay() { stop(); }
  XvfbDisplay(XvfbDisplay const&) = delete;
  XvfbDisplay& operator=(XvfbDisplay const&) = delete;

  std::string const& name() const { return name_; }

 private:
  void stop() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

  pid_t pid_ = -1;
  std::string name_;
};
