#include "webui/event_translation.h"

namespace webui {
namespace {

void position(vorn::MouseEvent const& event, MouseEventData& record) {
  record.X = event.x();
  record.Y = event.y();
}

}  // namespace

MouseEventData translate(vorn::MouseButtonEvent const& event) {
  MouseEventData record;
  position(event, record);
  switch (event.button()) {
    case vorn::KC_LeftMouse: record.Button = MouseEventData::ButtonLeft; break;
    case vorn::KC_RightMouse: record.Button = MouseEventData::ButtonRight; break;
    case vorn::KC_MiddleMouse: record.Button = MouseEventData::ButtonMiddle; break;
    default: break;
  }
  if (event.action() == vorn::BA_Down) record.Type = MouseEventData::Down;
  if (event.action() == vorn::BA_Up) record.Type = MouseEventData::Up;
  return record;
}

MouseEventData translate(vorn::MouseEvent const& event) {
  MouseEventData record;
  position(event, record);
  return record;
}

MouseEventData translate(vorn::MouseWheelEvent const& event) {
  MouseEventData record;
  position(event, record);
  record.Type = MouseEventData::Wheel;
  // Whole notches of 120; a partial notch counts for nothing.
  record.WheelY = float(event.delta() / 120);
  return record;
}

KeyEventData translate(vorn::KeyEvent const& event) {
  KeyEventData record;
  record.KeyCode = event.key();
  // The arrows as the engine numbers them: left 37, up 38, right 39, down 40.
  switch (event.key()) {
    case vorn::KC_UpArrow: record.KeyCode = 38; break;
    case vorn::KC_LeftArrow: record.KeyCode = 37; break;
    case vorn::KC_DownArrow: record.KeyCode = 40; break;
    case vorn::KC_RightArrow: record.KeyCode = 39; break;
    default: break;
  }
  if (event.action() == vorn::BA_Down) record.Type = KeyEventData::KeyDown;
  if (event.action() == vorn::BA_Up) record.Type = KeyEventData::KeyUp;
  return record;
}

KeyEventData translate(vorn::CharEvent const& event) {
  KeyEventData record;
  record.KeyCode = int32_t(event.codepoint());
  record.Type = KeyEventData::Char;
  return record;
}

}  // namespace webui
