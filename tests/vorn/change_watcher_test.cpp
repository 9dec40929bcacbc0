#include "vorn/change_watcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

using vorn::ChangeWatcher;
using vorn::ChangeWatcherList;

TEST(ChangeWatcher, FiresOnceOnItsQueueWhicheverOfItsListsSignals) {
  ka::SingleThreadedWorklist queue;
  int calls = 0;
  ka::Ref<ChangeWatcher> watcher(new ChangeWatcher([&] { ++calls; }, &queue));
  ChangeWatcherList a, b;
  a.addWatcher(watcher.get());
  b.addWatcher(watcher.get());
  a.signalChange();
  EXPECT_EQ(calls, 0) << "not on the signalling thread";
  b.signalChange();
  queue.run();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(a.empty());
  EXPECT_TRUE(b.empty()) << "the watcher left every list";
  // Spent: adding it again is harmless and changes nothing.
  a.addWatcher(watcher.get());
  EXPECT_TRUE(a.empty());
  a.signalChange();
  queue.run();
  EXPECT_EQ(calls, 1);
}

TEST(ChangeWatcher, ACancelAfterTheSignalKeepsTheQueuedCallFromRunning) {
  ka::SingleThreadedWorklist queue;
  int calls = 0;
  ka::Ref<ChangeWatcher> watcher(new ChangeWatcher([&] { ++calls; }, &queue));
  ChangeWatcherList list;
  list.addWatcher(watcher.get());
  list.signalChange();
  watcher->cancel();
  queue.run();
  EXPECT_EQ(calls, 0);
  // A list that never had a watcher signals nothing.
  ChangeWatcherList unused;
  unused.signalChange();
  EXPECT_TRUE(unused.empty());
}

TEST(ChangeWatcher, AListMayGoBeforeItsWatchers) {
  ka::SingleThreadedWorklist queue;
  int calls = 0;
  ka::Ref<ChangeWatcher> watcher(new ChangeWatcher([&] { ++calls; }, &queue));
  ChangeWatcherList kept;
  {
    ChangeWatcherList gone;
    gone.addWatcher(watcher.get());
    kept.addWatcher(watcher.get());
  }
  kept.signalChange();
  queue.run();
  EXPECT_EQ(calls, 1);
}

TEST(ChangeWatcher, AQueueThatRunsTasksAtOnceMayRegisterAgainFromTheCall) {
  // Tasks run inside signal: nothing may be locked by then, or this deadlocks.
  ka::BlockingTaskQueue inline_;
  ChangeWatcherList list;
  int calls = 0;
  ka::Ref<ChangeWatcher> next(new ChangeWatcher([&] { ++calls; }, &inline_));
  ka::Ref<ChangeWatcher> first(new ChangeWatcher(
      [&] {
        ++calls;
        list.addWatcher(next.get());
      },
      &inline_));
  list.addWatcher(first.get());
  list.signalChange();
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(list.empty()) << "the call registered the next watcher";
  list.signalChange();
  EXPECT_EQ(calls, 2);
  EXPECT_TRUE(list.empty());
}

TEST(ChangeWatcher, ManyThreadsAddAndSignalAndEachWatcherFiresOnce) {
  ka::BlockingTaskQueue inline_;
  ChangeWatcherList lists[3];
  std::atomic<int> calls{0};
  std::vector<ka::Ref<ChangeWatcher>> watchers;
  for (int i = 0; i < 200; ++i) watchers.emplace_back(new ChangeWatcher([&] { ++calls; }, &inline_));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = t; i < 200; i += 4) {
        lists[i % 3].addWatcher(watchers[size_t(i)].get());
        lists[(i + 1) % 3].addWatcher(watchers[size_t(i)].get());
        lists[(i + t) % 3].signalChange();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (auto& list : lists) list.signalChange();
  EXPECT_EQ(calls.load(), 200);
  for (auto& list : lists) EXPECT_TRUE(list.empty());
}

}  // namespace
