// A texture whose pixels wait in CPU memory until it is first bound on the rendering thread.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include <epoxy/gl.h>

#include "gl_resource.h"
#include "ka/dlist.h"
#include "vorn/rasterizer.h"

namespace vorn::ras {

// How a TextureFormat travels to and from GL.
struct GLPixelFormat {
  GLint internalFormat;
  GLenum format;  // 0 for compressed formats
  GLenum type;
  // Bytes of a block in transfers, which is not always what the format table accounts.
  uint32_t transferBytesPerBlock;
};

// An unsupported format is a programming fault.
GLPixelFormat glPixelFormat(TextureFormat format, bool srgb);

class GLTexture : public Texture, public ka::DListItem {
 public:
  GLTexture(GLRasterizer* rasterizer, TextureFormat format, int width, int height, int mips, TextureFilter filter,
            bool srgb, TextureWrap wrap);
  ~GLTexture() override;

  void release() override;
  TextureFactory* factory() const override;
  int width() const override { return width_; }
  int height() const override { return height_; }
  void setBits(int mip, void const* data, size_t pitch, TextureCubeFace face) override;
  void updateBits(int mip, int x, int y, size_t width, size_t height, void const* data,
                  TextureCubeFace face) override;
  void updateBits(int mip, int x, int y, size_t width, size_t height, size_t pitch, void const* data,
                  TextureCubeFace face) override;
  void setDynamic(bool dynamic) override;
  void setDescriptor(uint64_t descriptor) override { descriptor_ = descriptor; }
  void generateMips() override;

  // Binds on the active texture unit, giving it storage and uploading what is pending.
  void bindTexture();
  void setWrap(TextureWrap s, TextureWrap t);
  // Bytes as the memory tracker counts them.
  uint32_t getSize() const;
  // Deletes the GL name and pending data and forgets the rasterizer, which is going.
  void orphan();

  TextureFormat format() const { return format_; }
  bool srgb() const { return srgb_; }
  bool isCube() const { return wrapS_ == TW_CUBE; }
  int mips() const { return mips_; }
  GLuint name() const { return name_; }
  GLPixelFormat const& pixelFormat() const { return gl_; }
  uint64_t descriptor() const { return descriptor_; }
  // Mip data waiting for the first bind; for tests.
  bool uploadPending() const { return uploadPending_; }
  void const* pendingData(int mip, int face = 0) const { return pending_[face][mip]; }

  GLResourceLink link;

 private:
  GLenum target() const { return isCube() ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D; }
  int faces() const { return isCube() ? 6 : 1; }
  bool validFace(TextureCubeFace face) const { return face == 0 || isCube(); }
  void createName();
  void upload(bool allocate);
  void applyWrap();
  void freePending();

  TextureFormat format_;
  TextureFormatInfo info_;
  TextureFilter filter_;
  int width_, height_, mips_;
  bool compressed_;
  bool srgb_;
  GLPixelFormat gl_;
  bool uploadPending_ = false;
  std::array<std::vector<void*>, 6> pending_;
  GLuint name_ = 0;
  uint64_t descriptor_ = 0;
  TextureWrap wrapS_, wrapT_;
  bool dynamic_ = false;
  bool wrapDirty_ = false;
};

// Buffer textures are off in this back end; the class names what would sit in its trash list.
class GLTextureBuffer : public TextureBuffer, public ka::DListItem {};

}  // namespace vorn::ras
