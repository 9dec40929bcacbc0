// Log lines: "[12:34:56.789] INFO text", built in a LogPrinter and handed to every LogSink.
#pragma once

#include <sstream>
#include <string>

namespace ka {

enum class LogLevel : int { Error = 0, Warn = 1, Info = 2, Debug = 3, Trace = 4 };

// Statements above this level are skipped at their call site.
extern int gReportingLevel;

void setLogReportingLevel(LogLevel level);

// The level's word with its surrounding blanks, " INFO " for example.
char const* logLevelWord(LogLevel level);

// One log line; the destructor ends it and broadcasts it to the sinks.
class LogPrinter : public std::ostringstream {
 public:
  static int sFilterThreshold;

  explicit LogPrinter(LogLevel level);
  ~LogPrinter() override;

  std::ostream& stream() { return *this; }
  // "[HH:MM:SS.mmm]" in local time.
  static std::string timeNow();
};

}  // namespace ka

// KA_LOG(Info) << "text"; formats nothing when the level is suppressed. A loop that runs at
// most once, rather than an if, so that the macro nests under an unbraced if without a dangling else.
#define KA_LOG(level)                                                                                  \
  for (bool kaLogOnce = ::ka::gReportingLevel >= static_cast<int>(::ka::LogLevel::level); kaLogOnce; \
       kaLogOnce = false)                                                                              \
  ::ka::LogPrinter(::ka::LogLevel::level).stream()
