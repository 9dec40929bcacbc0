// A 1 GiB body from a local server through the loader (pumped as the launcher does, polling caller)
// against curl.
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "bench_util.h"
#include "net/http.h"
#include "net/http_pump.h"

int main(int argc, char** argv) {
  size_t const size = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : size_t(1) << 30;
  std::string const block(1 << 20, 'z');

  httplib::Server server;
  server.Get("/body", [&](httplib::Request const&, httplib::Response& res) {
    res.set_content_provider(size, "application/octet-stream",
                             [&](size_t offset, size_t length, httplib::DataSink& sink) {
                               (void)offset;
                               return sink.write(block.data(), std::min(length, block.size()));
                             });
  });
  int port = server.bind_to_any_port("127.0.0.1");
  std::thread serving([&] { server.listen_after_bind(); });
  while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::string url = "http://127.0.0.1:" + std::to_string(port) + "/body";

  std::shared_ptr<net::HttpLoader> loader(net::createCurlHttpLoader(""));
  auto pumpMutex = std::make_shared<std::mutex>();
  std::atomic<bool> running{true};
  std::thread pump(net::pumpHttpLoader, loader, pumpMutex, [&] { return running.load(); });

  uint64_t received = 0;
  double ours = timeBest(3, [&] {
    received = 0;
    ka::Ref<net::HttpRequest> request = loader->createRequest();
    request->setURL(url);
    request->setDataHandler([&](char const*, unsigned long count) { received += count; });
    request->execute();
    // Polled as the update jobs poll.
    while (!request->isComplete()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  });
  running = false;
  pump.join();

  // The same transfer with push called back to back: shows what the pump's wait between pushes costs.
  running = true;
  std::thread busyPump([&] {
    while (running) loader->push();
  });
  double backToBack = timeBest(3, [&] {
    ka::Ref<net::HttpRequest> request = loader->createRequest();
    request->setURL(url);
    request->setDataHandler([](char const*, unsigned long) {});
    request->execute();
    while (!request->isComplete()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  });
  running = false;
  busyPump.join();

  std::string command = "curl -s -o /dev/null '" + url + "'";
  double theirs = timeBest(3, [&] {
    if (std::system(command.c_str()) != 0) std::abort();
  });

  loader.reset();
  server.stop();
  serving.join();

  double mb = double(size) / 1e6;
  std::printf("body_mb = %.0f\n", mb);
  std::printf("body_complete = %d\n", received == size ? 1 : 0);
  std::printf("loader_mb_per_s = %.0f\n", mb / ours);
  std::printf("loader_without_pump_wait_mb_per_s = %.0f\n", mb / backToBack);
  std::printf("curl_mb_per_s = %.0f\n", mb / theirs);
  std::printf("ratio = %.2f\n", theirs / ours);
  return received == size ? 0 : 1;
}
