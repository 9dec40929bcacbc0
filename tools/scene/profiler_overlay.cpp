#include "profiler_overlay.h"

#include <cstdio>
#include <cstring>

namespace vorn {
namespace {

constexpr int kWidth = 360, kHeight = 48;
constexpr float kLineHeight = 18;

int64_t eventsNamed(SectionData const& profile, char const* name) {
  // Names are compared as pointers inside the profiler; from outside, by their text.
  int64_t count = 0;
  for (auto const& [key, value] : profile.events)
    if (std::strcmp(key, name) == 0) count += value;
  return count;
}

}  // namespace

ProfilerOverlay::ProfilerOverlay(RasRen& renderer, MaterialLibrary* library, ka::RefNoCount<Filesystem> fonts)
    : fontEngine_(createStbttFontEngine(fonts)), fonts_(fontEngine_.get()) {
  ka::Ref<Font> font = fonts_.get({"sansserif", kLineHeight});
  canvas_ = new Canvas;
  rate_ = new TextItem;
  draws_ = new TextItem;
  rate_->setFont(font).setOrigin({8, kHeight - kLineHeight, 0}).setColor({1, 1, 0.6f, 1});
  draws_->setFont(font).setOrigin({8, kHeight - 2 * kLineHeight, 0}).setColor({1, 1, 0.6f, 1});
  canvas_->addItem(rate_).addItem(draws_);
  scene_ = renderer.createScene();
  viewport_ = renderer.createSceneViewport({0, 0, kWidth, kHeight}, scene_);
  viewport_->setProjectionMatrix(ka::Mat4x4f::orthographicOpenGL(0, kWidth, 0, kHeight, -1, 1));
  presence_.initialize(canvas_, scene_, &renderer, library);
  // On top of the stack: drawn last, over the scene in its corner.
  renderer.addViewport(viewport_);
}

ProfilerOverlay::~ProfilerOverlay() = default;

void ProfilerOverlay::update(float seconds, SectionData const& profile) {
  averageSeconds_ = averageSeconds_ == 0 ? seconds : averageSeconds_ * 0.9f + seconds * 0.1f;
  char line[96];
  std::snprintf(line, sizeof line, "%.1f ms a frame (%.0f a second)", averageSeconds_ * 1000,
                averageSeconds_ > 0 ? 1 / averageSeconds_ : 0.0f);
  rate_->setText(line);
  std::snprintf(line, sizeof line, "%lld draws, %lld instanced",
                (long long)(eventsNamed(profile, "draw indexed prim") + eventsNamed(profile, "draw prim")),
                (long long)(eventsNamed(profile, "draw indexed batches") + eventsNamed(profile, "draw batches")));
  draws_->setText(line);
  presence_.update();
}

}  // namespace vorn
