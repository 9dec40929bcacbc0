// Where the HTML engine's own messages go: the program's log, marked "[COUI] ".
#pragma once

#include <cstddef>

namespace webui {

class WebUILogHandler {
 public:
  // Messages below `severity` (a number of SeverityStrings) are dropped.
  explicit WebUILogHandler(int severity) : severity_(severity) {}
  // `length` counts a closing character, which is not logged.
  void WriteLog(int severity, char const* message, size_t length);
  int severity() const { return severity_; }

 private:
  int severity_;
};

}  // namespace webui
