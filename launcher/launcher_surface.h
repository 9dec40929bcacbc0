// How the page's picture is shown: an sRGB "A8R8G8B8" texture of the window's size that takes
// the B, G, R, A bytes of the page as they are, and one quad over the window in pixels.
#pragma once

#include "ka/counted.h"
#include "vorn/material.h"
#include "vorn/renderer.h"

namespace launcher {

// Dynamic, one mip, linear, sRGB.
ka::Ref<vorn::Texture> createSurfaceTexture(vorn::ren::Renderer& renderer, int width, int height);
// A new scene holding one quad of `width` by `height` pixels at the origin, showing `texture` with
// its row 0 at the top, premultiplied, through "textured_unlit_transparent_bgra_nohdr".
ka::Ref<vorn::ren::Scene> makeSurfaceScene(vorn::ren::Renderer& renderer, vorn::MaterialLibrary* library,
                                           ka::RefNoCount<vorn::Texture> texture, int width, int height);
// The projection that maps those pixels onto a viewport of that size.
ka::Mat4x4f surfaceProjection(vorn::ren::Renderer const& renderer, int width, int height);

}  // namespace launcher
