// Packs the small textures of a frame's quads into few large ones, so that quads with different
// pictures draw with one texture binding. Free space is kept as power-of-two rectangles in a 7 by 7
// table of lists by size class (buddy allocation); an atlas grows by 64-texel tiles, a side at a
// time, up to 2048 by 2048, and a full one is finished and a new one begun.
#pragma once

#include <array>
#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "ka/rect.h"
#include "vorn/rasterizer.h"

namespace vorn {

class RasRen;
class RasRenTexture;

class RasRenTextureAtlasBuilder {
 public:
  // Where a texture went: what to bind, and how its texture coordinates map into it:
  // (u, v) -> (u * transform[0][0] + transform[0][2], v * transform[1][1] + transform[1][2]).
  struct TextureRecord {
    ka::Ref<Texture> texture;
    float transform[2][3] = {{1, 0, 0}, {0, 1, 0}};
  };

  explicit RasRenTextureAtlasBuilder(RasRen* ras);
  ~RasRenTextureAtlasBuilder();
  RasRenTextureAtlasBuilder(RasRenTextureAtlasBuilder const&) = delete;
  RasRenTextureAtlasBuilder& operator=(RasRenTextureAtlasBuilder const&) = delete;

  // A texture added twice counts once.
  void addTexture(ka::RefNoCount<RasRenTexture const> texture);
  // Finishes every atlas; placements are known from then on.
  void bakeTextures();
  // Only for an added texture, after bakeTextures; null for any other.
  TextureRecord* findTexturePlacement(ka::RefNoCount<RasRenTexture const> texture) const;

 private:
  class Helper;

  RasRen* ras_;
  mutable std::unordered_map<RasRenTexture const*, TextureRecord> records_;  // node-based: records stay put
  // One per format and sRGB together, so that an atlas keeps its textures' colour encoding.
  std::array<std::unique_ptr<Helper>, 2 * 33> helpers_;
};

}  // namespace vorn
