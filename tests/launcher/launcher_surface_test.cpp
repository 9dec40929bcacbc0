// The launcher's picture path on a headless context: B, G, R, A page bytes into the surface
// texture, the quad drawn through the page's effect, and the frame read back.
#include "launcher_surface.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/picture_file.h"
#include "support/renderer_fixture.h"

namespace {

constexpr int kWidth = 256, kHeight = 8;

double toLinear(double srgb) { return srgb <= 0.04045 ? srgb / 12.92 : std::pow((srgb + 0.055) / 1.055, 2.4); }
double toSrgb(double linear) {
  return linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

class LauncherSurfaceTest : public RendererFixture {
 protected:
  LauncherSurfaceTest() : RendererFixture(kWidth, kHeight) {
    texture = launcher::createSurfaceTexture(*ren, kWidth, kHeight);
    viewport = ren->createSceneViewport({0, 0, kWidth, kHeight}, nullptr);
    viewport->setProjectionMatrix(launcher::surfaceProjection(*ren, kWidth, kHeight));
    viewport->setScene(launcher::makeSurfaceScene(*ren, library.get(), texture.get(), kWidth, kHeight).get());
    ren->addViewport(viewport.get());
  }

  // Page bytes, B, G, R, A, row 0 at the top: every byte value in each colour channel of a row.
  static Bytes pattern(unsigned char alpha) {
    Bytes page(size_t(kWidth) * kHeight * 4);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        unsigned char* p = &page[(size_t(y) * kWidth + size_t(x)) * 4];
        p[0] = (unsigned char)x;
        p[1] = (unsigned char)(x * 7 + y * 31);
        p[2] = (unsigned char)(255 - x + y * 13);
        p[3] = alpha;
        // Premultiplied: no channel may exceed alpha.
        for (int c = 0; c < 3; ++c) p[c] = (unsigned char)(p[c] * alpha / 255);
      }
    }
    return page;
  }

  ka::Ref<vorn::Texture> texture;
  ka::Ref<vorn::ren::SceneViewport> viewport;
};

TEST_F(LauncherSurfaceTest, AnOpaquePictureReachesTheFrameExactly) {
  Bytes page = pattern(255);
  texture->setBits(0, page.data(), 0, vorn::CUBE_PositiveX);
  ren->present();
  Bytes shown = frame();
  writeGLPicturePng("launcher-surface-opaque", kWidth, kHeight, 4, shown);
  int differing = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      // The frame reads bottom-up; the page's row 0 is the top.
      unsigned char const* p = &page[(size_t(kHeight - 1 - y) * kWidth + size_t(x)) * 4];
      differing += at(shown, x, y) != Bytes{p[2], p[1], p[0], 255};
    }
  }
  EXPECT_EQ(differing, 0);
}

TEST_F(LauncherSurfaceTest, AHalfTransparentPictureBlendsPremultipliedOverWhatIsThere) {
  ka::Color4f const background{0.2f, 0.5f, 0.8f, 1};
  fillBackBuffer(background);
  Bytes page = pattern(128);
  texture->setBits(0, page.data(), 0, vorn::CUBE_PositiveX);
  ren->present();
  Bytes shown = frame();
  writeGLPicturePng("launcher-surface-blended", kWidth, kHeight, 4, shown);
  // Blending is done on linear values: the texture and the frame are both sRGB.
  double const under[3] = {background.r, background.g, background.b};
  int worst = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      unsigned char const* p = &page[(size_t(kHeight - 1 - y) * kWidth + size_t(x)) * 4];
      double alpha = p[3] / 255.0;
      unsigned char const source[3] = {p[2], p[1], p[0]};
      Bytes got = at(shown, x, y);
      for (int c = 0; c < 3; ++c) {
        double linear = toLinear(source[c] / 255.0) + under[c] * (1 - alpha);
        int expected = int(std::lround(toSrgb(std::min(linear, 1.0)) * 255));
        worst = std::max(worst, std::abs(expected - int(got[size_t(c)])));
      }
    }
  }
  EXPECT_LE(worst, 1);
}

TEST_F(LauncherSurfaceTest, ThePictureOfAnotherSizeIsNotTakenAndTheBlankOneShowsFirst) {
  // A resize in flight: the new texture's first picture is blank, and a picture of the old size
  // is no texture's.
  EXPECT_EQ(texture->width() * texture->height() * 4, kWidth * kHeight * 4);
  Bytes blank(size_t(kWidth) * kHeight * 4, 0);
  texture->setBits(0, blank.data(), 0, vorn::CUBE_PositiveX);
  fillBackBuffer({0, 1, 0, 1});
  ren->present();
  // Fully transparent: what was there stays.
  EXPECT_EQ(at(frame(), 10, 3), (Bytes{0, 255, 0, 255}));
}

}  // namespace
