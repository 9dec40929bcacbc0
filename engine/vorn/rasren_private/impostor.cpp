#include "impostor.h"

#include <algorithm>

#include "vorn/mesh_builder.h"
#include "vorn/rasren.h"

namespace vorn {

namespace {

// The box, a little larger so that no edge of the mesh lands on the pictures' border, and never
// flat in any direction.
ka::AABB paddedBox(RasMeshVertexBuffer const& vertices) {
  ka::Vec3<float> low = vertices.aabbMin(), high = vertices.aabbMax();
  ka::Vec3<float> size = high - low;
  float pad = std::max({size.x, size.y, size.z, 1e-3f}) * 0.02f;
  ka::Vec3<float> margin{pad, pad, pad};
  return {low - margin, high + margin};
}

}  // namespace

RasRenImpostor::RasRenImpostor(RasRen* renderer, Mesh const& mesh)
    : renderer_(renderer), box_(paddedBox(*mesh.getVertexBuffer())) {
  ka::Vec3<float> const &low = box_.min, &high = box_.max, centre = box_.center();
  // Both quads pass through the box's centre. The quad across y shows the view along y in the left half of the texture, the quad across x
  // the view along x in the right half; the red channel tells the shader which quad it is on.
  MeshBuilder<VertexP3C4bT2> builder(renderer);
  auto quad = [&](ka::Vec3<float> a, ka::Vec3<float> b, float u0, float u1, uint32_t which) {
    VertexP3C4bT2 v0{{a.x, a.y, low.z}, which, {u0, 0}}, v1{{b.x, b.y, low.z}, which, {u1, 0}};
    VertexP3C4bT2 v2{{b.x, b.y, high.z}, which, {u1, 1}}, v3{{a.x, a.y, high.z}, which, {u0, 1}};
    builder.addTri(v0, v1, v2);
    builder.addTri(v2, v3, v0);
  };
  quad({low.x, centre.y, 0}, {high.x, centre.y, 0}, 0, 0.5f, 0xff000000u);
  // Looking along +x, the view's right is -y.
  quad({centre.x, high.y, 0}, {centre.x, low.y, 0}, 0.5f, 1, 0xff0000ffu);
  builder.flush();
  cross_ = builder.meshes().front();

  TextureFormat formats[2] = {TF_A8R8G8B8, TF_A8R8G8B8};
  bool srgb[2] = {false, false};
  target_ = renderer->rasterizer()->createRenderTarget(2, formats, srgb, TF_D24, 2 * kViewSize, kViewSize, 1,
                                                       TextureFilter(TF_MagLinear | TF_MinLinear));
  material_ = Material(renderer->materialLibrary(), "impostor_cross");
  material_.setTexture("DiffuseTexture", target_->getTexture(0));
  material_.setTexture("NormalTexture", target_->getTexture(1));
  setFade(4000, 5000);
}

void RasRenImpostor::setFade(float fadeStart, float fadeEnd) {
  material_.setVec("ImpostorFade", {fadeStart, fadeEnd, 0, 0});
  bindMaterial();
}

void RasRenImpostor::bindMaterial() {
  Material frozen = material_;
  frozen.freeze();
  shape_ = RasRenDrawCall{};
  shape_.vertexBuffer = cross_->getVertexBuffer().get();
  shape_.indexBuffer = cross_->getIndexBuffer().get();
  MaterialGroup const& group = cross_->getMaterialGroups().front();
  shape_.startIndex = group.firstIndex;
  shape_.primitiveCount = group.primitiveCount;
  shape_.primitiveType = group.primitiveType;
  shape_.effect = renderer_->getRasRenEffect(frozen.shader(), false);
  shape_.boundBlock = frozen.getBoundParameterBlock(renderer_->rasterizer()->getBindingTable());
}

ka::Mat4x4f RasRenImpostor::sideView(int across) const {
  ka::Vec3<float> low = box_.min, size = box_.max - box_.min;
  // Row vectors: clip = (position, 1) * m. Picture x runs along the quad, y up z, depth along
  // the view; both are the view of a camera on the negative side, up being +z.
  ka::Mat4x4f m{};
  m.m[2][1] = 2 / size.z;
  m.m[3][1] = -2 * low.z / size.z - 1;
  m.m[3][3] = 1;
  if (across == 1) {
    m.m[0][0] = 2 / size.x;
    m.m[3][0] = -2 * low.x / size.x - 1;
    m.m[1][2] = 2 / size.y;
    m.m[3][2] = -2 * low.y / size.y - 1;
  } else {
    m.m[1][0] = -2 / size.y;
    m.m[3][0] = 2 * box_.max.y / size.y - 1;
    m.m[0][2] = 2 / size.x;
    m.m[3][2] = -2 * low.x / size.x - 1;
  }
  return m;
}

void RasRenImpostor::renderTextures(Mesh const& mesh, std::vector<Material> const& materials) {
  ka::Ref<RasRenEffect> effect = renderer_->getRasRenEffect("impostor_render", false);
  RasRenTechnique* technique = effect ? effect->selectTechnique("Default") : nullptr;
  if (!technique || !technique->program()) return;
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  MaterialBindingTable* table = rasterizer->getBindingTable();
  unsigned transformSlot = table->getSlot("WorldViewProjTransform");
  ka::Ref<ras::RenderTarget> previous = rasterizer->setRenderTarget(target_);
  target_->setViewport({0, 0, target_->width(), target_->height()});
  rasterizer->clear(ras::ClearFlags(ras::CLEAR_Color | ras::CLEAR_Depth), {0, 0, 0, 0}, 1.0f, 0);
  rasterizer->setStreamSource(mesh.getVertexBuffer().get());
  rasterizer->setIndices(mesh.getIndexBuffer() ? mesh.getIndexBuffer()->buffer() : nullptr);
  for (int view = 0; view < 2; ++view) {
    // The quad across y, looked at along y, fills the left half.
    int across = 1 - view;
    target_->setViewport({view * kViewSize, 0, (view + 1) * kViewSize, kViewSize});
    technique->program()->parameterBlock()->setMatrix(transformSlot, sideView(across));
    std::vector<MaterialGroup> const& groups = mesh.getMaterialGroups();
    for (size_t index = 0; index < groups.size(); ++index) {
      if (index >= materials.size() || !materials[index].defined()) continue;
      Material material = renderer_->getRasterizerMaterial(materials[index]);
      technique->setParameters(material.getBoundParameterBlock(table), true, true);
      technique->begin();
      MaterialGroup const& group = groups[index];
      if (mesh.getIndexBuffer())
        rasterizer->drawIndexedPrimitive(group.primitiveType, 0, 0, 0, group.firstIndex, group.primitiveCount);
      else
        rasterizer->drawPrimitive(group.primitiveType, group.firstIndex, group.primitiveCount);
      technique->end();
    }
  }
  rasterizer->setRenderTarget(previous);
}

}  // namespace vorn
