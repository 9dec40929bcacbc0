#include "taskqueue.h"

namespace ka {

void SingleThreadedWorklist::enqueue(std::function<void()> const& task) { tasks_.push_back(task); }

void SingleThreadedWorklist::run() {
  while (!tasks_.empty()) {
    std::function<void()> task = tasks_.front();
    tasks_.pop_front();
    task();
  }
}

void ThreadSafeTaskQueue::enqueue(std::function<void()> const& task) {
  std::lock_guard lock(mutex_);
  tasks_.push_back(task);
}

void ThreadSafeTaskQueue::run() {
  while (true) {
    std::deque<std::function<void()>> batch;
    {
      std::lock_guard lock(mutex_);
      batch.swap(tasks_);
    }
    if (batch.empty()) return;
    for (auto& task : batch) task();
  }
}

bool ThreadSafeTaskQueue::empty() {
  std::lock_guard lock(mutex_);
  return tasks_.empty();
}

}  // namespace ka
