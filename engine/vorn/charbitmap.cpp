#include "charbitmap.h"

#include <algorithm>
#include <vector>

namespace vorn {

namespace {

constexpr uint32_t kGlyphCategory = 6;

// The smallest power of two from 2 up that holds `size`.
int textureSide(int size) {
  int side = 2;
  while (side < size) side *= 2;
  return side;
}

}  // namespace

CharBitmap::CharBitmap(ka::RefNoCount<Font const> font, unsigned codepoint, TextureFactory* factory,
                       MaterialLibrary* library) {
  BitmapBox box = font->getBitmapBox(int(codepoint));
  int const textureWidth = textureSide(box.width + 2), textureHeight = textureSide(box.height + 2);
  // A border of a pixel on the top and the left, so that filtering doesn't bleed.
  std::vector<unsigned char> coverage(size_t(textureWidth * textureHeight), 0);
  if (box.width > 0 && box.height > 0)
    font->rasterizeBitmap(int(codepoint), &coverage[size_t(textureWidth + 1)], box.width, box.height, textureWidth);
  // White, premultiplied as every texel the unlit effects draw: coverage in all four channels.
  std::vector<unsigned char> pixels(coverage.size() * 4);
  for (size_t i = 0; i < coverage.size(); ++i) std::fill_n(&pixels[i * 4], 4, coverage[i]);
  texture = factory->createTexture(TF_A8R8G8B8, textureWidth, textureHeight, 1, TF_AllLinear, false, kGlyphCategory);
  texture->setBits(0, pixels.data(), 0, CUBE_PositiveX);
  material = Material(library, "textured_unlit_transparent_nohdr");
  material.setTexture("Texture", texture);
  material.freeze();
  x = float(box.x);
  y = -float(box.y + box.height);
  width = float(box.width);
  height = float(box.height);
  u0 = 1.0f / float(textureWidth);
  v0 = 1.0f / float(textureHeight);
  u1 = float(box.width + 1) / float(textureWidth);
  v1 = float(box.height + 1) / float(textureHeight);
  advance = font->getAdvance(int(codepoint));
}

CharBitmap const& CharBitmapCache::getBitmap(ka::RefNoCount<Font const> font, unsigned codepoint) {
  Key key{font.get(), codepoint};
  std::list<Key>& youngest = generations_[prunes_ % kGenerations];
  auto it = entries_.find(key);
  if (it == entries_.end()) {
    youngest.push_front(key);
    it = entries_.emplace(key, Entry{CharBitmap(font, codepoint, factory_, library_), prunes_, youngest.begin()}).first;
  } else if (it->second.generation != prunes_) {
    youngest.splice(youngest.begin(), generations_[it->second.generation % kGenerations], it->second.link);
    it->second.generation = prunes_;
  }
  return it->second.bitmap;
}

void CharBitmapCache::prune() {
  ++prunes_;
  // The list that becomes the youngest holds the glyphs last used kGenerations prunes ago.
  std::list<Key>& oldest = generations_[prunes_ % kGenerations];
  for (Key const& key : oldest) entries_.erase(key);
  oldest.clear();
}

}  // namespace vorn
