#include "lighting_engine.h"

#include <algorithm>

#include "effect.h"
#include "lighting_environment.h"
#include "render_chain.h"
#include "scene_viewport.h"
#include "shadow_map.h"
#include "ka/die.h"
#include "vorn/rasren.h"
#include "vorn/shapes.h"

namespace vorn {
namespace {

char const* const kSlotNames[] = {
    "light_shadow_region", "light_shadow",      "light_shadowmap_reduce", "GBufferMaterial",
    "GBufferDepth",        "GBufferNormal",     "GBufferDepth_range",     "g_LightAmbientDir",
    "g_LightAmbientCenter", "g_LightAmbientLookup", "light_diffuse",      "light_specular_color",
    "light_gobo",          "light_dir",         "light_transform",        "light_center_radius",
    "light_sweep_axis",    "light_fog_color",   "light_fog_density",      "light_fog_center_radius"};

ka::Ref<Texture> onePixel(RasRen* renderer, uint32_t texel) {
  ka::Ref<Texture> texture =
      renderer->rasterizer()->getTextureFactory()->createTexture(TF_A8R8G8B8, 1, 1, 1, TextureFilter(0), false, 0);
  texture->setBits(0, &texel, 0, CUBE_PositiveX);
  return texture;
}

}  // namespace

RasRenLightingEngine::RasRenLightingEngine(RasRen* renderer) : renderer_(renderer) {
  MaterialBindingTable* table = renderer->rasterizer()->getBindingTable();
  for (int s = 0; s < SLOT_Count; ++s) slots_[s] = int(table->getSlot(kSlotNames[s]));
  viewRectSlot_ = int(table->getSlot("light_view_rect"));
  inverseProjectionSlot_ = int(table->getSlot("light_inverse_projection"));
  shadowMatrixSlot_ = int(table->getSlot("light_shadow_transform"));
  Material light(materialLibrary_.get(), "light");
  sphere_ = makeIcosahedron(renderer, light, kVolumeRadius, 1);
  capsule_ = makeExtrudableIcosahedron(renderer, light, kVolumeRadius, 1);
  box_ = makeOpenGLFrustumBox(renderer, light);
}

RasRenLightingEngine::~RasRenLightingEngine() = default;

std::string_view RasRenLightingEngine::getPrelightTechnique(int visualization) {
  switch (visualization) {
    case 1:
      return "PrelightWireframe";
    case 2:
      return "PrelightVizMip";
    case 3:
      return "PrelightVizPage";
    default:
      return "Prelight";
  }
}

ka::Ref<Texture> RasRenLightingEngine::createAmbientLookup(ka::Color4f const* four) {
  ka::Ref<Texture> texture =
      renderer_->rasterizer()->getTextureFactory()->createTexture(TF_RGBA32F, 2, 2, 1, TF_AllLinear, false, 0);
  texture->setBits(0, four, 32, CUBE_PositiveX);
  return texture;
}

Texture const* RasRenLightingEngine::defaultAmbientLookup() {
  if (!defaultAmbientLookup_) {
    ka::Color4f const black[4] = {{0, 0, 0, 1}, {0, 0, 0, 1}, {0, 0, 0, 1}, {0, 0, 0, 1}};
    defaultAmbientLookup_ = createAmbientLookup(black);
  }
  return defaultAmbientLookup_.get();
}

Texture const* RasRenLightingEngine::defaultGobo() {
  if (!defaultGobo_) defaultGobo_ = onePixel(renderer_, 0xffffffffu);
  return defaultGobo_.get();
}

Texture const* RasRenLightingEngine::defaultShadowMap() {
  if (!defaultShadowMap_) {
    ras::Rasterizer* rasterizer = renderer_->rasterizer();
    defaultShadowMap_ = rasterizer->createRenderTarget(0, nullptr, nullptr, TF_Shadow16, 1, 1, 1, TF_AllLinear);
    ka::Ref<ras::RenderTarget> previous = rasterizer->setRenderTarget(defaultShadowMap_);
    rasterizer->clear(ras::CLEAR_Depth, {0, 0, 0, 0}, 1.0f, 0);
    rasterizer->setRenderTarget(previous);
  }
  return defaultShadowMap_->getDepthTexture().get();
}

ka::Ref<RasRenEffect> RasRenLightingEngine::lightEffect() { return renderer_->getRasRenEffect("light", false); }

void RasRenLightingEngine::beginViewport(RasRenSceneViewport& viewport) { viewport_ = &viewport; }

void RasRenLightingEngine::noteEnvironment(RasRenDrawCall const& call) {
  RasRenLightingEnvironment* environment = call.environment;
  if (!environment || !viewport_) return;
  if (seen_.insert(environment).second) {
    environments_.emplace_back(environment);
    environment->beginViewport(*viewport_);
  }
}

void RasRenLightingEngine::setDepthRange(RasRenEffect& effect) {
  RasRenTechnique* technique = effect.currentTechnique();
  if (!technique || !technique->program() || !viewport_) return;
  float near = viewport_->nearDistance(), far = viewport_->farDistance(), range = far - near;
  technique->program()->parameterBlock()->setVector(slots_[SLOT_GBufferDepth_range],
                                                    {near, range, 1.0f / range, near / range});
}

void RasRenLightingEngine::lightSolid(RasRenDrawCall const& call) {
  if (!call.environment) return;
  noteEnvironment(call);
  if (call.effect.get() == lastEffect_ && call.environment == lastEnvironment_) return;
  lastEffect_ = call.effect.get();
  lastEnvironment_ = call.environment;
  call.environment->applyAmbient(*call.effect, true);
  setDepthRange(*call.effect);
}

void RasRenLightingEngine::lightTransparent(RasRenDrawCall const& call) {
  noteEnvironment(call);
  if (call.effect.get() == lastEffect_ && call.environment == lastEnvironment_) return;
  lastEffect_ = call.effect.get();
  lastEnvironment_ = call.environment;
  if (call.environment) {
    call.environment->applyTransparent(*call.effect);
  } else if (call.effect->lit()) {
    // Lit, but by nothing: not by what the effect was last given for another mesh.
    resetTransparent(*call.effect);
  }
  setDepthRange(*call.effect);
}

namespace {

ras::HalParameterBlock* currentParameters(RasRenEffect& effect) {
  RasRenTechnique* technique = effect.currentTechnique();
  return technique && technique->program() ? technique->program()->parameterBlock() : nullptr;
}

}  // namespace

void RasRenLightingEngine::resetAmbient(RasRenEffect& effect) {
  ras::HalParameterBlock* parameters = currentParameters(effect);
  if (!parameters) return;
  parameters->setVector(slots_[SLOT_g_LightAmbientDir], {0, 0, 1, 1});
  parameters->setVector(slots_[SLOT_g_LightAmbientCenter], {0, 0, 0, 1});
  effect.currentTechnique()->program()->textureBlock()->setTexture(slots_[SLOT_g_LightAmbientLookup],
                                                                   defaultAmbientLookup());
}

void RasRenLightingEngine::resetLight(RasRenEffect& effect) {
  ras::HalParameterBlock* parameters = currentParameters(effect);
  if (!parameters) return;
  parameters->setVector(slots_[SLOT_light_diffuse], {0, 0, 0, 0});
  parameters->setVector(slots_[SLOT_light_specular_color], {0, 0, 0, 0});
  effect.currentTechnique()->program()->textureBlock()->setTexture(slots_[SLOT_light_gobo], defaultGobo());
  resetShadowParams(effect);
}

void RasRenLightingEngine::resetFog(RasRenEffect& effect) {
  ras::HalParameterBlock* parameters = currentParameters(effect);
  if (!parameters) return;
  parameters->setVector(slots_[SLOT_light_fog_density], {0, 0, 0, 0});
  parameters->setVector(slots_[SLOT_light_fog_color], {0, 0, 0, 0});
}

void RasRenLightingEngine::resetShadowParams(RasRenEffect& effect) {
  ras::HalParameterBlock* parameters = currentParameters(effect);
  if (!parameters) return;
  effect.currentTechnique()->program()->textureBlock()->setTexture(slots_[SLOT_light_shadow], defaultShadowMap());
  parameters->setVector(slots_[SLOT_light_shadow_region], {1, 1, 0, 0});
  // Every point to the map's centre at depth one half, which the default map (depth 1) leaves lit.
  ka::Mat4x4f toCentre;
  for (auto& row : toCentre.m)
    for (float& value : row) value = 0;
  toCentre.m[3][3] = 1;
  parameters->setMatrix(shadowMatrixSlot_, toCentre);
}

void RasRenLightingEngine::resetTransparent(RasRenEffect& effect) {
  resetAmbient(effect);
  resetLight(effect);
  resetFog(effect);
}

void RasRenLightingEngine::endSolid() {
  if (viewport_)
    for (auto const& environment : environments_) environment->applyLighting(*viewport_);
  lastEnvironment_ = nullptr;
  lastEffect_ = nullptr;
}

void RasRenLightingEngine::endViewport() {
  for (auto const& environment : environments_) environment->endViewport();
  seen_.clear();
  environments_.clear();
  lastEnvironment_ = nullptr;
  lastEffect_ = nullptr;
  viewport_ = nullptr;
}

void RasRenLightingEngine::bindGBufferForRead(RasRenEffect& effect) {
  RasRenRenderChain* chain = viewport_ ? viewport_->renderChain() : nullptr;
  if (!chain) return;
  chain->bindGBufferForRead(effect, slots_[SLOT_GBufferMaterial], slots_[SLOT_GBufferDepth], slots_[SLOT_GBufferNormal]);
  setDepthRange(effect);
  RasRenTechnique* technique = effect.currentTechnique();
  if (!technique || !technique->program()) return;
  ras::HalParameterBlock* parameters = technique->program()->parameterBlock();
  ka::Rect<int> rect = chain->scaledViewportRect();
  // Fragment coordinates count rows from the bottom.
  parameters->setVector(viewRectSlot_, {float(rect.left), float(chain->height() - rect.bottom),
                                        1.0f / float(std::max(rect.width(), 1)),
                                        1.0f / float(std::max(rect.height(), 1))});
  parameters->setMatrix(inverseProjectionSlot_, viewport_->projectionMatrix().inverse());
}

void RasRenLightingEngine::getShadowMapFeedbackRegion(RasRenShadowMap& map, RasRenSceneViewport& viewport,
                                                      ka::Mat4x4f const& shadowTransform) {
  RasRenRenderChain* chain = viewport.renderChain();
  ka::Ref<RasRenEffect> effect = lightEffect();
  if (!chain || !chain->gBuffer() || !map.feedbackTarget() || !effect || !effect->hasTechnique("ShadowMapFeedback"))
    return;
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  ka::Rect<int> rect = chain->scaledViewportRect();
  int width = (rect.width() + 3) / 4, height = (rect.height() + 3) / 4;
  if (feedbackReductions_.empty() || feedbackReductions_[0]->width() != width ||
      feedbackReductions_[0]->height() != height) {
    feedbackReductions_.clear();
    TextureFormat format = TF_RGBA32F;
    bool srgb = false;
    for (int w = width, h = height;; w = (w + 3) / 4, h = (h + 3) / 4) {
      feedbackReductions_.push_back(rasterizer->createRenderTarget(1, &format, &srgb, TF_D0, std::max(w, 1),
                                                                   std::max(h, 1), 1, TextureFilter(0)));
      if (w <= 1 && h <= 1) break;
    }
  }
  ka::Ref<ras::RenderTarget> previous = rasterizer->setRenderTarget(chain->gBuffer());
  constexpr ka::Vec4<float> kWhole{-1, -1, 2, 2};
  effect->selectTechnique("ShadowMapFeedback");
  bindGBufferForRead(*effect);
  effect->currentTechnique()->program()->parameterBlock()->setMatrix(
      shadowMatrixSlot_, ka::mul(viewport.viewMatrix().inverse3x4(), shadowTransform));
  chain->renderPostQuad(*effect, "ShadowMapFeedback", nullptr, feedbackReductions_[0], kWhole);
  if (!effect->hasTechnique("ShadowMapReduce")) ka::die("Failed selecting shadowmap downsample technique");
  for (size_t i = 1; i < feedbackReductions_.size(); ++i)
    chain->renderPostQuad(*effect, "ShadowMapReduce", feedbackReductions_[i - 1]->getTexture(0),
                          feedbackReductions_[i], kWhole);
  if (!effect->hasTechnique("ShadowMapFixup")) ka::die("Failed selecting shadowmap fixup technique");
  chain->renderPostQuad(*effect, "ShadowMapFixup", feedbackReductions_.back()->getTexture(0), map.feedbackTarget(),
                        kWhole);
  rasterizer->setRenderTarget(previous);
}

void RasRenLightingEngine::drawVolume(RasRenSceneViewport& viewport, RasRenEffect& effect, std::string_view technique,
                                      ka::Mat4x4f const& world, int shape) {
  Mesh* mesh = shape == LS_Box || shape == LS_ProjectiveBox ? box_.get()
               : shape == LS_Capsule                         ? capsule_.get()
                                                             : sphere_.get();
  MaterialGroup const& group = mesh->getMaterialGroups().front();
  RasRenDrawCall call;
  call.effect = &effect;
  call.worldMatrix = &world;
  call.vertexBuffer = mesh->getVertexBuffer().get();
  call.indexBuffer = mesh->getIndexBuffer().get();
  call.startIndex = group.firstIndex;
  call.primitiveCount = group.primitiveCount;
  call.primitiveType = group.primitiveType;
  std::vector<RasRenDrawCall*> calls{&call};
  viewport.renderMeshes(calls, viewport.viewProjection(), technique);
}

}  // namespace vorn
