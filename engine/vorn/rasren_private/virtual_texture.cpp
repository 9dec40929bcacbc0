#include "virtual_texture.h"

#include <algorithm>
#include <cmath>
#include <mutex>

#include "virtual_texture_engine.h"
#include "vt_page_table.h"

namespace vorn {

RasRenVirtualTexture::RasRenVirtualTexture(RasRenVirtualTextureEngine* engine, ka::Ref<VTSharedMutex> mutex,
                                           int id, int widthPages, int heightPages, int mips)
    : engine_(engine), mutex_(std::move(mutex)), id_(id), widthPages_(widthPages), heightPages_(heightPages) {
  maxMip_ = int(std::floor(std::log2(double(std::max({widthPages, heightPages, 1})))));
  // At least one level, so that a texture of a single page still draws.
  mipCount_ = std::max(1, std::min(maxMip_, mips));
  pageMap_ = engine->textureFactory()->createTexture(TF_A8R8G8B8, widthPages, heightPages, mipCount_,
                                                     TextureFilter(0), false, 0);
  clearPageMap();
}

void RasRenVirtualTexture::clearPageMap() {
  if (!pageMap_) return;
  for (int mip = 0; mip < mipCount_; ++mip) {
    size_t texels = size_t(std::max(widthPages_ >> mip, 1)) * size_t(std::max(heightPages_ >> mip, 1));
    std::vector<uint32_t> unmapped(texels, kVTNoPage);
    pageMap_->setBits(mip, unmapped.data(), 0, CUBE_PositiveX);
  }
}

RasRenVirtualTexture::~RasRenVirtualTexture() {
  if (engine_) engine_->textureGone(this);
}

Material RasRenVirtualTexture::getVirtualMaterial(Material const& material) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  if (!engine_) return material;
  Material copy = material;
  if (copy.defined()) copy.setShader("v" + copy.shader());
  copy.setTexture("PageMap", pageMap_);
  copy.setVec("VT_PAGEMAP_PARAMS", {float(widthPages_), float(heightPages_), 0, float(mipCount_ - 1)});
  copy.setVec("VT_ID", {float(id_), 0, 0, 0});
  copy.freeze();
  return copy;
}

void RasRenVirtualTexture::setPageMapper(ka::RefNoCount<ren::VTPageMapper> mapper) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  mapper_ = mapper.ref();
}

void RasRenVirtualTexture::invalidateRegions(std::vector<Region> const& regions) {
  std::lock_guard<VTSharedMutex> lock(*mutex_);
  dirtyRegions_.insert(dirtyRegions_.end(), regions.begin(), regions.end());
}

std::vector<RasRenVirtualTexture::Region> RasRenVirtualTexture::getDirtyRegions() {
  std::vector<Region> taken;
  taken.swap(dirtyRegions_);
  return taken;
}

bool RasRenVirtualTexture::mapPage(ren::VTPageInfo const& page, ren::VTDrawList& drawList) {
  return mapper_ && mapper_->mapPage(page, drawList);
}

void RasRenVirtualTexture::setPageMapTexel(int x, int y, int mip, int64_t slot, int cols) {
  if (!pageMap_ || mip >= mipCount_) return;
  uint32_t texel = slot < 0 ? kVTNoPage : pageMapTexel(slot, cols, maxMip_, mip);
  pageMap_->updateBits(mip, x, y, 1, 1, &texel, CUBE_PositiveX);
}

void RasRenVirtualTexture::orphan() {
  pageMap_ = nullptr;
  engine_ = nullptr;
}

}  // namespace vorn
