#include "rasmesh.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <strings.h>

#include "ka/die.h"

namespace vorn {

namespace {

using Element = ras::HalVertexLayout::VertexElement;
using ras::HalVertexLayout;

RasMeshVertexBuffer::Elements buildElements(VertexFormat format) {
  VertexFormatInfo const& info = getVertexFormatInfo(format);
  RasMeshVertexBuffer::Elements out;
  auto add = [&](int32_t offset, std::string name, HalVertexLayout::Format type, uint32_t count,
                 HalVertexLayout::Usage usage, uint32_t index) {
    if (offset >= 0) out.push_back({std::move(name), index, type, count, -1, offset, 0, usage});
  };
  add(info.position, "a_Position", HalVertexLayout::FMT_Float, 3, HalVertexLayout::USAGE_Position, 0);
  add(info.weights, "a_Weights", HalVertexLayout::FMT_UInt8Normalized, 4, HalVertexLayout::USAGE_Weights, 0);
  add(info.bones, "a_Bones", HalVertexLayout::FMT_UInt8, 4, HalVertexLayout::USAGE_Bones, 0);
  add(info.normal, "a_Normal", HalVertexLayout::FMT_Float, 3, HalVertexLayout::USAGE_Normal, 0);
  add(info.tangent, "a_Tangent", HalVertexLayout::FMT_Float, 3, HalVertexLayout::USAGE_Tangent, 0);
  add(info.binormal, "a_Binormal", HalVertexLayout::FMT_Float, 3, HalVertexLayout::USAGE_Binormal, 0);
  add(info.color, "a_Color", HalVertexLayout::FMT_UInt8Normalized, 1, HalVertexLayout::USAGE_Color, 0);
  for (uint32_t i = 0; i < 2; ++i) {
    add(info.fcolor[i], i ? "a_FColor" + std::to_string(i) : "a_FColor", HalVertexLayout::FMT_Float, 4,
        HalVertexLayout::USAGE_FColor, i);
  }
  for (uint32_t i = 0; i < 8; ++i) {
    add(info.texcoord[i], i ? "a_TexCoord" + std::to_string(i) : "a_TexCoord", HalVertexLayout::FMT_Float, 2,
        HalVertexLayout::USAGE_TexCoord, i);
  }
  return out;
}

}  // namespace

void RasMeshVertexBuffer::setBits(void const* data, size_t length) {
  float const inf = std::numeric_limits<float>::infinity();
  aabbMin_ = {inf, inf, inf};
  aabbMax_ = {-inf, -inf, -inf};
  sphereCentre_ = {0, 0, 0};
  sphereRadius_ = -1;
  int32_t position = getVertexFormatInfo(format_).position;
  size_t count = stride_ > 0 ? length / size_t(stride_) : 0;
  if (position >= 0 && data && count > 0) {
    auto const* bytes = static_cast<unsigned char const*>(data);
    auto at = [&](size_t i) {
      ka::Vec3<float> p;
      std::memcpy(&p, bytes + i * size_t(stride_) + size_t(position), sizeof p);
      return p;
    };
    for (size_t i = 0; i < count; ++i) {
      aabbMin_ = ka::min(aabbMin_, at(i));
      aabbMax_ = ka::max(aabbMax_, at(i));
    }
    sphereCentre_ = (aabbMin_ + aabbMax_) * 0.5f;
    float radius = 0;
    for (size_t i = 0; i < count; ++i) radius = std::max(radius, ka::length(at(i) - sphereCentre_));
    sphereRadius_ = radius;
  } else if (position < 0) {
    // No positions to measure: a unit box about the origin, and no sphere.
    aabbMin_ = {-1, -1, -1};
    aabbMax_ = {1, 1, 1};
  }
  buffer_->setBits(data, length);
}

ka::Ref<RasMeshVertexBuffer> RasMeshFactory::createVertexBuffer(VertexFormat format, size_t count, ras::BufferUse use,
                                                                uint32_t category) {
  VertexFormatInfo const& info = getVertexFormatInfo(format);
  ka::Ref<VertexBuffer> buffer = rasterizer_.createVertexBuffer(count * size_t(info.stride), use, category);
  return new RasMeshVertexBuffer(format, getVertexElementMap(format), info.stride, buffer);
}

ka::Ref<RasMeshIndexBuffer> RasMeshFactory::createIndexBuffer(IndexFormat format, size_t count, ras::BufferUse use,
                                                              uint32_t category) {
  return new RasMeshIndexBuffer(rasterizer_.createIndexBuffer(format, count, use, category));
}

int RasMesh::getMaterialGroupIndex(ka::StringRange name) const {
  for (size_t i = 0; i < groups_.size(); ++i) {
    if (strncasecmp(groups_[i].name.c_str(), name.begin, name.size()) == 0 && groups_[i].name.size() == name.size()) {
      return int(i);
    }
  }
  return -1;
}

ka::Ref<Mesh> RasMeshFactory::createMesh(ka::RefNoCount<VertexBuffer> vertices, ka::RefNoCount<IndexBuffer> indices,
                                         std::vector<MaterialGroup> groups) {
  return new RasMesh(static_cast<RasMeshVertexBuffer*>(vertices.get()),
                     static_cast<RasMeshIndexBuffer*>(indices.get()), std::move(groups));
}

RasMeshVertexBuffer::Elements const& RasMeshFactory::getVertexElementMap(VertexFormat format) {
  if (format >= VF_None) ka::die("Invalid vertex format");
  if (built_[format].load(std::memory_order_acquire)) return elements_[format];
  std::lock_guard<std::mutex> lock(mutex_);
  if (!built_[format].load(std::memory_order_relaxed)) {
    elements_[format] = buildElements(format);
    built_[format].store(true, std::memory_order_release);
  }
  return elements_[format];
}

}  // namespace vorn
