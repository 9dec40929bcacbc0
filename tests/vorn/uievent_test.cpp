#include "vorn/uievent.h"

#include <gtest/gtest.h>


#include "support/text.h"

namespace {

TEST(KeyCodes, EveryBlockHasItsNames) {
  struct Case {
    int32_t code;
    char const* name;
  } const cases[] = {
      {0, "None"},          {1, "LeftMouse"},        {5, "ExtraMouse2"},      {8, "Backspace"},
      {13, "Enter"},        {27, "Esc"},             {32, "Space"},           {39, "QuoteDoubleQuote"},
      {47, "SlashQuestion"}, {48, "0"},              {57, "9"},               {59, "SemiColonColon"},
      {61, "EqualPlus"},    {65, "A"},               {90, "Z"},               {92, "BackslashPipe"},
      {96, "BackquoteTilde"}, {141, "NumpadEnter"}, {171, "NumpadPlus"},     {173, "NumpadMinus"},
      {175, "NumpadSlash"}, {176, "Numpad0"},        {185, "Numpad9"},        {256, "F1"},
      {267, "F12"},         {512, "PrintScreen"},    {516, "NumLock"},        {517, "LeftShift"},
      {522, "RightAlt"},    {523, "Insert"},         {528, "PageDown"},       {529, "UpArrow"},
      {532, "RightArrow"},  {4096, "XboxAButton"},   {4105, "XboxRightStick"}, {4106, "XboxDpadUp"},
      {4111, "XboxRightTrigger"},
  };
  for (Case const& c : cases) {
    EXPECT_STREQ(vorn::keyName(vorn::KeyCode(c.code)), c.name) << c.code;
    EXPECT_EQ(printed(vorn::KeyCode(c.code)), c.name);
  }
  for (int32_t unnamed : {6, 7, 40, 58, 60, 97, 140, 172, 186, 268, 533, 4112, -1})
    EXPECT_EQ(printed(vorn::KeyCode(unnamed)), std::to_string(unnamed));
  EXPECT_EQ(vorn::KC_RightArrow, 532);
  EXPECT_EQ(vorn::KC_XboxRightTrigger, 4111);
}

TEST(UIEvent, PayloadsPackAndUnpack) {
  vorn::MouseButtonEvent button(-3, 700, vorn::KC_RightMouse, vorn::BA_DoubleClick, vorn::MM_Shift | vorn::MM_Left);
  EXPECT_EQ(button.type, vorn::ET_MouseButton);
  EXPECT_EQ(button.source, vorn::IS_Mouse);
  EXPECT_EQ(button.data0, 0x02bcfffdu);
  EXPECT_EQ(button.data1, 0x00020221u);
  vorn::MouseButtonEvent read(static_cast<vorn::UIEvent const&>(button));
  EXPECT_EQ(read.x(), -3);
  EXPECT_EQ(read.y(), 700);
  EXPECT_EQ(read.button(), vorn::KC_RightMouse);
  EXPECT_EQ(read.action(), vorn::BA_DoubleClick);

  vorn::MouseWheelEvent wheel(10, 20, -240, 0);
  EXPECT_EQ(wheel.delta(), -240);
  EXPECT_EQ(wheel.data1 & 0xff, 0u) << "modifiers stay apart from the delta";
  EXPECT_EQ(vorn::MouseWheelEvent(10, 20, 120, vorn::MM_Control).delta(), 120);

  vorn::UIEvent plain;
  EXPECT_EQ(plain.type, vorn::ET_None);
  EXPECT_EQ(plain.data0 | plain.data1, 0u);
}

TEST(UIEvent, PrintsEachKindForTheLog) {
  struct Case {
    vorn::UIEvent event;
    char const* expected;
  } const cases[] = {
      {vorn::MouseButtonEvent(12, -4, vorn::KC_LeftMouse, vorn::BA_Down, vorn::MM_Left | vorn::MM_Control),
       "UIEvent type=ET_MouseButton source=IS_Mouse index=0 x=12 y=-4 action=BA_Down button=LeftMouse "
       "mod=MM_Left|MM_Control"},
      {vorn::MouseMoveEvent(1, 2, 0, 1), "UIEvent type=ET_MouseMove source=IS_Mouse index=1 x=1 y=2 mod=0"},
      {vorn::MouseWheelEvent(5, 6, -120, vorn::MM_Shift),
       "UIEvent type=ET_MouseWheel source=IS_Mouse index=0 x=5 y=6 delta=-120 mod=MM_Shift"},
      {vorn::KeyEvent(vorn::KC_F5, vorn::BA_Up), "UIEvent type=ET_Key source=IS_Keyboard index=0 key=F5 action=BA_Up"},
      {vorn::KeyEvent(vorn::KeyCode(600), vorn::ButtonAction(9)),
       "UIEvent type=ET_Key source=IS_Keyboard index=0 key=600 action=9"},
      {vorn::CharEvent('A'), "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+0041 ascii='A'"},
      {vorn::CharEvent(' '), "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+0020"},
      {vorn::CharEvent(0x1F600), "UIEvent type=ET_Char source=IS_Keyboard index=0 codepoint=U+1F600"},
      {vorn::ResizeEvent(1024, 640), "UIEvent type=ET_Resize source=IS_None index=0 width=1024 height=640"},
      {vorn::TouchEvent(vorn::ET_TouchMoved, -7, 8),
       "UIEvent type=ET_TouchMoved source=IS_Touchpad index=0 width=-7 height=8"},
      {vorn::UIEvent(vorn::ET_Activation, vorn::IS_Controller, 2),
       "UIEvent type=ET_Activation source=IS_Controller index=2 data0=0 data1=0"},
  };
  for (Case const& c : cases) EXPECT_EQ(printed(c.event), c.expected);

  vorn::UIEvent odd(vorn::EventType(77), vorn::InputSource(9), 0);
  odd.data0 = 0xbeef;
  odd.data1 = 255;
  EXPECT_EQ(printed(odd), "UIEvent type=77 source=9 index=0 data0=0xbeef data1=0xff");
  EXPECT_EQ(printed(vorn::MouseModifier(vorn::MM_Right | 0x100)), "MM_Right|0x100");
}

struct Note : vorn::EventTranslation {
  explicit Note(int value) : value(value) {}
  int value;
};

TEST(UIEvent, KeepsOneTranslationPerTranslator) {
  auto* first = reinterpret_cast<vorn::PlatformEventTranslator*>(0x10);
  auto* second = reinterpret_cast<vorn::PlatformEventTranslator*>(0x20);
  vorn::UIEvent event;
  event.addTranslation(first, new Note(1));
  event.addTranslation(first, new Note(2));
  EXPECT_EQ(static_cast<Note*>(event.getTranslation(first).get())->value, 2);
  EXPECT_FALSE(event.getTranslation(second));
  EXPECT_EQ(event.translations.size(), 1u);
}

}  // namespace
