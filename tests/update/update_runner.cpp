// Runs one whole update in a process of its own, so that a test can kill it part way through.
// usage: update_runner BASE_URL GAME_DIR TEMP_DIR MANIFEST_NAME [BYTES_PER_SECOND]
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <memory>
#include <mutex>
#include <thread>

#include "net/http_pump.h"
#include "support/update_pipeline.h"

namespace {

// The process's peak resident memory so far in kB, as the kernel reports it.
std::string peakMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) return std::to_string(std::atol(line.c_str() + 6));
  }
  return "0";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 && argc != 6) {
    std::fprintf(stderr, "usage: update_runner BASE_URL GAME_DIR TEMP_DIR MANIFEST_NAME [BYTES_PER_SECOND]\n");
    return 2;
  }
  std::shared_ptr<net::HttpLoader> loader(net::createCurlHttpLoader(""));
  std::thread(net::pumpHttpLoader, loader, std::make_shared<std::mutex>(), nullptr).detach();
  auto context = update::createUpdateContext(loader, argv[2], argv[3], argv[1]);
  context->setDownloadPath("game/hashed");
  if (argc == 6) context->setDownloadRateLimit(std::make_shared<std::atomic<uint64_t>>(std::strtoull(argv[5], nullptr, 10)));
  context->setManifestOnDisk(std::string(argv[2]) + "/manifest.gz");
  PipelineResult result = runUpdatePipeline(context, argv[4], nullptr, [](char const* stage) {
    std::printf("stage %s\n", stage);
    std::fflush(stdout);
  });
  std::printf("peak_rss_kb %s\n", peakMemory().c_str());
  std::printf("result %s\n", result.ok ? "ok" : result.failedStage.c_str());
  std::fflush(stdout);
  std::_Exit(result.ok ? 0 : 1);  // the network thread runs on: leave without unwinding past it
}
