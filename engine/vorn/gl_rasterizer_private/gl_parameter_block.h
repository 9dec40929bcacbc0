// A program's uniforms by binding slot: values set by slot, sent to GL when the block is applied.
#pragma once

#include <memory>
#include <vector>

#include "gl_program.h"

namespace vorn::ras {

class GlHalParameterBlock : public HalParameterBlock {
 public:
  enum Kind { KIND_Float, KIND_Vec2, KIND_Vec3, KIND_Vec4, KIND_Matrix, KIND_MatrixArray, KIND_None };

  explicit GlHalParameterBlock(GLRasterizer& rasterizer) : rasterizer_(rasterizer) {}
  void apply() override;
  // Slots out of range or without a uniform are ignored; the value is not compared with the old.
  void setMatrix(int slot, ka::Mat4x4f const& value) override;
  void setMatrixArray(int slot, ka::Mat4x4f const* values, int count) override;
  void setVector(int slot, ka::Vec4<float> const& value) override;
  // The uniforms that are not samplers.
  void updateBindingSlots(std::map<std::string, GlUniform> const& uniforms);

 private:
  struct Slot {
    Kind kind = KIND_None;
    GlUniform const* uniform = nullptr;
    float value[4] = {};
    std::vector<ka::Mat4x4f> matrices;
  };

  void setMatrices(int slot, Kind kind, ka::Mat4x4f const* values, int count);

  GLRasterizer& rasterizer_;
  std::vector<Slot> slots_;
  std::vector<Slot*> bound_;  // slots with a uniform, the list apply walks
};

class GlHalTextureBlock : public HalTextureBlock {
 public:
  GlHalTextureBlock(GLRasterizer& rasterizer, GlHalParameterBlock& parameters)
      : rasterizer_(rasterizer), parameters_(parameters) {}
  // Binds each sampler's texture on its unit at once.
  void apply() override;
  // Also sets the sampler's size companion to (w, h, 1/w, 1/h), or all ones for no texture.
  void setTexture(int slot, ka::RefNoCount<Texture const> texture) override;
  void setTextureBuffer(int slot, ka::RefNoCount<TextureBuffer const> buffer) override;
  // The samplers.
  void updateBindingSlots(std::map<std::string, GlUniform> const& uniforms);

 private:
  enum Kind { KIND_Texture, KIND_TextureBuffer, KIND_None };
  struct Slot {
    Kind kind = KIND_None;
    GlUniform const* uniform = nullptr;
    // Counted, so that a texture released while a program still names it is not bound dead.
    ka::Ref<Texture const> texture;
    ka::Ref<TextureBuffer const> buffer;
  };

  GLRasterizer& rasterizer_;
  GlHalParameterBlock& parameters_;
  std::vector<Slot> slots_;
  std::vector<Slot*> bound_;
};

}  // namespace vorn::ras
