// The small lock types: a plain mutex, and one that several counted objects share.
#pragma once

#include <mutex>

#include "counted.h"

namespace ka {

using Mutex = std::mutex;

// Lives as long as the last object that holds a reference to it.
class SharedMutex : public Counted {
 public:
  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }
  bool try_lock() { return mutex_.try_lock(); }

 private:
  Mutex mutex_;
};

}  // namespace ka
