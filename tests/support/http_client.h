// A loader with its network thread for a test: push every millisecond until the test ends.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>

#include "net/http.h"
#include "net/http_pump.h"
#include "support/poll.h"

class PumpedLoader {
 public:
  explicit PumpedLoader(std::string const& caBundle = "")
      : loader_(net::createCurlHttpLoader(caBundle)), mutex_(std::make_shared<std::mutex>()) {
    thread_ = std::thread(net::pumpHttpLoader, loader_, mutex_, [this] { return running_.load(); });
  }
  ~PumpedLoader() { stopPump(); }

  net::CurlHttpLoader& loader() { return *static_cast<net::CurlHttpLoader*>(loader_.get()); }
  std::shared_ptr<net::HttpLoader>& shared() { return loader_; }
  ka::Ref<net::HttpRequest> request(std::string const& url) {
    ka::Ref<net::HttpRequest> r = loader_->createRequest();
    r->setURL(url);
    return r;
  }

  // Ends the network thread; the loader stays until the test lets go of it.
  void stopPump() {
    running_ = false;
    if (thread_.joinable()) thread_.join();
  }

 private:
  std::shared_ptr<net::HttpLoader> loader_;
  std::shared_ptr<std::mutex> mutex_;
  std::atomic<bool> running_{true};
  std::thread thread_;
};

// Polls as a job thread does; false if the request did not end in time.
inline bool waitForCompletion(ka::RefNoCount<net::HttpRequest> request,
                              std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  return pollUntil([&] { return request->isComplete(); }, limit);
}

// Starts the request and waits for its end.
inline bool runToEnd(ka::RefNoCount<net::HttpRequest> request,
                     std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  request->execute();
  return waitForCompletion(request, limit);
}
