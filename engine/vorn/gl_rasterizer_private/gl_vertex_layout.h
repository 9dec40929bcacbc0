// Ties a program's attributes to the vertex streams' elements: by usage and index, built once per
// vertex format and applied with as few attribute-array switches as possible.
#pragma once

#include <array>
#include <vector>

#include <epoxy/gl.h>

#include "vorn/rasterizer.h"

namespace vorn::ras {

class GLRasterizer;

class GlHalVertexLayout : public HalVertexLayout {
 public:
  struct BindAttrib {
    GLuint location;
    GLint count;
    GLenum glType;
    bool normalized;
    int32_t offset;
    GLsizei stride;
  };

  GlHalVertexLayout(GLRasterizer& rasterizer, std::vector<VertexElement> elements)
      : rasterizer_(rasterizer), elements_(std::move(elements)) {}
  // Picks the bindings for the first stream's vertex format, building them on first use.
  void rebind() override;
  // Binds the first stream's buffer and points the program's attributes into it.
  void apply() override;
  void buildBindingData(std::vector<BindAttrib>& bindings) const;

  // The attribute arrays now enabled, one bit per location; they belong to the one vertex array
  // object, so a fresh rasterizer starts from none.
  static uint32_t sEnabledIndices;

 private:
  GLRasterizer& rasterizer_;
  std::vector<VertexElement> elements_;
  std::array<std::vector<BindAttrib>, VF_None> perFormat_;
  std::vector<BindAttrib> const* current_ = nullptr;
};

}  // namespace vorn::ras
