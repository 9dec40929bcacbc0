// The format words that cross the rasterizer interface, with their information tables. Nothing
// here knows a graphics interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace vorn {

enum TextureFormat : uint32_t {
  TF_Invalid = 0,
  TF_A8R8G8B8 = 1,
  TF_X8R8G8B8 = 2,
  TF_A8B8G8R8 = 3,
  TF_DXT1 = 4,
  TF_DXT3 = 5,
  TF_DXT5 = 6,
  TF_R32F = 7,
  TF_RG32F = 8,
  TF_RGBA32F = 9,
  TF_R16F = 10,
  TF_RG16F = 11,
  TF_RGBA16F = 12,
  TF_R8 = 13,
  TF_R8G8 = 14,
  TF_D0 = 15,  // no depth buffer at all
  TF_D16 = 16,
  TF_D24 = 17,
  TF_D24S8 = 18,
  TF_D32 = 19,
  TF_R8I = 20,
  TF_R8UI = 21,
  TF_R16I = 22,
  TF_R16UI = 23,
  TF_RG8I = 24,
  TF_RG8UI = 25,
  TF_RG16I = 26,
  TF_RG16UI = 27,
  TF_R32I = 28,
  TF_R32UI = 29,
  TF_Shadow16 = 30,
  TF_Shadow24 = 31,
  TF_Shadow32 = 32,
};

struct TextureFormatInfo {
  char const* name;
  uint32_t bytesPerBlock;
  uint32_t blockWidth;
  uint32_t blockHeight;

  // Bytes of one packed row of `width` pixels: whole blocks.
  size_t rowSize(size_t width) const;
  // Rows of blocks in `height` pixels.
  size_t rowCount(size_t height) const;
};

// A value outside the table is a programming fault.
TextureFormatInfo const& getTextureFormatInfo(TextureFormat format);
bool isCompressed(TextureFormat format);

enum VertexFormat : uint32_t {
  VF_Position3 = 0,
  VF_Position3Color4bTexCoord2 = 1,
  VF_Position3Color4bTexCoord4 = 2,
  VF_Position3Color4bTexCoord6 = 3,
  VF_Position3Normal3 = 4,
  VF_Position3Normal3TexCoord2 = 5,
  VF_Position3Normal3Color4TexCoord2 = 6,
  VF_Position3Normal3Color4TexCoord4 = 7,
  VF_Position3Weights4bBones4bNormal3TexCoord2 = 8,
  VF_Position3Normal3Tan3Bin3TexCoord2 = 9,
  VF_Position3Normal3Tan3Bin3TexCoord4 = 10,
  VF_Position3Normal3Tan3Bin3Color4TexCoord4 = 11,
  VF_TexCoord4 = 12,
  VF_Position3Color8fTexCoord6 = 13,
  VF_Matrix = 14,
  VF_None = 15,  // no vertex stream is set
};

// Byte offsets of each attribute in a vertex; a negative offset is an absent attribute.
struct VertexFormatInfo {
  char const* name;
  int32_t stride;
  int32_t position;
  int32_t weights;
  int32_t bones;
  int32_t normal;
  int32_t tangent;
  int32_t binormal;
  int32_t color;
  int32_t fcolor[2];
  int32_t texcoord[8];
};

VertexFormatInfo const& getVertexFormatInfo(VertexFormat format);

enum IndexFormat : uint32_t { IF_UInt16 = 0, IF_UInt32 = 1 };

struct IndexFormatInfo {
  char const* name;
  uint32_t bytesPerIndex;
};

IndexFormatInfo const& getIndexFormatInfo(IndexFormat format);

enum PrimitiveType : uint32_t { PRIM_Points = 0, PRIM_Lines = 1, PRIM_Triangles = 2 };

// Bit set: magnification, between mips and minification, each linear when set.
enum TextureFilter : uint32_t {
  TF_MagLinear = 1,
  TF_MipLinear = 2,
  TF_MinLinear = 4,
  TF_AllLinear = 7,  // the filter of every internal render target
};

enum TextureWrap : uint32_t { TW_WRAP = 0, TW_CLAMP = 1, TW_CUBE = 2 };

std::ostream& operator<<(std::ostream& out, TextureFormat value);
std::ostream& operator<<(std::ostream& out, VertexFormat value);
std::ostream& operator<<(std::ostream& out, IndexFormat value);
std::ostream& operator<<(std::ostream& out, PrimitiveType value);
std::ostream& operator<<(std::ostream& out, TextureFilter value);
std::ostream& operator<<(std::ostream& out, TextureWrap value);

// Copies a width by height image between buffers of any pitch at least the packed row; a pitch of 0
// is the packed row.
void copyTextureData(void* dst, size_t dstPitch, void const* src, size_t srcPitch, size_t width, size_t height,
                     TextureFormatInfo const& info);

}  // namespace vorn
