#include "virtual_texture_engine.h"

#include <chrono>
#include <cmath>
#include <mutex>

#include "ka/die.h"
#include "ka/log.h"
#include "vorn/mesh_builder.h"
#include "vorn/rasren.h"

namespace vorn {

namespace {

// Binding slots in the order `updateBindingSlots` looks them up.
enum Slot {
  SLOT_VTDiffuse,
  SLOT_VTNormal,
  SLOT_VTMaterial,
  SLOT_CacheParams,
  SLOT_UvParams,
  SLOT_SampleAdj,
  SLOT_MipParams,
  SLOT_ViewProj,
  SLOT_WorldViewProj,
  SLOT_World,
  SLOT_Count
};
char const* const kSlotNames[SLOT_Count] = {"VTDiffuse",     "VTNormal",         "VTMaterial",
                                            "VT_CACHE_PARAMS", "VT_UV_PARAMS",   "VT_SAMPLE_ADJ",
                                            "VT_MIP_PARAMS", "ViewProjTransform", "WorldViewProjTransform",
                                            "WorldTransform"};

}  // namespace

RasRenVirtualTextureEngine::RasRenVirtualTextureEngine(RasRen* renderer)
    : renderer_(renderer), mutex_(new VTSharedMutex) {
  updateBindingSlots();
}

RasRenVirtualTextureEngine::~RasRenVirtualTextureEngine() {
  for (RasRenVirtualTexture* texture : textures_)
    if (texture) texture->orphan();
}

TextureFactory* RasRenVirtualTextureEngine::textureFactory() const { return renderer_->rasterizer()->getTextureFactory(); }

void RasRenVirtualTextureEngine::updateBindingSlots() {
  MaterialBindingTable* table = renderer_->rasterizer()->getBindingTable();
  slots_.clear();
  for (char const* name : kSlotNames) slots_.push_back(table->getSlot(name));
}

void RasRenVirtualTextureEngine::resetCache() {
  // Every texture's pages go with the old cache.
  for (RasRenVirtualTexture* texture : textures_)
    if (texture) texture->clearPageMap();
  flushDownloads();
  cols_ = cacheWidth_ / pageSize_;
  rows_ = cacheHeight_ / pageSize_;
  table_.reset(cols_ * rows_, pageSize_);
  table_.setMipBias(0);
  TextureFormat formats[3] = {sCacheTextureFormat[0], sCacheTextureFormat[1], sCacheTextureFormat[2]};
  bool srgb[3] = {sCacheTextureSRGB[0], sCacheTextureSRGB[1], sCacheTextureSRGB[2]};
  cache_ = renderer_->rasterizer()->createRenderTarget(3, formats, srgb, TF_D0, cacheWidth_, cacheHeight_, 1,
                                                      TF_AllLinear);
  cacheCleared_ = false;
}

void RasRenVirtualTextureEngine::init() { resetCache(); }

void RasRenVirtualTextureEngine::setCacheSize(int width, int height, int pageSize) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  if (pageSize < 8 || width < pageSize || height < pageSize) {
    KA_LOG(Error) << "Virtual texture cache of " << width << " by " << height << " in pages of " << pageSize
                  << " refused";
    return;
  }
  cacheWidth_ = width;
  cacheHeight_ = height;
  pageSize_ = pageSize;
  resetCache();
}

void RasRenVirtualTextureEngine::setCacheMipBias(float bias) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  cacheMipBias_ = bias;
}

ka::Ref<ren::VirtualTexture> RasRenVirtualTextureEngine::createVirtualTexture(int width, int height, int mips) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  if (!cache_) resetCache();
  int id;
  if (!freeIds_.empty()) {
    id = freeIds_.back();
    freeIds_.pop_back();
  } else if (nextId_ < kMaxTextures) {
    id = nextId_++;
  } else {
    ka::die("Too many virtual textures allocated");
  }
  int widthPages = std::max(width / pageSize_, 1), heightPages = std::max(height / pageSize_, 1);
  ka::Ref<RasRenVirtualTexture> texture(new RasRenVirtualTexture(this, mutex_, id, widthPages, heightPages, mips));
  textures_[size_t(id)] = texture.get();
  if (!flushing_) newTextures_.push_back(id);
  return texture;
}

void RasRenVirtualTextureEngine::textureGone(RasRenVirtualTexture* texture) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  int id = texture->id();
  if (textures_[size_t(id)] != texture) return;
  textures_[size_t(id)] = nullptr;
  freeIds_.push_back(id);
  std::erase(newTextures_, id);
  table_.removeTexture(id);
}

RasRenVirtualTexture* RasRenVirtualTextureEngine::texture(int id) const {
  return id >= 0 && id < kMaxTextures ? textures_[size_t(id)] : nullptr;
}

bool RasRenVirtualTextureEngine::isActive() const {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  // Read literally, "as many textures as free ids" holds with none at all: mapping then would
  // only cost time.
  return std::any_of(textures_.begin(), textures_.end(), [](auto* texture) { return texture != nullptr; });
}

ka::Ref<ras::RenderTarget> RasRenVirtualTextureEngine::getFeedbackBuffer(int viewportWidth, int viewportHeight) {
  int width = viewportWidth >> 2, height = viewportHeight >> 2;
  if (width <= 0 || height <= 0) return nullptr;
  if (width > kFeedbackMaxWidth || height > kFeedbackMaxHeight) {
    if (height <= width) {
      height = height * kFeedbackMaxWidth / width;
      width = kFeedbackMaxWidth;
    } else {
      width = width * kFeedbackMaxHeight / height;
      height = kFeedbackMaxHeight;
    }
  }
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  if (width != feedbackWidth_ || height != feedbackHeight_) {
    flushDownloads();
    feedbackWidth_ = width;
    feedbackHeight_ = height;
  }
  // A few frames in flight are enough; beyond that the GPU is far behind and feedback can wait.
  if (pending_.size() >= 4) return nullptr;
  if (!feedbackPool_.empty()) {
    ka::Ref<ras::RenderTarget> target = feedbackPool_.back();
    feedbackPool_.pop_back();
    return target;
  }
  TextureFormat format = TF_A8R8G8B8;
  bool srgb = false;
  return renderer_->rasterizer()->createRenderTarget(1, &format, &srgb, TF_D24, width, height, 1, TextureFilter(0));
}

void RasRenVirtualTextureEngine::flushDownloads() {
  for (PendingRead& read : pending_) read.target->cancelAsyncDownload(0);
  pending_.clear();
  feedbackPool_.clear();
  flushing_ = true;
}

void RasRenVirtualTextureEngine::updateDirtyPages() {
  for (RasRenVirtualTexture* texture : textures_) {
    if (!texture) continue;
    std::vector<RasRenVirtualTexture::Region> regions = texture->getDirtyRegions();
    table_.updateDirtyPages(texture->id(), texture->widthPages(), texture->heightPages(), regions);
  }
}

void RasRenVirtualTextureEngine::downloadFeedbackBuffer(ka::RefNoCount<ras::RenderTarget> target) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  updateDirtyPages();
  if (flushing_) {
    // The first frame after a flush only starts the queue again.
    flushing_ = false;
    newTextures_.clear();
  }
  if (target && target->width() == feedbackWidth_ && target->height() == feedbackHeight_) {
    target->prepareAsyncDownload(0);
    pending_.push_back({ka::Ref<ras::RenderTarget>(target.get()), renderer_->rasterizer()->addFence()});
  }
  // Every finished read, so that the queue drains as fast as it fills.
  while (!pending_.empty() && pending_.front().fence->isReady()) {
    PendingRead oldest = pending_.front();
    pending_.pop_front();
    int count = oldest.target->width() * oldest.target->height();
    oldest.target->processAsyncDownload(0, [&](void const* pixels) { processFeedback(pixels, count); });
    lastFeedback_ = oldest.target;
    feedbackPool_.push_back(oldest.target);
  }
}

void RasRenVirtualTextureEngine::processFeedback(void const* pixels, int count) {
  table_.updateActivePages(static_cast<uint32_t const*>(pixels), size_t(count));
}

std::function<void()> RasRenVirtualTextureEngine::peekPageMappingCalls() {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  if (newTextures_.empty()) return [] {};
  return [this] {
    {
      std::lock_guard<VTSharedMutex> lock(*mutex_);
      newTextures_.clear();
    }
    fillPages();
  };
}

bool RasRenVirtualTextureEngine::getNextRequestedPage(ren::VTPageInfo* info) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  return nextRequestedPage(info);
}

bool RasRenVirtualTextureEngine::nextRequestedPage(ren::VTPageInfo* info) {
  if (!isActive()) return false;
  VTBlock* block = table_.getNextRequestedPage([this](int id) {
    RasRenVirtualTexture* t = texture(id);
    return t ? t->mipCount() : 0;
  });
  if (!block) return false;
  RasRenVirtualTexture* t = texture(block->textureId);
  float across = float(std::max(t->widthPages() >> block->mip, 1));
  float down = float(std::max(t->heightPages() >> block->mip, 1));
  info->left = block->x / across;
  info->top = block->y / down;
  info->right = (block->x + 1) / across;
  info->bottom = (block->y + 1) / down;
  info->x = block->x;
  info->y = block->y;
  info->mip = block->mip;
  info->textureId = block->textureId;
  return true;
}

void RasRenVirtualTextureEngine::bindEffect(ras::HalShaderProgram& program) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  if (!cache_) return;
  ras::HalTextureBlock* textures = program.textureBlock();
  for (int i = 0; i < 3; ++i) textures->setTexture(slots_[size_t(SLOT_VTDiffuse + i)], cache_->getTexture(i));
  ras::HalParameterBlock* parameters = program.parameterBlock();
  float w = float(cacheWidth_), h = float(cacheHeight_), page = float(pageSize_);
  parameters->setVector(slots_[SLOT_CacheParams], {w, h, page, std::ceil(std::log2(page))});
  parameters->setVector(slots_[SLOT_UvParams], {1 - 4 / page, 2 / page, page / w, page / h});
  parameters->setVector(slots_[SLOT_SampleAdj], {1 / w, 1 / h, 0.5f / w, 0.5f / h});
  parameters->setVector(slots_[SLOT_MipParams], {mipBias(), 0, 0, 0});
}

bool RasRenVirtualTextureEngine::forcePageResident(ren::VTPageInfo const& page, DrawList& drawList) {
  VTBlock* block = table_.findOrCreate(page.x, page.y, page.mip, page.textureId);
  if (block->slot < 0) {
    VTBlock evicted;
    evicted.slot = -1;
    int64_t slot = table_.allocatePageSlot(block, &evicted);
    if (slot < 0) return false;
    if (evicted.slot >= 0)
      if (RasRenVirtualTexture* owner = texture(evicted.textureId))
        owner->setPageMapTexel(evicted.x, evicted.y, evicted.mip, -1, cols_);
  }
  renderPage(block->slot, page, drawList);
  texture(page.textureId)->setPageMapTexel(page.x, page.y, page.mip, block->slot, cols_);
  table_.markClean(block);
  return true;
}

void RasRenVirtualTextureEngine::clearCache(ka::Rect<int> const& rect) {
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  // The viewport sets the scissor too: only `rect` is cleared.
  cache_->setViewport(rect);
  cache_->setDrawMask(5);  // diffuse and material
  rasterizer->clear(ras::CLEAR_Color, {0, 0, 0, 0}, 1.0f, 0);
  cache_->setDrawMask(2);  // a flat normal
  rasterizer->clear(ras::CLEAR_Color, {0.5f, 0.5f, 0.5f, 1}, 1.0f, 0);
  cache_->setDrawMask(-1);
}

void RasRenVirtualTextureEngine::renderPage(int64_t slot, ren::VTPageInfo const& page, DrawList& drawList) {
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  int cx = int(slot % cols_), row = int(slot / cols_);
  // The viewport counts rows from the top; the cache is sampled from the bottom.
  if (rasterizer->hasBottomLeftOrigin()) row = rows_ - 1 - row;
  clearCache({cx * pageSize_, row * pageSize_, (cx + 1) * pageSize_, (row + 1) * pageSize_});
  // Texture space to the page's 0 to 1, inset by 2 texels a side, to clip space.
  float scaleX = 2 * (1 - 4.0f / float(pageSize_)) / (page.right - page.left);
  float scaleY = 2 * (1 - 4.0f / float(pageSize_)) / (page.bottom - page.top);
  float offset = 2 * (rasterizer->needHalfPixelOffset() ? 2.5f : 2.0f) / float(pageSize_) - 1;
  ka::Mat4x4f transform{};
  transform.m[0][0] = scaleX;
  transform.m[3][0] = offset - page.left * scaleX;
  transform.m[1][1] = scaleY;
  transform.m[3][1] = offset - page.top * scaleY;
  transform.m[2][2] = 1;
  transform.m[3][3] = 1;
  drawRects(drawList, transform);
}

void RasRenVirtualTextureEngine::fillPagesLocked(DrawList& drawList) {
  if (!isActive() || !cache_) return;
  auto start = std::chrono::steady_clock::now();
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  ka::Ref<ras::RenderTarget> previous = rasterizer->setRenderTarget(cache_);
  if (!cacheCleared_) {
    clearCache({0, 0, cacheWidth_, cacheHeight_});
    cacheCleared_ = true;
  }
  ren::VTPageInfo page;
  while (nextRequestedPage(&page)) {
    drawList.rects.clear();
    drawList.vertices = nullptr;
    if (!texture(page.textureId)->mapPage(page, drawList)) break;
    if (!prepareRects(drawList)) {
      // No room to draw it this frame: a stale page stays stale until then.
      if (VTBlock* block = table_.find(page.x, page.y, page.mip, page.textureId); block && block->slot >= 0)
        table_.markDirty(block);
      break;
    }
    if (!forcePageResident(page, drawList)) {
      // Every cell holds a page seen this frame: ask for coarser pages.
      table_.setMipBias(table_.mipBias() + 0.5f);
      break;
    }
    std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
    if (spent.count() > pageBudgetMs_) break;
  }
  nextFrame();
  cache_->setViewport({0, 0, cacheWidth_, cacheHeight_});
  rasterizer->setRenderTarget(previous);
}

RasRenVirtualTextureEngineDownlevel::RasRenVirtualTextureEngineDownlevel(RasRen* renderer)
    : RasRenVirtualTextureEngine(renderer) {}

void RasRenVirtualTextureEngineDownlevel::fillPages() {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  fillPagesLocked(drawList_);
}

void RasRenVirtualTextureEngineDownlevel::nextFrame() {
  if (pool_) pool_->nextFrame();
}

bool RasRenVirtualTextureEngineDownlevel::prepareRects(DrawList& drawList) {
  std::vector<PageRect> const& rects = drawList.rects;
  if (rects.empty()) return true;
  // Made on first use: the pool is a fixed budget of buffers made all at once.
  if (!pool_) pool_ = std::make_unique<RasVertexBucketPool>(*renderer_, VF_Position3Color4bTexCoord2);
  int capacity = 0;
  drawList.vertices = pool_->getBuffer(int(rects.size()) * 6, capacity);
  if (!drawList.vertices) return false;
  std::vector<VertexP3C4bT2> vertices;
  vertices.reserve(rects.size() * 6);
  for (PageRect const& r : rects) {
    uint32_t colour = r.colour.toColor4b().packed();
    VertexP3C4bT2 a{{r.left, r.top, 0}, colour, {0, 0}}, b{{r.right, r.top, 0}, colour, {1, 0}};
    VertexP3C4bT2 c{{r.right, r.bottom, 0}, colour, {1, 1}}, d{{r.left, r.bottom, 0}, colour, {0, 1}};
    for (VertexP3C4bT2 const& v : {a, b, c, c, d, a}) vertices.push_back(v);
  }
  drawList.vertices->setBits(vertices.data(), vertices.size() * sizeof(VertexP3C4bT2));
  return true;
}

void RasRenVirtualTextureEngineDownlevel::drawRects(DrawList const& drawList, ka::Mat4x4f const& transform) {
  std::vector<PageRect> const& rects = drawList.rects;
  if (rects.empty() || !drawList.vertices) return;
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  rasterizer->setStreamSource(drawList.vertices.get());
  MaterialBindingTable* table = rasterizer->getBindingTable();
  unsigned transformSlot = table->getSlot("WorldViewProjTransform");
  for (size_t first = 0; first < rects.size();) {
    // Runs of one material draw together.
    size_t end = first + 1;
    while (end < rects.size() && rects[end].material == rects[first].material) ++end;
    Material material = renderer_->getRasterizerMaterial(rects[first].material);
    ka::Ref<RasRenEffect> effect = material.defined() ? renderer_->getRasRenEffect(material.shader(), false) : nullptr;
    RasRenTechnique* technique = nullptr;
    if (effect) technique = effect->selectTechnique(effect->hasTechnique("RenderVTPage") ? "RenderVTPage" : "Default");
    if (technique && technique->program()) {
      technique->program()->parameterBlock()->setMatrix(transformSlot, transform);
      technique->setParameters(material.getBoundParameterBlock(table), true, true);
      technique->begin();
      rasterizer->drawPrimitive(PRIM_Triangles, int(first) * 6, int(end - first) * 2);
      technique->end();
    }
    first = end;
  }
}

}  // namespace vorn
