// Turns a frame's quads into few draw calls: sorted so that equal materials come together, small
// pictures packed into atlases on the fly, and batches of 85 quads in the renderer's pooled
// buffers.
#pragma once

#include <deque>
#include <vector>

#include "draw_call.h"
#include "vorn/charbitmap.h"
#include "vorn/material.h"
#include "vorn/mesh_builder.h"

namespace vorn {

class RasRen;

// Quads of one batch that draw as one call: consecutive, with one material, transform, kind and
// draw order.
struct RasRenQuadSpan {
  Material material;
  ka::Mat4x4f const* transform;
  ren::TransformKind kind;
  int drawOrder;
  int firstQuad, quadCount;
};

class RasRenQuadBuilder {
 public:
  static constexpr int kBatchQuads = 85;  // 340 vertices: one pooled vertex buffer

  // Draw calls are appended to `out`, which must outlive the frame's drawing.
  RasRenQuadBuilder(RasRen* renderer, std::deque<RasRenDrawCall>& out) : renderer_(renderer), out_(out) {}

  // For the quads that follow.
  void setup(Material const& material, ka::Mat4x4f const* transform, ren::TransformKind kind, int drawOrder);
  void addQuad(VertexP3C4bT2 const* corners);
  // A glyph at the pen, its quad spanned by the baseline and up vectors; `colour` packed.
  void addChar(CharBitmap const& glyph, ka::Vec3<float> const& pen, ka::Vec3<float> const& baseline,
               ka::Vec3<float> const& up, uint32_t colour);
  // Sorts, atlases and draws everything added; notes "quads" with their number.
  void flush();

 private:
  struct QuadInfo {
    Material material;  // frozen; holds it for the frame
    ka::Mat4x4f const* transform;
    ren::TransformKind kind;
    int drawOrder;
    bool atlasable;
    uint64_t textureArea;  // texels of the material's textures, for the sort
    VertexP3C4bT2 corners[4];
  };
  struct CompareQuadInfo {
    bool operator()(QuadInfo const& a, QuadInfo const& b) const;
  };

  bool isAtlasable(Material const& material) const;
  void append(QuadInfo const& quad, Material const& material);
  // Writes the batch's vertices and the six indices of each quad into the buffers.
  void fillBuffers(RasMeshVertexBuffer& vertices, RasMeshIndexBuffer& indices) const;
  void render_batch();

  RasRen* renderer_;
  std::deque<RasRenDrawCall>& out_;
  QuadInfo current_{};
  std::vector<QuadInfo> quads_;
  std::vector<RasRenQuadSpan> spans_;
  std::vector<VertexP3C4bT2> vertices_;
};

}  // namespace vorn
