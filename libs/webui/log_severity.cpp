#include "log_severity.h"

#include <stdexcept>

#include "ka/strutil.h"

namespace webui {

char const* const SeverityStrings[6] = {"TRACE", "DEBUG", "INFO", "WARNING", "ASSERTFAILURE", "ERROR"};

int parseCoherentLogSeverity(ka::StringRange text) {
  std::string upper = ka::strUpper(text);
  for (int i = 0; i < 6; ++i) {
    if (upper == SeverityStrings[i]) return i;
  }
  throw std::runtime_error("Unknown coherent log severity level");
}

}  // namespace webui
