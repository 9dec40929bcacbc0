// A far instance's stand-in: two quads crossed along the mesh's upright (z) axis, each textured
// with the mesh seen from the side, orthographically, along the quad's normal. The pictures hold
// the albedo with coverage in alpha and the mesh-space normal, so impostors are lit as the mesh is.
#pragma once

#include <vector>

#include "draw_call.h"
#include "vorn/material.h"
#include "vorn/rasmesh.h"
#include "vorn/rasterizer.h"

namespace vorn {

class RasRen;

class RasRenImpostor {
 public:
  // Texels a side of each of the two views; the texture holds them side by side.
  static constexpr int kViewSize = 128;

  // The cross is sized to the mesh's box; without the effect "impostor_cross" the shape has no
  // effect and nothing draws as an impostor.
  RasRenImpostor(RasRen* renderer, Mesh const& mesh);

  // Draws the mesh's groups with "impostor_render" into the pictures; again after a material
  // of the mesh changed.
  void renderTextures(Mesh const& mesh, std::vector<Material> const& materials);
  // Instances at `fadeStart` begin to thin out and are gone at `fadeEnd`.
  void setFade(float fadeStart, float fadeEnd);

  // Everything of the cross's draw call but its instances.
  RasRenDrawCall const& shape() const { return shape_; }
  ka::Ref<ras::RenderTarget> const& target() const { return target_; }

 private:
  void bindMaterial();
  // Clip space of one side view: `across` is the axis the view looks along (0: x, 1: y).
  ka::Mat4x4f sideView(int across) const;

  RasRen* renderer_;
  ka::AABB box_;
  ka::Ref<Mesh> cross_;
  ka::Ref<ras::RenderTarget> target_;
  Material material_;
  RasRenDrawCall shape_;
};

}  // namespace vorn
