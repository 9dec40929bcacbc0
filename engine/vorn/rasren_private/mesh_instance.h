// One mesh in a scene, drawn with one transform or an array of them: a draw call per material
// group, and the bounds that culling asks.
#pragma once

#include <vector>

#include "draw_call.h"
#include "ka/dlist.h"
#include "ka/obb.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRen;
class RasRenLightingEnvironment;
class RasRenLODGroup;
class RasRenScene;

class RasRenMeshInstance : public ren::MeshInstance, public ka::DListItem {
 public:
  RasRenMeshInstance(RasRenScene* scene, ka::Ref<Mesh> mesh, ka::Mat4x4f const& transform, ren::TransformKind kind);
  ~RasRenMeshInstance() override;

  void setTransform(ka::Mat4x4f const& transform) override;
  void setTransformKind(ren::TransformKind kind) override;
  void setDrawOrder(int order) override;
  void setTransforms(ka::Mat4x4f const* transforms, int count) override;
  void setBatchTransforms(ka::Mat4x4f const* transforms, int count, int stride) override;
  void setMaterial(int group, Material const& material) override;
  void setMaterial(ka::StringRange group, Material const& material) override;
  void setLODGroup(ka::RefNoCount<ren::LODGroup> group, int lodMin, int lodMax) override;
  void setRequiresDistanceSort(bool sort, float bias) override;
  void remove() override;

  // Lit effects draw unlit without one.
  void setLightingEnvironment(RasRenLightingEnvironment* environment);
  RasRenLightingEnvironment* lightingEnvironment() const { return environment_; }
  // The scene is gone, or let the instance go: it does nothing from now on.
  void orphan();
  // The group is gone: the instance is in none.
  void leaveLODGroup() { lodGroup_ = nullptr; }

  RasRenLODGroup* lodGroup() const { return lodGroup_; }
  bool inLODRange(int level) const { return lodMin_ <= level && level <= lodMax_; }
  // Instances drawn through a transform array, or whose mesh has no measured positions, are
  // never culled: their box would not say where they are.
  void setBypassCulling(bool bypass) override { bypassCulling_ = bypass; }
  bool bypassesCulling() const {
    return bypassCulling_ || !transforms_.empty() || !batchTransforms_.empty() || !hasBounds_;
  }
  // The box in world space, recomputed after a change of transform.
  ka::OBB const& bounds();
  bool requiresDistanceSort() const { return requiresDistanceSort_; }
  float distanceBias() const { return distanceBias_; }
  ka::Mat4x4f const& transform() const { return transform_; }
  std::vector<RasRenDrawCall>& drawCalls() { return drawCalls_; }

 private:
  void buildDrawCall(size_t group);
  RasRen* renderer() const;

  RasRenScene* scene_;
  ka::Ref<Mesh> mesh_;
  ka::Mat4x4f transform_;
  ren::TransformKind kind_;
  int drawOrder_ = 0;
  // Not counted: the environment's lights may hold shadow maps whose viewports hold the scene,
  // which holds this instance. An environment that goes takes itself out of its scene's meshes.
  RasRenLightingEnvironment* environment_ = nullptr;
  std::vector<Material> materials_;  // the mesh's, until set here
  std::vector<RasRenDrawCall> drawCalls_;
  std::vector<ka::Mat4x4f> transforms_;
  std::vector<ka::Mat4x4f> batchTransforms_;
  std::vector<ka::Ref<Texture>> batchBlocks_;
  int batchStride_ = 0;
  void applyBatch(RasRenDrawCall& call);
  ka::AABB localBox_;
  ka::OBB bounds_;
  bool hasBounds_ = false;
  bool bypassCulling_ = false;
  bool boundsDirty_ = true;
  RasRenLODGroup* lodGroup_ = nullptr;
  int lodMin_ = 0, lodMax_ = 0;
  bool requiresDistanceSort_ = false;
  float distanceBias_ = 0;
};

}  // namespace vorn
