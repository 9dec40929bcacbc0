#include "log.h"

#include <sys/time.h>

#include <cstdio>
#include <ctime>

#include "logsink.h"

namespace ka {

int gReportingLevel = static_cast<int>(LogLevel::Info);
int LogPrinter::sFilterThreshold = static_cast<int>(LogLevel::Trace);

void setLogReportingLevel(LogLevel level) { gReportingLevel = static_cast<int>(level); }

char const* logLevelWord(LogLevel level) {
  switch (level) {
    case LogLevel::Error: return " ERROR ";
    case LogLevel::Warn: return " WARN ";
    case LogLevel::Info: return " INFO ";
    case LogLevel::Debug: return " DEBUG ";
    case LogLevel::Trace: return " TRACE ";
  }
  return " ";
}

LogPrinter::LogPrinter(LogLevel level) {
  if (sFilterThreshold >= static_cast<int>(level)) *this << timeNow() << logLevelWord(level);
}

LogPrinter::~LogPrinter() {
  *this << '\n';
  LogSink::broadcast(str());
}

std::string LogPrinter::timeNow() {
  timeval now;
  gettimeofday(&now, nullptr);
  time_t seconds = now.tv_sec;
  tm local;
  localtime_r(&seconds, &local);
  char clock[11];
  if (std::strftime(clock, sizeof clock, "%X", &local) == 0) clock[0] = 0;
  char stamp[32];
  std::snprintf(stamp, sizeof stamp, "[%s.%03ld]", clock, long(now.tv_usec / 1000));
  return stamp;
}

}  // namespace ka
