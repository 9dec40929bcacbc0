// Impostors of a batched group: their pictures stand in for the mesh seen from either side, and
// they take over from the full mesh at the group's impostor distance.
#include "vorn/rasren_private/impostor.h"

#include "support/picture_file.h"
#include "support/renderer_fixture.h"
#include "vorn/rasren_private/batched_mesh_group.h"
#include "vorn/shapes.h"

namespace {

using namespace vorn;

class ImpostorTest : public RendererFixture {
 protected:
  ImpostorTest() : RendererFixture(320, 192) {
    for (char const* effects : {"/shaders/post.json", "/shaders/scene.json", "/shaders/content.json",
                                "/shaders/impostors.json"})
      ren->loadEffects(effects);
    chain = ren->createRenderChain(viewport, 1.0f, false, nullptr);
    ren->addViewport(viewport);
    ka::Ref<ren::LightInstance> sun = environment->addLight();
    sun->setDirection(ka::normalize(ka::Vec3<float>{0.5f, 0.7f, -0.5f}));
    // Sky from +y, ground from -y: every side of the L a different shade.
    ka::Color4f const ambient[4] = {{0.3f, 0.3f, 0.3f, 1}, {0.15f, 0.15f, 0.15f, 1}, {0.05f, 0.05f, 0.05f, 1}, {}};
    environment->setAmbient({0, 1, 0.2f}, {0, 0, 0}, environment->createAmbientLookup(ambient));
  }

  Material lit(float r, float g, float b) {
    Material material(library.get(), "lit_solid");
    material.setVec("Color", {r, g, b, 1});
    return material;
  }
  // An L in two colours that shows which way round it is from either side: a tall red block at
  // low x and low y, a short blue one at high x and high y.
  ka::Ref<Mesh> lMesh() {
    MeshBuilder<VertexP3N3> builder(ren.get());
    builder.setMaterial(lit(0.8f, 0.1f, 0.1f));
    addLitBox(builder, {{0, 0, 0}, {10, 10, 20}});
    builder.setMaterial(lit(0.1f, 0.2f, 0.8f));
    addLitBox(builder, {{10, 10, 0}, {20, 20, 10}});
    builder.flush();
    return builder.meshes().front();
  }
  // Orthographic, 2 pixels a unit, from 200 away along -`along`.
  void lookAlong(ka::Vec3<float> const& along) {
    ka::Vec3<float> target{0, 0, 40};
    viewport->setViewMatrix(ka::Mat4x4f::lookAt(target, target - along * 200.0f, {0, 0, 1}));
    viewport->setProjectionMatrix(ka::Mat4x4f::orthographicOpenGL(-80, 80, -48, 48, 1, 400));
  }

  ka::Ref<ren::Scene> scene = ren->createScene();
  ka::Ref<ren::SceneViewport> viewport = ren->createSceneViewport({0, 0, width, height}, scene);
  ka::Ref<ren::RenderChain> chain;
  ka::Ref<ren::LightingEnvironment> environment = scene->createLightingEnvironment();
};

// Same-coloured pixels but for the outlines, where the pictures' texels fall between pixels.
void expectAlike(std::vector<unsigned char> const& full, std::vector<unsigned char> const& impostors, int width) {
  size_t far = 0, lit = 0;
  for (size_t i = 0; i < full.size(); i += 4) {
    int worst = 0;
    for (size_t c = 0; c < 3; ++c) worst = std::max(worst, std::abs(int(full[i + c]) - int(impostors[i + c])));
    if (worst > 6) ++far;
    if (full[i] + full[i + 1] + full[i + 2] > 0) ++lit;
  }
  EXPECT_GT(lit, full.size() / 4 / 30) << "the meshes cover part of the view";
  EXPECT_LE(far, lit / 20) << "of " << full.size() / 4 / size_t(width) * size_t(width) << " pixels";
}

TEST_F(ImpostorTest, ImpostorsLookLikeTheMeshFromEitherSide) {
  ka::Ref<ren::BatchedMeshGroup> group = scene->addBatchedMeshGroup(lMesh(), environment, ka::Mat4x4f::identity());
  for (float x : {-60.0f, -20.0f, 20.0f})
    for (float z : {0.0f, 40.0f}) group->addInstance(ka::Mat4x4f::translation({x, 0, z}));
  struct Side {
    char const* name;
    ka::Vec3<float> along;
  } const sides[] = {{"y", {0, 1, 0}}, {"x", {1, 0, 0}}, {"minus-y", {0, -1, 0}}};
  for (Side const& side : sides) {
    SCOPED_TRACE(side.name);
    lookAlong(side.along);
    group->setImpostorDistance(1e6f);
    presentOneFrame();
    Bytes full = frame();
    group->setImpostorDistance(0);
    presentOneFrame();
    Bytes impostors = frame();
    writeGLPicturePng(std::string("impostor-full-") + side.name, width, height, 4, full);
    writeGLPicturePng(std::string("impostor-") + side.name, width, height, 4, impostors);
    expectAlike(full, impostors, width);
  }
}

TEST_F(ImpostorTest, FarCellsDrawAsImpostorsAndBeyondTheFadeDistanceNotAtAll) {
  ka::Ref<ren::BatchedMeshGroup> group = scene->addBatchedMeshGroup(lMesh(), environment, ka::Mat4x4f::identity());
  auto* batched = static_cast<RasRenBatchedMeshGroup*>(group.get());
  // One instance a cell, at four distances from the camera at the origin.
  struct Placed {
    ka::Vec3<float> position;
    char const* expected;
  } const placed[] = {{{999, 0, 0}, "lit_solid"},
                      {{0, 1001, 0}, "impostor_cross"},
                      {{-4999, 1, 0}, "impostor_cross"},
                      {{0, -5001, 0}, nullptr}};
  for (Placed const& p : placed) group->addInstance(ka::Mat4x4f::translation(p.position));
  ka::Frustum everything;
  everything.initGLTransform(ka::Mat4x4f::orthographicOpenGL(-1e4f, 1e4f, -1e4f, 1e4f, -1e4f, 1e4f));
  batched->calculateRenderLists({0, 0, 0});
  batched->doRenderCulling(everything);
  std::deque<RasRenDrawCall> storage;
  std::vector<RasRenDrawCall*> calls;
  batched->doBatchDraws(storage, calls);
  std::map<std::string, std::vector<ka::Vec3<float>>> drawn;
  for (RasRenDrawCall const* call : calls)
    for (int i = 0; i < call->batchCount; ++i) drawn[call->effect->name()].push_back(call->matrices[i].translationPart());
  EXPECT_EQ(drawn["lit_solid"].size(), 2u) << "the L's two material groups";
  EXPECT_EQ(drawn["impostor_cross"].size(), 2u);
  for (Placed const& p : placed) {
    if (!p.expected) continue;
    bool found = false;
    for (auto const& at : drawn[p.expected]) found = found || ka::length(at - p.position) < 1e-3f;
    EXPECT_TRUE(found) << p.expected << " at " << p.position.x << "," << p.position.y;
  }
  ASSERT_NE(batched->impostor(), nullptr);
  EXPECT_EQ(batched->impostor()->target()->width(), 2 * RasRenImpostor::kViewSize);
}

}  // namespace
