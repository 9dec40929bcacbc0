#include "die.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "strutil.h"

namespace ka {

void die(StringRange message) {
  std::fwrite(message.begin, 1, message.size(), stderr);
  std::fputc('\n', stderr);
  std::fflush(stderr);
  std::abort();
}

void dief(char const* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = stringvprintf(format, args);
  va_end(args);
  die(text);
}

}  // namespace ka
