// Text in a scene: glyph quads from the font, atlased into one draw, against a golden picture.
#include "vorn/rasren_private/text_instance.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/golden_image.h"
#include "support/picture_file.h"
#include "support/renderer_fixture.h"
#include "vorn/font.h"

namespace {

using namespace vorn;

class TextTest : public RendererFixture {
 protected:
  TextTest() : RendererFixture(480, 40), engine(createStbttFontEngine(fs)), fonts(engine.get()) {
    scene = ren->createScene();
    ren->addViewport(pixelViewport(scene));
  }
  ka::Ref<ren::TextInstance> line(std::string const& text, float x, float y, ka::Color4f const& colour,
                                  float size = 20) {
    return scene->addText({x, y, 0}, {1, 0, 0}, {0, 1, 0}, fonts.get({"sansserif", size}), text, colour,
                          ka::Mat4x4f::identity());
  }

  std::unique_ptr<FontEngine> engine;
  FontCache fonts;
  ka::Ref<ren::Scene> scene;
};

TEST_F(TextTest, ALineOfTextMatchesItsGoldenPicture) {
  fillBackBuffer({0.05f, 0.07f, 0.12f, 1});
  std::string const words = "Zandor draws text: Hamburgefonstiv 0123";
  auto text = line(words, 6, 13, {1, 1, 1, 1});
  float const after = 6 + fonts.get({"sansserif", 20})->getAdvance(words) + 12;
  auto accented = line("\xc3\xa9t\xc3\xa9 \xc3\x80\xc3\x89\xc3\x8e\xc3\xb5\xc3\xbc", after, 13, {1, 0.6f, 0.1f, 1});
  presentOneFrame();
  Bytes pixels = frame();
  writeGLPicturePng("text-line", width, height, 4, pixels);
  EXPECT_EQ(events("draw indexed prim"), 1) << "every glyph in one atlas, one draw";
  GoldenComparison golden = compareWithGolden("text-line", width, height, pixels, 2);
  ASSERT_TRUE(golden.found) << "no golden picture; see tests/support/golden_image.h";
  EXPECT_LE(golden.pixelsOff, golden.pixels / 200) << "largest difference " << golden.largestDifference;
}

TEST_F(TextTest, TheBaselineSitsAtTheOriginAndDrawOrdersKeepTextsApart) {
  fillBackBuffer({0, 0, 0, 1});
  auto first = line("HH", 10, 10, {1, 1, 1, 1}, 30);
  auto second = line("HH", 100, 10, {1, 1, 1, 1}, 30);
  second->setDrawOrder(1);
  presentOneFrame();
  Bytes pixels = frame();
  EXPECT_EQ(events("draw indexed prim"), 2);
  // The H's stem stands on the baseline: lit just above it, dark just below.
  ka::Ref<Font> font = fonts.get({"sansserif", 30});
  int stem = 10 + font->getBitmapBox('H').x + 2;
  EXPECT_GT(at(pixels, stem, 11)[0], 200);
  EXPECT_LT(at(pixels, stem, 8)[0], 30);
  EXPECT_GT(at(pixels, stem, 10 + int(font->metrics().ascent * 0.6f))[0], 200);

  second->setDrawOrder(0);
  presentOneFrame();
  EXPECT_EQ(events("draw indexed prim"), 1);
  second->remove();
  first->remove();
  presentOneFrame();
  EXPECT_EQ(events("quads"), 0);
}

}  // namespace
