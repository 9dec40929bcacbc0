#include "webui/event_translation.h"

#include <gtest/gtest.h>

#include "ka/logsink.h"
#include "webui/log_handler.h"
#include "webui/log_severity.h"

namespace {

TEST(EventTranslation, BuildsTheEngineRecordsFromPortableEvents) {
  using Mouse = webui::MouseEventData;
  struct MouseCase {
    webui::MouseEventData record;
    Mouse::EventType type;
    Mouse::MouseButton button;
    int x, y;
    float wheel;
  } const mice[] = {
      {webui::translate(vorn::MouseButtonEvent(3, 4, vorn::KC_LeftMouse, vorn::BA_Down, 0)), Mouse::Down,
       Mouse::ButtonLeft, 3, 4, 0},
      {webui::translate(vorn::MouseButtonEvent(3, 4, vorn::KC_RightMouse, vorn::BA_Up, 0)), Mouse::Up,
       Mouse::ButtonRight, 3, 4, 0},
      {webui::translate(vorn::MouseButtonEvent(3, 4, vorn::KC_MiddleMouse, vorn::BA_DoubleClick, 0)), Mouse::Move,
       Mouse::ButtonMiddle, 3, 4, 0},
      {webui::translate(vorn::MouseButtonEvent(3, 4, vorn::KC_ExtraMouse1, vorn::BA_Down, 0)), Mouse::Down,
       Mouse::ButtonNone, 3, 4, 0},
      {webui::translate(vorn::MouseMoveEvent(-5, 600, 0)), Mouse::Move, Mouse::ButtonNone, -5, 600, 0},
      {webui::translate(vorn::MouseWheelEvent(1, 2, 240, 0)), Mouse::Wheel, Mouse::ButtonNone, 1, 2, 2},
      {webui::translate(vorn::MouseWheelEvent(1, 2, 119, 0)), Mouse::Wheel, Mouse::ButtonNone, 1, 2, 0},
      {webui::translate(vorn::MouseWheelEvent(1, 2, -120, 0)), Mouse::Wheel, Mouse::ButtonNone, 1, 2, -1},
  };
  for (auto const& c : mice) {
    EXPECT_EQ(c.record.Type, c.type);
    EXPECT_EQ(c.record.Button, c.button);
    EXPECT_EQ(c.record.X, c.x);
    EXPECT_EQ(c.record.Y, c.y);
    EXPECT_EQ(c.record.WheelY, c.wheel);
    EXPECT_EQ(c.record.WheelX, 0);
  }

  using Key = webui::KeyEventData;
  struct KeyCase {
    webui::KeyEventData record;
    int32_t code;
    Key::EventType type;
  } const keys[] = {
      {webui::translate(vorn::KeyEvent(vorn::KC_A, vorn::BA_Down)), 65, Key::KeyDown},
      {webui::translate(vorn::KeyEvent(vorn::KC_Enter, vorn::BA_Up)), 13, Key::KeyUp},
      {webui::translate(vorn::KeyEvent(vorn::KC_UpArrow, vorn::BA_Down)), 38, Key::KeyDown},
      {webui::translate(vorn::KeyEvent(vorn::KC_LeftArrow, vorn::BA_Down)), 37, Key::KeyDown},
      {webui::translate(vorn::KeyEvent(vorn::KC_DownArrow, vorn::BA_Down)), 40, Key::KeyDown},
      {webui::translate(vorn::KeyEvent(vorn::KC_RightArrow, vorn::BA_Down)), 39, Key::KeyDown},
      {webui::translate(vorn::KeyEvent(vorn::KC_F1, vorn::BA_DoubleClick)), 256, Key::Unknown},
      {webui::translate(vorn::CharEvent(0x1F600)), 0x1F600, Key::Char},
  };
  for (auto const& c : keys) {
    EXPECT_EQ(c.record.KeyCode, c.code);
    EXPECT_EQ(c.record.Type, c.type);
  }
}

TEST(WebUILogHandler, WritesTheEnginesLinesAtInfoWithoutTheClosingCharacter) {
  ka::LogSinkMemory log(0);
  webui::WebUILogHandler handler(webui::parseCoherentLogSeverity("warning"));
  handler.WriteLog(5, "broken\n", 7);
  handler.WriteLog(2, "chatter\n", 8);
  ASSERT_EQ(log.messages().size(), 1u);
  EXPECT_NE(log.messages()[0].find(" INFO [COUI] broken\n"), std::string::npos) << log.messages()[0];
}

}  // namespace
