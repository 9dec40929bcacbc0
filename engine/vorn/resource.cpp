#include "resource.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

#include "ka/log.h"
#include "ka/pathutil.h"
#include "vorn/change_watcher.h"

namespace vorn {

namespace {

class ResourceSystemImpl;
class ResourceControlBlockImpl;

using Callback = std::function<void(ka::RefNoCount<Resource>)>;

bool accepts(ResourceValidator* validator, ka::Ref<Resource> const& resource) {
  return !validator || validator->isAcceptable(resource);
}

class ResourceFetchImpl final : public ResourceFetch {
 public:
  ResourceFetchImpl(ka::Ref<ResourceControlBlockImpl> block, ResourceValidator* validator, Callback callback,
                    ka::TaskQueue* queue)
      : block_(std::move(block)), validator_(validator), callback_(std::move(callback)), queue_(queue) {}

  void abort() override {
    std::lock_guard lock(mutex_);
    aborted_ = true;
  }

  // Delivery always goes through the caller's queue; the task keeps the fetch alive.
  void queue(ka::Ref<Resource> resource) {
    {
      std::lock_guard lock(mutex_);
      resource_ = std::move(resource);
    }
    ka::Ref<ResourceFetchImpl> self(this);
    queue_->enqueue([self] { self->invoke(); });
  }

 private:
  void invoke() {
    // Held during the callback, so that an abort waits for a running one.
    std::lock_guard lock(mutex_);
    if (aborted_) return;
    ka::Ref<Resource> result = std::move(resource_);
    if (!accepts(validator_, result)) result = nullptr;
    callback_(result);
  }

  ka::Ref<ResourceControlBlockImpl> block_;
  ResourceValidator* validator_;
  Callback callback_;
  ka::TaskQueue* queue_;
  ka::Ref<Resource> resource_;
  std::mutex mutex_;
  bool aborted_ = false;
};

class ResourceSystemImpl final : public ResourceSystem {
 public:
  ResourceSystemImpl(ka::RefNoCount<Filesystem> filesystem, ka::TaskQueue* queue)
      : filesystem_(filesystem.ref()), queue_(queue) {}
  ~ResourceSystemImpl() override;

  void registerFormat(ka::StringRange extension, ResourceFormat* format) override {
    std::lock_guard lock(mutex_);
    formats_.emplace(extension.str(), format);
  }
  void unregisterFormat(ka::StringRange extension, ResourceFormat*) override {
    std::lock_guard lock(mutex_);
    formats_.erase(extension.str());
  }
  ka::Ref<ResourceControlBlock> resolve(std::string const& name) override;
  void springCleaning() override;

  ResourceFormat* getFormat(std::string const& name) {
    std::lock_guard lock(mutex_);
    auto it = formats_.find(ka::path::ext(name).str());
    return it == formats_.end() ? nullptr : it->second;
  }
  Filesystem& filesystem() { return *filesystem_; }
  ka::TaskQueue* queue() { return queue_; }

 private:
  ka::Ref<Filesystem> filesystem_;
  ka::TaskQueue* queue_;
  std::mutex mutex_;
  std::map<std::string, ResourceFormat*> formats_;
  std::map<std::string, ka::Ref<ResourceControlBlockImpl>> blocks_;
};

class ResourceControlBlockImpl final : public ResourceControlBlock {
 public:
  ResourceControlBlockImpl(ResourceSystemImpl* system, std::string name) : system_(system), name_(std::move(name)) {}
  ~ResourceControlBlockImpl() override {
    if (internalWatcher_) internalWatcher_->cancel();
  }

  ka::Ref<Resource> getNoBlock(ResourceValidator* validator, ka::RefNoCount<ChangeWatcher> watcher) override {
    ka::Ref<Resource> resource;
    {
      std::lock_guard lock(mutex_);
      if (watcher) watchers_.addWatcher(watcher);
      resource = resource_;
    }
    return accepts(validator, resource) ? resource : nullptr;
  }

  ka::Ref<Resource> fetchBlocking(ResourceValidator* validator, ka::RefNoCount<ChangeWatcher> watcher) override;

  ka::Ref<ResourceFetch> fetchAsync(ResourceValidator* validator, Callback const& callback, ka::TaskQueue* queue,
                                    ka::RefNoCount<ChangeWatcher> watcher) override {
    ka::Ref<ResourceFetchImpl> fetch(new ResourceFetchImpl(ka::Ref<ResourceControlBlockImpl>(this), validator,
                                                           callback, queue));
    std::lock_guard lock(mutex_);
    if (watcher) watchers_.addWatcher(watcher);
    if (loaded_) {
      fetch->queue(resource_);
      return fetch;
    }
    bool startLoad = !loading_ && waiting_.empty();
    waiting_.push_back(fetch);
    if (startLoad) {
      ka::Ref<ResourceControlBlockImpl> self(this);
      system_->queue()->enqueue([self] { self->fetchBlocking(nullptr, nullptr); });
    }
    return fetch;
  }

  // The name's file changed: a loaded object goes, and the next fetch loads again; a load under
  // way goes round once more.
  void signalChange() {
    std::lock_guard lock(mutex_);
    if (loaded_) {
      loaded_ = false;
      resource_ = nullptr;
      watchers_.signalChange();
    } else if (loading_) {
      changedWhileLoading_ = true;
    }
  }

  // Held by someone besides the system, watched, or without an object only this block holds.
  bool needed() {
    std::lock_guard lock(mutex_);
    return refCount() != 1 || !watchers_.empty() || !resource_ || resource_->refCount() != 1;
  }

 private:
  ResourceSystemImpl* system_;
  std::string name_;
  std::mutex mutex_;
  std::vector<ka::Ref<ResourceFetchImpl>> waiting_;
  ka::Ref<ChangeWatcher> internalWatcher_;
  ka::Ref<Resource> resource_;
  bool loaded_ = false;
  bool loading_ = false;
  bool changedWhileLoading_ = false;
  std::condition_variable loadedChanged_;
  ChangeWatcherList watchers_;
};

ka::Ref<Resource> ResourceControlBlockImpl::fetchBlocking(ResourceValidator* validator,
                                                          ka::RefNoCount<ChangeWatcher> watcher) {
  // Looked up before the block's mutex is taken: spring cleaning holds the system's mutex while it
  // takes each block's, so taking them the other way round could deadlock.
  ResourceFormat* format = system_->getFormat(name_);
  std::unique_lock lock(mutex_);
  if (watcher) watchers_.addWatcher(watcher);
  if (!loaded_ && !format) {
    KA_LOG(Error) << "unknown resource format: " << name_;
    loaded_ = true;
  } else if (!loaded_ && loading_) {
    // Nothing wakes this: see the interface.
    loadedChanged_.wait(lock, [this] { return loaded_; });
  } else if (!loaded_) {
    loading_ = true;
    for (;;) {
      changedWhileLoading_ = false;
      lock.unlock();
      // Only the loading thread touches the internal watcher. Its function holds no reference:
      // the block cancels it before it goes.
      if (internalWatcher_) internalWatcher_->cancel();
      internalWatcher_ = ka::Ref<ChangeWatcher>(new ChangeWatcher([this] { signalChange(); }, system_->queue()));
      std::unique_ptr<File> file = system_->filesystem().open(name_, internalWatcher_);
      ka::Ref<Resource> result;
      if (file) {
        result = format->load(*file, name_, internalWatcher_, &system_->filesystem());
      } else {
        KA_LOG(Error) << name_ << ": open failed";
      }
      lock.lock();
      if (file) resource_ = result;  // a failed open keeps what was there
      file.reset();
      if (changedWhileLoading_) continue;
      loaded_ = true;
      loading_ = false;
      for (ka::Ref<ResourceFetchImpl> const& fetch : waiting_) fetch->queue(resource_);
      break;
    }
    waiting_.clear();
  }
  ka::Ref<Resource> resource = resource_;
  lock.unlock();
  return accepts(validator, resource) ? resource : nullptr;
}

ResourceSystemImpl::~ResourceSystemImpl() = default;

ka::Ref<ResourceControlBlock> ResourceSystemImpl::resolve(std::string const& name) {
  std::lock_guard lock(mutex_);
  ka::Ref<ResourceControlBlockImpl>& block = blocks_[name];
  if (!block) block = ka::Ref<ResourceControlBlockImpl>(new ResourceControlBlockImpl(this, name));
  return ka::Ref<ResourceControlBlock>(block.get());
}

void ResourceSystemImpl::springCleaning() {
  std::vector<ka::Ref<ResourceControlBlockImpl>> unneeded;
  {
    std::lock_guard lock(mutex_);
    for (auto it = blocks_.begin(); it != blocks_.end();) {
      if (it->second->needed()) {
        ++it;
      } else {
        unneeded.push_back(std::move(it->second));
        it = blocks_.erase(it);
      }
    }
  }
  // Blocks and their objects go outside the lock, last first.
  while (!unneeded.empty()) unneeded.pop_back();
}

}  // namespace

ResourceSystem* createResourceSystem(ka::RefNoCount<Filesystem> filesystem, ka::TaskQueue* loaderQueue) {
  return new ResourceSystemImpl(filesystem, loaderQueue);
}

}  // namespace vorn
