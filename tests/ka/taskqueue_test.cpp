#include "ka/taskqueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

TEST(SingleThreadedWorklist, RunsTasksAddedWhileRunning) {
  ka::SingleThreadedWorklist list;
  std::vector<int> order;
  list.enqueue([&] {
    order.push_back(1);
    list.enqueue([&] { order.push_back(3); });
  });
  list.enqueue([&] { order.push_back(2); });
  list.run();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  list.enqueue(std::function<void()>());
  EXPECT_THROW(list.run(), std::bad_function_call);
}

TEST(ThreadSafeTaskQueue, TakesTasksFromManyProducersInArrivalOrder) {
  ka::ThreadSafeTaskQueue queue;
  int const producers = 4, perProducer = 5000;
  std::vector<std::vector<int>> seen(producers);
  std::atomic<int> finished{0};
  std::vector<std::thread> threads;
  for (int p = 0; p < producers; ++p) {
    threads.emplace_back([&, p] {
      for (int i = 0; i < perProducer; ++i) queue.enqueue([&, p, i] { seen[p].push_back(i); });
      ++finished;
    });
  }
  // One consumer runs batches while the producers are still at work.
  while (finished < producers) queue.run();
  for (auto& t : threads) t.join();
  queue.run();
  EXPECT_TRUE(queue.empty());
  for (auto const& s : seen) {
    ASSERT_EQ(s.size(), size_t(perProducer));
    for (int i = 0; i < perProducer; ++i) ASSERT_EQ(s[i], i);
  }
}

TEST(ThreadSafeTaskQueue, ATaskEnqueuedByATaskRunsBeforeRunReturns) {
  ka::ThreadSafeTaskQueue queue;
  bool second = false;
  queue.enqueue([&] { queue.enqueue([&] { second = true; }); });
  queue.run();
  EXPECT_TRUE(second);
}

TEST(ThreadSafeTaskQueue, AThrowingTaskDropsTheRestOfItsBatch) {
  ka::ThreadSafeTaskQueue queue;
  auto token = std::make_shared<int>(0);
  bool ranAfter = false;
  queue.enqueue([] { throw std::runtime_error("task failed"); });
  queue.enqueue([&ranAfter, token] { ranAfter = true; });
  EXPECT_THROW(queue.run(), std::runtime_error);
  EXPECT_FALSE(ranAfter);
  EXPECT_EQ(token.use_count(), 1) << "the dropped task was destroyed";
  EXPECT_TRUE(queue.empty());
}

TEST(TaskQueues, LeftoverTasksAreDestroyedUnrunAndBlockingRunsAtOnce) {
  auto token = std::make_shared<int>(0);
  bool ran = false;
  {
    ka::ThreadSafeTaskQueue queue;
    ka::SingleThreadedWorklist list;
    queue.enqueue([&ran, token] { ran = true; });
    list.enqueue([&ran, token] { ran = true; });
  }
  EXPECT_FALSE(ran);
  EXPECT_EQ(token.use_count(), 1);

  ka::BlockingTaskQueue blocking;
  std::thread::id where;
  blocking.enqueue([&] { where = std::this_thread::get_id(); });
  EXPECT_EQ(where, std::this_thread::get_id());
}

}  // namespace
