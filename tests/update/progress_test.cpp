#include "update/progress.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(DownloadProgressAggregator, SamplesEveryHalfSecondAndCatchesUpOneSampleACall) {
  update::DownloadProgressAggregator aggregator;
  std::atomic<bool> cancel{false};
  auto d = aggregator.addDownload(cancel);
  d->bytesExpected = 1000;
  d->bytesReceived = 100;
  aggregator.update(0.4f);
  EXPECT_EQ(aggregator.stats().totalBytesReceived, 0u) << "no sample before 0.5 s";
  aggregator.update(0.3f);  // 0.7: one sample, 0.2 left
  EXPECT_EQ(aggregator.stats().totalBytesReceived, 100u);
  EXPECT_EQ(aggregator.stats().samples, 0u) << "the first sample only sets the base";
  aggregator.update(0.29f);  // 0.49: nothing
  EXPECT_EQ(aggregator.stats().samples, 0u);
  aggregator.update(0.02f);
  aggregator.update(1.2f);  // 1.21: one sample only, 0.71 left
  aggregator.update(0.0f);  // and the next call takes the one owed
  EXPECT_EQ(aggregator.stats().downloadsActive, 1u);
}

TEST(DownloadProgressAggregator, SpeedAndEtaAreSmoothed) {
  update::DownloadProgressAggregator aggregator;
  std::atomic<bool> cancel{false};
  auto d = aggregator.addDownload(cancel);
  uint64_t const total = 20000000;
  d->bytesExpected = total;
  d->bytesReceived = 1;
  aggregator.update(0.5f);  // base
  double speed = 0, eta = 0;
  for (int i = 1; i <= 10; ++i) {
    d->bytesReceived = 1 + uint64_t(i) * 500000;  // 1,000,000 bytes a second
    aggregator.update(0.5f);
    update::AggregateStats s = aggregator.stats();
    speed = float(0.9 * speed + 0.1 * 1000000.0f);
    float fraction = float(d->bytesReceived) / float(total);
    float naive = float(total - d->bytesReceived) / float(speed);
    eta = float(naive * fraction + (1.0 - fraction) * eta);
    EXPECT_FLOAT_EQ(s.bytesPerSecond, float(speed));
    EXPECT_FLOAT_EQ(s.etaSeconds, float(eta));
    EXPECT_EQ(s.samples, uint64_t(i));
  }
  EXPECT_NEAR(aggregator.stats().bytesPerSecond, 1000000.0 * (1 - std::pow(0.9, 10)), 1.0);

  d->bytesReceived = total;
  d->finished = true;
  aggregator.update(0.5f);
  update::AggregateStats end = aggregator.stats();
  EXPECT_EQ(end.fraction, 1.0f);
  EXPECT_EQ(end.etaSeconds, 0.0f) << "nothing remains";
  EXPECT_EQ(end.downloadsCompleted, 1u);
}

TEST(DownloadProgressAggregator, NoBytesMeansNoEstimate) {
  update::DownloadProgressAggregator aggregator;
  std::atomic<bool> cancel{false};
  auto d = aggregator.addDownload(cancel);
  for (int i = 0; i < 4; ++i) aggregator.update(0.5f);
  EXPECT_EQ(aggregator.stats().samples, 0u);
  EXPECT_EQ(aggregator.stats().fraction, 0.0f);
  d->bytesReceived = 10;  // size unknown: the fraction stays as it was
  aggregator.update(0.5f);
  aggregator.update(0.5f);
  EXPECT_EQ(aggregator.stats().fraction, 0.0f);
  EXPECT_EQ(aggregator.stats().totalExpectedBytes, 0u);
}

}  // namespace
