// The three fixed-function state objects on GL. Each mirrors what GL holds in class-wide caches, so
// that applying a state issues only the calls whose values differ from the last applied.
#pragma once

#include <epoxy/gl.h>

#include "vorn/rasterizer.h"

namespace vorn::ras {

// Back to GL's initial values, for a rasterizer starting on a fresh context: the caches are
// process-wide and would otherwise describe the previous context.
void resetGlStateCaches();

class GlHalDepthState : public HalDepthState {
 public:
  explicit GlHalDepthState(Desc const& desc);
  void apply() override;

  static GLenum sCurrentDepthFunc;
  static bool sCurrentDepthMask;
  static bool sDepthEnabled;

 private:
  GLenum func_;
  bool writeMask_;
  bool enable_;
};

class GlHalRasterizerState : public HalRasterizerState {
 public:
  explicit GlHalRasterizerState(Desc const& desc);
  void apply() override;

  static bool sCurrentSolid;
  static uint8_t sCurrentWriteMask;
  static bool sCurrentCullEnabled;
  static GLenum sCurrentCullMode;
  static bool sCurrentDither;
  static int32_t sCurrentDepthBias;
  static float sCurrentDepthBiasClamp;
  static float sCurrentSlopScaledDepthBias;

 private:
  bool solid_;
  uint8_t writeMask_;
  bool cullEnabled_;
  GLenum cullMode_;
  bool dither_;
  // Kept, never sent: they only make two states distinct.
  int32_t depthBias_;
  float depthBiasClamp_;
  float slopeScaledDepthBias_;
};

class GlHalBlendState : public HalBlendState {
 public:
  explicit GlHalBlendState(Desc const& desc);
  void apply() override;

  static bool sCurrentEnabled;
  static GLenum sCurrentSrcBlend;
  static GLenum sCurrentDestBlend;
  static GLenum sCurrentBlendOp;

 private:
  bool enable_;
  GLenum src_;
  GLenum dest_;
  // Kept, never sent: it only makes two states distinct.
  GLenum op_;
};

}  // namespace vorn::ras
