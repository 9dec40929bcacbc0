#include "fontbitmap.h"

#include <algorithm>
#include <vector>

#include "ka/die.h"

namespace vorn {

namespace {

constexpr int kMaxSide = 1024;
constexpr uint32_t kGlyphCategory = 6;

}  // namespace

FontBitmap::FontBitmap(ka::RefNoCount<Font const> font, TextureFactory* factory, MaterialLibrary* library) {
  std::array<BitmapBox, kCount> boxes;
  int widest = 0, tallest = 0;
  for (int i = 0; i < kCount; ++i) {
    boxes[size_t(i)] = font->getBitmapBox(kFirst + i);
    widest = std::max(widest, boxes[size_t(i)].width);
    tallest = std::max(tallest, boxes[size_t(i)].height);
  }
  // Rows from left to right with a pixel between characters; the atlas doubles, its narrower side
  // first, until they fit.
  for (bool fits = false; !fits;) {
    fits = true;
    int x = 1, y = 1, rowHeight = 0;
    for (int i = 0; i < kCount && fits; ++i) {
      BitmapBox const& box = boxes[size_t(i)];
      if (box.width > width_ - 2 || box.height > height_ - 2) {
        fits = false;
        break;
      }
      if (x + box.width + 1 > width_) {
        x = 1;
        y += rowHeight + 1;
        rowHeight = 0;
      }
      rowHeight = std::max(rowHeight, box.height);
      if (y + rowHeight + 1 > height_) fits = false;
      placements_[size_t(i)] = {int16_t(x), int16_t(y), int16_t(x + box.width), int16_t(y + box.height),
                                int16_t(box.x), int16_t(box.y)};
      x += box.width + 1;
    }
    if (fits) break;
    if (width_ <= height_) width_ *= 2;
    else height_ *= 2;
    if (width_ > kMaxSide || height_ > kMaxSide) ka::die("Font texture too large");
  }

  // White, premultiplied as every texel the unlit effects draw: coverage in all four channels.
  std::vector<unsigned char> pixels(size_t(width_ * height_) * 4, 0);
  std::vector<unsigned char> glyph(size_t(std::max(1, widest * tallest)));
  for (int i = 0; i < kCount; ++i) {
    BitmapBox const& box = boxes[size_t(i)];
    Placement const& at = placements_[size_t(i)];
    if (box.width <= 0 || box.height <= 0) continue;
    std::fill(glyph.begin(), glyph.end(), 0);
    font->rasterizeBitmap(kFirst + i, glyph.data(), box.width, box.height, widest);
    for (int row = 0; row < box.height; ++row)
      for (int column = 0; column < box.width; ++column)
        std::fill_n(&pixels[(size_t(at.top + row) * size_t(width_) + size_t(at.left + column)) * 4], 4,
                    glyph[size_t(row * widest + column)]);
  }
  texture_ = factory->createTexture(TF_A8R8G8B8, width_, height_, 1, TF_AllLinear, false, kGlyphCategory);
  texture_->setBits(0, pixels.data(), 0, CUBE_PositiveX);
  material_ = Material(library, "textured_unlit_transparent_nohdr");
  material_.setTexture("Texture", texture_);
  material_.freeze();
}

FontBitmap::CharInfo FontBitmap::charInfo(char c) const {
  Placement const& p = placements_[size_t((unsigned char)c - kFirst)];
  float const w = float(width_), h = float(height_);
  float const glyphHeight = float(p.bottom - p.top);
  return {float(p.x),          -float(p.y) - glyphHeight, float(p.x) + float(p.right - p.left), -float(p.y),
          float(p.left) / w,   float(p.bottom) / h,       float(p.right) / w,                    float(p.top) / h};
}

FontBitmap const& FontBitmapMemo::getOrCreateBitmap(ka::RefNoCount<Font const> font) {
  std::unique_ptr<FontBitmap>& bitmap = bitmaps_[font.get()];
  if (!bitmap) bitmap = std::make_unique<FontBitmap>(font, factory_, library_);
  return *bitmap;
}

}  // namespace vorn
