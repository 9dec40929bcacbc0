// Virtual texturing: the scene's virtual-textured meshes are drawn at a quarter of the view's size
// into a feedback target that records, per pixel, the page and mip they want; read back a frame or
// more later, that feedback queues pages, the most wanted of which are drawn by their textures'
// page mappers into free cells of one shared cache, within 8 ms a frame, and published through
// each texture's page map. This is the design's downlevel engine, the one this renderer builds.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "draw_call.h"
#include "virtual_texture.h"
#include "vorn/vertex_pool.h"
#include "vt_page_table.h"

namespace vorn {

class RasRen;

class RasRenVirtualTextureEngine : public ren::VirtualTextureEngine {
 public:
  static constexpr int kMaxTextures = 16;
  // Diffuse, normal and material: formats, sRGB and filter of the cache's attachments.
  static constexpr TextureFormat sCacheTextureFormat[3] = {TF_A8R8G8B8, TF_R8G8, TF_A8R8G8B8};
  static constexpr bool sCacheTextureSRGB[3] = {true, false, false};
  static constexpr int kFeedbackMaxWidth = 320, kFeedbackMaxHeight = 240;
  static constexpr double kPageBudgetMs = 8.0;

  explicit RasRenVirtualTextureEngine(RasRen* renderer);
  virtual ~RasRenVirtualTextureEngine();

  // The default cache: 2048 by 2048 pixels in pages of 128.
  void init();
  void setCacheSize(int width, int height, int pageSize) override;
  void setCacheMipBias(float bias) override;
  ka::Ref<ren::VirtualTexture> createVirtualTexture(int width, int height, int mips) override;
  // Page mapping runs only while some virtual texture exists.
  bool isActive() const;
  // How long `fillPages` may draw pages each frame (8 ms). Unbounded, a run of frames ends with the
  // same pages however fast the machine is, as a picture compared with a golden one needs.
  void setPageBudget(double milliseconds) { pageBudgetMs_ = milliseconds; }

  // A target of a quarter of the viewport's size, at most 320 by 240; null under 4 pixels.
  ka::Ref<ras::RenderTarget> getFeedbackBuffer(int viewportWidth, int viewportHeight);
  // Starts the read of `target`, which is bound and drawn (null: no target this frame), and takes
  // in the reads that have finished, oldest first.
  void downloadFeedbackBuffer(ka::RefNoCount<ras::RenderTarget> target);
  // Drops every read in flight; the next frame starts the queue again.
  void flushDownloads();
  // A task that draws this frame's new textures' pages, or one that does nothing.
  std::function<void()> peekPageMappingCalls();
  // Draws the most wanted pages into the cache until none is left or 8 ms have passed.
  virtual void fillPages() = 0;
  // False when there is no texture or no page to draw.
  bool getNextRequestedPage(ren::VTPageInfo* info);

  // The cache's textures and parameters on a virtual-textured effect's program.
  void bindEffect(ras::HalShaderProgram& program);
  void updateBindingSlots();

  TextureFactory* textureFactory() const;
  void textureGone(RasRenVirtualTexture* texture);
  // The pages in the cache and the feedback target last read back, for tests and the picture in
  // picture of the feedback.
  VTPageTable const& pageTable() const { return table_; }
  ka::Ref<ras::RenderTarget> const& cacheTarget() const { return cache_; }
  ka::Ref<ras::RenderTarget> lastFeedback() const { return lastFeedback_; }
  float mipBias() const { return table_.mipBias() + cacheMipBias_; }
  int pageSize() const { return pageSize_; }
  int cols() const { return cols_; }

 protected:
  // What a page mapper drew, as the engine keeps it until the page is rendered.
  struct PageRect {
    float left, top, right, bottom;
    Material material;
    ka::Color4f colour;
  };
  class DrawList : public ren::VTDrawList {
   public:
    void addRect(float left, float top, float right, float bottom, Material const& material,
                 ka::Color4f const& colour) override {
      rects.push_back({left, top, right, bottom, material, colour});
    }
    std::vector<PageRect> rects;
    ka::Ref<RasMeshVertexBuffer> vertices;  // the rectangles' six vertices each, once prepared
  };

  // Under the lock: the page mapping of `fillPages`.
  void fillPagesLocked(DrawList& drawList);
  // Gives the page a cache slot and draws it; false when no slot is free.
  bool forcePageResident(ren::VTPageInfo const& page, DrawList& drawList);
  void renderPage(int64_t slot, ren::VTPageInfo const& page, DrawList& drawList);
  // The cache's bound target, within `rect`, to no page: black and a flat normal.
  void clearCache(ka::Rect<int> const& rect);
  // Writes the rectangles' vertices into a buffer of the subclass's pool; false when the pool has
  // no room left this frame, and the page waits for the next.
  virtual bool prepareRects(DrawList& drawList) = 0;
  // Draws them, transformed by `transform`.
  virtual void drawRects(DrawList const& drawList, ka::Mat4x4f const& transform) = 0;
  bool nextRequestedPage(ren::VTPageInfo* info);
  virtual void nextFrame() = 0;
  RasRenVirtualTexture* texture(int id) const;

  RasRen* renderer_;
  ka::Ref<VTSharedMutex> mutex_;

 private:
  void resetCache();
  void updateDirtyPages();
  void processFeedback(void const* pixels, int count);

  std::vector<RasRenVirtualTexture*> textures_ = std::vector<RasRenVirtualTexture*>(kMaxTextures, nullptr);
  std::vector<int> freeIds_;
  int nextId_ = 0;
  std::vector<int> newTextures_;
  VTPageTable table_;
  ka::Ref<ras::RenderTarget> cache_;
  bool cacheCleared_ = false;
  int cacheWidth_ = 2048, cacheHeight_ = 2048, pageSize_ = 128;
  int cols_ = 0, rows_ = 0;
  float cacheMipBias_ = 0;
  double pageBudgetMs_ = kPageBudgetMs;
  // Feedback targets of the current size: free ones, and those whose read is in flight.
  struct PendingRead {
    ka::Ref<ras::RenderTarget> target;
    ka::Ref<ras::Fence> fence;
  };
  std::vector<ka::Ref<ras::RenderTarget>> feedbackPool_;
  std::deque<PendingRead> pending_;
  ka::Ref<ras::RenderTarget> lastFeedback_;
  int feedbackWidth_ = 0, feedbackHeight_ = 0;
  bool flushing_ = false;
  std::vector<unsigned> slots_;
};

class RasRenVirtualTextureEngineDownlevel final : public RasRenVirtualTextureEngine {
 public:
  explicit RasRenVirtualTextureEngineDownlevel(RasRen* renderer);
  void fillPages() override;

 private:
  bool prepareRects(DrawList& drawList) override;
  void drawRects(DrawList const& drawList, ka::Mat4x4f const& transform) override;
  void nextFrame() override;

  std::unique_ptr<RasVertexBucketPool> pool_;
  DrawList drawList_;
};

}  // namespace vorn
