#include "game/linux_display_link.h"

#include "vorn/linux_crashhandler.h"

namespace vorn {

LinuxDisplayLink::LinuxDisplayLink(std::function<void()> frame, double framesPerSecond)
    : frame_(std::move(frame)),
      period_(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
          std::chrono::duration<double>(1.0 / framesPerSecond))) {}

LinuxDisplayLink::~LinuxDisplayLink() { stop(); }

void LinuxDisplayLink::start() {
  if (thread_.joinable()) return;
  stopping_ = false;
  thread_ = std::thread([this] { loop(); });
}

void LinuxDisplayLink::stop() {
  if (!thread_.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void LinuxDisplayLink::loop() {
  crashHandlerRegisterThread();
  auto next = std::chrono::steady_clock::now();
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stopping_) {
    lock.unlock();
    frame_();
    lock.lock();
    if (!pacing_) continue;
    // A swap that waited for the display has used up the period already; a late frame starts a
    // new schedule rather than a burst of catch-up frames.
    next = std::max(next + period_, std::chrono::steady_clock::now());
    wake_.wait_until(lock, next, [this] { return stopping_; });
  }
  lock.unlock();
  crashHandlerForgetThread();
}

}  // namespace vorn
