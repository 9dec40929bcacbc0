#include "bundle_receiver.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace update {

BundleReceiver::BundleReceiver(std::string const& path, vorn::OutputFile::Start start) : file_(path, 0644, start) {
  sha1_.reset();
  if (start == vorn::OutputFile::Start::Keep && file_.ok()) {
    // The file is cut to what could be read, so that the digest covers exactly what stays.
    int in = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    std::vector<char> buffer(in >= 0 ? kBlockSize : 0);
    for (ssize_t got; in >= 0 && (got = ::read(in, buffer.data(), buffer.size())) != 0;) {
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) break;
      sha1_.update(buffer.data(), size_t(got));
      kept_ += uint64_t(got);
    }
    if (in >= 0) ::close(in);
    file_.truncate(kept_);
  }
  writer_ = std::thread([this] { writeBlocks(); });
}

BundleReceiver::~BundleReceiver() { finish(); }

void BundleReceiver::take(char const* data, size_t count) {
  std::unique_lock lock(mutex_);
  while (count > 0 && open_) {
    if (!filling_) {
      // A block is free, or may be made without passing the bound.
      changed_.wait(lock, [this] { return !open_ || !spare_.empty() || blocksOut_ < kBlocksWaiting + 1; });
      if (!open_) return;
      if (!spare_.empty()) {
        filling_ = std::move(spare_.back());
        spare_.pop_back();
      } else {
        filling_ = std::make_unique<std::vector<char>>();
        filling_->reserve(kBlockSize);
      }
      ++blocksOut_;
    }
    size_t room = kBlockSize - filling_->size(), n = std::min(room, count);
    filling_->insert(filling_->end(), data, data + n);
    data += n;
    count -= n;
    if (filling_->size() == kBlockSize) handOver();
  }
}

void BundleReceiver::startOver() {
  std::lock_guard lock(mutex_);
  // Late news for an attempt that has ended changes nothing.
  if (finished_) return;
  // Nothing has been taken yet, so the writer holds no block and touches neither file nor digest.
  file_.truncate(0);
  sha1_.reset();
  kept_ = 0;
}

void BundleReceiver::refuse() {
  std::lock_guard lock(mutex_);
  open_ = false;
}

void BundleReceiver::handOver() {
  waiting_.push_back(std::move(filling_));
  changed_.notify_all();
}

bool BundleReceiver::finish() {
  {
    std::lock_guard lock(mutex_);
    if (finished_) return file_.ok();
    finished_ = true;
    open_ = false;
    if (filling_) handOver();
    changed_.notify_all();
  }
  writer_.join();
  return file_.close();
}

void BundleReceiver::writeBlocks() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return !waiting_.empty() || !open_; });
    if (waiting_.empty()) return;
    Block block = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    sha1_.update(block->data(), block->size());
    file_.write(block->data(), block->size());
    block->clear();
    lock.lock();
    spare_.push_back(std::move(block));
    --blocksOut_;
    changed_.notify_all();
  }
}

}  // namespace update
