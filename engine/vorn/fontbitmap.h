// The printable ASCII characters of a font in one texture, for text that draws many characters
// with one binding.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>

#include "vorn/font.h"
#include "vorn/material.h"
#include "vorn/rasterizer.h"

namespace vorn {

class FontBitmap {
 public:
  // A character's quad in font space from the pen (y up) and its texture coordinates.
  struct CharInfo {
    float x0, y0, x1, y1;
    float u0, v0, u1, v1;
  };

  // Ends the process with "Font texture too large" if the characters need more than 1024 a side.
  FontBitmap(ka::RefNoCount<Font const> font, TextureFactory* factory, MaterialLibrary* library);

  // Only for characters 32 to 127.
  CharInfo charInfo(char c) const;
  ka::Ref<Texture> const& texture() const { return texture_; }
  Material const& material() const { return material_; }
  int width() const { return width_; }
  int height() const { return height_; }

 private:
  static constexpr int kFirst = 32, kCount = 96;
  // Left, top, right, bottom in the atlas, and the x and y offsets from the pen.
  struct Placement {
    int16_t left, top, right, bottom, x, y;
  };

  ka::Ref<Texture> texture_;
  Material material_;
  int width_ = 16, height_ = 16;
  std::array<Placement, kCount> placements_{};
};

// One FontBitmap a font, made on first use and owned here.
class FontBitmapMemo {
 public:
  FontBitmapMemo(TextureFactory* factory, MaterialLibrary* library) : factory_(factory), library_(library) {}
  FontBitmap const& getOrCreateBitmap(ka::RefNoCount<Font const> font);

 private:
  TextureFactory* factory_;
  MaterialLibrary* library_;
  std::map<Font const*, std::unique_ptr<FontBitmap>> bitmaps_;
};

}  // namespace vorn
