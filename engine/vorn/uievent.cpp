#include "vorn/uievent.h"

#include <ios>

namespace vorn {
namespace {

uint32_t packPosition(int x, int y) { return uint32_t(uint16_t(int16_t(x))) | uint32_t(uint16_t(int16_t(y))) << 16; }

// Prints a value in hexadecimal with its base prefix and leaves the stream as it was.
void printHex(std::ostream& os, uint32_t value) {
  std::ios::fmtflags flags = os.flags();
  os << std::hex << std::showbase << value;
  os.flags(flags);
}

template <class Enum, size_t N>
std::ostream& printNamed(std::ostream& os, Enum value, char const* const (&names)[N]) {
  auto index = size_t(value);
  if (index < N) return os << names[index];
  return os << int64_t(value);
}

void printPosition(std::ostream& os, MouseEvent const& event) { os << "x=" << event.x() << " y=" << event.y(); }

}  // namespace

UIEvent::UIEvent() { translations.max_load_factor(1.0f); }

UIEvent::UIEvent(EventType type, InputSource source, int index) : type(type), source(source), index(uint8_t(index)) {
  translations.max_load_factor(1.0f);
}

void UIEvent::addTranslation(PlatformEventTranslator* translator, ka::RefNoCount<EventTranslation> translation) {
  translations[translator] = translation.ref();
}

ka::Ref<EventTranslation> UIEvent::getTranslation(PlatformEventTranslator* translator) const {
  auto found = translations.find(translator);
  return found == translations.end() ? nullptr : found->second;
}

MouseEvent::MouseEvent(EventType type, int index, int x, int y, uint32_t modifiers) : UIEvent(type, IS_Mouse, index) {
  data0 = packPosition(x, y);
  data1 = modifiers & 0x7f;
}

MouseButtonEvent::MouseButtonEvent(int x, int y, KeyCode button, ButtonAction action, uint32_t modifiers, int index)
    : MouseEvent(ET_MouseButton, index, x, y, modifiers) {
  data1 |= (uint32_t(button) & 0xff) << 8 | uint32_t(action) << 16;
}

MouseMoveEvent::MouseMoveEvent(int x, int y, uint32_t modifiers, int index)
    : MouseEvent(ET_MouseMove, index, x, y, modifiers) {}

MouseWheelEvent::MouseWheelEvent(int x, int y, int delta, uint32_t modifiers, int index)
    : MouseEvent(ET_MouseWheel, index, x, y, modifiers) {
  data1 |= uint32_t(delta) << 8;
}

KeyEvent::KeyEvent(KeyCode key, ButtonAction action, int index) : UIEvent(ET_Key, IS_Keyboard, index) {
  data0 = uint32_t(key);
  data1 = action;
}

CharEvent::CharEvent(uint32_t codepoint, int index) : UIEvent(ET_Char, IS_Keyboard, index) { data0 = codepoint; }

ResizeEvent::ResizeEvent(uint32_t width, uint32_t height) : UIEvent(ET_Resize, IS_None, 0) {
  data0 = width;
  data1 = height;
}

TouchEvent::TouchEvent(EventType type, int first, int second, int index) : UIEvent(type, IS_Touchpad, index) {
  data0 = uint32_t(first);
  data1 = uint32_t(second);
}

std::ostream& operator<<(std::ostream& os, EventType type) {
  static char const* const names[] = {"ET_None", "ET_MouseButton", "ET_MouseMove", "ET_MouseWheel", "ET_Key",
                                      "ET_Char", "ET_ControllerStickMove", "ET_ControllerTriggerMove",
                                      "ET_Activation", "ET_Resize", "ET_TouchBegan", "ET_TouchMoved",
                                      "ET_TouchEnded", "ET_TouchCancelled"};
  return printNamed(os, type, names);
}

std::ostream& operator<<(std::ostream& os, InputSource source) {
  static char const* const names[] = {"IS_None", "IS_Keyboard", "IS_Mouse", "IS_Controller", "IS_Touchpad"};
  return printNamed(os, source, names);
}

std::ostream& operator<<(std::ostream& os, ButtonAction action) {
  static char const* const names[] = {"BA_Down", "BA_Up", "BA_DoubleClick"};
  return printNamed(os, action, names);
}

std::ostream& operator<<(std::ostream& os, MouseModifier modifiers) {
  static char const* const names[] = {"MM_Left", "MM_Right", "MM_Middle", "MM_Extra1",
                                      "MM_Extra2", "MM_Shift", "MM_Control"};
  if (modifiers == 0) return os << "0";
  char const* separator = "";
  for (uint32_t bit = 0; bit < 32; ++bit) {
    if (!(modifiers & (1u << bit))) continue;
    os << separator;
    separator = "|";
    if (bit < std::size(names))
      os << names[bit];
    else
      printHex(os, 1u << bit);
  }
  return os;
}

std::ostream& operator<<(std::ostream& os, MouseButtonEvent const& event) {
  printPosition(os, event);
  return os << " action=" << event.action() << " button=" << event.button()
            << " mod=" << MouseModifier(event.modifiers());
}

std::ostream& operator<<(std::ostream& os, MouseMoveEvent const& event) {
  printPosition(os, event);
  return os << " mod=" << MouseModifier(event.modifiers());
}

std::ostream& operator<<(std::ostream& os, MouseWheelEvent const& event) {
  printPosition(os, event);
  return os << " delta=" << event.delta() << " mod=" << MouseModifier(event.modifiers());
}

std::ostream& operator<<(std::ostream& os, KeyEvent const& event) {
  return os << "key=" << event.key() << " action=" << event.action();
}

std::ostream& operator<<(std::ostream& os, CharEvent const& event) {
  std::ios::fmtflags flags = os.flags();
  char fill = os.fill('0');
  os << "codepoint=U+" << std::hex << std::uppercase;
  os.width(4);
  os << event.codepoint();
  os.flags(flags);
  os.fill(fill);
  if (event.codepoint() >= 33 && event.codepoint() <= 126) os << " ascii='" << char(event.codepoint()) << "'";
  return os;
}

std::ostream& operator<<(std::ostream& os, ResizeEvent const& event) {
  return os << "width=" << event.width() << " height=" << event.height();
}

std::ostream& operator<<(std::ostream& os, TouchEvent const& event) {
  return os << "width=" << event.first() << " height=" << event.second();
}

std::ostream& operator<<(std::ostream& os, UIEvent const& event) {
  os << "UIEvent type=" << event.type << " source=" << event.source << " index=" << int(event.index);
  switch (event.type) {
    case ET_MouseButton: return os << ' ' << MouseButtonEvent(event);
    case ET_MouseMove: return os << ' ' << MouseMoveEvent(event);
    case ET_MouseWheel: return os << ' ' << MouseWheelEvent(event);
    case ET_Key: return os << ' ' << KeyEvent(event);
    case ET_Char: return os << ' ' << CharEvent(event);
    case ET_Resize: return os << ' ' << ResizeEvent(event);
    case ET_TouchBegan:
    case ET_TouchMoved:
    case ET_TouchEnded:
    case ET_TouchCancelled: return os << ' ' << TouchEvent(event);
    default: break;
  }
  os << " data0=";
  printHex(os, event.data0);
  os << " data1=";
  printHex(os, event.data1);
  return os;
}

}  // namespace vorn
