#include "light_distance_field.h"

#include "effect.h"
#include "lighting_environment.h"
#include "render_chain.h"
#include "scene_viewport.h"
#include "vorn/rasren.h"

namespace vorn {

// The field's own layer: its lights, drawn into the field.
class RasRenLightDistanceField::LayerBinder : public RasRenLightLayerBinder {
 public:
  LayerBinder(RasRenLightingEnvironment* environment, RasRenLightDistanceField* field)
      : RasRenLightLayerBinder(environment), field_(field) {}
  float getDefaultOrder() const override { return 1; }
  void beginViewport(RasRenSceneViewport& viewport) override {
    if (field_) field_->beginViewport(viewport);
  }
  RasRenEffect* beginLayer(RasRenSceneViewport&) override { return field_ ? field_->beginLayer() : nullptr; }
  void endLayer() override {
    if (field_) field_->endLayer();
  }
  bool beginLight(std::string const& technique) override { return field_ && field_->beginLight(technique); }
  void forget() { field_ = nullptr; }

 private:
  RasRenLightDistanceField* field_;
};

// Draws the field into the scene with the material's "_resolve" effect; a layer with no lights.
class RasRenLightDistanceField::Resolver : public ren::LightLayer {
 public:
  class Binder : public RasRenLightLayerBinder {
   public:
    Binder(RasRenLightingEnvironment* environment, Resolver* resolver)
        : RasRenLightLayerBinder(environment), resolver_(resolver) {}
    // Right after the field's own layer.
    float getDefaultOrder() const override { return 1.5f; }
    void beginViewport(RasRenSceneViewport&) override {}
    RasRenEffect* beginLayer(RasRenSceneViewport& viewport) override {
      if (resolver_) resolver_->resolve(viewport);
      return nullptr;
    }
    void endLayer() override {}
    bool beginLight(std::string const&) override { return false; }
    void forget() { resolver_ = nullptr; }

   private:
    Resolver* resolver_;
  };

  Resolver(RasRenLightingEnvironment* environment, RasRenLightDistanceField* field, RasRen* renderer)
      : field_(field), renderer_(renderer), binder_(new Binder(environment, this)) {
    environment->addLayer(binder_.get());
  }
  ~Resolver() override { detach(); }

  void remove() override { binder_->remove(); }
  void setEnabled(bool enabled) override { binder_->setEnabled(enabled); }
  void setOrder(float order) override { binder_->setOrder(order); }
  void setMaterial(Material const& material) override {
    Material resolve = material;
    if (resolve.defined()) resolve.setShader(material.shader() + "_resolve");
    if (resolve == material_) return;
    material_ = resolve;
    block_ = nullptr;
    if (material_.defined() && renderer_)
      block_ = renderer_->getRasterizerMaterial(material_).getBoundParameterBlock(
          renderer_->rasterizer()->getBindingTable());
  }

  // The field's picture under "ldf_result", drawn over the scene colour.
  void resolve(RasRenSceneViewport& viewport) {
    if (!field_ || !field_->target() || !material_.defined() || !renderer_) return;
    ka::Ref<RasRenEffect> effect = renderer_->getRasRenEffect(material_.shader(), false);
    if (!effect || !effect->hasTechnique("Default")) return;
    RasRenTechnique* technique = effect->selectTechnique("Default");
    if (!technique->program()) return;
    technique->setParameters(block_, true, true);
    int slot = int(renderer_->rasterizer()->getBindingTable()->getSlot("ldf_result"));
    technique->program()->textureBlock()->setTexture(slot, field_->target()->getTexture(0));
    viewport.renderPostQuad(*effect, 1.0f);
  }
  void detach() {
    if (!binder_) return;
    binder_->remove();
    binder_->forget();
    field_ = nullptr;
  }
  RasRenLightLayerBinder* binder() const { return binder_.get(); }

 private:
  RasRenLightDistanceField* field_;
  RasRen* renderer_;
  ka::Ref<Binder> binder_;
  Material material_;
  ka::Ref<BoundParameterBlock> block_;
};

RasRenLightDistanceField::RasRenLightDistanceField(RasRenLightingEnvironment* environment, RasRen* renderer,
                                                   std::string name)
    : renderer_(renderer), name_(std::move(name)) {
  binder_ = new LayerBinder(environment, this);
  environment->addLayer(binder_.get());
  resolver_ = new Resolver(environment, this, renderer);
}

RasRenLightDistanceField::~RasRenLightDistanceField() {
  remove();
  static_cast<LayerBinder*>(binder_.get())->forget();
}

void RasRenLightDistanceField::remove() {
  binder_->remove();
  resolver_->detach();
}

void RasRenLightDistanceField::setEnabled(bool enabled) { binder_->setEnabled(enabled); }

void RasRenLightDistanceField::setOrder(float order) { binder_->setOrder(order); }

ka::Ref<ren::LightLayer> RasRenLightDistanceField::getResolver() { return resolver_; }

void RasRenLightDistanceField::setRange(ka::Vec2<float> const& range) {
  range_ = range;
  dirty_ = true;
}

void RasRenLightDistanceField::setMaterial(Material const& material) {
  material_ = material;
  effect_ = nullptr;
  dirty_ = true;
}

void RasRenLightDistanceField::applyMaterialSettings() {
  if (!dirty_) return;
  dirty_ = false;
  if (!material_.defined() || !renderer_) {
    block_ = nullptr;
    return;
  }
  material_.setVec("ldf_range", {range_.x, range_.y, 0, 0});
  block_ = renderer_->getRasterizerMaterial(material_).getBoundParameterBlock(
      renderer_->rasterizer()->getBindingTable());
}

void RasRenLightDistanceField::beginViewport(RasRenSceneViewport& viewport) {
  if (!renderer_) return;
  RasRenRenderChain* chain = viewport.renderChain();
  float scale = chain ? chain->scale() : 1.0f;
  int width = int(float(viewport.rect().width()) * scale), height = int(float(viewport.rect().height()) * scale);
  TextureFormat format = bitDepth_ == 32 ? TF_R32F : TF_R8;
  if (target_ && target_->width() == width && target_->height() == height && format == targetFormat_) return;
  target_ = nullptr;
  targetFormat_ = format;
  if (width <= 0 || height <= 0) return;
  bool srgb = false;
  target_ = renderer_->rasterizer()->createRenderTarget(1, &format, &srgb, TF_D0, width, height, 1, TF_AllLinear);
}

RasRenEffect* RasRenLightDistanceField::beginLayer() {
  lightCount_ = 0;
  if (!target_ || !renderer_) return nullptr;
  ras::Rasterizer* rasterizer = renderer_->rasterizer();
  previousTarget_ = rasterizer->setRenderTarget(target_);
  target_->setViewport({0, 0, target_->width(), target_->height()});
  rasterizer->clear(ras::CLEAR_Color, {0, 0, 0, 0}, 1.0f, 0);
  applyMaterialSettings();
  if (!effect_ && material_.defined()) effect_ = renderer_->getRasRenEffect(material_.shader(), false);
  return effect_.get();
}

bool RasRenLightDistanceField::beginLight(std::string const& technique) {
  ++lightCount_;
  if (!effect_ || !block_) return false;
  std::string_view name = technique.empty() ? std::string_view("Default") : std::string_view(technique);
  if (!effect_->hasTechnique(name)) return false;
  effect_->selectTechnique(name)->setParameters(block_, true, true);
  return true;
}

void RasRenLightDistanceField::endLayer() {
  if (previousTarget_ && renderer_) renderer_->rasterizer()->setRenderTarget(previousTarget_);
  previousTarget_ = nullptr;
  if (autoHide_) resolver_->setEnabled(lightCount_ != 0);
}

}  // namespace vorn
