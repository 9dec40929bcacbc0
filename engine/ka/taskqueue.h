// Work handed between threads: a task is a std::function<void ()> given to a TaskQueue.
#pragma once

#include <deque>
#include <functional>
#include <mutex>

namespace ka {

class TaskQueue {
 public:
  virtual void enqueue(std::function<void()> const& task) = 0;
  virtual ~TaskQueue() = default;
};

// Runs later on the one thread that owns it; no lock.
class SingleThreadedWorklist : public TaskQueue {
 public:
  void enqueue(std::function<void()> const& task) override;
  // Runs tasks until the list is empty, including tasks that running tasks add.
  void run();

 private:
  std::deque<std::function<void()>> tasks_;
};

// Any number of producers, one consumer at a time; tasks run with no lock held.
class ThreadSafeTaskQueue : public TaskQueue {
 public:
  void enqueue(std::function<void()> const& task) override;
  // Takes batches until one comes up empty; a throwing task drops the rest of its batch.
  void run();
  // Stale at once: says nothing about a batch under way.
  bool empty();

 private:
  std::mutex mutex_;
  std::deque<std::function<void()>> tasks_;
};

// Runs each task at once on the calling thread.
class BlockingTaskQueue : public TaskQueue {
 public:
  void enqueue(std::function<void()> const& task) override { task(); }
};

}  // namespace ka
