#include "webui/webui_event_convertor_linux.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

#include "ka/log.h"
#include "webui/windows_key_codes_linux.h"

namespace webui {
namespace {

using vorn::PlatformEvent;

ModifierState modifiersOf(PlatformEvent const& event) {
  ModifierState held;
  held.Shift = event.modifiers & PlatformEvent::Shift;
  held.Control = event.modifiers & PlatformEvent::Control;
  held.Alt = event.modifiers & PlatformEvent::Alt;
  held.Meta = event.modifiers & PlatformEvent::Super;
  held.CapsLock = event.modifiers & PlatformEvent::CapsLock;
  return held;
}

bool isModifierKey(int key) {
  switch (key) {
    case GLFW_KEY_LEFT_SHIFT: case GLFW_KEY_RIGHT_SHIFT:
    case GLFW_KEY_LEFT_CONTROL: case GLFW_KEY_RIGHT_CONTROL:
    case GLFW_KEY_LEFT_ALT: case GLFW_KEY_RIGHT_ALT:
    case GLFW_KEY_LEFT_SUPER: case GLFW_KEY_RIGHT_SUPER:
    case GLFW_KEY_CAPS_LOCK: case GLFW_KEY_NUM_LOCK:
      return true;
    default:
      return false;
  }
}

// Text a key typed: not a control character, and not a function key's private-use character.
bool isText(uint32_t character) {
  return character >= 32 && character != 127 && !(character >= 0xE000 && character <= 0xF8FF);
}

MouseEventData::MouseButton buttonOf(int glfwButton) {
  switch (glfwButton) {
    case GLFW_MOUSE_BUTTON_LEFT: return MouseEventData::ButtonLeft;
    case GLFW_MOUSE_BUTTON_RIGHT: return MouseEventData::ButtonRight;
    case GLFW_MOUSE_BUTTON_MIDDLE: return MouseEventData::ButtonMiddle;
    default: return MouseEventData::ButtonNone;
  }
}

bool held(PlatformEvent const& event, int glfwButton) { return event.buttonsHeld & (1u << glfwButton); }

// Tenths of a notch, whole ones.
float tenths(double notches) { return float(int32_t(notches * 10)); }

template <class T>
ka::Ref<vorn::EventTranslation> wrap(PlatformEvent const& event) {
  T record{};
  TranslatePlatformEvent(event, record);
  return new WebUIEventTranslator::EventWrapper<T>(record);
}

}  // namespace

EventCategory GetEventCategory(PlatformEvent const& event) {
  switch (event.kind) {
    case PlatformEvent::Key:
    case PlatformEvent::Char: return isModifierKey(event.key) ? EC_None : EC_Key;
    case PlatformEvent::MouseButton:
    case PlatformEvent::CursorMove:
    case PlatformEvent::Scroll: return EC_Mouse;
    default: return EC_None;
  }
}

void TranslatePlatformEvent(PlatformEvent const& event, KeyEventData& record) {
  bool const typed = event.kind == PlatformEvent::Key || event.kind == PlatformEvent::Char;
  bool const keypad = isKeypadKey(event.key);
  // A key's label names it best, whatever the layout; but the keypad's "1" is not the main "1".
  record.KeyCode = windowsKeyCodeForKeyCode(event.key);
  if (typed && !keypad && event.codepoint <= 0xffff)
    if (int32_t byLabel = windowsKeyCodeForCharCode((unsigned short)event.codepoint)) record.KeyCode = byLabel;

  if (event.kind == PlatformEvent::Key) {
    record.Type = event.action == GLFW_RELEASE ? KeyEventData::KeyUp : KeyEventData::KeyDown;
  } else if (event.kind == PlatformEvent::Char) {
    if (record.KeyCode == 13) {
      record.Type = KeyEventData::Char;
    } else if (!keypad && isText(event.codepoint)) {
      record.KeyCode = int32_t(event.codepoint);
      record.Type = KeyEventData::Char;
    } else {
      // The keypad types through its key records.
      record.KeyCode = 0;
      record.Type = KeyEventData::Unknown;
    }
  }
  record.IsAutoRepeat = event.action == GLFW_REPEAT;
  record.Modifiers = modifiersOf(event);
  record.IsNumPad = keypad;
}

void TranslatePlatformEvent(PlatformEvent const& event, MouseEventData& record) {
  record.X = int32_t(event.x);
  record.Y = int32_t(event.y);
  switch (event.kind) {
    case PlatformEvent::MouseButton:
      record.Type = event.action == GLFW_RELEASE ? MouseEventData::Up : MouseEventData::Down;
      record.Button = buttonOf(event.button);
      break;
    case PlatformEvent::CursorMove:
      // A drag names the button that drags.
      record.Type = MouseEventData::Move;
      for (int button : {GLFW_MOUSE_BUTTON_LEFT, GLFW_MOUSE_BUTTON_RIGHT, GLFW_MOUSE_BUTTON_MIDDLE}) {
        if (held(event, button)) {
          record.Button = buttonOf(button);
          break;
        }
      }
      break;
    case PlatformEvent::Scroll:
      record.Type = MouseEventData::Wheel;
      record.WheelX = tenths(event.scrollX);
      record.WheelY = tenths(event.scrollY);
      break;
    default:
      KA_LOG(Warn) << "Unhandled event type from OS: " << int(event.kind);
      break;
  }
  record.Modifiers = modifiersOf(event);
  record.PressedLeft = held(event, GLFW_MOUSE_BUTTON_LEFT);
  record.PressedMiddle = held(event, GLFW_MOUSE_BUTTON_MIDDLE);
  record.PressedRight = held(event, GLFW_MOUSE_BUTTON_RIGHT);
}

void TranslatePlatformEvent(PlatformEvent const&, std::vector<TouchEventData>&) {}

ka::Ref<vorn::EventTranslation> WebUIEventTranslator::translateEvent(PlatformEvent const& event) {
  switch (GetEventCategory(event)) {
    case EC_Key: return wrap<KeyEventData>(event);
    case EC_Mouse: return wrap<MouseEventData>(event);
    case EC_Touch: return wrap<std::vector<TouchEventData>>(event);
    default: return nullptr;
  }
}

}  // namespace webui
