// The renderer's reference scene: a floor, boxes and spheres of several materials, a sun with
// shadows, coloured point lights, ambient light, one glowing sphere and a sky, drawn through an HDR
// render chain. The scene
// viewer shows it; its golden-image test renders it.
#pragma once

#include "vorn/rasren.h"

namespace vorn {

// An axis-aligned box from -half to +half, each face with its own normal, for lit effects.
ka::Ref<Mesh> makeLitBox(MeshFactory* factory, Material const& material, ka::Vec3<float> const& half);
// A sphere whose normals point away from its centre: smooth shading.
ka::Ref<Mesh> makeLitSphere(MeshFactory* factory, Material const& material, float radius);

class ReferenceScene {
 public:
  // Builds the scene and a viewport of `width` by `height` on top of the renderer's stack.
  ReferenceScene(RasRen& renderer, MaterialLibrary* library, int width, int height);

  // The camera on its orbit around the scene's centre: `yaw` and `pitch` in radians, at `distance`.
  void setCamera(float yaw, float pitch, float distance);
  void resize(int width, int height);
  // Seconds since the start; moves the point lights.
  void setTime(double seconds);
  // The eye adaptation follows `setTime` instead of the clock on the wall: the same frames give
  // the same picture.
  void adaptBySceneTime();

  ren::SceneViewport& viewport() { return *viewport_; }
  ren::Scene& scene() { return *scene_; }

 private:
  void addLitMesh(ka::Ref<Mesh> const& mesh, ka::Mat4x4f const& transform);
  Material litMaterial(ka::Color4f const& albedo, float specular, ka::Color4f const& emissive = {0, 0, 0, 1});

  RasRen& renderer_;
  MaterialLibrary* library_;
  int width_, height_;
  double time_ = 0;
  ka::Ref<ren::Scene> scene_;
  ka::Ref<ren::LightingEnvironment> environment_;
  ka::Ref<ren::SceneViewport> viewport_;
  ka::Ref<ren::RenderChain> chain_;
  ka::Ref<Texture> ambient_, sky_;
  ka::Ref<ren::LightInstance> sun_;
  ka::Ref<ren::ShadowMap> shadowMap_;
  std::vector<ka::Ref<ren::LightInstance>> lamps_;
};

}  // namespace vorn
