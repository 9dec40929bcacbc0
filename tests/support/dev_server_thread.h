// The development server on 127.0.0.1, serving on a thread of its own for as long as it lives.
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "devserver.h"
#include "support/poll.h"

class DevServerThread {
 public:
  // On the configured port, or a free one when it is 0; throws if it can't bind.
  explicit DevServerThread(devserver::Config const& config) : server_(config) {
    port_ = server_.bind();
    thread_ = std::thread([this] { server_.serve(); });
    // Until it serves, a stop would be lost and the thread never end.
    pollUntil([this] { return server_.serving(); }, std::chrono::seconds(2), std::chrono::milliseconds(2));
  }
  ~DevServerThread() {
    server_.stop();
    thread_.join();
  }
  DevServerThread(DevServerThread const&) = delete;
  DevServerThread& operator=(DevServerThread const&) = delete;

  int port() const { return port_; }
  std::string baseUrl() const { return server_.baseUrl(); }

 private:
  devserver::DevServer server_;
  int port_ = 0;
  std::thread thread_;
};
