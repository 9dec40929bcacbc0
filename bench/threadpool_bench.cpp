// Empty tasks through ThreadPool::enqueue + drain, against a plain mutex and condition-variable queue.
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "bench_util.h"
#include "vorn/threadpool.h"

namespace {

// The simplest pool a programmer would write: notify on every enqueue, wait for an empty queue.
class PlainQueue {
 public:
  explicit PlainQueue(int threads) {
    for (int i = 0; i < threads; ++i) workers_.emplace_back([this] { work(); });
  }
  ~PlainQueue() {
    {
      std::lock_guard lock(mutex_);
      stop_ = true;
    }
    ready_.notify_all();
    for (auto& t : workers_) t.join();
  }
  void enqueue(std::function<void()> const& task) {
    {
      std::lock_guard lock(mutex_);
      tasks_.push_back(task);
    }
    ready_.notify_one();
  }
  void drain() {
    std::unique_lock lock(mutex_);
    empty_.wait(lock, [this] { return tasks_.empty(); });
  }

 private:
  void work() {
    std::unique_lock lock(mutex_);
    while (true) {
      ready_.wait(lock, [this] { return stop_ || !tasks_.empty(); });
      if (tasks_.empty()) return;
      std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      if (tasks_.empty()) empty_.notify_all();
      lock.unlock();
      task();
      lock.lock();
    }
  }

  std::vector<std::thread> workers_;
  std::mutex mutex_;
  std::condition_variable ready_, empty_;
  std::deque<std::function<void()>> tasks_;
  bool stop_ = false;
};

}  // namespace

int main() {
  int const tasks = 1000000;
  int const threads = std::max(2, int(std::thread::hardware_concurrency()));
  auto empty = [] {};

  vorn::ThreadPool pool(threads);
  double ours = timeBest(3, [&] {
    for (int i = 0; i < tasks; ++i) pool.enqueue(empty);
    pool.drain();
  });
  PlainQueue plain(threads);
  double theirs = timeBest(3, [&] {
    for (int i = 0; i < tasks; ++i) plain.enqueue(empty);
    plain.drain();
  });

  std::printf("threads = %d\n", threads);
  std::printf("pool_tasks_per_s = %.0f\n", tasks / ours);
  std::printf("plain_queue_tasks_per_s = %.0f\n", tasks / theirs);
  std::printf("ratio = %.2f\n", theirs / ours);
  return 0;
}
