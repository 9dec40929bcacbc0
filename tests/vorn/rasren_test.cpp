#include "vorn/rasren.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "support/picture_file.h"
#include "support/renderer_fixture.h"
#include "support/temp_dir.h"
#include "vorn/rasren_private/effect.h"
#include "vorn/rasren_private/scene_viewport.h"

namespace {

using namespace vorn;
using Bytes = std::vector<unsigned char>;

ka::Color4f const kRed{1, 0, 0, 1}, kGreen{0, 1, 0, 1}, kBlue{0, 0, 1, 1};
Bytes const kRedPixel{255, 0, 0, 255}, kGreenPixel{0, 255, 0, 255}, kBluePixel{0, 0, 255, 255};

class RasRenTest : public RendererFixture {
 protected:
  RasRenTest() : RendererFixture(32, 32) {}
};

TEST_F(RasRenTest, TheShippedEffectsLoadWithTheirPasses) {
  ka::Ref<RasRenEffect> solid = ren->getRasRenEffect("solid_unlit", false);
  ka::Ref<RasRenEffect> page = ren->getRasRenEffect("textured_unlit_transparent_bgra_nohdr", false);
  ka::Ref<RasRenEffect> textured = ren->getRasRenEffect("textured_unlit_transparent_nohdr", false);
  ASSERT_TRUE(solid && page && textured);
  EXPECT_FALSE(solid->transparent());
  EXPECT_TRUE(page->transparent());
  EXPECT_FALSE(page->hdr());
  // The page neither tests nor writes depth, blends premultiplied, and culls nothing.
  RasRenTechnique* technique = page->selectTechnique("");
  ras::HalDepthState::Desc noDepth;
  noDepth.func = 7;
  EXPECT_EQ(technique->depthState(), ras->createDepthState(noDepth).get());
  ras::HalBlendState::Desc premultiplied;
  premultiplied.enable = true;
  premultiplied.srcBlend = 1;
  premultiplied.destBlend = 8;
  EXPECT_EQ(technique->blendState(), ras->createBlendState(premultiplied).get());
  ras::HalRasterizerState::Desc noCull;
  noCull.solid = true;
  noCull.writeMask = 15;
  noCull.cullMode = 3;
  EXPECT_EQ(technique->rasterizerState(), ras->createRasterizerState(noCull).get());
  // A skinned lookup has no fallback on the plain effect, and asking again fails again.
  EXPECT_FALSE(ren->getRasRenEffect("solid_unlit", true));
  EXPECT_FALSE(ren->getRasRenEffect("nothing", false));
  EXPECT_FALSE(ren->getRasRenEffect("nothing", false));
}

TEST_F(RasRenTest, AnEmptyStackClearsTheFrame) {
  fillBackBuffer(kRed);
  presentOneFrame();
  Bytes pixels = frame();
  // The back buffer has no alpha channel of its own: alpha reads as one.
  EXPECT_EQ(at(pixels, 0, 0), (Bytes{0, 0, 0, 255}));
  EXPECT_EQ(at(pixels, 31, 31), (Bytes{0, 0, 0, 255}));
  EXPECT_EQ(events("draw indexed prim"), 0);
}

TEST_F(RasRenTest, AnOpaqueTopViewportHidesWhatIsBeneathAndSkipsTheClear) {
  ka::Ref<ren::Scene> below = ren->createScene();
  below->addMesh(solidRect(kRed, 0, 0, 32, 32).get(), ka::Mat4x4f::identity(), ren::TK_World);
  ka::Ref<ren::SceneViewport> bottom = pixelViewport(below);
  ka::Ref<ren::SceneViewport> top = pixelViewport(ren->createScene());
  ren->addViewport(bottom.get());
  ren->addViewport(top.get());
  fillBackBuffer(kGreen);
  presentOneFrame();
  Bytes pixels = frame();
  EXPECT_EQ(at(pixels, 3, 3), kGreenPixel) << "neither drawn over nor cleared";
  EXPECT_EQ(events("draw indexed prim"), 0);

  // Moved to the top, the red viewport draws, over the whole buffer.
  ren->addViewport(bottom.get());
  fillBackBuffer(kGreen);
  ASSERT_EQ(ren->viewportStack().size(), 2u);
  presentOneFrame();
  EXPECT_EQ(at(frame(), 3, 3), kRedPixel);
  EXPECT_EQ(events("draw indexed prim"), 1);

  // A top viewport over half the window leaves the rest uncovered: the frame is cleared first
  // and what lies beneath is drawn, bottom first.
  ren->removeViewport(top.get());
  ka::Ref<ren::Scene> left = ren->createScene();
  left->addMesh(solidRect(kBlue, 0, 0, 16, 32).get(), ka::Mat4x4f::identity(), ren::TK_World);
  ka::Ref<ren::SceneViewport> half = ren->createSceneViewport({0, 0, 16, 32}, left);
  half->setProjectionMatrix(ka::Mat4x4f::orthographicOpenGL(0, 16, 0, 32, -1, 1));
  ren->addViewport(half.get());
  fillBackBuffer(kGreen);
  presentOneFrame();
  pixels = frame();
  EXPECT_EQ(at(pixels, 3, 3), kBluePixel);
  EXPECT_EQ(at(pixels, 28, 3), kRedPixel);
  EXPECT_EQ(events("draw indexed prim"), 2);
  writeGLPicturePng("rasren-viewport-stack", width, height, 4, pixels);

  ren->clearViewportStack();
  EXPECT_TRUE(ren->viewportStack().empty());
}

TEST_F(RasRenTest, DrawOrderDecidesWhatLiesOnTop) {
  ka::Ref<ren::Scene> scene = ren->createScene();
  // Added in the reverse of their draw orders, and each with its own material and buffers.
  auto last = scene->addMesh(solidRect(kBlue, 8, 8, 24, 24).get(), ka::Mat4x4f::identity(), ren::TK_World);
  auto middle = scene->addMesh(solidRect(kGreen, 4, 4, 20, 20).get(), ka::Mat4x4f::identity(), ren::TK_World);
  auto first = scene->addMesh(solidRect(kRed, 0, 0, 16, 16).get(), ka::Mat4x4f::identity(), ren::TK_World);
  first->setDrawOrder(1);
  middle->setDrawOrder(2);
  last->setDrawOrder(3);
  ka::Ref<ren::SceneViewport> viewport = pixelViewport(scene);
  ren->addViewport(viewport.get());
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  Bytes pixels = frame();
  EXPECT_EQ(at(pixels, 2, 2), kRedPixel);
  EXPECT_EQ(at(pixels, 6, 6), kGreenPixel);
  EXPECT_EQ(at(pixels, 12, 12), kBluePixel);

  // A hidden instance stays in the scene and is not drawn.
  last->setTransformKind(ren::TK_Hidden);
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  EXPECT_EQ(at(frame(), 12, 12), kGreenPixel);
  EXPECT_EQ(events("draw indexed prim"), 2);
  // A removed one is inert, and its scene forgets it.
  middle->remove();
  middle->setDrawOrder(9);
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  EXPECT_EQ(at(frame(), 12, 12), kRedPixel);
  EXPECT_EQ(events("draw indexed prim"), 1);
}

TEST_F(RasRenTest, CullingDropsWhatTheFrustumOrAnOccluderHides) {
  ka::Ref<ren::Scene> scene = ren->createScene();
  ka::Ref<Mesh> box = solidRect(kRed, -1, -1, 1, 1);
  // The camera sits at the origin looking down negative z.
  scene->addMesh(box.get(), ka::Mat4x4f::translation({0, 0, -10}), ren::TK_World);
  scene->addMesh(box.get(), ka::Mat4x4f::translation({0, 0, 10}), ren::TK_World);
  scene->addMesh(box.get(), ka::Mat4x4f::translation({0, 0, -40}), ren::TK_World);
  scene->addOccluder()->setSphere({{0, 0, -20}, 5});
  ka::Ref<ren::SceneViewport> viewport = ren->createSceneViewport({0, 0, 32, 32}, scene);
  viewport->setProjectionMatrix(ka::Mat4x4f::perspectiveOpenGL(1, 1, 1, 100));
  ren->addViewport(viewport.get());
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  EXPECT_EQ(events("cull (pass)"), 1);
  EXPECT_EQ(events("cull frustum"), 1);
  EXPECT_EQ(events("cull occluder"), 1);
  EXPECT_EQ(events("draw indexed prim"), 1);
  EXPECT_EQ(at(frame(), 16, 16), kRedPixel);

  // From inside the occluder nothing can be said: the far box is drawn.
  viewport->setViewMatrix(ka::Mat4x4f::translation({0, 0, 17}));
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  EXPECT_EQ(events("cull occluder"), 0);
  EXPECT_EQ(events("cull (pass)"), 1);
  EXPECT_EQ(events("draw indexed prim"), 1);
}

TEST_F(RasRenTest, LevelsOfDetailFollowTheDistanceToTheReference) {
  ka::Ref<ren::Scene> scene = ren->createScene();
  ka::Ref<Mesh> box = solidRect(kRed, -1, -1, 1, 1);
  ka::Ref<ren::LODGroup> group = scene->addLODGroup();
  group->setCutoffs({100, 500});
  auto nearLevel = scene->addMesh(box.get(), ka::Mat4x4f::identity(), ren::TK_World);
  auto farLevel = scene->addMesh(box.get(), ka::Mat4x4f::identity(), ren::TK_World);
  nearLevel->setLODGroup(group.get(), 0, 0);
  farLevel->setLODGroup(group.get(), 1, 1);
  ka::Ref<ren::SceneViewport> viewport = ren->createSceneViewport({0, 0, 32, 32}, scene);
  viewport->setProjectionMatrix(ka::Mat4x4f::perspectiveOpenGL(1, 1, 1, 1000));
  ren->addViewport(viewport.get());
  auto drawnAt = [&](float distance) {
    // The meshes lie at the origin and the reference point with them; the camera backs away.
    viewport->setViewMatrix(ka::Mat4x4f::translation({0, 0, -distance}));
    presentOneFrame();
    return events("draw indexed prim");
  };
  EXPECT_EQ(drawnAt(50), 1);
  EXPECT_EQ(drawnAt(200), 1);
  EXPECT_EQ(events("cull (pass)"), 1) << "the level-0 member is not even culled at level 1";
  EXPECT_EQ(drawnAt(600), 1) << "beyond the last cutoff the level wraps to 0";
  // Removing the group leaves its members in no group: they are not drawn.
  group->remove();
  EXPECT_EQ(drawnAt(50), 0);
}

TEST_F(RasRenTest, NearAndFarComeBackFromTheProjection) {
  ka::Ref<ren::SceneViewport> viewport = ren->createSceneViewport({0, 0, 32, 32}, nullptr);
  auto* own = dynamic_cast<RasRenSceneViewport*>(viewport.get());
  ASSERT_NE(own, nullptr);
  viewport->setProjectionMatrix(ka::Mat4x4f::perspectiveOpenGL(2, 1.5f, 0.5f, 300));
  EXPECT_NEAR(own->nearDistance(), 0.5f, 1e-4);
  EXPECT_NEAR(own->farDistance(), 300.0f, 0.05);
  EXPECT_FALSE(own->orthographic());
  viewport->setProjectionMatrix(ka::Mat4x4f::orthographicOpenGL(0, 960, 0, 580, 2, 50));
  EXPECT_NEAR(own->nearDistance(), 2.0f, 1e-4);
  EXPECT_NEAR(own->farDistance(), 50.0f, 1e-3);
  EXPECT_TRUE(own->orthographic());
}

TEST_F(RasRenTest, TexturesAreTheRendersUntilDrawnAndTheRasterizersInMaterials) {
  // Small, one mip, linear: kept in CPU memory for atlases until a draw needs it.
  ka::Ref<Texture> small = ren->createTexture(TF_A8R8G8B8, 64, 64, 1, TF_AllLinear, false, 0);
  ka::Ref<Texture> wide = ren->createTexture(TF_A8R8G8B8, 65, 64, 1, TF_AllLinear, false, 0);
  EXPECT_EQ(small->factory(), ren.get());
  Material material(library.get(), "textured_unlit_transparent_nohdr");
  material.setTexture("Texture", small.get());
  Material drawn = ren->optimizeMaterial(material);
  Texture const* onRasterizer = drawn.textureParam("Texture", nullptr).get();
  ASSERT_NE(onRasterizer, nullptr);
  EXPECT_EQ(onRasterizer->factory(), ras->getTextureFactory());
  EXPECT_TRUE(drawn.data()->frozen());
  // The renderer may go first: its textures stay, and belong to no renderer.
  ren.reset();
  EXPECT_EQ(small->factory(), nullptr);
  EXPECT_EQ(wide->width(), 65);
}

TEST_F(RasRenTest, QuadBuffersAreLentForOneFrameAndTheUnitQuadIsMadeOnce) {
  ka::Ref<RasMeshVertexBuffer> a = ren->getQuadVertexBuffer(), b = ren->getQuadVertexBuffer();
  ka::Ref<RasMeshIndexBuffer> indices = ren->getQuadIndexBuffer();
  EXPECT_NE(a.get(), b.get());
  EXPECT_EQ(a->format(), VF_Position3Color4bTexCoord2);
  ren->present();
  ka::Ref<RasMeshVertexBuffer> again = ren->getQuadVertexBuffer();
  EXPECT_TRUE(again.get() == a.get() || again.get() == b.get()) << "a buffer of the last frame is reused";
  EXPECT_EQ(ren->getQuadIndexBuffer().get(), indices.get());

  ka::Ref<Mesh> quad = ren->getQuadMesh();
  EXPECT_EQ(ren->getQuadMesh().get(), quad.get());
  EXPECT_EQ(quad->getVertexBuffer()->aabbMin(), (ka::Vec3<float>{0, 0, 0}));
  EXPECT_EQ(quad->getVertexBuffer()->aabbMax(), (ka::Vec3<float>{1, 1, 0}));
  ASSERT_EQ(quad->getMaterialGroups().size(), 1u);
  EXPECT_EQ(quad->getMaterialGroups()[0].primitiveCount, 2);
}

// Effects of the test's own: one that draws instanced, one without a batch variant.
class BatchTest : public RasRenTest {
 protected:
  BatchTest() {
    std::filesystem::create_directories(dir.path() + "/shaders");
    std::filesystem::copy_file(ZANDOR_RESOURCES_DIR "/shaders/unlit.vs", dir.path() + "/shaders/unlit.vs");
    std::filesystem::copy_file(ZANDOR_RESOURCES_DIR "/shaders/solid_unlit.fs", dir.path() + "/shaders/solid_unlit.fs");
    write("batch.vs", R"(#version 330
uniform mat4 u_WorldViewProjTransform;
uniform sampler2D u_BatchTransforms;
in vec3 a_Position;
in vec4 a_Color;
out vec4 v_Color;
void main() {
  mat4 batch = mat4(texelFetch(u_BatchTransforms, ivec2(0, gl_InstanceID), 0),
                    texelFetch(u_BatchTransforms, ivec2(1, gl_InstanceID), 0),
                    texelFetch(u_BatchTransforms, ivec2(2, gl_InstanceID), 0),
                    texelFetch(u_BatchTransforms, ivec2(3, gl_InstanceID), 0));
  v_Color = a_Color;
  gl_Position = u_WorldViewProjTransform * (batch * vec4(a_Position, 1.0));
}
)");
    write("test.json", R"({"effects": [
        {"name": "instanced", "techniques": [
          {"name": "Default", "vertex": "unlit.vs", "pixel": "solid_unlit.fs", "depth": {"compare": "always"}},
          {"name": "Batch", "vertex": "batch.vs", "pixel": "solid_unlit.fs", "depth": {"compare": "always"}}]},
        {"name": "plain", "techniques": [
          {"name": "Default", "vertex": "unlit.vs", "pixel": "solid_unlit.fs", "depth": {"compare": "always"}}]}]})");
    ka::Ref<Filesystem> own = createStdioFilesystem();
    own->mount(dir.path(), "/", true);
    ren = std::make_unique<RasRen>(ras.get(), nullptr, own, profiler);
    ren->loadEffects("/shaders/test.json");
  }
  void write(std::string const& name, std::string const& text) {
    std::ofstream(dir.path() + "/shaders/" + name) << text;
  }
  // A 2 by 2 pixel square at the origin, drawn at (4, 4), (14, 4) and (24, 4), or `count` times.
  ka::Ref<ren::MeshInstance> squares(ka::RefNoCount<ren::Scene> scene, char const* effect, int count = 3) {
    Material material(library.get(), effect);
    material.setVec("Color", {1, 0, 0, 1});
    MeshBuilder<VertexP3C4bT2> builder(ren.get());
    builder.setMaterial(material);
    VertexP3C4bT2 a{{0, 0, 0}, ~0u, {0, 0}}, b{{2, 0, 0}, ~0u, {0, 0}}, c{{2, 2, 0}, ~0u, {0, 0}},
        d{{0, 2, 0}, ~0u, {0, 0}};
    builder.addTri(a, b, c);
    builder.addTri(c, d, a);
    builder.flush();
    auto instance = scene->addMesh(builder.meshes().front().get(), ka::Mat4x4f::translation({4, 4, 0}),
                                   ren::TK_World);
    std::vector<ka::Mat4x4f> transforms;
    for (int i = 0; i < count; ++i) transforms.push_back(ka::Mat4x4f::translation({float(i % 3) * 10, 0, 0}));
    instance->setBatchTransforms(transforms.data(), count, 1);
    return instance;
  }
  void expectThreeSquares() {
    Bytes pixels = frame();
    for (int x : {5, 15, 25}) EXPECT_EQ(at(pixels, x, 5), kRedPixel) << "square at " << x;
    EXPECT_EQ(at(pixels, 10, 5), (Bytes{0, 0, 0, 255}));
  }

  TempDir dir;
};

TEST_F(BatchTest, AnEffectWithABatchVariantDrawsEachBlockOfTransformsInOneCall) {
  ka::Ref<ren::Scene> scene = ren->createScene();
  auto instance = squares(scene, "instanced");
  ka::Ref<ren::SceneViewport> viewport = pixelViewport(scene);
  ren->addViewport(viewport.get());
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  expectThreeSquares();
  EXPECT_EQ(events("draw indexed batches"), 1);
  EXPECT_EQ(events("draw indexed batch total"), 3);
  EXPECT_EQ(events("unrolled batches"), 0);

  // 4097 transforms take two blocks, and two calls.
  squares(scene, "instanced", 4097);
  instance->remove();
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  expectThreeSquares();
  EXPECT_EQ(events("draw indexed batches"), 2);
  EXPECT_EQ(events("draw indexed batch total"), 4097);

  // A count of 0 ends batching: the mesh is drawn once, where the instance is.
  ka::Ref<ren::Scene> single = ren->createScene();
  squares(single, "instanced")->setBatchTransforms(nullptr, 0, 0);
  viewport->setScene(single.get());
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  EXPECT_EQ(events("draw indexed prim"), 1);
  EXPECT_EQ(at(frame(), 5, 5), kRedPixel);
  EXPECT_EQ(at(frame(), 15, 5), (Bytes{0, 0, 0, 255}));
}

TEST_F(BatchTest, AnEffectWithoutOneDrawsOncePerTransform) {
  ka::Ref<ren::Scene> scene = ren->createScene();
  squares(scene, "plain");
  ka::Ref<ren::SceneViewport> viewport = pixelViewport(scene);
  ren->addViewport(viewport.get());
  fillBackBuffer({0, 0, 0, 1});
  presentOneFrame();
  expectThreeSquares();
  EXPECT_EQ(events("unrolled batches"), 1);
  EXPECT_EQ(events("unrolled batch count"), 3);
  EXPECT_EQ(events("draw indexed prim"), 3);
  EXPECT_EQ(events("draw indexed batches"), 0);
}

}  // namespace
