#include "quad_builder.h"

#include <algorithm>
#include <cstring>

#include "texture.h"
#include "texture_atlas_builder.h"
#include "vorn/profiler.h"
#include "vorn/rasren.h"

namespace vorn {

namespace {

// The one texture of an atlasable material.
RasRenTexture const* onlyTexture(Material const& material) {
  return static_cast<RasRenTexture const*>(material.textureParams().begin()->second.get());
}

uint64_t textureArea(Material const& material) {
  uint64_t area = 0;
  for (auto const& [name, texture] : material.textureParams())
    if (texture) area += uint64_t(texture->width()) * uint64_t(texture->height());
  return area;
}

bool sameMatrix(ka::Mat4x4f const* a, ka::Mat4x4f const* b) {
  return a == b || (a && b && std::memcmp(a->m, b->m, sizeof a->m) == 0);
}

}  // namespace

bool RasRenQuadBuilder::CompareQuadInfo::operator()(QuadInfo const& a, QuadInfo const& b) const {
  if (a.drawOrder != b.drawOrder) return a.drawOrder < b.drawOrder;
  if (a.material.data() == b.material.data()) return false;
  if (a.atlasable != b.atlasable) return !a.atlasable;
  int byShader = a.material.shader().compare(b.material.shader());
  if (byShader != 0) return byShader < 0;
  auto address = [](QuadInfo const& q) { return reinterpret_cast<uintptr_t>(&q.material.parameterBlock()); };
  if (!a.atlasable) return address(a) < address(b);
  if (a.textureArea != b.textureArea) return a.textureArea > b.textureArea;
  return address(a) < address(b);
}

bool RasRenQuadBuilder::isAtlasable(Material const& material) const {
  if (!material.defined() || material.textureParams().size() != 1) return false;
  Texture const* texture = material.textureParams().begin()->second.get();
  return texture && texture->factory() == static_cast<TextureFactory*>(renderer_) &&
         static_cast<RasRenTexture const*>(texture)->autoAtlased();
}

void RasRenQuadBuilder::setup(Material const& material, ka::Mat4x4f const* transform, ren::TransformKind kind,
                              int drawOrder) {
  current_.material = material;
  current_.material.freeze();
  current_.transform = transform;
  current_.kind = kind;
  current_.drawOrder = drawOrder;
  current_.atlasable = isAtlasable(current_.material);
  current_.textureArea = textureArea(current_.material);
}

void RasRenQuadBuilder::addQuad(VertexP3C4bT2 const* corners) {
  quads_.push_back(current_);
  std::copy(corners, corners + 4, quads_.back().corners);
}

void RasRenQuadBuilder::addChar(CharBitmap const& glyph, ka::Vec3<float> const& pen, ka::Vec3<float> const& baseline,
                                ka::Vec3<float> const& up, uint32_t colour) {
  auto corner = [&](float x, float y, float u, float v) {
    return VertexP3C4bT2{pen + baseline * x + up * y, colour, {u, v}};
  };
  float const x0 = glyph.x, x1 = glyph.x + glyph.width, y0 = glyph.y, y1 = glyph.y + glyph.height;
  // The glyph's first row, its top, is the texture's first row: v grows downwards.
  VertexP3C4bT2 const corners[4] = {corner(x0, y0, glyph.u0, glyph.v1), corner(x1, y0, glyph.u1, glyph.v1),
                                    corner(x1, y1, glyph.u1, glyph.v0), corner(x0, y1, glyph.u0, glyph.v0)};
  addQuad(corners);
}

void RasRenQuadBuilder::flush() {
  if (quads_.empty()) return;
  std::stable_sort(quads_.begin(), quads_.end(), CompareQuadInfo());
  RasRenTextureAtlasBuilder atlas(renderer_);
  for (QuadInfo const& quad : quads_)
    if (quad.atlasable) atlas.addTexture(onlyTexture(quad.material));
  atlas.bakeTextures();

  MaterialData const* lastSource = nullptr;
  Material drawn;
  RasRenTextureAtlasBuilder::TextureRecord const* placement = nullptr;
  for (QuadInfo& quad : quads_) {
    if (quad.material.data() != lastSource || !lastSource) {
      lastSource = quad.material.data();
      placement = nullptr;
      Material source = quad.material;
      if (quad.atlasable) {
        placement = atlas.findTexturePlacement(onlyTexture(source));
        source.setTexture(source.textureParams().begin()->first, placement->texture);
      }
      drawn = renderer_->getRasterizerMaterial(source);
    }
    if (placement) {
      float const(&t)[2][3] = placement->transform;
      for (VertexP3C4bT2& v : quad.corners)
        v.texCoord = {v.texCoord.x * t[0][0] + t[0][2], v.texCoord.y * t[1][1] + t[1][2]};
    }
    append(quad, drawn);
  }
  render_batch();
  renderer_->profiler().noteEvent("quads", (long long)quads_.size());
  quads_.clear();
}

void RasRenQuadBuilder::append(QuadInfo const& quad, Material const& material) {
  if (vertices_.size() == size_t(kBatchQuads) * 4) render_batch();
  int index = int(vertices_.size() / 4);
  vertices_.insert(vertices_.end(), quad.corners, quad.corners + 4);
  if (!spans_.empty()) {
    RasRenQuadSpan& last = spans_.back();
    if (last.material.data() == material.data() && sameMatrix(last.transform, quad.transform) &&
        last.kind == quad.kind && last.drawOrder == quad.drawOrder) {
      ++last.quadCount;
      return;
    }
  }
  spans_.push_back({material, quad.transform, quad.kind, quad.drawOrder, index, 1});
}

void RasRenQuadBuilder::fillBuffers(RasMeshVertexBuffer& vertices, RasMeshIndexBuffer& indices) const {
  vertices.setBits(vertices_.data(), vertices_.size() * sizeof(VertexP3C4bT2));
  std::vector<uint16_t> quadIndices;
  quadIndices.reserve(vertices_.size() / 4 * 6);
  for (uint16_t first = 0; first < vertices_.size(); first = uint16_t(first + 4))
    for (uint16_t corner : {0, 1, 2, 2, 3, 0}) quadIndices.push_back(uint16_t(first + corner));
  indices.setBits(quadIndices.data(), quadIndices.size() * sizeof(uint16_t));
}

void RasRenQuadBuilder::render_batch() {
  if (vertices_.empty()) return;
  ka::Ref<RasMeshVertexBuffer> vertexBuffer = renderer_->getQuadVertexBuffer();
  ka::Ref<RasMeshIndexBuffer> indexBuffer = renderer_->getQuadIndexBuffer();
  fillBuffers(*vertexBuffer, *indexBuffer);
  MaterialBindingTable* table = renderer_->rasterizer()->getBindingTable();
  for (RasRenQuadSpan const& span : spans_) {
    RasRenDrawCall& call = out_.emplace_back();
    call.effect = renderer_->getRasRenEffect(span.material.shader(), false);
    call.worldMatrix = span.transform;
    call.instanceCount = 1;
    call.transformKind = span.kind;
    call.startIndex = span.firstQuad * 6;
    call.primitiveCount = span.quadCount * 2;
    call.primitiveType = PRIM_Triangles;
    call.drawOrder = span.drawOrder;
    call.boundBlock = span.material.getBoundParameterBlock(table);
    call.vertexBuffer = vertexBuffer.get();
    call.indexBuffer = indexBuffer.get();
  }
  spans_.clear();
  vertices_.clear();
}

}  // namespace vorn
