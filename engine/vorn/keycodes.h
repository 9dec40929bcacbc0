// The key code space: mouse buttons, characters, keypad, function, named and controller keys.
#pragma once

#include <cstdint>
#include <ostream>

namespace vorn {

enum KeyCode : int32_t {
  KC_None = 0,
  KC_LeftMouse = 1, KC_RightMouse, KC_MiddleMouse, KC_ExtraMouse1, KC_ExtraMouse2,
  KC_Backspace = 8, KC_Tab = 9, KC_Enter = 13, KC_Esc = 27, KC_Space = 32,
  KC_QuoteDoubleQuote = 39, KC_CommaLess = 44, KC_MinusUnderscore, KC_PeriodGreater, KC_SlashQuestion,
  KC_0 = 48, KC_1, KC_2, KC_3, KC_4, KC_5, KC_6, KC_7, KC_8, KC_9,
  KC_SemiColonColon = 59, KC_EqualPlus = 61,
  KC_A = 65, KC_B, KC_C, KC_D, KC_E, KC_F, KC_G, KC_H, KC_I, KC_J, KC_K, KC_L, KC_M,
  KC_N, KC_O, KC_P, KC_Q, KC_R, KC_S, KC_T, KC_U, KC_V, KC_W, KC_X, KC_Y, KC_Z,
  KC_LeftBracketBrace = 91, KC_BackslashPipe, KC_RightBracketBrace, KC_BackquoteTilde = 96,
  KC_NumpadEnter = 141,
  KC_NumpadAsterisk = 170, KC_NumpadPlus, KC_NumpadMinus = 173, KC_NumpadPeriod, KC_NumpadSlash,
  KC_Numpad0 = 176, KC_Numpad1, KC_Numpad2, KC_Numpad3, KC_Numpad4,
  KC_Numpad5, KC_Numpad6, KC_Numpad7, KC_Numpad8, KC_Numpad9,
  KC_F1 = 256, KC_F2, KC_F3, KC_F4, KC_F5, KC_F6, KC_F7, KC_F8, KC_F9, KC_F10, KC_F11, KC_F12,
  KC_PrintScreen = 512, KC_Pause, KC_ScrollLock, KC_CapsLock, KC_NumLock,
  KC_LeftShift, KC_RightShift, KC_LeftCtrl, KC_RightCtrl, KC_LeftAlt, KC_RightAlt,
  KC_Insert, KC_Home, KC_PageUp, KC_Delete, KC_End, KC_PageDown,
  KC_UpArrow, KC_LeftArrow, KC_DownArrow, KC_RightArrow,
  KC_XboxAButton = 4096, KC_XboxBButton, KC_XboxXButton, KC_XboxYButton, KC_XboxStartButton,
  KC_XboxBackButton, KC_XboxLeftBumper, KC_XboxRightBumper, KC_XboxLeftStick, KC_XboxRightStick,
  KC_XboxDpadUp, KC_XboxDpadDown, KC_XboxDpadLeft, KC_XboxDpadRight, KC_XboxLeftTrigger,
  KC_XboxRightTrigger,
};

// The key's name ("LeftMouse", "A", "F12"), or null for a code without one.
char const* keyName(KeyCode key);

// The name, or the number for a code without one.
std::ostream& operator<<(std::ostream& os, KeyCode key);

}  // namespace vorn
