// The renderer on a headless GL rasterizer with the shipped effects, a back buffer of a given
// size, and helpers to put solid rectangles in scenes and read the frame back.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "../vorn/gl_rasterizer_private/gl_fixture.h"
#include "vorn/material.h"
#include "vorn/mesh_builder.h"
#include "vorn/rasren.h"

// The byte an sRGB target stores for a linear value, clamped to 0 to 1.
inline int srgbByte(double linear) {
  linear = std::clamp(linear, 0.0, 1.0);
  double encoded = linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
  return int(std::lround(encoded * 255));
}

class RendererFixture : public GLFixture {
 protected:
  using Bytes = std::vector<unsigned char>;

  RendererFixture(int width, int height) : width(width), height(height) {
    ras->resize(width, height);
    fs->mount(ZANDOR_RESOURCES_DIR, "/", true);
    ren = std::make_unique<vorn::RasRen>(ras.get(), nullptr, fs, profiler);
    ren->loadEffects("/shaders/misc.json");
  }
  // Before the rasterizer, which the fixture's base lets go of.
  ~RendererFixture() override { ren.reset(); }

  // A rectangle from (x0, y0) to (x1, y1) at depth z, in one opaque colour.
  ka::Ref<vorn::Mesh> solidRect(ka::Color4f const& colour, float x0, float y0, float x1, float y1, float z = 0) {
    vorn::Material material(library.get(), "solid_unlit");
    material.setVec("Color", {colour.r, colour.g, colour.b, colour.a});
    vorn::MeshBuilder<vorn::VertexP3C4bT2> builder(ren.get());
    builder.setMaterial(material);
    vorn::VertexP3C4bT2 a{{x0, y0, z}, ~0u, {0, 0}}, b{{x1, y0, z}, ~0u, {1, 0}}, c{{x1, y1, z}, ~0u, {1, 1}},
        d{{x0, y1, z}, ~0u, {0, 1}};
    builder.addTri(a, b, c);
    builder.addTri(c, d, a);
    builder.flush();
    return builder.meshes().front();
  }

  // A viewport over the whole back buffer whose units are pixels, origin at the bottom left.
  ka::Ref<vorn::ren::SceneViewport> pixelViewport(ka::RefNoCount<vorn::ren::Scene> scene) {
    auto viewport = ren->createSceneViewport({0, 0, width, height}, scene);
    viewport->setProjectionMatrix(
        ka::Mat4x4f::orthographicOpenGL(0, float(width), 0, float(height), -1, 1));
    return viewport;
  }

  // Colour, and depth at its farthest: a viewport without a render chain draws straight into the
  // back buffer and clears nothing, so what it depth-tests against is what the buffer holds.
  void fillBackBuffer(ka::Color4f const& colour) {
    ras->beginScene();
    ras->getDefaultRenderTarget()->setViewport({0, 0, width, height});
    ras->clear(vorn::ras::ClearFlags(vorn::ras::CLEAR_Color | vorn::ras::CLEAR_Depth), colour, 1.0f, 0);
    ras->endScene();
  }

  // The whole back buffer, rows bottom-up, four bytes a pixel.
  Bytes frame() { return read(ras->getDefaultRenderTarget(), 0, 4); }
  Bytes at(Bytes const& pixels, int x, int y) { return pixel(pixels, width, x, y); }

  // One frame presented with the profiler turned over around it: its events are that frame's.
  void presentOneFrame() {
    profiler.nextFrame();
    ren->present();
    profiler.nextFrame();
  }
  // Looked up by text: the same name in another source file may be another pointer.
  int64_t events(char const* name) const {
    int64_t count = 0;
    for (auto const& [key, value] : profiler.profileData().events)
      if (std::strcmp(key, name) == 0) count += value;
    return count;
  }

  int width, height;
  ka::Ref<vorn::Filesystem> fs = vorn::createStdioFilesystem();
  std::unique_ptr<vorn::MaterialLibrary, void (*)(vorn::MaterialLibrary*)> library{vorn::createMaterialLibrary(),
                                                                                  vorn::releaseMaterialLibrary};
  std::unique_ptr<vorn::RasRen> ren;
};
