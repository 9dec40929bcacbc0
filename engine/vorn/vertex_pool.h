// Vertex space reused each frame, so that no GPU buffer is made while a frame runs: one buffer
// written through a CPU copy, or a fixed set of buffers of bucketed sizes.
#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "vorn/rasmesh.h"

namespace vorn {

class RasVertexPool {
 public:
  RasVertexPool(MeshFactory& meshes, VertexFormat format, int capacity);

  // Room for `wanted` vertices, or what is left if that is at least `minimum`; null and 0 when not
  // even `minimum` fits. The pointer is into the CPU copy.
  void* mapRange(int wanted, int& actual, int minimum);
  // Uploads the range just mapped.
  void unmap();
  void nextFrame() { used_ = 0; }

  VertexFormat format() const { return format_; }
  int used() const { return used_; }
  RasMeshVertexBuffer* buffer() const { return buffer_.get(); }

 private:
  VertexFormat format_;
  int capacity_;
  int stride_;
  int used_ = 0;
  ka::Ref<RasMeshVertexBuffer> buffer_;
  std::vector<unsigned char> cpu_;
  bool isMapped_ = false;
  size_t mappedOffset_ = 0, mappedLength_ = 0;
};

class RasVertexBucketPool {
 public:
  // Vertices per buffer and buffers of each size: made all at once, a fixed budget of GPU memory
  // (about 1.77 million vertices, 42 MB at a stride of 24).
  static constexpr int VBBucketSizes[10] = {512, 1024, 2048, 4096, 8192, 16384, 32768, 65536, 131072, 524288};
  static constexpr int VBBufferCounts[10] = {64, 32, 32, 16, 16, 8, 8, 4, 2, 1};

  RasVertexBucketPool(MeshFactory& meshes, VertexFormat format);
  // A buffer of the smallest bucket that holds `vertices`, its size in `capacity`; empty when that
  // bucket is used up this frame or nothing is large enough.
  ka::Ref<RasMeshVertexBuffer> getBuffer(int vertices, int& capacity);
  void nextFrame();
  VertexFormat format() const { return format_; }
  int stride() const { return stride_; }

 private:
  struct Bucket {
    int capacity;
    int used = 0;
    std::vector<ka::Ref<RasMeshVertexBuffer>> buffers;
  };
  VertexFormat format_;
  int stride_;
  std::map<int, Bucket> buckets_;
};

}  // namespace vorn
