#include "stdio_error.h"

#include <cerrno>
#include <cstring>

namespace ka {

std::string getLastErrorMessage() {
  char buffer[256];
  // The GNU strerror_r may return a static text instead of filling the buffer.
  return strerror_r(errno, buffer, sizeof buffer);
}

}  // namespace ka
