#include "vorn/keycodes.h"

#include <sstream>
#include <string>
#include <unordered_map>

namespace vorn {
namespace {

// Runs of consecutive codes: the first code, then the names in order, blank-separated.
struct NamedRun {
  int32_t first;
  char const* names;
};

NamedRun const kRuns[] = {
    {0, "None LeftMouse RightMouse MiddleMouse ExtraMouse1 ExtraMouse2"},
    {8, "Backspace Tab"},
    {13, "Enter"},
    {27, "Esc"},
    {32, "Space"},
    {39, "QuoteDoubleQuote"},
    {44, "CommaLess MinusUnderscore PeriodGreater SlashQuestion"},
    {48, "0 1 2 3 4 5 6 7 8 9"},
    {59, "SemiColonColon"},
    {61, "EqualPlus"},
    {65, "A B C D E F G H I J K L M N O P Q R S T U V W X Y Z"},
    {91, "LeftBracketBrace BackslashPipe RightBracketBrace"},
    {96, "BackquoteTilde"},
    {141, "NumpadEnter"},
    {170, "NumpadAsterisk NumpadPlus"},
    {173, "NumpadMinus NumpadPeriod NumpadSlash"},
    {176, "Numpad0 Numpad1 Numpad2 Numpad3 Numpad4 Numpad5 Numpad6 Numpad7 Numpad8 Numpad9"},
    {256, "F1 F2 F3 F4 F5 F6 F7 F8 F9 F10 F11 F12"},
    {512, "PrintScreen Pause ScrollLock CapsLock NumLock LeftShift RightShift LeftCtrl RightCtrl "
          "LeftAlt RightAlt Insert Home PageUp Delete End PageDown UpArrow LeftArrow DownArrow RightArrow"},
    {4096, "XboxAButton XboxBButton XboxXButton XboxYButton XboxStartButton XboxBackButton "
           "XboxLeftBumper XboxRightBumper XboxLeftStick XboxRightStick XboxDpadUp XboxDpadDown "
           "XboxDpadLeft XboxDpadRight XboxLeftTrigger XboxRightTrigger"},
};

std::unordered_map<int32_t, std::string> const& nameTable() {
  static std::unordered_map<int32_t, std::string> const table = [] {
    std::unordered_map<int32_t, std::string> names;
    for (NamedRun const& run : kRuns) {
      std::istringstream words(run.names);
      int32_t code = run.first;
      for (std::string word; words >> word;) names.emplace(code++, word);
    }
    return names;
  }();
  return table;
}

}  // namespace

char const* keyName(KeyCode key) {
  auto found = nameTable().find(key);
  return found == nameTable().end() ? nullptr : found->second.c_str();
}

std::ostream& operator<<(std::ostream& os, KeyCode key) {
  if (char const* name = keyName(key)) return os << name;
  return os << int32_t(key);
}

}  // namespace vorn
