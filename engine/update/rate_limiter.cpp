#include "update/rate_limiter.h"

#include <thread>

namespace update {

void RateLimiter::take(uint64_t count) {
  uint64_t limit = limit_ ? limit_->load() : 0;
  if (limit == 0 || count == 0) return;
  Clock::time_point until;
  {
    std::lock_guard lock(mutex_);
    Clock::time_point now = Clock::now();
    if (paidUntil_ < now - kSlack) paidUntil_ = now - kSlack;
    paidUntil_ += std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(double(count) / double(limit)));
    until = paidUntil_;
  }
  std::this_thread::sleep_until(until);
}

}  // namespace update
