#include "gl_texture.h"

#include <algorithm>
#include <cstdlib>

#include "gl_rasterizer.h"
#include "ka/die.h"

namespace vorn::ras {

GLPixelFormat glPixelFormat(TextureFormat format, bool srgb) {
  constexpr GLenum UB = GL_UNSIGNED_BYTE;
  switch (format) {
    case TF_A8R8G8B8: return {srgb ? GL_SRGB8_ALPHA8 : GL_RGBA, GL_RGBA, UB, 4};
    case TF_X8R8G8B8: return {srgb ? GL_SRGB8 : GL_RGBA, GL_RGBA, UB, 4};
    case TF_A8B8G8R8: return {srgb ? GL_SRGB8 : GL_RGBA, GL_BGRA, UB, 4};
    case TF_DXT1:
      return {srgb ? GL_COMPRESSED_SRGB_S3TC_DXT1_EXT : GL_COMPRESSED_RGB_S3TC_DXT1_EXT, 0, 0, 8};
    // A DXT3 block holds 16 bytes; the format table's 8 stays for memory accounting only, since an
    // upload of 8 bytes a block is refused by every driver.
    case TF_DXT3:
      return {srgb ? GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT3_EXT : GL_COMPRESSED_RGBA_S3TC_DXT3_EXT, 0, 0, 16};
    case TF_DXT5:
      return {srgb ? GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT5_EXT : GL_COMPRESSED_RGBA_S3TC_DXT5_EXT, 0, 0, 16};
    case TF_R32F: return {GL_R32F, GL_RED, GL_FLOAT, 4};
    case TF_RG32F: return {GL_RG32F, GL_RG, GL_FLOAT, 8};
    case TF_RGBA32F: return {GL_RGBA32F, GL_RGBA, GL_FLOAT, 16};
    // Half floats travel as half floats: as 32-bit floats a transfer would read and write twice the
    // bytes that the format's buffers hold.
    case TF_R16F: return {GL_R16F, GL_RED, GL_HALF_FLOAT, 2};
    case TF_RG16F: return {GL_RG16F, GL_RG, GL_HALF_FLOAT, 4};
    case TF_RGBA16F: return {GL_RGBA16F, GL_RGBA, GL_HALF_FLOAT, 8};
    // One byte a pixel: as GL_RGBA a transfer reads past the source and writes past read-back buffers.
    case TF_R8: return {GL_R8, GL_RED, UB, 1};
    case TF_R8G8: return {GL_RG8, GL_RG, UB, 2};
    case TF_D16:
    case TF_Shadow16: return {GL_DEPTH_COMPONENT16, GL_DEPTH_COMPONENT, GL_FLOAT, 2};
    case TF_D24:
    case TF_Shadow24: return {GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT, GL_FLOAT, 3};
    case TF_D24S8: return {GL_DEPTH24_STENCIL8, GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8, 4};
    case TF_D32:
    case TF_Shadow32: return {GL_DEPTH_COMPONENT32, GL_DEPTH_COMPONENT, GL_FLOAT, 4};
    default: ka::die("unsupported pixel format");
  }
}

namespace {

bool isShadow(TextureFormat format) {
  return format == TF_Shadow16 || format == TF_Shadow24 || format == TF_Shadow32;
}

GLint minFilter(TextureFilter filter, int mips) {
  bool mipLinear = filter & TF_MipLinear, minLinear = filter & TF_MinLinear;
  if (mips <= 1) return minLinear ? GL_LINEAR : GL_NEAREST;
  if (minLinear) return mipLinear ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR_MIPMAP_NEAREST;
  return mipLinear ? GL_NEAREST_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_NEAREST;
}

GLint glWrap(TextureWrap wrap) { return wrap == TW_CLAMP ? GL_CLAMP_TO_EDGE : GL_REPEAT; }

}  // namespace

GLTexture::GLTexture(GLRasterizer* rasterizer, TextureFormat format, int width, int height, int mips,
                     TextureFilter filter, bool srgb, TextureWrap wrap)
    : link(rasterizer),
      format_(format),
      info_(getTextureFormatInfo(format)),
      filter_(filter),
      width_(width),
      height_(height),
      mips_(mips),
      compressed_(isCompressed(format)),
      srgb_(srgb),
      gl_(glPixelFormat(format, srgb)),
      wrapS_(wrap),
      wrapT_(wrap) {
  for (int face = 0; face < faces(); ++face) pending_[face].assign(std::max(mips, 0), nullptr);
}

GLTexture::~GLTexture() {
  if (name_) glDeleteTextures(1, &name_);
  freePending();
}

void GLTexture::release() { releaseGLResource(this, link, descriptor_, getSize()); }

TextureFactory* GLTexture::factory() const { return link.rasterizer; }

void GLTexture::setBits(int mip, void const* data, size_t pitch, TextureCubeFace face) {
  if (mip < 0 || mip >= mips_) ka::dief("invalid mip level %d, must be less than %d", mip, mips_);
  if (!validFace(face)) return;
  std::lock_guard<std::mutex> lock(link.mutex);
  if (!link.rasterizer) return;
  size_t w = std::max(1, width_ >> mip), h = std::max(1, height_ >> mip);
  TextureFormatInfo transfer = info_;
  transfer.bytesPerBlock = gl_.transferBytesPerBlock;
  void*& block = pending_[face][mip];
  if (!block) block = std::malloc(transfer.rowCount(h) * transfer.rowSize(w));
  copyTextureData(block, 0, data, pitch, w, h, transfer);
  uploadPending_ = true;
}

void GLTexture::updateBits(int mip, int x, int y, size_t width, size_t height, void const* data,
                           TextureCubeFace face) {
  if (mip < 0 || mip >= mips_) ka::die("invalid mip level");
  if (!validFace(face)) return;
  GLRasterizer* rasterizer = link.rasterizer;
  if (!rasterizer) return;
  rasterizer->bindOnChannel(0, this);
  GLenum faceTarget = isCube() ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + face : GL_TEXTURE_2D;
  glTexSubImage2D(faceTarget, mip, x, y, GLsizei(width), GLsizei(height), gl_.format, gl_.type, data);
}

void GLTexture::updateBits(int mip, int x, int y, size_t width, size_t height, size_t pitch, void const* data,
                           TextureCubeFace face) {
  GLint rowLength = 0;
  glGetIntegerv(GL_UNPACK_ROW_LENGTH, &rowLength);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, GLint(pitch / gl_.transferBytesPerBlock));
  updateBits(mip, x, y, width, height, data, face);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
}

void GLTexture::setDynamic(bool dynamic) {
  std::lock_guard<std::mutex> lock(link.mutex);
  dynamic_ = dynamic;
}

void GLTexture::generateMips() {
  if (mips_ < 2 || !link.rasterizer) return;
  // Through channel 0, so that the rasterizer knows which texture the active unit holds.
  link.rasterizer->bindOnChannel(0, this);
  glGenerateMipmap(target());
}

void GLTexture::bindTexture() {
  std::lock_guard<std::mutex> lock(link.mutex);
  if (name_ || mips_ == 0) {
    glBindTexture(target(), name_);
    if (wrapDirty_) applyWrap();
    if (!uploadPending_) return;
    upload(false);
  } else {
    createName();
    upload(true);
  }
  if (!dynamic_) freePending();
  uploadPending_ = false;
}

void GLTexture::createName() {
  glGenTextures(1, &name_);
  glBindTexture(target(), name_);
  glTexParameteri(target(), GL_TEXTURE_MAX_LEVEL, mips_ - 1);
  if (!isCube()) applyWrap();
  glTexParameteri(target(), GL_TEXTURE_MIN_FILTER, minFilter(filter_, mips_));
  glTexParameteri(target(), GL_TEXTURE_MAG_FILTER, (filter_ & TF_MagLinear) ? GL_LINEAR : GL_NEAREST);
  if (isShadow(format_)) {
    glTexParameteri(target(), GL_TEXTURE_COMPARE_MODE, GL_COMPARE_R_TO_TEXTURE);
    glTexParameteri(target(), GL_TEXTURE_COMPARE_FUNC, GL_LEQUAL);
  }
}

// With `allocate` every mip of every face gets storage, with its pending data or none; otherwise
// only pending mips are sent.
void GLTexture::upload(bool allocate) {
  TextureFormatInfo transfer = info_;
  transfer.bytesPerBlock = gl_.transferBytesPerBlock;
  for (int face = 0; face < faces(); ++face) {
    GLenum faceTarget = isCube() ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + face : GL_TEXTURE_2D;
    for (int mip = 0; mip < mips_; ++mip) {
      void const* data = pending_[face][mip];
      if (!allocate && !data) continue;
      GLsizei w = std::max(1, width_ >> mip), h = std::max(1, height_ >> mip);
      if (compressed_) {
        auto bytes = GLsizei(transfer.rowCount(h) * transfer.rowSize(w));
        glCompressedTexImage2D(faceTarget, mip, gl_.internalFormat, w, h, 0, bytes, data);
      } else if (allocate) {
        glTexImage2D(faceTarget, mip, gl_.internalFormat, w, h, 0, gl_.format, gl_.type, data);
      } else {
        glTexSubImage2D(faceTarget, mip, 0, 0, w, h, gl_.format, gl_.type, data);
      }
    }
  }
}

void GLTexture::setWrap(TextureWrap s, TextureWrap t) {
  std::lock_guard<std::mutex> lock(link.mutex);
  if (s == wrapS_ && t == wrapT_) return;
  wrapS_ = s;
  wrapT_ = t;
  wrapDirty_ = true;
}

void GLTexture::applyWrap() {
  wrapDirty_ = false;
  if (isCube()) return;
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, glWrap(wrapS_));
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, glWrap(wrapT_));
}

uint32_t GLTexture::getSize() const {
  size_t total = 0;
  // Shifts with no floor of 1: mips past the last whole pixel count nothing.
  for (int mip = 0; mip < mips_; ++mip) total += info_.rowCount(height_ >> mip) * info_.rowSize(width_ >> mip);
  return uint32_t(total * faces());
}

void GLTexture::orphan() {
  std::lock_guard<std::mutex> lock(link.mutex);
  if (name_) glDeleteTextures(1, &name_);
  name_ = 0;
  freePending();
  link.rasterizer = nullptr;
}

void GLTexture::freePending() {
  for (auto& face : pending_) {
    for (void*& block : face) {
      std::free(block);
      block = nullptr;
    }
  }
}

}  // namespace vorn::ras
