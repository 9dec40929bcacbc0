// Timing helpers shared by the benchmarks.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>

// Best of several runs, in seconds.
inline double timeBest(int runs, std::function<void()> const& work) {
  double best = 1e30;
  for (int i = 0; i < runs; ++i) {
    auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}
