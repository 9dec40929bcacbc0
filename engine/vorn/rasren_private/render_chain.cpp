#include "render_chain.h"

#include <cstring>

#include "effect.h"
#include "scene_viewport.h"
#include "vorn/parameterblock.h"
#include "vorn/rasren.h"

namespace vorn {
namespace {

char const* const kSlotNames[] = {"PosAndScale", "cameraPos", "Time", "PostSourceTexture"};
constexpr ka::Vec4<float> kWholeScreen{-1, -1, 2, 2};
constexpr int kGBufferAttachments = 4;
// The four-way debug view: attachments 0 to 3, bottom left, bottom right, top left, top right.
constexpr ka::Vec4<float> kQuadrants[] = {{-1, -1, 0.99f, 0.99f}, {0.01f, -1, 0.99f, 0.99f},
                                          {-1, 0.01f, 0.99f, 0.99f}, {0.01f, 0.01f, 0.99f, 0.99f}};

}  // namespace

RasRenRenderChain::RasRenRenderChain(RasRen* renderer, RasRenSceneViewport* viewport, float scale, bool hdr,
                                     ka::RefNoCount<Texture const> exposureWeighting)
    : renderer_(renderer),
      rasterizer_(renderer->rasterizer()),
      viewport_(viewport),
      resultTarget_(renderer->rasterizer()->getDefaultRenderTarget()),
      hdr_(hdr),
      scale_(scale),
      postEffect_(renderer->getRasRenEffect("Post", false)) {
  MaterialBindingTable* table = rasterizer_->getBindingTable();
  for (int slot = 0; slot < SLOT_Count; ++slot) slots_[slot] = int(table->getSlot(kSlotNames[slot]));
  if (hdr_) hdrPipeline_ = new RasRenHdrPipeline(renderer, this, renderer->getRasterizerTexture(exposureWeighting));
  if (viewport_) viewport_->setRenderChain(this);
}

RasRenRenderChain::~RasRenRenderChain() = default;

void RasRenRenderChain::setResolutionScaling(float scale) {
  scale_ = scale;
  rebuildGBuffer();
}

void RasRenRenderChain::bindToResultTarget(ka::RefNoCount<ras::RenderTarget> target) {
  resultTarget_ = target.ref();
  followsDefaultTarget_ = !target;
  rebuildGBuffer();
}

ka::Ref<ras::RenderTarget> RasRenRenderChain::makeColourTarget(int width, int height, TextureFormat format,
                                                               bool srgb) {
  return rasterizer_->createRenderTarget(1, &format, &srgb, TF_D0, width, height, 1, TF_AllLinear);
}

void RasRenRenderChain::rebuildGBuffer() {
  // The window's target is made again at each resize of the back buffer.
  if (followsDefaultTarget_) resultTarget_ = rasterizer_->getDefaultRenderTarget();
  if (!resultTarget_) return;
  int width = int(float(resultTarget_->width()) * scale_), height = int(float(resultTarget_->height()) * scale_);
  if (width == width_ && height == height_) return;
  width_ = width;
  height_ = height;
  if (width <= 0 || height <= 0) {
    gBuffer_ = composeTarget_ = sceneTarget_ = nullptr;
    return;
  }
  TextureFormat formats[kGBufferAttachments] = {hdr_ ? TF_RGBA16F : TF_A8R8G8B8, TF_A8R8G8B8, TF_R32F, TF_A8R8G8B8};
  bool srgb[kGBufferAttachments] = {!hdr_, true, false, false};
  gBuffer_ = rasterizer_->createRenderTarget(kGBufferAttachments, formats, srgb, TF_D24S8, width, height, 1,
                                            TF_AllLinear);
  composeTarget_ = makeColourTarget(width, height);
  // The tone-mapped picture, over the G-buffer's depth so that what is drawn after it is hidden
  // by the scene's surfaces.
  TextureFormat sceneFormat = TF_A8R8G8B8;
  bool sceneSrgb = true;
  int noShare = -1;
  sceneTarget_ = gBuffer_->createSuperTarget(1, &sceneFormat, &sceneSrgb, &noShare, TF_D24S8, true);
  if (hdrPipeline_) hdrPipeline_->bind(gBuffer_);
}

void RasRenRenderChain::setVisualization(int visualization) {
  visualization_ = visualization;
  if (hdrPipeline_) hdrPipeline_->setVisualization(visualization);
}

void RasRenRenderChain::bindGBufferForRead(RasRenEffect& effect, int slotMaterial, int slotDepth, int slotNormal) {
  RasRenTechnique* technique = effect.currentTechnique();
  if (!gBuffer_ || !technique || !technique->program()) return;
  ras::HalTextureBlock* textures = technique->program()->textureBlock();
  textures->setTexture(slotMaterial, gBuffer_->getTexture(1));
  textures->setTexture(slotDepth, gBuffer_->getTexture(2));
  textures->setTexture(slotNormal, gBuffer_->getTexture(3));
}

int RasRenRenderChain::addPip(ka::Rect<int> const& rect, ka::RefNoCount<Texture const> texture,
                              std::string const& technique) {
  float width = float(std::max(width_, 1)), height = float(std::max(height_, 1));
  // Pixel rows count from the top; clip space's y rises.
  ka::Vec4<float> clip{2.0f * float(rect.left) / width - 1.0f, 1.0f - 2.0f * float(rect.bottom) / height,
                       2.0f * float(rect.width()) / width, 2.0f * float(rect.height()) / height};
  pips_[nextPip_] = Pip{clip, renderer_->getRasterizerTexture(texture), technique};
  return nextPip_++;
}

void RasRenRenderChain::renderPostQuad(std::string_view technique, ka::RefNoCount<Texture const> texture,
                                       ka::RefNoCount<ras::RenderTarget> target, ka::Vec4<float> const& rect,
                                       PassSetup const& setup) {
  if (postEffect_) renderPostQuad(*postEffect_, technique, texture, target, rect, setup);
}

void RasRenRenderChain::renderPostQuad(RasRenEffect& effect, std::string_view technique,
                                       ka::RefNoCount<Texture const> texture,
                                       ka::RefNoCount<ras::RenderTarget> target, ka::Vec4<float> const& rect,
                                       PassSetup const& setup) {
  if (!target) return;
  if (!effect.hasTechnique(technique.empty() ? std::string_view("Default") : technique)) return;
  RasRenTechnique* pass = effect.selectTechnique(technique);
  if (!pass->program()) return;
  rasterizer_->setRenderTarget(target);
  target->setViewport({0, 0, target->width(), target->height()});
  pass->program()->textureBlock()->setTexture(slots_[SLOT_PostSourceTexture], texture);
  ras::HalParameterBlock* parameters = pass->program()->parameterBlock();
  parameters->setVector(slots_[SLOT_PosAndScale], rect);
  // Where the camera is and the scene's clock, for passes that vary with them.
  if (viewport_) {
    ka::Vec3<float> const& eye = viewport_->cameraPosition();
    float time = viewport_->sceneTime();
    parameters->setVector(slots_[SLOT_cameraPos], {eye.x, eye.y, eye.z, 1});
    parameters->setVector(slots_[SLOT_Time], {time, time, time, time});
  }
  if (setup) setup(*pass);
  renderer_->drawQuadMesh(*pass);
}

void RasRenRenderChain::beginFrame() {
  rebuildGBuffer();
  if (!gBuffer_) return;
  rasterizer_->setRenderTarget(gBuffer_);
  gBuffer_->setViewport(scaledViewportRect());
  gBuffer_->setDrawMask(1);
  rasterizer_->clear(ras::ClearFlags(ras::CLEAR_Color | ras::CLEAR_Depth | ras::CLEAR_Stencil), {0, 0, 0, 0}, 1.0f,
                     0);
  gBuffer_->setDrawMask(2);
  rasterizer_->clear(ras::CLEAR_Color, {0, 0, 0, 1}, 1.0f, 0);
  gBuffer_->setDrawMask(-1);
}

void RasRenRenderChain::beginSolid() {
  if (!gBuffer_) return;
  // White is the far plane in the linear depth attachment.
  gBuffer_->setDrawMask(4);
  rasterizer_->clear(ras::CLEAR_Color, {1, 1, 1, 1}, 1.0f, 0);
  gBuffer_->setDrawMask(-1);
}

void RasRenRenderChain::endSolid() {
  if (gBuffer_) gBuffer_->setDrawMask(1);
}

void RasRenRenderChain::applyHDR() {
  if (!hdrPipeline_ || !sceneTarget_) return;
  hdrPipeline_->apply(clock_ ? clock_() : float(ka::cyclesToMilliseconds(timer_.elapsedCycles())));
  hdrPipeline_->composeScene(sceneTarget_);
  rasterizer_->setRenderTarget(sceneTarget_);
  sceneTarget_->setViewport(scaledViewportRect());
}

ka::Rect<int> RasRenRenderChain::scaledViewportRect() const {
  if (!viewport_) return {0, 0, width_, height_};
  ka::Rect<int> rect = viewport_->rect();
  auto scaled = [this](int pixels) { return int(float(pixels) * scale_); };
  return {scaled(rect.left), scaled(rect.top), scaled(rect.right), scaled(rect.bottom)};
}

ka::Ref<ras::RenderTarget> RasRenRenderChain::frameTarget() const {
  return appendedTechniques_.size() % 2 ? composeTarget_ : resultTarget_;
}

void RasRenRenderChain::endFrame() {
  if (!gBuffer_ || !resultTarget_) return;
  // Debug views that end the frame early with a G-buffer attachment.
  if (visualization_ >= ren::VIS_GBuffer && visualization_ <= ren::VIS_Depth) {
    if (visualization_ == ren::VIS_GBuffer) {
      for (int i = 0; i < kGBufferAttachments; ++i)
        renderPostQuad("Default", gBuffer_->getTexture(i), resultTarget_, kQuadrants[i]);
    } else {
      int attachment = visualization_ == ren::VIS_Material ? 1 : visualization_ == ren::VIS_Normal ? 3 : 2;
      char const* technique = visualization_ == ren::VIS_Depth ? "PostCopyDepthViz" : "Default";
      renderPostQuad(technique, gBuffer_->getTexture(attachment), resultTarget_, kWholeScreen);
    }
    return;
  }
  ka::Ref<ras::RenderTarget> source = hdr_ ? sceneTarget_ : gBuffer_;
  ka::Ref<ras::RenderTarget> destination = frameTarget();
  renderPostQuad(fxaa_ ? "FXAA" : "Default", source->getTexture(0), destination, kWholeScreen);
  for (std::string const& technique : appendedTechniques_) {
    source = destination;
    destination = destination == composeTarget_ ? resultTarget_ : composeTarget_;
    renderPostQuad(technique, source->getTexture(0), destination, kWholeScreen);
  }
  rasterizer_->setRenderTarget(resultTarget_);
  for (auto const& [id, pip] : pips_) renderPostQuad(pip.technique, pip.texture, resultTarget_, pip.rect);
  if (downloadEnabled_ && downloadTargets_[0]) {
    renderPostQuad("Default", resultTarget_->getTexture(0), downloadTargets_[downloadIndex_], kWholeScreen);
    downloadIndex_ ^= 1;
    rasterizer_->setRenderTarget(resultTarget_);
  }
}

void RasRenRenderChain::doDownloadTargetCopy() {
  if (!downloadEnabled_ || !downloadTargets_[0] || !resultTarget_) return;
  ka::Ref<ras::RenderTarget> previous = rasterizer_->setRenderTarget(resultTarget_);
  renderPostQuad("DefaultFlipped", resultTarget_->getTexture(0), downloadTargets_[downloadIndex_], kWholeScreen);
  downloadIndex_ ^= 1;
  rasterizer_->setRenderTarget(previous);
}

void RasRenRenderChain::enableDownloadTarget(bool enable, int width, int height) {
  downloadEnabled_ = enable;
  if (!enable) {
    downloadTargets_[0] = downloadTargets_[1] = nullptr;
    return;
  }
  downloadWidth_ = width;
  downloadHeight_ = height;
  if (downloadTargets_[0] && downloadTargets_[0]->width() == width && downloadTargets_[0]->height() == height) return;
  ka::Ref<ras::RenderTarget> previous;
  for (auto& target : downloadTargets_) {
    target = makeColourTarget(width, height, TF_A8B8G8R8, false);
    ka::Ref<ras::RenderTarget> before = rasterizer_->setRenderTarget(target);
    if (!previous) previous = before;
    target->setViewport({0, 0, width, height});
    rasterizer_->clear(ras::CLEAR_Color, {0, 0, 0, 1}, 1.0f, 0);
  }
  rasterizer_->setRenderTarget(previous);
}

void RasRenRenderChain::downloadTarget(void* dst) {
  ka::Ref<ras::RenderTarget> target = downloadTargets_[downloadIndex_];
  if (!downloadEnabled_ || !target) return;
  size_t bytes = size_t(downloadWidth_) * size_t(downloadHeight_) * 4;
  ka::Ref<ras::RenderTarget> previous = rasterizer_->setRenderTarget(target);
  target->prepareAsyncDownload(0);
  target->processAsyncDownload(0, [&](void const* data) { std::memcpy(dst, data, bytes); });
  rasterizer_->setRenderTarget(previous);
}

}  // namespace vorn
