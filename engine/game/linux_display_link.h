// The frame clock: a thread of its own that calls the frame function once per display refresh.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace vorn {

class LinuxDisplayLink {
 public:
  // `frame` runs on the link's thread. When the frame's own swap does not wait for the display
  // (no vsync, as under Xvfb), the link waits out the rest of the period itself, so that a window
  // does not burn a core drawing frames nobody sees.
  LinuxDisplayLink(std::function<void()> frame, double framesPerSecond);
  ~LinuxDisplayLink();
  LinuxDisplayLink(LinuxDisplayLink const&) = delete;
  LinuxDisplayLink& operator=(LinuxDisplayLink const&) = delete;

  // Starting or stopping twice is harmless. `stop` joins the thread: never from a frame.
  void start();
  void stop();
  // Off: frames follow one another at once (for measuring what a frame costs).
  void setPacing(bool on) { pacing_ = on; }

 private:
  void loop();

  std::function<void()> frame_;
  std::chrono::steady_clock::duration period_;
  std::atomic<bool> pacing_{true};
  std::mutex mutex_;  // guards stopping_
  std::condition_variable wake_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace vorn
