// An HTTP or HTTPS server on 127.0.0.1 for the length of a test, on a port of its own choosing.
#pragma once

#include <httplib.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "support/poll.h"

class LocalHttpServer {
 public:
  // Plain HTTP, or HTTPS when a certificate and key are given.
  explicit LocalHttpServer(std::string const& certFile = "", std::string const& keyFile = "") {
    if (certFile.empty()) {
      server_ = std::make_unique<httplib::Server>();
    } else {
      server_ = std::make_unique<httplib::SSLServer>(certFile.c_str(), keyFile.c_str());
    }
    server_->set_keep_alive_max_count(1);
  }
  ~LocalHttpServer() { stop(); }

  httplib::Server& routes() { return *server_; }

  // On a free port, or on `port`.
  void start(int port = 0) {
    port_ = port == 0 ? server_->bind_to_any_port("127.0.0.1") : (server_->bind_to_port("127.0.0.1", port) ? port : -1);
    if (port_ <= 0) throw std::runtime_error("test server could not bind 127.0.0.1");
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    pollUntil([this] { return server_->is_running(); }, std::chrono::seconds(1), std::chrono::milliseconds(2));
  }

  void stop() {
    if (!thread_.joinable()) return;
    server_->stop();
    thread_.join();
  }

  std::string url(std::string const& path) const {
    return std::string(dynamic_cast<httplib::SSLServer*>(server_.get()) ? "https" : "http") +
           "://127.0.0.1:" + std::to_string(port_) + path;
  }

 private:
  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  int port_ = 0;
};
