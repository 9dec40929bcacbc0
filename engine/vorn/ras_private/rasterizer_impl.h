// The graphics-interface-free half of a rasterizer: it makes states and shaders unique, holds the
// current value of every state and applies only what changed, in a fixed order, before a draw.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vorn/rasmesh.h"
#include "vorn/rasterizer.h"

namespace vorn::ras {

// The hash of a state description's raw bytes: its identity in the unique maps.
uint64_t hash_memory(void const* data, size_t length);

class RasterizerImpl : public Rasterizer {
 public:
  static constexpr int kTextureChannels = 64;
  // Capability bits, read by the renderer.
  enum Capability : uint32_t {
    CAP_AdvancedVirtualTextures = 2,
    CAP_AdvancedBatching = 4,
    CAP_GammaCorrect = 32,
  };

  explicit RasterizerImpl(HalObjectFactory& factory);

  void init() override;
  ka::Ref<HalVertexShader> createVertexShader(ka::RefNoCount<Filesystem> fs, std::string const& name) override;
  ka::Ref<HalPixelShader> createPixelShader(ka::RefNoCount<Filesystem> fs, std::string const& name) override;
  ka::Ref<HalDepthState> createDepthState(HalDepthState::Desc const& desc) override;
  ka::Ref<HalRasterizerState> createRasterizerState(HalRasterizerState::Desc const& desc) override;
  ka::Ref<HalBlendState> createBlendState(HalBlendState::Desc const& desc) override;
  HalStateObject* getDefaultState(StateType type) override;
  void setDepthState(ka::RefNoCount<HalDepthState> state) override;
  void setRasterizerState(ka::RefNoCount<HalRasterizerState> state) override;
  void setBlendState(ka::RefNoCount<HalBlendState> state) override;
  void setShaderProgram(ka::RefNoCount<HalShaderProgram> program) override;
  void setStreamSource(std::vector<ka::RefNoCount<RasMeshVertexBuffer const>> const& streams) override;
  void setStreamSource(ka::RefNoCount<RasMeshVertexBuffer const> stream) override;
  void setTexture(int channel, ka::RefNoCount<Texture const> texture, bool immediate) override;
  void setTextureBuffer(int channel, ka::RefNoCount<TextureBuffer const> buffer, bool immediate) override;
  void dirtyState(StateType type) override;

  // Binds channel n's texture on texture unit n.
  virtual void applyTextureChannel(int channel) = 0;

  uint32_t capabilities() const { return capabilities_; }
  std::vector<ka::Ref<RasMeshVertexBuffer const>> const& streamSources() const { return streams_; }
  VertexFormat currentVertexFormat() const { return vertexFormat_; }
  HalDepthState* currentDepthState() const { return depth_; }
  uint32_t dirtyStateMask() const { return dirtyState_; }
  uint64_t dirtyTextureChannels() const { return dirtyTextureChannels_; }

  // Channels hold their objects counted: channel 0 is bound again at every draw, so a texture
  // released while still set must not be destroyed under it.
  struct TextureChannel {
    enum Kind : uint8_t { KIND_Texture = 0, KIND_TextureBuffer = 1 };
    Kind kind = KIND_Texture;
    ka::Ref<Texture const> texture;
    ka::Ref<TextureBuffer const> buffer;
  };
  TextureChannel const& textureChannel(int channel) const { return channels_[channel]; }

 protected:
  // The fixed order before every draw; channel 0 is re-applied every time, since uploads and copies
  // bind their textures through it behind the cache.
  void applyDirtyState();
  void setCapabilities(uint32_t bits) { capabilities_ = bits; }

 private:
  void markChannel(int channel, bool immediate);

  HalObjectFactory& factory_;
  uint32_t capabilities_ = 0;
  std::map<std::string, ka::Ref<HalVertexShader>> vertexShaders_;
  std::map<std::string, ka::Ref<HalPixelShader>> pixelShaders_;
  std::map<uint64_t, ka::Ref<HalDepthState>> depthStates_;
  std::map<uint64_t, ka::Ref<HalRasterizerState>> rasterizerStates_;
  std::map<uint64_t, ka::Ref<HalBlendState>> blendStates_;
  // Current states are borrowed: the unique maps keep them alive, so a set is a pointer compare.
  HalDepthState* depth_ = nullptr;
  HalRasterizerState* rasterizer_ = nullptr;
  HalBlendState* blend_ = nullptr;
  // Counted, unlike the states: a program or stream let go while still current would otherwise be
  // used after it is gone, or a new one at the same address would pass for it.
  ka::Ref<HalShaderProgram> program_;
  HalParameterBlock* parameterBlock_ = nullptr;
  HalTextureBlock* textureBlock_ = nullptr;
  ka::Ref<HalDepthState> defaultDepth_;
  ka::Ref<HalRasterizerState> defaultRasterizer_;
  ka::Ref<HalBlendState> defaultBlend_;
  HalVertexLayout* vertexLayout_ = nullptr;
  std::vector<ka::Ref<RasMeshVertexBuffer const>> streams_;
  VertexFormat vertexFormat_ = VF_None;
  std::array<TextureChannel, kTextureChannels> channels_{};
  uint64_t dirtyTextureChannels_ = ~uint64_t(0);
  uint32_t dirtyState_ = ~uint32_t(0);
};

}  // namespace vorn::ras
