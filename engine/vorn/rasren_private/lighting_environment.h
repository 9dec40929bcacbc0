// A scene's lights, fogs and ambient light, which the meshes that name it receive. The lighting
// engine draws each light as a volume that reads the G-buffer and adds into the scene colour.
#pragma once

#include <string>
#include <vector>

#include "ka/color.h"
#include "ka/vecmath.h"
#include "light_layer.h"
#include "shadow_map.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRenEffect;
class RasRenLightInstance;
class RasRenFogInstance;
class RasRenScene;
class RasRenSceneViewport;
class RasRenShadowMap;

enum LightShape : int {
  LS_None = 0,
  LS_Directional = 1,
  LS_Point = 2,
  LS_Box = 3,
  LS_ProjectiveBox = 4,
  LS_Capsule = 5,
};

// A light's settings; the environment holds its instance until it is removed.
struct LightState {
  ka::Ref<RasRenLightInstance> instance;
  int shape = LS_None;
  ka::Color4f diffuse{1, 1, 1, 1};
  ka::Color4f specular{0, 0, 0, 1};
  ka::Vec3<float> direction{0, 0, -1};
  ka::Vec3<float> position{0, 0, 0};
  float radius = 1;
  ka::Vec3<float> sweepAxis{0, 0, 0};
  ka::Mat4x4f transform = ka::Mat4x4f::identity();
  // World to the shadow map's clip cube.
  ka::Mat4x4f shadowTransform = ka::Mat4x4f::identity();
  ka::Ref<RasRenShadowMap> shadowMap;
  ka::Ref<Texture const> gobo;
  // Index into the environment's layers; 0 is the default layer.
  size_t layer = 0;
  bool enabled = true;
  bool debug = false;
};

struct FogState {
  ka::Ref<RasRenFogInstance> instance;
  ka::Color4f colour{1, 1, 1, 1};
  float density = 0;
  ka::Vec3<float> position{0, 0, 0};
  float radius = 0;
  bool enabled = true;
};

// A layer's place among the environment's: the default one has no binder.
struct LightLayerState {
  ka::Ref<RasRenLightLayerBinder> binder;
  bool enabled = true;
  float order = 0;
  bool removed = false;
};

class RasRenLightingEnvironment : public ren::LightingEnvironment {
 public:
  explicit RasRenLightingEnvironment(RasRenScene* scene);
  ~RasRenLightingEnvironment() override;

  ka::Ref<Texture> createAmbientLookup(ka::Color4f const* four) override;
  ka::Ref<ren::ShadowMap> createShadowMap(int depthBits, int width, int height) override;
  ka::Ref<ren::LightDistanceField> createDistanceField(std::string const& name) override;
  void setAmbient(ka::Vec3<float> const& direction, ka::Vec3<float> const& centre,
                  ka::RefNoCount<Texture const> lookup) override;
  void clear() override;
  ka::Ref<ren::LightInstance> addLight() override;
  ka::Ref<ren::FogInstance> addFog() override;
  void setPrimaryLight(ka::RefNoCount<ren::LightInstance> light) override;
  void setPrimaryFog(ka::RefNoCount<ren::FogInstance> fog) override;

  // The light technique of the effect "light" for a light as it stands.
  static std::string getTechnique(LightState const& light);

  LightState& light(size_t index) { return lights_[index]; }
  FogState& fog(size_t index) { return fogs_[index]; }
  std::vector<LightState> const& lights() const { return lights_; }
  std::vector<FogState> const& fogs() const { return fogs_; }
  void removeLight(size_t index);
  void removeFog(size_t index);
  void setLightShadowMap(size_t index, RasRenShadowMap* map);
  // A layer of this environment, or null for the default one; another environment's ends the process.
  void setLightLayer(size_t index, RasRenLightLayerBinder* layer);
  // A new layer at its binder's default order.
  void addLayer(RasRenLightLayerBinder* binder);
  // Its lights go back to the default layer.
  void removeLayer(size_t layer);
  void setLayerEnabled(size_t layer, bool enabled);
  void setLayerOrder(size_t layer, float order);
  std::vector<LightLayerState> const& layers() const { return layers_; }
  // The map is going.
  void removeShadowMap(RasRenShadowMap* map);
  RasRenScene* scene() const { return scene_; }

  // The frame's steps, as the lighting engine runs them.
  void beginViewport(RasRenSceneViewport& viewport);
  // Every light, layer by layer, and then every fog, drawn into the scene colour.
  void applyLighting(RasRenSceneViewport& viewport);
  void endViewport();
  // "g_LightAmbientDir", "g_LightAmbientCenter" and "g_LightAmbientLookup" on the effect's
  // current technique, in view or world space.
  void applyAmbient(RasRenEffect& effect, bool useViewSpace);
  // For effects that cannot read the G-buffer: the ambient light and the primary light.
  void applyTransparent(RasRenEffect& effect);

  // The scene is gone.
  void orphan() { scene_ = nullptr; }

 private:
  // Where the light's volume mesh goes: the icosahedron or the cube moved over what it lights.
  static ka::Mat4x4f volumeTransform(LightState const& light);
  void applyLight(RasRenEffect& effect, LightState const& light, RasRenSceneViewport& viewport);
  void applyFog(RasRenEffect& effect, FogState const& fog, RasRenSceneViewport& viewport);
  // "light_shadow", its region and matrix for a light with a map; the defaults, which leave
  // everything lit, for one without.
  void applyShadowParams(RasRenEffect& effect, LightState const& light, RasRenSceneViewport& viewport);
  void sortLayers();
  // One light with `effect` (the layer's, or "light"), its shadow map brought up to date first.
  void drawLight(RasRenEffect& effect, LightState const& light, RasRenLightLayerBinder* binder,
                 RasRenSceneViewport& viewport);

  RasRenScene* scene_;
  ka::Vec3<float> ambientDirection_{0, 0, 1}, ambientCentre_{0, 0, 0};
  ka::Vec3<float> viewAmbientDirection_{0, 0, 1}, viewAmbientCentre_{0, 0, 0};
  ka::Ref<Texture const> ambientLookup_;
  std::vector<LightState> lights_;
  std::vector<FogState> fogs_;
  std::vector<RasRenShadowMap*> shadowMaps_;
  std::vector<LightLayerState> layers_{LightLayerState{}};
  // Layer indices by ascending order; remade when an order changes.
  std::vector<size_t> sortedLayers_{0};
  bool layersDirty_ = false;
  RasRenLightInstance* primaryLight_ = nullptr;
  RasRenFogInstance* primaryFog_ = nullptr;
};

// A light's or a fog's place in its environment, through which their setters reach their state.
class RasRenEnvironmentEntry {
 public:
  RasRenEnvironmentEntry(RasRenLightingEnvironment* environment, size_t index)
      : environment_(environment), index_(index) {}
  void setIndex(size_t index) { index_ = index; }
  size_t index() const { return index_; }
  // The environment let it go: setters do nothing.
  void orphan() { environment_ = nullptr; }
  RasRenLightingEnvironment* environment() const { return environment_; }

 protected:
  RasRenLightingEnvironment* environment_;
  size_t index_;
};

class RasRenLightInstance : public ren::LightInstance, public RasRenEnvironmentEntry {
 public:
  using RasRenEnvironmentEntry::RasRenEnvironmentEntry;

  void remove() override;
  void setEnabled(bool enabled) override;
  void setDiffuseColor(ka::Color4f const& colour) override;
  void setSpecularColor(ka::Color4f const& colour) override;
  void setDirection(ka::Vec3<float> const& direction) override;
  void setPosition(ka::Vec3<float> const& position) override;
  void setTransform(ka::Mat4x4f const& transform) override;
  void setTransform(ka::Mat4x4f const& transform, ka::Mat4x4f const& shadowTransform) override;
  void setShadowTransform(ka::Mat4x4f const& shadowTransform) override;
  void setShadowMap(ka::RefNoCount<ren::ShadowMap> map) override;
  void setLayer(ka::RefNoCount<ren::LightLayer> layer) override;
  void setSweepAxis(ka::Vec3<float> const& axis) override;
  void setRadius(float radius) override;
  void setGobo(ka::RefNoCount<Texture const> gobo) override;
  void setDebug(bool debug) override;

 private:
  template <class Change>
  void change(Change const& apply) {
    if (environment_) apply(environment_->light(index_));
  }
};

class RasRenFogInstance : public ren::FogInstance, public RasRenEnvironmentEntry {
 public:
  using RasRenEnvironmentEntry::RasRenEnvironmentEntry;

  void remove() override;
  void setEnabled(bool enabled) override;
  void setDensity(float density) override;
  void setColor(ka::Color4f const& colour) override;
  void setPosition(ka::Vec3<float> const& position) override;
  void setRadius(float radius) override;

 private:
  template <class Change>
  void change(Change const& apply) {
    if (environment_) apply(environment_->fog(index_));
  }
};

}  // namespace vorn
