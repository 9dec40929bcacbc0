// Status records shared between job threads, their pools and the frame loop.
#pragma once

#include <atomic>
#include <cstdint>
#include <forward_list>
#include <memory>
#include <mutex>
#include <string>

namespace update {

// One stage of a job, as the UI sees it.
struct UpdateProgress {
  std::atomic<uint32_t> index{0};
  std::atomic<uint32_t> total{0};
  std::atomic<uint32_t> errors{0};
  std::atomic<bool> done{false};
  std::atomic<bool> canceled{false};  // set by the UI; every stage polls it
  std::string error;    // written by the stage's thread after its pool has finished
  std::string message;  // the stage's label, set at creation
};

// One transfer. Reusable for retries: the owner resets `bytesReceived` and `finished`;
// nothing here ever clears `error`.
struct DownloadProgress {
  explicit DownloadProgress(std::atomic<bool>& cancel) : cancelFlag(cancel) {}
  DownloadProgress(DownloadProgress const&) = delete;
  DownloadProgress& operator=(DownloadProgress const&) = delete;

  std::atomic<uint64_t> bytesExpected{0};  // 0 if not known
  std::atomic<uint64_t> bytesReceived{0};
  std::atomic<bool> finished{false};
  std::atomic<bool>& cancelFlag;
  std::string error;
};

struct AggregateStats {
  uint64_t totalBytesReceived = 0;
  uint64_t totalExpectedBytes = 0;
  uint64_t samples = 0;  // speed estimates made; the UI trusts them from 6 on
  uint64_t downloadsActive = 0;
  uint64_t downloadsCompleted = 0;
  float bytesPerSecond = 0;
  float fraction = 0;
  float etaSeconds = 0;
  float previousEtaSeconds = 0;
};

// Turns the transfers of one stage into a smoothed speed and time remaining, sampled every 0.5 s.
class DownloadProgressAggregator {
 public:
  std::shared_ptr<DownloadProgress> addDownload(std::atomic<bool>& cancelFlag);
  // Called from the frame loop with the frame's duration.
  void update(float deltaSeconds);
  AggregateStats stats() const;

 private:
  mutable std::mutex mutex_;
  std::forward_list<std::shared_ptr<DownloadProgress>> downloads_;  // newest first, never removed
  AggregateStats stats_;
  float elapsed_ = 0;
};

}  // namespace update
