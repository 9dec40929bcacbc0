#include "gl_render_target.h"

#include <bit>

#include "gl_rasterizer.h"
#include "gl_texture.h"
#include "ka/die.h"
#include "ka/log.h"

namespace vorn::ras {

namespace {

GLTexture* glTexture(ka::RefNoCount<Texture const> texture) {
  return static_cast<GLTexture*>(const_cast<Texture*>(texture.get()));
}

// Restores the frame buffer binding on leaving a scope that had to bind another one.
class FramebufferBindingScope {
 public:
  explicit FramebufferBindingScope(GLenum binding, GLenum target) : target_(target) {
    glGetIntegerv(binding, &name_);
  }
  ~FramebufferBindingScope() { glBindFramebuffer(target_, GLuint(name_)); }

 private:
  GLenum target_;
  GLint name_ = 0;
};

}  // namespace

GLRenderTarget::GLRenderTarget(GLRasterizer* rasterizer, std::vector<Attachment> attachments,
                               TextureFormat depthFormat, int width, int height, int mips, TextureFilter filter)
    : link(rasterizer),
      attachments_(std::move(attachments)),
      depthFormat_(depthFormat),
      width_(width),
      height_(height),
      mips_(mips),
      filter_(filter),
      viewport_{0, 0, width, height} {}

GLRenderTarget::~GLRenderTarget() {
  if (framebuffer_) glDeleteFramebuffers(1, &framebuffer_);
  for (GLuint buffer : packBuffers_) {
    if (buffer) glDeleteBuffers(1, &buffer);
  }
}

void GLRenderTarget::release() { releaseGLResource(this, link, 0, 0); }

ka::Ref<Texture> GLRenderTarget::getTexture(int index) {
  if (index < 0 || index >= numTextures()) return nullptr;
  if (!created_ && link.rasterizer) createBuffer();
  return attachments_[index].texture;
}

// Leaves GL's frame buffer binding as it found it: the target is made on first use, which may come
// while another target is current.
void GLRenderTarget::createBuffer() {
  GLRasterizer* rasterizer = link.rasterizer;
  created_ = true;
  FramebufferBindingScope keep(GL_FRAMEBUFFER_BINDING, GL_FRAMEBUFFER);
  if (!attachments_.empty() || depthFormat_ != TF_D0) {
    glGenFramebuffers(1, &framebuffer_);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  }
  for (int n = 0; n < numTextures(); ++n) {
    Attachment& a = attachments_[n];
    if (!a.texture)
      a.texture = rasterizer->createAttachmentTexture(a.format, width_, height_, mips_, filter_, a.srgb, 4);
    // Bound once so that it has storage before it is attached.
    rasterizer->bindOnChannel(n, a.texture.get());
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0 + n, GL_TEXTURE_2D, glTexture(a.texture)->name(), 0);
  }
  if (depthFormat_ == TF_D0) {
    depthTexture_.reset();
  } else {
    if (!depthTexture_) {
      depthTexture_ = rasterizer->createAttachmentTexture(depthFormat_, width_, height_, mips_, filter_, false, 5);
    }
    rasterizer->bindOnChannel(numTextures(), depthTexture_.get());
    GLenum point = depthFormat_ == TF_D24S8 ? GL_DEPTH_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT;
    glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_2D, glTexture(depthTexture_)->name(), 0);
  }
  if (!framebuffer_) return;
  if (attachments_.empty()) {
    glDrawBuffers(0, nullptr);
    glReadBuffer(GL_NONE);
  }
  if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
    KA_LOG(Info) << "creating frame buffer failed";
  }
}

void GLRenderTarget::bindTarget() {
  GLRasterizer* rasterizer = link.rasterizer;
  if (!rasterizer) return;
  if (!created_) createBuffer();
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  applyDrawMask();
  applyViewport();
  glEnable(GL_SCISSOR_TEST);
  bound_ = true;
  rasterizer->dirtyState(ST_TextureBlock);
}

void GLRenderTarget::unbindTarget() {
  if (numTextures() >= 2) {
    GLenum first = GL_COLOR_ATTACHMENT0;
    glDrawBuffers(1, &first);
  }
  bound_ = false;
}

void GLRenderTarget::setDrawMask(int mask) {
  drawMask_ = mask;
  if (bound_) applyDrawMask();
}

void GLRenderTarget::setViewport(ka::Rect<int> const& viewport) {
  viewport_ = viewport;
  if (bound_) applyViewport();
}

void GLRenderTarget::applyDrawMask() {
  int count = numTextures();
  if (count < 2) return;
  GLenum buffers[32];
  int n = 0;
  auto mask = unsigned(drawMask_);
  if ((mask & (mask + 1)) == 0) {
    // 2^k - 1, -1 included: the first k attachments.
    int k = mask == ~0u ? count : std::popcount(mask);
    for (; n < std::min(count, k); ++n) buffers[n] = GL_COLOR_ATTACHMENT0 + n;
  } else {
    for (int bit = 0; bit < 32 && n < count; ++bit) {
      if (mask & (1u << bit)) buffers[n++] = GL_COLOR_ATTACHMENT0 + bit;
    }
  }
  glDrawBuffers(n, n ? buffers : nullptr);
}

void GLRenderTarget::applyViewport() {
  // GL counts rows from the bottom.
  GLint y = height_ - viewport_.bottom;
  glViewport(viewport_.left, y, viewport_.width(), viewport_.height());
  glScissor(viewport_.left, y, viewport_.width(), viewport_.height());
}

ka::Ref<RenderTarget> GLRenderTarget::createSuperTarget(int count, TextureFormat* formats, bool* srgb,
                                                        int* shareIndices, TextureFormat depthFormat,
                                                        bool shareDepth) {
  GLRasterizer* rasterizer = link.rasterizer;
  if (!rasterizer) return nullptr;
  // The shared textures exist once this target's frame buffer does.
  if (!created_) createBuffer();
  std::vector<Attachment> attachments;
  for (int i = 0; i < count; ++i) {
    int share = shareIndices ? shareIndices[i] : -1;
    if (share >= 0 && share < numTextures()) {
      attachments.push_back(attachments_[share]);
    } else {
      attachments.push_back({formats[i], srgb[i], nullptr});
    }
  }
  auto* target = new GLRenderTarget(rasterizer, std::move(attachments), depthFormat, width_, height_, mips_, filter_);
  if (shareDepth) target->depthTexture_ = depthTexture_;
  return rasterizer->registerRenderTarget(target);
}

void GLRenderTarget::copy(int attachment, ka::RefNoCount<Texture> texture, int mip, int x, int y, int dstX, int dstY,
                          int width, int height) {
  GLRasterizer* rasterizer = link.rasterizer;
  if (!rasterizer) return;
  ka::Ref<RenderTarget> old = rasterizer->setRenderTarget(this);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer_);
  glReadBuffer(GL_COLOR_ATTACHMENT0 + attachment);
  rasterizer->bindOnChannel(0, texture.get());
  glCopyTexSubImage2D(GL_TEXTURE_2D, mip, dstX, dstY, x, y, width, height);
  rasterizer->setRenderTarget(old);
}

void GLRenderTarget::copy(int attachment, ka::RefNoCount<RenderTarget> target, int dstAttachment, ClearFlags flags,
                          int srcX, int srcY, int dstX, int dstY, int width, int height, TextureFilter filter) {
  GLRasterizer* rasterizer = link.rasterizer;
  if (!rasterizer) return;
  auto* destination = static_cast<GLRenderTarget*>(target.get());
  if (destination && !destination->created_) destination->createBuffer();
  ka::Ref<RenderTarget> old = rasterizer->setRenderTarget(this);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer_);
  if (attachment < numTextures()) glReadBuffer(GL_COLOR_ATTACHMENT0 + attachment);
  GLbitfield mask = 0;
  if (flags & CLEAR_Color) mask |= GL_COLOR_BUFFER_BIT;
  if (depthFormat_ != TF_D0) {
    if (flags & CLEAR_Depth) mask |= GL_DEPTH_BUFFER_BIT;
    if (flags & CLEAR_Stencil) mask |= GL_STENCIL_BUFFER_BIT;
  }
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, destination ? destination->framebuffer_ : 0);
  if (destination && destination->numTextures() >= 2) {
    GLenum buffer = GL_COLOR_ATTACHMENT0 + dstAttachment;
    glDrawBuffers(1, &buffer);
  }
  glBlitFramebuffer(srcX, srcY, srcX + width, srcY + height, dstX, dstY, dstX + width, dstY + height, mask,
                    filter == TF_MagLinear ? GL_LINEAR : GL_NEAREST);
  rasterizer->setRenderTarget(old);
  // Still current: setRenderTarget did nothing, and draws must not go on into the destination.
  if (old.get() == this) glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
}

size_t GLRenderTarget::attachmentBytes(int attachment) const {
  auto const* texture = static_cast<GLTexture const*>(attachments_[attachment].texture.get());
  TextureFormatInfo transfer = getTextureFormatInfo(texture->format());
  transfer.bytesPerBlock = texture->pixelFormat().transferBytesPerBlock;
  return transfer.rowCount(height_) * transfer.rowSize(width_);
}

bool GLRenderTarget::downloadTextureData(int attachment, void* dst) {
  if (!link.rasterizer || attachment < 0 || attachment >= numTextures()) return false;
  if (!created_) createBuffer();
  FramebufferBindingScope keep(GL_READ_FRAMEBUFFER_BINDING, GL_READ_FRAMEBUFFER);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer_);
  glReadBuffer(GL_COLOR_ATTACHMENT0 + attachment);
  GLPixelFormat const& pixels = glTexture(attachments_[attachment].texture)->pixelFormat();
  glReadPixels(0, 0, width_, height_, pixels.format, pixels.type, dst);
  return true;
}

void GLRenderTarget::prepareAsyncDownload(int attachment) {
  if (!bound_) ka::die("Render target must be bound to perform an async download");
  if (attachment < 0 || attachment >= numTextures()) ka::die("no such attachment for an async download");
  packBuffers_.resize(numTextures(), 0);
  prepared_.resize(numTextures(), false);
  GLuint& buffer = packBuffers_[attachment];
  if (!buffer) glGenBuffers(1, &buffer);
  glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  glBufferData(GL_PIXEL_PACK_BUFFER, GLsizeiptr(attachmentBytes(attachment)), nullptr, GL_STREAM_READ);
  glReadBuffer(GL_COLOR_ATTACHMENT0 + attachment);
  GLPixelFormat const& pixels = glTexture(attachments_[attachment].texture)->pixelFormat();
  glReadPixels(0, 0, width_, height_, pixels.format, pixels.type, nullptr);
  glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  prepared_[attachment] = true;
}

// Each prepare allows one process or cancel: mapping an orphaned store would give no pixels.
GLuint GLRenderTarget::takePrepared(int attachment) {
  if (attachment < 0 || attachment >= int(prepared_.size()) || !prepared_[attachment]) {
    ka::die("Render target has not been prepared for async download");
  }
  prepared_[attachment] = false;
  return packBuffers_[attachment];
}

void GLRenderTarget::processAsyncDownload(int attachment, std::function<void(void const*)> const& callback) {
  glBindBuffer(GL_PIXEL_PACK_BUFFER, takePrepared(attachment));
  if (void const* pixels = glMapBuffer(GL_PIXEL_PACK_BUFFER, GL_READ_ONLY)) {
    callback(pixels);
    glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
  }
  glBufferData(GL_PIXEL_PACK_BUFFER, 0, nullptr, GL_STREAM_READ);
  glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
}

void GLRenderTarget::cancelAsyncDownload(int attachment) {
  glBindBuffer(GL_PIXEL_PACK_BUFFER, takePrepared(attachment));
  glBufferData(GL_PIXEL_PACK_BUFFER, 0, nullptr, GL_STREAM_READ);
  glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
}

void GLRenderTarget::orphan() {
  std::lock_guard<std::mutex> lock(link.mutex);
  if (framebuffer_) glDeleteFramebuffers(1, &framebuffer_);
  framebuffer_ = 0;
  for (GLuint& buffer : packBuffers_) {
    if (buffer) glDeleteBuffers(1, &buffer);
    buffer = 0;
  }
  prepared_.assign(prepared_.size(), false);
  link.rasterizer = nullptr;
}

}  // namespace vorn::ras
