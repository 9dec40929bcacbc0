#include "shadow_map.h"

#include <algorithm>

#include "lighting_environment.h"
#include "scene.h"
#include "scene_viewport.h"
#include "vorn/rasren.h"

namespace vorn {

RasRenShadowMap::RasRenShadowMap(RasRenLightingEnvironment* environment, RasRen* renderer, TextureFormat format,
                                 int width, int height)
    : environment_(environment), renderer_(renderer) {
  target_ = renderer->rasterizer()->createRenderTarget(0, nullptr, nullptr, format, width, height, 1, TF_AllLinear);
  if (RasRenScene* scene = environment->scene())
    viewport_ = new RasRenSceneViewport(renderer, {0, 0, width, height}, scene);
}

RasRenShadowMap::~RasRenShadowMap() {
  if (environment_) environment_->removeShadowMap(this);
}

ka::Ref<Texture> RasRenShadowMap::getTexture() { return target_ ? target_->getDepthTexture() : nullptr; }

void RasRenShadowMap::setFeedbackFitting(bool on) {
  if (!on) {
    feedbackTarget_ = nullptr;
  } else if (!feedbackTarget_ && renderer_) {
    TextureFormat format = TF_RGBA32F;
    bool srgb = false;
    feedbackTarget_ = renderer_->rasterizer()->createRenderTarget(1, &format, &srgb, TF_D0, 1, 1, 1, TF_AllLinear);
  }
}

void RasRenShadowMap::bind() {
  if (bindCount_ == 1) dirty_ = true;
  ++bindCount_;
}

void RasRenShadowMap::applyTransform(ka::Mat4x4f const& matrix) {
  matrix_ = matrix;
  frustum_.initGLTransform(matrix);
  if (viewport_) viewport_->setFrustum(frustum_);
}

void RasRenShadowMap::updateTransform(ka::Mat4x4f const& matrix) {
  applyTransform(matrix);
  if (bindCount_ < 2) dirty_ = false;
}

void RasRenShadowMap::update() {
  if (!viewport_ || !target_ || !renderer_) return;
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  ka::Ref<ras::RenderTarget> previous = rasterizer->setRenderTarget(target_);
  target_->setViewport({0, 0, target_->width(), target_->height()});
  rasterizer->clear(ras::CLEAR_Depth, {0, 0, 0, 0}, 1.0f, 0);

  std::vector<RasRenDrawCall*>& calls = calls_;
  calls.clear();
  viewport_->getCulledMeshes(calls);
  // Only what this environment lights and light cannot pass: opaque lit meshes in the world.
  calls.erase(std::remove_if(calls.begin(), calls.end(),
                             [this](RasRenDrawCall const* call) {
                               return call->transformKind == ren::TK_CameraCentred ||
                                      call->transformKind == ren::TK_Hidden || !call->effect->lit() ||
                                      call->effect->transparent() || call->environment != environment_;
                             }),
              calls.end());
  // Order does not matter for depth: sorted by state alone.
  std::sort(calls.begin(), calls.end(), [](RasRenDrawCall const* a, RasRenDrawCall const* b) {
    auto before = RasRenDrawCallOrder::before;
    if (a->effect != b->effect) return before(a->effect.get(), b->effect.get());
    if (a->vertexBuffer != b->vertexBuffer) return before(a->vertexBuffer, b->vertexBuffer);
    if (a->indexBuffer != b->indexBuffer) return before(a->indexBuffer, b->indexBuffer);
    if (a->boundBlock != b->boundBlock) return before(a->boundBlock.get(), b->boundBlock.get());
    return a->batchCount < b->batchCount;
  });
  viewport_->renderMeshes(calls, matrix_, "ShadowMap");
  rasterizer->setRenderTarget(previous);
}

void RasRenShadowMap::orphan() {
  environment_ = nullptr;
  viewport_ = nullptr;
  target_ = nullptr;
  feedbackTarget_ = nullptr;
}

}  // namespace vorn
