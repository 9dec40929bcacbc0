#include "reference_scene.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "vorn/mesh_builder.h"
#include "vorn/rasren_private/render_chain.h"
#include "vorn/shapes.h"

namespace vorn {
namespace {

constexpr float kFieldOfView = 0.9f;  // radians, vertical
constexpr float kNear = 0.5f, kFar = 200.0f;
constexpr int kSkySize = 128;  // above the size the renderer packs into atlases, which a cube cannot be

unsigned char srgbByte(float linear) {
  float encoded = linear <= 0.0031308f ? linear * 12.92f : 1.055f * std::pow(linear, 1 / 2.4f) - 0.055f;
  return (unsigned char)std::lround(std::clamp(encoded, 0.0f, 1.0f) * 255);
}

// A sky by elevation alone: blue overhead, pale at the horizon, dark earth below.
ka::Color4f skyColour(ka::Vec3<float> const& direction) {
  float up = direction.y / ka::length(direction);
  auto mix = [](ka::Color4f const& a, ka::Color4f const& b, float t) {
    return ka::Color4f{a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t, 1};
  };
  ka::Color4f const zenith{0.12f, 0.25f, 0.6f, 1}, horizon{0.55f, 0.6f, 0.7f, 1}, ground{0.08f, 0.07f, 0.06f, 1};
  return up >= 0 ? mix(horizon, zenith, std::sqrt(up)) : mix(horizon, ground, std::min(1.0f, -up * 4));
}

// The six faces in OpenGL's order, each texel's direction by the cube map convention (rows from
// the top of each face).
ka::Ref<Texture> makeSkyTexture(RasRen& renderer) {
  ka::Ref<Texture> cube = renderer.createCubeTexture(TF_A8R8G8B8, kSkySize, kSkySize, 1, TF_AllLinear, true, 0);
  std::vector<unsigned char> texels(size_t(kSkySize) * kSkySize * 4);
  for (int face = 0; face < 6; ++face) {
    for (int row = 0; row < kSkySize; ++row) {
      for (int column = 0; column < kSkySize; ++column) {
        float s = (column + 0.5f) / kSkySize * 2 - 1, t = (row + 0.5f) / kSkySize * 2 - 1;
        ka::Vec3<float> const directions[6] = {{1, -t, -s}, {-1, -t, s}, {s, 1, t}, {s, -1, -t}, {s, -t, 1}, {-s, -t, -1}};
        ka::Color4f colour = skyColour(directions[face]);
        unsigned char* texel = &texels[(size_t(row) * kSkySize + size_t(column)) * 4];
        texel[0] = srgbByte(colour.r);
        texel[1] = srgbByte(colour.g);
        texel[2] = srgbByte(colour.b);
        texel[3] = 255;
      }
    }
    cube->setBits(0, texels.data(), 0, TextureCubeFace(face));
  }
  return cube;
}

}  // namespace

ka::Ref<Mesh> makeLitBox(MeshFactory* factory, Material const& material, ka::Vec3<float> const& half) {
  MeshBuilder<VertexP3N3> builder(factory);
  builder.setMaterial(material);
  addLitBox(builder, {half * -1.0f, half});
  builder.flush();
  return builder.meshes().front();
}

ka::Ref<Mesh> makeLitSphere(MeshFactory* factory, Material const& material, float radius) {
  MeshBuilder<VertexP3N3> builder(factory);
  builder.setMaterial(material);
  for (Triangle const& t : icosahedronTriangles(radius, 3)) {
    auto vertex = [&](ka::Vec3<float> const& p) { return VertexP3N3{p, ka::normalize(p)}; };
    builder.addTri(vertex(t[0]), vertex(t[1]), vertex(t[2]));
  }
  builder.flush();
  return builder.meshes().front();
}

ReferenceScene::ReferenceScene(RasRen& renderer, MaterialLibrary* library, int width, int height)
    : renderer_(renderer), library_(library), width_(width), height_(height) {
  scene_ = renderer.createScene();
  environment_ = scene_->createLightingEnvironment();
  ka::Color4f const ambient[4] = {{0.10f, 0.13f, 0.20f, 1}, {0.07f, 0.07f, 0.08f, 1}, {0.04f, 0.03f, 0.02f, 1}, {0, 0, 0, 1}};
  ambient_ = environment_->createAmbientLookup(ambient);
  environment_->setAmbient({0, 1, 0}, {0, 0, 0}, ambient_);

  addLitMesh(makeLitBox(&renderer, litMaterial({0.55f, 0.55f, 0.52f, 1}, 0.1f), {12, 0.25f, 12}),
             ka::Mat4x4f::translation({0, -0.25f, 0}));
  struct Box {
    ka::Vec3<float> centre, half;
    ka::Color4f albedo;
    float specular;
  } const boxes[] = {{{-3, 1, -2}, {1, 1, 1}, {0.7f, 0.15f, 0.1f, 1}, 0.3f},
                     {{2.5f, 0.6f, -3}, {0.6f, 0.6f, 1.6f}, {0.15f, 0.4f, 0.7f, 1}, 0.8f},
                     {{3.5f, 1.5f, 2}, {0.5f, 1.5f, 0.5f}, {0.8f, 0.75f, 0.6f, 1}, 0.1f}};
  for (Box const& box : boxes)
    addLitMesh(makeLitBox(&renderer, litMaterial(box.albedo, box.specular), box.half),
               ka::Mat4x4f::translation(box.centre));
  struct Ball {
    ka::Vec3<float> centre;
    float radius;
    ka::Color4f albedo;
    float specular;
    ka::Color4f emissive;
  } const balls[] = {{{0, 1, 0}, 1, {0.9f, 0.9f, 0.9f, 1}, 1.0f, {0, 0, 0, 1}},
                     {{-2, 0.6f, 2.5f}, 0.6f, {0.2f, 0.6f, 0.25f, 1}, 0.5f, {0, 0, 0, 1}},
                     {{1.5f, 0.4f, 3}, 0.4f, {0, 0, 0, 1}, 0.0f, {6, 3.5f, 1.2f, 1}}};
  for (Ball const& ball : balls)
    addLitMesh(makeLitSphere(&renderer, litMaterial(ball.albedo, ball.specular, ball.emissive), ball.radius),
               ka::Mat4x4f::translation(ball.centre));

  sun_ = environment_->addLight();
  ka::Vec3<float> sunDirection = ka::normalize(ka::Vec3<float>{-0.7f, -0.8f, 0.5f});
  sun_->setDirection(sunDirection);
  // The shadow map covers the floor, seen along the sun's direction.
  shadowMap_ = environment_->createShadowMap(24, 1024, 1024);
  sun_->setShadowMap(shadowMap_);
  sun_->setShadowTransform(ka::mul(ka::Mat4x4f::lookAt({0, 0, 0}, sunDirection * -30.0f, {0, 1, 0}),
                                   ka::Mat4x4f::orthographicOpenGL(-14, 14, -14, 14, 1, 60)));
  sun_->setDiffuseColor({1.6f, 1.5f, 1.3f, 1});
  sun_->setSpecularColor({1, 1, 1, 1});
  ka::Color4f const lampColours[] = {{3, 0.6f, 0.3f, 1}, {0.4f, 1.2f, 3, 1}, {0.5f, 2.5f, 0.6f, 1}};
  for (ka::Color4f const& colour : lampColours) {
    ka::Ref<ren::LightInstance> lamp = environment_->addLight();
    lamp->setDiffuseColor(colour);
    lamp->setSpecularColor(colour);
    lamp->setRadius(4.5f);
    lamps_.push_back(lamp);
  }
  setTime(0);

  viewport_ = renderer.createSceneViewport({0, 0, width, height}, scene_);
  sky_ = makeSkyTexture(renderer);
  viewport_->setSkyboxBackground(sky_, ka::Quatf::identity());
  chain_ = renderer.createRenderChain(viewport_, 1.0f, true, nullptr);
  resize(width, height);
  setCamera(0.6f, 0.3f, 12);
  renderer.addViewport(viewport_);
}

Material ReferenceScene::litMaterial(ka::Color4f const& albedo, float specular, ka::Color4f const& emissive) {
  Material material(library_, "lit_solid");
  material.setVec("Color", {albedo.r, albedo.g, albedo.b, 1});
  material.setVec("Specular", {specular, 0, 0, 0});
  material.setVec("Emissive", {emissive.r, emissive.g, emissive.b, 0});
  return material;
}

void ReferenceScene::addLitMesh(ka::Ref<Mesh> const& mesh, ka::Mat4x4f const& transform) {
  scene_->addMesh(mesh, environment_, transform, ren::TK_World);
}

void ReferenceScene::setCamera(float yaw, float pitch, float distance) {
  ka::Vec3<float> target{0, 0.8f, 0};
  ka::Vec3<float> eye = target + ka::Vec3<float>{std::sin(yaw) * std::cos(pitch), std::sin(pitch),
                                                 std::cos(yaw) * std::cos(pitch)} *
                                     distance;
  viewport_->setViewMatrix(ka::Mat4x4f::lookAt(target, eye, {0, 1, 0}));
}

void ReferenceScene::resize(int width, int height) {
  width_ = width;
  height_ = height;
  viewport_->setRect({0, 0, width, height});
  float h = 2 * kNear * std::tan(kFieldOfView / 2);
  viewport_->setProjectionMatrix(ka::Mat4x4f::perspectiveOpenGL(h * float(width) / float(height), h, kNear, kFar));
}

void ReferenceScene::adaptBySceneTime() {
  static_cast<RasRenRenderChain&>(*chain_).setClock([this] { return float(time_ * 1000); });
}

void ReferenceScene::setTime(double seconds) {
  time_ = seconds;
  scene_->setTime(seconds);
  for (size_t i = 0; i < lamps_.size(); ++i) {
    double angle = seconds * 0.5 + double(i) * 2.0944;  // a third of a turn apart
    lamps_[i]->setPosition({float(4 * std::cos(angle)), 0.8f, float(4 * std::sin(angle))});
  }
}

}  // namespace vorn
