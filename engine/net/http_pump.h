// The network thread's loop: push, then wait up to a millisecond for the network or new work.
#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "http.h"

namespace net {

// Runs until `keepRunning` says no; without it, for the life of the process. The thread
// holds the loader, so the loader lives as long as the loop.
void pumpHttpLoader(std::shared_ptr<HttpLoader> loader, std::shared_ptr<std::mutex> mutex,
                    std::function<bool()> const& keepRunning = nullptr);

}  // namespace net
