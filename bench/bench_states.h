// The states and textures both draw benchmarks switch between: replace, add and alpha blending,
// and four flat 4 by 4 textures.
#pragma once

#include <vector>

#include "vorn/rasterizer.h"

inline std::vector<ka::Ref<vorn::ras::HalBlendState>> benchBlendStates(vorn::ras::Rasterizer& ras) {
  std::vector<ka::Ref<vorn::ras::HalBlendState>> blends;
  for (int i = 0; i < 3; ++i) {
    vorn::ras::HalBlendState::Desc desc;
    desc.enable = i > 0;
    desc.srcBlend = i == 2 ? 6 : 1;
    desc.destBlend = i == 2 ? 8 : 1;
    blends.push_back(ras.createBlendState(desc));
  }
  return blends;
}

inline std::vector<ka::Ref<vorn::Texture>> benchTextures(vorn::ras::Rasterizer& ras) {
  std::vector<ka::Ref<vorn::Texture>> textures;
  for (int i = 0; i < 4; ++i) {
    ka::Ref<vorn::Texture> texture =
        ras.getTextureFactory()->createTexture(vorn::TF_A8R8G8B8, 4, 4, 1, vorn::TF_AllLinear, false, 0);
    std::vector<unsigned char> pixels(64, static_cast<unsigned char>(60 * i));
    texture->setBits(0, pixels.data(), 0, vorn::CUBE_PositiveX);
    textures.push_back(texture);
  }
  return textures;
}
