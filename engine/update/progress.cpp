#include "progress.h"

namespace update {

namespace {

constexpr float kSamplePeriod = 0.5f;

}  // namespace

std::shared_ptr<DownloadProgress> DownloadProgressAggregator::addDownload(std::atomic<bool>& cancelFlag) {
  std::lock_guard lock(mutex_);
  auto progress = std::make_shared<DownloadProgress>(cancelFlag);
  downloads_.push_front(progress);
  return progress;
}

void DownloadProgressAggregator::update(float deltaSeconds) {
  std::lock_guard lock(mutex_);
  elapsed_ += deltaSeconds;
  if (elapsed_ < kSamplePeriod) return;
  // One sample per call: a slow frame catches up over the following calls.
  elapsed_ -= kSamplePeriod;

  uint64_t previous = stats_.totalBytesReceived;
  stats_.totalExpectedBytes = stats_.totalBytesReceived = stats_.downloadsActive = stats_.downloadsCompleted = 0;
  for (auto const& d : downloads_) {
    stats_.totalExpectedBytes += d->bytesExpected;
    stats_.totalBytesReceived += d->bytesReceived;
    ++stats_.downloadsActive;
    if (d->finished) ++stats_.downloadsCompleted;
  }
  if (previous == 0) return;  // the first sample with bytes only sets the base

  // A retry lowers the sum; the unsigned difference then wraps to a huge sample, as it always has.
  float sample = float(stats_.totalBytesReceived - previous) * 2.0f;
  if (stats_.totalExpectedBytes != 0) {
    stats_.fraction = float(stats_.totalBytesReceived) / float(stats_.totalExpectedBytes);
  } else if (stats_.totalBytesReceived == 0) {
    stats_.fraction = 0;
  }
  stats_.bytesPerSecond = float(0.9 * stats_.bytesPerSecond + 0.1 * sample);
  if (stats_.bytesPerSecond > 0) {
    stats_.previousEtaSeconds = stats_.etaSeconds;
    float naive = float(stats_.totalExpectedBytes - stats_.totalBytesReceived) / stats_.bytesPerSecond;
    stats_.etaSeconds = float(naive * stats_.fraction + (1.0 - stats_.fraction) * stats_.etaSeconds);
    ++stats_.samples;
  }
}

AggregateStats DownloadProgressAggregator::stats() const {
  std::lock_guard lock(mutex_);
  return stats_;
}

}  // namespace update
