// Fonts: metrics and glyph pictures by code point, from TrueType files through stb_truetype or,
// where there are no font files, from a null engine whose glyphs are empty boxes.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ka/counted.h"
#include "ka/string_range.h"
#include "vorn/filesystem.h"

namespace vorn {

struct FontSpec {
  std::string name;  // the family: "serif", "sansserif" or "mono"
  float size = 0;    // the whole line height in pixels, not the em square

  bool operator<(FontSpec const& other) const {
    return name != other.name ? name < other.name : size < other.size;
  }
};

struct Metrics {
  float height = 0, ascent = 0, descent = 0;  // descent counted downwards, positive
};

// A glyph's picture: its size and where its top left lies from the pen, y growing downwards.
struct BitmapBox {
  int32_t width = 0, height = 0, x = 0, y = 0;
};

class Font : public ka::Counted {
 public:
  Font(FontSpec wanted, Metrics metrics) : fontSpec_(std::move(wanted)), metrics_(metrics) {}

  FontSpec const& fontSpec() const { return fontSpec_; }
  Metrics const& metrics() const { return metrics_; }

  virtual float getAdvance(int codepoint) const = 0;
  virtual BitmapBox getBitmapBox(int codepoint) const = 0;
  // 8 bits of coverage a pixel into `out`, rows `stride` bytes apart.
  virtual void rasterizeBitmap(int codepoint, unsigned char* out, int width, int height, int stride) const = 0;

  // The sum over the text's code points (UTF-8).
  float getAdvance(ka::StringRange text) const;
  // The text from its start up to and including the first code point that takes the sum past
  // `limit`: one too many for a pure fit, on purpose; the whole text if none does.
  ka::StringRange getSubOfAdvance(ka::StringRange text, float limit) const;

 private:
  FontSpec fontSpec_;
  Metrics metrics_;
};

class FontEngine {
 public:
  virtual ~FontEngine() = default;
  // Null for an unknown family.
  virtual ka::Ref<Font> createFont(FontSpec const& wanted) = 0;
};

// Each font asked for is made once, a failed one too, for as long as the cache lives.
class FontCache {
 public:
  explicit FontCache(FontEngine* engine) : engine_(engine) {}
  ka::Ref<Font> get(FontSpec const& wanted);

 private:
  FontEngine* engine_;
  std::map<FontSpec, ka::Ref<Font>> fonts_;
};

// "serif", "sansserif" and "mono" from "/fonts/DejaVuSerif.ttf", "/fonts/DejaVuSans.ttf" and
// "/fonts/DejaVuSansMono.ttf". Throws std::runtime_error for a file that isn't a font.
FontEngine* createStbttFontEngine(ka::RefNoCount<Filesystem> filesystem);
// Any family; every glyph advances by 1 and is a 1 by 1 box of nothing.
FontEngine* createNullFontEngine();

}  // namespace vorn
