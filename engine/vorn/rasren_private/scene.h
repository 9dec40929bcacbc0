// A scene: the instances a scene viewport draws. It holds a reference to each instance until the
// instance is removed; the renderer orphans it when the renderer goes first.
#pragma once

#include "batched_mesh_group.h"
#include "ka/dlist.h"
#include "lod_group.h"
#include "mesh_instance.h"
#include "occluder.h"
#include "text_instance.h"
#include "ui_quad_instance.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRen;
class RasRenLightingEnvironment;

class RasRenScene : public ren::Scene, public ka::DListItem {
 public:
  explicit RasRenScene(RasRen* renderer);
  ~RasRenScene() override;

  ren::Renderer* getRenderer() const override;
  void clear() override;
  ka::Ref<ren::LightingEnvironment> createLightingEnvironment() override;
  using ren::Scene::addMesh;
  ka::Ref<ren::MeshInstance> addMesh(ka::RefNoCount<Mesh> mesh, ka::RefNoCount<ren::LightingEnvironment> environment,
                                     ka::Mat4x4f const& transform, ren::TransformKind kind) override;
  ka::Ref<ren::TextInstance> addText(ka::Vec3<float> const& origin, ka::Vec3<float> const& baseline,
                                     ka::Vec3<float> const& up, ka::RefNoCount<Font const> font, ka::StringRange text,
                                     ka::Color4f const& colour, ka::Mat4x4f const& transform) override;
  ka::Ref<ren::UIQuadInstance> addUIQuad(VertexP3C4bT2 const* corners, ka::RefNoCount<Texture const> texture,
                                         ka::Mat4x4f const& transform, ren::TransformKind kind) override;
  ka::Ref<ren::BatchedMeshGroup> addBatchedMeshGroup(ka::RefNoCount<Mesh> mesh,
                                                     ka::RefNoCount<ren::LightingEnvironment> environment,
                                                     ka::Mat4x4f const& transform) override;
  ka::Ref<ren::LODGroup> addLODGroup() override;
  ka::Ref<ren::Occluder> addOccluder() override;
  void setTime(double time) override { time_ = time; }

  void removeMesh(RasRenMeshInstance* instance);
  void removeOccluder(RasRenOccluder* occluder);
  void removeUIQuad(RasRenUIQuadInstance* quad);
  void removeText(RasRenTextInstance* text);
  void removeLODGroup(RasRenLODGroup* group);
  void removeBatchedMeshGroup(RasRenBatchedMeshGroup* group);
  // The environment is going; the scene orphans those left when it goes first.
  void removeLightingEnvironment(RasRenLightingEnvironment* environment);
  // The renderer is gone.
  void orphan() { renderer_ = nullptr; }

  RasRen* rasRen() const { return renderer_; }
  double time() const { return time_; }
  RasRenLODGroup* defaultLODGroup() const { return defaultLODGroup_.get(); }
  std::vector<ka::Ref<RasRenLODGroup>> const& lodGroups() const { return lodGroups_; }
  std::vector<ka::Ref<RasRenOccluder>> const& occluders() const { return occluders_; }
  std::vector<ka::Ref<RasRenUIQuadInstance>> const& uiQuads() const { return uiQuads_; }
  std::vector<ka::Ref<RasRenTextInstance>> const& texts() const { return texts_; }
  std::vector<ka::Ref<RasRenBatchedMeshGroup>> const& batchedGroups() const { return batchedGroups_; }
  size_t meshCount() const { return meshCount_; }
  template <class F>
  void forEachMesh(F&& f) {
    meshes_.forEach(f);
  }

 private:
  RasRen* renderer_;
  ka::DList<RasRenMeshInstance> meshes_;  // each linked one holds a reference, taken at add
  size_t meshCount_ = 0;
  std::vector<ka::Ref<RasRenOccluder>> occluders_;
  std::vector<ka::Ref<RasRenUIQuadInstance>> uiQuads_;
  std::vector<ka::Ref<RasRenTextInstance>> texts_;
  std::vector<ka::Ref<RasRenLODGroup>> lodGroups_;
  ka::Ref<RasRenLODGroup> defaultLODGroup_;
  std::vector<RasRenLightingEnvironment*> environments_;
  std::vector<ka::Ref<RasRenBatchedMeshGroup>> batchedGroups_;
  double time_ = 0;
};

}  // namespace vorn
