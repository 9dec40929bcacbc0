// Virtual textures on the GPU: pages the camera sees become resident within a few frames and are
// sampled from the right cache cells; feedback target sizes; the texture limit; orphaned textures.
#include "vorn/rasren_private/virtual_texture_engine.h"

#include <epoxy/gl.h>

#include "support/picture_file.h"
#include "support/renderer_fixture.h"

namespace {

using namespace vorn;

// Page (x, y) of mip 0 in its own colour; mip 1 pages in others, bluer.
ka::Color4f pageColour(int x, int y, int mip) {
  return {float(x) * 0.25f + 0.1f, float(y) * 0.25f + 0.1f, mip == 0 ? 0.1f : 0.9f, 1};
}

class ColourPages : public ren::VTPageMapper {
 public:
  explicit ColourPages(Material material) : material_(std::move(material)) {}
  bool mapPage(ren::VTPageInfo const& page, ren::VTDrawList& drawList) override {
    ++mapped;
    ka::Color4f colour = pageColour(page.x, page.y, page.mip);
    if (page.left < 0.5f) colour.b += leftBlue;
    drawList.addRect(page.left, page.top, page.right, page.bottom, material_, colour);
    return true;
  }
  int mapped = 0;
  float leftBlue = 0;  // added to the pages of the left half

 private:
  Material material_;
};

class VirtualTextureTest : public RendererFixture {
 protected:
  VirtualTextureTest() : RendererFixture(128, 128) {
    for (char const* effects : {"/shaders/post.json", "/shaders/scene.json", "/shaders/content.json",
                                "/shaders/vtex.json"})
      ren->loadEffects(effects);
    viewport->setProjectionMatrix(ka::Mat4x4f::orthographicOpenGL(0, 128, 0, 128, 1, 100));
    chain = ren->createRenderChain(viewport, 1.0f, false, nullptr);
    ren->addViewport(viewport);
    ka::Color4f const white[4] = {{1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}};
    environment->setAmbient({0, 0, 1}, {0, 0, 0}, environment->createAmbientLookup(white));
  }

  RasRenVirtualTextureEngine& engine() { return ren->virtualTextureEngine(); }

  // A square over the whole view whose texture coordinates run from 0 to 1.
  void addGround(Material const& material) {
    MeshBuilder<VertexP3N3T2> builder(ren.get());
    builder.setMaterial(material);
    VertexP3N3T2 a{{0, 0, -5}, {0, 0, 1}, {0, 0}}, b{{128, 0, -5}, {0, 0, 1}, {1, 0}};
    VertexP3N3T2 c{{128, 128, -5}, {0, 0, 1}, {1, 1}}, d{{0, 128, -5}, {0, 0, 1}, {0, 1}};
    builder.addTri(a, b, c);
    builder.addTri(c, d, a);
    builder.flush();
    scene->addMesh(builder.meshes().front(), environment, ka::Mat4x4f::identity(), ren::TK_World);
  }

  ka::Ref<ren::Scene> scene = ren->createScene();
  ka::Ref<ren::SceneViewport> viewport = pixelViewport(scene);
  ka::Ref<ren::RenderChain> chain;
  ka::Ref<ren::LightingEnvironment> environment = scene->createLightingEnvironment();
};

TEST_F(VirtualTextureTest, SeenPagesBecomeResidentAndAreSampledFromTheirCells) {
  // 4 by 4 pages of 32 texels, one texel a pixel: mip 0 everywhere. The cache has 32 cells.
  engine().setCacheSize(256, 128, 32);
  ka::Ref<ren::VirtualTexture> texture = engine().createVirtualTexture(128, 128, 4);
  ka::Ref<ColourPages> mapper(new ColourPages(Material(library.get(), "vt_page_colour")));
  texture->setPageMapper(mapper);
  Material ground = texture->getVirtualMaterial(Material(library.get(), "lit_solid"));
  EXPECT_EQ(ground.shader(), "vlit_solid");
  addGround(ground);

  // Each frame is finished before the next, so that each read-back is ready a frame later.
  auto pagesWrong = [&] {
    int wrong = 0;
    for (int frame = 0; frame < 8; ++frame) {
      presentOneFrame();
      glFinish();
      Bytes pixels = this->frame();
      wrong = 0;
      for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
          ka::Color4f want = pageColour(x, y, 0);
          if (x < 2) want.b += mapper->leftBlue;
          Bytes p = at(pixels, x * 32 + 16, y * 32 + 16);
          bool right = std::abs(p[0] - srgbByte(want.r)) <= 3 && std::abs(p[1] - srgbByte(want.g)) <= 3 &&
                       std::abs(p[2] - srgbByte(want.b)) <= 3;
          wrong += right ? 0 : 1;
        }
      }
      if (wrong == 0 || frame == 7) {
        writeGLPicturePng("virtual-texture-pages", width, height, 4, pixels);
        break;
      }
    }
    return wrong;
  };
  EXPECT_EQ(pagesWrong(), 0) << "pages still missing after 8 frames";
  EXPECT_EQ(mapper->mapped, 20) << "16 pages of mip 0 and their 4 parents, each drawn once";
  EXPECT_FLOAT_EQ(engine().pageTable().mipBias(), 0);

  // A change to the left half: only the pages there are drawn again.
  mapper->leftBlue = 0.5f;
  texture->invalidateRegions({{0, 0, 0.5f, 1}});
  EXPECT_EQ(pagesWrong(), 0) << "the left half redrawn";
  EXPECT_EQ(mapper->mapped, 20 + 8 + 2) << "8 pages of mip 0 and 2 of mip 1 on the left";
}

TEST_F(VirtualTextureTest, FeedbackTargetsAreAQuarterOfTheViewAtMost320By240) {
  engine().setCacheSize(256, 256, 32);
  EXPECT_EQ(engine().getFeedbackBuffer(3, 100), nullptr);
  EXPECT_EQ(engine().getFeedbackBuffer(100, 3), nullptr);
  struct Size {
    int viewWidth, viewHeight, width, height;
  } const sizes[] = {{128, 96, 32, 24}, {1280, 960, 320, 240}, {2000, 400, 320, 64}, {400, 2000, 48, 240}};
  for (Size const& size : sizes) {
    ka::Ref<ras::RenderTarget> target = engine().getFeedbackBuffer(size.viewWidth, size.viewHeight);
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(target->width(), size.width) << size.viewWidth << "x" << size.viewHeight;
    EXPECT_EQ(target->height(), size.height) << size.viewWidth << "x" << size.viewHeight;
  }
}

TEST_F(VirtualTextureTest, TexturesAreLimitedToSixteenAndOutliveTheEngineInert) {
  EXPECT_FALSE(engine().isActive()) << "no texture, no page mapping";
  std::vector<ka::Ref<ren::VirtualTexture>> textures;
  for (int i = 0; i < 16; ++i) textures.push_back(engine().createVirtualTexture(1024, 1024, 4));
  EXPECT_TRUE(engine().isActive());
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(engine().createVirtualTexture(1024, 1024, 4), "Too many virtual textures allocated");
  // An id given back is taken again.
  textures.pop_back();
  textures.push_back(engine().createVirtualTexture(1024, 1024, 4));
  Material material = textures.back()->getVirtualMaterial(Material(library.get(), "lit_solid"));
  EXPECT_EQ(material.vecParam("VT_ID", {}).x, 15);
  EXPECT_EQ(material.vecParam("VT_PAGEMAP_PARAMS", {}), (ka::Vec4<float>{8, 8, 0, 2})) << "mips: min(log2 8, 4)";

  ren.reset();
  Material plain(library.get(), "lit_solid");
  EXPECT_EQ(textures.front()->getVirtualMaterial(plain).shader(), "lit_solid") << "orphaned: unchanged";
}

}  // namespace
