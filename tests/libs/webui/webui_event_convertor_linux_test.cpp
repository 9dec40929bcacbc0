#include "webui/webui_event_convertor_linux.h"

#include <gtest/gtest.h>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace {

using vorn::PlatformEvent;
using Key = webui::KeyEventData;
using Mouse = webui::MouseEventData;

PlatformEvent key(int glfwKey, int action, uint32_t label, int modifiers = 0) {
  return {.kind = PlatformEvent::Key, .key = glfwKey, .action = action, .modifiers = modifiers, .codepoint = label};
}

PlatformEvent character(uint32_t codepoint, int glfwKey, int modifiers = 0) {
  return {.kind = PlatformEvent::Char, .key = glfwKey, .modifiers = modifiers, .codepoint = codepoint,
          .isCharacter = true};
}

PlatformEvent mouse(PlatformEvent::Kind kind, int button, int action, uint32_t held) {
  return {.kind = kind, .action = action, .button = button, .x = 10.7, .y = 20.2, .buttonsHeld = held};
}

PlatformEvent scroll(double x, double y) { return {.kind = PlatformEvent::Scroll, .scrollX = x, .scrollY = y}; }

TEST(WebUIEventConvertor, SortsEventsIntoKeyMouseAndNone) {
  struct {
    PlatformEvent event;
    webui::EventCategory category;
  } const cases[] = {
      {key(GLFW_KEY_A, GLFW_PRESS, 'a'), webui::EC_Key},
      {character('a', GLFW_KEY_A), webui::EC_Key},
      {character(0x263a, -1), webui::EC_Key},
      {key(GLFW_KEY_LEFT_SHIFT, GLFW_PRESS, 0), webui::EC_None},
      {key(GLFW_KEY_RIGHT_CONTROL, GLFW_RELEASE, 0), webui::EC_None},
      {key(GLFW_KEY_LEFT_ALT, GLFW_PRESS, 0), webui::EC_None},
      {key(GLFW_KEY_RIGHT_SUPER, GLFW_PRESS, 0), webui::EC_None},
      {key(GLFW_KEY_CAPS_LOCK, GLFW_PRESS, 0), webui::EC_None},
      {key(GLFW_KEY_NUM_LOCK, GLFW_PRESS, 0), webui::EC_None},
      {key(GLFW_KEY_MENU, GLFW_PRESS, 0), webui::EC_Key},
      {mouse(PlatformEvent::MouseButton, 0, GLFW_PRESS, 1), webui::EC_Mouse},
      {mouse(PlatformEvent::CursorMove, -1, 0, 0), webui::EC_Mouse},
      {scroll(0, 1), webui::EC_Mouse},
      {{.kind = PlatformEvent::Resize}, webui::EC_None},
      {{.kind = PlatformEvent::None}, webui::EC_None},
  };
  for (auto const& c : cases) EXPECT_EQ(webui::GetEventCategory(c.event), c.category) << int(c.event.kind);
}

TEST(WebUIEventConvertor, MakesKeyRecords) {
  int const ctrl = PlatformEvent::Control;
  struct {
    char const* what;
    PlatformEvent event;
    int32_t code;
    Key::EventType type;
    bool repeat;
    bool numPad;
  } const cases[] = {
      {"Return down", key(GLFW_KEY_ENTER, GLFW_PRESS, 0), 13, Key::KeyDown, false, false},
      {"Return's character", character(13, GLFW_KEY_ENTER), 13, Key::Char, false, false},
      {"Return up", key(GLFW_KEY_ENTER, GLFW_RELEASE, 0), 13, Key::KeyUp, false, false},
      {"held down", key(GLFW_KEY_A, GLFW_REPEAT, 'a'), 65, Key::KeyDown, true, false},
      {"Ctrl+A", key(GLFW_KEY_A, GLFW_PRESS, 'a', ctrl), 65, Key::KeyDown, false, false},
      // A French keyboard's A sits where GLFW, by position, says Q; its digit row types "&".
      {"labelled A", key(GLFW_KEY_Q, GLFW_PRESS, 'a'), 65, Key::KeyDown, false, false},
      {"labelled &", key(GLFW_KEY_1, GLFW_PRESS, '&'), 49, Key::KeyDown, false, false},
      {"labelled :", key(GLFW_KEY_PERIOD, GLFW_PRESS, ':'), 186, Key::KeyDown, false, false},
      {"no label", key(GLFW_KEY_F5, GLFW_PRESS, 0), 116, Key::KeyDown, false, false},
      {"keypad 1", key(GLFW_KEY_KP_1, GLFW_PRESS, '1'), 97, Key::KeyDown, false, true},
      {"keypad minus", key(GLFW_KEY_KP_SUBTRACT, GLFW_PRESS, '-'), 109, Key::KeyDown, false, true},
      {"keypad 1's character", character('1', GLFW_KEY_KP_1), 0, Key::Unknown, false, true},
      {"keypad Enter's character", character(13, GLFW_KEY_KP_ENTER), 13, Key::Char, false, true},
      {"x", character('x', GLFW_KEY_X), 'x', Key::Char, false, false},
      {"space", character(' ', GLFW_KEY_SPACE), ' ', Key::Char, false, false},
      {"e acute", character(0xe9, GLFW_KEY_2), 0xe9, Key::Char, false, false},
      {"beyond 16 bits", character(0x1f600, -1), 0x1f600, Key::Char, false, false},
      {"private use", character(0xf704, GLFW_KEY_F1), 0, Key::Unknown, false, false},
      {"delete character", character(127, GLFW_KEY_DELETE), 0, Key::Unknown, false, false},
      {"tab character", character(9, GLFW_KEY_TAB), 0, Key::Unknown, false, false},
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

TEST(WebUIEventConvertor, CarriesTheModifiersHeld) {
  struct {
    int modifiers;
    bool shift, control, alt, meta, capsLock;
  } const cases[] = {
      {0, false, false, false, false, false},
      {PlatformEvent::Shift, true, false, false, false, false},
      {PlatformEvent::Control, false, true, false, false, false},
      {PlatformEvent::Alt, false, false, true, false, false},
      {PlatformEvent::Super, false, false, false, true, false},
      {PlatformEvent::CapsLock, false, false, false, false, true},
      {PlatformEvent::NumLock, false, false, false, false, false},
  };
  for (auto const& c : cases) {
    Key keyRecord;
    webui::TranslatePlatformEvent(key(GLFW_KEY_A, GLFW_PRESS, 'a', c.modifiers), keyRecord);
    Mouse mouseRecord;
    webui::TranslatePlatformEvent(
        {.kind = PlatformEvent::MouseButton, .action = GLFW_PRESS, .modifiers = c.modifiers, .button = 0},
        mouseRecord);
    for (webui::ModifierState const& held : {keyRecord.Modifiers, mouseRecord.Modifiers}) {
      EXPECT_EQ(held.Shift, c.shift) << c.modifiers;
      EXPECT_EQ(held.Control, c.control) << c.modifiers;
      EXPECT_EQ(held.Alt, c.alt) << c.modifiers;
      EXPECT_EQ(held.Meta, c.meta) << c.modifiers;
      EXPECT_EQ(held.CapsLock, c.capsLock) << c.modifiers;
      EXPECT_FALSE(held.Reserved);
    }
  }
}

TEST(WebUIEventConvertor, MakesMouseRecords) {
  struct {
    char const* what;
    PlatformEvent event;
    Mouse::EventType type;
    Mouse::MouseButton button;
    float wheelX, wheelY;
    bool left, middle, right;
  } const cases[] = {
      {"left press", mouse(PlatformEvent::MouseButton, 0, GLFW_PRESS, 1), Mouse::Down, Mouse::ButtonLeft, 0, 0,
       true, false, false},
      {"right release", mouse(PlatformEvent::MouseButton, 1, GLFW_RELEASE, 0), Mouse::Up, Mouse::ButtonRight, 0, 0,
       false, false, false},
      {"middle press", mouse(PlatformEvent::MouseButton, 2, GLFW_PRESS, 4), Mouse::Down, Mouse::ButtonMiddle, 0, 0,
       false, true, false},
      {"fourth button", mouse(PlatformEvent::MouseButton, 3, GLFW_PRESS, 8), Mouse::Down, Mouse::ButtonNone, 0, 0,
       false, false, false},
      {"move", mouse(PlatformEvent::CursorMove, -1, 0, 0), Mouse::Move, Mouse::ButtonNone, 0, 0, false, false,
       false},
      {"right drag", mouse(PlatformEvent::CursorMove, -1, 0, 2), Mouse::Move, Mouse::ButtonRight, 0, 0, false,
       false, true},
      {"middle drag", mouse(PlatformEvent::CursorMove, -1, 0, 4), Mouse::Move, Mouse::ButtonMiddle, 0, 0, false,
       true, false},
      {"left and right drag", mouse(PlatformEvent::CursorMove, -1, 0, 3), Mouse::Move, Mouse::ButtonLeft, 0, 0,
       true, false, true},
      {"one notch", scroll(0, 1), Mouse::Wheel, Mouse::ButtonNone, 0, 10, false, false, false},
      {"touchpad", scroll(0, 0.3), Mouse::Wheel, Mouse::ButtonNone, 0, 3, false, false, false},
      {"towards the player", scroll(0, -1.5), Mouse::Wheel, Mouse::ButtonNone, 0, -15, false, false, false},
      {"sideways", scroll(-0.26, 0), Mouse::Wheel, Mouse::ButtonNone, -2, 0, false, false, false},
  };
  for (auto const& c : cases) {
    Mouse record;
    webui::TranslatePlatformEvent(c.event, record);
    EXPECT_EQ(record.Type, c.type) << c.what;
    EXPECT_EQ(record.Button, c.button) << c.what;
    EXPECT_EQ(record.WheelX, c.wheelX) << c.what;
    EXPECT_EQ(record.WheelY, c.wheelY) << c.what;
    EXPECT_EQ(record.PressedLeft, c.left) << c.what;
    EXPECT_EQ(record.PressedMiddle, c.middle) << c.what;
    EXPECT_EQ(record.PressedRight, c.right) << c.what;
  }
  Mouse at;
  webui::TranslatePlatformEvent(mouse(PlatformEvent::CursorMove, -1, 0, 0), at);
  EXPECT_EQ(at.X, 10);
  EXPECT_EQ(at.Y, 20);
}

TEST(WebUIEventConvertor, TheTranslatorWrapsTheRecordOfTheEventsCategory) {
  webui::WebUIEventTranslator translator;
  using KeyWrapper = webui::WebUIEventTranslator::EventWrapper<Key>;
  using MouseWrapper = webui::WebUIEventTranslator::EventWrapper<Mouse>;

  ka::Ref<vorn::EventTranslation> typed =
      translator.translateEvent(key(GLFW_KEY_A, GLFW_PRESS, 'a', PlatformEvent::Control));
  auto const* keyRecord = dynamic_cast<KeyWrapper const*>(typed.get());
  ASSERT_NE(keyRecord, nullptr);
  EXPECT_EQ(keyRecord->data.KeyCode, 65);
  EXPECT_TRUE(keyRecord->data.Modifiers.Control);

  ka::Ref<vorn::EventTranslation> scrolled = translator.translateEvent(scroll(0, 1));
  auto const* mouseRecord = dynamic_cast<MouseWrapper const*>(scrolled.get());
  ASSERT_NE(mouseRecord, nullptr);
  EXPECT_EQ(mouseRecord->data.Type, Mouse::Wheel);
  EXPECT_EQ(mouseRecord->data.Button, Mouse::ButtonNone);

  EXPECT_FALSE(translator.translateEvent(key(GLFW_KEY_LEFT_SHIFT, GLFW_PRESS, 0)));
  EXPECT_FALSE(translator.translateEvent({.kind = PlatformEvent::Resize}));
}

}  // namespace
