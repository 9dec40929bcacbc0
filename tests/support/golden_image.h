// Comparing a rendered picture with a golden one kept in the source tree. ZANDOR_UPDATE_GOLDEN=1
// in the environment writes the picture as the new golden instead; look at it before committing.
#pragma once

#include <stb_image.h>
#include <stb_image_write.h>

#include <cstdlib>
#include <string>
#include <vector>

struct GoldenComparison {
  bool found = false;
  int pixelsOff = 0;     // pixels with a channel further off than the tolerance
  int largestDifference = 0;
  int pixels = 0;
};

// `pixels`: rows bottom-up, four bytes a pixel, as OpenGL reads them; compared in R, G, B.
inline GoldenComparison compareWithGolden(std::string const& name, int width, int height,
                                          std::vector<unsigned char> const& pixels, int tolerance) {
  std::string path = std::string(ZANDOR_GOLDEN_DIR) + "/" + name + ".png";
  int const stride = width * 4;
  if (char const* update = std::getenv("ZANDOR_UPDATE_GOLDEN"); update && std::string(update) == "1")
    stbi_write_png(path.c_str(), width, height, 4, pixels.data() + size_t(height - 1) * size_t(stride), -stride);
  GoldenComparison result;
  int w = 0, h = 0, channels = 0;
  unsigned char* golden = stbi_load(path.c_str(), &w, &h, &channels, 4);
  if (!golden) return result;
  result.found = w == width && h == height;
  result.pixels = width * height;
  for (int y = 0; result.found && y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      unsigned char const* ours = &pixels[size_t((height - 1 - y) * stride + x * 4)];
      unsigned char const* theirs = &golden[size_t(y * stride + x * 4)];
      int worst = 0;
      for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(int(ours[c]) - int(theirs[c])));
      result.largestDifference = std::max(result.largestDifference, worst);
      if (worst > tolerance) ++result.pixelsOff;
    }
  }
  stbi_image_free(golden);
  return result;
}
