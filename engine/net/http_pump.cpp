#include "http_pump.h"

namespace net {

void pumpHttpLoader(std::shared_ptr<HttpLoader> loader, std::shared_ptr<std::mutex> mutex,
                    std::function<bool()> const& keepRunning) {
  while (loader && (!keepRunning || keepRunning())) {
    {
      std::lock_guard lock(*mutex);
      loader->push();
    }
    loader->wait(1);
  }
}

}  // namespace net
