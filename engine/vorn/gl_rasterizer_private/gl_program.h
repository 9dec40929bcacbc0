// A linked GLSL program and what it was found to need: attributes matched to mesh data by name,
// uniforms matched to material parameters through the binding table's slots.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <epoxy/gl.h>

#include "gl_shader.h"
#include "vorn/rasterizer.h"

namespace vorn::ras {

class GLRasterizer;
class GlHalParameterBlock;
class GlHalTextureBlock;
class GlHalVertexLayout;

struct GlUniform {
  GLint location = -1;
  GLint size = 0;
  GLenum type = 0;
  int textureUnit = -1;  // -1 for a uniform that isn't a sampler
  GlUniform const* sizeUniform = nullptr;  // the sampler's "<name>_size" companion
  int sizeUniformSlot = -1;
};

class GlHalShaderProgram : public HalShaderProgram {
 public:
  explicit GlHalShaderProgram(GLRasterizer& rasterizer);
  // Takes itself off its shaders' lists; GL program names are never deleted.
  ~GlHalShaderProgram() override;

  // Links, then discovers attributes and uniforms; false, having logged why, when it does not link.
  bool create(ka::RefNoCount<HalVertexShader> vertexShader, ka::RefNoCount<HalPixelShader> pixelShader);
  void apply() override;
  HalVertexLayout* vertexLayout() const override;
  HalParameterBlock* parameterBlock() const override;
  HalTextureBlock* textureBlock() const override;

  GLuint name() const { return program_; }
  std::vector<HalVertexLayout::VertexElement> const& attributes() const { return attributes_; }
  // By name without a leading "u_" and a trailing "[0]".
  std::map<std::string, GlUniform> const& uniforms() const { return uniforms_; }

 private:
  void readAttributes();
  void readUniforms();

  GLRasterizer& rasterizer_;
  ka::Ref<GlHalVertexShader> vertexShader_;
  ka::Ref<GlHalPixelShader> pixelShader_;
  ka::Ref<GlHalVertexLayout> layout_;
  ka::Ref<GlHalParameterBlock> parameters_;
  ka::Ref<GlHalTextureBlock> textures_;
  GLuint program_ = 0;
  std::vector<HalVertexLayout::VertexElement> attributes_;
  std::map<std::string, GlUniform> uniforms_;
  int nextTextureUnit_ = 0;
};

}  // namespace vorn::ras
