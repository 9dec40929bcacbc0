#include "font.h"

#include <stb_truetype.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

#include "ka/strutil.h"

namespace vorn {

float Font::getAdvance(ka::StringRange text) const {
  float sum = 0;
  for (char const* at = text.begin; at && at < text.end;) sum += getAdvance(int(ka::decodeUtf8Char(at, text.end)));
  return sum;
}

ka::StringRange Font::getSubOfAdvance(ka::StringRange text, float limit) const {
  float sum = 0;
  for (char const* at = text.begin; at && at < text.end;) {
    sum += getAdvance(int(ka::decodeUtf8Char(at, text.end)));
    if (sum > limit) return ka::StringRange(text.begin, at);
  }
  return text;
}

ka::Ref<Font> FontCache::get(FontSpec const& wanted) {
  auto it = fonts_.find(wanted);
  if (it == fonts_.end()) it = fonts_.emplace(wanted, engine_->createFont(wanted)).first;
  return it->second;
}

namespace {

// A font file held whole in memory: the library reads glyphs from it for as long as the face lives.
struct StbttFontFile {
  std::vector<unsigned char> bytes;
};

class StbttFontFileLoader {
 public:
  virtual ~StbttFontFileLoader() = default;
  // Empty bytes when the file can't be read.
  virtual std::shared_ptr<StbttFontFile> loadFont(ka::StringRange path) = 0;
};

class StbttFilesystemFontLoader final : public StbttFontFileLoader {
 public:
  explicit StbttFilesystemFontLoader(ka::RefNoCount<Filesystem> filesystem) : filesystem_(filesystem.ref()) {}
  std::shared_ptr<StbttFontFile> loadFont(ka::StringRange path) override {
    auto file = std::make_shared<StbttFontFile>();
    if (std::unique_ptr<File> in = filesystem_->open(path, nullptr)) {
      file->bytes.resize(size_t(std::max(0LL, in->size())));
      if (in->read(file->bytes.data(), (long long)file->bytes.size()) != (long long)file->bytes.size())
        file->bytes.clear();
    }
    return file;
  }

 private:
  ka::Ref<Filesystem> filesystem_;
};

// The first face of a font file, and the library's record of it.
struct StbttFontFace {
  std::shared_ptr<StbttFontFile> file;
  stbtt_fontinfo info{};
};

class StbttFont final : public Font {
 public:
  StbttFont(FontSpec wanted, Metrics metrics, std::shared_ptr<StbttFontFace const> face, float scale)
      : Font(std::move(wanted), metrics), face_(std::move(face)), scale_(scale) {}
  using Font::getAdvance;

  float getAdvance(int codepoint) const override {
    int advance = 0, bearing = 0;
    stbtt_GetCodepointHMetrics(&face_->info, codepoint, &advance, &bearing);
    return float(advance) * scale_;
  }
  BitmapBox getBitmapBox(int codepoint) const override {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    stbtt_GetCodepointBitmapBox(&face_->info, codepoint, scale_, scale_, &x0, &y0, &x1, &y1);
    return {x1 - x0, y1 - y0, x0, y0};
  }
  void rasterizeBitmap(int codepoint, unsigned char* out, int width, int height, int stride) const override {
    stbtt_MakeCodepointBitmap(&face_->info, out, width, height, stride, scale_, scale_, codepoint);
  }

 private:
  std::shared_ptr<StbttFontFace const> face_;
  float scale_;
};

class StbttFontEngine final : public FontEngine {
 public:
  explicit StbttFontEngine(StbttFontFileLoader& loader) {
    static constexpr std::pair<char const*, char const*> kFamilies[] = {
        {"serif", "/fonts/DejaVuSerif.ttf"}, {"sansserif", "/fonts/DejaVuSans.ttf"}, {"mono", "/fonts/DejaVuSansMono.ttf"}};
    for (auto const& [family, path] : kFamilies) faces_[family] = makeFace(loader.loadFont(path));
  }

  ka::Ref<Font> createFont(FontSpec const& wanted) override {
    auto it = faces_.find(wanted.name);
    if (it == faces_.end()) return nullptr;
    int ascent = 0, descent = 0, gap = 0;
    stbtt_GetFontVMetrics(&it->second->info, &ascent, &descent, &gap);
    float scale = wanted.size / float(ascent - descent + gap);
    Metrics metrics{wanted.size, float(ascent) * scale, float(-descent) * scale};
    return ka::Ref<Font>(new StbttFont(wanted, metrics, it->second, scale));
  }

 private:
  static std::shared_ptr<StbttFontFace> makeFace(std::shared_ptr<StbttFontFile> file) {
    auto face = std::make_shared<StbttFontFace>();
    face->file = std::move(file);
    std::vector<unsigned char> const& bytes = face->file->bytes;
    int offset = bytes.empty() ? -1 : stbtt_GetFontOffsetForIndex(bytes.data(), 0);
    if (offset < 0 || !stbtt_InitFont(&face->info, bytes.data(), offset))
      throw std::runtime_error("invalid index in font file");
    return face;
  }

  std::map<std::string, std::shared_ptr<StbttFontFace const>> faces_;
};

class NullFont final : public Font {
 public:
  explicit NullFont(FontSpec const& wanted) : Font(wanted, {wanted.size, wanted.size * 0.75f, wanted.size * 0.25f}) {}
  using Font::getAdvance;
  float getAdvance(int) const override { return 1.0f; }
  BitmapBox getBitmapBox(int) const override { return {1, 1, 0, 0}; }
  void rasterizeBitmap(int, unsigned char* out, int, int, int) const override { *out = 0; }
};

class NullFontEngine final : public FontEngine {
 public:
  ka::Ref<Font> createFont(FontSpec const& wanted) override { return ka::Ref<Font>(new NullFont(wanted)); }
};

}  // namespace

FontEngine* createStbttFontEngine(ka::RefNoCount<Filesystem> filesystem) {
  StbttFilesystemFontLoader loader(filesystem);
  return new StbttFontEngine(loader);
}

FontEngine* createNullFontEngine() { return new NullFontEngine; }

}  // namespace vorn
