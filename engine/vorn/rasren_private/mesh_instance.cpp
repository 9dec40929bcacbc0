#include "mesh_instance.h"

#include <algorithm>

#include "lighting_environment.h"
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
  call.environment = environment_;
  call.vertexBuffer = mesh_->getVertexBuffer().get();
  call.indexBuffer = mesh_->getIndexBuffer().get();
  call.startIndex = source.firstIndex;
  call.primitiveCount = source.primitiveCount;
  call.primitiveType = source.primitiveType;
  if (!transforms_.empty()) {
    call.matrices = transforms_.data();
    call.instanceCount = int(transforms_.size());
  }
  applyBatch(call);
  RasRen* ren = renderer();
  if (!ren || !materials_[group].defined()) return;
  Material material = ren->getRasterizerMaterial(materials_[group]);
  bool skinned = false;
  for (auto const& element : call.vertexBuffer->elements())
    skinned |= element.usage == ras::HalVertexLayout::USAGE_Bones;
  call.effect = ren->getRasRenEffect(material.shader(), skinned);
  call.boundBlock = material.getBoundParameterBlock(ren->rasterizer()->getBindingTable());
}

void RasRenMeshInstance::setLightingEnvironment(RasRenLightingEnvironment* environment) {
  environment_ = environment;
  for (RasRenDrawCall& call : drawCalls_) call.environment = environment;
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
    applyBatch(call);
  }
}

void RasRenMeshInstance::setBatchTransforms(ka::Mat4x4f const* transforms, int count, int stride) {
  RasRen* ren = renderer();
  if (!ren) return;
  count = std::max(count, 0);
  batchTransforms_.assign(transforms, transforms + count);
  batchStride_ = stride;
  // Whole blocks are uploaded, the tail of the last one zero.
  size_t blocks = (size_t(count) + kBatchBlock - 1) / kBatchBlock;
  batchBlocks_.resize(blocks);
  std::vector<ka::Mat4x4f> block(kBatchBlock);
  for (size_t b = 0; b < blocks; ++b) {
    if (!batchBlocks_[b])
      batchBlocks_[b] = ren->rasterizer()->getTextureFactory()->createTexture(TF_RGBA32F, 4, kBatchBlock, 1,
                                                                             TextureFilter(0), false,
                                                                             kBatchTransformCategory);
    size_t first = b * kBatchBlock, n = std::min<size_t>(kBatchBlock, size_t(count) - first);
    std::fill(std::copy_n(batchTransforms_.begin() + ptrdiff_t(first), n, block.begin()), block.end(), ka::Mat4x4f{});
    batchBlocks_[b]->setBits(0, block.data(), 0, CUBE_PositiveX);
  }
  for (RasRenDrawCall& call : drawCalls_) applyBatch(call);
}

void RasRenMeshInstance::applyBatch(RasRenDrawCall& call) {
  bool batched = !batchTransforms_.empty();
  call.batchCount = int(batchTransforms_.size());
  call.batchStride = batched ? batchStride_ : 0;
  call.batchBlocks = batched ? &batchBlocks_ : nullptr;
  if (batched) call.matrices = batchTransforms_.data();
  else if (transforms_.empty()) call.matrices = nullptr;
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
