// One virtual texture: its id among the engine's sixteen, its page map (one texel a page and a
// level a mip, naming the cache cell that holds the page), its page mapper, and the regions a
// change made stale.
#pragma once

#include <array>
#include <vector>

#include <mutex>

#include "ka/counted.h"
#include "vorn/rasterizer.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRenVirtualTextureEngine;

// The engine's lock, shared with its textures. Recursive: a page mapper runs under it and may call
// back into its texture (to invalidate regions, say) on the same thread.
class VTSharedMutex : public ka::Counted {
 public:
  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

class RasRenVirtualTexture : public ren::VirtualTexture {
 public:
  using Region = std::array<float, 4>;

  // Sizes in pages; `mips` as asked for, limited to what the size allows.
  RasRenVirtualTexture(RasRenVirtualTextureEngine* engine, ka::Ref<VTSharedMutex> mutex, int id, int widthPages,
                       int heightPages, int mips);
  ~RasRenVirtualTexture() override;

  Material getVirtualMaterial(Material const& material) override;
  void setPageMapper(ka::RefNoCount<ren::VTPageMapper> mapper) override;
  void invalidateRegions(std::vector<Region> const& regions) override;
  // Takes the regions invalidated since the last call.
  std::vector<Region> getDirtyRegions();
  // Asks the page mapper for the page's draws; false without a mapper or when it declines.
  bool mapPage(ren::VTPageInfo const& page, ren::VTDrawList& drawList);
  // Every page unmapped, at every mip.
  void clearPageMap();
  // Writes one page's texel: `slot` -1 marks it unmapped.
  void setPageMapTexel(int x, int y, int mip, int64_t slot, int cols);
  // The engine is gone: materials stay as they are from now on.
  void orphan();

  int id() const { return id_; }
  int widthPages() const { return widthPages_; }
  int heightPages() const { return heightPages_; }
  int mipCount() const { return mipCount_; }
  int maxMip() const { return maxMip_; }
  ka::Ref<Texture> const& pageMap() const { return pageMap_; }

 private:
  RasRenVirtualTextureEngine* engine_;
  ka::Ref<VTSharedMutex> mutex_;
  int id_;
  int widthPages_, heightPages_;
  int mipCount_, maxMip_;
  ka::Ref<Texture> pageMap_;
  ka::Ref<ren::VTPageMapper> mapper_;
  std::vector<Region> dirtyRegions_;
};

}  // namespace vorn
