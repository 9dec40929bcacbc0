// Colours: four bytes or four floats, r, g, b, a in that order in memory.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <type_traits>

namespace ka {

struct Color4f;

// r in the lowest byte, then g, b, a.
struct Color4b {
  uint8_t r, g, b, a;

  // As one 32-bit word: r | g << 8 | b << 16 | a << 24, the bytes' memory order on a little-endian machine.
  constexpr uint32_t packed() const { return uint32_t(r) | uint32_t(g) << 8 | uint32_t(b) << 16 | uint32_t(a) << 24; }
  static constexpr Color4b fromPacked(uint32_t v) {
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
  }
  // Each channel divided by 255.
  constexpr Color4f toColor4f() const;
  constexpr bool operator==(Color4b const&) const = default;
};

// Channels from 0 to 1, not clamped. The named constants are the CSS colour keywords, each channel
// the published byte value divided by 255, with alpha 1.
struct Color4f {
  float r, g, b, a;

  static constexpr Color4f fromBytes(uint8_t r, uint8_t g, uint8_t b, uint8_t a = 255) {
    return {r / 255.0f, g / 255.0f, b / 255.0f, a / 255.0f};
  }
  // Each channel clamped to 0 to 1 and rounded to the nearest of the 256 steps; NaN gives 0.
  constexpr Color4b toColor4b() const { return {toByte(r), toByte(g), toByte(b), toByte(a)}; }
  constexpr Color4f withAlpha(float alpha) const { return {r, g, b, alpha}; }
  constexpr bool operator==(Color4f const&) const = default;

  static const Color4f AliceBlue;
  static const Color4f AntiqueWhite;
  static const Color4f Aqua;
  static const Color4f Aquamarine;
  static const Color4f Azure;
  static const Color4f Beige;
  static const Color4f Bisque;
  static const Color4f Black;
  static const Color4f BlanchedAlmond;
  static const Color4f Blue;
  static const Color4f BlueViolet;
  static const Color4f Brown;
  static const Color4f BurlyWood;
  static const Color4f CadetBlue;
  static const Color4f Chartreuse;
  static const Color4f Chocolate;
  static const Color4f Coral;
  static const Color4f CornflowerBlue;
  static const Color4f Cornsilk;
  static const Color4f Crimson;
  static const Color4f Cyan;
  static const Color4f DarkBlue;
  static const Color4f DarkCyan;
  static const Color4f DarkGoldenrod;
  static const Color4f DarkGray;
  static const Color4f DarkGreen;
  static const Color4f DarkKhaki;
  static const Color4f DarkMagenta;
  static const Color4f DarkOliveGreen;
  static const Color4f DarkOrange;
  static const Color4f DarkOrchid;
  static const Color4f DarkRed;
  static const Color4f DarkSalmon;
  static const Color4f DarkSeaGreen;
  static const Color4f DarkSlateBlue;
  static const Color4f DarkSlateGray;
  static const Color4f DarkTurquoise;
  static const Color4f DarkViolet;
  static const Color4f DeepPink;
  static const Color4f DeepSkyBlue;
  static const Color4f DimGray;
  static const Color4f DodgerBlue;
  static const Color4f Firebrick;
  static const Color4f FloralWhite;
  static const Color4f ForestGreen;
  static const Color4f Fuchsia;
  static const Color4f Gainsboro;
  static const Color4f GhostWhite;
  static const Color4f Gold;
  static const Color4f Goldenrod;
  static const Color4f Gray;
  static const Color4f Green;
  static const Color4f GreenYellow;
  static const Color4f Honeydew;
  static const Color4f HotPink;
  static const Color4f IndianRed;
  static const Color4f Indigo;
  static const Color4f Ivory;
  static const Color4f Khaki;
  static const Color4f Lavender;
  static const Color4f LavenderBlush;
  static const Color4f LawnGreen;
  static const Color4f LemonChiffon;
  static const Color4f LightBlue;
  static const Color4f LightCoral;
  static const Color4f LightCyan;
  static const Color4f LightGoldenrodYellow;
  static const Color4f LightGray;
  static const Color4f LightGreen;
  static const Color4f LightPink;
  static const Color4f LightSalmon;
  static const Color4f LightSeaGreen;
  static const Color4f LightSkyBlue;
  static const Color4f LightSlateGray;
  static const Color4f LightSteelBlue;
  static const Color4f LightYellow;
  static const Color4f Lime;
  static const Color4f LimeGreen;
  static const Color4f Linen;
  static const Color4f Magenta;
  static const Color4f Maroon;
  static const Color4f MediumAquamarine;
  static const Color4f MediumBlue;
  static const Color4f MediumOrchid;
  static const Color4f MediumPurple;
  static const Color4f MediumSeaGreen;
  static const Color4f MediumSlateBlue;
  static const Color4f MediumSpringGreen;
  static const Color4f MediumTurquoise;
  static const Color4f MediumVioletRed;
  static const Color4f MidnightBlue;
  static const Color4f MintCream;
  static const Color4f MistyRose;
  static const Color4f Moccasin;
  static const Color4f NavajoWhite;
  static const Color4f Navy;
  static const Color4f OldLace;
  static const Color4f Olive;
  static const Color4f OliveDrab;
  static const Color4f Orange;
  static const Color4f OrangeRed;
  static const Color4f Orchid;
  static const Color4f PaleGoldenrod;
  static const Color4f PaleGreen;
  static const Color4f PaleTurquoise;
  static const Color4f PaleVioletRed;
  static const Color4f PapayaWhip;
  static const Color4f PeachPuff;
  static const Color4f Peru;
  static const Color4f Pink;
  static const Color4f Plum;
  static const Color4f PowderBlue;
  static const Color4f Purple;
  static const Color4f Red;
  static const Color4f RosyBrown;
  static const Color4f RoyalBlue;
  static const Color4f SaddleBrown;
  static const Color4f Salmon;
  static const Color4f SandyBrown;
  static const Color4f SeaGreen;
  static const Color4f SeaShell;
  static const Color4f Sienna;
  static const Color4f Silver;
  static const Color4f SkyBlue;
  static const Color4f SlateBlue;
  static const Color4f SlateGray;
  static const Color4f Snow;
  static const Color4f SpringGreen;
  static const Color4f SteelBlue;
  static const Color4f Tan;
  static const Color4f Teal;
  static const Color4f Thistle;
  static const Color4f Tomato;
  static const Color4f Turquoise;
  static const Color4f Violet;
  static const Color4f Wheat;
  static const Color4f White;
  static const Color4f WhiteSmoke;
  static const Color4f Yellow;
  static const Color4f YellowGreen;

 private:
  static constexpr uint8_t toByte(float v) { return v >= 1 ? 255 : v > 0 ? uint8_t(v * 255 + 0.5f) : 0; }
};

constexpr Color4f Color4b::toColor4f() const { return Color4f::fromBytes(r, g, b, a); }

inline constexpr Color4f Color4f::AliceBlue = Color4f::fromBytes(240, 248, 255);
inline constexpr Color4f Color4f::AntiqueWhite = Color4f::fromBytes(250, 235, 215);
inline constexpr Color4f Color4f::Aqua = Color4f::fromBytes(0, 255, 255);
inline constexpr Color4f Color4f::Aquamarine = Color4f::fromBytes(127, 255, 212);
inline constexpr Color4f Color4f::Azure = Color4f::fromBytes(240, 255, 255);
inline constexpr Color4f Color4f::Beige = Color4f::fromBytes(245, 245, 220);
inline constexpr Color4f Color4f::Bisque = Color4f::fromBytes(255, 228, 196);
inline constexpr Color4f Color4f::Black = Color4f::fromBytes(0, 0, 0);
inline constexpr Color4f Color4f::BlanchedAlmond = Color4f::fromBytes(255, 235, 205);
inline constexpr Color4f Color4f::Blue = Color4f::fromBytes(0, 0, 255);
inline constexpr Color4f Color4f::BlueViolet = Color4f::fromBytes(138, 43, 226);
inline constexpr Color4f Color4f::Brown = Color4f::fromBytes(165, 42, 42);
inline constexpr Color4f Color4f::BurlyWood = Color4f::fromBytes(222, 184, 135);
inline constexpr Color4f Color4f::CadetBlue = Color4f::fromBytes(95, 158, 160);
inline constexpr Color4f Color4f::Chartreuse = Color4f::fromBytes(127, 255, 0);
inline constexpr Color4f Color4f::Chocolate = Color4f::fromBytes(210, 105, 30);
inline constexpr Color4f Color4f::Coral = Color4f::fromBytes(255, 127, 80);
inline constexpr Color4f Color4f::CornflowerBlue = Color4f::fromBytes(100, 149, 237);
inline constexpr Color4f Color4f::Cornsilk = Color4f::fromBytes(255, 248, 220);
inline constexpr Color4f Color4f::Crimson = Color4f::fromBytes(220, 20, 60);
inline constexpr Color4f Color4f::Cyan = Color4f::fromBytes(0, 255, 255);
inline constexpr Color4f Color4f::DarkBlue = Color4f::fromBytes(0, 0, 139);
inline constexpr Color4f Color4f::DarkCyan = Color4f::fromBytes(0, 139, 139);
inline constexpr Color4f Color4f::DarkGoldenrod = Color4f::fromBytes(184, 134, 11);
inline constexpr Color4f Color4f::DarkGray = Color4f::fromBytes(169, 169, 169);
inline constexpr Color4f Color4f::DarkGreen = Color4f::fromBytes(0, 100, 0);
inline constexpr Color4f Color4f::DarkKhaki = Color4f::fromBytes(189, 183, 107);
inline constexpr Color4f Color4f::DarkMagenta = Color4f::fromBytes(139, 0, 139);
inline constexpr Color4f Color4f::DarkOliveGreen = Color4f::fromBytes(85, 107, 47);
inline constexpr Color4f Color4f::DarkOrange = Color4f::fromBytes(255, 140, 0);
inline constexpr Color4f Color4f::DarkOrchid = Color4f::fromBytes(153, 50, 204);
inline constexpr Color4f Color4f::DarkRed = Color4f::fromBytes(139, 0, 0);
inline constexpr Color4f Color4f::DarkSalmon = Color4f::fromBytes(233, 150, 122);
inline constexpr Color4f Color4f::DarkSeaGreen = Color4f::fromBytes(143, 188, 143);
inline constexpr Color4f Color4f::DarkSlateBlue = Color4f::fromBytes(72, 61, 139);
inline constexpr Color4f Color4f::DarkSlateGray = Color4f::fromBytes(47, 79, 79);
inline constexpr Color4f Color4f::DarkTurquoise = Color4f::fromBytes(0, 206, 209);
inline constexpr Color4f Color4f::DarkViolet = Color4f::fromBytes(148, 0, 211);
inline constexpr Color4f Color4f::DeepPink = Color4f::fromBytes(255, 20, 147);
inline constexpr Color4f Color4f::DeepSkyBlue = Color4f::fromBytes(0, 191, 255);
inline constexpr Color4f Color4f::DimGray = Color4f::fromBytes(105, 105, 105);
inline constexpr Color4f Color4f::DodgerBlue = Color4f::fromBytes(30, 144, 255);
inline constexpr Color4f Color4f::Firebrick = Color4f::fromBytes(178, 34, 34);
inline constexpr Color4f Color4f::FloralWhite = Color4f::fromBytes(255, 250, 240);
inline constexpr Color4f Color4f::ForestGreen = Color4f::fromBytes(34, 139, 34);
inline constexpr Color4f Color4f::Fuchsia = Color4f::fromBytes(255, 0, 255);
inline constexpr Color4f Color4f::Gainsboro = Color4f::fromBytes(220, 220, 220);
inline constexpr Color4f Color4f::GhostWhite = Color4f::fromBytes(248, 248, 255);
inline constexpr Color4f Color4f::Gold = Color4f::fromBytes(255, 215, 0);
inline constexpr Color4f Color4f::Goldenrod = Color4f::fromBytes(218, 165, 32);
inline constexpr Color4f Color4f::Gray = Color4f::fromBytes(128, 128, 128);
inline constexpr Color4f Color4f::Green = Color4f::fromBytes(0, 128, 0);
inline constexpr Color4f Color4f::GreenYellow = Color4f::fromBytes(173, 255, 47);
inline constexpr Color4f Color4f::Honeydew = Color4f::fromBytes(240, 255, 240);
inline constexpr Color4f Color4f::HotPink = Color4f::fromBytes(255, 105, 180);
inline constexpr Color4f Color4f::IndianRed = Color4f::fromBytes(205, 92, 92);
inline constexpr Color4f Color4f::Indigo = Color4f::fromBytes(75, 0, 130);
inline constexpr Color4f Color4f::Ivory = Color4f::fromBytes(255, 255, 240);
inline constexpr Color4f Color4f::Khaki = Color4f::fromBytes(240, 230, 140);
inline constexpr Color4f Color4f::Lavender = Color4f::fromBytes(230, 230, 250);
inline constexpr Color4f Color4f::LavenderBlush = Color4f::fromBytes(255, 240, 245);
inline constexpr Color4f Color4f::LawnGreen = Color4f::fromBytes(124, 252, 0);
inline constexpr Color4f Color4f::LemonChiffon = Color4f::fromBytes(255, 250, 205);
inline constexpr Color4f Color4f::LightBlue = Color4f::fromBytes(173, 216, 230);
inline constexpr Color4f Color4f::LightCoral = Color4f::fromBytes(240, 128, 128);
inline constexpr Color4f Color4f::LightCyan = Color4f::fromBytes(224, 255, 255);
inline constexpr Color4f Color4f::LightGoldenrodYellow = Color4f::fromBytes(250, 250, 210);
inline constexpr Color4f Color4f::LightGray = Color4f::fromBytes(211, 211, 211);
inline constexpr Color4f Color4f::LightGreen = Color4f::fromBytes(144, 238, 144);
inline constexpr Color4f Color4f::LightPink = Color4f::fromBytes(255, 182, 193);
inline constexpr Color4f Color4f::LightSalmon = Color4f::fromBytes(255, 160, 122);
inline constexpr Color4f Color4f::LightSeaGreen = Color4f::fromBytes(32, 178, 170);
inline constexpr Color4f Color4f::LightSkyBlue = Color4f::fromBytes(135, 206, 250);
inline constexpr Color4f Color4f::LightSlateGray = Color4f::fromBytes(119, 136, 153);
inline constexpr Color4f Color4f::LightSteelBlue = Color4f::fromBytes(176, 196, 222);
inline constexpr Color4f Color4f::LightYellow = Color4f::fromBytes(255, 255, 224);
inline constexpr Color4f Color4f::Lime = Color4f::fromBytes(0, 255, 0);
inline constexpr Color4f Color4f::LimeGreen = Color4f::fromBytes(50, 205, 50);
inline constexpr Color4f Color4f::Linen = Color4f::fromBytes(250, 240, 230);
inline constexpr Color4f Color4f::Magenta = Color4f::fromBytes(255, 0, 255);
inline constexpr Color4f Color4f::Maroon = Color4f::fromBytes(128, 0, 0);
inline constexpr Color4f Color4f::MediumAquamarine = Color4f::fromBytes(102, 205, 170);
inline constexpr Color4f Color4f::MediumBlue = Color4f::fromBytes(0, 0, 205);
inline constexpr Color4f Color4f::MediumOrchid = Color4f::fromBytes(186, 85, 211);
inline constexpr Color4f Color4f::MediumPurple = Color4f::fromBytes(147, 112, 219);
inline constexpr Color4f Color4f::MediumSeaGreen = Color4f::fromBytes(60, 179, 113);
inline constexpr Color4f Color4f::MediumSlateBlue = Color4f::fromBytes(123, 104, 238);
inline constexpr Color4f Color4f::MediumSpringGreen = Color4f::fromBytes(0, 250, 154);
inline constexpr Color4f Color4f::MediumTurquoise = Color4f::fromBytes(72, 209, 204);
inline constexpr Color4f Color4f::MediumVioletRed = Color4f::fromBytes(199, 21, 133);
inline constexpr Color4f Color4f::MidnightBlue = Color4f::fromBytes(25, 25, 112);
inline constexpr Color4f Color4f::MintCream = Color4f::fromBytes(245, 255, 250);
inline constexpr Color4f Color4f::MistyRose = Color4f::fromBytes(255, 228, 225);
inline constexpr Color4f Color4f::Moccasin = Color4f::fromBytes(255, 228, 181);
inline constexpr Color4f Color4f::NavajoWhite = Color4f::fromBytes(255, 222, 173);
inline constexpr Color4f Color4f::Navy = Color4f::fromBytes(0, 0, 128);
inline constexpr Color4f Color4f::OldLace = Color4f::fromBytes(253, 245, 230);
inline constexpr Color4f Color4f::Olive = Color4f::fromBytes(128, 128, 0);
inline constexpr Color4f Color4f::OliveDrab = Color4f::fromBytes(107, 142, 35);
inline constexpr Color4f Color4f::Orange = Color4f::fromBytes(255, 165, 0);
inline constexpr Color4f Color4f::OrangeRed = Color4f::fromBytes(255, 69, 0);
inline constexpr Color4f Color4f::Orchid = Color4f::fromBytes(218, 112, 214);
inline constexpr Color4f Color4f::PaleGoldenrod = Color4f::fromBytes(238, 232, 170);
inline constexpr Color4f Color4f::PaleGreen = Color4f::fromBytes(152, 251, 152);
inline constexpr Color4f Color4f::PaleTurquoise = Color4f::fromBytes(175, 238, 238);
inline constexpr Color4f Color4f::PaleVioletRed = Color4f::fromBytes(219, 112, 147);
inline constexpr Color4f Color4f::PapayaWhip = Color4f::fromBytes(255, 239, 213);
inline constexpr Color4f Color4f::PeachPuff = Color4f::fromBytes(255, 218, 185);
inline constexpr Color4f Color4f::Peru = Color4f::fromBytes(205, 133, 63);
inline constexpr Color4f Color4f::Pink = Color4f::fromBytes(255, 192, 203);
inline constexpr Color4f Color4f::Plum = Color4f::fromBytes(221, 160, 221);
inline constexpr Color4f Color4f::PowderBlue = Color4f::fromBytes(176, 224, 230);
inline constexpr Color4f Color4f::Purple = Color4f::fromBytes(128, 0, 128);
inline constexpr Color4f Color4f::Red = Color4f::fromBytes(255, 0, 0);
inline constexpr Color4f Color4f::RosyBrown = Color4f::fromBytes(188, 143, 143);
inline constexpr Color4f Color4f::RoyalBlue = Color4f::fromBytes(65, 105, 225);
inline constexpr Color4f Color4f::SaddleBrown = Color4f::fromBytes(139, 69, 19);
inline constexpr Color4f Color4f::Salmon = Color4f::fromBytes(250, 128, 114);
inline constexpr Color4f Color4f::SandyBrown = Color4f::fromBytes(244, 164, 96);
inline constexpr Color4f Color4f::SeaGreen = Color4f::fromBytes(46, 139, 87);
inline constexpr Color4f Color4f::SeaShell = Color4f::fromBytes(255, 245, 238);
inline constexpr Color4f Color4f::Sienna = Color4f::fromBytes(160, 82, 45);
inline constexpr Color4f Color4f::Silver = Color4f::fromBytes(192, 192, 192);
inline constexpr Color4f Color4f::SkyBlue = Color4f::fromBytes(135, 206, 235);
inline constexpr Color4f Color4f::SlateBlue = Color4f::fromBytes(106, 90, 205);
inline constexpr Color4f Color4f::SlateGray = Color4f::fromBytes(112, 128, 144);
inline constexpr Color4f Color4f::Snow = Color4f::fromBytes(255, 250, 250);
inline constexpr Color4f Color4f::SpringGreen = Color4f::fromBytes(0, 255, 127);
inline constexpr Color4f Color4f::SteelBlue = Color4f::fromBytes(70, 130, 180);
inline constexpr Color4f Color4f::Tan = Color4f::fromBytes(210, 180, 140);
inline constexpr Color4f Color4f::Teal = Color4f::fromBytes(0, 128, 128);
inline constexpr Color4f Color4f::Thistle = Color4f::fromBytes(216, 191, 216);
inline constexpr Color4f Color4f::Tomato = Color4f::fromBytes(255, 99, 71);
inline constexpr Color4f Color4f::Turquoise = Color4f::fromBytes(64, 224, 208);
inline constexpr Color4f Color4f::Violet = Color4f::fromBytes(238, 130, 238);
inline constexpr Color4f Color4f::Wheat = Color4f::fromBytes(245, 222, 179);
inline constexpr Color4f Color4f::White = Color4f::fromBytes(255, 255, 255);
inline constexpr Color4f Color4f::WhiteSmoke = Color4f::fromBytes(245, 245, 245);
inline constexpr Color4f Color4f::Yellow = Color4f::fromBytes(255, 255, 0);
inline constexpr Color4f Color4f::YellowGreen = Color4f::fromBytes(154, 205, 50);

// "Color4b(r,g,b)" with ",a" before the ")" only if a is below 255; channels as numbers.
std::ostream& operator<<(std::ostream& os, Color4b const& c);
// "Color4f(r,g,b)" with ",a" before the ")" only if a is below 1.
std::ostream& operator<<(std::ostream& os, Color4f const& c);

static_assert(sizeof(Color4b) == 4 && sizeof(Color4f) == 16);
static_assert(std::is_trivial_v<Color4b> && std::is_trivial_v<Color4f>);

}  // namespace ka
