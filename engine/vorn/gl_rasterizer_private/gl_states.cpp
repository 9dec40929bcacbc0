#include "gl_states.h"

#include "ka/die.h"

namespace vorn::ras {

namespace {

GLenum const kCompareFuncs[] = {GL_EQUAL, GL_NOTEQUAL, GL_LESS, GL_LEQUAL, GL_GEQUAL, GL_GREATER, GL_NEVER, GL_ALWAYS};
GLenum const kBlendFactors[] = {GL_ZERO,      GL_ONE,       GL_SRC_COLOR,           GL_DST_COLOR,
                                GL_ONE_MINUS_SRC_COLOR, GL_ONE_MINUS_DST_COLOR, GL_SRC_ALPHA,
                                GL_DST_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE_MINUS_DST_ALPHA};
GLenum const kBlendOps[] = {GL_FUNC_ADD, GL_FUNC_SUBTRACT, GL_MIN, GL_MAX};

template <size_t N>
GLenum lookup(GLenum const (&table)[N], uint32_t index, char const* what) {
  if (index >= N) ka::dief("no such %s: %u", what, index);
  return table[index];
}

void setEnabled(GLenum capability, bool on) {
  if (on) {
    glEnable(capability);
  } else {
    glDisable(capability);
  }
}

}  // namespace

GLenum GlHalDepthState::sCurrentDepthFunc;
bool GlHalDepthState::sCurrentDepthMask;
bool GlHalDepthState::sDepthEnabled;
bool GlHalRasterizerState::sCurrentSolid;
uint8_t GlHalRasterizerState::sCurrentWriteMask;
bool GlHalRasterizerState::sCurrentCullEnabled;
GLenum GlHalRasterizerState::sCurrentCullMode;
bool GlHalRasterizerState::sCurrentDither;
int32_t GlHalRasterizerState::sCurrentDepthBias;
float GlHalRasterizerState::sCurrentDepthBiasClamp;
float GlHalRasterizerState::sCurrentSlopScaledDepthBias;
bool GlHalBlendState::sCurrentEnabled;
GLenum GlHalBlendState::sCurrentSrcBlend;
GLenum GlHalBlendState::sCurrentDestBlend;
GLenum GlHalBlendState::sCurrentBlendOp;

void resetGlStateCaches() {
  GlHalDepthState::sCurrentDepthFunc = GL_LESS;
  GlHalDepthState::sCurrentDepthMask = true;
  GlHalDepthState::sDepthEnabled = false;
  GlHalRasterizerState::sCurrentSolid = true;
  GlHalRasterizerState::sCurrentWriteMask = 15;
  GlHalRasterizerState::sCurrentCullEnabled = false;
  GlHalRasterizerState::sCurrentCullMode = GL_BACK;
  GlHalRasterizerState::sCurrentDither = true;
  GlHalRasterizerState::sCurrentDepthBias = 0;
  GlHalRasterizerState::sCurrentDepthBiasClamp = 0;
  GlHalRasterizerState::sCurrentSlopScaledDepthBias = 0;
  GlHalBlendState::sCurrentEnabled = false;
  GlHalBlendState::sCurrentSrcBlend = GL_ONE;
  GlHalBlendState::sCurrentDestBlend = GL_ZERO;
  GlHalBlendState::sCurrentBlendOp = GL_FUNC_ADD;
}

GlHalDepthState::GlHalDepthState(Desc const& desc)
    : func_(lookup(kCompareFuncs, desc.func, "depth function")), writeMask_(desc.writeMask), enable_(desc.enable) {}

void GlHalDepthState::apply() {
  if (func_ != sCurrentDepthFunc) {
    glDepthFunc(func_);
    sCurrentDepthFunc = func_;
  }
  if (writeMask_ != sCurrentDepthMask) {
    glDepthMask(writeMask_ ? GL_TRUE : GL_FALSE);
    sCurrentDepthMask = writeMask_;
  }
  if (enable_ != sDepthEnabled) {
    setEnabled(GL_DEPTH_TEST, enable_);
    sDepthEnabled = enable_;
  }
}

GlHalRasterizerState::GlHalRasterizerState(Desc const& desc)
    : solid_(desc.solid),
      writeMask_(desc.writeMask),
      cullEnabled_(desc.cullMode != 3),
      cullMode_(desc.cullMode == 0 ? GL_FRONT : desc.cullMode == 2 ? GL_FRONT_AND_BACK : GL_BACK),
      dither_(desc.dither),
      depthBias_(desc.depthBias),
      depthBiasClamp_(desc.depthBiasClamp),
      slopeScaledDepthBias_(desc.slopeScaledDepthBias) {}

void GlHalRasterizerState::apply() {
  if (solid_ != sCurrentSolid) {
    glPolygonMode(GL_FRONT_AND_BACK, solid_ ? GL_FILL : GL_LINE);
    sCurrentSolid = solid_;
  }
  if (cullEnabled_ != sCurrentCullEnabled) {
    setEnabled(GL_CULL_FACE, cullEnabled_);
    sCurrentCullEnabled = cullEnabled_;
  }
  if (cullMode_ != sCurrentCullMode) {
    glCullFace(cullMode_);
    sCurrentCullMode = cullMode_;
  }
  if (writeMask_ != sCurrentWriteMask) {
    glColorMask(writeMask_ & 8 ? GL_TRUE : GL_FALSE, writeMask_ & 4 ? GL_TRUE : GL_FALSE,
                writeMask_ & 2 ? GL_TRUE : GL_FALSE, writeMask_ & 1 ? GL_TRUE : GL_FALSE);
    sCurrentWriteMask = writeMask_;
  }
  if (dither_ != sCurrentDither) {
    setEnabled(GL_DITHER, dither_);
    sCurrentDither = dither_;
  }
}

GlHalBlendState::GlHalBlendState(Desc const& desc)
    : enable_(desc.enable),
      src_(desc.enable ? lookup(kBlendFactors, desc.srcBlend, "blend factor") : GL_ONE),
      dest_(desc.enable ? lookup(kBlendFactors, desc.destBlend, "blend factor") : GL_ZERO),
      op_(desc.enable ? lookup(kBlendOps, desc.blendOp, "blend operator") : GL_FUNC_ADD) {}

void GlHalBlendState::apply() {
  if (enable_ != sCurrentEnabled) {
    setEnabled(GL_BLEND, enable_);
    sCurrentEnabled = enable_;
  }
  if (src_ != sCurrentSrcBlend || dest_ != sCurrentDestBlend) {
    glBlendFunc(src_, dest_);
    sCurrentSrcBlend = src_;
    sCurrentDestBlend = dest_;
  }
}

}  // namespace vorn::ras
