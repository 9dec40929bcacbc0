#include "vorn/gl_rasterizer_private/gl_states.h"

#include <gtest/gtest.h>

#include "support/gl_recorder.h"

namespace {

using namespace vorn::ras;
using Calls = std::vector<std::string>;

std::string call(char const* name, GLenum value) { return std::string(name) + " " + std::to_string(value); }

class GLStatesTest : public ::testing::Test {
 protected:
  GLStatesTest() { resetGlStateCaches(); }
  GLRecorder gl;
};

TEST_F(GLStatesTest, ApplyingWhatGLAlreadyHasCostsNoCall) {
  HalDepthState::Desc depth;
  depth.enable = true;
  depth.writeMask = true;
  depth.func = 3;
  GlHalDepthState state(depth);
  state.apply();
  EXPECT_EQ(gl.take(), (Calls{call("DepthFunc", GL_LEQUAL), call("Enable", GL_DEPTH_TEST)}))
      << "the mask was already on";
  state.apply();
  EXPECT_EQ(gl.take(), Calls{});

  // Only what differs: the function stays, the mask goes off.
  depth.writeMask = false;
  GlHalDepthState noWrite(depth);
  noWrite.apply();
  EXPECT_EQ(gl.take(), Calls{"DepthMask 0"});
}

TEST_F(GLStatesTest, RasterizerStatesSendTheirChangesInOrder) {
  HalRasterizerState::Desc desc;
  desc.solid = false;
  desc.writeMask = 8 | 1;  // red and alpha
  desc.cullMode = 0;
  desc.dither = false;
  desc.depthBias = 5;  // kept, never sent
  GlHalRasterizerState lines(desc);
  lines.apply();
  EXPECT_EQ(gl.take(), (Calls{call("PolygonMode", GL_LINE), call("Enable", GL_CULL_FACE),
                               call("CullFace", GL_FRONT), "ColorMask 1001", call("Disable", GL_DITHER)}));
  lines.apply();
  EXPECT_EQ(gl.take(), Calls{});

  desc.cullMode = 3;
  GlHalRasterizerState noCull(desc);
  noCull.apply();
  EXPECT_EQ(gl.take(), (Calls{call("Disable", GL_CULL_FACE), call("CullFace", GL_BACK)}));
}

TEST_F(GLStatesTest, ABlendStateSendsItsFactorsOnlyWhenEitherChanges) {
  HalBlendState::Desc desc;
  desc.enable = true;
  desc.srcBlend = 6;
  desc.destBlend = 8;
  desc.blendOp = 1;  // kept, never sent
  GlHalBlendState alpha(desc);
  alpha.apply();
  EXPECT_EQ(gl.take(), (Calls{call("Enable", GL_BLEND), "BlendFunc " + std::to_string(GL_SRC_ALPHA) + " " +
                                                           std::to_string(GL_ONE_MINUS_SRC_ALPHA)}));
  GlHalBlendState disabled{HalBlendState::Desc{}};
  disabled.apply();
  EXPECT_EQ(gl.take(), (Calls{call("Disable", GL_BLEND), "BlendFunc " + std::to_string(GL_ONE) + " 0"}))
      << "a disabled blend holds one and zero";
}

TEST_F(GLStatesTest, AFreshStartForgetsWhatThePreviousContextWasGiven) {
  HalBlendState::Desc desc;
  desc.enable = true;
  desc.srcBlend = 1;
  desc.destBlend = 1;
  GlHalBlendState additive(desc);
  additive.apply();
  gl.take();
  additive.apply();
  EXPECT_EQ(gl.take(), Calls{});
  // A new context starts with blending off: without the reset, the cache would still say "on" and
  // the new context would never be told.
  resetGlStateCaches();
  additive.apply();
  EXPECT_EQ(gl.take().size(), 2u);
}

}  // namespace
