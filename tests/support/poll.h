// Waiting for something another thread or process does, without a fixed sleep.
#pragma once

#include <chrono>
#include <thread>

// Checks `done` every `step` until it holds; false if `limit` passed first.
template <class Done>
bool pollUntil(Done&& done, std::chrono::milliseconds limit = std::chrono::seconds(20),
               std::chrono::milliseconds step = std::chrono::milliseconds(1)) {
  auto until = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::sleep_for(step);
  }
  return true;
}
