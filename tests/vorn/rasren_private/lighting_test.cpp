#include "vorn/rasren_private/lighting_environment.h"

#include <cmath>

#include <filesystem>
#include <fstream>

#include "ka/logsink.h"
#include "support/log_lines.h"
#include "support/picture_file.h"
#include "support/renderer_fixture.h"
#include "support/temp_dir.h"
#include "vorn/rasren_private/light_distance_field.h"
#include "vorn/rasren_private/effect.h"
#include "vorn/rasren_private/lighting_engine.h"
#include "vorn/rasren_private/scene_viewport.h"

namespace {

using namespace vorn;
using Bytes = std::vector<unsigned char>;

// Expected pixels come from docs/shading.md, in double precision, not from the shaders.
struct Vec {
  double x, y, z;
  Vec operator-(Vec const& o) const { return {x - o.x, y - o.y, z - o.z}; }
  Vec operator+(Vec const& o) const { return {x + o.x, y + o.y, z + o.z}; }
  Vec operator*(double s) const { return {x * s, y * s, z * s}; }
  double dot(Vec const& o) const { return x * o.x + y * o.y + z * o.z; }
  double length() const { return std::sqrt(dot(*this)); }
  Vec normalized() const { return *this * (1 / length()); }
};

// Lambert plus Blinn-Phong (exponent 32) for one channel.
double shade(Vec const& position, Vec const& normal, Vec const& toLight, double albedo, double ks, double diffuse,
             double specular, double attenuation) {
  double lambert = normal.dot(toLight);
  if (lambert <= 0) return 0;
  Vec half = (toLight + (position * -1).normalized()).normalized();
  return (albedo * diffuse * lambert + ks * specular * std::pow(std::max(0.0, normal.dot(half)), 32)) * attenuation;
}

TEST(LightingTechniques, TheShapeAndSettingsChooseTheTechnique) {
  LightState light;
  light.shape = LS_Directional;
  EXPECT_EQ(RasRenLightingEnvironment::getTechnique(light), "Directional");
  light.shape = LS_Point;
  EXPECT_EQ(RasRenLightingEnvironment::getTechnique(light), "Point_Fast") << "black specular";
  light.specular = {1, 1, 1, 1};
  EXPECT_EQ(RasRenLightingEnvironment::getTechnique(light), "Point");
  light.debug = true;
  EXPECT_EQ(RasRenLightingEnvironment::getTechnique(light), "Point_Debug");
  light.debug = false;
  light.shape = LS_ProjectiveBox;
  EXPECT_EQ(RasRenLightingEnvironment::getTechnique(light), "Box_NoShadow");
  light.specular = {0, 0, 0, 1};
  EXPECT_EQ(RasRenLightingEnvironment::getTechnique(light), "Box_NoShadow") << "no gobo";
  light.shape = LS_Capsule;
  EXPECT_EQ(RasRenLightingEnvironment::getTechnique(light), "Capsule");
  light.shape = 9;
  EXPECT_EQ(RasRenLightingEnvironment::getTechnique(light), "Light shape not supported yet");
  EXPECT_EQ(RasRenLightingEngine::getPrelightTechnique(0), "Prelight");
  EXPECT_EQ(RasRenLightingEngine::getPrelightTechnique(1), "PrelightWireframe");
}

class LightingTest : public RendererFixture {
 protected:
  static constexpr double kFloorZ = -5;

  LightingTest() : RendererFixture(128, 128) {
    for (char const* effects : {"/shaders/post.json", "/shaders/scene.json", "/shaders/content.json"})
      ren->loadEffects(effects);
    viewport->setProjectionMatrix(ka::Mat4x4f::orthographicOpenGL(0, 128, 0, 128, 1, 100));
    chain = ren->createRenderChain(viewport, 1.0f, false, nullptr);
    ren->addViewport(viewport);
  }

  // A floor facing the camera over the whole view, in one lit material.
  void addFloor(double albedo, double ks) { addRect(albedo, ks, 0, 0, 128, 128, float(kFloorZ)); }
  // A lit rectangle facing the camera from (x0, y0) to (x1, y1) at depth z.
  void addRect(double albedo, double ks, float x0, float y0, float x1, float y1, float z) {
    Material material(library.get(), "lit_solid");
    material.setVec("Color", {float(albedo), float(albedo), float(albedo), 1});
    material.setVec("Specular", {float(ks), 0, 0, 0});
    MeshBuilder<VertexP3N3> builder(ren.get());
    builder.setMaterial(material);
    VertexP3N3 a{{x0, y0, z}, {0, 0, 1}}, b{{x1, y0, z}, {0, 0, 1}}, c{{x1, y1, z}, {0, 0, 1}}, d{{x0, y1, z}, {0, 0, 1}};
    builder.addTri(a, b, c);
    builder.addTri(c, d, a);
    builder.flush();
    scene->addMesh(builder.meshes().front(), environment, ka::Mat4x4f::identity(), ren::TK_World);
  }
  // The centre of pixel (x, y) on the floor, in view space (the view is the identity).
  static Vec floorPoint(int x, int y) { return {x + 0.5, y + 0.5, kFloorZ}; }
  void expectGrey(Bytes const& pixels, int x, int y, double linear) {
    Bytes p = at(pixels, x, y);
    for (int channel = 0; channel < 3; ++channel)
      EXPECT_NEAR(p[size_t(channel)], srgbByte(linear), 2) << "pixel " << x << "," << y << " linear " << linear;
  }

  ka::LogSinkMemory log{0};  // before the effects load: a shader that does not build says why here
  ka::Ref<ren::Scene> scene = ren->createScene();
  ka::Ref<ren::SceneViewport> viewport = pixelViewport(scene);
  ka::Ref<ren::RenderChain> chain;
  ka::Ref<ren::LightingEnvironment> environment = scene->createLightingEnvironment();
};

TEST_F(LightingTest, EveryLightAndSurfacePassBuilds) {
  struct Effect {
    char const* name;
    std::vector<char const*> techniques;
  } const effects[] = {{"light",
                        {"Default", "Directional", "Point", "Point_Fast", "Point_Debug", "Box", "Box_NoShadow",
                         "Box_Gobo_Fast", "Box_Gobo_Shadow_Fast", "Box_Debug", "Capsule", "Capsule_Debug", "Fog"}},
                       {"lit_solid", {"Default", "Prelight"}}};
  for (Effect const& e : effects) {
    ka::Ref<RasRenEffect> effect = ren->getRasRenEffect(e.name, false);
    ASSERT_TRUE(effect) << e.name;
    for (char const* name : e.techniques) {
      ASSERT_TRUE(effect->hasTechnique(name)) << e.name << " " << name << "\n" << logText(log);
      EXPECT_NE(effect->selectTechnique(name)->program(), nullptr) << name;
    }
  }
}

TEST_F(LightingTest, ADirectionalLightStraightDownAndAtSixtyDegrees) {
  addFloor(0.5, 0);
  ka::Ref<ren::LightInstance> sun = environment->addLight();
  sun->setDirection({0, 0, -1});
  sun->setDiffuseColor({1, 1, 1, 1});
  presentOneFrame();
  expectGrey(frame(), 64, 64, 0.5);

  double angle = 60 * M_PI / 180;
  sun->setDirection({float(std::sin(angle)), 0, float(-std::cos(angle))});
  sun->setDiffuseColor({0.8f, 0.8f, 0.8f, 1});
  presentOneFrame();
  Bytes pixels = frame();
  expectGrey(pixels, 10, 10, 0.5 * 0.8 * std::cos(angle));
  expectGrey(pixels, 120, 100, 0.5 * 0.8 * std::cos(angle));

  sun->setEnabled(false);
  presentOneFrame();
  expectGrey(frame(), 64, 64, 0);  // no ambient light was set
}

TEST_F(LightingTest, APointLightFallsOffToNothingAtItsRadius) {
  addFloor(0.5, 0.6);
  Vec const centre{64, 64, kFloorZ + 6};
  double const radius = 40;
  ka::Ref<ren::LightInstance> bulb = environment->addLight();
  bulb->setPosition({float(centre.x), float(centre.y), float(centre.z)});
  bulb->setRadius(float(radius));
  bulb->setDiffuseColor({1, 1, 1, 1});
  bulb->setSpecularColor({0.5f, 0.5f, 0.5f, 1});
  presentOneFrame();
  Bytes pixels = frame();
  for (auto [x, y] : {std::pair{64, 64}, {70, 60}, {80, 80}, {40, 90}, {100, 64}, {5, 5}}) {
    Vec p = floorPoint(x, y);
    double d = (centre - p).length();
    double falloff = std::clamp(1 - (d / radius) * (d / radius), 0.0, 1.0);
    expectGrey(pixels, x, y, shade(p, {0, 0, 1}, (centre - p).normalized(), 0.5, 0.6, 1, 0.5, falloff * falloff));
  }
}

TEST_F(LightingTest, ACapsuleLightShinesFromTheNearestPointOfItsSegmentToItsFarEnd) {
  addFloor(0.5, 0);
  Vec const start{20, 64, kFloorZ + 4}, sweep{80, 0, 0};
  double const radius = 12;
  ka::Ref<ren::LightInstance> tube = environment->addLight();
  tube->setPosition({float(start.x), float(start.y), float(start.z)});
  tube->setRadius(float(radius));
  tube->setSweepAxis({float(sweep.x), float(sweep.y), float(sweep.z)});
  presentOneFrame();
  Bytes pixels = frame();
  // Beside the start, the middle and the far end (beyond any sphere round the start), and off it.
  for (auto [x, y] : {std::pair{20, 60}, {64, 70}, {98, 64}, {106, 64}, {64, 90}}) {
    Vec p = floorPoint(x, y);
    double along = std::clamp((p - start).dot(sweep) / sweep.dot(sweep), 0.0, 1.0);
    Vec toLight = start + sweep * along - p;
    double d = toLight.length();
    double falloff = std::clamp(1 - (d / radius) * (d / radius), 0.0, 1.0);
    expectGrey(pixels, x, y, shade(p, {0, 0, 1}, toLight.normalized(), 0.5, 0, 1, 1, falloff * falloff));
  }
}

TEST_F(LightingTest, ABoxLightThrowsItsGoboOntoWhatLiesInsideAffineOrProjective) {
  addFloor(0.5, 0);
  // 2 by 2 checker: white where u and v are both below or both above a half.
  ka::Ref<Texture> checker = ren->createTexture(TF_A8R8G8B8, 2, 2, 1, TextureFilter(0), false, 0);
  uint32_t const texels[] = {0xffffffffu, 0xff000000u, 0xff000000u, 0xffffffffu};
  checker->setBits(0, texels, 0, CUBE_PositiveX);
  ka::Ref<ren::LightInstance> box = environment->addLight();
  box->setDirection({0, 0, -1});
  box->setGobo(checker);
  // Both reach x and y from 32 to 96 on the floor: a box from z -10 to 0, and a frustum from a
  // point 10 above the floor whose sides spread 3.2 in 1.
  ka::Mat4x4f const affine = ka::mul(ka::Mat4x4f::translation({-64, -64, 5}),
                                     ka::Mat4x4f::scaleTranslation({1 / 32.0f, 1 / 32.0f, 1 / 5.0f}, {0, 0, 0}));
  ka::Mat4x4f const projective = ka::mul(ka::Mat4x4f::lookAt({64, 64, -5}, {64, 64, 5}, {0, 1, 0}),
                                         ka::Mat4x4f::perspectiveOpenGL(6.4f, 6.4f, 1, 20));
  for (auto [transform, shape] : {std::pair{affine, LS_Box}, {projective, LS_ProjectiveBox}}) {
    box->setTransform(transform);
    EXPECT_EQ(static_cast<RasRenLightingEnvironment&>(*environment).lights()[0].shape, shape);
    presentOneFrame();
    Bytes pixels = frame();
    expectGrey(pixels, 40, 40, 0.5);
    expectGrey(pixels, 88, 88, 0.5);
    expectGrey(pixels, 88, 40, 0);
    expectGrey(pixels, 40, 88, 0);
    expectGrey(pixels, 10, 64, 0);  // outside the light
    expectGrey(pixels, 64, 120, 0);
  }
}

TEST_F(LightingTest, DebugViewsShowTheGBuffersAttachments) {
  addFloor(0.5, 0);
  // Albedo 0.5 shows as itself; the normal (0, 0, 1) is stored as the middle of both
  // octahedral coordinates, 32768 = 128 and 0 a coordinate, copied out through the sRGB target.
  viewport->setVisualization(ren::VIS_Material);
  presentOneFrame();
  expectGrey(frame(), 64, 64, 0.5);
  viewport->setVisualization(ren::VIS_Normal);
  presentOneFrame();
  EXPECT_EQ(at(frame(), 64, 64), (Bytes{188, 0, 188, 255}));
  viewport->setVisualization(ren::VIS_None);
  presentOneFrame();
  expectGrey(frame(), 64, 64, 0);
}

TEST_F(LightingTest, InstancedLitMeshesAreLitAndCastShadowsInOneDrawEach) {
  Material material(library.get(), "lit_solid");
  material.setVec("Color", {0.5f, 0.5f, 0.5f, 1});
  MeshBuilder<VertexP3N3> builder(ren.get());
  builder.setMaterial(material);
  VertexP3N3 a{{0, 0, 0}, {0, 0, 1}}, b{{16, 0, 0}, {0, 0, 1}}, c{{16, 16, 0}, {0, 0, 1}}, d{{0, 16, 0}, {0, 0, 1}};
  builder.addTri(a, b, c);
  builder.addTri(c, d, a);
  builder.flush();
  auto tiles = scene->addMesh(builder.meshes().front(), environment, ka::Mat4x4f::identity(), ren::TK_World);
  std::vector<ka::Mat4x4f> const at = {ka::Mat4x4f::translation({8, 8, -5}), ka::Mat4x4f::translation({64, 8, -5}),
                                       ka::Mat4x4f::translation({8, 64, -5})};
  tiles->setBatchTransforms(at.data(), int(at.size()), 1);
  ka::Ref<ren::LightInstance> sun = environment->addLight();
  sun->setDirection({0, 0, -1});
  sun->setShadowTransform(ka::mul(ka::Mat4x4f::lookAt({64, 64, -5}, {64, 64, 45}, {0, 1, 0}),
                                  ka::Mat4x4f::orthographicOpenGL(-100, 100, -100, 100, 1, 100)));
  sun->setShadowMap(environment->createShadowMap(16, 128, 128));
  presentOneFrame();
  Bytes pixels = frame();
  for (auto [x, y] : {std::pair{16, 16}, {72, 16}, {16, 72}}) expectGrey(pixels, x, y, 0.5);
  expectGrey(pixels, 72, 72, 0);
  EXPECT_EQ(events("draw indexed batches"), 2) << "one instanced draw for the G-buffer, one for the shadow map";
  EXPECT_EQ(events("unrolled batches"), 0);
}

TEST_F(LightingTest, ABatchedGroupDrawsAsTheSameInstancesWouldOneByOne) {
  Material material(library.get(), "lit_solid");
  material.setVec("Color", {0.6f, 0.5f, 0.4f, 1});
  material.setVec("Specular", {0.5f, 0, 0, 0});
  MeshBuilder<VertexP3N3> builder(ren.get());
  builder.setMaterial(material);
  VertexP3N3 a{{0, 0, 0}, {0, 0, 1}}, b{{10, 0, 0}, {0, 0, 1}}, c{{10, 10, 0}, {0, 0, 1}}, d{{0, 10, 0}, {0, 0, 1}};
  builder.addTri(a, b, c);
  builder.addTri(c, d, a);
  builder.flush();
  ka::Ref<Mesh> tile = builder.meshes().front();
  // Tiles whose edges fall between pixel centres, spread over several cells round the origin.
  std::vector<ka::Mat4x4f> transforms;
  for (int row = 0; row < 4; ++row)
    for (int column = 0; column < 4; ++column)
      transforms.push_back(ka::Mat4x4f::translation({column * 30 + 4.25f, row * 30 + 4.25f, -5}));
  ka::Ref<ren::LightInstance> bulb = environment->addLight();
  bulb->setPosition({60, 60, 10});
  bulb->setRadius(120);
  bulb->setSpecularColor({1, 1, 1, 1});

  for (auto const& transform : transforms) scene->addMesh(tile, environment, transform, ren::TK_World);
  presentOneFrame();
  Bytes separate = frame();
  scene->clear();

  ka::Ref<ren::BatchedMeshGroup> group = scene->addBatchedMeshGroup(tile, environment, ka::Mat4x4f::identity());
  std::vector<uint32_t> handles;
  for (auto const& transform : transforms) handles.push_back(group->addInstance(transform));
  presentOneFrame();
  EXPECT_EQ(frame(), separate) << "pixel for pixel";
  int draws = int(events("draw indexed batches"));
  EXPECT_GE(draws, 1);
  EXPECT_LE(draws, 16) << "one draw a run of neighbouring cells at most";

  // A removed instance leaves a hole; the group's other tiles stay.
  group->removeInstance(handles[5]);
  presentOneFrame();
  Bytes holed = frame();
  EXPECT_EQ(at(holed, 40, 40), (Bytes{0, 0, 0, 255})) << "the second tile of the second row is gone";
  EXPECT_EQ(at(holed, 10, 10), at(separate, 10, 10));
}

TEST_F(LightingTest, ALitMeshWithoutAnEnvironmentIsNotLit) {
  Material material(library.get(), "lit_solid");
  material.setVec("Color", {0.5f, 0.5f, 0.5f, 1});
  MeshBuilder<VertexP3N3> builder(ren.get());
  builder.setMaterial(material);
  VertexP3N3 a{{0, 0, -5}, {0, 0, 1}}, b{{128, 0, -5}, {0, 0, 1}}, c{{128, 128, -5}, {0, 0, 1}};
  builder.addTri(a, b, c);
  builder.flush();
  scene->addMesh(builder.meshes().front(), ka::Mat4x4f::identity(), ren::TK_World);
  ka::Ref<ren::LightInstance> sun = environment->addLight();
  sun->setDirection({0, 0, -1});
  presentOneFrame();
  expectGrey(frame(), 100, 20, 0);
  EXPECT_EQ(ren->lightingEngine().environmentsSeen(), 0u);
}

TEST_F(LightingTest, AShadowFallsWhereTheOccludersOutlineProjectsWithinAPixel) {
  addFloor(0.5, 0);
  addRect(0.5, 0, 20, 40, 40, 80, -2);  // three units above the floor
  double angle = 60 * M_PI / 180;
  ka::Vec3<float> direction{float(std::sin(angle)), 0, float(-std::cos(angle))};
  ka::Ref<ren::LightInstance> sun = environment->addLight();
  sun->setDirection(direction);
  ka::Vec3<float> target{64, 64, float(kFloorZ)};
  sun->setShadowTransform(ka::mul(ka::Mat4x4f::lookAt(target, target - direction * 50.0f, {0, 1, 0}),
                                  ka::Mat4x4f::orthographicOpenGL(-100, 100, -100, 100, 1, 100)));
  ka::Ref<ren::ShadowMap> map = environment->createShadowMap(24, 1024, 1024);
  sun->setShadowMap(map);
  presentOneFrame();
  Bytes pixels = frame();
  writeGLPicturePng("lighting-shadow", width, height, 4, pixels);
  // The occluder's right edge, x = 40, lands 3 tan(60) to the right on the floor.
  double edge = 40 + 3 * std::tan(angle);
  double lit = 0.5 * std::cos(angle);
  for (int x = 41; x <= 48; ++x) {
    double centre = x + 0.5;
    if (std::abs(centre - edge) < 1) continue;
    expectGrey(pixels, x, 60, centre < edge ? 0 : lit);
  }
  expectGrey(pixels, 43, 38, lit);  // beside the shadow's lower edge, y = 40
  expectGrey(pixels, 43, 41, 0);
  expectGrey(pixels, 30, 60, lit);  // the occluder's own top: no shadow of itself
  expectGrey(pixels, 100, 100, lit);
}

TEST_F(LightingTest, AShadowMapSharedByTwoLightsStaysDirtyAndBadRequestsEndTheProcess) {
  ka::Ref<ren::ShadowMap> map = environment->createShadowMap(16, 64, 64);
  auto& own = static_cast<RasRenShadowMap&>(*map);
  ka::Ref<ren::LightInstance> first = environment->addLight(), second = environment->addLight();
  first->setShadowMap(map);
  own.updateTransform(ka::Mat4x4f::identity());
  EXPECT_FALSE(own.dirty()) << "one light: clean once placed";
  second->setShadowMap(map);
  EXPECT_TRUE(own.dirty());
  own.updateTransform(ka::Mat4x4f::identity());
  EXPECT_TRUE(own.dirty()) << "shared: stays dirty";
  EXPECT_EQ(own.bindCount(), 2);
  second->remove();
  EXPECT_EQ(own.bindCount(), 1);

  map->setFeedbackFitting(true);
  map->setFeedbackFitting(true);
  EXPECT_TRUE(own.hasFeedbackTarget());
  map->setFeedbackFitting(false);
  EXPECT_FALSE(own.hasFeedbackTarget());

  // The renderer's threads are running: the child starts afresh rather than forking them.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(environment->createShadowMap(8, 512, 512), "Unsupported shadow map depth specified");
  ka::Ref<ren::LightingEnvironment> other = scene->createLightingEnvironment();
  EXPECT_DEATH(other->addLight()->setShadowMap(map), "Attempted assignment of shadow map across lighting environments");
}

// A field of its own test effects: each light writes 1 over its volume; the resolve paints the
// material's tint where the field is above a half.
class DistanceFieldTest : public LightingTest {
 protected:
  DistanceFieldTest() {
    std::filesystem::create_directories(dir.path() + "/shaders");
    write("ldf_test.json", R"({"effects": [
        {"name": "ldf_test", "techniques": [
          {"name": "Point_Fast", "vertex": "light.vs", "pixel": "ldf_test_write.fs",
           "depth": {"compare": "always"}, "blend": {"enabled": true, "op": "add", "source": "one", "dest": "one"},
           "rast": {"cullmode": "front"}}]},
        {"name": "ldf_test_resolve", "techniques": [
          {"name": "Default", "vertex": "light.vs", "pixel": "ldf_test_resolve.fs", "depth": {"compare": "always"}}]}]})");
    write("ldf_test_write.fs", "#version 330\nout vec4 o;\nvoid main() { o = vec4(1.0); }\n");
    write("ldf_test_resolve.fs",
          "#version 330\nuniform sampler2D u_ldf_result;\nuniform vec4 u_Tint;\nout vec4 o;\n"
          "void main() {\n  if (texelFetch(u_ldf_result, ivec2(gl_FragCoord.xy), 0).r < 0.5) discard;\n"
          "  o = u_Tint;\n}\n");
    fs->mount(dir.path(), "/", true);
    ren->loadEffects("/shaders/ldf_test.json");
    addFloor(0.5, 0);
    bulb->setPosition({64, 64, float(kFloorZ)});
    bulb->setRadius(20);
  }
  void write(std::string const& name, std::string const& text) {
    std::ofstream(dir.path() + "/shaders/" + name) << text;
  }
  Material tinted() {
    Material material(library.get(), "ldf_test");
    material.setVec("Tint", {1, 0, 0, 1});
    return material;
  }
  bool red(Bytes const& pixels, int x, int y) { return at(pixels, x, y) == Bytes{255, 0, 0, 255}; }

  TempDir dir;
  ka::Ref<ren::LightInstance> bulb = environment->addLight();
  ka::Ref<ren::LightDistanceField> field = environment->createDistanceField("glow");
  RasRenLightDistanceField& own = static_cast<RasRenLightDistanceField&>(*field);
};

TEST_F(DistanceFieldTest, ItsLightsDrawIntoTheFieldAndTheResolverPaintsItOnce) {
  field->setMaterial(tinted());
  field->getResolver()->setMaterial(tinted());
  bulb->setLayer(field);
  presentOneFrame();
  Bytes pixels = frame();
  EXPECT_TRUE(red(pixels, 64, 64));
  EXPECT_TRUE(red(pixels, 74, 64)) << "within the radius";
  EXPECT_FALSE(red(pixels, 100, 64)) << "beyond it";
  EXPECT_EQ(own.lightsDrawn(), 1);
  expectGrey(pixels, 100, 64, 0);  // and not lit as a light of the scene either

  bulb->setLayer(nullptr);  // back in the default layer: a light of the scene again
  presentOneFrame();
  EXPECT_FALSE(red(frame(), 64, 64));
  EXPECT_EQ(own.lightsDrawn(), 0);
}

TEST_F(DistanceFieldTest, BitDepthSizeAndAMissingMaterialAsDesigned) {
  bulb->setLayer(field);
  presentOneFrame();
  ASSERT_NE(own.target(), nullptr);
  EXPECT_EQ(own.targetFormat(), TF_R8);
  field->setBitDepth(16);
  presentOneFrame();
  EXPECT_EQ(own.targetFormat(), TF_R8) << "only 32 selects floats";
  field->setBitDepth(32);
  presentOneFrame();
  EXPECT_EQ(own.targetFormat(), TF_R32F);

  ras->resize(96, 64);
  viewport->setRect({0, 0, 96, 64});
  presentOneFrame();
  EXPECT_EQ(own.target()->width(), 96) << "a new size, a new target at the next viewport";
  EXPECT_EQ(own.target()->height(), 64);

  // Without a material the lights draw nothing and the resolve has no block: nothing red, no fault.
  field->getResolver()->setMaterial(tinted());
  presentOneFrame();
  EXPECT_FALSE(red(frame(), 48, 32));

  field->setMaterial(tinted());
  field->setAutoHide(true);
  bulb->setEnabled(false);
  presentOneFrame();
  auto const& layers = static_cast<RasRenLightingEnvironment&>(*environment).layers();
  EXPECT_FALSE(layers.back().enabled) << "auto-hidden: no light in the field";

  ka::Ref<ren::LightingEnvironment> other = scene->createLightingEnvironment();
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(other->addLight()->setLayer(field), "Invalid light layer provided.  \\(Wrong environment\\?\\)");
}

TEST_F(LightingTest, FeedbackFittingMeasuresWhereTheSeenSurfacesFallInTheMap) {
  addRect(0.5, 0, 20, 10, 100, 50, float(kFloorZ));  // the rest of the view shows no surface
  ka::Ref<ren::LightInstance> sun = environment->addLight();
  sun->setDirection({0, 0, -1});
  sun->setShadowTransform(ka::mul(ka::Mat4x4f::lookAt({64, 64, -5}, {64, 64, 45}, {0, 1, 0}),
                                  ka::Mat4x4f::orthographicOpenGL(-100, 100, -100, 100, 1, 100)));
  ka::Ref<ren::ShadowMap> map = environment->createShadowMap(24, 256, 256);
  map->setFeedbackFitting(true);
  sun->setShadowMap(map);
  presentOneFrame();
  float region[4] = {0, 0, 0, 0};
  ASSERT_TRUE(static_cast<RasRenShadowMap&>(*map).feedbackTarget()->downloadTextureData(0, region));
  // The first and last pixel centres the rectangle covers, from the light's axis at 64, over the
  // 100 from the axis to the map's edge.
  EXPECT_NEAR(region[0], (20.5 - 64) / 100, 1e-4);
  EXPECT_NEAR(region[1], (10.5 - 64) / 100, 1e-4);
  EXPECT_NEAR(region[2], (99.5 - 64) / 100, 1e-4);
  EXPECT_NEAR(region[3], (49.5 - 64) / 100, 1e-4);
}

TEST_F(LightingTest, AmbientLightBlendsGroundHorizonAndSkyByTheNormal) {
  addFloor(0.5, 0);
  ka::Color4f const colours[4] = {{0.8f, 0.8f, 0.8f, 1}, {0.4f, 0.4f, 0.4f, 1}, {0, 0, 0, 1}, {0, 0, 0, 1}};
  ka::Ref<Texture> lookup = environment->createAmbientLookup(colours);
  // The floor faces +z; with the sky 60 degrees away, t = cos(60) / 2 + 1 / 2 = 0.75.
  double angle = 60 * M_PI / 180;
  environment->setAmbient({float(std::sin(angle)), 0, float(std::cos(angle))}, {0, 0, 0}, lookup);
  presentOneFrame();
  double t = std::cos(angle) * 0.5 + 0.5;
  double ambient = 0.4 + (0.8 - 0.4) * (t * 2 - 1);
  expectGrey(frame(), 64, 64, 0.5 * ambient);
}

TEST_F(LightingTest, LightsComeAndGoAndTheirInstancesFollow) {
  addFloor(0.5, 0);
  ka::Ref<ren::LightInstance> first = environment->addLight(), second = environment->addLight();
  first->setDirection({0, 0, -1});
  first->setDiffuseColor({0.5f, 0.5f, 0.5f, 1});
  second->setDirection({0, 0, -1});
  second->setDiffuseColor({0.25f, 0.25f, 0.25f, 1});
  presentOneFrame();
  expectGrey(frame(), 64, 64, 0.5 * 0.75);

  first->remove();
  second->setDiffuseColor({1, 1, 1, 1});  // now at index 0: the setter must still reach it
  first->setDiffuseColor({0, 0, 0, 1});   // removed: changes nothing
  presentOneFrame();
  expectGrey(frame(), 64, 64, 0.5);
  EXPECT_EQ(static_cast<RasRenLightingEnvironment&>(*environment).lights().size(), 1u);

  environment->clear();
  second->setEnabled(true);
  presentOneFrame();
  expectGrey(frame(), 64, 64, 0);
  EXPECT_EQ(ren->lightingEngine().environmentsSeen(), 0u) << "forgotten at the end of the viewport";
}

}  // namespace
