// The OpenGL rasterizer, made on a thread with a current desktop OpenGL context.
#pragma once

#include <memory>
#include <string>

#include "rasterizer.h"

namespace ka {
class TaskQueue;
}

namespace vorn {
class Profiler;
}

namespace vorn::ras {

// Initialised and ready to draw; it must be destroyed with the same context current.
std::unique_ptr<Rasterizer> createGLRasterizer(Profiler& profiler, ka::TaskQueue* queue);
// The current context's version text.
std::string getGLVersionString();

}  // namespace vorn::ras
