// The renderer's planet scene: a small planet whose ground is a virtual texture painted page by
// page, and thousands of trees standing on it in a batched group, near ones drawn in full and far
// ones as impostors. The scene viewer shows it; its golden-image test and the batched benchmark
// render it.
#pragma once

#include <vector>

#include "vorn/rasren.h"

namespace vorn {

class PlanetScene {
 public:
  static constexpr float kRadius = 60;

  struct Options {
    int trees = 5000;
    // Trees as plain mesh instances, one draw each, instead of the batched group; culled one by
    // one, or drawn whether seen or not.
    bool separateTrees = false;
    bool cullSeparateTrees = true;
  };

  PlanetScene(RasRen& renderer, MaterialLibrary* library, int width, int height, Options const& options);
  PlanetScene(RasRen& renderer, MaterialLibrary* library, int width, int height)
      : PlanetScene(renderer, library, width, height, Options{}) {}
  ~PlanetScene();

  // The camera `height` above the ground at longitude `yaw`, looking `pitch` below the horizon.
  void setCamera(float yaw, float pitch, float height);
  void resize(int width, int height);
  void setTime(double seconds);
  // The same frames give the same picture: eye adaptation by scene time, and every wanted page
  // drawn in the frame that asks for it.
  void makeDeterministic();

  ren::SceneViewport& viewport() { return *viewport_; }
  ren::BatchedMeshGroup* trees() { return trees_.get(); }

 private:
  void addGround();
  void addTrees(Options const& options);

  RasRen& renderer_;
  MaterialLibrary* library_;
  double time_ = 0;
  ka::Ref<ren::Scene> scene_;
  ka::Ref<ren::LightingEnvironment> environment_;
  ka::Ref<ren::SceneViewport> viewport_;
  ka::Ref<ren::RenderChain> chain_;
  ka::Ref<Texture> ambient_;
  ka::Ref<ren::LightInstance> sun_;
  ka::Ref<ren::VirtualTexture> ground_;
  ka::Ref<ren::BatchedMeshGroup> trees_;
  std::vector<ka::Ref<ren::MeshInstance>> separate_;
};

}  // namespace vorn
