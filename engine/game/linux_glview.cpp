#include "game/linux_glview.h"

#include <epoxy/gl.h>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>
#define GLFW_EXPOSE_NATIVE_X11
#include <GLFW/glfw3native.h>

#include <chrono>
#include <stdexcept>

#include "ka/log.h"
#include "ka/strutil.h"
#include "vorn/gl_rasterizer.h"
#include "vorn/profiler.h"

namespace vorn {
namespace {

// The display's own rate where the window system knows it; 60 where it doesn't.
double displayRefreshRate() {
  GLFWmonitor* monitor = glfwGetPrimaryMonitor();
  GLFWvidmode const* mode = monitor ? glfwGetVideoMode(monitor) : nullptr;
  return mode && mode->refreshRate > 0 ? mode->refreshRate : 60.0;
}

double monotonicSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string lastGlfwError() {
  char const* description = nullptr;
  glfwGetError(&description);
  return description ? description : "unknown reason";
}

// The first character of a key's label in the keyboard's layout, 0 for keys without one.
uint32_t keyLabel(int key, int scancode) {
  char const* name = glfwGetKeyName(key, scancode);
  if (!name || !*name) return 0;
  char const* end = name + std::char_traits<char>::length(name);
  try {
    return ka::decodeUtf8Char(name, end);
  } catch (std::runtime_error const&) {
    return 0;
  }
}

}  // namespace

LinuxGLView::LinuxGLView(std::string const& title, Profiler& profiler, ka::TaskQueue* queue, Keyboard& keyboard,
                         Mouse& mouse)
    : profiler_(profiler),
      lock_([this] { glfwMakeContextCurrent(window_); }, [] { glfwMakeContextCurrent(nullptr); }),
      input_(keyboard, mouse,
             [this](PlatformEvent const& native, UIEvent& event) {
               if (proxy_) proxy_->dispatch(native, event);
             }),
      link_([this] { frame(); }, displayRefreshRate()) {
  glfwDefaultWindowHints();
  // A compatibility context: the drawing code runs on either profile.
  glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 3);
  glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 3);
  glfwWindowHint(GLFW_OPENGL_PROFILE, GLFW_OPENGL_COMPAT_PROFILE);
  glfwWindowHint(GLFW_DOUBLEBUFFER, GLFW_TRUE);
  // A request: drivers that offer 24 bits give 24 and the window is still made.
  glfwWindowHint(GLFW_DEPTH_BITS, 32);
  // The gamma-correct pipeline writes linear values; the window shows them at their true brightness.
  glfwWindowHint(GLFW_SRGB_CAPABLE, GLFW_TRUE);
  window_ = glfwCreateWindow(kDefaultWidth, kDefaultHeight, title.c_str(), nullptr, nullptr);
  if (!window_) throw WindowSystemError("cannot open a window: " + lastGlfwError());
  glfwSetWindowPos(window_, 20, 20);
  glfwSetWindowUserPointer(window_, this);
  glfwSetInputMode(window_, GLFW_LOCK_KEY_MODS, GLFW_TRUE);
  glfwGetFramebufferSize(window_, &width_, &height_);
  input_.setWindowHeight(float(height_));
  {
    ScopeGLContext scope(&lock_);
    rasterizer_ = ras::createGLRasterizer(profiler_, queue);
    glfwSwapInterval(1);
  }
  glfwSetKeyCallback(window_, &onKey);
  glfwSetCharCallback(window_, &onChar);
  glfwSetMouseButtonCallback(window_, &onMouseButton);
  glfwSetCursorPosCallback(window_, &onCursor);
  glfwSetScrollCallback(window_, &onScroll);
  glfwSetFramebufferSizeCallback(window_, &onFramebufferSize);
  glfwSetWindowCloseCallback(window_, &onClose);
  glfwSetWindowRefreshCallback(window_, &onRefresh);
}

LinuxGLView::~LinuxGLView() {
  stop();
  {
    ScopeGLContext scope(&lock_);
    rasterizer_.reset();
  }
  if (cursor_) glfwDestroyCursor(cursor_);
  glfwDestroyWindow(window_);
}

void LinuxGLView::setProxy(LinuxGameProxy* proxy) {
  proxy_ = proxy;
  if (proxy_) proxy_->setContextLock(&lock_);
}

void LinuxGLView::start() {
  if (started_) return;
  started_ = true;
  sendResize();
  link_.start();
}

void LinuxGLView::stop() {
  if (!started_) return;
  started_ = false;
  link_.stop();
}

void LinuxGLView::frame() {
  double now = monotonicSeconds();
  {
    ScopeGLContext scope(&lock_);
    // The very first frame only presents: there is no previous frame to measure from.
    if (prevUpdate_ != 0.0) proxy_->update(float(now - prevUpdate_));
    // Asked every frame, so that the game's own notion of a change is used up; a window that
    // was exposed or resized is drawn whatever the game says.
    bool wanted = proxy_->frameWanted();
    if (refresh_.exchange(false) || wanted) {
      // A game without a renderer still shows a clean window, not what the buffer held before.
      if (!proxy_->renderer()) {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
      }
      proxy_->present();
      profiler_.startSubSection("SwapBuffers");
      glfwSwapBuffers(window_);
      profiler_.endSubSection();
    }
    profiler_.nextFrame();
  }
  prevUpdate_ = now;
}

void LinuxGLView::sendResize() {
  ScopeGLContext scope(&lock_);
  int width, height;
  getSize(width, height);
  rasterizer_->resize(width, height);
  refresh_ = true;
  PlatformEvent native;
  native.kind = PlatformEvent::Resize;
  native.windowHeight = float(height);
  ResizeEvent event{uint32_t(width), uint32_t(height)};
  if (proxy_) proxy_->dispatch(native, event);
}

void LinuxGLView::getSize(int& width, int& height) const {
  std::lock_guard<std::mutex> lock(sizeMutex_);
  width = width_;
  height = height_;
}

void LinuxGLView::setCursor(char const* pixels, int width, int height, int hotX, int hotY) {
  std::vector<unsigned char> copy(pixels, pixels + size_t(width) * size_t(height) * 4);
  GLFWimage image{width, height, copy.data()};
  GLFWcursor* cursor = glfwCreateCursor(&image, hotX, hotY);
  if (!cursor) {
    KA_LOG(Error) << "Could not make a cursor: " << lastGlfwError();
    return;
  }
  glfwSetCursor(window_, cursor);
  if (cursor_) glfwDestroyCursor(cursor_);
  cursor_ = cursor;
}

unsigned long LinuxGLView::nativeWindow() const { return glfwGetX11Window(window_); }

LinuxGLView& LinuxGLView::of(GLFWwindow* window) { return *static_cast<LinuxGLView*>(glfwGetWindowUserPointer(window)); }

template <class F>
void LinuxGLView::input(F const& handle) {
  try {
    // The input state changes only under the lock, where the frame may read it.
    ScopeGLContext scope(&lock_);
    handle();
  } catch (std::exception const& error) {
    KA_LOG(Error) << "An input event failed: " << error.what();
  }
}

void LinuxGLView::onKey(GLFWwindow* window, int key, int scancode, int action, int mods) {
  LinuxGLView& view = of(window);
  uint32_t label = action == GLFW_RELEASE ? 0 : keyLabel(key, scancode);
  view.input([&] { view.input_.key(key, scancode, action, mods, label); });
}

void LinuxGLView::onChar(GLFWwindow* window, unsigned codepoint) {
  LinuxGLView& view = of(window);
  view.input([&] { view.input_.character(codepoint); });
}

void LinuxGLView::onMouseButton(GLFWwindow* window, int button, int action, int) {
  LinuxGLView& view = of(window);
  double x, y;
  glfwGetCursorPos(window, &x, &y);
  view.input([&] { view.input_.mouseButton(button, action, x, y); });
}

void LinuxGLView::onCursor(GLFWwindow* window, double x, double y) {
  LinuxGLView& view = of(window);
  view.input([&] { view.input_.cursorMoved(x, y); });
}

void LinuxGLView::onScroll(GLFWwindow* window, double dx, double dy) {
  LinuxGLView& view = of(window);
  double x, y;
  glfwGetCursorPos(window, &x, &y);
  view.input([&] { view.input_.scrolled(dx, dy, x, y); });
}

void LinuxGLView::onFramebufferSize(GLFWwindow* window, int width, int height) {
  LinuxGLView& view = of(window);
  {
    std::lock_guard<std::mutex> lock(view.sizeMutex_);
    view.width_ = width;
    view.height_ = height;
  }
  view.input([&] {
    view.input_.setWindowHeight(float(height));
    if (view.started_) view.sendResize();
  });
}

void LinuxGLView::onRefresh(GLFWwindow* window) { of(window).refresh_ = true; }

void LinuxGLView::onClose(GLFWwindow* window) {
  LinuxGLView& view = of(window);
  // The window stays until the run ends in order; asking the game to exit is all a close does.
  glfwSetWindowShouldClose(window, GLFW_FALSE);
  if (view.proxy_) view.proxy_->requestExit();
}

}  // namespace vorn
