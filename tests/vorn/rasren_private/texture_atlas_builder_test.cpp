// The atlas builder: buddy placement by size class, growth to 2048 and a new atlas beyond, and
// atlas texels equal to their sources.
#include "vorn/rasren_private/texture_atlas_builder.h"

#include <gtest/gtest.h>

#include <set>

#include "support/renderer_fixture.h"
#include "vorn/gl_rasterizer_private/gl_texture.h"
#include "vorn/rasren_private/texture.h"

namespace {

using namespace vorn;
using Record = RasRenTextureAtlasBuilder::TextureRecord;

class AtlasTest : public RendererFixture {
 protected:
  AtlasTest() : RendererFixture(16, 16) {}

  // A small picture whose every byte says which texture and which texel it is.
  ka::Ref<Texture> picture(int width, int height, int seed, bool srgb = false) {
    ka::Ref<Texture> t = ren->createTexture(TF_A8R8G8B8, width, height, 1, TF_AllLinear, srgb, 0);
    std::vector<unsigned char> bits(size_t(width * height * 4));
    for (size_t i = 0; i < bits.size(); ++i) bits[i] = (unsigned char)(seed * 31 + i * 7);
    t->setBits(0, bits.data(), 0, CUBE_PositiveX);
    return t;
  }
  static RasRenTexture const* own(ka::Ref<Texture> const& t) { return static_cast<RasRenTexture const*>(t.get()); }
  // The texture as GL holds it, bytes in the order they were set.
  Bytes texels(ka::RefNoCount<Texture> texture) {
    ras->bindOnChannel(0, texture.get());
    Bytes out(size_t(texture->width() * texture->height() * 4));
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, out.data());
    return out;
  }
};

TEST_F(AtlasTest, OnePictureKeepsItsOwnTextureAndTwoShareA64By64AtlasInBuddyCells) {
  ka::Ref<Texture> alone = picture(10, 10, 1);
  {
    RasRenTextureAtlasBuilder builder(ren.get());
    builder.addTexture(own(alone));
    builder.bakeTextures();
    Record* r = builder.findTexturePlacement(own(alone));
    ASSERT_TRUE(r);
    EXPECT_EQ(r->texture.get(), own(alone)->rasterizerTexture().get());
    EXPECT_EQ(r->transform[0][0], 1.0f);
    EXPECT_EQ(r->transform[0][2], 0.0f);
  }
  ka::Ref<Texture> second = picture(10, 10, 2);
  RasRenTextureAtlasBuilder builder(ren.get());
  builder.addTexture(own(alone));
  builder.addTexture(own(second));
  builder.addTexture(own(alone));  // counts once
  builder.bakeTextures();
  Record* a = builder.findTexturePlacement(own(alone));
  Record* b = builder.findTexturePlacement(own(second));
  ASSERT_EQ(a->texture.get(), b->texture.get());
  EXPECT_EQ(a->texture->width(), 64);
  EXPECT_EQ(a->texture->height(), 64);
  EXPECT_FLOAT_EQ(a->transform[0][0], 10.0f / 64);
  EXPECT_FLOAT_EQ(a->transform[1][1], 10.0f / 64);
  EXPECT_EQ(a->transform[0][2], 0.0f);
  EXPECT_FLOAT_EQ(b->transform[0][2], 16.0f / 64) << "the 16 by 16 buddy to the right";
  EXPECT_EQ(b->transform[1][2], 0.0f);
  EXPECT_FALSE(builder.findTexturePlacement(own(picture(4, 4, 3))));

  // Every texel of each picture sits in its cell; the rest is zero.
  Bytes atlas = texels(a->texture);
  for (auto [texture, x0] : {std::pair{alone, 0}, std::pair{second, 16}}) {
    Bytes const& source = own(texture)->cpuBits(0);
    for (int y = 0; y < 10; ++y)
      EXPECT_EQ(0, std::memcmp(&atlas[size_t((y * 64 + x0) * 4)], &source[size_t(y * 10 * 4)], 40)) << "row " << y;
  }
  EXPECT_EQ(atlas[size_t((40 * 64 + 40) * 4)], 0);
}

TEST_F(AtlasTest, AtlasesGrowToTheirLimitAndAFullOneIsFinishedForANewOne) {
  std::vector<ka::Ref<Texture>> tiles;
  for (int i = 0; i < 1100; ++i) tiles.push_back(picture(64, 64, i));
  auto sizes = [&](size_t count) {
    RasRenTextureAtlasBuilder builder(ren.get());
    for (size_t i = 0; i < count; ++i) builder.addTexture(own(tiles[i]));
    builder.bakeTextures();
    std::set<std::pair<Texture*, std::pair<int, int>>> atlases;
    std::set<std::pair<float, float>> offsets;
    for (size_t i = 0; i < count; ++i) {
      Record* r = builder.findTexturePlacement(own(tiles[i]));
      atlases.insert({r->texture.get(), {r->texture->width(), r->texture->height()}});
      offsets.insert({r->transform[0][2] * float(r->texture->width()), r->transform[1][2] * float(r->texture->height())});
    }
    EXPECT_EQ(offsets.size(), std::min<size_t>(count, 1024)) << "no two tiles share a cell in one atlas";
    std::vector<std::pair<int, int>> out;
    for (auto const& a : atlases) out.push_back(a.second);
    std::sort(out.begin(), out.end());
    return out;
  };
  EXPECT_EQ(sizes(256), (std::vector<std::pair<int, int>>{{1024, 1024}}));
  EXPECT_EQ(sizes(300), (std::vector<std::pair<int, int>>{{2048, 1024}}));
  EXPECT_EQ(sizes(1100), (std::vector<std::pair<int, int>>{{1024, 512}, {2048, 2048}}));
}

TEST_F(AtlasTest, SrgbAndLinearPicturesGoToAtlasesOfTheirOwnEncoding) {
  ka::Ref<Texture> linear1 = picture(8, 8, 1), linear2 = picture(8, 8, 2);
  ka::Ref<Texture> srgb1 = picture(8, 8, 3, true), srgb2 = picture(8, 8, 4, true);
  RasRenTextureAtlasBuilder builder(ren.get());
  for (auto const& t : {linear1, srgb1, linear2, srgb2}) builder.addTexture(own(t));
  builder.bakeTextures();
  Texture* linearAtlas = builder.findTexturePlacement(own(linear1))->texture.get();
  Texture* srgbAtlas = builder.findTexturePlacement(own(srgb1))->texture.get();
  EXPECT_NE(linearAtlas, srgbAtlas);
  EXPECT_EQ(builder.findTexturePlacement(own(linear2))->texture.get(), linearAtlas);
  EXPECT_EQ(builder.findTexturePlacement(own(srgb2))->texture.get(), srgbAtlas);
}

}  // namespace
