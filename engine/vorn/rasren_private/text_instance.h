// A line of text in a scene. It has no mesh: the viewport's quad builder turns it into glyph quads
// every frame.
#pragma once

#include <string>

#include "vorn/font.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRenScene;

class RasRenTextInstance : public ren::TextInstance {
 public:
  RasRenTextInstance(RasRenScene* scene, ka::Vec3<float> const& origin, ka::Vec3<float> const& baseline,
                     ka::Vec3<float> const& up, ka::RefNoCount<Font const> font, ka::StringRange text,
                     ka::Color4f const& colour, ka::Mat4x4f const& transform);

  void setTransform(ka::Mat4x4f const& transform) override { transform_ = transform; }
  void setTransformKind(ren::TransformKind kind) override { kind_ = kind; }
  void setDrawOrder(int order) override { drawOrder_ = order; }
  void setOrigin(ka::Vec3<float> const& origin) override { origin_ = origin; }
  void setBaseline(ka::Vec3<float> const& baseline) override { baseline_ = baseline; }
  void setUp(ka::Vec3<float> const& up) override { up_ = up; }
  void setText(ka::StringRange text) override { text_ = text.str(); }
  void setFont(ka::RefNoCount<Font const> font) override { font_ = font.ref(); }
  void setColor(ka::Color4f const& colour) override;
  void remove() override;

  void orphan() { scene_ = nullptr; }

  ka::Mat4x4f const& transform() const { return transform_; }
  ren::TransformKind transformKind() const { return kind_; }
  int drawOrder() const { return drawOrder_; }
  ka::Vec3<float> const& origin() const { return origin_; }
  ka::Vec3<float> const& baseline() const { return baseline_; }
  ka::Vec3<float> const& up() const { return up_; }
  std::string const& text() const { return text_; }
  Font const* font() const { return font_.get(); }
  // Packed as vertices carry it, red in the low byte.
  uint32_t colour() const { return colour_; }

 private:
  RasRenScene* scene_;
  ka::Mat4x4f transform_;
  ren::TransformKind kind_ = ren::TK_World;
  int drawOrder_ = 0;
  ka::Vec3<float> origin_, baseline_, up_;
  std::string text_;
  ka::Ref<Font const> font_;
  uint32_t colour_ = 0;
};

}  // namespace vorn
