// What the UI library calls back: the system's listener and each view's listener. Every
// callback arrives on the main thread, inside the UI system's per-frame update.
#pragma once

#include <string>

namespace webui {

class View;

// A surface the host made for a view's pictures: a shared memory file, open, with its name.
struct SurfaceHandle {
  int fd = -1;
  char name[256] = {};
};

// The library waits on this for the host's surface.
class SurfaceResponse {
 public:
  virtual void Signal(SurfaceHandle handle) = 0;

 protected:
  ~SurfaceResponse() = default;
};

struct SystemError {
  int ErrorCode = 0;
  std::string Message;
};

struct ViewError {
  int ErrorCode = 0;
  std::string Message;
};

class EventListener {
 public:
  virtual ~EventListener() = default;
  virtual void SystemReady() {}
  virtual void OnError(SystemError const&) {}
};

class ViewListener {
 public:
  virtual ~ViewListener() = default;
  virtual void OnError(ViewError const&) {}
  virtual void OnViewCreated(View*) {}
  // A new picture of `width` by `height` is in the surface.
  virtual void OnDraw(SurfaceHandle, bool, int, int) {}
  // A frame's scripts may now be bound; `path` is its URL.
  virtual void OnReadyForBindings(int, wchar_t const*, bool) {}
  // The host makes a surface for pictures of the given size and hands it to `response`.
  virtual void CreateSurface(bool, unsigned, unsigned, SurfaceResponse*) {}
  virtual void DestroySurface(SurfaceHandle, bool) {}
};

}  // namespace webui
