// A GL rasterizer on a headless context, and small helpers to make targets and read them back.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/egl_context.h"
#include "vorn/gl_rasterizer_private/gl_rasterizer.h"
#include "vorn/profiler.h"

class GLFixture : public ::testing::Test {
 protected:
  using GLRasterizer = vorn::ras::GLRasterizer;

  GLFixture() { ras->init(); }
  ~GLFixture() override { ras.reset(); }

  // A target of `count` colour attachments of one format, without sRGB, with no depth unless asked.
  ka::Ref<vorn::ras::RenderTarget> target(int width, int height, vorn::TextureFormat format, int count = 1,
                                          vorn::TextureFormat depth = vorn::TF_D0, bool srgb = false) {
    std::vector<vorn::TextureFormat> formats(size_t(count), format);
    bool flags[8] = {srgb, srgb, srgb, srgb, srgb, srgb, srgb, srgb};
    return ras->createRenderTarget(count, formats.data(), flags, depth, width, height, 1, vorn::TF_AllLinear);
  }

  // A whole attachment's bytes, rows bottom-up.
  std::vector<unsigned char> read(ka::RefNoCount<vorn::ras::RenderTarget> t, int attachment, int bytesPerPixel) {
    std::vector<unsigned char> pixels(size_t(t->width()) * size_t(t->height()) * size_t(bytesPerPixel) + 16, 0xAB);
    EXPECT_TRUE(t->downloadTextureData(attachment, pixels.data()));
    // Nothing may be written past the image.
    for (size_t i = pixels.size() - 16; i < pixels.size(); ++i) EXPECT_EQ(pixels[i], 0xAB) << "written past the end";
    pixels.resize(pixels.size() - 16);
    return pixels;
  }

  // Pixel (x, y) counted from the bottom-left, as GL reads.
  static std::vector<unsigned char> pixel(std::vector<unsigned char> const& pixels, int width, int x, int y,
                                          int bytesPerPixel = 4) {
    auto at = pixels.begin() + (ptrdiff_t(y) * width + x) * bytesPerPixel;
    return {at, at + bytesPerPixel};
  }

  void clearTo(ka::Color4f const& colour) { ras->clear(vorn::ras::CLEAR_Color, colour, 1.0f, 0); }

  EglContext context;
  vorn::Profiler profiler;
  std::unique_ptr<GLRasterizer> ras = std::make_unique<GLRasterizer>(profiler, nullptr);
};
