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
  unsigned char bytes[4];
  std::memcpy(bytes, &c, 4);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(bytes[1], 2);
  EXPECT_EQ(bytes[2], 3);
  EXPECT_EQ(bytes[3], 4);
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

TEST(Color, NamedColoursAreTheCssKeywords) {
  struct Named {
    char const* name;
    Color4f const* color;
    unsigned rgb;
  } const table[] = {
      {"AliceBlue", &ka::Color4f::AliceBlue, 0xf0f8ff},
      {"AntiqueWhite", &ka::Color4f::AntiqueWhite, 0xfaebd7},
      {"Aqua", &ka::Color4f::Aqua, 0x00ffff},
      {"Aquamarine", &ka::Color4f::Aquamarine, 0x7fffd4},
      {"Azure", &ka::Color4f::Azure, 0xf0ffff},
      {"Beige", &ka::Color4f::Beige, 0xf5f5dc},
      {"Bisque", &ka::Color4f::Bisque, 0xffe4c4},
      {"Black", &ka::Color4f::Black, 0x000000},
      {"BlanchedAlmond", &ka::Color4f::BlanchedAlmond, 0xffebcd},
      {"Blue", &ka::Color4f::Blue, 0x0000ff},
      {"BlueViolet", &ka::Color4f::BlueViolet, 0x8a2be2},
      {"Brown", &ka::Color4f::Brown, 0xa52a2a},
      {"BurlyWood", &ka::Color4f::BurlyWood, 0xdeb887},
      {"CadetBlue", &ka::Color4f::CadetBlue, 0x5f9ea0},
      {"Chartreuse", &ka::Color4f::Chartreuse, 0x7fff00},
      {"Chocolate", &ka::Color4f::Chocolate, 0xd2691e},
      {"Coral", &ka::Color4f::Coral, 0xff7f50},
      {"CornflowerBlue", &ka::Color4f::CornflowerBlue, 0x6495ed},
      {"Cornsilk", &ka::Color4f::Cornsilk, 0xfff8dc},
      {"Crimson", &ka::Color4f::Crimson, 0xdc143c},
      {"Cyan", &ka::Color4f::Cyan, 0x00ffff},
      {"DarkBlue", &ka::Color4f::DarkBlue, 0x00008b},
      {"DarkCyan", &ka::Color4f::DarkCyan, 0x008b8b},
      {"DarkGoldenrod", &ka::Color4f::DarkGoldenrod, 0xb8860b},
      {"DarkGray", &ka::Color4f::DarkGray, 0xa9a9a9},
      {"DarkGreen", &ka::Color4f::DarkGreen, 0x006400},
      {"DarkKhaki", &ka::Color4f::DarkKhaki, 0xbdb76b},
      {"DarkMagenta", &ka::Color4f::DarkMagenta, 0x8b008b},
      {"DarkOliveGreen", &ka::Color4f::DarkOliveGreen, 0x556b2f},
      {"DarkOrange", &ka::Color4f::DarkOrange, 0xff8c00},
      {"DarkOrchid", &ka::Color4f::DarkOrchid, 0x9932cc},
      {"DarkRed", &ka::Color4f::DarkRed, 0x8b0000},
      {"DarkSalmon", &ka::Color4f::DarkSalmon, 0xe9967a},
      {"DarkSeaGreen", &ka::Color4f::DarkSeaGreen, 0x8fbc8f},
      {"DarkSlateBlue", &ka::Color4f::DarkSlateBlue, 0x483d8b},
      {"DarkSlateGray", &ka::Color4f::DarkSlateGray, 0x2f4f4f},
      {"DarkTurquoise", &ka::Color4f::DarkTurquoise, 0x00ced1},
      {"DarkViolet", &ka::Color4f::DarkViolet, 0x9400d3},
      {"DeepPink", &ka::Color4f::DeepPink, 0xff1493},
      {"DeepSkyBlue", &ka::Color4f::DeepSkyBlue, 0x00bfff},
      {"DimGray", &ka::Color4f::DimGray, 0x696969},
      {"DodgerBlue", &ka::Color4f::DodgerBlue, 0x1e90ff},
      {"Firebrick", &ka::Color4f::Firebrick, 0xb22222},
      {"FloralWhite", &ka::Color4f::FloralWhite, 0xfffaf0},
      {"ForestGreen", &ka::Color4f::ForestGreen, 0x228b22},
      {"Fuchsia", &ka::Color4f::Fuchsia, 0xff00ff},
      {"Gainsboro", &ka::Color4f::Gainsboro, 0xdcdcdc},
      {"GhostWhite", &ka::Color4f::GhostWhite, 0xf8f8ff},
      {"Gold", &ka::Color4f::Gold, 0xffd700},
      {"Goldenrod", &ka::Color4f::Goldenrod, 0xdaa520},
      {"Gray", &ka::Color4f::Gray, 0x808080},
      {"Green", &ka::Color4f::Green, 0x008000},
      {"GreenYellow", &ka::Color4f::GreenYellow, 0xadff2f},
      {"Honeydew", &ka::Color4f::Honeydew, 0xf0fff0},
      {"HotPink", &ka::Color4f::HotPink, 0xff69b4},
      {"IndianRed", &ka::Color4f::IndianRed, 0xcd5c5c},
      {"Indigo", &ka::Color4f::Indigo, 0x4b0082},
      {"Ivory", &ka::Color4f::Ivory, 0xfffff0},
      {"Khaki", &ka::Color4f::Khaki, 0xf0e68c},
      {"Lavender", &ka::Color4f::Lavender, 0xe6e6fa},
      {"LavenderBlush", &ka::Color4f::LavenderBlush, 0xfff0f5},
      {"LawnGreen", &ka::Color4f::LawnGreen, 0x7cfc00},
      {"LemonChiffon", &ka::Color4f::LemonChiffon, 0xfffacd},
      {"LightBlue", &ka::Color4f::LightBlue, 0xadd8e6},
      {"LightCoral", &ka::Color4f::LightCoral, 0xf08080},
      {"LightCyan", &ka::Color4f::LightCyan, 0xe0ffff},
      {"LightGoldenrodYellow", &ka::Color4f::LightGoldenrodYellow, 0xfafad2},
      {"LightGray", &ka::Color4f::LightGray, 0xd3d3d3},
      {"LightGreen", &ka::Color4f::LightGreen, 0x90ee90},
      {"LightPink", &ka::Color4f::LightPink, 0xffb6c1},
      {"LightSalmon", &ka::Color4f::LightSalmon, 0xffa07a},
      {"LightSeaGreen", &ka::Color4f::LightSeaGreen, 0x20b2aa},
      {"LightSkyBlue", &ka::Color4f::LightSkyBlue, 0x87cefa},
      {"LightSlateGray", &ka::Color4f::LightSlateGray, 0x778899},
      {"LightSteelBlue", &ka::Color4f::LightSteelBlue, 0xb0c4de},
      {"LightYellow", &ka::Color4f::LightYellow, 0xffffe0},
      {"Lime", &ka::Color4f::Lime, 0x00ff00},
      {"LimeGreen", &ka::Color4f::LimeGreen, 0x32cd32},
      {"Linen", &ka::Color4f::Linen, 0xfaf0e6},
      {"Magenta", &ka::Color4f::Magenta, 0xff00ff},
      {"Maroon", &ka::Color4f::Maroon, 0x800000},
      {"MediumAquamarine", &ka::Color4f::MediumAquamarine, 0x66cdaa},
      {"MediumBlue", &ka::Color4f::MediumBlue, 0x0000cd},
      {"MediumOrchid", &ka::Color4f::MediumOrchid, 0xba55d3},
      {"MediumPurple", &ka::Color4f::MediumPurple, 0x9370db},
      {"MediumSeaGreen", &ka::Color4f::MediumSeaGreen, 0x3cb371},
      {"MediumSlateBlue", &ka::Color4f::MediumSlateBlue, 0x7b68ee},
      {"MediumSpringGreen", &ka::Color4f::MediumSpringGreen, 0x00fa9a},
      {"MediumTurquoise", &ka::Color4f::MediumTurquoise, 0x48d1cc},
      {"MediumVioletRed", &ka::Color4f::MediumVioletRed, 0xc71585},
      {"MidnightBlue", &ka::Color4f::MidnightBlue, 0x191970},
      {"MintCream", &ka::Color4f::MintCream, 0xf5fffa},
      {"MistyRose", &ka::Color4f::MistyRose, 0xffe4e1},
      {"Moccasin", &ka::Color4f::Moccasin, 0xffe4b5},
      {"NavajoWhite", &ka::Color4f::NavajoWhite, 0xffdead},
      {"Navy", &ka::Color4f::Navy, 0x000080},
      {"OldLace", &ka::Color4f::OldLace, 0xfdf5e6},
      {"Olive", &ka::Color4f::Olive, 0x808000},
      {"OliveDrab", &ka::Color4f::OliveDrab, 0x6b8e23},
      {"Orange", &ka::Color4f::Orange, 0xffa500},
      {"OrangeRed", &ka::Color4f::OrangeRed, 0xff4500},
      {"Orchid", &ka::Color4f::Orchid, 0xda70d6},
      {"PaleGoldenrod", &ka::Color4f::PaleGoldenrod, 0xeee8aa},
      {"PaleGreen", &ka::Color4f::PaleGreen, 0x98fb98},
      {"PaleTurquoise", &ka::Color4f::PaleTurquoise, 0xafeeee},
      {"PaleVioletRed", &ka::Color4f::PaleVioletRed, 0xdb7093},
      {"PapayaWhip", &ka::Color4f::PapayaWhip, 0xffefd5},
      {"PeachPuff", &ka::Color4f::PeachPuff, 0xffdab9},
      {"Peru", &ka::Color4f::Peru, 0xcd853f},
      {"Pink", &ka::Color4f::Pink, 0xffc0cb},
      {"Plum", &ka::Color4f::Plum, 0xdda0dd},
      {"PowderBlue", &ka::Color4f::PowderBlue, 0xb0e0e6},
      {"Purple", &ka::Color4f::Purple, 0x800080},
      {"Red", &ka::Color4f::Red, 0xff0000},
      {"RosyBrown", &ka::Color4f::RosyBrown, 0xbc8f8f},
      {"RoyalBlue", &ka::Color4f::RoyalBlue, 0x4169e1},
      {"SaddleBrown", &ka::Color4f::SaddleBrown, 0x8b4513},
      {"Salmon", &ka::Color4f::Salmon, 0xfa8072},
      {"SandyBrown", &ka::Color4f::SandyBrown, 0xf4a460},
      {"SeaGreen", &ka::Color4f::SeaGreen, 0x2e8b57},
      {"SeaShell", &ka::Color4f::SeaShell, 0xfff5ee},
      {"Sienna", &ka::Color4f::Sienna, 0xa0522d},
      {"Silver", &ka::Color4f::Silver, 0xc0c0c0},
      {"SkyBlue", &ka::Color4f::SkyBlue, 0x87ceeb},
      {"SlateBlue", &ka::Color4f::SlateBlue, 0x6a5acd},
      {"SlateGray", &ka::Color4f::SlateGray, 0x708090},
      {"Snow", &ka::Color4f::Snow, 0xfffafa},
      {"SpringGreen", &ka::Color4f::SpringGreen, 0x00ff7f},
      {"SteelBlue", &ka::Color4f::SteelBlue, 0x4682b4},
      {"Tan", &ka::Color4f::Tan, 0xd2b48c},
      {"Teal", &ka::Color4f::Teal, 0x008080},
      {"Thistle", &ka::Color4f::Thistle, 0xd8bfd8},
      {"Tomato", &ka::Color4f::Tomato, 0xff6347},
      {"Turquoise", &ka::Color4f::Turquoise, 0x40e0d0},
      {"Violet", &ka::Color4f::Violet, 0xee82ee},
      {"Wheat", &ka::Color4f::Wheat, 0xf5deb3},
      {"White", &ka::Color4f::White, 0xffffff},
      {"WhiteSmoke", &ka::Color4f::WhiteSmoke, 0xf5f5f5},
      {"Yellow", &ka::Color4f::Yellow, 0xffff00},
      {"YellowGreen", &ka::Color4f::YellowGreen, 0x9acd32},
  };
  EXPECT_EQ(sizeof(table) / sizeof(table[0]), 140u);
  for (Named const& n : table) {
    Color4f expect{((n.rgb >> 16) & 255) / 255.0f, ((n.rgb >> 8) & 255) / 255.0f, (n.rgb & 255) / 255.0f, 1.0f};
    EXPECT_EQ(*n.color, expect) << n.name;
  }
  // A few by their values, as a reader would check them.
  EXPECT_EQ(Color4f::Gray.toColor4b(), (Color4b{128, 128, 128, 255}));
  EXPECT_EQ(Color4f::Green.toColor4b(), (Color4b{0, 128, 0, 255}));
  EXPECT_EQ(Color4f::Lime.toColor4b(), (Color4b{0, 255, 0, 255}));
}

}  // namespace
