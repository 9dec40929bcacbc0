// The HTML engine's input records, and how a portable event becomes one when no platform
// translation rides on it. Key codes follow the Windows virtual key numbering.
#pragma once

#include <cstdint>

#include "vorn/uievent.h"

namespace webui {

// The modifier keys held during an event; the fifth flag is never set here.
struct ModifierState {
  bool Shift = false;
  bool Control = false;
  bool Alt = false;
  bool Meta = false;
  bool Reserved = false;
  bool CapsLock = false;
};

struct KeyEventData {
  enum EventType : int32_t { Unknown = 0, KeyDown = 1, KeyUp = 2, Char = 3 };
  int32_t KeyCode = 0;
  EventType Type = Unknown;
  ModifierState Modifiers;
  bool IsAutoRepeat = false;
  bool IsNumPad = false;
};

// One touch point; no window of this system reports touches.
struct TouchEventData {
  int32_t Id = 0;
  int32_t X = 0;
  int32_t Y = 0;
};

struct MouseEventData {
  enum EventType : int32_t { Move = 0, Down = 1, Up = 2, Wheel = 3 };
  enum MouseButton : int32_t { ButtonNone = -1, ButtonLeft = 0, ButtonMiddle = 1, ButtonRight = 2 };
  EventType Type = Move;
  MouseButton Button = ButtonNone;
  int32_t X = 0;
  int32_t Y = 0;
  // Tenths of a wheel notch, so that a touchpad's fraction of a notch still scrolls: vertical
  // positive away from the player (the page scrolls up), horizontal positive to the left.
  float WheelX = 0;
  float WheelY = 0;
  ModifierState Modifiers;
  bool PressedLeft = false;
  bool PressedMiddle = false;
  bool PressedRight = false;
};

// A platform's own translation of an event, carried on the UIEvent.
template <class T>
struct EventWrapper : vorn::EventTranslation {
  explicit EventWrapper(T const& record) : data(record) {}
  T data;
};

// The records built from the portable event alone.
MouseEventData translate(vorn::MouseButtonEvent const& event);
MouseEventData translate(vorn::MouseEvent const& event);
MouseEventData translate(vorn::MouseWheelEvent const& event);
KeyEventData translate(vorn::KeyEvent const& event);
KeyEventData translate(vorn::CharEvent const& event);

}  // namespace webui
