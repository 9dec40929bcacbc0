// HDR: bloom from the bright parts of the scene, the scene's average luminance read back a frame or
// more late (never waiting for the GPU), an exposure that adapts to it over time, and the picture
// tone-mapped to display range. Every pass is a technique of the effect "Post".
#pragma once

#include <array>
#include <deque>
#include <vector>

#include "ka/counted.h"
#include "vorn/rasterizer.h"

namespace vorn {

class RasRen;
class RasRenRenderChain;

class RasRenHdrPipeline : public ka::Counted {
 public:
  // One bilinear fetch of the separable blur on each side: the pair of taps it folds.
  struct BlurTap {
    float weight, offset;
  };
  // The 13-tap Gaussian (sigma 2, gain 1.25) folded into four fetches.
  static std::array<BlurTap, 4> blurWeights();
  // The adapted luminance after `dtMs` milliseconds of moving towards `target`, never past it.
  static float adapt(float adapted, float target, float dtMs);
  static constexpr int kLuminanceSizes[] = {243, 81, 27, 9, 3};
  // Neither the first smaller side nor the blur go below this.
  static constexpr int kFullSizeLimit = 256;

  // `exposureWeighting` null: a white texel, every pixel weighs alike.
  RasRenHdrPipeline(RasRen* renderer, RasRenRenderChain* chain, ka::RefNoCount<Texture const> exposureWeighting);

  // Rebuilds the targets that depend on the G-buffer's size.
  void bind(ka::RefNoCount<ras::RenderTarget> gBuffer);
  // Bloom, luminance and adaptation for a frame drawn at `timeMs`.
  void apply(float timeMs);
  // The tone-mapped scene with its bloom, into `target`.
  void composeScene(ka::RefNoCount<ras::RenderTarget> target);
  // One of the HDR debug views of ren::Visualization, or none.
  void setVisualization(int visualization) { visualization_ = visualization; }

  float targetLuminance() const { return targetLuminance_; }
  float adaptedLuminance() const { return adaptedLuminance_; }
  std::vector<ka::Ref<ras::RenderTarget>> const& downsampleChain() const { return downsampleChain_; }
  ras::RenderTarget* blurTarget() const { return blurTarget_.get(); }
  size_t pendingReadBacks() const { return pendingLuminance_.size(); }

 private:
  struct LuminanceOutput {
    ka::Ref<ras::Fence> fence;
    ka::Ref<ras::RenderTarget> target;
  };
  enum Slot {
    SLOT_HdrAvgLuminance,
    SLOT_PostAlphaTexture,
    SLOT_PostBrightParams,
    SLOT_Bloom,
    SLOT_BlurWeightsTexture,
    SLOT_ExposureWeighting,
    SLOT_Count
  };

  ka::Ref<ras::RenderTarget> makeTarget(int width, int height, TextureFormat first, TextureFormat second);
  void measureLuminance();
  void readBackLuminance();

  RasRenRenderChain* chain_;
  ras::Rasterizer* rasterizer_;
  ka::Ref<Texture> sceneColor_;
  std::vector<ka::Ref<ras::RenderTarget>> downsampleChain_;
  ka::Ref<ras::RenderTarget> blurTarget_;
  std::vector<ka::Ref<ras::RenderTarget>> luminanceChain_;
  std::deque<LuminanceOutput> pendingLuminance_;
  std::vector<ka::Ref<ras::RenderTarget>> freeLuminanceTargets_;
  ka::Ref<Texture const> exposureTexture_;
  ka::Ref<ras::RenderTarget> debugTarget_;
  ka::Ref<Texture> blurWeights_;
  float targetLuminance_ = 1.0f;
  float adaptedLuminance_ = 1.0f;
  int slots_[SLOT_Count];
  float lastTime_ = 0;
  int visualization_ = 0;
};

}  // namespace vorn
