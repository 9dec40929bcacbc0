#include "batched_mesh_group.h"

#include <algorithm>
#include <array>

#include "scene.h"
#include "vorn/rasren.h"

namespace vorn {

RasRenBatchedMeshGroup::RasRenBatchedMeshGroup(RasRenScene* scene, ka::Ref<Mesh> mesh,
                                               RasRenLightingEnvironment* environment, ka::Mat4x4f const& transform)
    : scene_(scene), mesh_(std::move(mesh)), environment_(environment) {
  setTransform(transform);
  RasMeshVertexBuffer const& vertices = *mesh_->getVertexBuffer();
  meshRadius_ = vertices.sphereRadius() < 0 ? 0
                                            : std::max(ka::length(vertices.aabbMin()), ka::length(vertices.aabbMax()));
  for (MaterialGroup const& group : mesh_->getMaterialGroups()) materials_.push_back(group.material);
  templates_.resize(materials_.size());
  for (size_t group = 0; group < templates_.size(); ++group) buildTemplate(group);
}

RasRen* RasRenBatchedMeshGroup::renderer() const { return scene_ ? scene_->rasRen() : nullptr; }

void RasRenBatchedMeshGroup::remove() {
  if (scene_) scene_->removeBatchedMeshGroup(this);
}

void RasRenBatchedMeshGroup::setTransform(ka::Mat4x4f const& transform) {
  transform_ = transform;
  cells_.setOffset(transform.translationPart());
}

void RasRenBatchedMeshGroup::buildTemplate(size_t group) {
  RasRenDrawCall& call = templates_[group];
  MaterialGroup const& source = mesh_->getMaterialGroups()[group];
  call = RasRenDrawCall{};
  call.vertexBuffer = mesh_->getVertexBuffer().get();
  call.indexBuffer = mesh_->getIndexBuffer().get();
  call.startIndex = source.firstIndex;
  call.primitiveCount = source.primitiveCount;
  call.primitiveType = source.primitiveType;
  RasRen* ren = renderer();
  if (!ren || !materials_[group].defined()) return;
  Material material = ren->getRasterizerMaterial(materials_[group]);
  call.effect = ren->getRasRenEffect(material.shader(), false);
  call.boundBlock = material.getBoundParameterBlock(ren->rasterizer()->getBindingTable());
}

void RasRenBatchedMeshGroup::setMaterial(int group, Material const& material) {
  if (group < 0 || size_t(group) >= templates_.size()) return;
  materials_[size_t(group)] = material;
  buildTemplate(size_t(group));
  impostorStale_ = true;
}

void RasRenBatchedMeshGroup::setMaterial(ka::StringRange group, Material const& material) {
  int index = mesh_->getMaterialGroupIndex(group);
  if (index >= 0) setMaterial(index, material);
}

void RasRenBatchedMeshGroup::setFadeDistance(float distance) {
  fadeDistance_ = distance;
  updateFade();
}

void RasRenBatchedMeshGroup::updateFade() {
  if (impostor_) impostor_->setFade(std::max(impostorDistance_, fadeDistance_ * 0.8f), fadeDistance_);
}

void RasRenBatchedMeshGroup::rebuildBatchInfo() {
  cells_.rebuild();
  RasRen* ren = renderer();
  if (!ren) return;
  set_ = (set_ + 1) % 2;
  std::vector<ka::Ref<Texture>>& blocks = blocks_[set_];
  size_t count = size_t(cells_.blockCount());
  blocks.resize(count);
  singleBlocks_[set_].resize(count);
  // One block's worth of matrices, shared by every group: rebuilds run on the rendering thread.
  static std::array<ka::Mat4x4f, RasRenBatchCells::kBlock> sScratch;
  std::vector<ka::Mat4x4f> const& gathered = cells_.gathered();
  for (size_t b = 0; b < count; ++b) {
    if (!blocks[b])
      blocks[b] = ren->rasterizer()->getTextureFactory()->createTexture(TF_RGBA32F, 4, RasRenBatchCells::kBlock, 1,
                                                                       TextureFilter(0), false,
                                                                       kBatchTransformCategory);
    size_t first = b * RasRenBatchCells::kBlock;
    size_t n = std::min<size_t>(RasRenBatchCells::kBlock, gathered.size() - first);
    std::fill(std::copy_n(gathered.begin() + ptrdiff_t(first), n, sScratch.begin()), sScratch.end(), ka::Mat4x4f{});
    blocks[b]->setBits(0, sScratch.data(), 0, CUBE_PositiveX);
    singleBlocks_[set_][b] = {blocks[b]};
  }
}

void RasRenBatchedMeshGroup::createImpostors() {
  RasRen* ren = renderer();
  if (!ren) return;
  impostor_ = std::make_unique<RasRenImpostor>(ren, *mesh_);
  updateFade();
  impostorStale_ = true;
}

void RasRenBatchedMeshGroup::renderImpostorTextures() {
  if (!impostor_) return;
  impostor_->renderTextures(*mesh_, materials_);
  impostorStale_ = false;
}

void RasRenBatchedMeshGroup::calculateRenderLists(ka::Vec3<float> const& camera) {
  if (cells_.dirty()) rebuildBatchInfo();
  cells_.markImpostors(camera, impostorDistance_, fadeDistance_);
  bool wanted = false;
  for (int index = 0; index < RasRenBatchCells::kCellCount && !wanted; ++index) wanted = cells_.cell(index).impostor;
  if (!wanted) return;
  if (!impostor_) createImpostors();
  if (impostorStale_) renderImpostorTextures();
}

void RasRenBatchedMeshGroup::doRenderCulling(ka::Frustum const& frustum,
                                             std::vector<ka::Ref<RasRenOccluder::Culler>> const& cullers) {
  // Without the impostor effect loaded, far cells draw in full rather than vanish.
  bool impostors = impostor_ && impostor_->shape().effect && !impostorStale_;
  for (int index = 0; index < RasRenBatchCells::kCellCount; ++index) {
    Look& look = looks_[size_t(index)];
    look = Look::Hidden;
    RasRenBatchCells::Cell const& cell = cells_.cell(index);
    if (cells_.range(index).count == 0 || cell.faded) continue;
    // The cell's box holds the instances' positions: the mesh reaches beyond by its radius.
    float radius = meshRadius_ * cell.maxScale;
    ka::Vec3<float> reach{radius, radius, radius};
    ka::AABB reached{cell.box.min - reach, cell.box.max + reach};
    if (!frustum.intersects(reached)) continue;
    if (!cullers.empty()) {
      ka::Vec3<float> corners[8];
      for (int i = 0; i < 8; ++i)
        corners[i] = {i & 1 ? reached.max.x : reached.min.x, i & 2 ? reached.max.y : reached.min.y,
                      i & 4 ? reached.max.z : reached.min.z};
      if (std::any_of(cullers.begin(), cullers.end(),
                      [&](auto const& culler) { return culler->isConvexPointSetOccluded(corners, 8); }))
        continue;
    }
    look = cell.impostor && impostors ? Look::Impostor : Look::Full;
  }
}

std::vector<RasRenBatchedMeshGroup::Run> const& RasRenBatchedMeshGroup::collectRuns(Look look) {
  runs_.clear();
  constexpr int kBlock = RasRenBatchCells::kBlock;
  for (int index = 0; index < RasRenBatchCells::kCellCount; ++index) {
    if (looks_[size_t(index)] != look) continue;
    RasRenBatchCells::Range range = cells_.range(index);
    for (int first = range.first, end = range.first + range.count; first < end;) {
      int last = std::min(end, (first / kBlock + 1) * kBlock);
      if (!runs_.empty() && runs_.back().first + runs_.back().count == first &&
          runs_.back().first / kBlock == first / kBlock) {
        runs_.back().count += last - first;
      } else {
        runs_.push_back({first, last - first});
      }
      first = last;
    }
  }
  return runs_;
}

void RasRenBatchedMeshGroup::appendRuns(RasRenDrawCall const& shape, std::vector<Run> const& runs,
                                        std::deque<RasRenDrawCall>& storage, std::vector<RasRenDrawCall*>& out) {
  if (!shape.effect) return;
  for (Run const& run : runs) {
    RasRenDrawCall& call = storage.emplace_back(shape);
    call.environment = environment_;
    call.worldMatrix = nullptr;  // the transforms are whole
    call.transformKind = kind_;
    call.drawOrder = drawOrder_;
    call.batchCount = run.count;
    call.batchStride = 1;
    call.batchFirst = run.first % RasRenBatchCells::kBlock;
    call.batchBlocks = &singleBlocks_[set_][size_t(run.first / RasRenBatchCells::kBlock)];
    call.matrices = &cells_.gathered()[size_t(run.first)];
    out.push_back(&call);
  }
}

void RasRenBatchedMeshGroup::drawFull(std::deque<RasRenDrawCall>& storage, std::vector<RasRenDrawCall*>& out) {
  std::vector<Run> const& runs = collectRuns(Look::Full);
  for (RasRenDrawCall const& shape : templates_) appendRuns(shape, runs, storage, out);
}

void RasRenBatchedMeshGroup::drawImpostors(std::deque<RasRenDrawCall>& storage, std::vector<RasRenDrawCall*>& out) {
  if (impostor_) appendRuns(impostor_->shape(), collectRuns(Look::Impostor), storage, out);
}

void RasRenBatchedMeshGroup::doBatchDraws(std::deque<RasRenDrawCall>& storage, std::vector<RasRenDrawCall*>& out) {
  drawFull(storage, out);
  drawImpostors(storage, out);
}

}  // namespace vorn
