// GLSL shaders loaded through the virtual filesystem with their includes expanded, compiled on
// the rendering thread.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <epoxy/gl.h>

#include "vorn/rasterizer.h"

namespace vorn::ras {

class GlHalShaderProgram;

class GlShaderBuilder {
 public:
  static constexpr size_t kMaxShaderBytes = 1048576;
  static constexpr size_t kMaxIncludeBytes = 131072;

  virtual ~GlShaderBuilder() = default;
  virtual GLenum getShaderType() const = 0;
  virtual std::string const& getNameInt() const = 0;

  // Loads "/shaders/<name>", expands its includes and compiles it; logs why when it can't.
  bool buildShader(ka::RefNoCount<Filesystem> fs, std::string const& name);
  // The text with each `#include "file"` replaced by the file's text; includes are not nested.
  static bool loadAndPreprocessShaderCode(ka::RefNoCount<Filesystem> fs, std::string const& name, std::string& out);
  // Include texts are kept for the run; a rasterizer starting afresh forgets them.
  static void resetIncludeCache() { sIncludeFiles.clear(); }

  GLuint name() const { return shader_; }
  std::string const& source() const { return source_; }
  void addProgram(GlHalShaderProgram* program) { programs_.push_back(program); }
  void removeProgram(GlHalShaderProgram* program);

 private:
  static std::map<std::string, std::string> sIncludeFiles;

  std::string source_;
  GLuint shader_ = 0;
  std::vector<GlHalShaderProgram*> programs_;
};

class GlHalVertexShader : public HalVertexShader, public GlShaderBuilder {
 public:
  GLenum getShaderType() const override { return GL_VERTEX_SHADER; }
  std::string const& getNameInt() const override { return fileName_; }
  void apply() override {}
  bool create(ka::RefNoCount<Filesystem> fs, std::string const& name);

 private:
  std::string fileName_;
};

class GlHalPixelShader : public HalPixelShader, public GlShaderBuilder {
 public:
  GLenum getShaderType() const override { return GL_FRAGMENT_SHADER; }
  std::string const& getNameInt() const override { return fileName_; }
  void apply() override {}
  bool create(ka::RefNoCount<Filesystem> fs, std::string const& name);

 private:
  std::string fileName_;
};

}  // namespace vorn::ras
