// The light distance field: its layer draws the lights given to it into a screen-sized channel,
// and its resolver's layer, which sorts right after, draws that channel into the scene.
#pragma once

#include <string>

#include "light_layer.h"
#include "vorn/material.h"
#include "vorn/rasterizer.h"
#include "vorn/renderer.h"

namespace vorn {

class RasRen;

class RasRenLightDistanceField : public ren::LightDistanceField {
 public:
  RasRenLightDistanceField(RasRenLightingEnvironment* environment, RasRen* renderer, std::string name);
  ~RasRenLightDistanceField() override;

  void remove() override;
  void setEnabled(bool enabled) override;
  void setOrder(float order) override;
  void setMaterial(Material const& material) override;
  void setBitDepth(int bits) override { bitDepth_ = bits; }
  void setRange(ka::Vec2<float> const& range) override;
  void setAutoHide(bool autoHide) override { autoHide_ = autoHide; }
  ka::Ref<ren::LightLayer> getResolver() override;

  // The layer's steps, as its binder hears them.
  void beginViewport(RasRenSceneViewport& viewport);
  RasRenEffect* beginLayer();
  bool beginLight(std::string const& technique);
  void endLayer();
  // "ldf_range" into the material, and its bound block, when something changed.
  void applyMaterialSettings();

  RasRenLightLayerBinder* binder() const { return binder_.get(); }
  ras::RenderTarget* target() const { return target_.get(); }
  TextureFormat targetFormat() const { return targetFormat_; }
  int lightsDrawn() const { return lightCount_; }
  std::string const& name() const { return name_; }

 private:
  class LayerBinder;
  class Resolver;

  RasRen* renderer_;
  std::string name_;
  ka::Ref<RasRenLightLayerBinder> binder_;
  ka::Ref<Resolver> resolver_;
  ka::Vec2<float> range_{0, 1};
  Material material_;
  ka::Ref<BoundParameterBlock> block_;
  ka::Ref<RasRenEffect> effect_;
  bool dirty_ = true;
  int bitDepth_ = 8;
  TextureFormat targetFormat_ = TF_Invalid;
  ka::Ref<ras::RenderTarget> target_;
  ka::Ref<ras::RenderTarget> previousTarget_;
  int lightCount_ = 0;
  bool autoHide_ = false;
};

}  // namespace vorn
