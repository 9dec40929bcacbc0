// The window's input as the game receives it, fed GLFW's callbacks directly: no display needed.
#include "game/linux_view_input.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/text.h"

namespace {

struct Recorded {
  vorn::PlatformEvent native;
  std::string event;
};

class LinuxViewInputTest : public ::testing::Test {
 protected:
  std::vector<std::string> printedEvents() const {
    std::vector<std::string> out;
    for (auto const& r : recorded) out.push_back(r.event);
    return out;
  }

  vorn::Keyboard keyboard;
  vorn::Mouse mouse;
  std::vector<Recorded> recorded;
  vorn::LinuxViewInput input{keyboard, mouse, [this](vorn::PlatformEvent const& native, vorn::UIEvent& event) {
                               recorded.push_back({native, printed(event)});
                             }};
};

std::string key(char const* name, char const* action) {
  return std::string("UIEvent type=ET_Key source=IS_Keyboard index=0 key=") + name + " action=" + action;
}

TEST_F(LinuxViewInputTest, KeysGoDownRepeatAndUpWithTheirCharacters) {
  input.key(GLFW_KEY_A, 38, GLFW_PRESS, 0, 'a');
  input.character('a');
  input.key(GLFW_KEY_A, 38, GLFW_REPEAT, 0, 'a');
  input.character('a');
  EXPECT_EQ(keyboard.held(), std::vector<vorn::KeyCode>{vorn::KC_A}) << "held once, however long";
  input.key(GLFW_KEY_A, 38, GLFW_RELEASE, 0, 0);
  std::vector<std::string> const expected = {
      key("A", "BA_Down"), "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+0061 ascii='a'",
      key("A", "BA_Down"), "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+0061 ascii='a'",
      key("A", "BA_Up")};
  EXPECT_EQ(printedEvents(), expected);
  EXPECT_TRUE(keyboard.held().empty());
  // The character knows the key that typed it, and the key its label.
  EXPECT_EQ(recorded[0].native.kind, vorn::PlatformEvent::Key);
  EXPECT_EQ(recorded[0].native.codepoint, uint32_t('a'));
  EXPECT_EQ(recorded[1].native.kind, vorn::PlatformEvent::Char);
  EXPECT_EQ(recorded[1].native.key, GLFW_KEY_A);
  EXPECT_TRUE(recorded[1].native.isCharacter);
  EXPECT_FALSE(recorded[0].native.isCharacter);
  EXPECT_EQ(recorded[2].native.action, GLFW_REPEAT);
}

TEST_F(LinuxViewInputTest, EnterTypesACarriageReturnOfItsOwn) {
  input.key(GLFW_KEY_ENTER, 36, GLFW_PRESS, 0, 0);
  ASSERT_EQ(recorded.size(), 2u);
  EXPECT_EQ(recorded[0].event, key("Enter", "BA_Down"));
  EXPECT_EQ(recorded[1].event, "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+000D");
  EXPECT_TRUE(recorded[1].native.isCharacter);
  EXPECT_EQ(recorded[1].native.key, GLFW_KEY_ENTER);
  // The keypad's Enter is a key of its own, with no character.
  input.key(GLFW_KEY_KP_ENTER, 104, GLFW_PRESS, 0, 0);
  EXPECT_EQ(recorded.back().event, key("NumpadEnter", "BA_Down"));
}

TEST_F(LinuxViewInputTest, KeysWithoutARowGoDownAsNoneAndVanishOnTheWayUp) {
  for (int glfwKey : {GLFW_KEY_F11, GLFW_KEY_F12, GLFW_KEY_INSERT, GLFW_KEY_PRINT_SCREEN, GLFW_KEY_KP_EQUAL}) {
    recorded.clear();
    input.key(glfwKey, 0, GLFW_PRESS, 0, 0);
    input.key(glfwKey, 0, GLFW_RELEASE, 0, 0);
    EXPECT_EQ(printedEvents(), std::vector<std::string>{key("None", "BA_Down")}) << glfwKey;
  }
  EXPECT_TRUE(keyboard.held().empty());
  struct {
    int glfwKey;
    vorn::KeyCode code;
  } const rows[] = {{GLFW_KEY_Z, vorn::KC_Z},          {GLFW_KEY_0, vorn::KC_0},
                    {GLFW_KEY_KP_9, vorn::KC_Numpad9}, {GLFW_KEY_F10, vorn::KC_F10},
                    {GLFW_KEY_GRAVE_ACCENT, vorn::KC_BackquoteTilde}, {GLFW_KEY_DELETE, vorn::KC_Delete},
                    {GLFW_KEY_UP, vorn::KC_UpArrow},   {GLFW_KEY_KP_DECIMAL, vorn::KC_NumpadPeriod}};
  for (auto const& row : rows) EXPECT_EQ(vorn::keyCodeForGlfwKey(row.glfwKey), row.code) << row.glfwKey;
}

TEST_F(LinuxViewInputTest, ModifiersReportAsTheirLeftKeyOnceWhileEitherSideIsHeld) {
  // GLFW's own bits are the state before each event; they must not decide anything.
  input.key(GLFW_KEY_LEFT_SHIFT, 50, GLFW_PRESS, 0, 0);
  input.key(GLFW_KEY_RIGHT_SHIFT, 62, GLFW_PRESS, GLFW_MOD_SHIFT, 0);
  input.key(GLFW_KEY_LEFT_SHIFT, 50, GLFW_REPEAT, GLFW_MOD_SHIFT, 0);
  input.key(GLFW_KEY_LEFT_SHIFT, 50, GLFW_RELEASE, GLFW_MOD_SHIFT, 0);
  EXPECT_EQ(input.modifiers(), vorn::PlatformEvent::Shift) << "the right side is still held";
  input.key(GLFW_KEY_RIGHT_SHIFT, 62, GLFW_RELEASE, GLFW_MOD_SHIFT, 0);
  input.key(GLFW_KEY_RIGHT_CONTROL, 105, GLFW_PRESS, 0, 0);
  input.key(GLFW_KEY_A, 38, GLFW_PRESS, GLFW_MOD_CONTROL, 'a');
  // The super key is a modifier of events but no key of its own.
  input.key(GLFW_KEY_LEFT_SUPER, 133, GLFW_PRESS, GLFW_MOD_CONTROL, 0);
  input.key(GLFW_KEY_RIGHT_CONTROL, 105, GLFW_RELEASE, GLFW_MOD_CONTROL | GLFW_MOD_SUPER, 0);
  std::vector<std::string> const expected = {key("LeftShift", "BA_Down"), key("LeftShift", "BA_Up"),
                                             key("LeftCtrl", "BA_Down"), key("A", "BA_Down"),
                                             key("LeftCtrl", "BA_Up")};
  EXPECT_EQ(printedEvents(), expected);
  EXPECT_EQ(recorded[1].native.modifiers, 0);
  EXPECT_EQ(recorded[2].native.modifiers, vorn::PlatformEvent::Control) << "the state after the press";
  EXPECT_EQ(recorded[3].native.modifiers, vorn::PlatformEvent::Control);
  EXPECT_EQ(recorded[4].native.modifiers, vorn::PlatformEvent::Super);
  EXPECT_EQ(keyboard.held(), std::vector<vorn::KeyCode>{vorn::KC_A});
}

TEST_F(LinuxViewInputTest, CapsLockIsTheLocksState) {
  input.key(GLFW_KEY_CAPS_LOCK, 66, GLFW_PRESS, 0, 0);
  input.key(GLFW_KEY_CAPS_LOCK, 66, GLFW_RELEASE, GLFW_MOD_CAPS_LOCK, 0);
  EXPECT_TRUE(keyboard.isDown(vorn::KC_CapsLock));
  EXPECT_EQ(input.modifiers(), vorn::PlatformEvent::CapsLock);
  input.key(GLFW_KEY_CAPS_LOCK, 66, GLFW_PRESS, GLFW_MOD_CAPS_LOCK, 0);
  EXPECT_FALSE(keyboard.isDown(vorn::KC_CapsLock));
  std::vector<std::string> const expected = {key("CapsLock", "BA_Down"), key("CapsLock", "BA_Up")};
  EXPECT_EQ(printedEvents(), expected);
  // Locked in another window meanwhile: the next key says so.
  input.key(GLFW_KEY_B, 56, GLFW_PRESS, GLFW_MOD_CAPS_LOCK, 'b');
  EXPECT_EQ(recorded.back().native.modifiers, vorn::PlatformEvent::CapsLock);
}

TEST_F(LinuxViewInputTest, ThePointerArrivesBeforeThePress) {
  input.mouseButton(GLFW_MOUSE_BUTTON_LEFT, GLFW_PRESS, 10.7, 20.2);
  input.mouseButton(GLFW_MOUSE_BUTTON_LEFT, GLFW_RELEASE, 10.9, 20.9);
  input.key(GLFW_KEY_LEFT_SHIFT, 50, GLFW_PRESS, 0, 0);
  input.mouseButton(GLFW_MOUSE_BUTTON_RIGHT, GLFW_PRESS, 10, 20);
  EXPECT_EQ(mouse.buttons, 1u << vorn::KC_RightMouse);
  input.cursorMoved(10, 20);
  input.mouseButton(GLFW_MOUSE_BUTTON_8, GLFW_PRESS, 10, 20);
  std::vector<std::string> const expected = {
      "UIEvent type=ET_MouseMove source=IS_Mouse index=0 x=10 y=20 mod=0",
      "UIEvent type=ET_MouseButton source=IS_Mouse index=0 x=10 y=20 action=BA_Down button=LeftMouse mod=0",
      // Within the same pixel: no move.
      "UIEvent type=ET_MouseButton source=IS_Mouse index=0 x=10 y=20 action=BA_Up button=LeftMouse mod=0",
      key("LeftShift", "BA_Down"),
      "UIEvent type=ET_MouseButton source=IS_Mouse index=0 x=10 y=20 action=BA_Down button=RightMouse mod=MM_Shift",
      // Moves are reported even when nothing changed; the buttons beyond the fifth are not.
      "UIEvent type=ET_MouseMove source=IS_Mouse index=0 x=10 y=20 mod=MM_Shift"};
  EXPECT_EQ(printedEvents(), expected);
  EXPECT_EQ(recorded[4].native.buttonsHeld, 1u << GLFW_MOUSE_BUTTON_RIGHT);
  EXPECT_EQ(recorded[4].native.button, GLFW_MOUSE_BUTTON_RIGHT);
  EXPECT_EQ(mouse.x, 10);
  EXPECT_EQ(mouse.y, 20);
}

TEST_F(LinuxViewInputTest, WheelNotchesAre120AndFractionsCount) {
  input.scrolled(0, 1, 5, 6);
  input.scrolled(0, -1.5, 5, 6);
  input.scrolled(0.25, 0.25, 5, 6);
  std::vector<std::string> const expected = {
      "UIEvent type=ET_MouseWheel source=IS_Mouse index=0 x=5 y=6 delta=120 mod=0",
      "UIEvent type=ET_MouseWheel source=IS_Mouse index=0 x=5 y=6 delta=-180 mod=0",
      "UIEvent type=ET_MouseWheel source=IS_Mouse index=0 x=5 y=6 delta=30 mod=0"};
  EXPECT_EQ(printedEvents(), expected);
  EXPECT_EQ(recorded[2].native.scrollX, 0.25);
}

}  // namespace
