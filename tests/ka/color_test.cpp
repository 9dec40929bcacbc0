// Colours: byte layout, byte and float conversions, stream forms, and spot checks of the CSS names.
#include "ka/color.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

namespace {

using ka::Color4b;
using ka::Color4f;

template <class T>
std::string str(T const& value) {
  std::ostringstream os;
  os << value;
  return os.str();
}

static_assert(std::is_aggregate_v<Color4b> && std::is_aggregate_v<Color4f>);
static_assert(Color4f::White == Color4f{1, 1, 1, 1} && Color4f::Black == Color4f{0, 0, 0, 1}, "usable at compile time");

TEST(Color, Color4bHoldsRFromTheLowestByteUp) {
  Color4b c{1, 2, 3, 4};
  unsigned char const expect[4] = {1, 2, 3, 4};
  EXPECT_EQ(std::memcmp(&c, expect, 4), 0);
  EXPECT_EQ(c.packed(), 0x04030201u);
  EXPECT_EQ(Color4b::fromPacked(0x04030201u), c);
}

TEST(Color, StreamFormsShowAlphaOnlyBelowFull) {
  EXPECT_EQ(str(Color4b{255, 0, 128, 255}), "Color4b(255,0,128)");
  EXPECT_EQ(str(Color4b{1, 2, 3, 254}), "Color4b(1,2,3,254)");
  EXPECT_EQ(str(Color4b{0, 0, 0, 0}), "Color4b(0,0,0,0)");
  EXPECT_EQ(str(Color4f{1, 0.5f, 0, 1}), "Color4f(1,0.5,0)");
  EXPECT_EQ(str(Color4f{1, 0.5f, 0, 0.25f}), "Color4f(1,0.5,0,0.25)");
  EXPECT_EQ(str(Color4f{1, 1, 1, 2}), "Color4f(1,1,1)");
}

TEST(Color, ConversionsBetweenBytesAndFloats) {
  for (int v = 0; v < 256; ++v) {
    Color4b b{uint8_t(v), uint8_t(255 - v), uint8_t(v / 2), uint8_t(v)};
    Color4f f = b.toColor4f();
    ASSERT_EQ(f.r, v / 255.0f);
    ASSERT_EQ(f.toColor4b(), b) << v;
  }
  EXPECT_EQ((Color4f{-1, 2, 0.5f, 1}.toColor4b()), (Color4b{0, 255, 128, 255}));
  EXPECT_EQ(Color4f::fromBytes(255, 0, 0), Color4f::Red);
  EXPECT_EQ(Color4f::Red.withAlpha(0.5f), (Color4f{1, 0, 0, 0.5f}));
}

TEST(Color, NamedColoursSpotChecks) {
  // The first and last names, and the ones a table is easiest to get wrong: CSS's DarkGray is lighter
  // than its Gray, and its Green is half as bright as Lime.
  struct {
    char const* name;
    Color4f color;
    Color4b bytes;
  } const cases[] = {
      {"AliceBlue", Color4f::AliceBlue, {240, 248, 255, 255}},
      {"Gray", Color4f::Gray, {128, 128, 128, 255}},
      {"DarkGray", Color4f::DarkGray, {169, 169, 169, 255}},
      {"Green", Color4f::Green, {0, 128, 0, 255}},
      {"Lime", Color4f::Lime, {0, 255, 0, 255}},
      {"YellowGreen", Color4f::YellowGreen, {154, 205, 50, 255}},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(c.color.toColor4b(), c.bytes) << c.name;
    EXPECT_EQ(c.color, c.bytes.toColor4f()) << c.name;
  }
}

}  // namespace
