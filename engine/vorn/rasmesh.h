// A rasterizer vertex buffer with the format of its vertices and the attribute list that shaders
// are matched against.
#pragma once

#include <vector>

#include "vorn/rasterizer.h"

namespace vorn {

class RasMeshVertexBuffer : public VertexBuffer {
 public:
  using Elements = std::vector<ras::HalVertexLayout::VertexElement>;

  RasMeshVertexBuffer(VertexFormat format, Elements elements, int stride, ka::Ref<VertexBuffer> buffer)
      : elements_(std::move(elements)), stride_(stride), buffer_(std::move(buffer)), format_(format) {}

  void setBits(void const* data, size_t length) override { buffer_->setBits(data, length); }
  void* map() override { return buffer_->map(); }
  void* mapRange(int offset, int length) override { return buffer_->mapRange(offset, length); }
  void unmap() override { buffer_->unmap(); }
  bool isMapped() override { return buffer_->isMapped(); }
  void updateRange(int offset, int length, void* data) override { buffer_->updateRange(offset, length, data); }

  VertexFormat format() const { return format_; }
  Elements const& elements() const { return elements_; }
  int stride() const { return stride_; }
  VertexBuffer* buffer() const { return buffer_.get(); }

 private:
  Elements elements_;
  int stride_;
  ka::Ref<VertexBuffer> buffer_;
  VertexFormat format_;
};

}  // namespace vorn
