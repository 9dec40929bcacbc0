#include "gl_vertex_layout.h"

#include <bit>

#include "gl_rasterizer.h"
#include "vorn/rasmesh.h"

namespace vorn::ras {

uint32_t GlHalVertexLayout::sEnabledIndices = 0;

namespace {

struct GLFormat {
  GLenum type;
  bool normalized;
};

GLFormat glFormat(HalVertexLayout::Format format) {
  switch (format) {
    case HalVertexLayout::FMT_HalfFloat: return {GL_HALF_FLOAT, false};
    case HalVertexLayout::FMT_Int32: return {GL_INT, false};
    case HalVertexLayout::FMT_UInt32: return {GL_UNSIGNED_INT, false};
    case HalVertexLayout::FMT_Int16: return {GL_SHORT, false};
    case HalVertexLayout::FMT_UInt16: return {GL_UNSIGNED_SHORT, false};
    case HalVertexLayout::FMT_Int8: return {GL_BYTE, false};
    case HalVertexLayout::FMT_UInt8: return {GL_UNSIGNED_BYTE, false};
    case HalVertexLayout::FMT_Int8Normalized: return {GL_BYTE, true};
    case HalVertexLayout::FMT_UInt8Normalized: return {GL_UNSIGNED_BYTE, true};
    default: return {GL_FLOAT, false};
  }
}

}  // namespace

void GlHalVertexLayout::buildBindingData(std::vector<BindAttrib>& bindings) const {
  for (auto const& stream : rasterizer_.streamSources()) {
    if (!stream) continue;
    for (VertexElement const& wanted : elements_) {
      for (VertexElement const& given : stream->elements()) {
        if (wanted.offset == -1 || wanted.usage != given.usage || wanted.usageIndex != given.usageIndex ||
            given.offset == -1) {
          continue;
        }
        GLFormat format = glFormat(given.format);
        // The program's count: a shader's vec4 reads a 4-byte colour whose element says one.
        bindings.push_back({GLuint(wanted.offset), GLint(wanted.count), format.type, format.normalized, given.offset,
                            GLsizei(stream->stride())});
      }
    }
  }
}

void GlHalVertexLayout::rebind() {
  auto const& streams = rasterizer_.streamSources();
  if (streams.empty() || !streams[0]) return;
  VertexFormat format = streams[0]->format();
  if (format >= VF_None) return;
  std::vector<BindAttrib>& bindings = perFormat_[format];
  if (bindings.empty()) buildBindingData(bindings);
  current_ = &bindings;
}

void GlHalVertexLayout::apply() {
  auto const& streams = rasterizer_.streamSources();
  if (streams.empty() || !streams[0] || !current_) return;
  // Every attribute reads from the first stream's buffer.
  static_cast<GLVertexBuffer*>(streams[0]->buffer())->bindBuffer();
  uint32_t needed = 0;
  for (BindAttrib const& b : *current_) {
    uint32_t bit = 1u << b.location;
    if (!(sEnabledIndices & bit)) glEnableVertexAttribArray(b.location);
    needed |= bit;
    glVertexAttribPointer(b.location, b.count, b.glType, b.normalized ? GL_TRUE : GL_FALSE, b.stride,
                          reinterpret_cast<void const*>(uintptr_t(b.offset)));
  }
  for (uint32_t off = sEnabledIndices & ~needed; off; off &= off - 1) {
    glDisableVertexAttribArray(GLuint(std::countr_zero(off)));
  }
  sEnabledIndices = needed;
}

}  // namespace vorn::ras
