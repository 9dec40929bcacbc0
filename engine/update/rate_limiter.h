// Holds a set of transfers together under a number of bytes a second: each delivery waits until
// the bytes before it have had their time. Waiting on the network thread holds every transfer
// back, and the server with them, through the sockets' flow control.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>

namespace update {

class RateLimiter {
 public:
  // Read at each delivery, so that a change takes effect at once; 0 lets everything through.
  explicit RateLimiter(std::shared_ptr<std::atomic<uint64_t>> bytesPerSecond) : limit_(std::move(bytesPerSecond)) {}

  // Returns once `count` more bytes keep the average under the limit.
  void take(uint64_t count);

 private:
  using Clock = std::chrono::steady_clock;
  // Time not used is kept for at most this long, so that a pause buys no burst beyond it.
  static constexpr std::chrono::milliseconds kSlack{50};

  std::shared_ptr<std::atomic<uint64_t>> limit_;
  std::mutex mutex_;
  Clock::time_point paidUntil_{};
};

}  // namespace update
