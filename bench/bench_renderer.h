// The renderer on a headless GL rasterizer over the built resources, with a material library:
// what the benchmarks that draw through the renderer share. An EGL context must be current.
#pragma once

#include <epoxy/gl.h>

#include <cstring>
#include <initializer_list>
#include <memory>

#include "vorn/gl_rasterizer_private/gl_rasterizer.h"
#include "vorn/material.h"
#include "vorn/profiler.h"
#include "vorn/rasren.h"

class BenchRenderer {
 public:
  // A back buffer of `width` by `height` (none when 0), and the effect files loaded.
  BenchRenderer(int width, int height, std::initializer_list<char const*> effects) {
    ras.init();
    if (width > 0 && height > 0) ras.resize(width, height);
    fs->mount(ZANDOR_RESOURCES_DIR, "/", true);
    ren = std::make_unique<vorn::RasRen>(&ras, nullptr, fs, profiler);
    for (char const* file : effects) ren->loadEffects(file);
  }

  // Frames, each finished before the next, so that a frame's time is the GPU's too.
  void present(int frames) {
    for (int i = 0; i < frames; ++i) {
      ren->present();
      glFinish();
    }
  }
  // One frame with the profiler turned over round it: `events` then counts that frame's.
  void presentProfiled() {
    profiler.nextFrame();
    present(1);
    profiler.nextFrame();
  }
  long long events(char const* name) const {
    long long count = 0;
    for (auto const& [key, value] : profiler.profileData().events)
      if (std::strcmp(key, name) == 0) count += value;
    return count;
  }

  vorn::Profiler profiler;
  vorn::ras::GLRasterizer ras{profiler, nullptr};
  ka::Ref<vorn::Filesystem> fs = vorn::createStdioFilesystem();
  std::unique_ptr<vorn::MaterialLibrary, void (*)(vorn::MaterialLibrary*)> library{vorn::createMaterialLibrary(),
                                                                                  vorn::releaseMaterialLibrary};
  // Last, so that it goes first: before the library and the rasterizer it uses.
  std::unique_ptr<vorn::RasRen> ren;
};
