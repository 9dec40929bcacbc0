// A published stream's folder served on 127.0.0.1 under "/slow/": the manifest at once, each
// bundle in small pieces with pauses, so that a test can act while a download runs.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "support/local_http_server.h"
#include "support/text.h"

class SlowSite {
 public:
  explicit SlowSite(std::string const& folder) {
    server_.routes().Get(R"(/slow/(.*))", [this, folder](httplib::Request const& req, httplib::Response& res) {
      auto data = std::make_shared<std::string>(readFile(folder + "/" + req.matches[1].str()));
      if (req.matches[1].str().find("/hashed/") == std::string::npos)
        return res.set_content(*data, "application/octet-stream");
      bundleAsked_ = true;
      // A ranged request gets only its range: the library asks from the range's first byte.
      res.set_content_provider(data->size(), "application/octet-stream",
                               [this, data](size_t offset, size_t length, httplib::DataSink& sink) {
                                 std::this_thread::sleep_for(std::chrono::milliseconds(20));
                                 size_t piece = std::min<size_t>(length, 16384);
                                 bytesSent_ += piece;
                                 return sink.write(data->data() + offset, piece);
                               });
    });
    server_.start();
  }

  // What `--download-url` takes.
  std::string url() const { return server_.url("/slow/"); }
  void stop() { server_.stop(); }
  // Whether a download has begun.
  bool bundleAsked() const { return bundleAsked_; }
  // Bundle bytes handed to the connections so far.
  uint64_t bytesSent() const { return bytesSent_; }

 private:
  std::atomic<bool> bundleAsked_{false};
  std::atomic<uint64_t> bytesSent_{0};
  LocalHttpServer server_;
};
