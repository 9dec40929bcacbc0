// UI quads through the quad builder: small pictures atlased at draw time into one draw that looks
// as the pictures do alone, batches of 85, draw order before material.
#include "vorn/rasren_private/quad_builder.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/picture_file.h"
#include "support/renderer_fixture.h"

namespace {

using namespace vorn;

// What the sRGB back buffer holds for a linear texel value.
int encoded(int linear) {
  double c = linear / 255.0;
  c = c <= 0.0031308 ? 12.92 * c : 1.055 * std::pow(c, 1 / 2.4) - 0.055;
  return int(std::lround(c * 255));
}

class QuadTest : public RendererFixture {
 protected:
  QuadTest() : RendererFixture(64, 64) {
    scene = ren->createScene();
    viewport = pixelViewport(scene);
    ren->addViewport(viewport);
  }

  // One colour, premultiplied, four bytes a texel as the texture's format stores them.
  ka::Ref<Texture> solid(int side, unsigned char value, bool srgb = false) {
    ka::Ref<Texture> t = ren->createTexture(TF_A8R8G8B8, side, side, 1, TF_AllLinear, srgb, 0);
    std::vector<unsigned char> bits(size_t(side * side * 4), value);
    for (size_t i = 3; i < bits.size(); i += 4) bits[i] = 255;
    t->setBits(0, bits.data(), 0, CUBE_PositiveX);
    return t;
  }
  // A quad over pixels x0..x1, y0..y1 (origin at the bottom left) showing the whole texture.
  ka::Ref<ren::UIQuadInstance> quad(ka::RefNoCount<Texture const> texture, float x0, float y0, float x1, float y1) {
    VertexP3C4bT2 corners[4] = {{{x0, y0, 0}, ~0u, {0, 0}},
                                {{x1, y0, 0}, ~0u, {1, 0}},
                                {{x1, y1, 0}, ~0u, {1, 1}},
                                {{x0, y1, 0}, ~0u, {0, 1}}};
    return scene->addUIQuad(corners, texture, ka::Mat4x4f::identity(), ren::TK_World);
  }
  Bytes frameAfterPresent() {
    presentOneFrame();
    return frame();
  }

  ka::Ref<ren::Scene> scene;
  ka::Ref<ren::SceneViewport> viewport;
};

TEST_F(QuadTest, SmallPicturesShareOneAtlasAndOneDrawAndLookAsTheyDoAlone) {
  // Mid grey in sRGB: drawn through an atlas of the wrong encoding it would come out 188, not 128.
  ka::Ref<Texture> grey = solid(8, 128, true), dark = solid(8, 40, true), light = solid(16, 220, false);
  auto alone = quad(grey, 8, 8, 24, 24);
  Bytes before = frameAfterPresent();
  EXPECT_EQ(events("draw indexed prim"), 1);

  auto second = quad(dark, 32, 8, 48, 24);
  auto third = quad(light, 8, 32, 24, 48);
  auto fourth = quad(solid(8, 90, true), 32, 32, 48, 48);
  Bytes after = frameAfterPresent();
  EXPECT_EQ(events("quads"), 4);
  EXPECT_EQ(events("draw indexed prim"), 2) << "one sRGB atlas and the linear picture alone";
  EXPECT_EQ(at(after, 16, 16), at(before, 16, 16)) << "the same brightness atlased as alone";
  EXPECT_EQ(at(after, 16, 16)[0], 128);
  EXPECT_EQ(at(after, 40, 16)[0], 40);
  EXPECT_EQ(at(after, 40, 40)[0], 90);
  EXPECT_NEAR(at(after, 16, 40)[0], encoded(220), 1) << "a linear picture, encoded by the target";
  EXPECT_EQ(at(after, 56, 56)[0], 0) << "nothing outside the quads";
  writeGLPicturePng("quads-atlased", width, height, 4, after);

  // New bits show at the next frame, atlas and all.
  std::vector<unsigned char> bits(8 * 8 * 4, 200);
  dark->setBits(0, bits.data(), 0, CUBE_PositiveX);
  EXPECT_EQ(at(frameAfterPresent(), 40, 16)[0], 200);

  // Without a texture a quad draws with its material's null texture, and nothing fails.
  auto bare = quad(nullptr, 50, 50, 60, 60);
  frameAfterPresent();
  EXPECT_EQ(events("quads"), 5);
  EXPECT_EQ(events("draw indexed prim"), 3);
  bare->remove();

  fourth->remove();
  third->remove();
  second->remove();
  alone->remove();
  frameAfterPresent();
  EXPECT_EQ(events("quads"), 0);
}

TEST_F(QuadTest, EightySixQuadsOfOneMaterialAreTwoBatches) {
  ka::Ref<Texture> big = solid(128, 200);  // too large to atlas: one material for all
  std::vector<ka::Ref<ren::UIQuadInstance>> quads;
  for (int i = 0; i < 86; ++i) quads.push_back(quad(big, float(i % 10) * 6, float(i / 10) * 6, float(i % 10) * 6 + 5, float(i / 10) * 6 + 5));
  Bytes pixels = frameAfterPresent();
  EXPECT_EQ(events("quads"), 86);
  EXPECT_EQ(events("draw indexed prim"), 2) << "85 quads fill a batch";
  EXPECT_NEAR(at(pixels, 2, 2)[0], encoded(200), 1);
  EXPECT_NEAR(at(pixels, 5 * 6 + 2, 8 * 6 + 2)[0], encoded(200), 1) << "the 86th quad, in the second batch";
}

TEST_F(QuadTest, DrawOrderDecidesWhatLiesOnTopAndKeepsDrawsApart) {
  ka::Ref<Texture> red = solid(128, 60), blue = solid(128, 180);
  auto top = quad(red, 0, 0, 32, 32);
  auto below = quad(blue, 16, 16, 48, 48);
  top->setDrawOrder(2);
  below->setDrawOrder(1);
  Bytes pixels = frameAfterPresent();
  EXPECT_NEAR(at(pixels, 24, 24)[0], encoded(60), 1) << "the higher order is drawn last, over the other";
  EXPECT_NEAR(at(pixels, 40, 40)[0], encoded(180), 1);
  EXPECT_EQ(events("draw indexed prim"), 2);

  // One material at two draw orders is still two draws.
  below->setTexture(red);
  frameAfterPresent();
  EXPECT_EQ(events("draw indexed prim"), 2);
  below->setDrawOrder(2);
  frameAfterPresent();
  EXPECT_EQ(events("draw indexed prim"), 1);
}

}  // namespace
