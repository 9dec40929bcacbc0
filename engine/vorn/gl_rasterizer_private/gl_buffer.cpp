#include "gl_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "gl_rasterizer.h"

namespace vorn::ras {

namespace {

GLenum glUsage(BufferUse use) {
  switch (use) {
    case BU_Dynamic: return GL_DYNAMIC_DRAW;
    case BU_Stream: return GL_STREAM_DRAW;
    default: return GL_STATIC_DRAW;
  }
}

}  // namespace

GLBufferStore::GLBufferStore(GLRasterizer* rasterizer, GLenum target, size_t size, BufferUse use)
    : link(rasterizer), target_(target), size_(size), usage_(glUsage(use)) {}

GLBufferStore::~GLBufferStore() {
  if (name_) glDeleteBuffers(1, &name_);
  std::free(pending_);
}

void GLBufferStore::setBits(void const* data, size_t length) {
  std::lock_guard<std::mutex> lock(link.mutex);
  if (!pending_) pending_ = std::malloc(std::max<size_t>(size_, 1));
  std::memcpy(pending_, data, std::min(size_, length));
}

void GLBufferStore::bindBuffer() {
  std::lock_guard<std::mutex> lock(link.mutex);
  bindLocked();
}

void GLBufferStore::bindLocked() {
  if (!name_) {
    glGenBuffers(1, &name_);
    glBindBuffer(target_, name_);
    glBufferData(target_, GLsizeiptr(size_), pending_, usage_);
  } else {
    glBindBuffer(target_, name_);
    if (!pending_) return;
    if (void* mapped = glMapBuffer(target_, GL_WRITE_ONLY)) {
      std::memcpy(mapped, pending_, size_);
      glUnmapBuffer(target_);
    }
  }
  std::free(pending_);
  pending_ = nullptr;
}

void* GLBufferStore::map() {
  std::lock_guard<std::mutex> lock(link.mutex);
  bindLocked();
  void* mapped = glMapBuffer(target_, GL_WRITE_ONLY);
  mapped_ = mapped != nullptr;
  return mapped;
}

void GLBufferStore::unmap() {
  std::lock_guard<std::mutex> lock(link.mutex);
  glBindBuffer(target_, name_);
  glUnmapBuffer(target_);
  mapped_ = false;
}

bool GLBufferStore::isMapped() {
  std::lock_guard<std::mutex> lock(link.mutex);
  return mapped_;
}

void GLBufferStore::updateRange(int offset, int length, void const* data) {
  std::lock_guard<std::mutex> lock(link.mutex);
  bindLocked();
  glBufferSubData(target_, offset, length, data);
}

void GLBufferStore::orphan() {
  std::lock_guard<std::mutex> lock(link.mutex);
  if (name_) glDeleteBuffers(1, &name_);
  name_ = 0;
  std::free(pending_);
  pending_ = nullptr;
  link.rasterizer = nullptr;
}

GLVertexBuffer::GLVertexBuffer(GLRasterizer* rasterizer, size_t size, BufferUse use)
    : store(rasterizer, GL_ARRAY_BUFFER, size, use) {}

void GLVertexBuffer::release() { releaseGLResource(this, store.link, store.descriptor, getSize()); }

GLIndexBuffer::GLIndexBuffer(GLRasterizer* rasterizer, IndexFormat format, size_t count, BufferUse use)
    : store(rasterizer, GL_ELEMENT_ARRAY_BUFFER, count * getIndexFormatInfo(format).bytesPerIndex, use),
      format_(format) {}

void GLIndexBuffer::release() { releaseGLResource(this, store.link, store.descriptor, getSize()); }

}  // namespace vorn::ras
