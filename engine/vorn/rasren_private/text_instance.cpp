#include "text_instance.h"

#include <algorithm>
#include <cmath>

#include "scene.h"

namespace vorn {

RasRenTextInstance::RasRenTextInstance(RasRenScene* scene, ka::Vec3<float> const& origin,
                                       ka::Vec3<float> const& baseline, ka::Vec3<float> const& up,
                                       ka::RefNoCount<Font const> font, ka::StringRange text,
                                       ka::Color4f const& colour, ka::Mat4x4f const& transform)
    : scene_(scene), transform_(transform), origin_(origin), baseline_(baseline), up_(up), text_(text.str()),
      font_(font.ref()) {
  setColor(colour);
}

void RasRenTextInstance::setColor(ka::Color4f const& colour) {
  // Premultiplied, as the glyphs' texels are.
  auto byte = [](float value) { return uint32_t(std::lround(std::clamp(value, 0.0f, 1.0f) * 255.0f)); };
  colour_ = byte(colour.r * colour.a) | byte(colour.g * colour.a) << 8 | byte(colour.b * colour.a) << 16 |
            byte(colour.a) << 24;
}

void RasRenTextInstance::remove() {
  if (scene_) scene_->removeText(this);
}

}  // namespace vorn
