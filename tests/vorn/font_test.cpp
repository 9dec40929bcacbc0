// Fonts: metrics against figures FreeType gives for DejaVu Sans (independent of stb_truetype),
// text measures, glyph textures and their cache, the ASCII atlas.
#include "vorn/font.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "support/renderer_fixture.h"
#include "support/temp_dir.h"
#include "vorn/charbitmap.h"
#include "vorn/fontbitmap.h"

namespace {

using namespace vorn;

class FontTest : public RendererFixture {
 protected:
  FontTest() : RendererFixture(16, 16), engine(createStbttFontEngine(fs)), cache(engine.get()) {}

  ka::Ref<Font> sans(float size) { return cache.get({"sansserif", size}); }

  std::unique_ptr<FontEngine> engine;
  FontCache cache;
};

TEST_F(FontTest, MetricsFollowTheFontFileWithTheSizeAsTheWholeLine) {
  // DejaVu Sans: ascent 1901, descent -483, line gap 0, advance of 'A' 1401 (font units).
  ka::Ref<Font> font = sans(16);
  ASSERT_TRUE(font);
  double const scale = 16.0 / (1901 + 483);
  EXPECT_FLOAT_EQ(font->metrics().height, 16);
  EXPECT_NEAR(font->metrics().ascent, 1901 * scale, 1e-4);
  EXPECT_NEAR(font->metrics().descent, 483 * scale, 1e-4);
  EXPECT_NEAR(font->getAdvance('A'), 9.4027, 1e-4);
  EXPECT_NEAR(font->getAdvance("AA"), 2 * 9.4027, 1e-3);

  EXPECT_EQ(sans(16).get(), font.get()) << "the same font object when asked again";
  EXPECT_NE(sans(17).get(), font.get());
  EXPECT_FALSE(cache.get({"fantasy", 16})) << "an unknown family";
  EXPECT_TRUE(cache.get({"serif", 16}));
  EXPECT_TRUE(cache.get({"mono", 16}));
}

TEST_F(FontTest, AFittedPrefixHoldsTheCharacterThatOverflows) {
  ka::Ref<Font> font = sans(16);
  std::string text = "A\xc3\xa9" "B";  // "AéB": three code points
  EXPECT_EQ(font->getSubOfAdvance(text, 1).str(), "A") << "even a limit below the first character";
  float two = font->getAdvance("A\xc3\xa9");
  EXPECT_EQ(font->getSubOfAdvance(text, font->getAdvance("A") + 0.5f).str(), "A\xc3\xa9");
  EXPECT_EQ(font->getSubOfAdvance(text, two + 100).str(), text);
}

TEST_F(FontTest, GlyphTexturesHaveABorderAndTheCacheForgetsAGlyphAfterFiveUnusedPrunes) {
  ka::Ref<Font> font = sans(16);
  CharBitmapCache glyphs(ren.get(), library.get());
  CharBitmap const& space = glyphs.getBitmap(font, ' ');
  EXPECT_EQ(space.texture->width(), 2);
  EXPECT_EQ(space.texture->height(), 2);
  EXPECT_GT(space.advance, 0);

  CharBitmap const& a = glyphs.getBitmap(font, 'A');
  BitmapBox box = font->getBitmapBox('A');
  EXPECT_GE(a.texture->width(), box.width + 2);
  EXPECT_LT(a.texture->width(), 2 * (box.width + 2));
  EXPECT_FLOAT_EQ(a.y + a.height, float(-box.y)) << "the top lies above the baseline";
  EXPECT_FLOAT_EQ(a.u0, 1.0f / float(a.texture->width()));
  EXPECT_EQ(&glyphs.getBitmap(font, 'A'), &a);

  for (int i = 0; i < 4; ++i) glyphs.prune();
  EXPECT_EQ(glyphs.size(), 2u);
  glyphs.getBitmap(font, 'A');  // drawn again: young again
  glyphs.prune();
  EXPECT_EQ(glyphs.size(), 1u) << "the space went at its fifth prune";
  for (int i = 0; i < 3; ++i) glyphs.prune();
  EXPECT_EQ(glyphs.size(), 1u) << "four prunes since 'A' was drawn";
  glyphs.prune();
  EXPECT_EQ(glyphs.size(), 0u);
}

TEST_F(FontTest, TheAsciiAtlasHoldsEveryPrintableCharacterApart) {
  ka::Ref<Font> font = sans(16);
  FontBitmapMemo memo(ren.get(), library.get());
  FontBitmap const& atlas = memo.getOrCreateBitmap(font);
  EXPECT_EQ(&memo.getOrCreateBitmap(font), &atlas);
  EXPECT_EQ(atlas.texture()->width(), atlas.width());
  EXPECT_LE(atlas.width(), 256);
  EXPECT_LE(atlas.height(), 256);
  std::vector<ka::Rect<float>> cells;
  for (int c = 33; c < 127; ++c) {
    FontBitmap::CharInfo info = atlas.charInfo(char(c));
    BitmapBox box = font->getBitmapBox(c);
    EXPECT_FLOAT_EQ(info.x1 - info.x0, float(box.width)) << char(c);
    EXPECT_FLOAT_EQ(info.y1, float(-box.y)) << char(c);
    ka::Rect<float> cell{info.u0 * float(atlas.width()), info.v1 * float(atlas.height()), info.u1 * float(atlas.width()),
                         info.v0 * float(atlas.height())};
    EXPECT_GE(cell.left, 1.0f);
    EXPECT_LE(cell.right, float(atlas.width() - 1));
    for (auto const& other : cells) EXPECT_FALSE(cell.intersects(other)) << char(c);
    cells.push_back(cell);
  }
}

TEST(FontDeathTest, AnAtlasBeyond1024ASideEndsTheProcess) {
  ka::Ref<Filesystem> fs = createStdioFilesystem();
  fs->mount(ZANDOR_RESOURCES_DIR, "/", true);
  std::unique_ptr<FontEngine> engine(createStbttFontEngine(fs));
  ka::Ref<Font> huge = engine->createFont({"sansserif", 600});
  EXPECT_DEATH(FontBitmap(huge, nullptr, nullptr), "Font texture too large");
}

TEST(FontEngineTest, AFileThatIsNoFontIsRefusedWithTheLibrarysWords) {
  TempDir dir;
  std::filesystem::create_directories(dir.file("fonts"));
  for (char const* name : {"DejaVuSerif.ttf", "DejaVuSans.ttf", "DejaVuSansMono.ttf"})
    dir.write(std::string("fonts/") + name, "not a font");
  ka::Ref<Filesystem> fs = createStdioFilesystem();
  fs->mount(dir.path(), "/", true);
  try {
    delete createStbttFontEngine(fs);
    ADD_FAILURE() << "no error";
  } catch (std::runtime_error const& e) {
    EXPECT_STREQ(e.what(), "invalid index in font file");
  }
}

TEST(NullFontTest, AnyFamilyWithEmptyGlyphs) {
  std::unique_ptr<FontEngine> engine(createNullFontEngine());
  ka::Ref<Font> font = engine->createFont({"anything", 20});
  ASSERT_TRUE(font);
  EXPECT_FLOAT_EQ(font->metrics().ascent, 15);
  EXPECT_FLOAT_EQ(font->metrics().descent, 5);
  EXPECT_FLOAT_EQ(font->getAdvance("abc"), 3);
  BitmapBox box = font->getBitmapBox('x');
  EXPECT_EQ(box.width, 1);
  EXPECT_EQ(box.height, 1);
}

}  // namespace
