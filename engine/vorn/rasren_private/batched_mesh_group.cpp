#include "batched_mesh_group.h"

#include <algorithm>

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
}

void RasRenBatchedMeshGroup::setMaterial(ka::StringRange group, Material const& material) {
  int index = mesh_->getMaterialGroupIndex(group);
  if (index >= 0) setMaterial(index, material);
}

void RasRenBatchedMeshGroup::upload() {
  cells_.rebuild();
  RasRen* ren = renderer();
  if (!ren) return;
  set_ = (set_ + 1) % 2;
  std::vector<ka::Ref<Texture>>& blocks = blocks_[set_];
  size_t count = size_t(cells_.blockCount());
  blocks.resize(count);
  singleBlocks_[set_].resize(count);
  std::vector<ka::Mat4x4f> block(RasRenBatchCells::kBlock);
  std::vector<ka::Mat4x4f> const& gathered = cells_.gathered();
  for (size_t b = 0; b < count; ++b) {
    if (!blocks[b])
      blocks[b] = ren->rasterizer()->getTextureFactory()->createTexture(TF_RGBA32F, 4, RasRenBatchCells::kBlock, 1,
                                                                       TextureFilter(0), false,
                                                                       kBatchTransformCategory);
    size_t first = b * RasRenBatchCells::kBlock;
    size_t n = std::min<size_t>(RasRenBatchCells::kBlock, gathered.size() - first);
    std::fill(std::copy_n(gathered.begin() + ptrdiff_t(first), n, block.begin()), block.end(), ka::Mat4x4f{});
    blocks[b]->setBits(0, block.data(), 0, CUBE_PositiveX);
    singleBlocks_[set_][b] = {blocks[b]};
  }
}

void RasRenBatchedMeshGroup::appendDrawCalls(ka::Frustum const& frustum, ka::Vec3<float> const& camera,
                                             std::deque<RasRenDrawCall>& storage,
                                             std::vector<RasRenDrawCall*>& out) {
  if (cells_.dirty()) upload();
  cells_.markImpostors(camera, impostorDistance_);
  // Runs of consecutive visible cells within one block become one instanced draw.
  struct Run {
    int first, count;
  };
  std::vector<Run> runs;
  for (int index = 0; index < RasRenBatchCells::kCellCount; ++index) {
    RasRenBatchCells::Range range = cells_.range(index);
    if (range.count == 0) continue;
    RasRenBatchCells::Cell const& cell = cells_.cell(index);
    // The cell's box holds the instances' positions: the mesh reaches beyond by its radius.
    float radius = meshRadius_ * cell.maxScale;
    ka::Vec3<float> reach{radius, radius, radius};
    if (!frustum.intersects(ka::AABB{cell.box.min - reach, cell.box.max + reach})) continue;
    for (int first = range.first, end = range.first + range.count; first < end;) {
      int blockEnd = (first / RasRenBatchCells::kBlock + 1) * RasRenBatchCells::kBlock;
      int last = std::min(end, blockEnd);
      if (!runs.empty() && runs.back().first + runs.back().count == first &&
          runs.back().first / RasRenBatchCells::kBlock == first / RasRenBatchCells::kBlock) {
        runs.back().count += last - first;
      } else {
        runs.push_back({first, last - first});
      }
      first = last;
    }
  }
  for (RasRenDrawCall const& shape : templates_) {
    if (!shape.effect) continue;
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
}

}  // namespace vorn
