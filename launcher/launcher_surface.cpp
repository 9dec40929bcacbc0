#include "launcher_surface.h"

#include "vorn/canvas.h"
#include "vorn/rasterizer.h"

namespace launcher {

ka::Ref<vorn::Texture> createSurfaceTexture(vorn::ren::Renderer& renderer, int width, int height) {
  ka::Ref<vorn::Texture> texture =
      renderer.getTextureFactory()->createTexture(vorn::TF_A8R8G8B8, width, height, 1, vorn::TF_AllLinear, true, 0);
  texture->setDynamic(true);
  return texture;
}

ka::Ref<vorn::ren::Scene> makeSurfaceScene(vorn::ren::Renderer& renderer, vorn::MaterialLibrary* library,
                                           ka::RefNoCount<vorn::Texture> texture, int width, int height) {
  vorn::Material material(library, "textured_unlit_transparent_bgra_nohdr");
  material.setTexture("Texture", texture.get());
  float w = float(width), h = float(height);
  ka::Ref<vorn::QuadItem> quad(new vorn::QuadItem);
  quad->setMaterial(material)
      .setLowerLeft({0, 0, 0}, {0, 1})
      .setLowerRight({w, 0, 0}, {1, 1})
      .setUpperLeft({0, h, 0}, {0, 0})
      .setUpperRight({w, h, 0}, {1, 0});
  ka::Ref<vorn::Canvas> canvas(new vorn::Canvas);
  canvas->addItem(quad.get());
  return canvas->makeScene(&renderer, library);
}

ka::Mat4x4f surfaceProjection(vorn::ren::Renderer const& renderer, int width, int height) {
  return ka::Mat4x4f::orthographic(ka::ClipSpaceConvention(renderer.getClipSpaceConvention()), 0, float(width), 0,
                                   float(height), -1, 1);
}

}  // namespace launcher
