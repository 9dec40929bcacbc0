#include "ras_formats.h"

#include <cstring>
#include <iterator>
#include <ostream>

#include "ka/die.h"

namespace vorn {

namespace {

TextureFormatInfo const kTextureFormats[] = {
    {"Invalid", 0, 0, 0},  {"A8R8G8B8", 4, 1, 1}, {"X8R8G8B8", 4, 1, 1}, {"A8B8G8R8", 4, 1, 1},
    {"DXT1", 8, 4, 4},
    // A DXT3 block holds 16 bytes, but memory accounting counts 8; uploads use the true size.
    {"DXT3", 8, 4, 4},     {"DXT5", 16, 4, 4},    {"R32F", 4, 1, 1},     {"RG32F", 8, 1, 1},
    {"RGBA32F", 16, 1, 1}, {"R16F", 2, 1, 1},     {"RG16F", 4, 1, 1},    {"RGBA16F", 8, 1, 1},
    {"R8", 1, 1, 1},       {"R8G8", 2, 1, 1},     {"D0", 0, 1, 1},       {"D16", 2, 1, 1},
    {"D24", 3, 1, 1},      {"D24S8", 4, 1, 1},    {"D32", 4, 1, 1},      {"R8I", 1, 1, 1},
    {"R8UI", 1, 1, 1},     {"R16I", 2, 1, 1},     {"R16UI", 2, 1, 1},    {"RG8I", 2, 1, 1},
    {"RG8UI", 2, 1, 1},    {"RG16I", 4, 1, 1},    {"RG16UI", 4, 1, 1},   {"R32I", 4, 1, 1},
    {"R32UI", 4, 1, 1},    {"Shadow16", 2, 1, 1}, {"Shadow24", 3, 1, 1}, {"Shadow32", 4, 1, 1},
};

constexpr int32_t X = -1;  // absent

// Columns: name, stride, position, weights, bones, normal, tangent, binormal, colour, two float
// colours, eight texture coordinates.
VertexFormatInfo const kVertexFormats[] = {
    {"Position3", 12, 0, X, X, X, X, X, X, {X, X}, {X, X, X, X, X, X, X, X}},
    {"Position3Color4bTexCoord2", 24, 0, X, X, X, X, X, 12, {X, X}, {16, X, X, X, X, X, X, X}},
    // The eighth texture coordinate reads the position bytes, and the fourth's -2 counts as absent
    // (absence is any negative offset): this row stays as it has always been.
    {"Position3Color4bTexCoord4", 32, 0, X, X, X, X, X, 12, {X, X}, {16, 24, X, -2, X, X, X, 0}},
    {"Position3Color4bTexCoord6", 40, 0, X, X, X, X, X, 12, {X, X}, {16, 24, 32, X, X, X, X, X}},
    {"Position3Normal3", 24, 0, X, X, 12, X, X, X, {X, X}, {X, X, X, X, X, X, X, X}},
    {"Position3Normal3TexCoord2", 32, 0, X, X, 12, X, X, X, {X, X}, {24, X, X, X, X, X, X, X}},
    {"Position3Normal3Color4TexCoord2", 36, 0, X, X, 12, X, X, 24, {X, X}, {28, X, X, X, X, X, X, X}},
    {"Position3Normal3Color4TexCoord4", 44, 0, X, X, 12, X, X, 24, {X, X}, {28, 36, X, X, X, X, X, X}},
    {"Position3Weights4bBones4bNormal3TexCoord2", 40, 0, 12, 16, 20, X, X, X, {X, X}, {32, X, X, X, X, X, X, X}},
    {"Position3Normal3Tan3Bin3TexCoord2", 56, 0, X, X, 12, 24, 36, X, {X, X}, {48, X, X, X, X, X, X, X}},
    {"Position3Normal3Tan3Bin3TexCoord4", 64, 0, X, X, 12, 24, 36, X, {X, X}, {48, 56, X, X, X, X, X, X}},
    {"Position3Normal3Tan3Bin3Color4TexCoord4", 68, 0, X, X, 12, 24, 36, 48, {X, X}, {52, 60, X, X, X, X, X, X}},
    {"TexCoord4", 16, X, X, X, X, X, X, X, {X, X}, {0, 8, X, X, X, X, X, X}},
    {"Position3Color8fTexCoord6", 68, 0, X, X, X, X, X, X, {12, 28}, {44, 52, 60, X, X, X, X, X}},
    {"Matrix", 64, X, X, X, X, X, X, X, {X, X}, {X, X, X, X, X, X, X, X}},
};

IndexFormatInfo const kIndexFormats[] = {{"IF_UInt16", 2}, {"IF_UInt32", 4}};

char const* const kPrimitiveNames[] = {"PRIM_Points", "PRIM_Lines", "PRIM_Triangles"};

}  // namespace

size_t TextureFormatInfo::rowSize(size_t width) const {
  return blockWidth ? (width + blockWidth - 1) / blockWidth * bytesPerBlock : 0;
}

size_t TextureFormatInfo::rowCount(size_t height) const {
  return blockHeight ? (height + blockHeight - 1) / blockHeight : 0;
}

TextureFormatInfo const& getTextureFormatInfo(TextureFormat format) {
  if (format >= std::size(kTextureFormats)) ka::dief("no such texture format: %u", unsigned(format));
  return kTextureFormats[format];
}

bool isCompressed(TextureFormat format) { return format == TF_DXT1 || format == TF_DXT3 || format == TF_DXT5; }

VertexFormatInfo const& getVertexFormatInfo(VertexFormat format) {
  if (format >= std::size(kVertexFormats)) ka::dief("no such vertex format: %u", unsigned(format));
  return kVertexFormats[format];
}

IndexFormatInfo const& getIndexFormatInfo(IndexFormat format) {
  if (format >= std::size(kIndexFormats)) ka::dief("no such index format: %u", unsigned(format));
  return kIndexFormats[format];
}

std::ostream& operator<<(std::ostream& out, TextureFormat value) {
  if (value >= std::size(kTextureFormats)) return out << "TextureFormat(" << unsigned(value) << ")";
  return out << "TF_" << kTextureFormats[value].name;
}

std::ostream& operator<<(std::ostream& out, VertexFormat value) {
  if (value >= std::size(kVertexFormats)) return out << "VertexFormat(" << unsigned(value) << ")";
  return out << kVertexFormats[value].name;
}

std::ostream& operator<<(std::ostream& out, IndexFormat value) {
  if (value >= std::size(kIndexFormats)) return out << "IndexFormat(" << unsigned(value) << ")";
  return out << kIndexFormats[value].name;
}

std::ostream& operator<<(std::ostream& out, PrimitiveType value) {
  if (value >= std::size(kPrimitiveNames)) return out << "PrimitiveType(" << unsigned(value) << ")";
  return out << kPrimitiveNames[value];
}

std::ostream& operator<<(std::ostream& out, TextureFilter value) {
  out << ((value & TF_MagLinear) ? "TF_MagLinear|" : "TF_MagNearest|");
  out << ((value & TF_MipLinear) ? "TF_MipLinear|" : "TF_MipNearest|");
  out << ((value & TF_MinLinear) ? "TF_MinLinear" : "TF_MinNearest");
  if (unsigned rest = unsigned(value) & ~7u) out << "|" << rest;
  return out;
}

std::ostream& operator<<(std::ostream& out, TextureWrap value) {
  switch (value) {
    case TW_WRAP: return out << "TW_WRAP";
    case TW_CLAMP: return out << "TW_CLAMP";
    default: return out << "TextureWrap(" << unsigned(value) << ")";
  }
}

void copyTextureData(void* dst, size_t dstPitch, void const* src, size_t srcPitch, size_t width, size_t height,
                     TextureFormatInfo const& info) {
  size_t rowSize = info.rowSize(width);
  if (dstPitch == 0) dstPitch = rowSize;
  if (srcPitch == 0) srcPitch = rowSize;
  if (dstPitch < rowSize || srcPitch < rowSize) ka::die("pitch too small for copyTextureData");
  size_t rows = info.rowCount(height);
  if (rows == 0) return;
  if (dstPitch == rowSize && srcPitch == rowSize) {
    std::memcpy(dst, src, rows * rowSize);
    return;
  }
  auto* to = static_cast<unsigned char*>(dst);
  auto const* from = static_cast<unsigned char const*>(src);
  for (size_t row = 0; row < rows; ++row) std::memcpy(to + row * dstPitch, from + row * srcPitch, rowSize);
}

}  // namespace vorn
