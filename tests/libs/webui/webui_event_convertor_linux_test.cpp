// The UI host's translation of the window's input events into key and mouse records.
#include "webui/webui_event_convertor_linux.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace {

using vorn::PlatformEvent;
using Key = webui::KeyEventData;
using Mouse = webui::MouseEventData;

PlatformEvent key(int glfwKey, int action, uint32_t label, int modifiers = 0) {
  return {.kind = PlatformEvent::Key, .key = glfwKey, .action = action, .modifiers = modifiers, .codepoint = label};
}
PlatformEvent character(uint32_t codepoint, int glfwKey) {
  return {.kind = PlatformEvent::Char, .key = glfwKey, .codepoint = codepoint, .isCharacter = true};
}
PlatformEvent mouse(PlatformEvent::Kind kind, int button, int action, uint32_t held, double scrollY = 0) {
  return {.kind = kind, .action = action, .button = button, .x = 10.7, .y = 20.2, .scrollY = scrollY,
          .buttonsHeld = held};
}

TEST(WebUIEventConvertor, SortsEventsIntoKeyMouseAndNone) {
  using webui::EC_Key, webui::EC_Mouse, webui::EC_None;
  std::pair<PlatformEvent, webui::EventCategory> const cases[] = {
      {key(GLFW_KEY_A, GLFW_PRESS, 'a'), EC_Key}, {character('a', GLFW_KEY_A), EC_Key},
      {key(GLFW_KEY_MENU, GLFW_PRESS, 0), EC_Key}, {key(GLFW_KEY_LEFT_SHIFT, GLFW_PRESS, 0), EC_None},
      {key(GLFW_KEY_RIGHT_SUPER, GLFW_RELEASE, 0), EC_None}, {key(GLFW_KEY_NUM_LOCK, GLFW_PRESS, 0), EC_None},
      {mouse(PlatformEvent::MouseButton, 0, GLFW_PRESS, 1), EC_Mouse},
      {mouse(PlatformEvent::CursorMove, -1, 0, 0), EC_Mouse}, {mouse(PlatformEvent::Scroll, -1, 0, 0, 1), EC_Mouse},
      {{.kind = PlatformEvent::Resize}, EC_None},
  };
  for (auto const& [event, category] : cases) EXPECT_EQ(webui::GetEventCategory(event), category) << event.key;
}

TEST(WebUIEventConvertor, MakesKeyRecords) {
  struct {
    char const* what;
    PlatformEvent event;
    int32_t code;
    Key::EventType type;
    bool repeat, numPad;
  } const cases[] = {
      {"Return", key(GLFW_KEY_ENTER, GLFW_PRESS, 0), 13, Key::KeyDown, false, false},
      {"Return's character", character(13, GLFW_KEY_ENTER), 13, Key::Char, false, false},
      {"held down", key(GLFW_KEY_A, GLFW_REPEAT, 'a'), 65, Key::KeyDown, true, false},
      {"released", key(GLFW_KEY_F5, GLFW_RELEASE, 0), 116, Key::KeyUp, false, false},
      // A French keyboard's A sits where GLFW, by position, says Q.
      {"labelled A", key(GLFW_KEY_Q, GLFW_PRESS, 'a'), 65, Key::KeyDown, false, false},
      {"keypad 1", key(GLFW_KEY_KP_1, GLFW_PRESS, '1'), 97, Key::KeyDown, false, true},
      {"keypad minus", key(GLFW_KEY_KP_SUBTRACT, GLFW_PRESS, '-'), 109, Key::KeyDown, false, true},
      {"keypad 1's character", character('1', GLFW_KEY_KP_1), 0, Key::Unknown, false, true},
      {"x", character('x', GLFW_KEY_X), 'x', Key::Char, false, false},
      {"beyond 16 bits", character(0x1f600, -1), 0x1f600, Key::Char, false, false},
      {"private use", character(0xf704, GLFW_KEY_F1), 0, Key::Unknown, false, false},
      {"delete", character(127, GLFW_KEY_DELETE), 0, Key::Unknown, false, false},
  };
  for (auto const& c : cases) {
    Key record;
    webui::TranslatePlatformEvent(c.event, record);
    EXPECT_EQ(record.KeyCode, c.code) << c.what;
    EXPECT_EQ(record.Type, c.type) << c.what;
    EXPECT_EQ(record.IsAutoRepeat, c.repeat) << c.what;
    EXPECT_EQ(record.IsNumPad, c.numPad) << c.what;
  }
}

TEST(WebUIEventConvertor, MakesMouseRecords) {
  struct {
    char const* what;
    PlatformEvent event;
    Mouse::EventType type;
    Mouse::MouseButton button;
    float wheelY;
    bool left, middle, right;
  } const cases[] = {
      {"left press", mouse(PlatformEvent::MouseButton, 0, GLFW_PRESS, 1), Mouse::Down, Mouse::ButtonLeft, 0, true,
       false, false},
      {"right release", mouse(PlatformEvent::MouseButton, 1, GLFW_RELEASE, 0), Mouse::Up, Mouse::ButtonRight, 0,
       false, false, false},
      {"right drag", mouse(PlatformEvent::CursorMove, -1, 0, 2), Mouse::Move, Mouse::ButtonRight, 0, false, false,
       true},
      {"left and middle drag", mouse(PlatformEvent::CursorMove, -1, 0, 5), Mouse::Move, Mouse::ButtonLeft, 0, true,
       true, false},
      {"one notch", mouse(PlatformEvent::Scroll, -1, 0, 0, 1), Mouse::Wheel, Mouse::ButtonNone, 10, false, false,
       false},
      {"touchpad", mouse(PlatformEvent::Scroll, -1, 0, 0, -0.3), Mouse::Wheel, Mouse::ButtonNone, -3, false, false,
       false},
  };
  for (auto const& c : cases) {
    Mouse record;
    webui::TranslatePlatformEvent(c.event, record);
    EXPECT_EQ(record.Type, c.type) << c.what;
    EXPECT_EQ(record.Button, c.button) << c.what;
    EXPECT_EQ(record.WheelY, c.wheelY) << c.what;
    EXPECT_EQ(std::make_tuple(record.PressedLeft, record.PressedMiddle, record.PressedRight),
              std::make_tuple(c.left, c.middle, c.right))
        << c.what;
    EXPECT_EQ(std::make_pair(record.X, record.Y), std::make_pair(10, 20)) << c.what;
  }
}

TEST(WebUIEventConvertor, CarriesTheModifiersHeld) {
  Key typed;
  webui::TranslatePlatformEvent(
      key(GLFW_KEY_A, GLFW_PRESS, 'a', PlatformEvent::Shift | PlatformEvent::Super | PlatformEvent::CapsLock), typed);
  webui::ModifierState const& k = typed.Modifiers;
  EXPECT_TRUE(k.Shift && k.Meta && k.CapsLock && !k.Control && !k.Alt && !k.Reserved);
  Mouse clicked;
  PlatformEvent click = mouse(PlatformEvent::MouseButton, 0, GLFW_PRESS, 1);
  click.modifiers = PlatformEvent::Control | PlatformEvent::Alt | PlatformEvent::NumLock;
  webui::TranslatePlatformEvent(click, clicked);
  webui::ModifierState const& m = clicked.Modifiers;
  EXPECT_TRUE(m.Control && m.Alt && !m.Shift && !m.Meta && !m.CapsLock && !m.Reserved);
}

}  // namespace
