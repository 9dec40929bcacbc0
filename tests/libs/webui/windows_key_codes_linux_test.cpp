// Windows virtual-key codes for GLFW keys and for typed characters: spot checks of each block.
#include "webui/windows_key_codes_linux.h"

#include <gtest/gtest.h>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace {

TEST(WindowsKeyCodes, SpotChecksOfEachBlock) {
  struct {
    int key;
    int32_t code;
  } const keys[] = {
      {GLFW_KEY_A, 65}, {GLFW_KEY_Z, 90}, {GLFW_KEY_0, 48}, {GLFW_KEY_9, 57}, {GLFW_KEY_SEMICOLON, 186},
      {GLFW_KEY_GRAVE_ACCENT, 192}, {GLFW_KEY_LEFT_BRACKET, 219}, {GLFW_KEY_APOSTROPHE, 222}, {GLFW_KEY_ENTER, 13},
      {GLFW_KEY_ESCAPE, 27}, {GLFW_KEY_RIGHT_SHIFT, 161}, {GLFW_KEY_LEFT_CONTROL, 162}, {GLFW_KEY_RIGHT_ALT, 165},
      {GLFW_KEY_LEFT_SUPER, 91}, {GLFW_KEY_MENU, 93}, {GLFW_KEY_F1, 112}, {GLFW_KEY_F24, 135}, {GLFW_KEY_F25, 0},
      {GLFW_KEY_KP_0, 96}, {GLFW_KEY_KP_9, 105}, {GLFW_KEY_KP_SUBTRACT, 109}, {GLFW_KEY_KP_DIVIDE, 111},
      {GLFW_KEY_KP_ENTER, 13}, {GLFW_KEY_KP_EQUAL, 0}, {GLFW_KEY_LEFT, 37}, {GLFW_KEY_DOWN, 40},
      {GLFW_KEY_PAGE_DOWN, 34}, {GLFW_KEY_DELETE, 46}, {GLFW_KEY_SCROLL_LOCK, 145}, {GLFW_KEY_NUM_LOCK, 144},
      {GLFW_KEY_WORLD_1, 0}, {GLFW_KEY_UNKNOWN, 0}, {GLFW_KEY_LAST + 1, 0},
  };
  for (auto const& c : keys) EXPECT_EQ(webui::windowsKeyCodeForKeyCode(c.key), c.code) << "key " << c.key;

  struct {
    unsigned short character;
    int32_t code;
  } const characters[] = {
      {'a', 65}, {'Z', 90}, {'@', 0}, {'"', 222}, {'<', 188}, {'_', 189}, {'?', 191}, {':', 186}, {'|', 220},
      {'}', 221}, {'~', 192}, {63256, 132}, {63259, 135}, {63271, 45}, {63298, 43}, {63260, 0}, {'0', 0}, {13, 0},
  };
  for (auto const& c : characters)
    EXPECT_EQ(webui::windowsKeyCodeForCharCode(c.character), c.code) << "character " << c.character;

  EXPECT_TRUE(webui::isKeypadKey(GLFW_KEY_KP_0) && webui::isKeypadKey(GLFW_KEY_KP_EQUAL));
  EXPECT_FALSE(webui::isKeypadKey(GLFW_KEY_KP_0 - 1) || webui::isKeypadKey(GLFW_KEY_KP_EQUAL + 1));
}

}  // namespace
