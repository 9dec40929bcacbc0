#include "vorn/threadpool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>

namespace {

using namespace std::chrono_literals;

TEST(ThreadPool, RunsEveryTaskBeforeShutdownReturns) {
  std::atomic<int> done{0};
  {
    vorn::ThreadPool pool(4);
    for (int i = 0; i < 10000; ++i) pool.enqueue([&] { ++done; });
    pool.drain();
  }
  EXPECT_EQ(done, 10000);
}

TEST(ThreadPool, StartsTasksInOrder) {
  std::vector<int> order;
  vorn::ThreadPool pool(1);
  for (int i = 0; i < 100; ++i) pool.enqueue([&, i] { order.push_back(i); });
  pool.shutdown();
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[i], i);
}

TEST(ThreadPool, DrainWaitsForTheQueueShutdownForTheWork) {
  vorn::ThreadPool pool(1);
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  std::promise<void> started;
  std::atomic<bool> finished{false};
  pool.enqueue([&] {
    started.set_value();
    released.wait();
    finished = true;
  });
  started.get_future().wait();
  pool.drain();  // the list is empty: returns although the task still runs
  EXPECT_FALSE(finished);

  auto stopping = std::async(std::launch::async, [&] { pool.shutdown(); });
  EXPECT_EQ(stopping.wait_for(50ms), std::future_status::timeout) << "shutdown waits for the running task";
  release.set_value();
  stopping.wait();
  EXPECT_TRUE(finished);
  pool.shutdown();  // a second call returns at once
}

TEST(ThreadPool, BackgroundSizeLeavesCoresForTheFrameAndMainThreads) {
  std::pair<unsigned, int> const cases[] = {{0, 1}, {1, 1}, {2, 1}, {3, 2}, {4, 3}, {5, 3}, {8, 6}, {64, 62}};
  for (auto [hardware, threads] : cases) EXPECT_EQ(vorn::ThreadPool::backgroundThreadCount(hardware), threads);
}

TEST(ThreadPoolDeathTest, MisuseAndEscapingExceptionsEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(vorn::ThreadPool(0), "Can't create a thread pool without at least one thread.");
  EXPECT_DEATH(
      {
        vorn::ThreadPool pool(1);
        pool.shutdown();
        pool.enqueue([] {});
      },
      "Can't enqueue anything to a thread pool after it has been shutdown");
  // The pool does not catch: an exception that leaves a task terminates the process.
  EXPECT_DEATH(
      {
        vorn::ThreadPool pool(2);
        pool.enqueue([] { throw std::runtime_error("task failed"); });
        pool.shutdown();
      },
      "task failed");
}

}  // namespace
