// An OpenGL 3.3 compatibility context on Mesa through EGL, with no display and no window: for
// programs that render only into their own targets (tests, the scene viewer's pictures).
#pragma once

#include <epoxy/egl.h>

namespace vorn {

class EglHeadlessContext {
 public:
  // Throws std::runtime_error, naming the step and EGL's error, when there is no such context.
  EglHeadlessContext();
  virtual ~EglHeadlessContext();
  EglHeadlessContext(EglHeadlessContext const&) = delete;
  EglHeadlessContext& operator=(EglHeadlessContext const&) = delete;

  void makeCurrent();
  void release();

 private:
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
};

}  // namespace vorn
