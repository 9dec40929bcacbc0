// The renderer's texture. A small one-mip picture with linear magnification stays in CPU memory, so
// that quads can pack it into an atlas; it reaches the rasterizer when a draw first needs it there.
// Any other texture lives on the rasterizer from the start.
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "ka/dlist.h"
#include "ka/mutex.h"
#include "vorn/rasterizer.h"

namespace vorn {

class RasRenTexture : public Texture, public ka::DListItem {
 public:
  // `factory` is the renderer's own; `rasterizerFactory` makes what the rasterizer draws with.
  RasRenTexture(TextureFactory* factory, TextureFactory* rasterizerFactory, ka::Ref<ka::SharedMutex> sharedMutex,
                TextureFormat format, int width, int height, int mips, TextureFilter filter, bool srgb,
                uint32_t category, bool cube);
  // Unlinks from the renderer's list under the shared mutex.
  ~RasRenTexture() override;

  // True for one-mip pictures of format 1 or 2, at most 64 pixels a side, magnified linearly.
  static bool isAutoAtlased(TextureFormat format, int width, int height, int mips, TextureFilter filter);

  TextureFactory* factory() const override;
  int width() const override { return width_; }
  int height() const override { return height_; }
  void setBits(int mip, void const* data, size_t pitch, TextureCubeFace face) override;
  void updateBits(int mip, int x, int y, size_t width, size_t height, void const* data, TextureCubeFace face) override;
  void updateBits(int mip, int x, int y, size_t width, size_t height, size_t pitch, void const* data,
                  TextureCubeFace face) override;
  void setDynamic(bool dynamic) override;
  void setDescriptor(uint64_t descriptor) override;
  void generateMips() override;

  // The texture as the rasterizer draws it, made from the CPU copy if it isn't there yet.
  ka::Ref<Texture> rasterizerTexture() const;
  bool autoAtlased() const { return autoAtlas_; }
  TextureFormat format() const { return format_; }
  TextureFilter filter() const { return filter_; }
  bool srgb() const { return srgb_; }
  // The CPU copy of a mip of an auto-atlased texture, packed rows; empty otherwise.
  std::vector<unsigned char> const& cpuBits(int mip) const { return cpuMips_[size_t(mip)]; }
  // `read` gets the CPU copy of a mip under the texture's lock, as bits may be set from any thread.
  template <class Read>
  void readCpuBits(int mip, Read const& read) const {
    static std::vector<unsigned char> const none;
    std::lock_guard<std::mutex> lock(mutex_);
    read(size_t(mip) < cpuMips_.size() ? cpuMips_[size_t(mip)] : none);
  }
  // The renderer is gone: the factory it was is no more.
  void orphan();

 private:
  ka::Ref<Texture> makeRasterizerTexture() const;

  mutable std::mutex mutex_;  // guards the CPU copy and the rasterizer texture
  TextureFactory* factory_;
  TextureFactory* rasterizerFactory_;
  ka::Ref<ka::SharedMutex> sharedMutex_;
  TextureFormat format_;
  TextureFilter filter_;
  int width_, height_, mips_;
  bool srgb_;
  uint32_t category_;
  bool autoAtlas_;
  mutable ka::Ref<Texture> texture_;  // made from the CPU copy when first drawn
  std::vector<std::vector<unsigned char>> cpuMips_;
};

}  // namespace vorn
