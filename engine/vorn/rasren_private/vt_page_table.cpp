#include "vt_page_table.h"

#include <algorithm>
#include <cmath>

namespace vorn {

VTAddress decodeFeedback(uint32_t v) {
  int mip = int((v >> 24) & 15);
  return {int((((v >> 8) & 0xf00) | (v & 255)) >> mip), int((((v >> 12) & 0xf00) | ((v >> 8) & 255)) >> mip), mip,
          int(v >> 28)};
}

uint32_t encodeFeedback(int x0, int y0, int mip, int textureId) {
  uint32_t x = uint32_t(x0), y = uint32_t(y0);
  return (x & 255) | (y & 255) << 8 | ((x >> 8) & 15) << 16 | ((y >> 8) & 15) << 20 | uint32_t(mip & 15) << 24 |
         uint32_t(textureId & 15) << 28;
}

uint32_t pageMapTexel(int64_t slot, int cols, int maxMip, int mip) {
  uint32_t cx = uint32_t(slot % cols), cy = uint32_t(slot / cols);
  return (cx & 255) | ((cy << 8) & 0xffff) | ((((cy >> 4) & 240) | ((cx >> 8) & 15)) << 16) |
         (uint32_t(maxMip - mip) << 24);
}

uint64_t vtBlockHash(uint16_t x, uint16_t y, uint8_t mip, uint8_t textureId) {
  uint8_t const key[6] = {uint8_t(x), uint8_t(x >> 8), uint8_t(y), uint8_t(y >> 8), mip, textureId};
  uint64_t hash = 0xaf63bd4c8601b7dfull;
  for (int i = 0; i < 6; ++i) {
    hash ^= key[i];
    if (i < 5) hash *= 0x100000001b3ull;  // the last byte is mixed in by the xor alone
  }
  return hash ? hash : 1;
}

void VTPageTable::reset(int slots, int pageSize) {
  blocks_.clear();
  for (auto& list : candidates_) list.clear();
  for (auto& list : dirty_) list.clear();
  candidateMip_ = kMipLevels - 1;
  candidateIndex_ = 0;
  dirtyMip_ = kMipLevels;
  slots_.assign(size_t(std::max(slots, 0)), nullptr);
  free_.clear();
  for (int64_t s = int64_t(slots) - 1; s >= 0; --s) free_.push_back(s);
  pageSize_ = pageSize;
}

VTBlock* VTPageTable::find(int x, int y, int mip, int textureId) {
  auto at = blocks_.find(Key{uint16_t(x), uint16_t(y), uint8_t(mip), uint8_t(textureId)});
  return at == blocks_.end() ? nullptr : &at->second;
}

VTBlock* VTPageTable::findOrCreate(int x, int y, int mip, int textureId) {
  Key key{uint16_t(x), uint16_t(y), uint8_t(mip), uint8_t(textureId)};
  auto [at, added] = blocks_.try_emplace(key);
  if (added) {
    VTBlock& block = at->second;
    block.x = key.x;
    block.y = key.y;
    block.mip = key.mip;
    block.textureId = key.textureId;
    block.hash = vtBlockHash(key.x, key.y, key.mip, key.textureId);
  }
  return &at->second;
}

void VTPageTable::markDirty(VTBlock* block) {
  if (block->dirty) return;
  block->dirty = 1;
  dirtyMip_ = std::min(dirtyMip_, int(block->mip));
  dirty_[block->mip].push_back(block);
}

void VTPageTable::markClean(VTBlock* block) {
  if (!block->dirty) return;
  block->dirty = 0;
  std::erase(dirty_[block->mip], block);
}

void VTPageTable::removeTexture(int textureId) {
  // Candidate lists keep their order for the cursor: the texture's entries become null.
  for (auto& list : candidates_)
    for (VTBlock*& block : list)
      if (block && block->textureId == textureId) block = nullptr;
  for (auto at = blocks_.begin(); at != blocks_.end();) {
    VTBlock& block = at->second;
    if (block.textureId != textureId) {
      ++at;
      continue;
    }
    if (block.slot >= 0) {
      slots_[size_t(block.slot)] = nullptr;
      free_.push_back(block.slot);
    }
    markClean(&block);
    at = blocks_.erase(at);
  }
}

void VTPageTable::clearOldPages() {
  for (auto& list : candidates_) {
    for (VTBlock* block : list)
      if (block) block->queued = 0;
    list.clear();
  }
  for (auto at = blocks_.begin(); at != blocks_.end();) {
    VTBlock& block = at->second;
    if (block.slot != -1) {
      ++at;
      continue;
    }
    markClean(&block);
    at = blocks_.erase(at);
  }
}

void VTPageTable::see(int x, int y, int mip, int textureId) {
  VTBlock* block = findOrCreate(x, y, mip, textureId);
  if (block->lastSeen == frame_) return;
  block->lastSeen = frame_;
  if (!block->queued && (block->dirty || block->slot == -1)) {
    block->queued = 1;
    ++requested_;
    candidates_[mip].push_back(block);
  }
  ++seen_;
}

void VTPageTable::updateActivePages(uint32_t const* pixels, size_t count) {
  ++frame_;
  clearOldPages();
  requested_ = seen_ = 0;
  uint32_t previous = kVTNoPage;
  for (size_t i = 0; i < count; ++i) {
    uint32_t value = pixels[i];
    // Runs of one page are common: a comparison each.
    if (value == previous || value == kVTNoPage) continue;
    previous = value;
    VTAddress page = decodeFeedback(value);
    if (page.mip >= kMipLevels) continue;
    see(page.x, page.y, page.mip, page.textureId);
    if (page.mip + 1 < kMipLevels) see(page.x >> 1, page.y >> 1, page.mip + 1, page.textureId);
  }
  adjustBias();
  candidateMip_ = kMipLevels - 1;
  candidateIndex_ = 0;
}

void VTPageTable::adjustBias() {
  int slots = int(slots_.size());
  float delta = 0;
  if (mipBias_ < 1.5f && requested_ > slots * 4 / 3) {
    delta = 3.0f;
  } else if (seen_ > slots) {
    delta = 0.1f;
  } else if (slots > 0 && seen_ < slots / 2) {
    delta = (float(seen_) / float(slots) - 1) * 0.1f;
  }
  float ceiling = std::ceil(std::log2(float(pageSize_))) - 1;
  mipBias_ = std::min(ceiling, std::max(-0.5f, mipBias_ + delta));
}

void VTPageTable::updateDirtyPages(int textureId, int widthPages, int heightPages,
                                   std::vector<std::array<float, 4>> const& regions) {
  if (regions.empty()) return;
  std::array<float, 4> box = regions.front();
  for (auto const& r : regions) {
    box[0] = std::min(box[0], r[0]);
    box[1] = std::min(box[1], r[1]);
    box[2] = std::max(box[2], r[2]);
    box[3] = std::max(box[3], r[3]);
  }
  auto overlaps = [](std::array<float, 4> const& a, float l, float t, float r, float b) {
    return a[0] < r && l < a[2] && a[1] < b && t < a[3];
  };
  bool touched[kMipLevels] = {};
  for (VTBlock* block : slots_) {
    if (!block || block->textureId != textureId || block->dirty || block->mip >= kMipLevels) continue;
    // Each axis by its own page count: a page of a wide texture is not square in 0 to 1.
    float across = float(std::max(widthPages >> block->mip, 1)), down = float(std::max(heightPages >> block->mip, 1));
    float l = block->x / across, t = block->y / down, r = l + 1 / across, b = t + 1 / down;
    if (!overlaps(box, l, t, r, b)) continue;
    if (std::none_of(regions.begin(), regions.end(), [&](auto const& region) { return overlaps(region, l, t, r, b); }))
      continue;
    markDirty(block);
    touched[block->mip] = true;
  }
  // Taken from the back: the most recently seen first.
  for (int mip = 0; mip < kMipLevels; ++mip)
    if (touched[mip])
      std::sort(dirty_[mip].begin(), dirty_[mip].end(),
                [](VTBlock const* a, VTBlock const* b) { return a->lastSeen < b->lastSeen; });
}

VTBlock* VTPageTable::getNextRequestedPage(TextureMips const& mips) {
  auto usable = [&](VTBlock const* block) {
    int count = mips(block->textureId);
    return count > 0 && block->mip < count;
  };
  auto nextDirty = [&]() -> VTBlock* {
    while (dirtyMip_ < kMipLevels) {
      auto& list = dirty_[dirtyMip_];
      if (list.empty()) {
        ++dirtyMip_;
        continue;
      }
      VTBlock* block = list.back();
      list.pop_back();
      block->dirty = 0;
      if ((block->queued || block->slot >= 0) && usable(block)) return block;
    }
    return nullptr;
  };
  auto nextCandidate = [&]() -> VTBlock* {
    while (candidateMip_ >= 0) {
      auto& list = candidates_[candidateMip_];
      if (candidateIndex_ >= list.size()) {
        --candidateMip_;
        candidateIndex_ = 0;
        continue;
      }
      VTBlock* block = list[candidateIndex_++];
      if (block && (block->slot < 0 || block->dirty) && usable(block)) return block;
    }
    return nullptr;
  };
  if (frame_ % 2 == 1) {
    if (VTBlock* block = nextDirty()) return block;
    return nextCandidate();
  }
  if (VTBlock* block = nextCandidate()) return block;
  return nextDirty();
}

int64_t VTPageTable::allocatePageSlot(VTBlock* block, VTBlock* evicted) {
  int64_t chosen = -1;
  if (!free_.empty()) {
    chosen = free_.back();
    free_.pop_back();
  } else {
    uint64_t bestScore = 0;
    int64_t best = -1, fallback = -1;
    for (size_t s = 0; s < slots_.size() && slots_[s]; ++s) {
      VTBlock const* held = slots_[s];
      if (held->dirty) {
        if (fallback < 0) fallback = int64_t(s);
        continue;
      }
      uint64_t score = frame_ - held->lastSeen;
      if (score >= 3) score |= uint64_t(1) << (14 - held->mip);
      if (score > bestScore) {
        bestScore = score;
        best = int64_t(s);
      }
    }
    if (bestScore == 0) best = fallback;
    if (best < 0) return -1;
    VTBlock* victim = slots_[size_t(best)];
    if (evicted) *evicted = *victim;
    victim->slot = -1;
    markClean(victim);
    slots_[size_t(best)] = nullptr;
    chosen = best;
  }
  slots_[size_t(chosen)] = block;
  block->slot = chosen;
  return chosen;
}

}  // namespace vorn
