#include "rasterizer.h"

#include <iterator>

namespace vorn::ras {

Rasterizer::Rasterizer() {
  char const* const categories[] = {"Uncategorized",     "Virtual Texture Atlas", "Virtual Texture PageMap",
                                    "Shadow Map",        "Render Target",         "Depth Buffer",
                                    "Character Bitmap",  "PNG-sourced texture",   "Batch Transform",
                                    "Batch Transform Index"};
  for (uint32_t i = 0; i < std::size(categories); ++i) tracker_.setCategoryName(i, categories[i]);
}

Rasterizer::~Rasterizer() = default;

ka::Ref<RenderTarget> Rasterizer::getBackBufferScratchTarget(int index, int shift) {
  // Both are small: an index below 256 and a shift below 256 make distinct keys.
  int key = index * 256 + shift;
  auto found = scratchTargets_.find(key);
  if (found != scratchTargets_.end()) return found->second;
  int width = 0, height = 0;
  getBackbufferSize(width, height);
  width >>= shift;
  height >>= shift;
  if (width <= 0 || height <= 0) return nullptr;
  TextureFormat format = TF_X8R8G8B8;
  bool srgb = true;
  ka::Ref<RenderTarget> target = createRenderTarget(1, &format, &srgb, TF_D24S8, width, height, 1, TF_AllLinear);
  scratchTargets_[key] = target;
  return target;
}

}  // namespace vorn::ras
