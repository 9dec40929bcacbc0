// The bookkeeping of virtual texturing, apart from the GPU: which pages the feedback asked for,
// which cache slot holds which page, which pages a change made stale, and what to render next.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

namespace vorn {

// One known page of one virtual texture.
struct VTBlock {
  uint16_t x = 0, y = 0;
  uint8_t mip = 0, textureId = 0;
  uint8_t queued = 0, dirty = 0;
  uint64_t lastSeen = 0;
  uint64_t hash = 0;
  int64_t slot = -1;  // -1: not in the cache
};

// A feedback pixel's request: the page at mip-0 resolution shifted down to its mip.
struct VTAddress {
  int x, y, mip, textureId;
};

// Nothing wanted at this feedback pixel.
inline constexpr uint32_t kVTNoPage = 0xFFFFFFFFu;

VTAddress decodeFeedback(uint32_t value);
// What the feedback shader writes for the page at (x0, y0) in mip-0 pages.
uint32_t encodeFeedback(int x0, int y0, int mip, int textureId);
// The page map's texel for a page of `mip` held in cache slot `slot`.
uint32_t pageMapTexel(int64_t slot, int cols, int maxMip, int mip);
// FNV-1a over x, y (little-endian), mip and texture id; never 0.
uint64_t vtBlockHash(uint16_t x, uint16_t y, uint8_t mip, uint8_t textureId);

class VTPageTable {
 public:
  // Feedback asks for mips below this; 14 and 15 are skipped.
  static constexpr int kMipLevels = 14;

  // What the table needs to know of a texture: whether its id is live, and its mip count.
  using TextureMips = std::function<int(int textureId)>;  // 0 when the id names no texture

  // Forgets every page and makes `slots` free slots; the first taken is slot 0.
  void reset(int slots, int pageSize);
  // One read-back of the feedback: the frame advances, and the pages seen are queued.
  void updateActivePages(uint32_t const* pixels, size_t count);
  // Resident pages of `textureId` whose rectangle meets the box of `regions` and one of them
  // become dirty; a region is (left, top, right, bottom) in 0 to 1.
  void updateDirtyPages(int textureId, int widthPages, int heightPages, std::vector<std::array<float, 4>> const& regions);
  // The next page to render, alternating between stale and wanted pages by frame; null if none.
  VTBlock* getNextRequestedPage(TextureMips const& mips);
  // A free slot, or the slot of the page that has gone longest unseen (fine pages first), whose
  // page then leaves the cache and is reported in `evicted`; -1 when every page is needed.
  int64_t allocatePageSlot(VTBlock* block, VTBlock* evicted);
  // The pages of a texture that is gone leave the table and the cache at once, so that its id can
  // be given to a new texture straight away.
  void removeTexture(int textureId);
  VTBlock* findOrCreate(int x, int y, int mip, int textureId);
  // A page is on its mip's stale list exactly while it is marked dirty.
  void markDirty(VTBlock* block);
  void markClean(VTBlock* block);
  VTBlock* find(int x, int y, int mip, int textureId);

  uint64_t frame() const { return frame_; }
  float mipBias() const { return mipBias_; }
  void setMipBias(float bias) { mipBias_ = bias; }
  int slotCount() const { return int(slots_.size()); }
  size_t blockCount() const { return blocks_.size(); }
  VTBlock const* slot(int index) const { return slots_[size_t(index)]; }
  int requested() const { return requested_; }
  int seen() const { return seen_; }

 private:
  struct Key {
    uint16_t x, y;
    uint8_t mip, textureId;
    bool operator==(Key const&) const = default;
  };
  struct KeyHash {
    size_t operator()(Key const& k) const { return size_t(vtBlockHash(k.x, k.y, k.mip, k.textureId)); }
  };

  void see(int x, int y, int mip, int textureId);
  void adjustBias();
  void clearOldPages();

  std::unordered_map<Key, VTBlock, KeyHash> blocks_;
  std::vector<VTBlock*> slots_;
  std::vector<int64_t> free_;
  std::vector<VTBlock*> candidates_[kMipLevels];
  std::vector<VTBlock*> dirty_[kMipLevels];
  int candidateMip_ = kMipLevels - 1;
  size_t candidateIndex_ = 0;
  int dirtyMip_ = kMipLevels;
  uint64_t frame_ = 0;
  float mipBias_ = 0;
  int pageSize_ = 128;
  int requested_ = 0, seen_ = 0;
};

}  // namespace vorn
