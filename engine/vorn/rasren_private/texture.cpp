#include "texture.h"

#include <algorithm>

#include "ka/die.h"

namespace vorn {

RasRenTexture::RasRenTexture(TextureFactory* factory, TextureFactory* rasterizerFactory,
                             ka::Ref<ka::SharedMutex> sharedMutex, TextureFormat format, int width, int height,
                             int mips, TextureFilter filter, bool srgb, uint32_t category, bool cube)
    : factory_(factory),
      rasterizerFactory_(rasterizerFactory),
      sharedMutex_(std::move(sharedMutex)),
      format_(format),
      filter_(filter),
      width_(width),
      height_(height),
      mips_(mips),
      srgb_(srgb),
      category_(category),
      autoAtlas_(isAutoAtlased(format, width, height, mips, filter)) {
  if (autoAtlas_ && cube) ka::die("Auto atlased cube textures are not supported");
  if (autoAtlas_) {
    TextureFormatInfo const& info = getTextureFormatInfo(format);
    cpuMips_.resize(size_t(mips));
    for (int mip = 0, w = width, h = height; mip < mips; ++mip, w = (w + 1) / 2, h = (h + 1) / 2)
      cpuMips_[size_t(mip)].assign(info.rowSize(size_t(w)) * info.rowCount(size_t(h)), 0);
    return;
  }
  texture_ = cube ? rasterizerFactory_->createCubeTexture(format, width, height, mips, filter, srgb, category)
                  : rasterizerFactory_->createTexture(format, width, height, mips, filter, srgb, category);
}

RasRenTexture::~RasRenTexture() {
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  unlink();
}

bool RasRenTexture::isAutoAtlased(TextureFormat format, int width, int height, int mips, TextureFilter filter) {
  return (format == TF_A8R8G8B8 || format == TF_X8R8G8B8) && width <= 64 && height <= 64 && mips == 1 &&
         (filter & TF_MagLinear);
}

TextureFactory* RasRenTexture::factory() const {
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  return factory_;
}

void RasRenTexture::orphan() { factory_ = nullptr; }

void RasRenTexture::setBits(int mip, void const* data, size_t pitch, TextureCubeFace face) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!autoAtlas_) {
    texture_->setBits(mip, data, pitch, face);
    return;
  }
  if (mip < 0 || mip >= mips_) return;
  // The next draw rebuilds the rasterizer's copy from these bits.
  texture_.reset();
  size_t w = std::max(1, width_ >> mip), h = std::max(1, height_ >> mip);
  TextureFormatInfo const& info = getTextureFormatInfo(format_);
  copyTextureData(cpuMips_[size_t(mip)].data(), 0, data, pitch, w, h, info);
}

void RasRenTexture::updateBits(int mip, int x, int y, size_t width, size_t height, void const* data,
                               TextureCubeFace face) {
  ka::Ref<Texture> texture = rasterizerTexture();
  texture->updateBits(mip, x, y, width, height, data, face);
}

void RasRenTexture::updateBits(int mip, int x, int y, size_t width, size_t height, size_t pitch, void const* data,
                               TextureCubeFace face) {
  ka::Ref<Texture> texture = rasterizerTexture();
  texture->updateBits(mip, x, y, width, height, pitch, data, face);
}

void RasRenTexture::setDynamic(bool dynamic) { rasterizerTexture()->setDynamic(dynamic); }

void RasRenTexture::setDescriptor(uint64_t descriptor) { rasterizerTexture()->setDescriptor(descriptor); }

void RasRenTexture::generateMips() { rasterizerTexture()->generateMips(); }

ka::Ref<Texture> RasRenTexture::rasterizerTexture() const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!texture_) texture_ = makeRasterizerTexture();
  return texture_;
}

ka::Ref<Texture> RasRenTexture::makeRasterizerTexture() const {
  ka::Ref<Texture> texture =
      rasterizerFactory_->createTexture(format_, width_, height_, mips_, filter_, srgb_, category_);
  for (int mip = 0; mip < mips_; ++mip) texture->setBits(mip, cpuMips_[size_t(mip)].data(), 0, CUBE_PositiveX);
  return texture;
}

}  // namespace vorn
