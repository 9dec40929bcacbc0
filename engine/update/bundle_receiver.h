// Where one download attempt's body goes: gathered into blocks of 1 MiB on the network thread, and
// digested and written in order on a writer thread of the attempt's own, so that the network
// thread only copies. At most four blocks wait for the writer; beyond that the network thread
// waits, which holds the transfer back rather than the memory growing.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ka/sha1.h"
#include "vorn/output_file.h"

namespace update {

class BundleReceiver {
 public:
  static constexpr size_t kBlockSize = size_t(1) << 20;
  static constexpr size_t kBlocksWaiting = 4;

  // With Start::Keep the bytes already at `path` are kept and digested first (on the calling
  // thread), and what is taken is written after them.
  explicit BundleReceiver(std::string const& path, vorn::OutputFile::Start start = vorn::OutputFile::Start::Empty);
  // Finishes if `finish` was not called.
  ~BundleReceiver();
  BundleReceiver(BundleReceiver const&) = delete;
  BundleReceiver& operator=(BundleReceiver const&) = delete;

  // The network thread's part. Bytes that come after `finish` are dropped: after a cancel the
  // network may still deliver a chunk while the attempt has moved on.
  void take(char const* data, size_t count);
  // Refuses later bytes, writes what came, and closes the file; false if a write failed.
  bool finish();
  // For the network thread, before the first byte: the file comes whole after all, so the kept
  // bytes go; or what comes is not the file's (an error page) and is dropped.
  void startOver();
  void refuse();

  // Bytes that were at the path and kept, until a startOver.
  uint64_t kept() const { return kept_; }

  bool ok() const { return file_.ok(); }
  std::string const& error() const { return file_.error(); }
  // The digest of every byte taken before `finish`.
  std::string digest() { return sha1_.digest().toString(); }

 private:
  using Block = std::unique_ptr<std::vector<char>>;

  void writeBlocks();
  // Under the mutex: the block being filled goes to the writer.
  void handOver();

  vorn::OutputFile file_;
  ka::SHA1Context sha1_;
  std::atomic<uint64_t> kept_{0};  // set before the writer starts, and by startOver on the network thread
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = true;
  bool finished_ = false;
  Block filling_;
  std::deque<Block> waiting_;
  std::vector<Block> spare_;
  size_t blocksOut_ = 0;  // made and not yet back in spare_: filling, waiting or being written
  std::thread writer_;
};

}  // namespace update
