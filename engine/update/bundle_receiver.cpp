#include "bundle_receiver.h"

#include <algorithm>
#include <cstring>

namespace update {

BundleReceiver::BundleReceiver(std::string const& path) : file_(path) {
  sha1_.reset();
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
