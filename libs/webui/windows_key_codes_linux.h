// Windows virtual key codes, the engine's key numbering on every platform, for GLFW's keys and
// for the characters that keys type.
#pragma once

#include <cstdint>

namespace webui {

// The code of a GLFW key token; 0 for a key with no Windows equivalent and for anything else.
int32_t windowsKeyCodeForKeyCode(int glfwKey);

// The code of the key that types `character` on a US keyboard, for letters and punctuation,
// and for a few function keys' private-use characters; 0 for all others, digits included, so
// that the key itself decides.
int32_t windowsKeyCodeForCharCode(unsigned short character);

// The numeric keypad, whose keys type the same characters as keys elsewhere on the keyboard.
bool isKeypadKey(int glfwKey);

}  // namespace webui
