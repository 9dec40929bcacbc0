#include "vertex_pool.h"

#include <algorithm>
#include <iterator>

namespace vorn {

RasVertexPool::RasVertexPool(MeshFactory& meshes, VertexFormat format, int capacity)
    : format_(format),
      capacity_(capacity),
      stride_(getVertexFormatInfo(format).stride),
      buffer_(meshes.createVertexBuffer(format, size_t(capacity), ras::BU_Dynamic, 0)),
      cpu_(size_t(capacity) * size_t(stride_)) {}

void* RasVertexPool::mapRange(int wanted, int& actual, int minimum) {
  int room = capacity_ - used_;
  if (wanted <= room) {
    actual = wanted;
  } else if (minimum - 1 >= room) {
    actual = 0;
    return nullptr;
  } else {
    actual = room;
  }
  mappedOffset_ = size_t(used_) * size_t(stride_);
  // Only what was granted goes up at unmap: the rest of what was wanted lies past the buffer.
  mappedLength_ = size_t(actual) * size_t(stride_);
  used_ += actual;
  isMapped_ = true;
  return cpu_.data() + mappedOffset_;
}

void RasVertexPool::unmap() {
  if (!isMapped_) return;
  buffer_->updateRange(int(mappedOffset_), int(mappedLength_), cpu_.data() + mappedOffset_);
  isMapped_ = false;
}

RasVertexBucketPool::RasVertexBucketPool(MeshFactory& meshes, VertexFormat format)
    : format_(format), stride_(getVertexFormatInfo(format).stride) {
  for (size_t i = 0; i < std::size(VBBucketSizes); ++i) {
    Bucket& bucket = buckets_[VBBucketSizes[i]];
    bucket.capacity = VBBucketSizes[i];
    for (int n = 0; n < VBBufferCounts[i]; ++n) {
      bucket.buffers.push_back(meshes.createVertexBuffer(format, size_t(VBBucketSizes[i]), ras::BU_Dynamic, 0));
    }
  }
}

ka::Ref<RasMeshVertexBuffer> RasVertexBucketPool::getBuffer(int vertices, int& capacity) {
  auto size = std::lower_bound(std::begin(VBBucketSizes), std::end(VBBucketSizes), vertices);
  if (size == std::end(VBBucketSizes)) return nullptr;
  capacity = *size;
  Bucket& bucket = buckets_[*size];
  if (bucket.used >= int(bucket.buffers.size())) return nullptr;
  return bucket.buffers[size_t(bucket.used++)];
}

void RasVertexBucketPool::nextFrame() {
  for (auto& [size, bucket] : buckets_) bucket.used = 0;
}

}  // namespace vorn
