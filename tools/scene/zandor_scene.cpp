// The scene viewer: the renderer's reference scene, or its planet, in a window (drag with the
// left button to orbit or walk round the planet, the wheel to come closer) with the profiler's
// figures in a corner, or, with --png, rendered headless into a picture.
//   zandor-scene [--scene reference|planet] [--png FILE [--size WxH] [--frames N]]
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <epoxy/gl.h>
#include <stb_image_write.h>

#include "game/game.h"
#include "game/game_factory.h"
#include "game/linux_platform.h"
#include "ka/log.h"
#include "ka/logsink.h"
#include "ka/system_dirs.h"
#include "planet_scene.h"
#include "profiler_overlay.h"
#include "reference_scene.h"
#include "vorn/egl_headless_context.h"
#include "vorn/gl_rasterizer_private/gl_rasterizer.h"
#include "vorn/profiler.h"
#include "vorn/uievent.h"

namespace {

using namespace vorn;

constexpr float kFramePeriod = 1.0f / 60.0f;
char const* const kEffectFiles[] = {"/shaders/post.json",      "/shaders/scene.json", "/shaders/content.json",
                                    "/shaders/impostors.json", "/shaders/vtex.json",  "/shaders/misc.json"};
bool gPlanet = false;  // which scene the window shows

class SceneViewerGame : public Game {
 public:
  explicit SceneViewerGame(Platform* platform) : Game(platform) {}

  void setup() override {
    auto& renderer = *static_cast<RasRen*>(this->renderer());
    if (gPlanet)
      planet_ = std::make_unique<PlanetScene>(renderer, materialLibrary(), 960, 580);
    else
      scene_ = std::make_unique<ReferenceScene>(renderer, materialLibrary(), 960, 580);
    overlay_ = std::make_unique<ProfilerOverlay>(renderer, materialLibrary(), platform()->getFilesystem());
  }
  void dispatch(UIEvent const& event) override {
    if (!scene_ && !planet_) return;
    if (event.type == ET_Resize) {
      ResizeEvent resize(event);
      if (resize.width() > 0 && resize.height() > 0) {
        if (scene_) scene_->resize(int(resize.width()), int(resize.height()));
        if (planet_) planet_->resize(int(resize.width()), int(resize.height()));
      }
    } else if (event.type == ET_MouseMove) {
      MouseMoveEvent move(event);
      if (dragging_ && (move.modifiers() & MM_Left)) {
        yaw_ -= float(move.x() - lastX_) * 0.01f;
        pitch_ = std::clamp(pitch_ + float(move.y() - lastY_) * 0.01f, 0.05f, 1.5f);
      }
      dragging_ = (move.modifiers() & MM_Left) != 0;
      lastX_ = move.x();
      lastY_ = move.y();
    } else if (event.type == ET_MouseWheel) {
      distance_ = std::clamp(distance_ * std::pow(0.9f, float(MouseWheelEvent(event).delta()) / 120.0f), 3.0f, 60.0f);
    }
    if (scene_) scene_->setCamera(yaw_, pitch_, distance_);
    // On the planet the drag walks round it and tilts the view; the wheel sets the height.
    if (planet_) planet_->setCamera(-yaw_, pitch_ * 0.4f, distance_ * 0.6f);
  }
  void update(float seconds) override {
    time_ += seconds;
    if (scene_) scene_->setTime(time_);
    if (planet_) planet_->setTime(time_);
    if (overlay_ && platform()->getProfiler()) overlay_->update(seconds, platform()->getProfiler()->profileData());
  }

 private:
  std::unique_ptr<ReferenceScene> scene_;
  std::unique_ptr<PlanetScene> planet_;
  std::unique_ptr<ProfilerOverlay> overlay_;
  float yaw_ = 0.6f, pitch_ = 0.3f, distance_ = 12;
  bool dragging_ = false;
  int lastX_ = 0, lastY_ = 0;
  double time_ = 0;
};

GameClassFactorySingleton<SceneViewerGame> gFactory("zandor-scene");

struct Options {
  std::string png;
  int width = 960, height = 580, frames = 60;
};

bool parse(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    bool hasValue = i + 1 < argc;
    if (arg == "--scene" && hasValue) {
      std::string scene = argv[++i];
      if (scene != "reference" && scene != "planet") return false;
      gPlanet = scene == "planet";
    } else if (arg == "--png" && hasValue) {
      options.png = argv[++i];
    } else if (arg == "--size" && hasValue) {
      if (std::sscanf(argv[++i], "%dx%d", &options.width, &options.height) != 2 || options.width <= 0 ||
          options.height <= 0 || options.width > 8192 || options.height > 8192)
        return false;
    } else if (arg == "--frames" && hasValue) {
      options.frames = std::atoi(argv[++i]);
      if (options.frames < 1) return false;
    } else {
      return false;
    }
  }
  return true;
}

// Frames at 60 a second from the start, then the last one read back and written as a PNG.
int renderHeadless(Options const& options) {
  EglHeadlessContext context;
  Profiler profiler;
  ras::GLRasterizer rasterizer(profiler, nullptr);
  rasterizer.init();
  rasterizer.resize(options.width, options.height);
  ka::Ref<Filesystem> fs = createStdioFilesystem();
  fs->mount(ka::getResourceDir(), "/", true);
  std::vector<unsigned char> pixels(size_t(options.width) * size_t(options.height) * 4);
  {
    RasRen renderer(&rasterizer, nullptr, fs, profiler);
    for (char const* effects : kEffectFiles) renderer.loadEffects(effects);
    std::unique_ptr<MaterialLibrary, void (*)(MaterialLibrary*)> library(createMaterialLibrary(),
                                                                          releaseMaterialLibrary);
    std::unique_ptr<ReferenceScene> reference;
    std::unique_ptr<PlanetScene> planet;
    if (gPlanet) {
      planet = std::make_unique<PlanetScene>(renderer, library.get(), options.width, options.height);
      planet->makeDeterministic();
    } else {
      reference = std::make_unique<ReferenceScene>(renderer, library.get(), options.width, options.height);
      reference->adaptBySceneTime();
    }
    for (int frame = 0; frame < options.frames; ++frame) {
      if (planet) planet->setTime(frame * kFramePeriod);
      if (reference) reference->setTime(frame * kFramePeriod);
      renderer.present();
      // Each frame's luminance and feedback are read back at the next: the same every run.
      glFinish();
    }
    if (!rasterizer.getDefaultRenderTarget()->downloadTextureData(0, pixels.data())) return 1;
  }
  for (size_t i = 3; i < pixels.size(); i += 4) pixels[i] = 255;  // the window's target has no alpha
  int stride = options.width * 4;
  // Rows come bottom-up; the picture is written from its top row.
  if (!stbi_write_png(options.png.c_str(), options.width, options.height, 4,
                      pixels.data() + size_t(options.height - 1) * size_t(stride), -stride)) {
    std::cerr << "zandor-scene: cannot write " << options.png << "\n";
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  ka::LogSinkStream console(std::cerr);
  Options options;
  if (!parse(argc, argv, options)) {
    std::cerr << "usage: zandor-scene [--scene reference|planet] [--png FILE [--size WxH] [--frames N]]\n";
    return 2;
  }
  try {
    if (!options.png.empty()) return renderHeadless(options);
    LinuxPlatform platform(&gFactory);
    return platform.run();
  } catch (std::exception const& error) {
    std::cerr << "zandor-scene: " << error.what() << "\n";
    return 1;
  }
}
