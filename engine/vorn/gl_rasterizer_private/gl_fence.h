// A point in the command stream whose passing can be polled. Release it on the rendering thread:
// its destructor calls GL.
#pragma once

#include <epoxy/gl.h>

#include "vorn/rasterizer.h"

namespace vorn::ras {

class GLRasterizer;

class GLFence : public Fence {
 public:
  explicit GLFence(GLRasterizer* rasterizer);
  ~GLFence() override;
  bool isReady() const override;

 private:
  GLRasterizer* rasterizer_;
  GLsync sync_;
};

}  // namespace vorn::ras
