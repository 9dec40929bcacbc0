// A custom layer of a lighting environment: told of each viewport, layer and light as the
// environment draws them, it may draw the layer's lights with an effect of its own, somewhere else.
#pragma once

#include <cstddef>
#include <string>

#include "ka/counted.h"

namespace vorn {

class RasRenEffect;
class RasRenLightingEnvironment;
class RasRenSceneViewport;

class RasRenLightLayerBinder : public ka::Counted {
 public:
  explicit RasRenLightLayerBinder(RasRenLightingEnvironment* environment) : environment_(environment) {}

  // Where the layer sorts until its order is set.
  virtual float getDefaultOrder() const = 0;
  virtual void beginViewport(RasRenSceneViewport& viewport) = 0;
  virtual void endViewport() {}
  // The effect the layer's lights are drawn with instead of "light"; null draws none of them.
  virtual RasRenEffect* beginLayer(RasRenSceneViewport& viewport) = 0;
  virtual void endLayer() = 0;
  // Before each of the layer's lights, with its light technique: false leaves it undrawn.
  virtual bool beginLight(std::string const& technique) = 0;
  virtual void endLight() {}
  // For effects that cannot read the G-buffer.
  virtual void applyTransparent(RasRenEffect&) {}

  // The environment is gone, or let the layer go.
  void orphan() { environment_ = nullptr; }
  void setIndex(size_t index) { index_ = index; }
  size_t index() const { return index_; }
  RasRenLightingEnvironment* environment() const { return environment_; }
  // What the user's layer does, by way of the environment.
  void remove();
  void setEnabled(bool enabled);
  void setOrder(float order);

 private:
  RasRenLightingEnvironment* environment_;
  size_t index_ = 0;
};

}  // namespace vorn
