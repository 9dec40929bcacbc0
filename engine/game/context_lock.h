// The graphics context lock: frames, events and queued tasks each hold it while inside the game.
#pragma once

#include <functional>
#include <mutex>

namespace vorn {

// Recursive. The outermost acquire makes the context current on the calling thread and the
// outermost release makes none current, so that a context is only ever current on the thread
// that holds the lock. A platform without a context gives no hooks.
class ContextLock {
 public:
  ContextLock() = default;
  ContextLock(std::function<void()> makeCurrent, std::function<void()> release)
      : makeCurrent_(std::move(makeCurrent)), release_(std::move(release)) {}
  ContextLock(ContextLock const&) = delete;
  ContextLock& operator=(ContextLock const&) = delete;

  void lock() {
    mutex_.lock();
    if (depth_++ == 0 && makeCurrent_) makeCurrent_();
  }
  void unlock() {
    if (--depth_ == 0 && release_) release_();
    mutex_.unlock();
  }

 private:
  std::recursive_mutex mutex_;
  int depth_ = 0;  // guarded by mutex_
  std::function<void()> makeCurrent_;
  std::function<void()> release_;
};

// Holds a context lock for a scope; with no lock it does nothing.
class ScopeGLContext {
 public:
  explicit ScopeGLContext(ContextLock* lock) : lock_(lock) {
    if (lock_) lock_->lock();
  }
  ~ScopeGLContext() {
    if (lock_) lock_->unlock();
  }
  ScopeGLContext(ScopeGLContext const&) = delete;
  ScopeGLContext& operator=(ScopeGLContext const&) = delete;

 private:
  ContextLock* lock_;
};

}  // namespace vorn
