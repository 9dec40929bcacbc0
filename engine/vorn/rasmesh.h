// Buffers with a vertex or index format between the rasterizer's raw buffers and drawable meshes,
// and the factory that makes them with the attribute list of each vertex format.
#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <vector>

#include "ka/string_range.h"
#include "ka/vecmath.h"
#include "vorn/material.h"
#include "vorn/rasterizer.h"

namespace vorn {

class RasMeshVertexBuffer : public VertexBuffer {
 public:
  using Elements = std::vector<ras::HalVertexLayout::VertexElement>;

  RasMeshVertexBuffer(VertexFormat format, Elements elements, int stride, ka::Ref<VertexBuffer> buffer)
      : elements_(std::move(elements)), stride_(stride), buffer_(std::move(buffer)), format_(format) {}

  // Also measures the bounds of the positions it is given.
  void setBits(void const* data, size_t length) override;
  // These forward and leave the bounds as they are.
  void* map() override { return buffer_->map(); }
  void* mapRange(int offset, int length) override { return buffer_->mapRange(offset, length); }
  void unmap() override { buffer_->unmap(); }
  bool isMapped() override { return buffer_->isMapped(); }
  void updateRange(int offset, int length, void* data) override { buffer_->updateRange(offset, length, data); }

  VertexFormat format() const { return format_; }
  Elements const& elements() const { return elements_; }
  int stride() const { return stride_; }
  VertexBuffer* buffer() const { return buffer_.get(); }
  ka::Vec3<float> const& aabbMin() const { return aabbMin_; }
  ka::Vec3<float> const& aabbMax() const { return aabbMax_; }
  ka::Vec3<float> const& sphereCentre() const { return sphereCentre_; }
  // -1 until positions were seen.
  float sphereRadius() const { return sphereRadius_; }

 private:
  Elements elements_;
  int stride_;
  ka::Ref<VertexBuffer> buffer_;
  ka::Vec3<float> aabbMin_, aabbMax_, sphereCentre_{0, 0, 0};
  float sphereRadius_ = -1;
  VertexFormat format_;
};

class RasMeshIndexBuffer : public IndexBuffer {
 public:
  explicit RasMeshIndexBuffer(ka::Ref<IndexBuffer> buffer) : buffer_(std::move(buffer)) {}
  void setBits(void const* data, size_t length) override { buffer_->setBits(data, length); }
  IndexBuffer* buffer() const { return buffer_.get(); }

 private:
  ka::Ref<IndexBuffer> buffer_;
};

// A span of a mesh's indices drawn with one material.
struct MaterialGroup {
  std::string name;  // empty for groups made without one
  Material material;
  int firstIndex = 0;
  int primitiveCount = 0;
  PrimitiveType primitiveType = PRIM_Triangles;
};

class Mesh : public ka::Counted {
 public:
  virtual ka::Ref<RasMeshVertexBuffer> getVertexBuffer() const = 0;
  virtual ka::Ref<RasMeshIndexBuffer> getIndexBuffer() const = 0;
  virtual std::vector<MaterialGroup> const& getMaterialGroups() const = 0;
  // The first group of that name, ignoring case; -1 if none.
  virtual int getMaterialGroupIndex(ka::StringRange name) const = 0;
};

class RasMesh : public Mesh {
 public:
  RasMesh(ka::Ref<RasMeshVertexBuffer> vertices, ka::Ref<RasMeshIndexBuffer> indices, std::vector<MaterialGroup> groups)
      : vertices_(std::move(vertices)), indices_(std::move(indices)), groups_(std::move(groups)) {}
  ka::Ref<RasMeshVertexBuffer> getVertexBuffer() const override { return vertices_; }
  ka::Ref<RasMeshIndexBuffer> getIndexBuffer() const override { return indices_; }
  std::vector<MaterialGroup> const& getMaterialGroups() const override { return groups_; }
  int getMaterialGroupIndex(ka::StringRange name) const override;

 private:
  ka::Ref<RasMeshVertexBuffer> vertices_;
  ka::Ref<RasMeshIndexBuffer> indices_;
  std::vector<MaterialGroup> groups_;
};

class MeshFactory {
 public:
  virtual ~MeshFactory() = default;
  virtual ka::Ref<Mesh> createMesh(ka::RefNoCount<VertexBuffer> vertices, ka::RefNoCount<IndexBuffer> indices,
                                   std::vector<MaterialGroup> groups) = 0;
  virtual ka::Ref<RasMeshVertexBuffer> createVertexBuffer(VertexFormat format, size_t count, ras::BufferUse use,
                                                          uint32_t category) = 0;
  virtual ka::Ref<RasMeshIndexBuffer> createIndexBuffer(IndexFormat format, size_t count, ras::BufferUse use,
                                                        uint32_t category) = 0;
};

class RasMeshFactory : public MeshFactory {
 public:
  explicit RasMeshFactory(ras::Rasterizer& rasterizer) : rasterizer_(rasterizer) {}
  // The buffers must be this factory's own kinds.
  ka::Ref<Mesh> createMesh(ka::RefNoCount<VertexBuffer> vertices, ka::RefNoCount<IndexBuffer> indices,
                           std::vector<MaterialGroup> groups) override;
  ka::Ref<RasMeshVertexBuffer> createVertexBuffer(VertexFormat format, size_t count, ras::BufferUse use,
                                                  uint32_t category) override;
  ka::Ref<RasMeshIndexBuffer> createIndexBuffer(IndexFormat format, size_t count, ras::BufferUse use,
                                                uint32_t category) override;
  // The attributes of a vertex format, as shaders are matched against them. Any thread.
  RasMeshVertexBuffer::Elements const& getVertexElementMap(VertexFormat format);

 private:
  ras::Rasterizer& rasterizer_;
  std::mutex mutex_;
  // Built once under the mutex; a list marked built is read without it.
  std::array<RasMeshVertexBuffer::Elements, VF_None> elements_;
  std::array<std::atomic<bool>, VF_None> built_{};
};

}  // namespace vorn
