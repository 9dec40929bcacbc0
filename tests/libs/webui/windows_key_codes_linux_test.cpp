#include "webui/windows_key_codes_linux.h"

#include <gtest/gtest.h>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace {

TEST(WindowsKeyCodes, GivesEachGlfwKeyItsWindowsCode) {
  struct {
    int key;
    int32_t code;
  } const cases[] = {
      {GLFW_KEY_A, 65}, {GLFW_KEY_Z, 90}, {GLFW_KEY_0, 48}, {GLFW_KEY_9, 57},
      {GLFW_KEY_SEMICOLON, 186}, {GLFW_KEY_EQUAL, 187}, {GLFW_KEY_COMMA, 188}, {GLFW_KEY_MINUS, 189},
      {GLFW_KEY_PERIOD, 190}, {GLFW_KEY_SLASH, 191}, {GLFW_KEY_GRAVE_ACCENT, 192}, {GLFW_KEY_LEFT_BRACKET, 219},
      {GLFW_KEY_BACKSLASH, 220}, {GLFW_KEY_RIGHT_BRACKET, 221}, {GLFW_KEY_APOSTROPHE, 222},
      {GLFW_KEY_ENTER, 13}, {GLFW_KEY_TAB, 9}, {GLFW_KEY_SPACE, 32}, {GLFW_KEY_BACKSPACE, 8}, {GLFW_KEY_ESCAPE, 27},
      {GLFW_KEY_LEFT_SHIFT, 160}, {GLFW_KEY_RIGHT_SHIFT, 161}, {GLFW_KEY_LEFT_CONTROL, 162},
      {GLFW_KEY_RIGHT_CONTROL, 163}, {GLFW_KEY_LEFT_ALT, 164}, {GLFW_KEY_RIGHT_ALT, 165},
      {GLFW_KEY_LEFT_SUPER, 91}, {GLFW_KEY_RIGHT_SUPER, 92}, {GLFW_KEY_MENU, 93}, {GLFW_KEY_CAPS_LOCK, 20},
      {GLFW_KEY_F1, 112}, {GLFW_KEY_F12, 123}, {GLFW_KEY_F24, 135}, {GLFW_KEY_F25, 0},
      {GLFW_KEY_KP_0, 96}, {GLFW_KEY_KP_9, 105}, {GLFW_KEY_KP_MULTIPLY, 106}, {GLFW_KEY_KP_ADD, 107},
      {GLFW_KEY_KP_SUBTRACT, 109}, {GLFW_KEY_KP_DECIMAL, 110}, {GLFW_KEY_KP_DIVIDE, 111}, {GLFW_KEY_KP_ENTER, 13},
      {GLFW_KEY_KP_EQUAL, 0},
      {GLFW_KEY_LEFT, 37}, {GLFW_KEY_UP, 38}, {GLFW_KEY_RIGHT, 39}, {GLFW_KEY_DOWN, 40},
      {GLFW_KEY_HOME, 36}, {GLFW_KEY_END, 35}, {GLFW_KEY_PAGE_UP, 33}, {GLFW_KEY_PAGE_DOWN, 34},
      {GLFW_KEY_INSERT, 45}, {GLFW_KEY_DELETE, 46}, {GLFW_KEY_PRINT_SCREEN, 44}, {GLFW_KEY_SCROLL_LOCK, 145},
      {GLFW_KEY_PAUSE, 19}, {GLFW_KEY_NUM_LOCK, 144},
      {GLFW_KEY_WORLD_1, 0}, {GLFW_KEY_UNKNOWN, 0}, {GLFW_KEY_LAST + 1, 0}, {1000000, 0},
  };
  for (auto const& c : cases) EXPECT_EQ(webui::windowsKeyCodeForKeyCode(c.key), c.code) << "key " << c.key;
}

TEST(WindowsKeyCodes, GivesLettersAndPunctuationTheCodeOfTheirKey) {
  struct {
    unsigned short character;
    int32_t code;
  } const cases[] = {
      {'a', 65}, {'z', 90}, {'A', 65}, {'Z', 90}, {'"', 222}, {'\'', 222}, {'+', 187}, {'=', 187},
      {',', 188}, {'<', 188}, {'-', 189}, {'_', 189}, {'.', 190}, {'>', 190}, {'/', 191}, {'?', 191},
      {':', 186}, {';', 186}, {'[', 219}, {'{', 219}, {'\\', 220}, {'|', 220}, {']', 221}, {'}', 221},
      {'`', 192}, {'~', 192},
      {63256, 132}, {63259, 135}, {63271, 45}, {63278, 44}, {63279, 145}, {63280, 19}, {63288, 42},
      {63297, 41}, {63298, 43},
      // The key decides for these.
      {'0', 0}, {'9', 0}, {' ', 0}, {13, 0}, {0, 0}, {'@', 0}, {0xe9, 0}, {63260, 0},
  };
  for (auto const& c : cases)
    EXPECT_EQ(webui::windowsKeyCodeForCharCode(c.character), c.code) << "character " << c.character;
}

TEST(WindowsKeyCodes, TheKeypadRunsFromItsZeroToItsEqualSign) {
  for (int key : {GLFW_KEY_KP_0, GLFW_KEY_KP_9, GLFW_KEY_KP_ENTER, GLFW_KEY_KP_EQUAL})
    EXPECT_TRUE(webui::isKeypadKey(key)) << key;
  for (int key : {GLFW_KEY_KP_0 - 1, GLFW_KEY_KP_EQUAL + 1, GLFW_KEY_1, GLFW_KEY_ENTER, GLFW_KEY_UNKNOWN})
    EXPECT_FALSE(webui::isKeypadKey(key)) << key;
}

}  // namespace
