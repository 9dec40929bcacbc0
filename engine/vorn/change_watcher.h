// One-shot change notification between sources and listeners. A watcher may be in many lists;
// the first list that signals fires it, once, on the watcher's own queue, and it leaves every
// list. Whoever wants to hear of the next change registers again.
#pragma once

#include <functional>
#include <mutex>
#include <set>
#include <vector>

#include "ka/counted.h"
#include "ka/taskqueue.h"

namespace vorn {

class ChangeWatcher;

// Orders references by the objects' addresses.
struct RefAddressLess {
  template <class T>
  bool operator()(ka::Ref<T> const& a, ka::Ref<T> const& b) const {
    return std::less<T*>()(a.get(), b.get());
  }
};

// The shared inner part of a list: the removal of a watcher is deferred to a queue and may
// outlive the list itself.
class ChangeWatcherListData : public ka::Counted {
 public:
  std::mutex mutex;
  std::set<ka::Ref<ChangeWatcher>, RefAddressLess> watchers;
};

class ChangeWatcher : public ka::Counted {
 public:
  ChangeWatcher(std::function<void()> const& function, ka::TaskQueue* queue) : function_(function), queue_(queue) {}

  // Queues the function, if not signalled or cancelled before, and leaves every list. Any thread.
  void signal();
  // The function is not called from now on (a call under way may still finish). Any thread.
  void cancel();

 private:
  friend class ChangeWatcherList;
  using Task = std::function<void()>;

  // Under the mutex: the tasks that take this watcher out of its lists, to be queued once the
  // mutex is released.
  void removeFromLists(std::vector<Task>& tasks);
  void enqueue(std::vector<Task> const& tasks);

  std::mutex mutex_;
  std::function<void()> function_;
  ka::TaskQueue* queue_;
  std::set<ka::Ref<ChangeWatcherListData>, RefAddressLess> lists_;
  bool signaled_ = false;
};

// What a source of changes keeps. Not counted; its watchers outlive it, in other lists.
class ChangeWatcherList {
 public:
  ChangeWatcherList() = default;
  // The watchers are not signalled; they forget this list.
  ~ChangeWatcherList();
  ChangeWatcherList(ChangeWatcherList const&) = delete;
  ChangeWatcherList& operator=(ChangeWatcherList const&) = delete;

  // A signalled or cancelled watcher is not added.
  void addWatcher(ka::RefNoCount<ChangeWatcher> watcher);
  bool empty() const;
  // Signals every watcher and empties the list.
  void signalChange();

 private:
  mutable std::mutex mutex_;
  ka::Ref<ChangeWatcherListData> data_;  // null until the first watcher arrives
};

}  // namespace vorn
