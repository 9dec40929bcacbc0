// A depth-only target with a viewport of its own, drawn from a light during the lighting pass: the
// lit, opaque meshes of its environment, seen through the light's matrix.
#pragma once

#include <memory>
#include <vector>

#include "ka/frustum.h"
#include "vorn/rasterizer.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRen;
struct RasRenDrawCall;
class RasRenLightingEnvironment;
class RasRenSceneViewport;

class RasRenShadowMap : public ren::ShadowMap {
 public:
  RasRenShadowMap(RasRenLightingEnvironment* environment, RasRen* renderer, TextureFormat format, int width,
                  int height);
  ~RasRenShadowMap() override;

  ka::Ref<Texture> getTexture() override;
  void setFeedbackFitting(bool on) override;

  // A light takes the map; a second one marks it shared (dirty).
  void bind();
  void unbind() { --bindCount_; }
  // The light's matrix, and the frustum that culls what the map draws; a map of one light is then
  // clean, a shared one stays dirty.
  void updateTransform(ka::Mat4x4f const& matrix);
  // The same without touching the dirty mark.
  void applyTransform(ka::Mat4x4f const& matrix);
  // Draws the shadow casters into the depth target: meshes move between frames, so every time.
  void update();
  // The environment is gone: the map draws nothing.
  void orphan();

  RasRenLightingEnvironment* environment() const { return environment_; }
  ka::Mat4x4f const& matrix() const { return matrix_; }
  bool dirty() const { return dirty_; }
  int bindCount() const { return bindCount_; }
  bool hasFeedbackTarget() const { return feedbackTarget_ != nullptr; }
  // One texel of the region the camera sees in the map's clip space; null without fitting.
  ras::RenderTarget* feedbackTarget() const { return feedbackTarget_.get(); }

 private:
  RasRenLightingEnvironment* environment_;
  RasRen* renderer_;
  ka::Ref<ras::RenderTarget> target_;
  ka::Ref<ras::RenderTarget> feedbackTarget_;
  ka::Mat4x4f matrix_ = ka::Mat4x4f::identity();
  ka::Frustum frustum_;
  ka::Ref<RasRenSceneViewport> viewport_;
  // Kept between updates so that filling it allocates nothing once it has grown.
  std::vector<RasRenDrawCall*> calls_;
  int bindCount_ = 0;
  bool dirty_ = true;
};

}  // namespace vorn
