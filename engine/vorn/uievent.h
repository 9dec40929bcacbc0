// The portable event record: every key or mouse action reaches the game as one UIEvent.
#pragma once

#include <cstdint>
#include <ostream>
#include <unordered_map>

#include "ka/counted.h"
#include "vorn/keycodes.h"

namespace vorn {

class PlatformEventTranslator;

// What a platform-specific translator makes of a platform event, carried along with the record.
class EventTranslation : public ka::Counted {};

enum EventType : uint16_t {
  ET_None = 0,
  ET_MouseButton = 1,
  ET_MouseMove = 2,
  ET_MouseWheel = 3,
  ET_Key = 4,
  ET_Char = 5,
  ET_ControllerStickMove = 6,
  ET_ControllerTriggerMove = 7,
  ET_Activation = 8,
  ET_Resize = 9,
  ET_TouchBegan = 10,
  ET_TouchMoved = 11,
  ET_TouchEnded = 12,
  ET_TouchCancelled = 13,
};

enum InputSource : uint8_t { IS_None = 0, IS_Keyboard = 1, IS_Mouse = 2, IS_Controller = 3, IS_Touchpad = 4 };

enum ButtonAction : uint8_t { BA_Down = 0, BA_Up = 1, BA_DoubleClick = 2 };

enum MouseModifier : uint32_t {
  MM_Left = 1,
  MM_Right = 2,
  MM_Middle = 4,
  MM_Extra1 = 8,
  MM_Extra2 = 16,
  MM_Shift = 32,
  MM_Control = 64,
};

class UIEvent {
 public:
  UIEvent();
  UIEvent(EventType type, InputSource source, int index);

  // Replaces any earlier translation of the same translator.
  void addTranslation(PlatformEventTranslator* translator, ka::RefNoCount<EventTranslation> translation);
  // Null if the translator left none.
  ka::Ref<EventTranslation> getTranslation(PlatformEventTranslator* translator) const;

  std::unordered_map<PlatformEventTranslator*, ka::Ref<EventTranslation>> translations;
  EventType type = ET_None;
  InputSource source = IS_None;
  uint8_t index = 0;
  uint32_t data0 = 0;
  uint32_t data1 = 0;
};

// The views below read (and build) the payload words of one kind of record.

// x and y are signed 16-bit window coordinates; modifiers are MouseModifier bits.
class MouseEvent : public UIEvent {
 public:
  explicit MouseEvent(UIEvent const& event) : UIEvent(event) {}
  int x() const { return int16_t(data0 & 0xffff); }
  int y() const { return int16_t(data0 >> 16); }
  uint32_t modifiers() const { return data1 & 0x7f; }

 protected:
  MouseEvent(EventType type, int index, int x, int y, uint32_t modifiers);
};

class MouseButtonEvent : public MouseEvent {
 public:
  explicit MouseButtonEvent(UIEvent const& event) : MouseEvent(event) {}
  MouseButtonEvent(int x, int y, KeyCode button, ButtonAction action, uint32_t modifiers, int index = 0);
  KeyCode button() const { return KeyCode((data1 >> 8) & 0xff); }
  ButtonAction action() const { return ButtonAction((data1 >> 16) & 0xff); }
};

class MouseMoveEvent : public MouseEvent {
 public:
  explicit MouseMoveEvent(UIEvent const& event) : MouseEvent(event) {}
  MouseMoveEvent(int x, int y, uint32_t modifiers, int index = 0);
};

// One wheel notch is a delta of 120; the delta is signed 24-bit.
class MouseWheelEvent : public MouseEvent {
 public:
  explicit MouseWheelEvent(UIEvent const& event) : MouseEvent(event) {}
  MouseWheelEvent(int x, int y, int delta, uint32_t modifiers, int index = 0);
  int delta() const { return int32_t(data1) >> 8; }
};

class KeyEvent : public UIEvent {
 public:
  explicit KeyEvent(UIEvent const& event) : UIEvent(event) {}
  KeyEvent(KeyCode key, ButtonAction action, int index = 0);
  KeyCode key() const { return KeyCode(data0); }
  ButtonAction action() const { return ButtonAction(data1); }
};

class CharEvent : public UIEvent {
 public:
  explicit CharEvent(UIEvent const& event) : UIEvent(event) {}
  explicit CharEvent(uint32_t codepoint, int index = 0);
  uint32_t codepoint() const { return data0; }
};

class ResizeEvent : public UIEvent {
 public:
  explicit ResizeEvent(UIEvent const& event) : UIEvent(event) {}
  ResizeEvent(uint32_t width, uint32_t height);
  uint32_t width() const { return data0; }
  uint32_t height() const { return data1; }
};

class TouchEvent : public UIEvent {
 public:
  explicit TouchEvent(UIEvent const& event) : UIEvent(event) {}
  TouchEvent(EventType type, int first, int second, int index = 0);
  int first() const { return int32_t(data0); }
  int second() const { return int32_t(data1); }
};

// Log texts. Values outside their tables print as numbers.
std::ostream& operator<<(std::ostream& os, EventType type);
std::ostream& operator<<(std::ostream& os, InputSource source);
std::ostream& operator<<(std::ostream& os, ButtonAction action);
std::ostream& operator<<(std::ostream& os, MouseModifier modifiers);
std::ostream& operator<<(std::ostream& os, MouseButtonEvent const& event);
std::ostream& operator<<(std::ostream& os, MouseMoveEvent const& event);
std::ostream& operator<<(std::ostream& os, MouseWheelEvent const& event);
std::ostream& operator<<(std::ostream& os, KeyEvent const& event);
std::ostream& operator<<(std::ostream& os, CharEvent const& event);
std::ostream& operator<<(std::ostream& os, ResizeEvent const& event);
std::ostream& operator<<(std::ostream& os, TouchEvent const& event);
std::ostream& operator<<(std::ostream& os, UIEvent const& event);

}  // namespace vorn
