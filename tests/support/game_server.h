// Serves a published game on 127.0.0.1 under "/game/", counting requests and injecting faults.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "support/game_publisher.h"
#include "support/local_http_server.h"

class GameServer {
 public:
  GameServer() {
    server_.routes().Get(R"(/game/(.*))", [this](httplib::Request const& req, httplib::Response& res) {
      serve(req.matches[1], req, res);
    });
    server_.start();
  }

  void publish(PublishedGame const& game, std::string const& manifestName = "manifest.gz") {
    std::lock_guard lock(mutex_);
    files_[manifestName] = game.manifestGz;
    for (auto const& [checksum, data] : game.bundles) files_["hashed/" + checksum] = data;
  }
  void failAlways(std::string const& path) { locked([&] { missing_.insert(path); }); }
  void corruptOnce(std::string const& path) { locked([&] { corrupt_.insert(path); }); }
  // The next request of `path` answers with this status and an error page.
  void failOnce(std::string const& path, int status) { locked([&] { failOnce_[path] = status; }); }
  // The next request of `path` announces the whole length and closes the connection half way.
  void truncateOnce(std::string const& path) { locked([&] { truncate_.insert(path); }); }
  // Serves these bytes at `path` instead of what was published.
  void serveRaw(std::string const& path, std::vector<char> bytes) { locked([&] { files_[path] = std::move(bytes); }); }
  // Sends this file in small pieces with pauses, so that a test can catch it mid-transfer.
  void throttle(std::string const& path) { locked([&] { slow_.insert(path); }); }
  // Answers requests of `path` whole, as a server that doesn't know ranges does.
  void ignoreRanges(std::string const& path) { locked([&] { wholeOnly_.insert(path); }); }
  // The "Range" header of each request of `path`, in order; empty where there was none.
  std::vector<std::string> ranges(std::string const& path) {
    std::lock_guard lock(mutex_);
    return ranges_[path];
  }
  int requests(std::string const& path) {
    std::lock_guard lock(mutex_);
    return counts_[path];
  }
  int bundleRequests() {
    std::lock_guard lock(mutex_);
    int n = 0;
    for (auto const& [path, count] : counts_) n += path.rfind("hashed/", 0) == 0 ? count : 0;
    return n;
  }
  void resetCounts() {
    locked([&] {
      counts_.clear();
      ranges_.clear();
    });
  }
  std::string baseUrl() const { return server_.url("/"); }
  void stop() {
    stopping_ = true;
    server_.stop();
  }

 private:
  template <class F>
  void locked(F f) {
    std::lock_guard lock(mutex_);
    f();
  }

  void serve(std::string const& path, httplib::Request const& req, httplib::Response& res) {
    std::lock_guard lock(mutex_);
    ++counts_[path];
    ranges_[path].push_back(req.get_header_value("Range"));
    // The library applies a request's ranges to any answer after this handler returns, even to
    // an error page; a real server ranges only the file.
    auto answerWhole = [&req] { const_cast<httplib::Request&>(req).ranges.clear(); };
    if (wholeOnly_.count(path)) answerWhole();
    auto it = files_.find(path);
    if (missing_.count(path) || it == files_.end()) {
      answerWhole();
      res.status = 404;
      res.set_content("<html>Not Found</html>", "text/html");
      return;
    }
    auto failure = failOnce_.find(path);
    if (failure != failOnce_.end()) {
      answerWhole();
      res.status = failure->second;
      res.set_content("<html>Try again</html>", "text/html");
      failOnce_.erase(failure);
      return;
    }
    std::string body(it->second.begin(), it->second.end());
    if (corrupt_.erase(path) && !body.empty()) body[body.size() / 2] ^= 0x55;
    if (truncate_.erase(path)) {
      auto shared = std::make_shared<std::string>(std::move(body));
      res.set_content_provider(shared->size(), "application/octet-stream",
                               [shared](size_t offset, size_t, httplib::DataSink& sink) {
                                 if (offset >= shared->size() / 2) return false;
                                 return sink.write(shared->data(), shared->size() / 2);
                               });
      return;
    }
    if (!slow_.count(path)) {
      res.set_content(body, "application/octet-stream");
      return;
    }
    auto shared = std::make_shared<std::string>(std::move(body));
    res.set_content_provider(shared->size(), "application/octet-stream",
                             [this, shared](size_t offset, size_t length, httplib::DataSink& sink) {
                               if (stopping_) return false;
                               std::this_thread::sleep_for(std::chrono::milliseconds(5));
                               return sink.write(shared->data() + offset, std::min<size_t>(length, 4096));
                             });
  }

  std::mutex mutex_;
  std::map<std::string, std::vector<char>> files_;
  std::map<std::string, int> counts_;
  std::map<std::string, std::vector<std::string>> ranges_;
  std::set<std::string> missing_, corrupt_, slow_, truncate_, wholeOnly_;
  std::map<std::string, int> failOnce_;
  std::atomic<bool> stopping_{false};
  LocalHttpServer server_;
};
