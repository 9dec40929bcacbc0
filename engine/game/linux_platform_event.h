// The native side of an input event on Linux: what the window system reported, carried beside the
// portable UIEvent for translators that want more than the portable record keeps.
#pragma once

#include <cstdint>

namespace vorn {

struct PlatformEvent {
  enum Kind : uint8_t { None, Key, Char, MouseButton, CursorMove, Scroll, Resize };
  // GLFW's modifier bits, as the platform's own record of held keys has them after the event
  // (X11 reports the state before it). Caps lock is the lock's state, not the key's.
  enum Modifier : int { Shift = 0x1, Control = 0x2, Alt = 0x4, Super = 0x8, CapsLock = 0x10, NumLock = 0x20 };

  Kind kind = None;
  int key = -1;            // GLFW key token; for Char the key that typed it, -1 if unknown
  int scancode = 0;
  int action = 0;          // GLFW_RELEASE 0, GLFW_PRESS 1, GLFW_REPEAT 2
  int modifiers = 0;       // Modifier bits
  uint32_t codepoint = 0;  // Char: the character. Key: the first character of the key's label in the
                           // keyboard's layout, ignoring modifiers; 0 if it has none
  int button = -1;         // GLFW mouse button, for MouseButton
  double x = 0;            // cursor in window pixels from the top left
  double y = 0;
  double scrollX = 0;      // wheel notches; fractions from touchpads
  double scrollY = 0;
  uint32_t buttonsHeld = 0;  // bit n: GLFW mouse button n is down after the event
  float windowHeight = 0;
  bool isCharacter = false;  // set when the portable event is an ET_Char
};

}  // namespace vorn
