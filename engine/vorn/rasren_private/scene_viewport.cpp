#include "scene_viewport.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "lighting_engine.h"
#include "quad_builder.h"
#include "virtual_texture_engine.h"
#include "ka/strutil.h"
#include "vorn/profiler.h"

namespace vorn {
namespace {

char const* const kSlotNames[] = {"WorldTransform",      "WorldViewTransform", "WorldViewProjTransform",
                                  "ViewTransform",       "ViewProjTransform",  "ProjTransform",
                                  "SkyboxTransform",     "SkyboxTexture",      "WorldTransformArray",
                                  "BatchTransforms",     "BatchIndices",       "cameraPos",
                                  "Time",                "PostSourceTexture",  "lightPositionOnScreen"};

}  // namespace

RasRenSceneViewport::RasRenSceneViewport(RasRen* renderer, ka::Rect<int> const& rect,
                                         ka::RefNoCount<ren::Scene> scene)
    : renderer_(renderer), rect_(rect) {
  setScene(scene);
}

RasRenSceneViewport::~RasRenSceneViewport() {
  if (chain_) chain_->detachViewport();
}

void RasRenSceneViewport::setRect(ka::Rect<int> const& rect) {
  rect_ = rect;
  if (chain_) chain_->rebuildGBuffer();
}

void RasRenSceneViewport::setRenderChain(ka::RefNoCount<ren::RenderChain> chain) {
  auto* own = static_cast<RasRenRenderChain*>(chain.get());
  if (chain_ && chain_.get() != own) chain_->detachViewport();
  chain_ = own;
  if (chain_) {
    chain_->rebuildGBuffer();
    chain_->setVisualization(visualization_);
  }
}

void RasRenSceneViewport::setVisualization(ren::Visualization visualization) {
  visualization_ = visualization;
  if (chain_) chain_->setVisualization(visualization);
}

void RasRenSceneViewport::setScene(ka::RefNoCount<ren::Scene> scene) {
  scene_ = static_cast<RasRenScene*>(scene.get());
  MaterialBindingTable* table = renderer_->rasterizer()->getBindingTable();
  for (int slot = 0; slot < SLOT_Count; ++slot) slots_[slot] = scene_ ? int(table->getSlot(kSlotNames[slot])) : -1;
  colourSlot_ = int(table->getSlot("Color"));
  posAndScaleSlot_ = int(table->getSlot("PosAndScale"));
}

void RasRenSceneViewport::setViewMatrix(ka::Mat4x4f const& view) {
  view_ = view;
  cameraPositionDirty_ = true;
}

void RasRenSceneViewport::setProjectionMatrix(ka::Mat4x4f const& projection) {
  projection_ = projection;
  ka::Mat4x4f inverse = projection.inverse();
  near_ = std::fabs(ka::projectPoint({0, 0, -1}, inverse).z);
  far_ = std::fabs(ka::projectPoint({0, 0, 1}, inverse).z);
  // A perspective projection copies depth into w; an orthographic one leaves w at 1.
  float w2 = projection.m[0][3] * projection.m[0][3] + projection.m[1][3] * projection.m[1][3] +
             projection.m[2][3] * projection.m[2][3];
  orthographic_ = w2 < 0.0001f;
}

void RasRenSceneViewport::refreshCamera() {
  if (!cameraPositionDirty_) return;
  ka::Mat4x4f inverse = view_.inverse3x4();
  cameraPosition_ = inverse.translationPart();
  for (int axis = 0; axis < 3; ++axis) cameraAxes_[axis] = inverse.row(axis).xyz();
  // The camera looks down its negative z axis.
  viewDirection_ = ka::normalize(cameraAxes_[2] * -1.0f);
  cameraPositionDirty_ = false;
}

ka::Vec3<float> const& RasRenSceneViewport::cameraPosition() {
  refreshCamera();
  return cameraPosition_;
}

float RasRenSceneViewport::sceneTime() const { return scene_ ? float(scene_->time()) : 0.0f; }

ka::Mat4x4f RasRenSceneViewport::projectionForTarget(int width, int height) const {
  if (!renderer_->rasterizer()->needHalfPixelOffset() || width <= 0 || height <= 0) return projection_;
  return ka::mul(projection_, ka::Mat4x4f::translation({-1.0f / float(width), 1.0f / float(height), 0}));
}

ka::Mat4x4f RasRenSceneViewport::getDefaultViewProj() const {
  if (!renderer_->rasterizer()->needHalfPixelOffset() || rect_.width() <= 0 || rect_.height() <= 0)
    return ka::Mat4x4f::identity();
  return ka::Mat4x4f::translation({-1.0f / float(rect_.width()), 1.0f / float(rect_.height()), 0});
}

void RasRenSceneViewport::render() {
  if (!scene_ || !scene_->rasRen()) return;
  // Before this frame's target is bound: a group may draw its impostors' pictures.
  for (auto const& group : scene_->batchedGroups()) group->calculateRenderLists(cameraPosition());
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  ka::Ref<ras::RenderTarget> target = chain_ ? chain_->frameTarget() : rasterizer->getDefaultRenderTarget();
  if (!target) return;
  target->setViewport(rect_);
  rasterizer->setRenderTarget(target);
  if (chain_) chain_->beginFrame();
  // The sky is colour alone: no surface for the lights.
  setDrawMask(1);
  if (skybox_) renderBackgroundSkybox();
  setDrawMask(-1);

  ka::Mat4x4f projection = projectionForTarget(rect_.width(), rect_.height());
  viewProj_ = ka::mul(view_, projection);
  frustum_.initGLTransform(viewProj_);
  ka::Mat4x4f centredView = view_;
  centredView.m[3][0] = centredView.m[3][1] = centredView.m[3][2] = 0;
  ka::Mat4x4f centredViewProj = ka::mul(centredView, projection);

  calls_.clear();
  getCulledMeshes(calls_);
  genQuadDrawCalls(calls_);
  std::sort(calls_.begin(), calls_.end(), RasRenDrawCallOrder());

  for (auto* list : {&overlay_, &lit_, &solidUnlit_, &transparentHdr_, &transparentNoHdr_}) {
    list->clear();
    list->reserve(calls_.size());
  }
  for (RasRenDrawCall* call : calls_) {
    if (call->transformKind == ren::TK_Hidden) continue;
    if (call->transformKind == ren::TK_CameraCentred) {
      overlay_.push_back(call);
      continue;
    }
    RasRenEffect const& effect = *call->effect;
    if (!effect.transparent()) {
      (effect.lit() ? lit_ : solidUnlit_).push_back(call);
    } else {
      (effect.hdr() ? transparentHdr_ : transparentNoHdr_).push_back(call);
    }
  }

  RasRenVirtualTextureEngine& virtualTextures = renderer_->virtualTextureEngine();
  bool virtualTexturing = virtualTextures.isActive();
  if (virtualTexturing) renderVirtualPageMapping(lit_, virtualTextures);
  renderMeshes(overlay_, centredViewProj, "", {}, &centredView);
  RasRenLightingEngine& lighting = renderer_->lightingEngine();
  lighting.beginViewport(*this);
  auto lightSolid = [&lighting](RasRenDrawCall const& call) { lighting.lightSolid(call); };
  auto lightTransparent = [&lighting](RasRenDrawCall const& call) { lighting.lightTransparent(call); };
  bool deferred = chain_ && chain_->gBuffer();
  if (!lit_.empty() && deferred) {
    lighting.beginSolid();
    chain_->beginSolid();
    renderMeshes(lit_, viewProj_, RasRenLightingEngine::getPrelightTechnique(visualization_), lightSolid);
    chain_->endSolid();
    lighting.endSolid();
  } else if (!lit_.empty()) {
    // Without a G-buffer there is nothing to light: lit meshes draw with their plain technique.
    renderMeshes(lit_, viewProj_, "");
  }
  // After the lit pass, which drew from the pages of earlier frames.
  if (virtualTexturing) virtualTextures.fillPages();
  renderMeshes(solidUnlit_, viewProj_, "");
  renderMeshes(transparentHdr_, viewProj_, "", lightTransparent);
  if (chain_) chain_->applyHDR();
  renderMeshes(transparentNoHdr_, viewProj_, "", lightTransparent);
  if (feedbackPip_) renderFeedbackPip();
  lighting.endViewport();
  if (chain_) chain_->endFrame();
}

void RasRenSceneViewport::renderVirtualPageMapping(std::vector<RasRenDrawCall*> const& lit,
                                                   RasRenVirtualTextureEngine& engine) {
  feedback_.clear();
  for (RasRenDrawCall* call : lit)
    if (call->effect->virtualTextured()) feedback_.push_back(call);
  if (feedback_.empty()) return;
  ka::Ref<ras::RenderTarget> target = engine.getFeedbackBuffer(rect_.width(), rect_.height());
  if (!target) {
    // Reads still in flight are taken in all the same.
    engine.downloadFeedbackBuffer(nullptr);
    return;
  }
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  ka::Ref<ras::RenderTarget> previous = rasterizer->setRenderTarget(target);
  target->setViewport({0, 0, target->width(), target->height()});
  // All ones: no page wanted.
  rasterizer->clear(ras::ClearFlags(ras::CLEAR_Color | ras::CLEAR_Depth), {1, 1, 1, 1}, 1.0f, 0);
  renderMeshes(feedback_, viewProj_, "VTFeedback");
  engine.downloadFeedbackBuffer(target);
  rasterizer->setRenderTarget(previous);
}

void RasRenSceneViewport::renderFeedbackPip() {
  ka::Ref<ras::RenderTarget> feedback = renderer_->virtualTextureEngine().lastFeedback();
  ras::RenderTarget* target = chain_ && chain_->sceneTarget() ? chain_->sceneTarget()
                                                               : renderer_->rasterizer()->getDefaultRenderTarget().get();
  if (!feedback || !target) return;
  ka::Rect<int> corner{rect_.left, rect_.bottom - feedback->height(), rect_.left + feedback->width(), rect_.bottom};
  target->setViewport(corner);
  renderPostQuad("Post", "PostCopyAlpha", feedback->getTexture(0), {1, 1, 1, 1}, 0);
  target->setViewport(rect_);
}

void RasRenSceneViewport::setSkyboxBackground(ka::RefNoCount<Texture const> cube, ka::Quatf const& rotation) {
  skybox_ = renderer_->getRasterizerTexture(cube);
  skyboxRotation_ = rotation;
}

void RasRenSceneViewport::renderBackgroundSkybox() {
  ka::Ref<RasRenEffect> effect = renderer_->getRasRenEffect("skybox", false);
  if (!effect) return;
  RasRenTechnique* technique = effect->selectTechnique(effect->hasTechnique("Background") ? "Background" : "Default");
  if (!technique || !technique->program()) return;
  // A view-space ray turned back into the world, then by the sky's own rotation.
  ka::Mat4x4f inverseViewRotation = view_.transpose3x3();
  inverseViewRotation.m[3][0] = inverseViewRotation.m[3][1] = inverseViewRotation.m[3][2] = 0;
  ras::HalParameterBlock* parameters = technique->program()->parameterBlock();
  parameters->setMatrix(slots_[SLOT_SkyboxTransform], ka::mul(inverseViewRotation, skyboxRotation_.asMatrix()));
  parameters->setMatrix(slots_[SLOT_ProjTransform], projection_);
  technique->program()->textureBlock()->setTexture(slots_[SLOT_SkyboxTexture], skybox_);
  renderPostQuad(*effect, 1.0f);
}

void RasRenSceneViewport::renderPostQuad(std::string const& effectName, std::string_view technique,
                                         ka::RefNoCount<Texture const> texture, ka::Color4f const& colour,
                                         float depth) {
  ka::Ref<RasRenEffect> effect = renderer_->getRasRenEffect(effectName, false);
  std::string_view name = technique.empty() ? std::string_view("Default") : technique;
  if (!effect || !effect->hasTechnique(name)) return;
  RasRenTechnique* pass = effect->selectTechnique(name);
  if (!pass->program()) return;
  pass->program()->textureBlock()->setTexture(slots_[SLOT_PostSourceTexture], renderer_->getRasterizerTexture(texture));
  pass->program()->parameterBlock()->setVector(colourSlot_, {colour.r, colour.g, colour.b, colour.a});
  renderPostQuad(*effect, depth);
}

void RasRenSceneViewport::renderPostQuad(RasRenEffect& effect, float depth) {
  RasRenTechnique* technique = effect.currentTechnique();
  if (!technique || !technique->program()) return;
  // The unit square stretched over clip space's -1 to 1.
  ka::Mat4x4f placed = ka::mul(ka::Mat4x4f::scaleTranslation({2, 2, 1}, {-1, -1, depth}), getDefaultViewProj());
  ras::HalParameterBlock* parameters = technique->program()->parameterBlock();
  parameters->setMatrix(slots_[SLOT_WorldViewProjTransform], placed);
  // For the post effect's shaders, which place the quad by a clip-space rectangle.
  parameters->setVector(posAndScaleSlot_, {-1, -1, 2, 2});
  renderer_->drawQuadMesh(*technique);
}

void RasRenSceneViewport::setDrawMask(int mask) {
  if (chain_ && chain_->gBuffer()) chain_->gBuffer()->setDrawMask(mask);
}

void RasRenSceneViewport::getCulledMeshes(std::vector<RasRenDrawCall*>& out) {
  refreshCamera();
  groupCalls_.clear();
  Profiler& profiler = renderer_->profiler();
  std::vector<ka::Ref<RasRenOccluder::Culler>> cullers;
  for (auto const& occluder : scene_->occluders()) {
    cullers.push_back(orthographic_ ? SphereOrthoCuller::make(occluder->sphere(), &viewDirection_)
                                    : SphereProjectionCuller::make(occluder->sphere(), cameraPosition_));
  }
  for (auto const& group : scene_->batchedGroups()) {
    group->doRenderCulling(frustum_, cullers);
    group->doBatchDraws(groupCalls_, out);
  }
  out.reserve(out.size() + scene_->meshCount());
  for (auto const& group : scene_->lodGroups()) {
    int level = group->CalculateLODLevel(cameraPosition_);
    for (RasRenMeshInstance* instance : group->members()) {
      if (!instance->inLODRange(level)) continue;
      if (!instance->bypassesCulling()) {
        ka::Vec3<float> corners[8];
        instance->bounds().buildCorners(corners);
        bool occluded = std::any_of(cullers.begin(), cullers.end(),
                                    [&](auto const& culler) { return culler->isConvexPointSetOccluded(corners, 8); });
        if (occluded) {
          profiler.noteEvent("cull occluder", 1);
          continue;
        }
        if (!frustum_.intersectsConvexPointSet(corners, 8)) {
          profiler.noteEvent("cull frustum", 1);
          continue;
        }
        profiler.noteEvent("cull (pass)", 1);
      }
      float distance = std::numeric_limits<float>::infinity();
      if (instance->requiresDistanceSort())
        distance = ka::lengthSquared(instance->bounds().center - cameraPosition_) + instance->distanceBias();
      for (RasRenDrawCall& call : instance->drawCalls()) {
        if (!call.effect) continue;
        call.distance = distance;
        out.push_back(&call);
      }
    }
  }
}

void RasRenSceneViewport::genQuadDrawCalls(std::vector<RasRenDrawCall*>& out) {
  quadCalls_.clear();
  RasRenQuadBuilder builder(renderer_, quadCalls_);
  CharBitmapCache& glyphs = renderer_->charBitmapCache();
  for (auto const& text : scene_->texts()) {
    if (!text->font()) continue;
    ka::Vec3<float> pen = text->origin();
    std::string const& utf8 = text->text();
    for (char const *at = utf8.data(), *end = at + utf8.size(); at < end;) {
      CharBitmap const& glyph = glyphs.getBitmap(text->font(), ka::decodeUtf8Char(at, end));
      builder.setup(glyph.material, &text->transform(), text->transformKind(), text->drawOrder());
      builder.addChar(glyph, pen, text->baseline(), text->up(), text->colour());
      pen = pen + text->baseline() * glyph.advance;
    }
  }
  for (auto const& quad : scene_->uiQuads()) {
    if (!quad->material().defined()) continue;
    builder.setup(quad->material(), &quad->transform(), quad->transformKind(), quad->drawOrder());
    builder.addQuad(quad->corners());
  }
  builder.flush();
  for (RasRenDrawCall& call : quadCalls_)
    if (call.effect) out.push_back(&call);
}

void RasRenSceneViewport::renderMeshes(std::vector<RasRenDrawCall*> const& calls, ka::Mat4x4f const& viewProj,
                                       std::string_view techniqueName, DrawCallback const& beforeDraw,
                                       ka::Mat4x4f const* passView) {
  if (calls.empty()) return;
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  Profiler& profiler = renderer_->profiler();
  std::string batchName = std::string(techniqueName) + std::string(RasRenBatchedMeshGroup::getTechniqueNameTail());
  ka::Mat4x4f const& view = passView ? *passView : view_;
  ka::Mat4x4f projection = ka::mul(view.inverse3x4(), viewProj);
  RasRenEffect* lastEffect = nullptr;
  bool lastBatched = false, unroll = false;
  RasRenTechnique* technique = nullptr;
  RasMeshVertexBuffer* lastVertices = nullptr;
  RasMeshIndexBuffer* lastIndices = nullptr;
  BoundParameterBlock* lastBlock = nullptr;
  for (RasRenDrawCall* call : calls) {
    bool batched = call->batchCount >= 1;
    if (call->effect.get() != lastEffect || batched != lastBatched) {
      lastEffect = call->effect.get();
      lastBatched = batched;
      // Instanced where the effect has a batch variant; otherwise drawn once per transform. An
      // effect with neither is skipped: selecting an absent name would keep the last technique.
      unroll = batched && !lastEffect->hasTechnique(batchName);
      std::string_view wanted = batched && !unroll ? std::string_view(batchName) : techniqueName;
      technique = lastEffect->hasTechnique(wanted.empty() ? "Default" : wanted) ? lastEffect->selectTechnique(wanted)
                                                                                : nullptr;
      if (technique && technique->program()) {
        if (lastEffect->virtualTextured()) renderer_->virtualTextureEngine().bindEffect(*technique->program());
        ras::HalParameterBlock* pass = technique->program()->parameterBlock();
        ka::Vec3<float> const& eye = cameraPosition();
        pass->setVector(slots_[SLOT_cameraPos], {eye.x, eye.y, eye.z, 1});
        pass->setMatrix(slots_[SLOT_ViewTransform], view);
        pass->setMatrix(slots_[SLOT_ViewProjTransform], viewProj);
        pass->setMatrix(slots_[SLOT_ProjTransform], projection);
        float time = float(scene_->time());
        pass->setVector(slots_[SLOT_Time], {time, time, time, time});
      }
      // A new program has none of the material's parameters yet.
      lastBlock = nullptr;
    }
    if (!technique || !technique->program()) continue;
    if (call->vertexBuffer != lastVertices) {
      lastVertices = call->vertexBuffer;
      rasterizer->setStreamSource(lastVertices);
    }
    if (call->indexBuffer != lastIndices) {
      lastIndices = call->indexBuffer;
      rasterizer->setIndices(lastIndices ? lastIndices->buffer() : nullptr);
    }
    if (call->boundBlock.get() != lastBlock) {
      lastBlock = call->boundBlock.get();
      technique->setParameters(lastBlock, true, true);
    }
    ras::HalShaderProgram* program = technique->program();
    ka::Mat4x4f const& instance = call->worldMatrix ? *call->worldMatrix : ka::Mat4x4f::identity();
    auto setWorld = [&](ka::Mat4x4f const& world) {
      ras::HalParameterBlock* parameters = program->parameterBlock();
      parameters->setMatrix(slots_[SLOT_WorldTransform], world);
      parameters->setMatrix(slots_[SLOT_WorldViewTransform], ka::mul(world, view));
      parameters->setMatrix(slots_[SLOT_WorldViewProjTransform], ka::mul(world, viewProj));
    };
    auto draw = [&](int instances) {
      if (instances > 0 && call->indexBuffer) {
        rasterizer->drawIndexedBatch(call->primitiveType, call->vertexStart, 0, 0, call->startIndex,
                                     call->primitiveCount, instances);
      } else if (instances > 0) {
        rasterizer->drawBatch(call->primitiveType, call->vertexStart + call->startIndex, call->primitiveCount,
                              instances);
      } else if (call->indexBuffer) {
        rasterizer->drawIndexedPrimitive(call->primitiveType, call->vertexStart, 0, 0, call->startIndex,
                                         call->primitiveCount);
      } else {
        rasterizer->drawPrimitive(call->primitiveType, call->vertexStart + call->startIndex, call->primitiveCount);
      }
    };

    if (beforeDraw) beforeDraw(*call);
    technique->begin();
    if (batched && unroll) {
      profiler.noteEvent("unrolled batches", 1);
      profiler.noteEvent("unrolled batch count", call->batchCount);
      for (int i = 0; i < call->batchCount; ++i) {
        setWorld(ka::mul(call->matrices[i], instance));
        draw(0);
      }
    } else if (batched) {
      setWorld(instance);
      program->parameterBlock()->setVector(slots_[SLOT_BatchIndices], {float(call->batchFirst), 0, 0, 0});
      for (size_t block = 0; block < call->batchBlocks->size(); ++block) {
        program->textureBlock()->setTexture(slots_[SLOT_BatchTransforms], (*call->batchBlocks)[block]);
        draw(std::min(kBatchBlock, call->batchCount - int(block) * kBatchBlock));
      }
    } else {
      setWorld(instance);
      if (call->matrices)
        program->parameterBlock()->setMatrixArray(slots_[SLOT_WorldTransformArray], call->matrices,
                                                  call->instanceCount);
      draw(0);
    }
    technique->end();
  }
}

}  // namespace vorn
