#include "ui_quad_instance.h"

#include <algorithm>

#include "scene.h"
#include "vorn/rasren.h"

namespace vorn {

RasRenUIQuadInstance::RasRenUIQuadInstance(RasRenScene* scene, VertexP3C4bT2 const* corners,
                                           ka::RefNoCount<Texture const> texture, ka::Mat4x4f const& transform,
                                           ren::TransformKind kind)
    : scene_(scene), transform_(transform), kind_(kind) {
  setVerts(corners);
  setTexture(texture);
}

void RasRenUIQuadInstance::setVerts(VertexP3C4bT2 const* corners) { std::copy(corners, corners + 4, corners_); }

void RasRenUIQuadInstance::setTexture(ka::RefNoCount<Texture const> texture) {
  texture_ = texture.ref();
  RasRen* renderer = scene_ ? scene_->rasRen() : nullptr;
  if (!renderer) return;
  material_ = Material(renderer->materialLibrary(), "textured_unlit_transparent_nohdr");
  material_.setTexture("Texture", texture);
  material_.freeze();
}

void RasRenUIQuadInstance::remove() {
  if (scene_) scene_->removeUIQuad(this);
}

}  // namespace vorn
