// A batched mesh group as this renderer draws it (the design's fallback group): its instances in
// cells, their transforms in textures of 4096 matrices, two sets of which take turns so that a
// change never overwrites what a frame in flight reads, and each frame instanced draw calls for
// the runs of cells that a frustum sees.
#pragma once

#include <deque>
#include <vector>

#include "batch_cells.h"
#include "draw_call.h"
#include "ka/frustum.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRen;
class RasRenLightingEnvironment;
class RasRenScene;

class RasRenBatchedMeshGroup : public ren::BatchedMeshGroup {
 public:
  RasRenBatchedMeshGroup(RasRenScene* scene, ka::Ref<Mesh> mesh, RasRenLightingEnvironment* environment,
                         ka::Mat4x4f const& transform);

  void remove() override;
  void setTransform(ka::Mat4x4f const& transform) override;
  void setTransformKind(ren::TransformKind kind) override { kind_ = kind; }
  void setDrawOrder(int order) override { drawOrder_ = order; }
  void setMaterial(int group, Material const& material) override;
  void setMaterial(ka::StringRange group, Material const& material) override;
  uint32_t addInstance(ka::Mat4x4f const& transform) override { return cells_.addInstance(transform); }
  void removeInstance(uint32_t handle) override { cells_.removeInstance(handle); }
  void removeAllInstances() override { cells_.removeAllInstances(); }

  // Cells at this distance from the camera or farther are marked for impostors.
  void setImpostorDistance(float distance) { impostorDistance_ = distance; }
  // The frame's draw calls for what `frustum` sees, kept in `storage` until it is cleared.
  void appendDrawCalls(ka::Frustum const& frustum, ka::Vec3<float> const& camera,
                       std::deque<RasRenDrawCall>& storage, std::vector<RasRenDrawCall*>& out);
  void setLightingEnvironment(RasRenLightingEnvironment* environment) { environment_ = environment; }
  RasRenLightingEnvironment* lightingEnvironment() const { return environment_; }
  // The scene is gone, or let the group go.
  void orphan() { scene_ = nullptr; }

  RasRenBatchCells const& cells() const { return cells_; }

 private:
  RasRen* renderer() const;
  void buildTemplate(size_t group);
  // Gathers the instances again and writes them into the other set of textures.
  void upload();

  RasRenScene* scene_;
  ka::Ref<Mesh> mesh_;
  RasRenLightingEnvironment* environment_;  // not counted, as a mesh instance's
  ka::Mat4x4f transform_;
  ren::TransformKind kind_ = ren::TK_World;
  int drawOrder_ = 0;
  std::vector<Material> materials_;
  // One per material group: everything of a draw call but its instances.
  std::vector<RasRenDrawCall> templates_;
  RasRenBatchCells cells_;
  std::vector<ka::Ref<Texture>> blocks_[2];
  int set_ = 0;
  // One block each, as the draw calls point at them.
  std::vector<std::vector<ka::Ref<Texture>>> singleBlocks_[2];
  float impostorDistance_ = 1000;
  // How far the mesh reaches from an instance's position, at scale 1.
  float meshRadius_ = 0;
};

}  // namespace vorn
