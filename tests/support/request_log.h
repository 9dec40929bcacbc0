// The lines the development server logs, one per request, kept for a test to look through.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "ka/logsink.h"

class RequestLog : public ka::LogSink {
 public:
  void write(std::string const& line) override {
    std::lock_guard lock(mutex_);
    lines_.push_back(line);
  }
  bool has(std::string const& part) const {
    std::lock_guard lock(mutex_);
    return std::any_of(lines_.begin(), lines_.end(), [&](std::string const& l) { return l.find(part) != l.npos; });
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};
