// A frame buffer with its colour and depth textures, made on first use on the rendering thread.
#pragma once

#include <vector>

#include <epoxy/gl.h>

#include "gl_resource.h"
#include "vorn/rasterizer.h"

namespace vorn::ras {

class GLTexture;

class GLRenderTarget : public RenderTarget {
 public:
  struct Attachment {
    TextureFormat format;
    bool srgb;
    ka::Ref<Texture> texture;  // made with the frame buffer when empty
  };

  GLRenderTarget(GLRasterizer* rasterizer, std::vector<Attachment> attachments, TextureFormat depthFormat, int width,
                 int height, int mips, TextureFilter filter);
  ~GLRenderTarget() override;

  void release() override;
  int numTextures() const override { return int(attachments_.size()); }
  int width() const override { return width_; }
  int height() const override { return height_; }
  int mips() const override { return mips_; }
  TextureFormat depthFormat() const override { return depthFormat_; }
  TextureFilter filter() const override { return filter_; }
  ka::Ref<Texture> getTexture(int index) override;
  ka::Ref<Texture> getDepthTexture() override { return depthTexture_; }
  ka::Ref<RenderTarget> createSuperTarget(int count, TextureFormat* formats, bool* srgb, int* shareIndices,
                                          TextureFormat depthFormat, bool shareDepth) override;
  void copy(int attachment, ka::RefNoCount<Texture> texture, int mip, int x, int y, int dstX, int dstY, int width,
            int height) override;
  void copy(int attachment, ka::RefNoCount<RenderTarget> target, int dstAttachment, ClearFlags flags, int srcX,
            int srcY, int dstX, int dstY, int width, int height, TextureFilter filter) override;
  void setDrawMask(int mask) override;
  void setViewport(ka::Rect<int> const& viewport) override;
  bool downloadTextureData(int attachment, void* dst) override;
  void prepareAsyncDownload(int attachment) override;
  void processAsyncDownload(int attachment, std::function<void(void const*)> const& callback) override;
  void cancelAsyncDownload(int attachment) override;

  // Makes the frame buffer on first use, binds it and applies draw mask, viewport and scissor.
  void bindTarget();
  void unbindTarget();
  // The rasterizer let go of it without unbinding, since GL has moved on already.
  void markUnbound() { bound_ = false; }
  void orphan();
  GLuint framebuffer() const { return framebuffer_; }

  GLResourceLink link;

 private:
  void createBuffer();
  void applyDrawMask();
  void applyViewport();
  GLuint takePrepared(int attachment);
  size_t attachmentBytes(int attachment) const;

  std::vector<Attachment> attachments_;
  TextureFormat depthFormat_;
  int width_, height_, mips_;
  TextureFilter filter_;
  GLuint framebuffer_ = 0;
  bool created_ = false;
  ka::Ref<Texture> depthTexture_;
  std::vector<GLuint> packBuffers_;
  std::vector<bool> prepared_;
  int drawMask_ = -1;
  bool bound_ = false;
  ka::Rect<int> viewport_;
};

}  // namespace vorn::ras
