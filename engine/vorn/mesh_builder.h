// Builds meshes from triangles and lines: equal vertices share an index, a change of material
// starts a group rather than a mesh, and a mesh is cut before its 16-bit indices would overflow.
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <vector>

#include "ka/color.h"
#include "ka/vecmath.h"
#include "vorn/rasmesh.h"

namespace vorn {

// Position, packed colour (red in the low byte), texture coordinate: vertex format 1.
struct VertexP3C4bT2 {
  static constexpr VertexFormat kFormat = VF_Position3Color4bTexCoord2;
  ka::Vec3<float> position;
  uint32_t color;
  ka::Vec2<float> texCoord;
};
static_assert(sizeof(VertexP3C4bT2) == 24);

// A position only: vertex format 0.
struct VertexP3 {
  static constexpr VertexFormat kFormat = VF_Position3;
  ka::Vec3<float> position;
};
static_assert(sizeof(VertexP3) == 12);

// Position and normal: vertex format 4.
struct VertexP3N3 {
  static constexpr VertexFormat kFormat = VF_Position3Normal3;
  ka::Vec3<float> position;
  ka::Vec3<float> normal;
};
static_assert(sizeof(VertexP3N3) == 24);

// Position, normal, texture coordinate: vertex format 5.
struct VertexP3N3T2 {
  static constexpr VertexFormat kFormat = VF_Position3Normal3TexCoord2;
  ka::Vec3<float> position;
  ka::Vec3<float> normal;
  ka::Vec2<float> texCoord;
};
static_assert(sizeof(VertexP3N3T2) == 32);

template <class Vertex>
class MeshBuilder {
 public:
  // Indices are 16 bits wide; a mesh holds at most this many.
  static constexpr size_t kMaxIndices = 65536;

  // Without a factory every change of material ends a mesh.
  explicit MeshBuilder(MeshFactory* factory) : factory_(factory) {}

  void setMaterial(Material material) {
    material.freeze();
    if (groups_.empty()) {
      groups_.push_back(group(material, PRIM_Triangles));
    } else if (groups_.back().primitiveCount == 0) {
      groups_.back().material = material;
    } else if (!(groups_.back().material == material)) {
      if (factory_) {
        groups_.push_back(group(material, groups_.back().primitiveType));
      } else {
        flush();
        groups_.back().material = material;
      }
    }
  }

  void setPrimType(PrimitiveType type) {
    if (groups_.empty()) groups_.push_back(group(Material(), type));
    MaterialGroup& last = groups_.back();
    if (last.primitiveType == type) return;
    if (last.primitiveCount == 0) {
      last.primitiveType = type;
    } else if (factory_) {
      groups_.push_back(group(last.material, type));
    } else {
      flush();
      groups_.back().primitiveType = type;
    }
  }

  void addLine(Vertex const& a, Vertex const& b) { add(PRIM_Lines, {&a, &b}); }
  void addTri(Vertex const& a, Vertex const& b, Vertex const& c) { add(PRIM_Triangles, {&a, &b, &c}); }

  // The index of `v`, added if no equal vertex is there yet.
  uint16_t findVert(Vertex const& v) {
    auto [at, added] = indexOf_.emplace(Key(v), uint16_t(vertices_.size()));
    if (added) vertices_.push_back(v);
    return at->second;
  }

  // Turns what was added into a mesh; the next primitives start a new one with the same material.
  void flush() {
    while (!groups_.empty() && groups_.back().primitiveCount == 0 && groups_.size() > 1) groups_.pop_back();
    if (groups_.empty() || groups_.back().primitiveCount == 0) return;
    Material last = groups_.back().material;
    if (factory_) {
      ka::Ref<RasMeshVertexBuffer> vb =
          factory_->createVertexBuffer(Vertex::kFormat, vertices_.size(), ras::BU_Static, 0);
      vb->setBits(vertices_.data(), vertices_.size() * sizeof(Vertex));
      ka::Ref<RasMeshIndexBuffer> ib = factory_->createIndexBuffer(IF_UInt16, indices_.size(), ras::BU_Static, 0);
      ib->setBits(indices_.data(), indices_.size() * sizeof(uint16_t));
      meshes_.push_back(factory_->createMesh(vb.get(), ib.get(), groups_));
    }
    vertices_.clear();
    indexOf_.clear();
    indices_.clear();
    groups_.assign(1, group(last, PRIM_Triangles));
  }

  // Forgets the finished meshes.
  void reset() { meshes_.clear(); }

  std::vector<ka::Ref<Mesh>> const& meshes() const { return meshes_; }
  size_t indexCount() const { return indices_.size(); }
  size_t vertexCount() const { return vertices_.size(); }

 private:
  // Vertices compare by their raw bytes.
  struct Key {
    explicit Key(Vertex const& v) { std::memcpy(bytes, &v, sizeof v); }
    bool operator<(Key const& other) const { return std::memcmp(bytes, other.bytes, sizeof bytes) < 0; }
    unsigned char bytes[sizeof(Vertex)];
  };

  MaterialGroup group(Material const& material, PrimitiveType type) {
    MaterialGroup g;
    g.material = material;
    g.firstIndex = int(indices_.size());
    g.primitiveType = type;
    return g;
  }

  void add(PrimitiveType type, std::initializer_list<Vertex const*> corners) {
    if (indices_.size() + corners.size() >= kMaxIndices + 1) flush();
    setPrimType(type);
    for (Vertex const* v : corners) indices_.push_back(findVert(*v));
    ++groups_.back().primitiveCount;
  }

  MeshFactory* factory_;
  std::vector<Vertex> vertices_;
  std::map<Key, uint16_t> indexOf_;
  std::vector<uint16_t> indices_;
  std::vector<MaterialGroup> groups_;
  std::vector<ka::Ref<Mesh>> meshes_;
};

}  // namespace vorn
