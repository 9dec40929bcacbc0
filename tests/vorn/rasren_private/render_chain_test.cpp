#include "vorn/rasren_private/render_chain.h"

#include <epoxy/gl.h>

#include <cmath>

#include "support/renderer_fixture.h"
#include "vorn/rasren_private/effect.h"
#include "vorn/rasren_private/scene_viewport.h"

namespace {

using namespace vorn;
using Bytes = std::vector<unsigned char>;

TEST(HdrPipelineMaths, TheBlurWeightsAreTheFoldedGaussian) {
  auto w = [](int i) { return std::exp(-i * i / 8.0) * 0.19947115 * 1.25; };
  auto taps = RasRenHdrPipeline::blurWeights();
  EXPECT_NEAR(taps[0].weight, w(0), 1e-6);
  EXPECT_EQ(taps[0].offset, 0);
  for (int pair = 1; pair < 4; ++pair) {
    int a = 2 * pair - 1, b = 2 * pair;
    EXPECT_NEAR(taps[pair].weight, w(a) + w(b), 1e-6) << pair;
    EXPECT_NEAR(taps[pair].offset, (a * w(a) + b * w(b)) / (w(a) + w(b)), 1e-6) << pair;
  }
  // Both sides of every pair: the thirteen taps.
  double sum = taps[0].weight + 2.0 * (taps[1].weight + taps[2].weight + taps[3].weight), thirteen = 0;
  for (int i = -6; i <= 6; ++i) thirteen += w(i);
  EXPECT_NEAR(sum, thirteen, 1e-5);
}

TEST(HdrPipelineMaths, AdaptationMovesInProportionToTimeAndNeverOvershoots) {
  struct Step {
    float adapted, target, dtMs;
    double expected;
  } const steps[] = {
      {1.0f, 2.0f, 16.0f, 1.0 + 16 * 0.007 * 1.0},  // a frame at 60 Hz: 11.2 % of the way
      {1.0f, 0.5f, 16.0f, 1.0 - 16 * 0.007 * 0.5},  // darker, the same share
      {1.0f, 3.0f, 1000.0f, 3.0},                   // 7 times the difference: limited to it
      {3.0f, 0.25f, 1000.0f, 0.25},                 // likewise downwards
      {0.7f, 0.7f, 50.0f, 0.7},                     // there already
      {1.0f, 2.0f, 0.0f, 1.0},                      // no time, no change
  };
  for (Step const& s : steps)
    EXPECT_NEAR(RasRenHdrPipeline::adapt(s.adapted, s.target, s.dtMs), s.expected, 1e-6)
        << s.adapted << " -> " << s.target << " in " << s.dtMs;

  // Frame after frame at 60 Hz the gap closes geometrically.
  double adapted = 1.0;
  float ours = 1.0f;
  for (int frame = 0; frame < 30; ++frame) {
    adapted += 16 * 0.007 * (4.0 - adapted);
    ours = RasRenHdrPipeline::adapt(ours, 4.0f, 16.0f);
  }
  EXPECT_NEAR(ours, adapted, 1e-4);
  EXPECT_LT(ours, 4.0f);
}

class RenderChainTest : public RendererFixture {
 protected:
  RenderChainTest() : RendererFixture(128, 128) { ren->loadEffects("/shaders/post.json"); }

  // A scene over the whole buffer: the bottom half one colour, the top half another.
  void fillScene(ka::Color4f const& bottom, ka::Color4f const& top) {
    scene->addMesh(solidRect(bottom, 0, 0, float(width), float(height) / 2), ka::Mat4x4f::identity(), ren::TK_World);
    scene->addMesh(solidRect(top, 0, float(height) / 2, float(width), float(height)), ka::Mat4x4f::identity(),
                   ren::TK_World);
  }
  RasRenRenderChain& chainOf(ka::RefNoCount<ren::RenderChain> chain) {
    return static_cast<RasRenRenderChain&>(*chain.get());
  }

  ka::Ref<ren::Scene> scene = ren->createScene();
  ka::Ref<ren::SceneViewport> viewport = pixelViewport(scene);
};

TEST_F(RenderChainTest, EveryPostPassCompiles) {
  ka::Ref<RasRenEffect> post = ren->getRasRenEffect("Post", false);
  ASSERT_TRUE(post);
  for (char const* name :
       {"Default", "DefaultFlipped", "FXAA", "PostCopyAlpha", "PostCopyDepthViz", "Downsample", "BloomGlowSourceCopy",
        "BloomHorizontal13", "BloomVertical13", "Luminance", "LuminanceDownsample", "HdrCompose"}) {
    RasRenTechnique* technique = post->hasTechnique(name) ? post->selectTechnique(name) : nullptr;
    ASSERT_NE(technique, nullptr) << name;
    EXPECT_NE(technique->program(), nullptr) << name;
  }
}

TEST_F(RenderChainTest, ALowDynamicRangeChainShowsTheSceneAsWithoutOne) {
  fillScene({1, 0, 0, 1}, {0.2f, 0.6f, 1, 1});
  ren->addViewport(viewport);
  presentOneFrame();
  Bytes direct = frame();

  ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, false, nullptr);
  RasRenRenderChain& own = chainOf(chain);
  EXPECT_EQ(own.hdrPipeline(), nullptr);
  ASSERT_NE(own.gBuffer(), nullptr);
  EXPECT_EQ(own.gBuffer()->numTextures(), 4);
  EXPECT_EQ(own.gBuffer()->width(), width);
  EXPECT_EQ(own.frameTarget(), own.resultTarget()) << "no appended pass: the frame ends on the result";
  presentOneFrame();
  Bytes chained = frame();
  ASSERT_EQ(chained.size(), direct.size());
  for (size_t i = 0; i < direct.size(); ++i) ASSERT_NEAR(chained[i], direct[i], 1) << "byte " << i;

  // At half the resolution the G-buffer is half the size and the picture still fills the window.
  chain->setResolutionScaling(0.5f);
  EXPECT_EQ(own.gBuffer()->width(), width / 2);
  presentOneFrame();
  Bytes scaled = frame();
  EXPECT_EQ(at(scaled, 5, 5), at(direct, 5, 5));
  EXPECT_EQ(at(scaled, 120, 120), at(direct, 120, 120));
}

TEST_F(RenderChainTest, AppendedPassesPingPongAndEndOnTheResult) {
  fillScene({1, 0, 0, 1}, {0, 1, 0, 1});
  ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, false, nullptr);
  RasRenRenderChain& own = chainOf(chain);
  ren->addViewport(viewport);

  chain->appendTechnique("DefaultFlipped");
  EXPECT_EQ(own.frameTarget(), own.composeTarget()) << "one appended pass: the scene goes to the compose target";
  presentOneFrame();
  Bytes flipped = frame();
  EXPECT_EQ(at(flipped, 64, 10), (Bytes{0, 255, 0, 255})) << "the top half now at the bottom";
  EXPECT_EQ(at(flipped, 64, 118), (Bytes{255, 0, 0, 255}));

  chain->appendTechnique("DefaultFlipped");
  EXPECT_EQ(own.frameTarget(), own.resultTarget());
  presentOneFrame();
  EXPECT_EQ(at(frame(), 64, 10), (Bytes{255, 0, 0, 255})) << "flipped twice";
}

TEST_F(RenderChainTest, AChainOutlivesItsViewportAndAViewportWithoutOneDrawsStraightAgain) {
  fillScene({1, 0, 0, 1}, {1, 0, 0, 1});
  ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, false, nullptr);
  chain->appendTechnique("PostCopyAlpha");
  ren->addViewport(viewport);
  presentOneFrame();
  EXPECT_EQ(at(frame(), 64, 64), (Bytes{255, 255, 255, 255})) << "through the chain: the alpha as grey";
  viewport->setRenderChain(nullptr);
  presentOneFrame();
  EXPECT_EQ(at(frame(), 64, 64), (Bytes{255, 0, 0, 255}));

  viewport->setRenderChain(chain);
  ren->clearViewportStack();
  viewport = nullptr;
  chainOf(chain).beginFrame();  // reads no rectangle of the viewport that went
  chainOf(chain).endFrame();
}

TEST_F(RenderChainTest, AViewportDrawsANamedPostTechniqueOverItsRectangle) {
  fillBackBuffer({0, 0, 0, 1});
  ka::Ref<Texture> white = ren->createTexture(TF_A8R8G8B8, 1, 1, 1, TF_AllLinear, false, 0);
  uint32_t texel = 0xffffffffu;
  white->setBits(0, &texel, 0, CUBE_PositiveX);
  auto& own = static_cast<RasRenSceneViewport&>(*viewport);
  ras->beginScene();
  own.renderPostQuad("Post", "NoSuchTechnique", white, {1, 1, 1, 1}, 0);
  own.renderPostQuad("NoSuchEffect", "", white, {1, 1, 1, 1}, 0);
  EXPECT_EQ(at(frame(), 64, 64), (Bytes{0, 0, 0, 255})) << "absent: nothing drawn";
  own.renderPostQuad("Post", "", white, {1, 1, 1, 1}, 0);
  ras->endScene();
  EXPECT_EQ(at(frame(), 64, 64), (Bytes{255, 255, 255, 255}));
  EXPECT_EQ(at(frame(), 0, 127), (Bytes{255, 255, 255, 255}));
}

TEST_F(RenderChainTest, PicturesInPictureAreDrawnOverTheResultInPixelsFromTheTop) {
  fillScene({0, 0, 0, 1}, {0, 0, 0, 1});
  ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, false, nullptr);
  ka::Ref<Texture> white = ren->createTexture(TF_A8R8G8B8, 1, 1, 1, TF_AllLinear, false, 0);
  uint32_t texel = 0xffffffffu;
  white->setBits(0, &texel, 0, CUBE_PositiveX);
  int id = chain->addPip({0, 0, 32, 16}, white, "");
  ren->addViewport(viewport);
  presentOneFrame();
  Bytes pixels = frame();
  EXPECT_EQ(at(pixels, 8, 120), (Bytes{255, 255, 255, 255})) << "top left corner";
  EXPECT_EQ(at(pixels, 40, 120), (Bytes{0, 0, 0, 255}));
  EXPECT_EQ(at(pixels, 8, 100), (Bytes{0, 0, 0, 255}));
  chain->removePip(id);
  presentOneFrame();
  EXPECT_EQ(at(frame(), 8, 120), (Bytes{0, 0, 0, 255}));
}

TEST_F(RenderChainTest, TheDownloadReadsTheFrameBeforeInBlueGreenRedAlpha) {
  fillScene({1, 0, 0, 1}, {0, 0, 1, 1});
  ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, false, nullptr);
  RasRenRenderChain& own = chainOf(chain);
  chain->enableDownloadTarget(true, width, height);
  ren->addViewport(viewport);
  size_t const bytes = size_t(width) * size_t(height) * 4;
  Bytes picture(bytes, 0xAB);
  chain->downloadTarget(picture.data());
  EXPECT_EQ(at(picture, 0, 0), (Bytes{0, 0, 0, 255})) << "cleared to black";

  presentOneFrame();
  own.doDownloadTargetCopy();  // into the other target, rows flipped to start at the top
  chain->downloadTarget(picture.data());
  // The read target is the one not drawn last: the frame's own copy, rows from the bottom.
  EXPECT_EQ(at(picture, 64, 10), (Bytes{0, 0, 255, 255})) << "red, as B, G, R, A";
  EXPECT_EQ(at(picture, 64, 118), (Bytes{255, 0, 0, 255}));

  presentOneFrame();
  chain->downloadTarget(picture.data());
  EXPECT_EQ(at(picture, 64, 10), (Bytes{255, 0, 0, 255})) << "the flipped copy: the top row first";

  chain->enableDownloadTarget(false, 0, 0);
  EXPECT_EQ(own.downloadTargetAt(0), nullptr);
  EXPECT_EQ(own.downloadTargetAt(1), nullptr);
  Bytes untouched(bytes, 0xAB);
  chain->downloadTarget(untouched.data());
  EXPECT_EQ(untouched, Bytes(bytes, 0xAB));
}

TEST_F(RenderChainTest, TheDownsampleChainHalvesUntilTheShortSideIsUnder256) {
  struct Case {
    int width, height;
    std::vector<std::pair<int, int>> sizes;
  } const cases[] = {
      {960, 580, {{480, 290}, {240, 145}}}, {300, 200, {{300, 200}}}, {600, 512, {{300, 256}, {150, 128}}}};
  for (Case const& c : cases) {
    ras->resize(c.width, c.height);
    ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, true, nullptr);
    RasRenHdrPipeline* hdr = chainOf(chain).hdrPipeline();
    ASSERT_NE(hdr, nullptr);
    std::vector<std::pair<int, int>> sizes;
    for (auto const& target : hdr->downsampleChain()) sizes.emplace_back(target->width(), target->height());
    EXPECT_EQ(sizes, c.sizes) << c.width << "x" << c.height;
    EXPECT_EQ(hdr->blurTarget()->width(), c.sizes.front().first);
  }
}

class HdrChainTest : public RenderChainTest {
 protected:
  // Frames until the read-back has come in (the first frames find no finished one).
  float measuredLuminance(RasRenHdrPipeline& hdr) {
    for (int frame = 0; frame < 10; ++frame) {
      presentOneFrame();
      glFinish();
      if (hdr.targetLuminance() != 1.0f) break;
    }
    return hdr.targetLuminance();
  }
};

TEST_F(HdrChainTest, AConstantScenesAverageLuminanceIsReadBack) {
  // Linear colours: the HDR scene colour is a float target, so 4 stays 4.
  struct Case {
    ka::Color4f colour;
  } const cases[] = {{{0.25f, 0.25f, 0.25f, 1}}, {{4, 4, 4, 1}}, {{0.5f, 0.1f, 2.0f, 1}}};
  for (Case const& c : cases) {
    scene->clear();
    fillScene(c.colour, c.colour);
    ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, true, nullptr);
    ren->clearViewportStack();
    ren->addViewport(viewport);
    double expected = 0.2126 * c.colour.r + 0.7152 * c.colour.g + 0.0722 * c.colour.b + 0.0001;
    EXPECT_NEAR(measuredLuminance(*chainOf(chain).hdrPipeline()), expected, expected * 0.01) << expected;
  }
}

TEST_F(HdrChainTest, AScenePartlyWeightedOutCountsOnlyWhereTheWeightIs) {
  fillScene({0.1f, 0.1f, 0.1f, 1}, {2, 2, 2, 1});
  // Weight only the top half (texture rows run bottom-up).
  ka::Ref<Texture> weights = ren->createTexture(TF_A8R8G8B8, 1, 2, 1, TextureFilter(0), false, 0);
  uint32_t const texels[] = {0xff000000u, 0xffffffffu};
  weights->setBits(0, texels, 0, CUBE_PositiveX);
  ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, true, weights);
  ren->addViewport(viewport);
  EXPECT_NEAR(measuredLuminance(*chainOf(chain).hdrPipeline()), 2.0001, 0.02);
}

TEST_F(HdrChainTest, AWhiteSceneAtNeutralExposureIsToneMappedByReinhard) {
  // Average luminance 1 is also the neutral target: the exposure stays at 1 whatever the timing,
  // and nothing lies above white to bloom.
  fillScene({1, 1, 1, 1}, {1, 1, 1, 1});
  ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, true, nullptr);
  ren->addViewport(viewport);
  for (int i = 0; i < 3; ++i) presentOneFrame();
  EXPECT_NEAR(chainOf(chain).hdrPipeline()->adaptedLuminance(), 1.0f, 1e-3);
  double x = 1.0 * 0.18 / 1.0;
  int expected = srgbByte(x / (1 + x));
  Bytes pixels = frame();
  for (auto [px, py] : {std::pair{5, 5}, {64, 64}, {120, 100}}) {
    Bytes p = at(pixels, px, py);
    for (int channel = 0; channel < 3; ++channel) EXPECT_NEAR(p[size_t(channel)], expected, 2) << px << "," << py;
  }
}

TEST_F(HdrChainTest, ABrightSpotBloomsIntoItsNeighbourhoodOnly) {
  scene->addMesh(solidRect({0, 0, 0, 1}, 0, 0, float(width), float(height)), ka::Mat4x4f::identity(), ren::TK_World);
  scene->addMesh(solidRect({50, 50, 50, 1}, 62, 62, 66, 66), ka::Mat4x4f::identity(), ren::TK_World)->setDrawOrder(1);
  ka::Ref<ren::RenderChain> chain = ren->createRenderChain(viewport, 1.0f, true, nullptr);
  ren->addViewport(viewport);
  presentOneFrame();
  Bytes pixels = frame();
  EXPECT_GT(at(pixels, 69, 64)[0], 0) << "three pixels from the spot: glow";
  EXPECT_EQ(at(pixels, 100, 64)[0], 0) << "far away: none";
}

}  // namespace
