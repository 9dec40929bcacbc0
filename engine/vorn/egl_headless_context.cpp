#include "egl_headless_context.h"

#include <stdexcept>
#include <string>

namespace vorn {
namespace {

[[noreturn]] void fail(char const* what) {
  throw std::runtime_error(std::string(what) + " (EGL error " + std::to_string(eglGetError()) + ")");
}

}  // namespace

EglHeadlessContext::EglHeadlessContext() {
  display_ = eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
  if (display_ == EGL_NO_DISPLAY || !eglInitialize(display_, nullptr, nullptr)) fail("no surfaceless EGL display");
  if (!eglBindAPI(EGL_OPENGL_API)) fail("no desktop OpenGL through EGL");
  EGLint const configWanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_NONE};
  EGLConfig config = nullptr;
  EGLint count = 0;
  if (!eglChooseConfig(display_, configWanted, &config, 1, &count) || count == 0) fail("no EGL config");
  EGLint const contextWanted[] = {EGL_CONTEXT_MAJOR_VERSION,
                                  3,
                                  EGL_CONTEXT_MINOR_VERSION,
                                  3,
                                  EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                  EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT,
                                  EGL_NONE};
  context_ = eglCreateContext(display_, config, EGL_NO_CONTEXT, contextWanted);
  if (context_ == EGL_NO_CONTEXT) fail("no OpenGL 3.3 compatibility context");
  makeCurrent();
}

EglHeadlessContext::~EglHeadlessContext() {
  eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  eglDestroyContext(display_, context_);
  eglTerminate(display_);
}

void EglHeadlessContext::makeCurrent() {
  if (!eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_)) fail("cannot make the context current");
}

void EglHeadlessContext::release() { eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT); }

}  // namespace vorn
