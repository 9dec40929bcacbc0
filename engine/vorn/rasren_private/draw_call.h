// One drawn piece of the scene: an effect, its buffers and parameters, and where it sorts.
#pragma once

#include <limits>

#include "effect.h"
#include "vorn/rasmesh.h"
#include "vorn/renderer.h"

namespace vorn {

struct RasRenDrawCall {
  ka::Ref<RasRenEffect> effect;
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
  ka::Mat4x4f const* matrices = nullptr;
  int batchCount = 0;
  int batchStride = 0;
};

// Draw order, then distance, then the states a change of which costs most, so that equal states
// come together.
struct RasRenDrawCallOrder {
  bool operator()(RasRenDrawCall const* a, RasRenDrawCall const* b) const {
    if (a->drawOrder != b->drawOrder) return a->drawOrder < b->drawOrder;
    if (a->distance != b->distance) return a->distance < b->distance;
    if (a->effect.get() != b->effect.get()) return a->effect.get() < b->effect.get();
    if (a->vertexBuffer != b->vertexBuffer) return a->vertexBuffer < b->vertexBuffer;
    if (a->indexBuffer != b->indexBuffer) return a->indexBuffer < b->indexBuffer;
    if (a->boundBlock.get() != b->boundBlock.get()) return a->boundBlock.get() < b->boundBlock.get();
    return a->batchCount < b->batchCount;
  }
};

}  // namespace vorn
