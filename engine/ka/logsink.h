// Destinations of log lines: every live sink receives every line, in registration order.
#pragma once

#include <deque>
#include <ostream>
#include <string>

namespace ka {

// Enters itself into the process-wide sink list for its lifetime. `write` runs under
// the list's mutex, so lines never interleave; it must not log.
class LogSink {
 public:
  LogSink();
  virtual ~LogSink();
  LogSink(LogSink const&) = delete;
  LogSink& operator=(LogSink const&) = delete;

  virtual void write(std::string const& line) = 0;

  static void broadcast(std::string const& line);
};

// Writes each line to a stream and flushes.
class LogSinkStream : public LogSink {
 public:
  explicit LogSinkStream(std::ostream& os) : os_(os) {}
  void write(std::string const& line) override;

 private:
  std::ostream& os_;
};

// Keeps lines in memory. With a limit of N the list settles at N + 1 lines; 0 means no limit.
class LogSinkMemory : public LogSink {
 public:
  explicit LogSinkMemory(size_t maxLines) : maxLines_(maxLines) {}
  void write(std::string const& line) override;
  // Read only while no other thread logs.
  std::deque<std::string> const& messages() const { return lines_; }
  void clear();

 private:
  size_t maxLines_;
  std::deque<std::string> lines_;
};

}  // namespace ka
