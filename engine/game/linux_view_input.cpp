#include "game/linux_view_input.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

#include <cmath>

namespace vorn {
namespace {

// One bit per modifier key, so that the two sides of a modifier are held apart.
uint32_t sideBit(int glfwKey) {
  switch (glfwKey) {
    case GLFW_KEY_LEFT_SHIFT: return 1u << 0;
    case GLFW_KEY_RIGHT_SHIFT: return 1u << 1;
    case GLFW_KEY_LEFT_CONTROL: return 1u << 2;
    case GLFW_KEY_RIGHT_CONTROL: return 1u << 3;
    case GLFW_KEY_LEFT_ALT: return 1u << 4;
    case GLFW_KEY_RIGHT_ALT: return 1u << 5;
    case GLFW_KEY_LEFT_SUPER: return 1u << 6;
    case GLFW_KEY_RIGHT_SUPER: return 1u << 7;
    default: return 0;
  }
}

constexpr uint32_t kShiftSides = 0x03, kControlSides = 0x0c, kAltSides = 0x30, kSuperSides = 0xc0;

bool isModifierKey(int glfwKey) {
  return sideBit(glfwKey) != 0 || glfwKey == GLFW_KEY_CAPS_LOCK || glfwKey == GLFW_KEY_NUM_LOCK;
}

}  // namespace

KeyCode keyCodeForGlfwKey(int glfwKey) {
  if (glfwKey >= GLFW_KEY_A && glfwKey <= GLFW_KEY_Z) return KeyCode(KC_A + (glfwKey - GLFW_KEY_A));
  if (glfwKey >= GLFW_KEY_0 && glfwKey <= GLFW_KEY_9) return KeyCode(KC_0 + (glfwKey - GLFW_KEY_0));
  if (glfwKey >= GLFW_KEY_KP_0 && glfwKey <= GLFW_KEY_KP_9) return KeyCode(KC_Numpad0 + (glfwKey - GLFW_KEY_KP_0));
  // F11 and F12 have no row, like Insert: those keys arrive as None.
  if (glfwKey >= GLFW_KEY_F1 && glfwKey <= GLFW_KEY_F10) return KeyCode(KC_F1 + (glfwKey - GLFW_KEY_F1));
  switch (glfwKey) {
    case GLFW_KEY_EQUAL: return KC_EqualPlus;
    case GLFW_KEY_MINUS: return KC_MinusUnderscore;
    case GLFW_KEY_RIGHT_BRACKET: return KC_RightBracketBrace;
    case GLFW_KEY_LEFT_BRACKET: return KC_LeftBracketBrace;
    case GLFW_KEY_APOSTROPHE: return KC_QuoteDoubleQuote;
    case GLFW_KEY_SEMICOLON: return KC_SemiColonColon;
    case GLFW_KEY_BACKSLASH: return KC_BackslashPipe;
    case GLFW_KEY_COMMA: return KC_CommaLess;
    case GLFW_KEY_SLASH: return KC_SlashQuestion;
    case GLFW_KEY_PERIOD: return KC_PeriodGreater;
    case GLFW_KEY_GRAVE_ACCENT: return KC_BackquoteTilde;
    case GLFW_KEY_ENTER: return KC_Enter;
    case GLFW_KEY_TAB: return KC_Tab;
    case GLFW_KEY_SPACE: return KC_Space;
    case GLFW_KEY_BACKSPACE: return KC_Backspace;
    case GLFW_KEY_ESCAPE: return KC_Esc;
    case GLFW_KEY_KP_DECIMAL: return KC_NumpadPeriod;
    case GLFW_KEY_KP_MULTIPLY: return KC_NumpadAsterisk;
    case GLFW_KEY_KP_ADD: return KC_NumpadPlus;
    case GLFW_KEY_KP_DIVIDE: return KC_NumpadSlash;
    case GLFW_KEY_KP_ENTER: return KC_NumpadEnter;
    case GLFW_KEY_KP_SUBTRACT: return KC_NumpadMinus;
    case GLFW_KEY_HOME: return KC_Home;
    case GLFW_KEY_PAGE_UP: return KC_PageUp;
    case GLFW_KEY_DELETE: return KC_Delete;
    case GLFW_KEY_END: return KC_End;
    case GLFW_KEY_PAGE_DOWN: return KC_PageDown;
    case GLFW_KEY_LEFT: return KC_LeftArrow;
    case GLFW_KEY_RIGHT: return KC_RightArrow;
    case GLFW_KEY_DOWN: return KC_DownArrow;
    case GLFW_KEY_UP: return KC_UpArrow;
    default: return KC_None;
  }
}

int LinuxViewInput::modifiers() const {
  int held = 0;
  if (sidesHeld_ & kShiftSides) held |= PlatformEvent::Shift;
  if (sidesHeld_ & kControlSides) held |= PlatformEvent::Control;
  if (sidesHeld_ & kAltSides) held |= PlatformEvent::Alt;
  if (sidesHeld_ & kSuperSides) held |= PlatformEvent::Super;
  if (capsLock_) held |= PlatformEvent::CapsLock;
  return held;
}

uint32_t LinuxViewInput::mouseModifiers() const {
  // Only shift and control reach mouse events; held buttons are not put in.
  return ((sidesHeld_ & kShiftSides) ? uint32_t(MM_Shift) : 0u) |
         ((sidesHeld_ & kControlSides) ? uint32_t(MM_Control) : 0u);
}

PlatformEvent LinuxViewInput::native(PlatformEvent::Kind kind) const {
  PlatformEvent record;
  record.kind = kind;
  record.modifiers = modifiers();
  record.x = x_;
  record.y = y_;
  record.buttonsHeld = glfwButtons_;
  record.windowHeight = windowHeight_;
  return record;
}

void LinuxViewInput::dispatch(PlatformEvent& native, UIEvent& event) { sink_(native, event); }

void LinuxViewInput::key(int glfwKey, int scancode, int action, int mods, uint32_t label) {
  // Any key but caps lock itself reports the lock as it stands.
  if (glfwKey != GLFW_KEY_CAPS_LOCK) capsLock_ = (mods & GLFW_MOD_CAPS_LOCK) != 0;
  if (isModifierKey(glfwKey)) {
    modifierKeyChanged(glfwKey, action, mods);
    return;
  }
  KeyCode code = keyCodeForGlfwKey(glfwKey);
  PlatformEvent record = native(PlatformEvent::Key);
  record.key = glfwKey;
  record.scancode = scancode;
  record.action = action;
  record.codepoint = label;
  if (action == GLFW_RELEASE) {
    // A key without a row vanishes on the way up.
    if (code == KC_None) return;
    keyboard_.release(code);
    KeyEvent up(code, BA_Up);
    dispatch(record, up);
    return;
  }
  // A repeat is another down: there is no repeat action.
  keyboard_.press(code);
  lastKey_ = glfwKey;
  KeyEvent down(code, BA_Down);
  dispatch(record, down);
  // The window system types nothing for Enter; the page expects a carriage return.
  if (code == KC_Enter) {
    record.kind = PlatformEvent::Char;
    record.codepoint = 13;
    record.isCharacter = true;
    CharEvent enter(13);
    dispatch(record, enter);
  }
}

void LinuxViewInput::modifierKeyChanged(int glfwKey, int action, int mods) {
  if (glfwKey == GLFW_KEY_CAPS_LOCK) {
    // The report is the state before the press, which the press toggles.
    if (action == GLFW_PRESS) capsLock_ = (mods & GLFW_MOD_CAPS_LOCK) == 0;
  } else if (action == GLFW_RELEASE) {
    sidesHeld_ &= ~sideBit(glfwKey);
  } else {
    sidesHeld_ |= sideBit(glfwKey);
  }
  // Each modifier reports as its left key, once while either side is held; the super keys
  // count as a modifier but are not keys of their own here.
  struct {
    bool held;
    KeyCode key;
  } const flags[] = {{capsLock_, KC_CapsLock},
                     {(sidesHeld_ & kShiftSides) != 0, KC_LeftShift},
                     {(sidesHeld_ & kControlSides) != 0, KC_LeftCtrl},
                     {(sidesHeld_ & kAltSides) != 0, KC_LeftAlt}};
  for (auto const& flag : flags) {
    if (keyboard_.isDown(flag.key) == flag.held) continue;
    if (flag.held)
      keyboard_.press(flag.key);
    else
      keyboard_.release(flag.key);
    PlatformEvent record = native(PlatformEvent::Key);
    record.key = glfwKey;
    record.action = action;
    KeyEvent event(flag.key, flag.held ? BA_Down : BA_Up);
    dispatch(record, event);
  }
}

void LinuxViewInput::character(uint32_t codepoint) {
  PlatformEvent record = native(PlatformEvent::Char);
  record.key = lastKey_;
  record.codepoint = codepoint;
  record.isCharacter = true;
  CharEvent event(codepoint);
  dispatch(record, event);
}

bool LinuxViewInput::movePointer(double x, double y) {
  x_ = x;
  y_ = y;
  auto px = int32_t(std::floor(x)), py = int32_t(std::floor(y));
  bool moved = px != mouse_.x || py != mouse_.y;
  mouse_.x = px;
  mouse_.y = py;
  return moved;
}

void LinuxViewInput::mouseButton(int button, int action, double x, double y) {
  // A consumer always sees the pointer arrive before the press.
  if (movePointer(x, y)) {
    PlatformEvent record = native(PlatformEvent::CursorMove);
    MouseMoveEvent move(mouse_.x, mouse_.y, mouseModifiers());
    dispatch(record, move);
  }
  if (button < 0 || button >= 5) return;
  bool down = action != GLFW_RELEASE;
  uint32_t glfwBit = 1u << button, codeBit = 1u << (button + 1);
  glfwButtons_ = down ? glfwButtons_ | glfwBit : glfwButtons_ & ~glfwBit;
  mouse_.buttons = down ? mouse_.buttons | codeBit : mouse_.buttons & ~codeBit;
  PlatformEvent record = native(PlatformEvent::MouseButton);
  record.button = button;
  record.action = action;
  // GLFW numbers left 0, right 1, middle 2: one below the portable button codes.
  MouseButtonEvent event(mouse_.x, mouse_.y, KeyCode(button + 1), down ? BA_Down : BA_Up, mouseModifiers());
  dispatch(record, event);
}

void LinuxViewInput::cursorMoved(double x, double y) {
  movePointer(x, y);
  PlatformEvent record = native(PlatformEvent::CursorMove);
  MouseMoveEvent event(mouse_.x, mouse_.y, mouseModifiers());
  dispatch(record, event);
}

void LinuxViewInput::scrolled(double dx, double dy, double x, double y) {
  movePointer(x, y);
  PlatformEvent record = native(PlatformEvent::Scroll);
  record.scrollX = dx;
  record.scrollY = dy;
  // A notch is 120; fractions from touchpads are kept down to 1/120 of a notch.
  MouseWheelEvent event(mouse_.x, mouse_.y, int(dy * 120), mouseModifiers());
  dispatch(record, event);
}

}  // namespace vorn
