#include "reference_scene.h"

#include <epoxy/gl.h>

#include "support/golden_image.h"
#include "support/picture_file.h"
#include "support/renderer_fixture.h"

namespace {

using Bytes = std::vector<unsigned char>;

class ReferenceSceneTest : public RendererFixture {
 protected:
  ReferenceSceneTest() : RendererFixture(320, 200) {
    for (char const* effects : {"/shaders/post.json", "/shaders/scene.json", "/shaders/content.json"})
      ren->loadEffects(effects);
  }
};

// The whole deferred path at once: G-buffer, sun, point lights, ambient light, bloom and the
// adapted tone map. Half a second of frames at 60 a second, each finished before the next, so
// that the exposure comes out the same every run.
TEST_F(ReferenceSceneTest, TheReferenceSceneLooksAsItDid) {
  vorn::ReferenceScene scene(*ren, library.get(), width, height);
  scene.adaptBySceneTime();
  for (int frame = 0; frame < 30; ++frame) {
    scene.setTime(frame / 60.0);
    ren->present();
    glFinish();
  }
  Bytes pixels = frame();
  writeGLPicturePng("reference-scene", width, height, 4, pixels);
  GoldenComparison golden = compareWithGolden("reference-scene", width, height, pixels, 2);
  ASSERT_TRUE(golden.found) << "no golden picture; see tests/support/golden_image.h";
  EXPECT_LE(golden.pixelsOff, golden.pixels / 200) << "largest difference " << golden.largestDifference;
}

}  // namespace
