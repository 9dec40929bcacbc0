// Writes a test's picture as a PNG beside the test's other output, for a person to look at.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <stb_image_write.h>

// Rows bottom-up as OpenGL reads them; `channels` bytes a pixel.
inline bool writeGLPicturePng(std::string const& name, int width, int height, int channels,
                              std::vector<unsigned char> const& pixels) {
  std::filesystem::create_directories(ZANDOR_TEST_OUTPUT_DIR);
  std::string path = std::string(ZANDOR_TEST_OUTPUT_DIR) + "/" + name + ".png";
  int stride = width * channels;
  return stbi_write_png(path.c_str(), width, height, channels, pixels.data() + size_t(height - 1) * stride,
                        -stride) != 0;
}

// Rows top-down, as a window or a page is read; `pixels` has width * height * 3 bytes (R, G, B).
inline bool writeTopDownPng(std::string const& name, int width, int height, std::vector<unsigned char> const& pixels) {
  if (pixels.size() != size_t(width) * size_t(height) * 3) return false;
  std::filesystem::create_directories(ZANDOR_TEST_OUTPUT_DIR);
  std::string path = std::string(ZANDOR_TEST_OUTPUT_DIR) + "/" + name + ".png";
  return stbi_write_png(path.c_str(), width, height, 3, pixels.data(), width * 3) != 0;
}
