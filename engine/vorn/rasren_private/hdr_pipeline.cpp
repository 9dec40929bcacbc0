#include "hdr_pipeline.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "effect.h"
#include "render_chain.h"
#include "vorn/parameterblock.h"
#include "vorn/rasren.h"

namespace vorn {
namespace {

char const* const kSlotNames[] = {"HdrAvgLuminance", "PostAlphaTexture",   "PostBrightParams",
                                  "Bloom",           "BlurWeightsTexture", "ExposureWeighting"};

constexpr ka::Vec4<float> kWholeScreen{-1, -1, 2, 2};
// The tone map never brightens more than this would: a black scene stays dark.
constexpr float kMinimumAdaptedLuminance = 0.25f;
// Of the difference to the target, per millisecond.
constexpr float kAdaptationRate = 0.007f;

double gaussianTap(int i) { return std::exp(-i * i / 8.0) * 0.19947115 * 1.25; }

}  // namespace

std::array<RasRenHdrPipeline::BlurTap, 4> RasRenHdrPipeline::blurWeights() {
  std::array<BlurTap, 4> taps;
  taps[0] = {float(gaussianTap(0)), 0};
  for (int pair = 1; pair < 4; ++pair) {
    int near = 2 * pair - 1, far = 2 * pair;
    double sum = gaussianTap(near) + gaussianTap(far);
    taps[pair] = {float(sum), float((near * gaussianTap(near) + far * gaussianTap(far)) / sum)};
  }
  return taps;
}

float RasRenHdrPipeline::adapt(float adapted, float target, float dtMs) {
  float delta = target - adapted;
  float step = dtMs * kAdaptationRate * delta;
  step = delta > 0 ? std::min(step, delta) : std::max(step, delta);
  return adapted + step;
}

RasRenHdrPipeline::RasRenHdrPipeline(RasRen* renderer, RasRenRenderChain* chain,
                                     ka::RefNoCount<Texture const> exposureWeighting)
    : chain_(chain),
      rasterizer_(renderer->rasterizer()),
      exposureTexture_(exposureWeighting.ref()) {
  MaterialBindingTable* table = rasterizer_->getBindingTable();
  for (int slot = 0; slot < SLOT_Count; ++slot) slots_[slot] = int(table->getSlot(kSlotNames[slot]));
  for (int size : kLuminanceSizes) luminanceChain_.push_back(makeTarget(size, size, TF_R16F, TF_R8));

  TextureFactory* textures = rasterizer_->getTextureFactory();
  blurWeights_ = textures->createTexture(TF_RG32F, 1, 4, 1, TextureFilter(0), false, 0);
  std::array<BlurTap, 4> taps = blurWeights();
  blurWeights_->setBits(0, taps.data(), 0, CUBE_PositiveX);
  if (!exposureTexture_) {
    // All-zero weights would make the average 0 / 0 and freeze the exposure.
    ka::Ref<Texture> white = textures->createTexture(TF_A8R8G8B8, 1, 1, 1, TextureFilter(0), false, 0);
    uint32_t texel = 0xffffffffu;
    white->setBits(0, &texel, 0, CUBE_PositiveX);
    exposureTexture_ = white;
  }
}

ka::Ref<ras::RenderTarget> RasRenHdrPipeline::makeTarget(int width, int height, TextureFormat first,
                                                         TextureFormat second) {
  TextureFormat formats[] = {first, second};
  bool srgb[] = {false, false};
  return rasterizer_->createRenderTarget(2, formats, srgb, TF_D0, width, height, 1, TextureFilter(0));
}

void RasRenHdrPipeline::bind(ka::RefNoCount<ras::RenderTarget> gBuffer) {
  downsampleChain_.clear();
  blurTarget_.reset();
  sceneColor_ = gBuffer->getTexture(0);
  int width = gBuffer->width(), height = gBuffer->height();
  TextureFormat format = TF_RGBA16F;
  bool srgb = false;
  auto halfFloatTarget = [&](int w, int h) {
    return rasterizer_->createRenderTarget(1, &format, &srgb, TF_D0, w, h, 1, TF_AllLinear);
  };
  if (width > kFullSizeLimit && height > kFullSizeLimit) {
    while (std::min(width, height) >= kFullSizeLimit) {
      width /= 2;
      height /= 2;
      downsampleChain_.push_back(halfFloatTarget(width, height));
    }
    blurTarget_ = halfFloatTarget(downsampleChain_.front()->width(), downsampleChain_.front()->height());
  } else {
    blurTarget_ = halfFloatTarget(width, height);
    downsampleChain_.push_back(halfFloatTarget(width, height));
  }
  debugTarget_.reset();
}

void RasRenHdrPipeline::apply(float timeMs) {
  if (downsampleChain_.empty()) return;
  float dt = timeMs - lastTime_;
  lastTime_ = timeMs;

  ka::Ref<Texture> source = sceneColor_;
  for (auto const& target : downsampleChain_) {
    chain_->renderPostQuad("Downsample", source, target, kWholeScreen);
    source = target->getTexture(0);
  }
  // An earlier frame's measurement, if one is done: never this frame's, so that the answer does
  // not depend on how fast the GPU happened to be.
  readBackLuminance();
  // Measured before the bloom, which blurs into the first target: with a chain of one (a short
  // side of 256 or less) that is also the last, which the luminance reads.
  measureLuminance();
  ras::RenderTarget* first = downsampleChain_.front().get();
  if (visualization_ == ren::VIS_HdrDownsample) {
    if (!debugTarget_)
      debugTarget_ = chain_->makeColourTarget(downsampleChain_.back()->width(), downsampleChain_.back()->height());
    chain_->renderPostQuad("Default", source, debugTarget_, kWholeScreen);
  }
  if (visualization_ == ren::VIS_NoBloom) {
    rasterizer_->setRenderTarget(blurTarget_);
    rasterizer_->clear(ras::CLEAR_Color, {0, 0, 0, 0}, 1.0f, 0);
  } else {
    auto bindWeights = [this](RasRenTechnique& technique) {
      technique.program()->textureBlock()->setTexture(slots_[SLOT_BlurWeightsTexture], blurWeights_);
    };
    chain_->renderPostQuad("BloomGlowSourceCopy", first->getTexture(0), blurTarget_, kWholeScreen);
    chain_->renderPostQuad("BloomHorizontal13", blurTarget_->getTexture(0), first, kWholeScreen, bindWeights);
    chain_->renderPostQuad("BloomVertical13", first->getTexture(0), blurTarget_, kWholeScreen, bindWeights);
  }

  adaptedLuminance_ = adapt(adaptedLuminance_, targetLuminance_, dt);
}

void RasRenHdrPipeline::measureLuminance() {
  ka::Ref<Texture> source = downsampleChain_.back()->getTexture(0);
  chain_->renderPostQuad("Luminance", source, luminanceChain_[0], kWholeScreen, [this](RasRenTechnique& technique) {
    technique.program()->textureBlock()->setTexture(slots_[SLOT_ExposureWeighting], exposureTexture_);
  });
  // Each reduction averages 3 by 3 texels; the last, into one texel, also undoes the logarithm.
  auto reduce = [this](ka::RefNoCount<ras::RenderTarget> from, ka::RefNoCount<ras::RenderTarget> to, bool last) {
    chain_->renderPostQuad(
        "LuminanceDownsample", from->getTexture(0), to, kWholeScreen, [&](RasRenTechnique& technique) {
          technique.program()->textureBlock()->setTexture(slots_[SLOT_PostAlphaTexture], from->getTexture(1));
          technique.program()->parameterBlock()->setVector(slots_[SLOT_PostBrightParams],
                                                           {last ? 1.0f : 0.0f, 0, 0, 0});
        });
  };
  for (size_t i = 1; i < luminanceChain_.size(); ++i) reduce(luminanceChain_[i - 1], luminanceChain_[i], false);

  LuminanceOutput output;
  if (freeLuminanceTargets_.empty()) {
    output.target = makeTarget(1, 1, TF_R32F, TF_R8);
  } else {
    output.target = std::move(freeLuminanceTargets_.back());
    freeLuminanceTargets_.pop_back();
  }
  reduce(luminanceChain_.back(), output.target, true);
  output.fence = rasterizer_->addFence();
  output.target->prepareAsyncDownload(0);
  pendingLuminance_.push_back(std::move(output));
}

void RasRenHdrPipeline::readBackLuminance() {
  // A rasterizer without fences never answers: waiting would only pile up targets.
  while (!pendingLuminance_.empty() && !pendingLuminance_.front().fence) {
    freeLuminanceTargets_.push_back(std::move(pendingLuminance_.front().target));
    pendingLuminance_.pop_front();
  }
  if (pendingLuminance_.empty() || !pendingLuminance_.front().fence->isReady()) {
    // Not waited for: until the GPU catches up the exposure drifts towards neutral.
    targetLuminance_ = 1.0f;
    return;
  }
  LuminanceOutput oldest = std::move(pendingLuminance_.front());
  pendingLuminance_.pop_front();
  ka::Ref<ras::RenderTarget> previous = rasterizer_->setRenderTarget(oldest.target);
  oldest.target->processAsyncDownload(0, [this](void const* data) {
    float value;
    std::memcpy(&value, data, sizeof value);
    if (!std::isnan(value)) targetLuminance_ = value;
  });
  rasterizer_->setRenderTarget(previous);
  freeLuminanceTargets_.push_back(std::move(oldest.target));
}

void RasRenHdrPipeline::composeScene(ka::RefNoCount<ras::RenderTarget> target) {
  if (!sceneColor_ || !blurTarget_) return;
  chain_->renderPostQuad("HdrCompose", sceneColor_, target, kWholeScreen, [this](RasRenTechnique& technique) {
    float average = std::max(kMinimumAdaptedLuminance, adaptedLuminance_);
    technique.program()->parameterBlock()->setVector(slots_[SLOT_HdrAvgLuminance], {average, 0, 0, 0});
    technique.program()->textureBlock()->setTexture(slots_[SLOT_Bloom], blurTarget_->getTexture(0));
  });
  // The debug views: the bloom and the smallest downsampled picture in the bottom corners.
  if (visualization_ == ren::VIS_HdrDownsample && debugTarget_)
    chain_->renderPostQuad("Default", debugTarget_->getTexture(0), target, {-1, -1, 0.5f, 0.5f});
  if (visualization_ == ren::VIS_Bloom)
    chain_->renderPostQuad("Default", blurTarget_->getTexture(0), target, {0.5f, -1, 0.5f, 0.5f});
}

}  // namespace vorn
