// Glyph pictures one small texture each, kept while frames draw them: a glyph that no frame has
// asked for during five prunes is dropped.
#pragma once

#include <array>
#include <list>
#include <map>
#include <utility>

#include "vorn/font.h"
#include "vorn/material.h"
#include "vorn/rasterizer.h"

namespace vorn {

struct CharBitmap {
  CharBitmap(ka::RefNoCount<Font const> font, unsigned codepoint, TextureFactory* factory, MaterialLibrary* library);

  ka::Ref<Texture> texture;
  Material material;  // "textured_unlit_transparent_nohdr" over the texture
  // The quad in font space from the pen, y up, and the texture coordinates of its corners.
  float x = 0, y = 0, width = 0, height = 0;
  float u0 = 0, v0 = 0, u1 = 0, v1 = 0;
  float advance = 0;
};

class CharBitmapCache {
 public:
  static constexpr int kGenerations = 5;

  CharBitmapCache(TextureFactory* factory, MaterialLibrary* library) : factory_(factory), library_(library) {}

  // Made on first use; the reference holds until the glyph is pruned.
  CharBitmap const& getBitmap(ka::RefNoCount<Font const> font, unsigned codepoint);
  // Once a frame: everything ages a generation, and the oldest goes.
  void prune();
  size_t size() const { return entries_.size(); }

 private:
  using Key = std::pair<Font const*, unsigned>;
  struct Entry {
    CharBitmap bitmap;
    uint64_t generation;  // the prune count when last used; its list is generation % kGenerations
    std::list<Key>::iterator link;
  };

  TextureFactory* factory_;
  MaterialLibrary* library_;
  uint64_t prunes_ = 0;
  std::array<std::list<Key>, kGenerations> generations_;  // a ring: the youngest at prunes_ % kGenerations
  std::map<Key, Entry> entries_;
};

}  // namespace vorn
