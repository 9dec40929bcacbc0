// A batched mesh group as this renderer draws it (the design's fallback group): its instances in
// cells, their transforms in textures of 4096 matrices, two sets of which take turns so that a
// change never overwrites what a frame in flight reads, and each frame instanced draw calls for
// the runs of cells that a frustum sees: near cells in full, far ones as impostors, and cells
// beyond the fade distance not at all.
#pragma once

#include <deque>
#include <memory>
#include <string_view>
#include <vector>

#include "batch_cells.h"
#include "draw_call.h"
#include "impostor.h"
#include "occluder.h"
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

  // What the techniques of instanced drawing add to a technique's name.
  static constexpr std::string_view getTechniqueNameTail() { return "Batch"; }

  // Cells at this distance from the camera or farther draw as impostors (1000 at first).
  void setImpostorDistance(float distance) override {
    impostorDistance_ = distance;
    updateFade();
  }
  // Impostors thin out over the last fifth before this distance, and cells from there on are not
  // drawn (5000 at first).
  void setFadeDistance(float distance) override;

  // Once a frame, before any pass: gathers the instances again if they changed, marks the cells
  // by their distance from `camera`, and makes the impostors the first time a cell needs them.
  void calculateRenderLists(ka::Vec3<float> const& camera);
  // Decides what each cell gives a pass whose frustum is `frustum`. A cell wholly behind one of
  // the scene's occluders gives nothing, as a mesh instance would (trees beyond a planet's
  // horizon).
  void doRenderCulling(ka::Frustum const& frustum, std::vector<ka::Ref<RasRenOccluder::Culler>> const& cullers = {});
  // The draw calls of that decision, kept in `storage` until it is cleared.
  void doBatchDraws(std::deque<RasRenDrawCall>& storage, std::vector<RasRenDrawCall*>& out);
  // Gathers the instances and writes them into the other set of textures.
  void rebuildBatchInfo();
  void createImpostors();
  void renderImpostorTextures();

  void setLightingEnvironment(RasRenLightingEnvironment* environment) { environment_ = environment; }
  RasRenLightingEnvironment* lightingEnvironment() const { return environment_; }
  // The scene is gone, or let the group go.
  void orphan() { scene_ = nullptr; }

  RasRenBatchCells const& cells() const { return cells_; }
  RasRenImpostor const* impostor() const { return impostor_.get(); }

 private:
  RasRen* renderer() const;
  enum class Look : uint8_t { Hidden, Full, Impostor };
  struct Run {
    int first, count;
  };

  void buildTemplate(size_t group);
  void updateFade();
  // Runs of consecutive cells that look `look`, split where a block ends.
  std::vector<Run> const& collectRuns(Look look);
  void appendRuns(RasRenDrawCall const& shape, std::vector<Run> const& runs, std::deque<RasRenDrawCall>& storage,
                  std::vector<RasRenDrawCall*>& out);
  void drawFull(std::deque<RasRenDrawCall>& storage, std::vector<RasRenDrawCall*>& out);
  void drawImpostors(std::deque<RasRenDrawCall>& storage, std::vector<RasRenDrawCall*>& out);

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
  float fadeDistance_ = 5000;
  std::unique_ptr<RasRenImpostor> impostor_;
  bool impostorStale_ = true;
  std::vector<Look> looks_ = std::vector<Look>(RasRenBatchCells::kCellCount, Look::Hidden);
  std::vector<Run> runs_;
  // How far the mesh reaches from an instance's position, at scale 1.
  float meshRadius_ = 0;
};

}  // namespace vorn
