#include "gl_fence.h"

namespace vorn::ras {

GLFence::GLFence(GLRasterizer* rasterizer)
    : rasterizer_(rasterizer), sync_(glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0)) {}

GLFence::~GLFence() { glDeleteSync(sync_); }

bool GLFence::isReady() const {
  GLenum status = glClientWaitSync(sync_, GL_SYNC_FLUSH_COMMANDS_BIT, 0);
  return status == GL_ALREADY_SIGNALED || status == GL_CONDITION_SATISFIED;
}

}  // namespace vorn::ras
