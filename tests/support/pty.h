// A pseudo-terminal of a given width, for output that changes when it goes to a terminal.
#pragma once

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

class PseudoTerminal {
 public:
  // Throws if the system has none to give.
  explicit PseudoTerminal(unsigned short columns) : master_(::posix_openpt(O_RDWR | O_NOCTTY)) {
    if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0) throw std::runtime_error("no pty");
    winsize size{};
    size.ws_row = 24;
    size.ws_col = columns;
    if (::ioctl(master_, TIOCSWINSZ, &size) != 0) throw std::runtime_error("pty size not set");
  }
  ~PseudoTerminal() {
    if (master_ >= 0) ::close(master_);
  }
  PseudoTerminal(PseudoTerminal const&) = delete;
  PseudoTerminal& operator=(PseudoTerminal const&) = delete;

  // The terminal's name, for a program to open as its output.
  std::string name() const { return ::ptsname(master_); }
  // Everything shown until the last program holding the terminal ends.
  std::string readAll() {
    std::string shown;
    char buffer[4096];
    for (ssize_t n; (n = ::read(master_, buffer, sizeof buffer)) > 0;) shown.append(buffer, size_t(n));
    return shown;
  }

 private:
  int master_;
};
