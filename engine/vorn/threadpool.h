// A fixed set of worker threads taking tasks first in, first out.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "ka/taskqueue.h"

namespace vorn {

class ThreadPool : public ka::TaskQueue {
 public:
  // Fewer than one thread is a programming fault.
  explicit ThreadPool(int numThreads);
  // Shuts down: waits for queued tasks to be taken and for running ones to end.
  ~ThreadPool() override;
  ThreadPool(ThreadPool const&) = delete;
  ThreadPool& operator=(ThreadPool const&) = delete;

  // Wakes one worker only if one sleeps. Enqueueing after shutdown is a programming fault.
  void enqueue(std::function<void()> const& task) override;
  // Returns once the queue is empty, even while tasks still run: it waits for the queue, not the work.
  void drain();
  // Waits for the queue to empty, then for every worker to end; a second call returns at once.
  void shutdown();

  // Threads for a background pool on a machine with `hardwareThreads`: one fewer below 5
  // (at least one), two fewer from 5 up, so the frame and main threads keep a core.
  static int backgroundThreadCount(unsigned hardwareThreads);

 private:
  void work();
  bool queueTaken() const { return tasks_.empty() || numIdle_ >= threads_.size(); }

  std::vector<std::thread> threads_;
  std::mutex mutex_;
  std::condition_variable work_;
  std::condition_variable idle_;
  std::deque<std::function<void()>> tasks_;
  uint32_t numIdle_ = 0;
  bool isShutdown_ = false;
};

}  // namespace vorn
