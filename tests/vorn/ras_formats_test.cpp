#include "vorn/ras_formats.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

using namespace vorn;

template <class T>
std::string text(T value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

TEST(RasFormats, TablesHoldEveryFormatWithItsBlocks) {
  struct Case {
    TextureFormat format;
    char const* name;
    uint32_t bytes, width, height;
  } const cases[] = {
      {TF_Invalid, "Invalid", 0, 0, 0}, {TF_A8R8G8B8, "A8R8G8B8", 4, 1, 1}, {TF_DXT1, "DXT1", 8, 4, 4},
      {TF_DXT3, "DXT3", 8, 4, 4},  // accounting keeps 8 bytes a block
      {TF_DXT5, "DXT5", 16, 4, 4},      {TF_R8, "R8", 1, 1, 1},             {TF_D0, "D0", 0, 1, 1},
      {TF_D24, "D24", 3, 1, 1},         {TF_Shadow32, "Shadow32", 4, 1, 1},
  };
  for (Case const& c : cases) {
    TextureFormatInfo const& info = getTextureFormatInfo(c.format);
    EXPECT_STREQ(info.name, c.name);
    EXPECT_EQ(info.bytesPerBlock, c.bytes) << c.name;
    EXPECT_EQ(info.blockWidth, c.width) << c.name;
    EXPECT_EQ(info.blockHeight, c.height) << c.name;
  }
  EXPECT_EQ(getTextureFormatInfo(TF_DXT1).rowSize(5), 16u) << "5 pixels are 2 blocks";
  EXPECT_EQ(getTextureFormatInfo(TF_DXT1).rowCount(5), 2u);
  EXPECT_EQ(getIndexFormatInfo(IF_UInt32).bytesPerIndex, 4u);
  EXPECT_DEATH(getTextureFormatInfo(TextureFormat(33)), "no such texture format");
}

TEST(RasFormats, VertexLayoutsGiveStridesAndOffsetsWithTheOldQuirksKept) {
  VertexFormatInfo const& skinned = getVertexFormatInfo(VF_Position3Weights4bBones4bNormal3TexCoord2);
  EXPECT_EQ(skinned.stride, 40);
  EXPECT_EQ(std::vector<int>({skinned.weights, skinned.bones, skinned.normal, skinned.texcoord[0]}),
            std::vector<int>({12, 16, 20, 32}));
  VertexFormatInfo const& coloured = getVertexFormatInfo(VF_Position3Color4bTexCoord4);
  EXPECT_EQ(coloured.texcoord[7], 0) << "the eighth coordinate reads the position";
  EXPECT_LT(coloured.texcoord[3], 0);
  VertexFormatInfo const& floats = getVertexFormatInfo(VF_Position3Color8fTexCoord6);
  EXPECT_EQ(std::vector<int>({floats.fcolor[0], floats.fcolor[1], floats.texcoord[2], floats.stride}),
            std::vector<int>({12, 28, 60, 68}));
  EXPECT_LT(getVertexFormatInfo(VF_Matrix).position, 0);
  EXPECT_EQ(getVertexFormatInfo(VF_Matrix).stride, 64);
}

TEST(RasFormats, PrintedNames) {
  EXPECT_EQ(text(TF_A8R8G8B8), "TF_A8R8G8B8");
  EXPECT_EQ(text(TextureFormat(33)), "TextureFormat(33)");
  EXPECT_EQ(text(VF_TexCoord4), "TexCoord4");
  EXPECT_EQ(text(VertexFormat(15)), "VertexFormat(15)");
  EXPECT_EQ(text(IF_UInt16), "IF_UInt16");
  EXPECT_EQ(text(IndexFormat(2)), "IndexFormat(2)");
  EXPECT_EQ(text(PRIM_Triangles), "PRIM_Triangles");
  EXPECT_EQ(text(PrimitiveType(7)), "PrimitiveType(7)");
  EXPECT_EQ(text(TF_AllLinear), "TF_MagLinear|TF_MipLinear|TF_MinLinear");
  EXPECT_EQ(text(TextureFilter(0)), "TF_MagNearest|TF_MipNearest|TF_MinNearest");
  EXPECT_EQ(text(TextureFilter(8 | 4)), "TF_MagNearest|TF_MipNearest|TF_MinLinear|8");
  EXPECT_EQ(text(TW_CLAMP), "TW_CLAMP");
  EXPECT_EQ(text(TW_CUBE), "TextureWrap(2)");
}

TEST(RasFormats, CopyTextureDataHonoursBothPitches) {
  TextureFormatInfo const& rgba = getTextureFormatInfo(TF_A8R8G8B8);
  std::vector<unsigned char> src(2 * 12), dst(2 * 12, 0xEE);
  for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<unsigned char>(i);
  // Packed both ways: one copy of 2 rows of 8 bytes.
  copyTextureData(dst.data(), 0, src.data(), 0, 2, 2, rgba);
  EXPECT_EQ(std::vector<unsigned char>(dst.begin(), dst.begin() + 16), std::vector<unsigned char>(src.begin(), src.begin() + 16));
  EXPECT_EQ(dst[16], 0xEE);
  // A loose destination: the gaps are left alone.
  std::fill(dst.begin(), dst.end(), 0xEE);
  copyTextureData(dst.data(), 12, src.data(), 8, 2, 2, rgba);
  EXPECT_EQ(dst[8], 0xEE);
  EXPECT_EQ(dst[12], 8);
  EXPECT_EQ(dst[19], 15);
  EXPECT_EQ(dst[20], 0xEE);
  // A DXT1 image of 5 by 5 is 2 by 2 blocks of 8 bytes.
  std::vector<unsigned char> blocks(32, 7), out(32, 0);
  copyTextureData(out.data(), 0, blocks.data(), 0, 5, 5, getTextureFormatInfo(TF_DXT1));
  EXPECT_EQ(out, blocks);
  EXPECT_DEATH(copyTextureData(dst.data(), 4, src.data(), 0, 2, 2, rgba), "pitch too small for copyTextureData");
}

}  // namespace
