// One drawn piece of the scene: an effect, its buffers and parameters, and where it sorts.
#pragma once

#include <functional>
#include <limits>
#include <vector>

#include "effect.h"
#include "vorn/rasmesh.h"
#include "vorn/renderer.h"

namespace vorn {

// Transforms a batch texture holds: one matrix a row of four RGBA float texels.
inline constexpr int kBatchBlock = 4096;
// The resource category those textures are counted in.
inline constexpr uint32_t kBatchTransformCategory = 8;

class RasRenLightingEnvironment;

struct RasRenDrawCall {
  ka::Ref<RasRenEffect> effect;
  // Held by the instance; null for unlit drawing.
  RasRenLightingEnvironment* environment = nullptr;
  ka::Mat4x4f const* worldMatrix = nullptr;
  ka::Ref<BoundParameterBlock> boundBlock;
  RasMeshVertexBuffer* vertexBuffer = nullptr;
  RasMeshIndexBuffer* indexBuffer = nullptr;
  // With `matrices`, the count of transforms drawn through "WorldTransformArray".
  int instanceCount = 0;
  ren::TransformKind transformKind = ren::TK_World;
  int startIndex = 0;
  int primitiveCount = 0;
  PrimitiveType primitiveType = PRIM_Triangles;
  int drawOrder = 0;
  float distance = std::numeric_limits<float>::infinity();
  int vertexStart = 0;
  // With `batchCount`, the instances' transforms; otherwise the "WorldTransformArray" ones.
  ka::Mat4x4f const* matrices = nullptr;
  int batchCount = 0;
  int batchStride = 0;
  // Where the first instance's transform lies in the (first) block: "BatchIndices".
  int batchFirst = 0;
  // The same transforms in textures of up to kBatchBlock each, for techniques that draw instanced.
  std::vector<ka::Ref<Texture>> const* batchBlocks = nullptr;
};

// Draw order, then distance, then the states a change of which costs most, so that equal states
// come together.
struct RasRenDrawCallOrder {
  bool operator()(RasRenDrawCall const* a, RasRenDrawCall const* b) const {
    if (a->drawOrder != b->drawOrder) return a->drawOrder < b->drawOrder;
    if (a->distance != b->distance) return a->distance < b->distance;
    if (a->environment != b->environment) return before(a->environment, b->environment);
    if (a->effect.get() != b->effect.get()) return before(a->effect.get(), b->effect.get());
    if (a->vertexBuffer != b->vertexBuffer) return before(a->vertexBuffer, b->vertexBuffer);
    if (a->indexBuffer != b->indexBuffer) return before(a->indexBuffer, b->indexBuffer);
    if (a->boundBlock.get() != b->boundBlock.get()) return before(a->boundBlock.get(), b->boundBlock.get());
    return a->batchCount < b->batchCount;
  }
  // Unrelated objects have an order only through std::less.
  static bool before(void const* a, void const* b) { return std::less<void const*>()(a, b); }
};

}  // namespace vorn
