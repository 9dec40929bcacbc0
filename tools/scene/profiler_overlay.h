// The profiler's figures of the last frame, as canvas text in the window's top left corner: the
// frame rate and the draw calls that made the picture.
#pragma once

#include <memory>

#include "vorn/canvas.h"
#include "vorn/font.h"
#include "vorn/profiler.h"
#include "vorn/rasren.h"

namespace vorn {

class ProfilerOverlay {
 public:
  ProfilerOverlay(RasRen& renderer, MaterialLibrary* library, ka::RefNoCount<Filesystem> fonts);
  ~ProfilerOverlay();

  // A frame took `seconds`; `profile` is the last finished frame's record.
  void update(float seconds, SectionData const& profile);

 private:
  std::unique_ptr<FontEngine> fontEngine_;
  FontCache fonts_;
  ka::Ref<Canvas> canvas_;
  ka::Ref<TextItem> rate_, draws_;
  ka::Ref<ren::Scene> scene_;
  ka::Ref<ren::SceneViewport> viewport_;
  CanvasScenePresence presence_;
  float averageSeconds_ = 0;
};

}  // namespace vorn
