#include "mesh_instance.h"

#include <algorithm>

#include "lod_group.h"
#include "scene.h"
#include "vorn/rasren.h"

namespace vorn {

RasRenMeshInstance::RasRenMeshInstance(RasRenScene* scene, ka::Ref<Mesh> mesh, ka::Mat4x4f const& transform,
                                       ren::TransformKind kind)
    : scene_(scene), mesh_(std::move(mesh)), transform_(transform), kind_(kind) {
  RasMeshVertexBuffer const& vertices = *mesh_->getVertexBuffer();
  hasBounds_ = vertices.sphereRadius() >= 0;
  if (hasBounds_) localBox_ = {vertices.aabbMin(), vertices.aabbMax()};
  for (MaterialGroup const& group : mesh_->getMaterialGroups()) materials_.push_back(group.material);
  drawCalls_.resize(materials_.size());
  for (size_t group = 0; group < drawCalls_.size(); ++group) buildDrawCall(group);
}

RasRenMeshInstance::~RasRenMeshInstance() { orphan(); }

RasRen* RasRenMeshInstance::renderer() const { return scene_ ? scene_->rasRen() : nullptr; }

void RasRenMeshInstance::buildDrawCall(size_t group) {
  RasRenDrawCall& call = drawCalls_[group];
  MaterialGroup const& source = mesh_->getMaterialGroups()[group];
  call = RasRenDrawCall{};
  call.worldMatrix = &transform_;
  call.transformKind = kind_;
  call.drawOrder = drawOrder_;
  call.vertexBuffer = mesh_->getVertexBuffer().get();
  call.indexBuffer = mesh_->getIndexBuffer().get();
  call.startIndex = source.firstIndex;
  call.primitiveCount = source.primitiveCount;
  call.primitiveType = source.primitiveType;
  if (!transforms_.empty()) {
    call.matrices = transforms_.data();
    call.instanceCount = int(transforms_.size());
  }
  RasRen* ren = renderer();
  if (!ren || !materials_[group].defined()) return;
  Material material = ren->getRasterizerMaterial(materials_[group]);
  bool skinned = false;
  for (auto const& element : call.vertexBuffer->elements())
    skinned |= element.usage == ras::HalVertexLayout::USAGE_Bones;
  call.effect = ren->getRasRenEffect(material.shader(), skinned);
  call.boundBlock = material.getBoundParameterBlock(ren->rasterizer()->getBindingTable());
}

void RasRenMeshInstance::setTransform(ka::Mat4x4f const& transform) {
  transform_ = transform;
  boundsDirty_ = true;
}

void RasRenMeshInstance::setTransformKind(ren::TransformKind kind) {
  kind_ = kind;
  for (RasRenDrawCall& call : drawCalls_) call.transformKind = kind;
}

void RasRenMeshInstance::setDrawOrder(int order) {
  drawOrder_ = order;
  for (RasRenDrawCall& call : drawCalls_) call.drawOrder = order;
}

void RasRenMeshInstance::setTransforms(ka::Mat4x4f const* transforms, int count) {
  transforms_.assign(transforms, transforms + std::max(count, 0));
  for (RasRenDrawCall& call : drawCalls_) {
    call.matrices = transforms_.empty() ? nullptr : transforms_.data();
    call.instanceCount = int(transforms_.size());
  }
}

void RasRenMeshInstance::setMaterial(int group, Material const& material) {
  if (group < 0 || size_t(group) >= drawCalls_.size()) return;
  materials_[size_t(group)] = material;
  buildDrawCall(size_t(group));
}

void RasRenMeshInstance::setMaterial(ka::StringRange group, Material const& material) {
  int index = mesh_->getMaterialGroupIndex(group);
  if (index >= 0) setMaterial(index, material);
}

void RasRenMeshInstance::setLODGroup(ka::RefNoCount<ren::LODGroup> group, int lodMin, int lodMax) {
  if (!scene_) return;
  if (lodGroup_) lodGroup_->removeMember(this);
  lodGroup_ = static_cast<RasRenLODGroup*>(group.get());
  lodMin_ = lodMin;
  lodMax_ = lodMax;
  if (lodGroup_) lodGroup_->addMember(this);
}

void RasRenMeshInstance::setRequiresDistanceSort(bool sort, float bias) {
  requiresDistanceSort_ = sort;
  distanceBias_ = bias;
}

void RasRenMeshInstance::remove() {
  if (scene_) scene_->removeMesh(this);
}

void RasRenMeshInstance::orphan() {
  if (lodGroup_) lodGroup_->removeMember(this);
  lodGroup_ = nullptr;
  scene_ = nullptr;
}

ka::OBB const& RasRenMeshInstance::bounds() {
  if (boundsDirty_) {
    bounds_ = ka::OBB(localBox_, transform_);
    boundsDirty_ = false;
  }
  return bounds_;
}

}  // namespace vorn
