#include "http_pump.h"

#include <chrono>
#include <thread>

namespace net {

void pumpHttpLoader(std::shared_ptr<HttpLoader> loader, std::shared_ptr<std::mutex> mutex,
                    std::function<bool()> const& keepRunning) {
  while (loader && (!keepRunning || keepRunning())) {
    {
      std::lock_guard lock(*mutex);
      loader->push();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace net
