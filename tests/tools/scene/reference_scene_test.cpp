#include "reference_scene.h"

#include <epoxy/gl.h>

#include "planet_scene.h"

#include "support/golden_image.h"
#include "support/picture_file.h"
#include "support/renderer_fixture.h"

namespace {

using Bytes = std::vector<unsigned char>;

class ReferenceSceneTest : public RendererFixture {
 protected:
  ReferenceSceneTest() : RendererFixture(320, 200) {
    for (char const* effects : {"/shaders/post.json", "/shaders/scene.json", "/shaders/content.json",
                                "/shaders/impostors.json", "/shaders/vtex.json"})
      ren->loadEffects(effects);
  }

  // Half a second of frames at 60 a second, each finished before the next, so that the exposure
  // (and the pages read back) come out the same every run; then the picture against its golden.
  template <class Scene>
  void expectAsItWas(Scene& scene, char const* name) {
    for (int frame = 0; frame < 30; ++frame) {
      scene.setTime(frame / 60.0);
      ren->present();
      glFinish();
    }
    Bytes pixels = frame();
    writeGLPicturePng(name, width, height, 4, pixels);
    GoldenComparison golden = compareWithGolden(name, width, height, pixels, 2);
    ASSERT_TRUE(golden.found) << "no golden picture; see tests/support/golden_image.h";
    EXPECT_LE(golden.pixelsOff, golden.pixels / 200) << "largest difference " << golden.largestDifference;
  }
};

// The whole deferred path at once: G-buffer, sun, point lights, ambient light, bloom and the
// adapted tone map.
TEST_F(ReferenceSceneTest, TheReferenceSceneLooksAsItDid) {
  vorn::ReferenceScene scene(*ren, library.get(), width, height);
  scene.adaptBySceneTime();
  expectAsItWas(scene, "reference-scene");
}

// Thousands of trees in a batched group, near ones whole and far ones impostors, on a ground
// whose pages the feedback asked for and the page mapper painted.
TEST_F(ReferenceSceneTest, ThePlanetLooksAsItDid) {
  vorn::PlanetScene scene(*ren, library.get(), width, height);
  scene.makeDeterministic();
  expectAsItWas(scene, "planet-scene");
}

}  // namespace
