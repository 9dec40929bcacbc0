// What every GL resource shares: a back-pointer to the rasterizer that the rasterizer clears when it
// goes first, and the rasterizer's shared mutex, kept by reference so it outlives the rasterizer.
#pragma once

#include <mutex>

#include "ka/counted.h"
#include "ka/mutex.h"

namespace vorn::ras {

class GLRasterizer;

struct GLResourceLink {
  explicit GLResourceLink(GLRasterizer* owner);

  // The shared mutex, copied under the resource's own lock: release() must not hold both at once.
  ka::Ref<ka::SharedMutex> shared() {
    std::lock_guard<std::mutex> lock(mutex);
    return sharedMutex;
  }

  std::mutex mutex;  // the resource's own lock
  GLRasterizer* rasterizer;  // null once the rasterizer is gone
  ka::Ref<ka::SharedMutex> sharedMutex;
};

}  // namespace vorn::ras
