#include "texture_atlas_builder.h"

#include <algorithm>
#include <cstring>

#include "texture.h"
#include "vorn/ras_formats.h"
#include "vorn/rasren.h"

namespace vorn {

namespace {

constexpr int kTile = 64;           // the cell of a new atlas and of its growth; the largest class
constexpr int kClasses = 7;         // 1, 2, 4 ... 64 texels
constexpr int kMaxAtlasSide = 2048;

// The smallest k with 2^k not below `size`; -1 for 0.
int sizeClass(int size) {
  if (size <= 0) return -1;
  int k = 0;
  while ((1 << k) < size) ++k;
  return k;
}

}  // namespace

// One atlas in the making, for one format and colour encoding.
class RasRenTextureAtlasBuilder::Helper {
 public:
  Helper(RasRen* ras, TextureFormat format, bool srgb) : ras_(ras), format_(format), srgb_(srgb) { reset(); }

  void addTexture(RasRenTexture const* texture, TextureRecord* record) {
    ka::Rect<int> cell;
    if (!findRect(texture->width(), texture->height(), cell)) {
      flush();
      findRect(texture->width(), texture->height(), cell);  // a fresh atlas always has room
    }
    placed_.push_back({texture, cell, record});
  }

  void flush();

 private:
  struct PlacedTexture {
    RasRenTexture const* texture;
    ka::Rect<int> cell;  // top left at (left, top)
    TextureRecord* record;
  };
  using FreeList = std::deque<ka::Rect<int>>;

  FreeList& freeList(int heightClass, int widthClass) { return free_[size_t(heightClass)][size_t(widthClass)]; }

  void reset() {
    placed_.clear();
    for (auto& row : free_)
      for (FreeList& list : row) list.clear();
    width_ = height_ = kTile;
    freeList(6, 6).push_back(ka::Rect<int>::fromSize(0, 0, kTile, kTile));
  }

  // Splits `r` in halves, the spare halves going back to their lists, until it is the
  // power-of-two rectangle round width by height (never below one texel).
  void halveDown(ka::Rect<int>& r, int width, int height) {
    while (r.height() / 2 >= std::max(height, 1)) {
      int h = r.height() / 2;
      freeList(sizeClass(h), sizeClass(r.width())).push_back({r.left, r.top + h, r.right, r.bottom});
      r.bottom = r.top + h;
    }
    while (r.width() / 2 >= std::max(width, 1)) {
      int w = r.width() / 2;
      freeList(sizeClass(r.height()), sizeClass(w)).push_back({r.left + w, r.top, r.right, r.bottom});
      r.right = r.left + w;
    }
  }

  // Adds the area x0..x1 by y0..y1 as 64 by 64 tiles, row by row.
  void addTiles(int x0, int y0, int x1, int y1) {
    for (int y = y0; y < y1; y += kTile)
      for (int x = x0; x < x1; x += kTile) freeList(6, 6).push_back(ka::Rect<int>::fromSize(x, y, kTile, kTile));
  }

  bool findRect(int width, int height, ka::Rect<int>& out) {
    int a = sizeClass(height), b = sizeClass(width);
    if (a < kClasses && b < kClasses) {
      for (int row = std::max(a, 0); row < kClasses; ++row) {
        for (int column = std::max(b, 0); column < kClasses; ++column) {
          FreeList& list = freeList(row, column);
          if (list.empty()) continue;
          out = list.front();
          list.pop_front();
          halveDown(out, width, height);
          return true;
        }
      }
    }
    // Grow the shorter side; a side never passes 2048.
    if (height_ < width_) {
      addTiles(0, height_, width_, 2 * height_);
      height_ *= 2;
    } else {
      if (width_ >= kMaxAtlasSide) return false;
      addTiles(width_, 0, 2 * width_, height_);
      width_ *= 2;
    }
    out = freeList(6, 6).front();
    freeList(6, 6).pop_front();
    halveDown(out, width, height);
    return true;
  }

  RasRen* ras_;
  TextureFormat format_;
  bool srgb_;
  int width_ = kTile, height_ = kTile;
  std::array<std::array<FreeList, kClasses>, kClasses> free_;  // [height class][width class]
  std::vector<PlacedTexture> placed_;
};

void RasRenTextureAtlasBuilder::Helper::flush() {
  if (placed_.size() == 1) {
    // No atlas is needed for one picture.
    PlacedTexture const& only = placed_.front();
    *only.record = TextureRecord{only.texture->rasterizerTexture()};
  } else if (placed_.size() > 1) {
    ka::Ref<Texture> atlas = ras_->rasterizer()->getTextureFactory()->createTexture(
        format_, width_, height_, 1, TF_AllLinear, srgb_, 1);
    TextureFormatInfo const& info = getTextureFormatInfo(format_);
    size_t const pitch = info.rowSize(size_t(width_)), rows = info.rowCount(size_t(height_));
    std::vector<unsigned char> pixels(pitch * rows, 0);
    float const inverseWidth = 1.0f / float(width_), inverseHeight = 1.0f / float(height_);
    for (PlacedTexture const& p : placed_) {
      // A picture larger than its cell runs over its neighbours, but never out of the atlas.
      size_t const at = size_t(p.cell.left) * info.bytesPerBlock / info.blockWidth;
      size_t const sourcePitch = info.rowSize(size_t(p.texture->width()));
      size_t const copied = std::min(sourcePitch, pitch - at);
      p.texture->readCpuBits(0, [&](std::vector<unsigned char> const& source) {
        size_t const sourceRows = source.size() / std::max<size_t>(sourcePitch, 1);
        for (size_t row = 0; row < sourceRows && size_t(p.cell.top) + row < rows; ++row)
          std::memcpy(&pixels[(size_t(p.cell.top) + row) * pitch + at], &source[row * sourcePitch], copied);
      });
      p.record->texture = atlas;
      p.record->transform[0][0] = float(p.texture->width()) * inverseWidth;
      p.record->transform[0][2] = float(p.cell.left) * inverseWidth;
      p.record->transform[1][1] = float(p.texture->height()) * inverseHeight;
      p.record->transform[1][2] = float(p.cell.top) * inverseHeight;
    }
    atlas->setBits(0, pixels.data(), pitch, CUBE_PositiveX);
  }
  reset();
}

RasRenTextureAtlasBuilder::RasRenTextureAtlasBuilder(RasRen* ras) : ras_(ras) {}

RasRenTextureAtlasBuilder::~RasRenTextureAtlasBuilder() = default;

void RasRenTextureAtlasBuilder::addTexture(ka::RefNoCount<RasRenTexture const> texture) {
  auto [record, added] = records_.try_emplace(texture.get());
  if (!added) return;
  size_t slot = size_t(texture->format()) * 2 + (texture->srgb() ? 1 : 0);
  if (slot >= helpers_.size()) return;
  std::unique_ptr<Helper>& helper = helpers_[slot];
  if (!helper) helper = std::make_unique<Helper>(ras_, texture->format(), texture->srgb());
  helper->addTexture(texture.get(), &record->second);
}

void RasRenTextureAtlasBuilder::bakeTextures() {
  for (std::unique_ptr<Helper>& helper : helpers_) {
    if (!helper) continue;
    helper->flush();
    helper.reset();
  }
}

RasRenTextureAtlasBuilder::TextureRecord* RasRenTextureAtlasBuilder::findTexturePlacement(
    ka::RefNoCount<RasRenTexture const> texture) const {
  auto it = records_.find(texture.get());
  return it == records_.end() ? nullptr : &it->second;
}

}  // namespace vorn
