// The operating system as a game sees it: files, input, window, the main thread's queue.
#pragma once

#include <string>
#include <unordered_set>

#include "ka/counted.h"
#include "ka/string_range.h"
#include "ka/taskqueue.h"
#include "vorn/filesystem.h"
#include "vorn/uievent.h"

namespace vorn {

namespace ras {
class Rasterizer;
}
class Presenter;
class Keyboard;
class Mouse;
class Profiler;

// Each platform defines its own record of a native input event.
struct PlatformEvent;

// Turns a platform's native event into a library's own form, carried on the UIEvent.
class PlatformEventTranslator {
 public:
  virtual ~PlatformEventTranslator() = default;
  // Null for no translation.
  virtual ka::Ref<EventTranslation> translateEvent(PlatformEvent const& event) = 0;
};

class Platform {
 public:
  explicit Platform(std::string userDataDir);
  virtual ~Platform();
  Platform(Platform const&) = delete;
  Platform& operator=(Platform const&) = delete;

  // Ends the process.
  [[noreturn]] virtual void fatalError(ka::StringRange message) = 0;
  virtual ka::Ref<Filesystem> getFilesystem() = 0;
  // The first call may bring the window into being.
  virtual ras::Rasterizer* getRasterizer() = 0;
  virtual Presenter* getPresenter() = 0;
  virtual Keyboard const* getKeyboard() = 0;
  virtual Keyboard* getMutableKeyboard() = 0;
  virtual Mouse const* getMouse() const = 0;
  virtual Mouse* getMutableMouse() = 0;
  virtual Profiler* getProfiler() = 0;
  virtual void getWindowSize(int& width, int& height) = 0;
  virtual std::string getUserDataDir() const { return userDataDir_; }
  // Tasks given to this queue run on the main thread, one at a time, in order; any thread may enqueue.
  virtual ka::TaskQueue* getUIThreadTaskQueue() = 0;
  // Pixels are RGBA rows of width * 4 bytes; the fourth argument is unused.
  virtual void setCursor(char* pixels, unsigned long width, unsigned long height, unsigned long,
                         unsigned long hotX, unsigned long hotY) = 0;
  // Any thread.
  virtual void requestExit() = 0;
  virtual void setWindowedMode(bool) {}
  virtual bool isWindowed() { return false; }
  virtual void disableFullscreen(bool) {}
  virtual void setFilesystem(ka::RefNoCount<Filesystem>) {}

  // Translators are not owned; the order in which they are asked is unspecified.
  void addEventTranslator(PlatformEventTranslator* translator);
  void removeEventTranslator(PlatformEventTranslator* translator);
  // Attaches each translator's non-null translation to `event`.
  void translateEvent(PlatformEvent const& platformEvent, UIEvent& event);

 private:
  std::unordered_set<PlatformEventTranslator*> translators_;
  std::string userDataDir_;
};

}  // namespace vorn
