#include "cli/terminal.h"

#include <sys/ioctl.h>

#include <cstdlib>

namespace cli {

int terminalColumns(int fd) {
  winsize size{};
  if (::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  if (char const* columns = std::getenv("COLUMNS")) {
    char* end = nullptr;
    long value = std::strtol(columns, &end, 10);
    if (end != columns && *end == '\0' && value > 0 && value <= 10000) return int(value);
  }
  return 80;
}

}  // namespace cli
