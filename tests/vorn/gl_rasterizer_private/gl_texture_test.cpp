#include "vorn/gl_rasterizer_private/gl_texture.h"

#include <cstring>
#include <thread>

#include "gl_fixture.h"

namespace {

using namespace vorn;
using namespace vorn::ras;
using Bytes = std::vector<unsigned char>;

class GLTextureTest : public GLFixture {
 protected:
  GLTexture* bound(ka::RefNoCount<Texture> texture) {
    ras->bindOnChannel(0, texture.get());
    return static_cast<GLTexture*>(texture.get());
  }
  // The texture's mip as GL holds it, as R, G, B, A bytes.
  Bytes texels(ka::RefNoCount<Texture> texture, int mip, GLenum format = GL_RGBA, int channels = 4) {
    bound(texture);
    int w = std::max(1, texture->width() >> mip), h = std::max(1, texture->height() >> mip);
    Bytes out(size_t(w * h * channels));
    glGetTexImage(GL_TEXTURE_2D, mip, format, GL_UNSIGNED_BYTE, out.data());
    return out;
  }
};

TEST_F(GLTextureTest, PixelsWaitInMemoryUntilTheFirstBind) {
  ka::Ref<Texture> texture = ras->createTexture(TF_A8R8G8B8, 2, 2, 2, TF_AllLinear, false, 0);
  auto* gl = static_cast<GLTexture*>(texture.get());
  unsigned char const mip0[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  unsigned char const mip1[4] = {200, 201, 202, 203};
  // Set on another thread, as the resource loader does.
  std::thread loader([&] {
    texture->setBits(0, mip0, 0, CUBE_PositiveX);
    texture->setBits(1, mip1, 0, CUBE_PositiveX);
  });
  loader.join();
  EXPECT_EQ(gl->name(), 0u) << "no GL call before the first bind";
  EXPECT_TRUE(gl->uploadPending());
  EXPECT_EQ(texels(texture, 0), Bytes(mip0, mip0 + 16));
  EXPECT_EQ(texels(texture, 1), Bytes(mip1, mip1 + 4));
  EXPECT_NE(gl->name(), 0u);
  EXPECT_FALSE(gl->uploadPending());
  EXPECT_EQ(gl->pendingData(0), nullptr) << "a texture that is not dynamic drops its copy";

  // A later set goes up at the next bind, over the storage that exists.
  unsigned char const again[16] = {9, 9, 9, 9};
  texture->setBits(0, again, 0, CUBE_PositiveX);
  EXPECT_EQ(texels(texture, 0), Bytes(again, again + 16));
}

TEST_F(GLTextureTest, OneBytePixelsTravelAsOneByteWithRowsOfAnyWidth) {
  // Three-pixel rows are not four-byte aligned: they arrive whole only with packed rows, and as
  // four bytes a pixel the upload would read far past the source.
  unsigned char const rows[6] = {10, 20, 30, 40, 50, 60};
  auto source = std::make_unique<unsigned char[]>(6);
  std::memcpy(source.get(), rows, 6);
  ka::Ref<Texture> texture = ras->createTexture(TF_R8, 3, 2, 1, TextureFilter(0), false, 0);
  texture->setBits(0, source.get(), 0, CUBE_PositiveX);
  EXPECT_EQ(texels(texture, 0, GL_RED, 1), Bytes(rows, rows + 6));

  // A loosely pitched source: every row starts 5 bytes after the last.
  unsigned char const pitched[10] = {1, 2, 3, 0xEE, 0xEE, 4, 5, 6, 0xEE, 0xEE};
  texture->setBits(0, pitched, 5, CUBE_PositiveX);
  EXPECT_EQ(texels(texture, 0, GL_RED, 1), (Bytes{1, 2, 3, 4, 5, 6}));

  // A one-byte target reads back one byte a pixel, and nothing past the picture.
  ka::Ref<RenderTarget> t = target(3, 3, TF_R8);
  ras->setRenderTarget(t);
  clearTo({0.5f, 0, 0, 1});
  EXPECT_EQ(read(t, 0, 1), Bytes(9, 128));
}

TEST_F(GLTextureTest, CompressedBlocksUploadAndDecode) {
  // A DXT1 block whose first colour is pure red and every index picks it.
  unsigned char const dxt1[8] = {0x00, 0xF8, 0x00, 0x00, 0, 0, 0, 0};
  // DXT3: 8 bytes of explicit alpha (all opaque), then the same colour block: 16 bytes a block,
  // although the format table counts 8.
  unsigned char dxt3[16];
  std::memset(dxt3, 0xFF, 8);
  std::memcpy(dxt3 + 8, dxt1, 8);
  struct Case {
    TextureFormat format;
    unsigned char const* block;
  } const cases[] = {{TF_DXT1, dxt1}, {TF_DXT3, dxt3}};
  for (Case const& c : cases) {
    ka::Ref<Texture> texture = ras->createTexture(c.format, 4, 4, 3, TextureFilter(0), false, 0);
    // Every mip, down to 1 by 1, is one block.
    for (int mip = 0; mip < 3; ++mip) texture->setBits(mip, c.block, 0, CUBE_PositiveX);
    for (int mip = 0; mip < 3; ++mip) {
      Bytes decoded = texels(texture, mip);
      EXPECT_EQ(Bytes(decoded.begin(), decoded.begin() + 4), (Bytes{255, 0, 0, 255})) << c.format << " mip " << mip;
    }
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)) << c.format;
  }
}

TEST_F(GLTextureTest, PartialUpdatesWithAPitchRestoreTheRowLength) {
  ka::Ref<Texture> texture = ras->createTexture(TF_A8R8G8B8, 4, 2, 1, TextureFilter(0), false, 0);
  texture->setBits(0, Bytes(32, 0).data(), 0, CUBE_PositiveX);
  bound(texture);
  // Two pixels from a source whose rows are three pixels apart.
  Bytes source(3 * 4 * 2, 0);
  for (int i = 0; i < 8; ++i) source[size_t(i)] = 100 + i, source[size_t(12 + i)] = 200 + i;
  texture->updateBits(0, 1, 0, 2, 2, 12, source.data(), CUBE_PositiveX);
  GLint rowLength = -1;
  glGetIntegerv(GL_UNPACK_ROW_LENGTH, &rowLength);
  EXPECT_EQ(rowLength, 0);
  Bytes got = texels(texture, 0);
  EXPECT_EQ(Bytes(got.begin() + 4, got.begin() + 12), Bytes(source.begin(), source.begin() + 8));
  EXPECT_EQ(Bytes(got.begin() + 20, got.begin() + 28), Bytes(source.begin() + 12, source.begin() + 20));
  EXPECT_EQ(Bytes(got.begin(), got.begin() + 4), Bytes(4, 0));
}

TEST_F(GLTextureTest, SizesCountBlocksPerMipAsTheTableSays) {
  struct Case {
    TextureFormat format;
    int width, height, mips;
    bool cube;
    uint32_t size;
  } const cases[] = {
      {TF_A8R8G8B8, 8, 2, 4, false, 8 * 2 * 4 + 4 * 1 * 4},  // mips past the last row count nothing
      {TF_DXT1, 8, 8, 2, false, 4 * 8 + 1 * 8},
      {TF_DXT3, 4, 4, 1, false, 8},  // the table's 8 bytes a block
      {TF_R8, 4, 4, 1, true, 16 * 6},
  };
  for (Case const& c : cases) {
    ka::Ref<Texture> texture = c.cube ? ras->createCubeTexture(c.format, c.width, c.height, c.mips, TF_AllLinear, false, 0)
                                      : ras->createTexture(c.format, c.width, c.height, c.mips, TF_AllLinear, false, 0);
    EXPECT_EQ(static_cast<GLTexture*>(texture.get())->getSize(), c.size) << c.format;
  }
}

TEST_F(GLTextureTest, MisuseIsFatal) {
  ka::Ref<Texture> texture = ras->createTexture(TF_A8R8G8B8, 4, 4, 1, TF_AllLinear, false, 0);
  unsigned char pixels[64] = {};
  EXPECT_DEATH(texture->setBits(1, pixels, 0, CUBE_PositiveX), "invalid mip level 1, must be less than 1");
  EXPECT_DEATH(texture->updateBits(2, 0, 0, 1, 1, pixels, CUBE_PositiveX), "invalid mip level");
  EXPECT_DEATH(ras->createTexture(TF_R8I, 4, 4, 1, TF_AllLinear, false, 0), "unsupported pixel format");
  // Faces other than the first mean nothing to a flat texture.
  texture->setBits(0, pixels, 0, CUBE_NegativeZ);
  EXPECT_FALSE(static_cast<GLTexture*>(texture.get())->uploadPending());
}

}  // namespace
