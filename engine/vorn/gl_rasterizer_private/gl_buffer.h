// Vertex and index buffers whose data waits in CPU memory until the first bind on the rendering thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include <epoxy/gl.h>

#include "gl_resource.h"
#include "ka/dlist.h"
#include "vorn/rasterizer.h"

namespace vorn::ras {

// The storage both kinds share; `target` is GL_ARRAY_BUFFER or GL_ELEMENT_ARRAY_BUFFER.
class GLBufferStore {
 public:
  GLBufferStore(GLRasterizer* rasterizer, GLenum target, size_t size, BufferUse use);
  ~GLBufferStore();

  void setBits(void const* data, size_t length);
  // Binds, creating the GL buffer on first use and sending pending data.
  void bindBuffer();
  void* map();
  void unmap();
  bool isMapped();
  void updateRange(int offset, int length, void const* data);
  void orphan();

  size_t size() const { return size_; }
  GLuint name() const { return name_; }
  uint64_t descriptor = 0;
  GLResourceLink link;

 private:
  void bindLocked();

  GLenum target_;
  size_t size_;
  GLenum usage_;
  GLuint name_ = 0;
  void* pending_ = nullptr;
  bool mapped_ = false;
};

class GLVertexBuffer : public VertexBuffer, public ka::DListItem {
 public:
  GLVertexBuffer(GLRasterizer* rasterizer, size_t size, BufferUse use);

  void release() override;
  void setBits(void const* data, size_t length) override { store.setBits(data, length); }
  void* map() override { return store.map(); }
  // Ranged mapping is off in this back end.
  void* mapRange(int, int) override { return nullptr; }
  void unmap() override { store.unmap(); }
  bool isMapped() override { return store.isMapped(); }
  void updateRange(int offset, int length, void* data) override { store.updateRange(offset, length, data); }
  void bindBuffer() { store.bindBuffer(); }
  void orphan() { store.orphan(); }
  uint32_t getSize() const { return uint32_t(store.size()); }

  GLBufferStore store;
};

class GLIndexBuffer : public IndexBuffer, public ka::DListItem {
 public:
  GLIndexBuffer(GLRasterizer* rasterizer, IndexFormat format, size_t count, BufferUse use);

  void release() override;
  void setBits(void const* data, size_t length) override { store.setBits(data, length); }
  void bindBuffer() { store.bindBuffer(); }
  void orphan() { store.orphan(); }
  IndexFormat format() const { return format_; }
  uint32_t getSize() const { return uint32_t(store.size()); }

  GLBufferStore store;

 private:
  IndexFormat format_;
};

}  // namespace vorn::ras
