// Effects and techniques: every shader pair and render state the renderer uses is data, declared
// in effect files and selected by name while drawing.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ka/counted.h"
#include "ka/json.h"
#include "vorn/filesystem.h"
#include "vorn/parameterblock.h"
#include "vorn/rasterizer.h"

namespace vorn {

// One shader pair with its depth, blend and rasterizer states.
class RasRenTechnique {
 public:
  static constexpr size_t kTextureSlots = 20;

  explicit RasRenTechnique(ras::Rasterizer& rasterizer) : rasterizer_(rasterizer) {}

  // False, having logged why, when a shader is missing or the program does not link. A keyword
  // that isn't known, or is missing where it has no default, ends the process naming `file`.
  bool loadFromJson(ka::RefNoCount<Filesystem> fs, ka::Json const& json, std::string const& file);
  // Sets the states and the program on the rasterizer.
  void begin();
  void end() {}
  // Applies a material's bound parameters to the program: vectors then matrices, and textures.
  void setParameters(ka::RefNoCount<BoundParameterBlock const> block, bool parameters, bool textures);

  std::string const& name() const { return name_; }
  ras::HalDepthState* depthState() const { return depth_.get(); }
  ras::HalBlendState* blendState() const { return blend_.get(); }
  ras::HalRasterizerState* rasterizerState() const { return rasterizerState_.get(); }
  ras::HalShaderProgram* program() const { return program_.get(); }
  // Textures a pass may bind; empty at load.
  std::vector<ka::Ref<Texture>>& textures() { return textures_; }

 private:
  ras::Rasterizer& rasterizer_;
  std::string name_;
  ka::Ref<ras::HalDepthState> depth_;
  ka::Ref<ras::HalRasterizerState> rasterizerState_;
  ka::Ref<ras::HalBlendState> blend_;
  ka::Ref<ras::HalShaderProgram> program_;
  std::vector<ka::Ref<Texture>> textures_;
};

// A named set of techniques with the flags that put it in the renderer's passes.
class RasRenEffect : public ka::Counted {
 public:
  RasRenEffect(ras::Rasterizer& rasterizer, ka::RefNoCount<Filesystem> fs) : rasterizer_(rasterizer), fs_(fs.ref()) {}

  // False when the definition is unusable or no technique survived; logs why.
  bool loadFromJson(ka::Json const& json, std::string const& file);
  // The technique of that name ("Default" for an empty one) becomes current; an unknown name
  // keeps the current one, which a pass without its own technique relies on. May be null.
  RasRenTechnique* selectTechnique(std::string_view name);

  // The last selected; may be null.
  RasRenTechnique* currentTechnique() const { return current_; }
  bool hasTechnique(std::string_view name) const { return techniques_.find(name) != techniques_.end(); }
  std::string const& name() const { return name_; }
  bool virtualTextured() const { return virtualTextured_; }
  bool hdr() const { return hdr_; }
  bool lit() const { return lit_; }
  bool transparent() const { return transparent_; }
  size_t techniqueCount() const { return techniques_.size(); }

 private:
  ras::Rasterizer& rasterizer_;
  ka::Ref<Filesystem> fs_;
  std::map<std::string, std::unique_ptr<RasRenTechnique>, std::less<>> techniques_;
  RasRenTechnique* current_ = nullptr;
  std::string name_;
  bool virtualTextured_ = false;
  bool hdr_ = false;
  bool lit_ = false;
  bool transparent_ = false;
};

}  // namespace vorn
