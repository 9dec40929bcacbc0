// The HTTP client against real servers on 127.0.0.1: answers of every kind, streaming, stalls,
// aborts, the network thread's wake-ups and certificate checks.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>

#include "ka/taskqueue.h"
#include "support/http_client.h"
#include "support/local_http_server.h"
#include "support/temp_dir.h"

namespace {

using namespace std::chrono_literals;

char patternByte(size_t i) { return char(i % 251); }

// Routes that give every kind of answer the client must handle.
void addRoutes(httplib::Server& s, std::atomic<bool>& stopping) {
  s.Get(R"(/status/(\d+))", [](httplib::Request const& req, httplib::Response& res) {
    int code = std::stoi(req.matches[1]);
    res.status = code;
    if (code == 301) res.set_header("Location", "/status/200");
    if (code != 204) res.set_content("status " + std::to_string(code), "text/plain");
  });
  s.Get(R"(/big/(\d+))", [](httplib::Request const& req, httplib::Response& res) {
    size_t size = std::stoull(req.matches[1]);
    res.set_content_provider(size, "application/octet-stream",
                             [](size_t offset, size_t length, httplib::DataSink& sink) {
                               std::string chunk(std::min<size_t>(length, 65536), '\0');
                               for (size_t i = 0; i < chunk.size(); ++i) chunk[i] = patternByte(offset + i);
                               return sink.write(chunk.data(), chunk.size());
                             });
  });
  s.Get("/slow", [](httplib::Request const&, httplib::Response& res) {
    std::this_thread::sleep_for(300ms);
    res.set_content("slow", "text/plain");
  });
  s.Get("/stall", [&stopping](httplib::Request const&, httplib::Response& res) {
    res.set_chunked_content_provider("text/plain", [&stopping](size_t offset, httplib::DataSink& sink) {
      if (stopping || offset > 500 * 1024 || !sink.is_writable()) return false;
      std::this_thread::sleep_for(20ms);
      return sink.write(std::string(1024, 's').data(), 1024);
    });
  });
  // 64 KiB of a 1 MiB body, then nothing more until the test ends.
  s.Get("/halt", [&stopping](httplib::Request const&, httplib::Response& res) {
    res.set_content_provider(1 << 20, "application/octet-stream",
                             [&stopping](size_t offset, size_t, httplib::DataSink& sink) {
                               if (offset == 0) return sink.write(std::string(65536, 'h').data(), 65536);
                               for (int i = 0; i < 3000 && !stopping; ++i) std::this_thread::sleep_for(10ms);
                               return false;
                             });
  });
  // 16 KiB in 1 KiB pieces, one every 150 ms: slow, but never still for long.
  s.Get("/trickle", [&stopping](httplib::Request const&, httplib::Response& res) {
    res.set_content_provider(12288, "application/octet-stream",
                             [&stopping](size_t, size_t, httplib::DataSink& sink) {
                               if (stopping) return false;
                               std::this_thread::sleep_for(250ms);
                               return sink.write(std::string(1024, 't').data(), 1024);
                             });
  });
  s.Get("/reset", [](httplib::Request const&, httplib::Response& res) {
    res.set_content_provider(1 << 20, "application/octet-stream",
                             [](size_t offset, size_t, httplib::DataSink& sink) {
                               if (offset >= 65536) return false;  // the connection closes mid-body
                               return sink.write(std::string(65536, 'r').data(), 65536);
                             });
  });
  s.Post("/echo", [](httplib::Request const& req, httplib::Response& res) {
    res.set_content(req.method + "|" + req.get_header_value("Content-Type") + "|" + req.body, "text/plain");
  });
  s.Get("/headers", [](httplib::Request const& req, httplib::Response& res) {
    std::string seen = req.get_header_value("User-Agent");
    for (size_t i = 0; i < req.get_header_value_count("X-Test"); ++i) seen += "|" + req.get_header_value("X-Test", i);
    res.set_content(seen, "text/plain");
  });
}

class CurlHttpTest : public ::testing::Test {
 protected:
  void SetUp() override {
    addRoutes(server.routes(), stopping);
    server.start();
  }
  void TearDown() override {
    stopping = true;
    server.stop();
  }

  std::string body(ka::RefNoCount<net::HttpRequest> r) {
    ka::Ref<net::HttpResponse> response = r->response();
    return response ? response->results().str() : "<no response>";
  }

  std::atomic<bool> stopping{false};
  LocalHttpServer server;
  PumpedLoader client;
};

TEST_F(CurlHttpTest, EveryStatusIsACompletedTransfer) {
  struct Case {
    int code;
    char const* body;
  } const cases[] = {{200, "status 200"}, {204, ""}, {301, "status 301"}, {404, "status 404"}, {500, "status 500"}};
  for (Case const& c : cases) {
    auto r = client.request(server.url("/status/" + std::to_string(c.code)));
    ASSERT_TRUE(runToEnd(r)) << c.code;
    EXPECT_EQ(r->error().str(), "") << c.code;
    ka::Ref<net::HttpResponse> response = r->response();
    ASSERT_TRUE(response) << c.code;
    EXPECT_EQ(response->responseCode(), uint32_t(c.code)) << "redirects are not followed";
    EXPECT_EQ(response->results().str(), c.body);
    EXPECT_EQ(response->header("Location").str(), "");
    if (c.code == 204) {
      EXPECT_EQ(response->results().begin, nullptr);
      EXPECT_TRUE(response->resultsVector().empty());
    }
  }
}

TEST_F(CurlHttpTest, LargeBodiesStreamToTheDataHandler) {
  size_t const size = 48u << 20;
  size_t received = 0;
  bool intact = true;
  std::vector<std::pair<uint32_t, size_t>> statuses;  // code, bytes received before it was told
  auto r = client.request(server.url("/big/" + std::to_string(size)));
  r->setStatusHandler([&](uint32_t code) { statuses.emplace_back(code, received); });
  r->setDataHandler([&](char const* data, unsigned long count) {
    for (unsigned long i = 0; i < count; ++i) intact &= data[i] == patternByte(received + i);
    received += count;
  });
  ASSERT_TRUE(runToEnd(r, 60s));
  EXPECT_EQ(received, size);
  EXPECT_EQ(statuses, (std::vector<std::pair<uint32_t, size_t>>{{200, 0}})) << "told once, before the body";
  // An error page's code comes before its body too; a bodiless answer tells nothing.
  for (int code : {404, 204}) {
    statuses.clear();
    received = 0;
    auto e = client.request(server.url("/status/" + std::to_string(code)));
    e->setStatusHandler([&](uint32_t c) { statuses.emplace_back(c, received); });
    e->setDataHandler([&](char const*, unsigned long count) { received += count; });
    ASSERT_TRUE(runToEnd(e));
    EXPECT_EQ(statuses.size(), code == 204 ? 0u : 1u);
    if (code == 404) {
      EXPECT_EQ(statuses[0], std::make_pair(uint32_t(404), size_t(0)));
    }
  }
  EXPECT_TRUE(intact);
  EXPECT_EQ(r->bytesRead(), size);
  EXPECT_TRUE(r->response()->resultsVector().empty()) << "nothing is buffered";
}

TEST_F(CurlHttpTest, NothingIsShownWhileATransferRuns) {
  auto r = client.request(server.url("/slow"));
  r->execute();
  EXPECT_FALSE(r->isComplete());
  EXPECT_FALSE(r->response());
  try {
    r->setURL(server.url("/status/200"));
    ADD_FAILURE() << "setURL during a transfer";
  } catch (std::runtime_error const& e) {
    EXPECT_STREQ(e.what(), "Cannot change request parameters while a request is active");
  }
  EXPECT_THROW(r->addHeader("X-Late: 1"), std::runtime_error);
  EXPECT_THROW(r->execute(), std::runtime_error);
  ASSERT_TRUE(waitForCompletion(r));
  EXPECT_EQ(body(r), "slow") << "the transfer went on to its own URL";
}

TEST_F(CurlHttpTest, PostsWithContentTypeAndSendsHeaders) {
  auto post = client.request(server.url("/echo"));
  post->setPostData("name=value&x=1", "application/x-www-form-urlencoded");
  ASSERT_TRUE(runToEnd(post));
  EXPECT_EQ(body(post), "POST|application/x-www-form-urlencoded|name=value&x=1");

  auto get = client.request(server.url("/headers"));
  get->addHeader("X-Test: one");
  ASSERT_TRUE(runToEnd(get));
  EXPECT_EQ(body(get), "libcurl-agent/1.0|one");
  // A request runs again with its parameters, and header lines accumulate.
  get->addHeader("X-Test: two");
  ASSERT_TRUE(runToEnd(get));
  EXPECT_EQ(body(get), "libcurl-agent/1.0|one|two");
}

TEST_F(CurlHttpTest, TransportFailuresCarryLibcurlsText) {
  auto reset = client.request(server.url("/reset"));
  ASSERT_TRUE(runToEnd(reset));
  EXPECT_FALSE(reset->response());
  EXPECT_NE(reset->error().str(), "");

  auto refused = client.request("http://127.0.0.1:1/");
  ASSERT_TRUE(runToEnd(refused));
  EXPECT_FALSE(refused->response());
  EXPECT_NE(refused->error().str().find("onnect"), std::string::npos) << refused->error().str();

  auto bad = client.request("no scheme at all");
  ASSERT_TRUE(runToEnd(bad));
  EXPECT_NE(bad->error().str(), "");

  // The same request succeeds afterwards, with no trace of the earlier failure.
  bad->setURL(server.url("/status/200"));
  ASSERT_TRUE(runToEnd(bad));
  EXPECT_EQ(bad->error().str(), "");
  EXPECT_EQ(body(bad), "status 200");
}

TEST_F(CurlHttpTest, AStalledTransferFailsAndASlowOneDoesNot) {
  auto stalled = client.request(server.url("/halt"));
  std::atomic<size_t> received{0};
  stalled->setDataHandler([&](char const*, unsigned long count) { received += count; });
  stalled->setLowSpeedLimit(1, 1);
  ASSERT_TRUE(runToEnd(stalled)) << "a stall holds the request";
  EXPECT_EQ(received, 65536u) << "it stalled mid-body";
  EXPECT_FALSE(stalled->response());
  EXPECT_NE(stalled->error().str().find("too slow"), std::string::npos) << stalled->error().str();

  // Above the limit, a transfer may take longer than the limit's time. The trickle (4 KiB/s for 3 s)
  // stays far above the limit, so that a loaded machine's pauses do not read as a stall.
  auto slow = client.request(server.url("/trickle"));
  slow->setLowSpeedLimit(100, 2);
  ASSERT_TRUE(runToEnd(slow));
  EXPECT_EQ(slow->error().str(), "");
  ASSERT_TRUE(slow->response());
  EXPECT_EQ(slow->response()->results().str(), std::string(12288, 't'));
}

// An abort before the first byte is HandlersHearOutcomesOnTheirQueue's.
TEST_F(CurlHttpTest, AbortEndsTheTransferAndTheRequestRunsAgain) {
  auto during = client.request(server.url("/stall"));
  during->execute();
  ASSERT_TRUE(pollUntil([&] { return during->bytesRead() >= 4096; }, 10s));
  during->abort();
  ASSERT_TRUE(waitForCompletion(during, 5s));
  EXPECT_FALSE(during->response());

  during->setURL(server.url("/status/200"));
  ASSERT_TRUE(runToEnd(during));
  EXPECT_EQ(body(during), "status 200");
}

TEST_F(CurlHttpTest, AWaitingNetworkThreadWakesForNewWorkAndForData) {
  // Waits far longer than any request here may take: each must end by wake-ups alone.
  client.stopPump();
  std::atomic<bool> running{true};
  std::thread network([&] {
    while (running) {
      client.loader().push();
      client.loader().wait(25000);
    }
  });
  for (std::string path : {"/status/200", "/slow", "/big/4194304"}) {
    auto r = client.request(server.url(path));
    r->execute();
    if (!waitForCompletion(r)) {
      ADD_FAILURE() << path << " waited for the network thread's time-out";
      break;
    }
    EXPECT_EQ(r->error().str(), "") << path;
  }
  running = false;
  client.request(server.url("/status/200"))->execute();  // new work: the thread looks up and ends
  network.join();
}

// Records what a handler is told, on the queue the test runs.
struct Recorder : net::HttpResultHandler {
  void requestCompleted(ka::RefNoCount<net::HttpRequest>, ka::RefNoCount<net::HttpResponse> response) override {
    events.push_back("completed " + std::to_string(response ? response->responseCode() : 0));
  }
  void requestFailed(ka::RefNoCount<net::HttpRequest>, ka::StringRange error) override {
    events.push_back(error.empty() ? "failed" : "failed with text");
  }
  void requestAborted(ka::RefNoCount<net::HttpRequest>) override { events.push_back("aborted"); }
  std::vector<std::string> events;
};

TEST_F(CurlHttpTest, HandlersHearOutcomesOnTheirQueue) {
  Recorder recorder;
  ka::ThreadSafeTaskQueue queue;
  for (std::string path : {"/status/404", "/reset", "/stall"}) {
    auto r = client.request(server.url(path));
    r->setHandler(&recorder, &queue);
    r->execute();
    if (path == "/stall") r->abort();
    ASSERT_TRUE(waitForCompletion(r));
  }
  EXPECT_TRUE(recorder.events.empty()) << "nothing runs until the queue does";
  queue.run();
  EXPECT_EQ(recorder.events, (std::vector<std::string>{"completed 404", "failed with text", "aborted"}));
}

TEST_F(CurlHttpTest, TheLastReferenceFreesTheRequestOnTheNetworkThread) {
  client.stopPump();
  auto r = client.request(server.url("/status/200"));
  EXPECT_EQ(client.loader().requestCount(), 1u);
  std::thread([moved = std::move(r)]() mutable { moved.reset(); }).join();
  EXPECT_EQ(client.loader().requestCount(), 1u) << "freed only when the network thread gets to it";
  client.loader().push();
  EXPECT_EQ(client.loader().requestCount(), 0u);
}

TEST_F(CurlHttpTest, ALoaderDestroyedMidTransferLeavesCompleteRequests) {
  Recorder recorder;
  ka::ThreadSafeTaskQueue queue;
  auto r = client.request(server.url("/stall"));
  r->setHandler(&recorder, &queue);
  r->execute();
  pollUntil([&] { return r->bytesRead() > 0; }, 10s);
  auto idle = client.request(server.url("/status/200"));
  auto dropped = client.request(server.url("/status/200"));
  client.stopPump();
  dropped.reset();  // its freeing task never runs now
  client.shared().reset();
  EXPECT_TRUE(r->isComplete());
  EXPECT_FALSE(r->response());
  EXPECT_TRUE(idle->isComplete());
  queue.run();
  EXPECT_EQ(recorder.events, std::vector<std::string>{"aborted"});
}

// A certificate authority and a server certificate for 127.0.0.1, made for this run: only a
// loader given that authority's bundle reaches the server.
TEST(CurlHttps, OnlyTheGivenBundleIsTrusted) {
  TempDir keys;
  std::string script =
      "cd '" + keys.path() + "' && "
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout ca.key -out ca.pem "
      "-days 2 -subj '/CN=Zandor Test CA' && "
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout other.key -out other.pem "
      "-days 2 -subj '/CN=Some Other CA' && "
      "openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout server.key -out server.csr "
      "-subj '/CN=127.0.0.1' && "
      "printf 'subjectAltName=IP:127.0.0.1,DNS:localhost\\nbasicConstraints=CA:FALSE\\n' > ext.cnf && "
      "openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out server.pem -days 2 "
      "-extfile ext.cnf";
  ASSERT_EQ(std::system(("(" + script + ") >/dev/null 2>&1").c_str()), 0) << "openssl could not make certificates";
  LocalHttpServer server(keys.file("server.pem"), keys.file("server.key"));
  server.routes().Get("/hello", [](httplib::Request const&, httplib::Response& res) {
    res.set_content("secure hello", "text/plain");
  });
  server.start();

  for (std::string bundle : {keys.file("ca.pem"), keys.file("other.pem"), keys.file("missing.pem"), std::string()}) {
    PumpedLoader client(bundle);
    auto r = client.request(server.url("/hello"));
    ASSERT_TRUE(runToEnd(r)) << bundle;
    std::string error = r->error().str();
    if (bundle == keys.file("ca.pem")) {
      ASSERT_TRUE(r->response()) << error;
      EXPECT_EQ(r->response()->results().str(), "secure hello");
      continue;
    }
    EXPECT_FALSE(r->response()) << bundle;
    EXPECT_TRUE(error.find("certificate") != std::string::npos || error.find("CA") != std::string::npos)
        << bundle << ": " << error;
  }
}

}  // namespace
