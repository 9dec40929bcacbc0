#include "webui/windows_key_codes_linux.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

#include <array>

namespace webui {
namespace {

constexpr std::array<int32_t, GLFW_KEY_LAST + 1> kWindowsKeyCodes = [] {
  std::array<int32_t, GLFW_KEY_LAST + 1> codes{};
  // Letters and digits share their numbers with ASCII in both numberings.
  for (int key = GLFW_KEY_A; key <= GLFW_KEY_Z; ++key) codes[key] = key;
  for (int key = GLFW_KEY_0; key <= GLFW_KEY_9; ++key) codes[key] = key;
  for (int i = 0; i < 24; ++i) codes[GLFW_KEY_F1 + i] = 112 + i;
  for (int i = 0; i < 10; ++i) codes[GLFW_KEY_KP_0 + i] = 96 + i;
  // Punctuation as the US keyboard places it.
  codes[GLFW_KEY_SEMICOLON] = 186;
  codes[GLFW_KEY_EQUAL] = 187;
  codes[GLFW_KEY_COMMA] = 188;
  codes[GLFW_KEY_MINUS] = 189;
  codes[GLFW_KEY_PERIOD] = 190;
  codes[GLFW_KEY_SLASH] = 191;
  codes[GLFW_KEY_GRAVE_ACCENT] = 192;
  codes[GLFW_KEY_LEFT_BRACKET] = 219;
  codes[GLFW_KEY_BACKSLASH] = 220;
  codes[GLFW_KEY_RIGHT_BRACKET] = 221;
  codes[GLFW_KEY_APOSTROPHE] = 222;

  codes[GLFW_KEY_BACKSPACE] = 8;
  codes[GLFW_KEY_TAB] = 9;
  codes[GLFW_KEY_ENTER] = 13;
  codes[GLFW_KEY_KP_ENTER] = 13;
  codes[GLFW_KEY_PAUSE] = 19;
  codes[GLFW_KEY_CAPS_LOCK] = 20;
  codes[GLFW_KEY_ESCAPE] = 27;
  codes[GLFW_KEY_SPACE] = 32;
  codes[GLFW_KEY_PAGE_UP] = 33;
  codes[GLFW_KEY_PAGE_DOWN] = 34;
  codes[GLFW_KEY_END] = 35;
  codes[GLFW_KEY_HOME] = 36;
  codes[GLFW_KEY_LEFT] = 37;
  codes[GLFW_KEY_UP] = 38;
  codes[GLFW_KEY_RIGHT] = 39;
  codes[GLFW_KEY_DOWN] = 40;
  codes[GLFW_KEY_PRINT_SCREEN] = 44;
  codes[GLFW_KEY_INSERT] = 45;
  codes[GLFW_KEY_DELETE] = 46;
  codes[GLFW_KEY_LEFT_SUPER] = 91;
  codes[GLFW_KEY_RIGHT_SUPER] = 92;
  codes[GLFW_KEY_MENU] = 93;
  codes[GLFW_KEY_KP_MULTIPLY] = 106;
  codes[GLFW_KEY_KP_ADD] = 107;
  codes[GLFW_KEY_KP_SUBTRACT] = 109;
  codes[GLFW_KEY_KP_DECIMAL] = 110;
  codes[GLFW_KEY_KP_DIVIDE] = 111;
  codes[GLFW_KEY_NUM_LOCK] = 144;
  codes[GLFW_KEY_SCROLL_LOCK] = 145;
  codes[GLFW_KEY_LEFT_SHIFT] = 160;
  codes[GLFW_KEY_RIGHT_SHIFT] = 161;
  codes[GLFW_KEY_LEFT_CONTROL] = 162;
  codes[GLFW_KEY_RIGHT_CONTROL] = 163;
  codes[GLFW_KEY_LEFT_ALT] = 164;
  codes[GLFW_KEY_RIGHT_ALT] = 165;
  return codes;
}();

}  // namespace

int32_t windowsKeyCodeForKeyCode(int glfwKey) {
  if (glfwKey < 0 || glfwKey > GLFW_KEY_LAST) return 0;
  return kWindowsKeyCodes[size_t(glfwKey)];
}

int32_t windowsKeyCodeForCharCode(unsigned short character) {
  if (character >= 'a' && character <= 'z') return character - 'a' + 'A';
  if (character >= 'A' && character <= 'Z') return character;
  switch (character) {
    case '"': case '\'': return 222;
    case '+': case '=': return 187;
    case ',': case '<': return 188;
    case '-': case '_': return 189;
    case '.': case '>': return 190;
    case '/': case '?': return 191;
    case ':': case ';': return 186;
    case '[': case '{': return 219;
    case '\\': case '|': return 220;
    case ']': case '}': return 221;
    case '`': case '~': return 192;
    // Function keys' characters in the private use area.
    case 63256: return 132;
    case 63257: return 133;
    case 63258: return 134;
    case 63259: return 135;
    case 63271: return 45;
    case 63278: return 44;
    case 63279: return 145;
    case 63280: return 19;
    case 63288: return 42;
    case 63297: return 41;
    case 63298: return 43;
    default: return 0;
  }
}

bool isKeypadKey(int glfwKey) { return glfwKey >= GLFW_KEY_KP_0 && glfwKey <= GLFW_KEY_KP_EQUAL; }

}  // namespace webui
