// The window and its OpenGL context: frames from the display link under the context lock, the
// window's size for any thread, and the player's input handed to the game on the main thread.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "game/context_lock.h"
#include "game/linux_display_link.h"
#include "game/linux_game_proxy.h"
#include "game/linux_view_input.h"

struct GLFWwindow;
struct GLFWcursor;

namespace ka {
class TaskQueue;
}

namespace vorn {

namespace ras {
class Rasterizer;
}
class Profiler;

// The window system can't be reached, or won't give a window with an OpenGL context.
struct WindowSystemError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class LinuxGLView {
 public:
  static constexpr int kDefaultWidth = 960;
  static constexpr int kDefaultHeight = 580;

  // Opens the window with its context and the rasterizer on it, on the main thread, with no
  // context current afterwards. Throws WindowSystemError with the window system's reason if it
  // can't. `queue` reaches the main thread.
  LinuxGLView(std::string const& title, Profiler& profiler, ka::TaskQueue* queue, Keyboard& keyboard, Mouse& mouse);
  // Stops the frames; what needs the context goes with the context current.
  ~LinuxGLView();
  LinuxGLView(LinuxGLView const&) = delete;
  LinuxGLView& operator=(LinuxGLView const&) = delete;

  void setProxy(LinuxGameProxy* proxy);
  ContextLock& contextLock() { return lock_; }
  ras::Rasterizer* rasterizer() const { return rasterizer_.get(); }

  // Frames come between start and stop; both are harmless twice. Main thread.
  void start();
  void stop();
  // Tells the game the window's size. Main thread.
  void sendResize();
  // Any thread.
  void getSize(int& width, int& height) const;
  void setFramePacing(bool on) { link_.setPacing(on); }
  // RGBA rows of width * 4 bytes. Main thread.
  void setCursor(char const* pixels, int width, int height, int hotX, int hotY);
  // The game's cursor; null for the window system's own.
  GLFWcursor* cursor() const { return cursor_; }

  GLFWwindow* window() const { return window_; }
  // The X11 window, for tools that talk to the window system directly.
  unsigned long nativeWindow() const;

 private:
  static LinuxGLView& of(GLFWwindow* window);
  static void onKey(GLFWwindow* window, int key, int scancode, int action, int mods);
  static void onChar(GLFWwindow* window, unsigned codepoint);
  static void onMouseButton(GLFWwindow* window, int button, int action, int mods);
  static void onCursor(GLFWwindow* window, double x, double y);
  static void onScroll(GLFWwindow* window, double dx, double dy);
  static void onFramebufferSize(GLFWwindow* window, int width, int height);
  static void onClose(GLFWwindow* window);
  static void onRefresh(GLFWwindow* window);

  void frame();
  // Runs one input callback under the context lock; nothing thrown may unwind into GLFW.
  template <class F>
  void input(F const& handle);

  GLFWwindow* window_ = nullptr;
  GLFWcursor* cursor_ = nullptr;
  Profiler& profiler_;
  LinuxGameProxy* proxy_ = nullptr;
  ContextLock lock_;
  LinuxViewInput input_;
  LinuxDisplayLink link_;
  bool started_ = false;
  // The window must be drawn at the next frame, whatever the game says: it was exposed or resized.
  std::atomic<bool> refresh_{true};
  double prevUpdate_ = 0.0;  // seconds of the previous frame; the frame thread's

  mutable std::mutex sizeMutex_;  // the frame thread reads the size GLFW gives the main thread
  int width_ = kDefaultWidth;
  int height_ = kDefaultHeight;
  // Made and destroyed with the context current.
  std::unique_ptr<ras::Rasterizer> rasterizer_;
};

}  // namespace vorn
