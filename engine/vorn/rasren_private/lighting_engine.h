// The renderer-wide part of deferred lighting: the light volumes, the textures that stand in for
// absent ones, and the round of one viewport: lit meshes write the G-buffer, then each lighting
// environment they named draws its lights into the scene colour.
#pragma once

#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "draw_call.h"
#include "ka/counted.h"
#include "vorn/material.h"

namespace vorn {

class RasRen;
class RasRenEffect;
class RasRenLightingEnvironment;
class RasRenSceneViewport;
class RasRenShadowMap;

class RasRenLightingEngine {
 public:
  enum Slot {
    SLOT_light_shadow_region,
    SLOT_light_shadow,
    SLOT_light_shadowmap_reduce,
    SLOT_GBufferMaterial,
    SLOT_GBufferDepth,
    SLOT_GBufferNormal,
    SLOT_GBufferDepth_range,
    SLOT_g_LightAmbientDir,
    SLOT_g_LightAmbientCenter,
    SLOT_g_LightAmbientLookup,
    SLOT_light_diffuse,
    SLOT_light_specular_color,
    SLOT_light_gobo,
    SLOT_light_dir,
    SLOT_light_transform,
    SLOT_light_center_radius,
    SLOT_light_sweep_axis,
    SLOT_light_fog_color,
    SLOT_light_fog_density,
    SLOT_light_fog_center_radius,
    SLOT_Count
  };
  // Contains the unit sphere with the icosahedron subdivided once.
  static constexpr float kVolumeRadius = 1.0704663f;

  explicit RasRenLightingEngine(RasRen* renderer);
  ~RasRenLightingEngine();

  // The G-buffer technique by the viewport's debug view: 1 wireframe, 2 mip, 3 page, else "Prelight".
  static std::string_view getPrelightTechnique(int visualization);

  void beginViewport(RasRenSceneViewport& viewport);
  void beginSolid() {}
  // Before each lit draw: its environment joins the viewport's, and its effect gets the ambient
  // light and the G-buffer's depth range.
  void lightSolid(RasRenDrawCall const& call);
  // Before each transparent draw: the ambient and primary lights, forward.
  void lightTransparent(RasRenDrawCall const& call);
  // Every environment seen draws its lights.
  void endSolid();
  void endViewport();

  // Neutral values on the effect's current technique, so that it keeps nothing of an earlier
  // environment: no ambient light, no light, no fog, no shadow (the default map), or all of them.
  void resetAmbient(RasRenEffect& effect);
  void resetLight(RasRenEffect& effect);
  void resetFog(RasRenEffect& effect);
  void resetShadowParams(RasRenEffect& effect);
  void resetTransparent(RasRenEffect& effect);

  // Two by two texels of sky, horizon, ground and an unused fourth colour, linear floats.
  ka::Ref<Texture> createAmbientLookup(ka::Color4f const* four);
  Texture const* defaultAmbientLookup();
  Texture const* defaultGobo();
  // One texel of depth 1: nothing is behind it.
  Texture const* defaultShadowMap();
  int shadowMatrixSlot() const { return shadowMatrixSlot_; }
  ka::Ref<RasRenEffect> lightEffect();
  // The chain's G-buffer on the effect's current technique, with its depth range.
  void bindGBufferForRead(RasRenEffect& effect);
  // The volume of a shape (icosahedron, extrudable icosahedron, cube) moved by `world`, drawn with a
  // technique of `effect`.
  void drawVolume(RasRenSceneViewport& viewport, RasRenEffect& effect, std::string_view technique,
                  ka::Mat4x4f const& world, int shape);

  // Where the surfaces the viewport sees fall in the map's clip space (min x, min y, max x, max y),
  // reduced on the GPU into the map's feedback target, for shaders that fit the map to it.
  void getShadowMapFeedbackRegion(RasRenShadowMap& map, RasRenSceneViewport& viewport,
                                  ka::Mat4x4f const& shadowTransform);

  int slot(Slot s) const { return slots_[s]; }
  RasRenSceneViewport* viewport() const { return viewport_; }
  size_t environmentsSeen() const { return environments_.size(); }

 private:
  void noteEnvironment(RasRenDrawCall const& call);
  void setDepthRange(RasRenEffect& effect);

  RasRen* renderer_;
  // The light volumes' material lives here, apart from the game's and the quads'.
  struct ReleaseMaterialLibrary {
    void operator()(MaterialLibrary* library) const { releaseMaterialLibrary(library); }
  };
  std::unique_ptr<MaterialLibrary, ReleaseMaterialLibrary> materialLibrary_{createMaterialLibrary()};
  std::unordered_set<RasRenLightingEnvironment*> seen_;
  std::vector<ka::Ref<RasRenLightingEnvironment>> environments_;
  RasRenLightingEnvironment* lastEnvironment_ = nullptr;
  RasRenEffect* lastEffect_ = nullptr;
  RasRenSceneViewport* viewport_ = nullptr;
  ka::Ref<Mesh> sphere_, capsule_, box_;
  ka::Ref<Texture> defaultAmbientLookup_, defaultGobo_;
  int slots_[SLOT_Count];
  // The light effect's own: where the viewport lies in the G-buffer, and how to unproject.
  int viewRectSlot_, inverseProjectionSlot_, shadowMatrixSlot_;
  ka::Ref<ras::RenderTarget> defaultShadowMap_;
  // The feedback and its reductions by 4, down to one texel; remade for another viewport size.
  std::vector<ka::Ref<ras::RenderTarget>> feedbackReductions_;
};

}  // namespace vorn
