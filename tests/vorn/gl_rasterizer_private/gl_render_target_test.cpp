#include "vorn/gl_rasterizer_private/gl_render_target.h"

#include <chrono>
#include <cstring>
#include <thread>

#include "gl_fixture.h"
#include "support/picture_file.h"
#include "support/poll.h"

namespace {

using namespace vorn;
using namespace vorn::ras;
using Bytes = std::vector<unsigned char>;

class GLRenderTargetTest : public GLFixture {};

TEST_F(GLRenderTargetTest, TheDefaultTargetIsGammaCorrectAndResizingToTheSameSizeKeepsIt) {
  ras->resize(16, 8);
  ka::Ref<RenderTarget> first = ras->getDefaultRenderTarget();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->width(), 16);
  EXPECT_EQ(first->height(), 8);
  EXPECT_EQ(first->depthFormat(), TF_D24S8);
  ka::Ref<RenderTarget> scratch = ras->getBackBufferScratchTarget(0, 1);
  ras->resize(16, 8);
  EXPECT_EQ(ras->getDefaultRenderTarget(), first);
  EXPECT_EQ(ras->getBackBufferScratchTarget(0, 1), scratch) << "the same size keeps the scratch targets";

  ras->beginScene();
  clearTo({0.5f, 0.5f, 0.5f, 1});
  Bytes pixels = read(first, 0, 4);
  // 0.5 linear is 188 in sRGB.
  EXPECT_EQ(pixel(pixels, 16, 3, 3), (Bytes{188, 188, 188, 255}));

  ras->resize(8, 8);
  EXPECT_NE(ras->getDefaultRenderTarget(), first);
  EXPECT_NE(ras->getBackBufferScratchTarget(0, 1), scratch);
  ras->endScene();
}

TEST_F(GLRenderTargetTest, TheFourByteFormatsKeepTheirByteOrderInMemory) {
  // R, G, B, A in memory for A8R8G8B8; B, G, R, A for A8B8G8R8: the UI's B, G, R, A pictures rely
  // on the first and swizzle in their material.
  struct Case {
    TextureFormat format;
    Bytes expected;
  } const cases[] = {{TF_A8R8G8B8, {255, 128, 0, 64}}, {TF_A8B8G8R8, {0, 128, 255, 64}}};
  for (Case const& c : cases) {
    ka::Ref<RenderTarget> t = target(4, 4, c.format);
    ras->setRenderTarget(t);
    clearTo({1.0f, 128 / 255.0f, 0.0f, 64 / 255.0f});
    EXPECT_EQ(pixel(read(t, 0, 4), 4, 1, 2), c.expected) << c.format;
  }
}

TEST_F(GLRenderTargetTest, EveryFormatTheRendererDrawsIntoMakesACompleteTarget) {
  struct Case {
    TextureFormat format;
    bool srgb;
  } const cases[] = {{TF_X8R8G8B8, true}, {TF_A8R8G8B8, true}, {TF_A8R8G8B8, false}, {TF_R8, false},
                     {TF_RGBA16F, false}, {TF_R16F, false}, {TF_R32F, false}};
  for (Case const& c : cases) {
    ka::Ref<RenderTarget> t = target(4, 4, c.format, 1, TF_D24S8, c.srgb);
    ras->setRenderTarget(t);
    EXPECT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE)) << c.format;
  }
  // The deferred renderer's four attachments with depth and stencil.
  ka::Ref<RenderTarget> gbuffer = target(4, 4, TF_A8R8G8B8, 4, TF_D24S8);
  ras->setRenderTarget(gbuffer);
  EXPECT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
}

TEST_F(GLRenderTargetTest, HalfFloatsReadBackAtTwoBytesAChannel) {
  // As 32-bit floats the read would write twice the bytes a buffer sized by the format holds.
  ka::Ref<RenderTarget> t = target(3, 2, TF_R16F);
  ras->setRenderTarget(t);
  clearTo({0.5f, 0, 0, 1});
  Bytes pixels = read(t, 0, 2);
  EXPECT_EQ(pixel(pixels, 3, 2, 1, 2), (Bytes{0x00, 0x38})) << "0.5 as a half float";
}

TEST_F(GLRenderTargetTest, ScratchTargetsAreHalvedBackBuffersKeptPerIndexAndShift) {
  ras->resize(1024, 768);
  ka::Ref<RenderTarget> half = ras->getBackBufferScratchTarget(0, 1);
  ASSERT_TRUE(half);
  EXPECT_EQ(half->width(), 512);
  EXPECT_EQ(half->height(), 384);
  EXPECT_EQ(ras->getBackBufferScratchTarget(0, 1), half);
  EXPECT_NE(ras->getBackBufferScratchTarget(1, 1), half);
  // 768 >> 12 is 0: nothing is made, and nothing is kept to answer the next call.
  EXPECT_FALSE(ras->getBackBufferScratchTarget(0, 12));
  EXPECT_FALSE(ras->getBackBufferScratchTarget(0, 12));
}

TEST_F(GLRenderTargetTest, DrawMasksChooseTheAttachmentsThatAClearReaches) {
  struct Case {
    int mask;
    bool first, second, third;
  } const cases[] = {
      {-1, true, true, true}, {1, true, false, false}, {3, true, true, false}, {2, false, true, false},
      {5, true, false, true}, {0, false, false, false},
  };
  for (Case const& c : cases) {
    ka::Ref<RenderTarget> t = target(4, 4, TF_A8R8G8B8, 3);
    ras->setRenderTarget(t);
    t->setDrawMask(-1);
    clearTo({0, 0, 0, 1});
    t->setDrawMask(c.mask);
    clearTo({1, 1, 1, 1});
    bool reached[3] = {c.first, c.second, c.third};
    for (int a = 0; a < 3; ++a) {
      unsigned char expected = reached[a] ? 255 : 0;
      EXPECT_EQ(pixel(read(t, a, 4), 4, 0, 0)[0], expected) << "mask " << c.mask << ", attachment " << a;
    }
    ras->setRenderTarget(nullptr);
  }
}

TEST_F(GLRenderTargetTest, AViewportLimitsClearsCountingRowsFromTheTop) {
  ka::Ref<RenderTarget> t = target(16, 16, TF_A8R8G8B8);
  ras->setRenderTarget(t);
  clearTo({0, 0, 0, 1});
  // Rows 2 to 5 from the top, columns 4 to 11.
  t->setViewport({4, 2, 12, 6});
  clearTo({1, 0, 0, 1});
  Bytes pixels = read(t, 0, 4);
  EXPECT_TRUE(writeGLPicturePng("gl-viewport-clear", 16, 16, 4, pixels));
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) {
      int fromTop = 15 - y;
      bool inside = x >= 4 && x < 12 && fromTop >= 2 && fromTop < 6;
      ASSERT_EQ(pixel(pixels, 16, x, y)[0], inside ? 255 : 0) << x << "," << fromTop << " from the top";
    }
  }
}

TEST_F(GLRenderTargetTest, ASuperTargetDrawsIntoTheAttachmentsItShares) {
  ka::Ref<RenderTarget> base = target(4, 4, TF_A8R8G8B8, 2, TF_D24S8);
  ras->setRenderTarget(base);
  clearTo({0, 0, 0, 1});
  TextureFormat formats[2] = {TF_A8R8G8B8, TF_R8};
  bool srgb[2] = {false, false};
  int share[2] = {1, -1};
  ka::Ref<RenderTarget> super = base->createSuperTarget(2, formats, srgb, share, TF_D24S8, true);
  EXPECT_EQ(super->getTexture(0), base->getTexture(1));
  EXPECT_NE(super->getTexture(1), base->getTexture(0));
  EXPECT_EQ(super->getDepthTexture(), base->getDepthTexture());
  ras->setRenderTarget(super);
  super->setDrawMask(1);
  clearTo({0, 1, 0, 1});
  EXPECT_EQ(pixel(read(base, 1, 4), 4, 2, 2), (Bytes{0, 255, 0, 255}));
  EXPECT_EQ(pixel(read(base, 0, 4), 4, 2, 2), (Bytes{0, 0, 0, 255}));
}

TEST_F(GLRenderTargetTest, CopiesReachTexturesAndOtherTargetsAndTheSourceStaysCurrent) {
  ka::Ref<RenderTarget> source = target(8, 8, TF_A8R8G8B8);
  ka::Ref<RenderTarget> destination = target(8, 8, TF_A8R8G8B8);
  ras->setRenderTarget(destination);
  clearTo({0, 0, 0, 1});
  ras->setRenderTarget(source);
  clearTo({0, 0, 1, 1});
  source->copy(0, destination, 0, CLEAR_Color, 0, 0, 4, 4, 4, 4, TextureFilter(0));
  // Draws after the copy still land in the source.
  clearTo({1, 0, 0, 1});
  Bytes copied = read(destination, 0, 4);
  EXPECT_EQ(pixel(copied, 8, 5, 5), (Bytes{0, 0, 255, 255}));
  EXPECT_EQ(pixel(copied, 8, 2, 2), (Bytes{0, 0, 0, 255}));
  EXPECT_EQ(pixel(read(source, 0, 4), 8, 5, 5), (Bytes{255, 0, 0, 255}));

  // Into a texture: the texture is read through a third target that has it as its attachment.
  ka::Ref<RenderTarget> holder = target(8, 8, TF_A8R8G8B8);
  ka::Ref<Texture> texture = holder->getTexture(0);
  ras->setRenderTarget(holder);
  clearTo({0, 0, 0, 1});
  source->copy(0, texture, 0, 0, 0, 2, 2, 2, 2);
  Bytes held = read(holder, 0, 4);
  EXPECT_EQ(pixel(held, 8, 3, 3), (Bytes{255, 0, 0, 255}));
  EXPECT_EQ(pixel(held, 8, 5, 5), (Bytes{0, 0, 0, 255}));
}

TEST_F(GLRenderTargetTest, AnAsynchronousReadEqualsThePlainReadOnceItsFenceIsReady) {
  ka::Ref<RenderTarget> t = target(8, 4, TF_A8R8G8B8);
  ras->setRenderTarget(t);
  clearTo({0.25f, 0.5f, 0.75f, 1});
  t->setViewport({0, 0, 4, 4});
  clearTo({1, 1, 1, 1});
  t->prepareAsyncDownload(0);
  ka::Ref<Fence> fence = ras->addFence();
  EXPECT_TRUE(pollUntil([&] { return fence->isReady(); }));
  Bytes async;
  t->processAsyncDownload(0, [&](void const* data) {
    auto const* bytes = static_cast<unsigned char const*>(data);
    async.assign(bytes, bytes + 8 * 4 * 4);
  });
  EXPECT_EQ(async, read(t, 0, 4));
  EXPECT_DEATH(t->processAsyncDownload(0, [](void const*) {}), "has not been prepared for async download");
  ras->setRenderTarget(nullptr);
  EXPECT_DEATH(t->prepareAsyncDownload(0), "must be bound to perform an async download");
}

TEST_F(GLRenderTargetTest, ATargetWithNothingAttachedHasNoFrameBuffer) {
  ka::Ref<RenderTarget> empty = ras->createRenderTarget(0, nullptr, nullptr, TF_D0, 4, 4, 1, TF_AllLinear);
  ras->setRenderTarget(empty);
  EXPECT_EQ(static_cast<GLRenderTarget*>(empty.get())->framebuffer(), 0u);
  GLint bound = -1;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &bound);
  EXPECT_EQ(bound, 0);

  ka::Ref<RenderTarget> depthOnly = ras->createRenderTarget(0, nullptr, nullptr, TF_D24S8, 4, 4, 1, TF_AllLinear);
  ras->setRenderTarget(depthOnly);
  EXPECT_NE(static_cast<GLRenderTarget*>(depthOnly.get())->framebuffer(), 0u);
  EXPECT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
}

}  // namespace
