#include "update/download.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/http_client.h"
#include "support/local_http_server.h"
#include "support/poll.h"

namespace {

using namespace std::chrono_literals;

class DownloadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto& s = server.routes();
    s.Get("/file", [](httplib::Request const&, httplib::Response& res) { res.set_content("file body", "text/plain"); });
    s.Get("/empty", [](httplib::Request const&, httplib::Response& res) { res.status = 200; });
    s.Get("/missing", [](httplib::Request const&, httplib::Response& res) {
      res.status = 404;
      res.set_content("No such stream", "text/plain");
    });
    s.Get("/silent-error", [](httplib::Request const&, httplib::Response& res) { res.status = 503; });
    s.Get("/moved", [](httplib::Request const&, httplib::Response& res) { res.set_redirect("/file", 301); });
    s.Get("/json", [](httplib::Request const& req, httplib::Response& res) {
      res.set_content("{\"auth\":\"" + req.get_header_value("X-Authorization") + "\"}", "application/json");
    });
    s.Get("/truncated-json", [](httplib::Request const&, httplib::Response& res) {
      res.set_content("{\"a\":[1,", "application/json");
    });
    s.Post("/login", [](httplib::Request const& req, httplib::Response& res) {
      res.set_content("{\"type\":\"" + req.get_header_value("Content-Type") + "\",\"body\":\"" + req.body + "\"}",
                      "application/json");
    });
    s.Get("/stall", [this](httplib::Request const&, httplib::Response& res) {
      res.set_chunked_content_provider("text/plain", [this](size_t offset, httplib::DataSink& sink) {
        if (stopping || offset > 100000) return false;
        std::this_thread::sleep_for(10ms);
        return sink.write("chunk", 5);
      });
    });
    server.start();
  }
  void TearDown() override {
    stopping = true;
    server.stop();
  }

  std::atomic<bool> stopping{false};
  std::atomic<bool> cancel{false};
  LocalHttpServer server;
  PumpedLoader client;
};

TEST_F(DownloadTest, TheFourOutcomesLeaveTheirMarks) {
  struct Case {
    char const* path;
    bool finished;
    char const* error;
    char const* body;
  } const cases[] = {
      {"/file", true, "", "file body"},
      {"/empty", true, "", ""},
      {"/missing", true, "No such stream", ""},
      {"/silent-error", true, "error", ""},
      {"/moved", true, "error", ""},  // a redirect is not followed: a failure with no body
  };
  for (Case const& c : cases) {
    update::DownloadProgress progress(cancel);
    progress.bytesExpected = 9;
    std::vector<char> out{'o', 'l', 'd'};
    update::download(client.shared(), server.url(c.path), progress, out);
    EXPECT_EQ(progress.finished, c.finished) << c.path;
    EXPECT_EQ(progress.error.substr(0, std::string(c.error).size()), c.error) << c.path;
    EXPECT_EQ(std::string(out.begin(), out.end()), c.body) << c.path;
    if (progress.error.empty()) {
      EXPECT_EQ(progress.bytesReceived, 9u) << "success reports the expected size";
    }
  }

  update::DownloadProgress refused(cancel);
  std::vector<char> out;
  update::download(client.shared(), "http://127.0.0.1:1/", refused, out);
  EXPECT_TRUE(refused.finished);
  EXPECT_NE(refused.error, "");
}

TEST_F(DownloadTest, CancelAbortsAndLeavesTheRecordUnfinished) {
  update::DownloadProgress progress(cancel);
  progress.error = "from an earlier try";
  // Cancels once the body is flowing, however slowly this machine starts the server.
  std::thread canceller([&] {
    pollUntil([&] { return progress.bytesReceived > 0; });
    cancel = true;
  });
  std::string text = update::downloadString(client.shared(), server.url("/stall"), progress, "");
  canceller.join();
  EXPECT_EQ(text, "");
  EXPECT_FALSE(progress.finished);
  EXPECT_EQ(progress.error, "from an earlier try") << "cancel leaves the error alone";
  EXPECT_GT(progress.bytesReceived, 0u);

  update::DownloadProgress json(cancel);
  EXPECT_EQ(update::jsonRequest(client.shared(), server.url("/json"), json, "").type(), ka::Json::TYPE_Null);
}

TEST_F(DownloadTest, SinkDownloadsStreamTheBody) {
  update::DownloadProgress progress(cancel);
  std::string got;
  update::download(client.shared(), server.url("/file"), progress,
                   [&](char const* data, unsigned long count) { got.append(data, count); });
  EXPECT_TRUE(progress.finished);
  EXPECT_EQ(got, "file body");
}

TEST_F(DownloadTest, JsonRequestsAnswerWithJsonOrTheErrorShape) {
  update::DownloadProgress p1(cancel), p2(cancel), p3(cancel), p4(cancel), p5(cancel);
  ka::Json ok = update::jsonRequest(client.shared(), server.url("/json"), p1, "token-1");
  EXPECT_EQ(ok.get("auth").asString(""), "token-1");
  EXPECT_TRUE(p1.finished);

  ka::Json posted = update::jsonRequest(client.shared(), server.url("/login"), "user=a", "text/plain", p2, "");
  EXPECT_EQ(posted.get("type").asString(""), "text/plain");
  EXPECT_EQ(posted.get("body").asString(""), "user=a");

  ka::Json missing = update::jsonRequest(client.shared(), server.url("/missing"), p3, "");
  EXPECT_EQ(missing.get("ErrorCode").asNumber(0), -1);
  EXPECT_EQ(missing.get("Message").asString(""), "No such stream");

  ka::Json empty = update::jsonRequest(client.shared(), server.url("/empty"), p4, "");
  EXPECT_EQ(empty.type(), ka::Json::TYPE_Object);
  EXPECT_EQ(empty.numKeys(), 0u);

  ka::Json truncated = update::jsonRequest(client.shared(), server.url("/truncated-json"), p5, "");
  EXPECT_EQ(truncated.get("ErrorCode").asNumber(0), -1);
  EXPECT_EQ(truncated.get("Message").asString(""), "EOF encountered while skipping whitespace");
}

}  // namespace
