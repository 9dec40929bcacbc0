#include "lighting_environment.h"

#include <algorithm>
#include <cmath>

#include "effect.h"
#include "ka/die.h"
#include "light_distance_field.h"
#include "lighting_engine.h"
#include "scene.h"
#include "scene_viewport.h"
#include "shadow_map.h"
#include "vorn/rasren.h"

namespace vorn {
namespace {

// Divided by the length plus the smallest normal float, so that a zero vector stays finite.
ka::Vec3<float> safeNormalize(ka::Vec3<float> const& v) { return v * (1.0f / (ka::length(v) + 1.1754944e-38f)); }

bool isAffine(ka::Mat4x4f const& m) { return m.m[0][3] == 0 && m.m[1][3] == 0 && m.m[2][3] == 0 && m.m[3][3] == 1; }

}  // namespace

RasRenLightingEnvironment::RasRenLightingEnvironment(RasRenScene* scene) : scene_(scene) {}

RasRenLightingEnvironment::~RasRenLightingEnvironment() {
  if (scene_) scene_->removeLightingEnvironment(this);
  clear();
  for (RasRenShadowMap* map : shadowMaps_) map->orphan();
  for (LightLayerState& layer : layers_)
    if (layer.binder) layer.binder->orphan();
}

ka::Ref<ren::LightDistanceField> RasRenLightingEnvironment::createDistanceField(std::string const& name) {
  RasRen* renderer = scene_ ? scene_->rasRen() : nullptr;
  return ka::Ref<ren::LightDistanceField>(new RasRenLightDistanceField(this, renderer, name));
}

void RasRenLightingEnvironment::addLayer(RasRenLightLayerBinder* binder) {
  binder->setIndex(layers_.size());
  layers_.push_back({binder, true, binder->getDefaultOrder(), false});
  layersDirty_ = true;
}

void RasRenLightingEnvironment::removeLayer(size_t layer) {
  if (layer == 0 || layer >= layers_.size() || layers_[layer].removed) return;
  // The entry stays, so that other layers keep their indices.
  layers_[layer].removed = true;
  layers_[layer].binder->orphan();
  layers_[layer].binder = nullptr;
  for (LightState& light : lights_)
    if (light.layer == layer) light.layer = 0;
  layersDirty_ = true;
}

void RasRenLightingEnvironment::setLayerEnabled(size_t layer, bool enabled) {
  if (layer < layers_.size()) layers_[layer].enabled = enabled;
}

void RasRenLightingEnvironment::setLayerOrder(size_t layer, float order) {
  if (layer >= layers_.size()) return;
  layers_[layer].order = order;
  layersDirty_ = true;
}

void RasRenLightingEnvironment::sortLayers() {
  sortedLayers_.clear();
  for (size_t i = 0; i < layers_.size(); ++i)
    if (!layers_[i].removed) sortedLayers_.push_back(i);
  std::stable_sort(sortedLayers_.begin(), sortedLayers_.end(),
                   [this](size_t a, size_t b) { return layers_[a].order < layers_[b].order; });
  layersDirty_ = false;
}

void RasRenLightingEnvironment::setLightLayer(size_t index, RasRenLightLayerBinder* layer) {
  if (layer && layer->environment() != this) ka::die("Invalid light layer provided.  (Wrong environment?)");
  lights_[index].layer = layer ? layer->index() : 0;
}

ka::Ref<ren::ShadowMap> RasRenLightingEnvironment::createShadowMap(int depthBits, int width, int height) {
  TextureFormat format = depthBits == 16   ? TF_Shadow16
                         : depthBits == 24 ? TF_Shadow24
                         : depthBits == 32 ? TF_Shadow32
                                           : TF_Invalid;
  if (format == TF_Invalid) ka::die("Unsupported shadow map depth specified");
  RasRen* renderer = scene_ ? scene_->rasRen() : nullptr;
  if (!renderer) return nullptr;
  auto* map = new RasRenShadowMap(this, renderer, format, width, height);
  shadowMaps_.push_back(map);
  return ka::Ref<ren::ShadowMap>(map);
}

void RasRenLightingEnvironment::removeShadowMap(RasRenShadowMap* map) {
  shadowMaps_.erase(std::remove(shadowMaps_.begin(), shadowMaps_.end(), map), shadowMaps_.end());
}

void RasRenLightingEnvironment::setLightShadowMap(size_t index, RasRenShadowMap* map) {
  if (map && map->environment() != this) ka::die("Attempted assignment of shadow map across lighting environments");
  LightState& light = lights_[index];
  if (light.shadowMap) light.shadowMap->unbind();
  light.shadowMap = map;
  if (map) map->bind();
}

ka::Ref<Texture> RasRenLightingEnvironment::createAmbientLookup(ka::Color4f const* four) {
  RasRen* renderer = scene_ ? scene_->rasRen() : nullptr;
  if (!renderer) return nullptr;
  return renderer->lightingEngine().createAmbientLookup(four);
}

void RasRenLightingEnvironment::setAmbient(ka::Vec3<float> const& direction, ka::Vec3<float> const& centre,
                                           ka::RefNoCount<Texture const> lookup) {
  ambientDirection_ = direction;
  ambientCentre_ = centre;
  RasRen* renderer = scene_ ? scene_->rasRen() : nullptr;
  ambientLookup_ = renderer ? renderer->getRasterizerTexture(lookup) : lookup.ref();
}

void RasRenLightingEnvironment::clear() {
  for (LightState& light : lights_) {
    light.instance->orphan();
    if (light.shadowMap) light.shadowMap->unbind();
  }
  for (FogState& fog : fogs_) fog.instance->orphan();
  lights_.clear();
  fogs_.clear();
  primaryLight_ = nullptr;
  primaryFog_ = nullptr;
}

ka::Ref<ren::LightInstance> RasRenLightingEnvironment::addLight() {
  LightState state;
  state.instance = new RasRenLightInstance(this, lights_.size());
  lights_.push_back(state);
  return state.instance;
}

ka::Ref<ren::FogInstance> RasRenLightingEnvironment::addFog() {
  FogState state;
  state.instance = new RasRenFogInstance(this, fogs_.size());
  fogs_.push_back(state);
  return state.instance;
}

void RasRenLightingEnvironment::setPrimaryLight(ka::RefNoCount<ren::LightInstance> light) {
  auto* own = static_cast<RasRenLightInstance*>(light.get());
  primaryLight_ = own && own->environment() == this ? own : nullptr;
}

void RasRenLightingEnvironment::setPrimaryFog(ka::RefNoCount<ren::FogInstance> fog) {
  auto* own = static_cast<RasRenFogInstance*>(fog.get());
  primaryFog_ = own && own->environment() == this ? own : nullptr;
}

// The last entry takes the removed one's place, and learns its new index.
void RasRenLightingEnvironment::removeLight(size_t index) {
  if (lights_[index].instance.get() == primaryLight_) primaryLight_ = nullptr;
  if (lights_[index].shadowMap) lights_[index].shadowMap->unbind();
  lights_[index].instance->orphan();
  if (index + 1 != lights_.size()) {
    lights_[index] = std::move(lights_.back());
    lights_[index].instance->setIndex(index);
  }
  lights_.pop_back();
}

void RasRenLightingEnvironment::removeFog(size_t index) {
  if (fogs_[index].instance.get() == primaryFog_) primaryFog_ = nullptr;
  fogs_[index].instance->orphan();
  if (index + 1 != fogs_.size()) {
    fogs_[index] = std::move(fogs_.back());
    fogs_[index].instance->setIndex(index);
  }
  fogs_.pop_back();
}

std::string RasRenLightingEnvironment::getTechnique(LightState const& light) {
  bool blackSpecular = light.specular.r == 0 && light.specular.g == 0 && light.specular.b == 0;
  switch (light.shape) {
    case LS_Directional:
      return "Directional";
    case LS_Point:
      if (light.debug) return "Point_Debug";
      return blackSpecular ? "Point_Fast" : "Point";
    case LS_Box:
    case LS_ProjectiveBox:
      if (light.debug) return "Box_Debug";
      if (light.gobo && blackSpecular) return light.shadowMap ? "Box_Gobo_Shadow_Fast" : "Box_Gobo_Fast";
      return light.shadowMap ? "Box" : "Box_NoShadow";
    case LS_Capsule:
      return light.debug ? "Capsule_Debug" : "Capsule";
    default:
      return "Light shape not supported yet";
  }
}

void RasRenLightingEnvironment::beginViewport(RasRenSceneViewport& viewport) {
  ka::Mat4x4f const& view = viewport.viewMatrix();
  viewAmbientDirection_ = safeNormalize(ka::transformDirection(ambientDirection_, view));
  viewAmbientCentre_ = ka::transformPoint(ambientCentre_, view);
  if (layersDirty_) sortLayers();
  for (size_t layer : sortedLayers_)
    if (layers_[layer].binder) layers_[layer].binder->beginViewport(viewport);
}

void RasRenLightingEnvironment::endViewport() {
  for (size_t layer : sortedLayers_)
    if (layers_[layer].binder) layers_[layer].binder->endViewport();
}

void RasRenLightingEnvironment::applyAmbient(RasRenEffect& effect, bool useViewSpace) {
  RasRenTechnique* technique = effect.currentTechnique();
  RasRen* renderer = scene_ ? scene_->rasRen() : nullptr;
  if (!technique || !technique->program() || !renderer) return;
  RasRenLightingEngine& engine = renderer->lightingEngine();
  ka::Vec3<float> direction = useViewSpace ? viewAmbientDirection_ : safeNormalize(ambientDirection_);
  ka::Vec3<float> centre = useViewSpace ? viewAmbientCentre_ : ambientCentre_;
  ras::HalParameterBlock* parameters = technique->program()->parameterBlock();
  parameters->setVector(engine.slot(RasRenLightingEngine::SLOT_g_LightAmbientDir),
                        {direction.x, direction.y, direction.z, 1});
  parameters->setVector(engine.slot(RasRenLightingEngine::SLOT_g_LightAmbientCenter), {centre.x, centre.y, centre.z, 1});
  technique->program()->textureBlock()->setTexture(engine.slot(RasRenLightingEngine::SLOT_g_LightAmbientLookup),
                                                   ambientLookup_ ? ambientLookup_ : engine.defaultAmbientLookup());
}

void RasRenLightingEnvironment::applyTransparent(RasRenEffect& effect) {
  applyAmbient(effect, true);
  RasRenSceneViewport* viewport = scene_ && scene_->rasRen() ? scene_->rasRen()->lightingEngine().viewport() : nullptr;
  if (!viewport) return;
  RasRenLightingEngine& engine = viewport->renderer()->lightingEngine();
  if (primaryLight_) {
    applyLight(effect, lights_[primaryLight_->index()], *viewport);
  } else {
    engine.resetLight(effect);
  }
  if (primaryFog_) {
    applyFog(effect, fogs_[primaryFog_->index()], *viewport);
  } else {
    engine.resetFog(effect);
  }
}

void RasRenLightingEnvironment::applyLight(RasRenEffect& effect, LightState const& light,
                                           RasRenSceneViewport& viewport) {
  RasRenTechnique* technique = effect.currentTechnique();
  RasRenLightingEngine& engine = viewport.renderer()->lightingEngine();
  if (!technique || !technique->program()) return;
  ras::HalParameterBlock* parameters = technique->program()->parameterBlock();
  auto slot = [&](RasRenLightingEngine::Slot s) { return engine.slot(s); };
  ka::Mat4x4f const& view = viewport.viewMatrix();
  parameters->setVector(slot(RasRenLightingEngine::SLOT_light_diffuse),
                        {light.diffuse.r, light.diffuse.g, light.diffuse.b, light.diffuse.a});
  parameters->setVector(slot(RasRenLightingEngine::SLOT_light_specular_color),
                        {light.specular.r, light.specular.g, light.specular.b, light.specular.a});
  technique->program()->textureBlock()->setTexture(
      slot(RasRenLightingEngine::SLOT_light_gobo),
      light.gobo ? viewport.renderer()->getRasterizerTexture(light.gobo) : engine.defaultGobo());
  applyShadowParams(effect, light, viewport);
  ka::Vec3<float> direction = safeNormalize(ka::transformDirection(light.direction, view));
  switch (light.shape) {
    case LS_Directional:
      parameters->setVector(slot(RasRenLightingEngine::SLOT_light_dir), {direction.x, direction.y, direction.z, 0});
      break;
    case LS_Point:
    case LS_Capsule: {
      ka::Vec3<float> centre = ka::transformPoint(light.position, view);
      ka::Vec3<float> sweep = ka::transformDirection(light.sweepAxis, view);
      parameters->setVector(slot(RasRenLightingEngine::SLOT_light_center_radius),
                            {centre.x, centre.y, centre.z, light.radius});
      parameters->setVector(slot(RasRenLightingEngine::SLOT_light_sweep_axis), {sweep.x, sweep.y, sweep.z, 0});
      break;
    }
    case LS_Box:
    case LS_ProjectiveBox:
      // View space to the light's own: back to the world, then through the light's matrix.
      parameters->setMatrix(slot(RasRenLightingEngine::SLOT_light_transform),
                            ka::mul(view.inverse3x4(), light.transform));
      parameters->setVector(slot(RasRenLightingEngine::SLOT_light_dir), {direction.x, direction.y, direction.z, 0});
      break;
    default:
      ka::die("Light shape not implemented");
  }
}

void RasRenLightingEnvironment::applyShadowParams(RasRenEffect& effect, LightState const& light,
                                                  RasRenSceneViewport& viewport) {
  RasRenLightingEngine& engine = viewport.renderer()->lightingEngine();
  ka::Ref<Texture> map = light.shadowMap ? light.shadowMap->getTexture() : nullptr;
  if (!map) {
    engine.resetShadowParams(effect);
    return;
  }
  RasRenTechnique* technique = effect.currentTechnique();
  ras::HalParameterBlock* parameters = technique->program()->parameterBlock();
  technique->program()->textureBlock()->setTexture(engine.slot(RasRenLightingEngine::SLOT_light_shadow), map);
  // The whole map: its region in a shared atlas would go here.
  parameters->setVector(engine.slot(RasRenLightingEngine::SLOT_light_shadow_region), {1, 1, 0, 0});
  // View space to the shadow map's clip cube.
  parameters->setMatrix(engine.shadowMatrixSlot(), ka::mul(viewport.viewMatrix().inverse3x4(), light.shadowTransform));
}

void RasRenLightingEnvironment::applyFog(RasRenEffect& effect, FogState const& fog, RasRenSceneViewport& viewport) {
  RasRenTechnique* technique = effect.currentTechnique();
  if (!technique || !technique->program()) return;
  RasRenLightingEngine& engine = viewport.renderer()->lightingEngine();
  ras::HalParameterBlock* parameters = technique->program()->parameterBlock();
  ka::Vec3<float> centre = ka::transformPoint(fog.position, viewport.viewMatrix());
  parameters->setVector(engine.slot(RasRenLightingEngine::SLOT_light_fog_color),
                        {fog.colour.r, fog.colour.g, fog.colour.b, fog.colour.a});
  parameters->setVector(engine.slot(RasRenLightingEngine::SLOT_light_fog_density), {fog.density, 0, 0, 0});
  parameters->setVector(engine.slot(RasRenLightingEngine::SLOT_light_fog_center_radius),
                        {centre.x, centre.y, centre.z, fog.radius});
}

void RasRenLightingEnvironment::applyLighting(RasRenSceneViewport& viewport) {
  if (lights_.empty() && fogs_.empty() && layers_.size() == 1) return;
  RasRenLightingEngine& engine = viewport.renderer()->lightingEngine();
  ka::Ref<RasRenEffect> lightEffect = engine.lightEffect();
  if (layersDirty_) sortLayers();
  for (size_t layer : sortedLayers_) {
    LightLayerState const& state = layers_[layer];
    if (!state.enabled) continue;
    RasRenLightLayerBinder* binder = state.binder.get();
    RasRenEffect* effect = binder ? binder->beginLayer(viewport) : lightEffect.get();
    for (LightState const& light : lights_) {
      if (light.layer != layer || !light.enabled || light.shape == LS_None || !effect) continue;
      drawLight(*effect, light, binder, viewport);
    }
    if (binder) binder->endLayer();
  }
  if (!lightEffect || !lightEffect->hasTechnique("Fog")) return;
  for (FogState const& fog : fogs_) {
    if (!fog.enabled || fog.radius <= 0) continue;
    lightEffect->selectTechnique("Fog");
    engine.bindGBufferForRead(*lightEffect);
    applyFog(*lightEffect, fog, viewport);
    engine.drawVolume(viewport, *lightEffect, "Fog",
                      ka::Mat4x4f::scaleTranslation({fog.radius, fog.radius, fog.radius}, fog.position), LS_Point);
  }
}

void RasRenLightingEnvironment::drawLight(RasRenEffect& effect, LightState const& light,
                                          RasRenLightLayerBinder* binder, RasRenSceneViewport& viewport) {
  RasRenLightingEngine& engine = viewport.renderer()->lightingEngine();
  if (light.shadowMap) {
    light.shadowMap->updateTransform(light.shadowTransform);
    if (light.shadowMap->hasFeedbackTarget())
      engine.getShadowMapFeedbackRegion(*light.shadowMap, viewport, light.shadowTransform);
    light.shadowMap->update();
  }
  std::string technique = getTechnique(light);
  if (binder) {
    if (!binder->beginLight(technique)) return;
  } else {
    if (!effect.hasTechnique(technique)) ka::die("lighting effect not available");
    effect.selectTechnique(technique);
  }
  engine.bindGBufferForRead(effect);
  applyLight(effect, light, viewport);
  if (light.shape == LS_Directional) {
    viewport.renderPostQuad(effect, 1.0f);
  } else {
    engine.drawVolume(viewport, effect, technique, volumeTransform(light), light.shape);
  }
  if (binder) binder->endLight();
}

ka::Mat4x4f RasRenLightingEnvironment::volumeTransform(LightState const& light) {
  switch (light.shape) {
    case LS_Point:
      return ka::Mat4x4f::scaleTranslation({light.radius, light.radius, light.radius}, light.position);
    case LS_Capsule:
      // The segment's start; the vertex shader carries the far faces along the sweep axis.
      return ka::Mat4x4f::scaleTranslation({light.radius, light.radius, light.radius}, light.position);
    default: {
      // The light's matrix takes the world into the cube; its inverse takes the cube out. Where
      // that turns the cube inside out (a perspective's inverse does), a mirror of the cube turns it
      // back, so that culling front faces still leaves the far side.
      ka::Mat4x4f volume = light.transform.inverse();
      if (volume.determinant() < 0) volume = ka::mul(ka::Mat4x4f::scaleTranslation({1, 1, -1}, {0, 0, 0}), volume);
      return volume;
    }
  }
}

void RasRenLightLayerBinder::remove() {
  if (environment_) environment_->removeLayer(index_);
}

void RasRenLightLayerBinder::setEnabled(bool enabled) {
  if (environment_) environment_->setLayerEnabled(index_, enabled);
}

void RasRenLightLayerBinder::setOrder(float order) {
  if (environment_) environment_->setLayerOrder(index_, order);
}

void RasRenLightInstance::remove() {
  if (environment_) environment_->removeLight(index_);
}

void RasRenLightInstance::setEnabled(bool enabled) {
  change([&](LightState& light) { light.enabled = enabled; });
}

void RasRenLightInstance::setDiffuseColor(ka::Color4f const& colour) {
  change([&](LightState& light) { light.diffuse = colour; });
}

void RasRenLightInstance::setSpecularColor(ka::Color4f const& colour) {
  change([&](LightState& light) { light.specular = colour; });
}

void RasRenLightInstance::setDirection(ka::Vec3<float> const& direction) {
  change([&](LightState& light) {
    light.direction = direction;
    light.shape = LS_Directional;
  });
}

void RasRenLightInstance::setPosition(ka::Vec3<float> const& position) {
  change([&](LightState& light) {
    light.position = position;
    if (light.shape != LS_Capsule) light.shape = LS_Point;
  });
}

void RasRenLightInstance::setTransform(ka::Mat4x4f const& transform) { setTransform(transform, transform); }

void RasRenLightInstance::setTransform(ka::Mat4x4f const& transform, ka::Mat4x4f const& shadowTransform) {
  change([&](LightState& light) {
    light.transform = transform;
    light.shadowTransform = shadowTransform;
    light.shape = isAffine(transform) ? LS_Box : LS_ProjectiveBox;
  });
}

void RasRenLightInstance::setShadowTransform(ka::Mat4x4f const& shadowTransform) {
  change([&](LightState& light) { light.shadowTransform = shadowTransform; });
}

void RasRenLightInstance::setShadowMap(ka::RefNoCount<ren::ShadowMap> map) {
  if (environment_) environment_->setLightShadowMap(index_, static_cast<RasRenShadowMap*>(map.get()));
}

void RasRenLightInstance::setLayer(ka::RefNoCount<ren::LightLayer> layer) {
  if (!environment_) return;
  RasRenLightLayerBinder* binder = nullptr;
  if (auto* field = dynamic_cast<RasRenLightDistanceField*>(layer.get())) binder = field->binder();
  else if (layer) ka::die("Invalid light layer provided.  (Wrong environment?)");
  environment_->setLightLayer(index_, binder);
}

void RasRenLightInstance::setSweepAxis(ka::Vec3<float> const& axis) {
  change([&](LightState& light) {
    light.sweepAxis = axis;
    light.shape = ka::lengthSquared(axis) > 0 ? LS_Capsule : LS_Point;
  });
}

void RasRenLightInstance::setRadius(float radius) {
  change([&](LightState& light) {
    light.radius = radius;
    if (light.shape != LS_Capsule) light.shape = LS_Point;
  });
}

void RasRenLightInstance::setGobo(ka::RefNoCount<Texture const> gobo) {
  change([&](LightState& light) { light.gobo = gobo.ref(); });
}

void RasRenLightInstance::setDebug(bool debug) {
  change([&](LightState& light) { light.debug = debug; });
}

void RasRenFogInstance::remove() {
  if (environment_) environment_->removeFog(index_);
}

void RasRenFogInstance::setEnabled(bool enabled) {
  change([&](FogState& fog) { fog.enabled = enabled; });
}

void RasRenFogInstance::setDensity(float density) {
  change([&](FogState& fog) { fog.density = density; });
}

void RasRenFogInstance::setColor(ka::Color4f const& colour) {
  change([&](FogState& fog) { fog.colour = colour; });
}

void RasRenFogInstance::setPosition(ka::Vec3<float> const& position) {
  change([&](FogState& fog) { fog.position = position; });
}

void RasRenFogInstance::setRadius(float radius) {
  change([&](FogState& fog) { fog.radius = radius; });
}

}  // namespace vorn
