// What the program logged while a test's memory sink listened.
#pragma once

#include <algorithm>
#include <string>

#include "ka/logsink.h"

// Every line, one after the other.
inline std::string logText(ka::LogSinkMemory const& log) {
  std::string text;
  for (std::string const& line : log.messages()) text += line;
  return text;
}

// Lines that hold `text`.
inline int countLines(ka::LogSinkMemory const& log, std::string const& text) {
  auto const& lines = log.messages();
  return int(std::count_if(lines.begin(), lines.end(),
                           [&](std::string const& line) { return line.find(text) != std::string::npos; }));
}
