#include "planet_scene.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "vorn/mesh_builder.h"
#include "vorn/rasren_private/render_chain.h"
#include "vorn/rasren_private/virtual_texture_engine.h"
#include "vorn/shapes.h"

namespace vorn {
namespace {

constexpr float kFieldOfView = 0.9f, kNear = 0.3f, kFar = 400.0f;
constexpr float kPi = 3.14159265f;
// The ground: 32 by 16 pages of 128 texels, about a tenth of a unit a texel at the equator.
constexpr int kGroundWidth = 4096, kGroundHeight = 2048, kPageSize = 128, kRectsPerPage = 16;

// A value between 0 and 1 for a lattice point, the same every run.
float latticeValue(int x, int y, int seed) {
  uint32_t h = uint32_t(x) * 374761393u + uint32_t(y) * 668265263u + uint32_t(seed) * 2246822519u;
  h = (h ^ (h >> 13)) * 1274126177u;
  return float((h ^ (h >> 16)) & 0xffff) / 65535.0f;
}

// Smooth noise over the texture's 0 to 1, `cells` lattice cells across (wrapping) and half as many
// down.
float valueNoise(float u, float v, int cells, int seed) {
  float x = u * float(cells), y = v * float(cells / 2);
  int x0 = int(std::floor(x)), y0 = int(std::floor(y));
  float fx = x - float(x0), fy = y - float(y0);
  fx = fx * fx * (3 - 2 * fx);
  fy = fy * fy * (3 - 2 * fy);
  auto at = [&](int i, int j) { return latticeValue(((x0 + i) % cells + cells) % cells, y0 + j, seed); };
  float top = at(0, 0) + (at(1, 0) - at(0, 0)) * fx, bottom = at(0, 1) + (at(1, 1) - at(0, 1)) * fx;
  return top + (bottom - top) * fy;
}

ka::Color4f mix(ka::Color4f const& a, ka::Color4f const& b, float t) {
  t = std::clamp(t, 0.0f, 1.0f);
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t, 1};
}

// Meadows and dry grass in patches, bare earth here and there, snow towards the poles. The alpha
// is the specular intensity: a little on the snow.
ka::Color4f terrainColour(float u, float v) {
  float patches = valueNoise(u, v, 48, 1) * 0.7f + valueNoise(u, v, 384, 2) * 0.3f;
  float earth = valueNoise(u, v, 96, 3);
  ka::Color4f colour = mix({0.05f, 0.2f, 0.04f, 1}, {0.3f, 0.27f, 0.08f, 1}, (patches - 0.35f) * 3);
  colour = mix(colour, {0.22f, 0.14f, 0.07f, 1}, (earth - 0.72f) * 8);
  float polar = std::abs(v - 0.5f) * 2 + (valueNoise(u, v, 192, 4) - 0.5f) * 0.1f;
  colour = mix(colour, {0.8f, 0.82f, 0.88f, 1}, (polar - 0.82f) * 12);
  colour.a = polar > 0.82f ? 0.3f : 0.02f;
  return colour;
}

// Paints each page as a grid of rectangles in the terrain's colours at their centres, and a ring
// of them round it for the page's border, which filtering reads.
class TerrainPages : public ren::VTPageMapper {
 public:
  explicit TerrainPages(Material material) : material_(std::move(material)) {}
  bool mapPage(ren::VTPageInfo const& page, ren::VTDrawList& drawList) override {
    float w = (page.right - page.left) / kRectsPerPage, h = (page.bottom - page.top) / kRectsPerPage;
    for (int row = -1; row <= kRectsPerPage; ++row) {
      for (int column = -1; column <= kRectsPerPage; ++column) {
        float left = page.left + float(column) * w, top = page.top + float(row) * h;
        drawList.addRect(left, top, left + w, top + h, material_, terrainColour(left + w / 2, top + h / 2));
      }
    }
    return true;
  }

 private:
  Material material_;
};

// Longitude and latitude as 0 to 1; a triangle across the date line gets coordinates past 1 on
// its western corners, which the ground's sampling wraps.
ka::Ref<Mesh> makePlanetMesh(MeshFactory* factory, Material const& material) {
  MeshBuilder<VertexP3N3T2> builder(factory);
  builder.setMaterial(material);
  for (Triangle const& t : icosahedronTriangles(PlanetScene::kRadius, 5)) {
    VertexP3N3T2 corners[3];
    for (int i = 0; i < 3; ++i) {
      ka::Vec3<float> n = ka::normalize(t[size_t(i)]);
      corners[i] = {t[size_t(i)], n, {std::atan2(n.y, n.x) / (2 * kPi) + 0.5f, std::asin(n.z) / kPi + 0.5f}};
    }
    float low = std::min({corners[0].texCoord.x, corners[1].texCoord.x, corners[2].texCoord.x});
    float high = std::max({corners[0].texCoord.x, corners[1].texCoord.x, corners[2].texCoord.x});
    if (high - low > 0.5f)
      for (VertexP3N3T2& corner : corners)
        if (corner.texCoord.x < 0.5f) corner.texCoord.x += 1;
    builder.addTri(corners[0], corners[1], corners[2]);
  }
  builder.flush();
  return builder.meshes().front();
}

// A trunk and a round crown, standing on z = 0 along +z.
ka::Ref<Mesh> makeTreeMesh(MeshFactory* factory, Material const& bark, Material const& leaves) {
  MeshBuilder<VertexP3N3> builder(factory);
  builder.setMaterial(bark);
  addLitBox(builder, {{-0.12f, -0.12f, 0}, {0.12f, 0.12f, 1.1f}});
  builder.setMaterial(leaves);
  ka::Vec3<float> const crown{0, 0, 1.7f};
  for (Triangle const& t : icosahedronTriangles(0.75f, 1)) {
    auto vertex = [&](ka::Vec3<float> const& p) { return VertexP3N3{p + crown, ka::normalize(p)}; };
    builder.addTri(vertex(t[0]), vertex(t[1]), vertex(t[2]));
  }
  builder.flush();
  return builder.meshes().front();
}

// Standing on the planet at `up` (unit length), turned by `turn` about it, scaled by `scale`.
ka::Mat4x4f standing(ka::Vec3<float> const& up, float turn, float scale) {
  ka::Vec3<float> side = std::abs(up.z) < 0.99f ? ka::normalize(ka::cross({0, 0, 1}, up)) : ka::Vec3<float>{1, 0, 0};
  ka::Vec3<float> ahead = ka::cross(up, side);
  ka::Vec3<float> x = side * std::cos(turn) + ahead * std::sin(turn), y = ka::cross(up, x);
  ka::Vec3<float> at = up * PlanetScene::kRadius;
  // Rows: where the tree's own x, y and z go, then its position.
  return {{{x.x * scale, x.y * scale, x.z * scale, 0},
           {y.x * scale, y.y * scale, y.z * scale, 0},
           {up.x * scale, up.y * scale, up.z * scale, 0},
           {at.x, at.y, at.z, 1}}};
}

}  // namespace

PlanetScene::PlanetScene(RasRen& renderer, MaterialLibrary* library, int width, int height, Options const& options)
    : renderer_(renderer), library_(library) {
  scene_ = renderer.createScene();
  environment_ = scene_->createLightingEnvironment();
  ka::Color4f const ambient[4] = {{0.16f, 0.2f, 0.3f, 1}, {0.12f, 0.13f, 0.15f, 1}, {0.04f, 0.04f, 0.03f, 1}, {}};
  ambient_ = environment_->createAmbientLookup(ambient);
  environment_->setAmbient({1, 0, 0}, {0, 0, 0}, ambient_);
  sun_ = environment_->addLight();
  sun_->setDirection(ka::normalize(ka::Vec3<float>{-0.8f, -0.5f, -0.35f}));
  sun_->setDiffuseColor({2.2f, 2.0f, 1.7f, 1});
  // Trees behind the planet are hidden from the instances' culling.
  scene_->addOccluder()->setSphere({{0, 0, 0}, kRadius * 0.98f});
  addGround();
  addTrees(options);

  viewport_ = renderer.createSceneViewport({0, 0, width, height}, scene_);
  viewport_->setBackground({0, 0, 0, 1});
  chain_ = renderer.createRenderChain(viewport_, 1.0f, true, nullptr);
  resize(width, height);
  setCamera(0, 0.75f, 18);
  renderer.addViewport(viewport_);
}

PlanetScene::~PlanetScene() = default;

void PlanetScene::addGround() {
  ren::VirtualTextureEngine* engine = renderer_.getVirtualTextureEngine();
  engine->setCacheSize(2048, 1024, kPageSize);
  ground_ = engine->createVirtualTexture(kGroundWidth, kGroundHeight, 8);
  ground_->setPageMapper(ka::Ref<ren::VTPageMapper>(new TerrainPages(Material(library_, "vt_page_colour"))));
  Material ground = ground_->getVirtualMaterial(Material(library_, "lit_solid"));
  scene_->addMesh(makePlanetMesh(&renderer_, ground), environment_, ka::Mat4x4f::identity(), ren::TK_World);
}

void PlanetScene::addTrees(Options const& options) {
  Material bark(library_, "lit_solid"), leaves(library_, "lit_solid");
  bark.setVec("Color", {0.25f, 0.15f, 0.08f, 1});
  leaves.setVec("Color", {0.08f, 0.28f, 0.06f, 1});
  leaves.setVec("Specular", {0.1f, 0, 0, 0});
  ka::Ref<Mesh> tree = makeTreeMesh(&renderer_, bark, leaves);
  if (!options.separateTrees) {
    trees_ = scene_->addBatchedMeshGroup(tree, environment_, ka::Mat4x4f::identity());
    trees_->setImpostorDistance(25);
    trees_->setFadeDistance(90);
  }
  std::mt19937 random(11);
  std::uniform_real_distribution<float> unit(-1, 1), turn(0, 2 * kPi), scale(0.8f, 1.3f);
  for (int i = 0; i < options.trees; ++i) {
    // Even over the sphere: z uniform, longitude uniform.
    float z = unit(random), longitude = turn(random), ring = std::sqrt(1 - z * z);
    ka::Mat4x4f placed = standing({ring * std::cos(longitude), ring * std::sin(longitude), z}, turn(random),
                                  scale(random));
    if (trees_)
      trees_->addInstance(placed);
    else
      separate_.push_back(scene_->addMesh(tree, environment_, placed, ren::TK_World));
    if (!trees_ && !options.cullSeparateTrees) separate_.back()->setBypassCulling(true);
  }
}

void PlanetScene::setCamera(float yaw, float pitch, float height) {
  ka::Vec3<float> up{std::cos(yaw), std::sin(yaw), 0};
  ka::Vec3<float> east{-std::sin(yaw), std::cos(yaw), 0};
  ka::Vec3<float> eye = up * (kRadius + height);
  ka::Vec3<float> look = east * std::cos(pitch) - up * std::sin(pitch);
  viewport_->setViewMatrix(ka::Mat4x4f::lookAt(eye + look * 10.0f, eye, up));
  environment_->setAmbient(up, {0, 0, 0}, ambient_);
}

void PlanetScene::resize(int width, int height) {
  viewport_->setRect({0, 0, width, height});
  float h = 2 * kNear * std::tan(kFieldOfView / 2);
  viewport_->setProjectionMatrix(ka::Mat4x4f::perspectiveOpenGL(h * float(width) / float(height), h, kNear, kFar));
}

void PlanetScene::setTime(double seconds) {
  time_ = seconds;
  scene_->setTime(seconds);
}

void PlanetScene::makeDeterministic() {
  static_cast<RasRenRenderChain&>(*chain_).setClock([this] { return float(time_ * 1000); });
  renderer_.virtualTextureEngine().setPageBudget(1e9);
}

}  // namespace vorn
