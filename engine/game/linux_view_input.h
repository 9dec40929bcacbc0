// How the window's key and mouse callbacks become portable events: the key table, the held keys
// and buttons, the pointer position, each event carried with the native record it came from.
#pragma once

#include <functional>

#include "game/input_state.h"
#include "game/linux_platform_event.h"
#include "vorn/uievent.h"

namespace vorn {

// The portable key of a GLFW key token; None where the view has no row for it (F11, F12, Insert
// and the modifiers among them: modifiers come through `modifierKeyChanged`).
KeyCode keyCodeForGlfwKey(int glfwKey);

class LinuxViewInput {
 public:
  // Receives every event, on the main thread. The records are complete when it is called.
  using Sink = std::function<void(PlatformEvent const&, UIEvent&)>;

  LinuxViewInput(Keyboard& keyboard, Mouse& mouse, Sink sink)
      : keyboard_(keyboard), mouse_(mouse), sink_(std::move(sink)) {}

  // GLFW's callbacks, by their arguments. `mods` is GLFW's report, which on X11 is the state
  // before the event: only the caps lock bit of it is used, for the lock's first state.
  void key(int glfwKey, int scancode, int action, int mods, uint32_t label);
  void character(uint32_t codepoint);
  void mouseButton(int button, int action, double x, double y);
  void cursorMoved(double x, double y);
  void scrolled(double dx, double dy, double x, double y);

  void setWindowHeight(float height) { windowHeight_ = height; }
  // The modifier bits of PlatformEvent as held now.
  int modifiers() const;

 private:
  void modifierKeyChanged(int glfwKey, int action, int mods);
  void dispatch(PlatformEvent& native, UIEvent& event);
  PlatformEvent native(PlatformEvent::Kind kind) const;
  uint32_t mouseModifiers() const;
  // Stores the position; true if it moved.
  bool movePointer(double x, double y);

  Keyboard& keyboard_;
  Mouse& mouse_;
  Sink sink_;
  float windowHeight_ = 0;
  uint32_t glfwButtons_ = 0;  // bit n: GLFW button n held
  uint32_t sidesHeld_ = 0;    // one bit per modifier key, left and right apart
  bool capsLock_ = false;
  bool capsKnown_ = false;
  int lastKey_ = -1;  // the key whose characters come next
  double x_ = 0;
  double y_ = 0;
};

}  // namespace vorn
