// The player's input as the window last reported it: keys held and the mouse.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "vorn/keycodes.h"

namespace vorn {

// Keys held down, in order of pressing, each once.
class Keyboard {
 public:
  bool isDown(KeyCode key) const { return std::find(held_.begin(), held_.end(), key) != held_.end(); }
  void press(KeyCode key) {
    if (key != KC_None && !isDown(key)) held_.push_back(key);
  }
  void release(KeyCode key) { held_.erase(std::remove(held_.begin(), held_.end(), key), held_.end()); }
  std::vector<KeyCode> const& held() const { return held_; }

 private:
  std::vector<KeyCode> held_;
};

struct Mouse {
  uint32_t buttons = 0;  // bit n: the button with key code n is held
  uint8_t enabled = 1;   // kept as the view sets them; nothing reads them
  uint8_t captured = 0;
  int32_t x = 0;
  int32_t y = 0;
};

}  // namespace vorn
