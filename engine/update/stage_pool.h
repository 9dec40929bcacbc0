// Thread counts of the update stages: one hardware thread is left for the frame loop and the network.
#pragma once

#include <thread>

namespace update {

// One fewer than the hardware's, or 1 on a single-threaded machine. An unknown count of 0 gives
// -1, which the pool refuses loudly.
inline int stagePoolSize() {
  int n = int(std::thread::hardware_concurrency());
  return n == 1 ? 1 : n - 1;
}

}  // namespace update
