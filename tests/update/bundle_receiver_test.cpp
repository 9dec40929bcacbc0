#include "update/bundle_receiver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "support/temp_dir.h"
#include "support/text.h"
#include "update/manifest.h"

namespace {

using update::BundleReceiver;

std::vector<char> someBytes(size_t size) {
  std::vector<char> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = char((i * 131) ^ (i >> 9));
  return bytes;
}

TEST(BundleReceiver, WritesAndDigestsEveryByteInOrderAcrossBlocks) {
  TempDir dir;
  // Three and a half blocks in odd chunks, so that chunks straddle the blocks' edges.
  std::vector<char> body = someBytes(BundleReceiver::kBlockSize * 7 / 2 + 13);
  BundleReceiver receiver(dir.file("bundle"));
  ASSERT_TRUE(receiver.ok());
  for (size_t at = 0; at < body.size(); at += 7777)
    receiver.take(body.data() + at, std::min<size_t>(7777, body.size() - at));
  ASSERT_TRUE(receiver.finish());
  EXPECT_EQ(receiver.digest(), update::checksumBytes(body));
  std::string written = readFile(dir.file("bundle"));
  EXPECT_TRUE(std::equal(written.begin(), written.end(), body.begin(), body.end()));

  // What the network delivers after the attempt ended is dropped.
  receiver.take(body.data(), 100);
  EXPECT_EQ(readFile(dir.file("bundle")).size(), body.size());
}

TEST(BundleReceiver, ManyBlocksFromAFastSenderAllArriveWhileFewAreHeld) {
  TempDir dir;
  std::vector<char> body = someBytes(BundleReceiver::kBlockSize * 24);
  BundleReceiver receiver(dir.file("bundle"));
  // Large chunks faster than a digest: the sender is held back rather than the blocks piling up.
  std::thread sender([&] {
    for (size_t at = 0; at < body.size(); at += 3 * 1024 * 1024)
      receiver.take(body.data() + at, std::min<size_t>(3 * 1024 * 1024, body.size() - at));
  });
  sender.join();
  ASSERT_TRUE(receiver.finish());
  EXPECT_EQ(receiver.digest(), update::checksumBytes(body));
}

TEST(BundleReceiver, AFileThatCannotBeMadeIsReportedAndTakesNothing) {
  TempDir dir;
  BundleReceiver receiver(dir.file("missing/folder/bundle"));
  EXPECT_FALSE(receiver.ok());
  EXPECT_FALSE(receiver.error().empty());
  char const bytes[] = "abc";
  receiver.take(bytes, 3);
  EXPECT_FALSE(receiver.finish());
}

}  // namespace
