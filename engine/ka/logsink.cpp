#include "logsink.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace ka {

namespace {

struct SinkList {
  std::mutex mutex;
  std::vector<LogSink*> sinks;
};

// Built on first use, so that static sinks in any unit find it ready; never destroyed,
// so that sinks destroyed at exit still find it.
SinkList& sinkList() {
  static SinkList* list = new SinkList;
  return *list;
}

}  // namespace

LogSink::LogSink() {
  SinkList& list = sinkList();
  std::lock_guard lock(list.mutex);
  list.sinks.push_back(this);
}

LogSink::~LogSink() {
  SinkList& list = sinkList();
  std::lock_guard lock(list.mutex);
  list.sinks.erase(std::remove(list.sinks.begin(), list.sinks.end(), this), list.sinks.end());
}

void LogSink::broadcast(std::string const& line) {
  SinkList& list = sinkList();
  std::lock_guard lock(list.mutex);
  for (LogSink* sink : list.sinks) sink->write(line);
}

void LogSinkStream::write(std::string const& line) {
  os_ << line;
  os_.flush();
}

void LogSinkMemory::write(std::string const& line) {
  if (maxLines_ != 0) {
    while (lines_.size() > maxLines_) lines_.pop_front();
  }
  lines_.push_back(line);
}

void LogSinkMemory::clear() { lines_.clear(); }

}  // namespace ka
