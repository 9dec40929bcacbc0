#include "threadpool.h"

#include <system_error>

#include "ka/die.h"
#include "linux_crashhandler.h"

namespace vorn {

ThreadPool::ThreadPool(int numThreads) {
  if (numThreads < 1) ka::die("Can't create a thread pool without at least one thread.");
  threads_.reserve(size_t(numThreads));
  for (int i = 0; i < numThreads; ++i) {
    try {
      threads_.emplace_back([this] { work(); });
    } catch (std::system_error const& e) {
      shutdown();
      throw std::system_error(e.code(), "thread constructor failed");
    }
  }
}

ThreadPool::~ThreadPool() { shutdown(); }

void ThreadPool::work() {
  crashHandlerRegisterThread();
  std::unique_lock lock(mutex_);
  while (true) {
    if (!tasks_.empty()) {
      std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      // An exception leaving a task is not caught here: it ends the process.
      task();
      lock.lock();
    } else if (isShutdown_) {
      lock.unlock();
      crashHandlerForgetThread();
      return;
    } else {
      ++numIdle_;
      idle_.notify_one();
      work_.wait(lock);
      --numIdle_;
    }
  }
}

void ThreadPool::enqueue(std::function<void()> const& task) {
  std::lock_guard lock(mutex_);
  if (isShutdown_) ka::die("Can't enqueue anything to a thread pool after it has been shutdown");
  tasks_.push_back(task);
  if (numIdle_ != 0) work_.notify_one();
}

void ThreadPool::drain() {
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [this] { return queueTaken(); });
}

void ThreadPool::shutdown() {
  {
    std::unique_lock lock(mutex_);
    if (isShutdown_) return;
    idle_.wait(lock, [this] { return queueTaken(); });
    isShutdown_ = true;
    work_.notify_all();
  }
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
}

int ThreadPool::backgroundThreadCount(unsigned hardwareThreads) {
  int h = int(hardwareThreads);
  if (h < 5) return h - 1 < 1 ? 1 : h - 1;
  return h - 2;
}

}  // namespace vorn
