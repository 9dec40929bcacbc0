// A textured quad in a scene. It has no mesh: the viewport's quad builder turns it into vertices
// every frame, together with every other quad.
#pragma once

#include "ka/dlist.h"
#include "vorn/material.h"
#include "vorn/mesh_builder.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRenScene;

class RasRenUIQuadInstance : public ren::UIQuadInstance {
 public:
  RasRenUIQuadInstance(RasRenScene* scene, VertexP3C4bT2 const* corners, ka::RefNoCount<Texture const> texture,
                       ka::Mat4x4f const& transform, ren::TransformKind kind);

  void setTransform(ka::Mat4x4f const& transform) override { transform_ = transform; }
  void setTransformKind(ren::TransformKind kind) override { kind_ = kind; }
  void setDrawOrder(int order) override { drawOrder_ = order; }
  void setVerts(VertexP3C4bT2 const* corners) override;
  void setTexture(ka::RefNoCount<Texture const> texture) override;
  void remove() override;

  // The scene is gone, or let the quad go: it does nothing from now on.
  void orphan() { scene_ = nullptr; }

  ka::Mat4x4f const& transform() const { return transform_; }
  ren::TransformKind transformKind() const { return kind_; }
  int drawOrder() const { return drawOrder_; }
  VertexP3C4bT2 const* corners() const { return corners_; }
  Material const& material() const { return material_; }

 private:
  RasRenScene* scene_;
  ka::Mat4x4f transform_;
  ren::TransformKind kind_;
  int drawOrder_ = 0;
  VertexP3C4bT2 corners_[4];
  ka::Ref<Texture const> texture_;
  Material material_;
};

}  // namespace vorn
