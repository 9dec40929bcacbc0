#include "scene.h"

#include <algorithm>

#include "lighting_environment.h"
#include "vorn/rasren.h"

namespace vorn {

namespace {

// Takes an instance out of its list; it is inert from then on. Absent: nothing happens.
template <class Instance>
void orphanAndErase(std::vector<ka::Ref<Instance>>& list, Instance* instance) {
  auto found = std::find_if(list.begin(), list.end(), [instance](auto const& i) { return i.get() == instance; });
  if (found == list.end()) return;
  (*found)->orphan();
  list.erase(found);
}

}  // namespace

RasRenScene::RasRenScene(RasRen* renderer) : renderer_(renderer) {
  defaultLODGroup_ = static_cast<RasRenLODGroup*>(addLODGroup().get());
}

RasRenScene::~RasRenScene() {
  clear();
  for (RasRenLightingEnvironment* environment : environments_) environment->orphan();
  for (auto const& group : lodGroups_) {
    group->releaseMembers();
    group->orphan();
  }
}

ren::Renderer* RasRenScene::getRenderer() const { return renderer_; }

void RasRenScene::clear() {
  meshes_.forEach([this](RasRenMeshInstance* instance) { removeMesh(instance); });
  for (auto const& occluder : occluders_) occluder->orphan();
  occluders_.clear();
  for (auto const& quad : uiQuads_) quad->orphan();
  uiQuads_.clear();
  for (auto const& text : texts_) text->orphan();
  texts_.clear();
  for (auto const& group : batchedGroups_) group->orphan();
  batchedGroups_.clear();
  // The default group stays: later meshes join it.
  for (auto const& group : lodGroups_) {
    if (group == defaultLODGroup_) continue;
    group->releaseMembers();
    group->orphan();
  }
  lodGroups_.assign(1, defaultLODGroup_);
}

ka::Ref<ren::BatchedMeshGroup> RasRenScene::addBatchedMeshGroup(ka::RefNoCount<Mesh> mesh,
                                                                ka::RefNoCount<ren::LightingEnvironment> environment,
                                                                ka::Mat4x4f const& transform) {
  ka::Ref<RasRenBatchedMeshGroup> group(new RasRenBatchedMeshGroup(
      this, mesh.ref(), static_cast<RasRenLightingEnvironment*>(environment.get()), transform));
  batchedGroups_.push_back(group);
  return group;
}

void RasRenScene::removeBatchedMeshGroup(RasRenBatchedMeshGroup* group) {
  group->orphan();
  batchedGroups_.erase(std::remove_if(batchedGroups_.begin(), batchedGroups_.end(),
                                      [group](auto const& g) { return g.get() == group; }),
                       batchedGroups_.end());
}

ka::Ref<ren::LightingEnvironment> RasRenScene::createLightingEnvironment() {
  auto* environment = new RasRenLightingEnvironment(this);
  environments_.push_back(environment);
  return ka::Ref<ren::LightingEnvironment>(environment);
}

void RasRenScene::removeLightingEnvironment(RasRenLightingEnvironment* environment) {
  environments_.erase(std::remove(environments_.begin(), environments_.end(), environment), environments_.end());
  // Its meshes draw unlit from now on.
  meshes_.forEach([environment](RasRenMeshInstance* mesh) {
    if (mesh->lightingEnvironment() == environment) mesh->setLightingEnvironment(nullptr);
  });
  for (auto const& group : batchedGroups_)
    if (group->lightingEnvironment() == environment) group->setLightingEnvironment(nullptr);
}

ka::Ref<ren::MeshInstance> RasRenScene::addMesh(ka::RefNoCount<Mesh> mesh,
                                                ka::RefNoCount<ren::LightingEnvironment> environment,
                                                ka::Mat4x4f const& transform, ren::TransformKind kind) {
  ka::Ref<RasRenMeshInstance> instance(new RasRenMeshInstance(this, mesh.ref(), transform, kind));
  instance->setLightingEnvironment(static_cast<RasRenLightingEnvironment*>(environment.get()));
  instance->addRef();  // the list's reference
  meshes_.pushBack(instance.get());
  ++meshCount_;
  instance->setLODGroup(defaultLODGroup_.get(), 0, 0);
  return instance;
}

void RasRenScene::removeMesh(RasRenMeshInstance* instance) {
  instance->orphan();
  instance->unlink();
  --meshCount_;
  instance->dropRef();
}

ka::Ref<ren::TextInstance> RasRenScene::addText(ka::Vec3<float> const& origin, ka::Vec3<float> const& baseline,
                                                ka::Vec3<float> const& up, ka::RefNoCount<Font const> font,
                                                ka::StringRange text, ka::Color4f const& colour,
                                                ka::Mat4x4f const& transform) {
  ka::Ref<RasRenTextInstance> instance(new RasRenTextInstance(this, origin, baseline, up, font, text, colour, transform));
  texts_.push_back(instance);
  return instance;
}

void RasRenScene::removeText(RasRenTextInstance* text) { orphanAndErase(texts_, text); }

ka::Ref<ren::UIQuadInstance> RasRenScene::addUIQuad(VertexP3C4bT2 const* corners,
                                                    ka::RefNoCount<Texture const> texture,
                                                    ka::Mat4x4f const& transform, ren::TransformKind kind) {
  ka::Ref<RasRenUIQuadInstance> quad(new RasRenUIQuadInstance(this, corners, texture, transform, kind));
  uiQuads_.push_back(quad);
  return quad;
}

void RasRenScene::removeUIQuad(RasRenUIQuadInstance* quad) { orphanAndErase(uiQuads_, quad); }

ka::Ref<ren::LODGroup> RasRenScene::addLODGroup() {
  ka::Ref<RasRenLODGroup> group(new RasRenLODGroup(this));
  lodGroups_.push_back(group);
  return group;
}

void RasRenScene::removeLODGroup(RasRenLODGroup* group) {
  auto found = std::find_if(lodGroups_.begin(), lodGroups_.end(), [group](auto const& g) { return g.get() == group; });
  if (found == lodGroups_.end()) return;
  ka::Ref<RasRenLODGroup> keep = *found;
  lodGroups_.erase(found);
  keep->releaseMembers();
  keep->orphan();
  if (keep == defaultLODGroup_) defaultLODGroup_.reset();
}

ka::Ref<ren::Occluder> RasRenScene::addOccluder() {
  ka::Ref<RasRenOccluder> occluder(new RasRenOccluder(this));
  occluders_.push_back(occluder);
  return occluder;
}

void RasRenScene::removeOccluder(RasRenOccluder* occluder) { orphanAndErase(occluders_, occluder); }

}  // namespace vorn
