// The offscreen frame of one scene viewport: the G-buffer, the HDR pipeline, post passes that
// ping-pong between two targets and end on the result, overlays, and a double-buffered read-back.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "hdr_pipeline.h"
#include "ka/timer.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRen;
class RasRenEffect;
class RasRenSceneViewport;
class RasRenTechnique;

class RasRenRenderChain : public ren::RenderChain {
 public:
  // Called after the source is set and before the draw, to bind what else a pass reads.
  using PassSetup = std::function<void(RasRenTechnique&)>;
  RasRenRenderChain(RasRen* renderer, RasRenSceneViewport* viewport, float scale, bool hdr,
                    ka::RefNoCount<Texture const> exposureWeighting);
  ~RasRenRenderChain() override;

  void setResolutionScaling(float scale) override;
  void enableFXAA(bool enable) override { fxaa_ = enable; }
  void appendTechnique(std::string const& name) override { appendedTechniques_.push_back(name); }
  int addPip(ka::Rect<int> const& rect, ka::RefNoCount<Texture const> texture, std::string const& technique) override;
  void removePip(int id) override { pips_.erase(id); }
  void enableDownloadTarget(bool enable, int width, int height) override;
  void downloadTarget(void* dst) override;

  // The final picture goes there instead of the window's target; null goes back to the window's.
  void bindToResultTarget(ka::RefNoCount<ras::RenderTarget> target);
  // Makes the size-dependent targets again when the result's scaled size changed.
  void rebuildGBuffer();
  // The viewport's rectangle in the G-buffer's pixels, rows from the top.
  ka::Rect<int> scaledViewportRect() const;
  // The viewport is going: the chain no longer reads its rectangle.
  void detachViewport() { viewport_ = nullptr; }
  void setVisualization(int visualization);
  // Milliseconds for the eye adaptation; a steady clock from the chain's making unless set, which
  // pictures that must come out the same every run do.
  void setClock(std::function<float()> milliseconds) { clock_ = std::move(milliseconds); }
  // G-buffer attachments 1, 2 and 3 on the effect's current technique.
  void bindGBufferForRead(RasRenEffect& effect, int slotMaterial, int slotDepth, int slotNormal);

  // Draws the unit quad with a technique of "Post" ("Default" for an empty name) over `rect`,
  // (x, y, width, height) in clip space, of `target`, reading `texture`. Nothing without one.
  void renderPostQuad(std::string_view technique, ka::RefNoCount<Texture const> texture,
                      ka::RefNoCount<ras::RenderTarget> target, ka::Vec4<float> const& rect,
                      PassSetup const& setup = {});
  // The same with a technique of another effect, whose shaders place the quad alike.
  void renderPostQuad(RasRenEffect& effect, std::string_view technique, ka::RefNoCount<Texture const> texture,
                      ka::RefNoCount<ras::RenderTarget> target, ka::Vec4<float> const& rect,
                      PassSetup const& setup = {});
  // One colour attachment as the composition and download targets have them.
  ka::Ref<ras::RenderTarget> makeColourTarget(int width, int height, TextureFormat format = TF_A8R8G8B8,
                                             bool srgb = true);

  // The frame's steps, as the viewport runs them.
  void beginFrame();
  void beginSolid();
  void endSolid();
  void applyHDR();
  void endFrame();
  // The result, flipped to rows from the top, into the next download target.
  void doDownloadTargetCopy();

  // Where the viewport's frame ends: the result, or the composition target when an odd number of
  // appended passes is still to run.
  ka::Ref<ras::RenderTarget> frameTarget() const;
  ras::RenderTarget* gBuffer() const { return gBuffer_.get(); }
  ras::RenderTarget* sceneTarget() const { return sceneTarget_.get(); }
  ras::RenderTarget* composeTarget() const { return composeTarget_.get(); }
  ras::RenderTarget* resultTarget() const { return resultTarget_.get(); }
  ras::RenderTarget* downloadTargetAt(int index) const { return downloadTargets_[index].get(); }
  RasRenHdrPipeline* hdrPipeline() const { return hdrPipeline_.get(); }
  int width() const { return width_; }
  int height() const { return height_; }
  float scale() const { return scale_; }

 private:
  struct Pip {
    ka::Vec4<float> rect;
    ka::Ref<Texture const> texture;
    std::string technique;
  };
  enum Slot { SLOT_PosAndScale, SLOT_cameraPos, SLOT_Time, SLOT_PostSourceTexture, SLOT_Count };

  RasRen* renderer_;
  ras::Rasterizer* rasterizer_;
  RasRenSceneViewport* viewport_;
  ka::Ref<ras::RenderTarget> resultTarget_;
  bool followsDefaultTarget_ = true;
  ka::Ref<ras::RenderTarget> composeTarget_;
  ka::Ref<ras::RenderTarget> sceneTarget_;
  ka::Ref<ras::RenderTarget> downloadTargets_[2];
  ka::Ref<ras::RenderTarget> gBuffer_;
  ka::Ref<RasRenHdrPipeline> hdrPipeline_;
  int width_ = 0, height_ = 0;
  bool hdr_;
  float scale_;
  ka::Ref<RasRenEffect> postEffect_;
  std::vector<std::string> appendedTechniques_;
  int visualization_ = 0;
  bool downloadEnabled_ = false;
  int downloadWidth_ = 1280, downloadHeight_ = 720;
  int downloadIndex_ = 0;
  ka::Timer timer_;
  std::function<float()> clock_;
  std::map<int, Pip> pips_;
  int nextPip_ = 0;
  bool fxaa_ = false;
  int slots_[SLOT_Count];
};

}  // namespace vorn
