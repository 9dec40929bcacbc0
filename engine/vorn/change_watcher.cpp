#include "vorn/change_watcher.h"

namespace vorn {

// Tasks are queued only once every lock is released: a queue that runs them at once on this
// thread would otherwise take a mutex that is held, or call a function that registers again.

void ChangeWatcher::signal() {
  std::vector<Task> tasks;
  {
    std::lock_guard lock(mutex_);
    if (signaled_ || !function_) return;
    signaled_ = true;
    ka::Ref<ChangeWatcher> self(this);
    tasks.push_back([self] {
      std::function<void()> function;
      {
        std::lock_guard lock(self->mutex_);
        function = self->function_;
      }
      if (function) function();
    });
    removeFromLists(tasks);
  }
  enqueue(tasks);
}

void ChangeWatcher::cancel() {
  std::vector<Task> tasks;
  std::function<void()> gone;
  {
    std::lock_guard lock(mutex_);
    gone.swap(function_);
    removeFromLists(tasks);
  }
  enqueue(tasks);
}

void ChangeWatcher::removeFromLists(std::vector<Task>& tasks) {
  ka::Ref<ChangeWatcher> self(this);
  for (ka::Ref<ChangeWatcherListData> const& list : lists_) {
    tasks.push_back([list, self] {
      std::lock_guard lock(list->mutex);
      list->watchers.erase(self);
    });
  }
  lists_.clear();
}

void ChangeWatcher::enqueue(std::vector<Task> const& tasks) {
  for (Task const& task : tasks) queue_->enqueue(task);
}

ChangeWatcherList::~ChangeWatcherList() {
  std::lock_guard lock(mutex_);
  if (!data_) return;
  std::lock_guard inner(data_->mutex);
  for (ka::Ref<ChangeWatcher> const& watcher : data_->watchers) {
    std::lock_guard own(watcher->mutex_);
    watcher->lists_.erase(data_);
  }
}

void ChangeWatcherList::addWatcher(ka::RefNoCount<ChangeWatcher> watcher) {
  std::lock_guard lock(mutex_);
  if (!data_) data_ = new ChangeWatcherListData;
  std::lock_guard inner(data_->mutex);
  std::lock_guard own(watcher->mutex_);
  if (watcher->signaled_ || !watcher->function_) return;
  data_->watchers.insert(watcher.ref());
  watcher->lists_.insert(data_);
}

bool ChangeWatcherList::empty() const {
  std::lock_guard lock(mutex_);
  if (!data_) return true;
  std::lock_guard inner(data_->mutex);
  return data_->watchers.empty();
}

void ChangeWatcherList::signalChange() {
  std::set<ka::Ref<ChangeWatcher>, RefAddressLess> watchers;
  {
    std::lock_guard lock(mutex_);
    if (!data_) return;
    {
      std::lock_guard inner(data_->mutex);
      watchers.swap(data_->watchers);
    }
    data_.reset();
  }
  for (ka::Ref<ChangeWatcher> const& watcher : watchers) watcher->signal();
}

}  // namespace vorn
