#include "rasterizer_impl.h"

#include <cstring>

#include "vorn/rasmesh.h"

namespace vorn::ras {

uint64_t hash_memory(void const* data, size_t length) {
  auto const* bytes = static_cast<unsigned char const*>(data);
  uint64_t h = 0;
  auto step = [&h](uint64_t value) { h ^= (h >> 2) + (h << 6) + value + 0x9e3779b9; };
  size_t words = length / 8;
  for (size_t i = 0; i < words; ++i) {
    uint64_t word;
    std::memcpy(&word, bytes + i * 8, 8);
    step(word);
  }
  for (size_t i = words * 8; i < length; ++i) step(bytes[i]);
  return h;
}

namespace {

// The hash alone is the identity: two descriptions that collide share the first one's object.
template <class State, class Desc, class Make>
ka::Ref<State> unique(std::map<uint64_t, ka::Ref<State>>& states, Desc const& desc, Make const& make) {
  ka::Ref<State>& slot = states[hash_memory(&desc, sizeof desc)];
  if (!slot) slot = make(desc);
  return slot;
}

// A failed build leaves an empty entry, which counts as a miss: the next request builds again, so
// an edited file can heal.
template <class Shader, class Make>
ka::Ref<Shader> uniqueShader(std::map<std::string, ka::Ref<Shader>>& shaders, std::string const& name,
                             Make const& make) {
  ka::Ref<Shader>& slot = shaders[name];
  if (!slot) slot = make();
  return slot;
}

}  // namespace

RasterizerImpl::RasterizerImpl(HalObjectFactory& factory) : factory_(factory) {}

void RasterizerImpl::init() {
  HalDepthState::Desc depth;
  depth.enable = true;
  depth.writeMask = true;
  depth.func = 2;
  HalRasterizerState::Desc raster;
  raster.solid = true;
  raster.writeMask = 15;
  raster.cullMode = 1;
  HalBlendState::Desc blend;
  blend.srcBlend = 1;
  defaultDepth_ = createDepthState(depth);
  defaultRasterizer_ = createRasterizerState(raster);
  defaultBlend_ = createBlendState(blend);
  depth_ = defaultDepth_.get();
  rasterizer_ = defaultRasterizer_.get();
  blend_ = defaultBlend_.get();
  program_ = nullptr;
  parameterBlock_ = nullptr;
  textureBlock_ = nullptr;
  vertexLayout_ = nullptr;
  dirtyState_ = 0x7fffffff;
}

ka::Ref<HalVertexShader> RasterizerImpl::createVertexShader(ka::RefNoCount<Filesystem> fs, std::string const& name) {
  return uniqueShader(vertexShaders_, name, [&] { return factory_.createHalVertexShader(fs, name); });
}

ka::Ref<HalPixelShader> RasterizerImpl::createPixelShader(ka::RefNoCount<Filesystem> fs, std::string const& name) {
  return uniqueShader(pixelShaders_, name, [&] { return factory_.createHalPixelShader(fs, name); });
}

ka::Ref<HalDepthState> RasterizerImpl::createDepthState(HalDepthState::Desc const& desc) {
  return unique(depthStates_, desc, [&](auto const& d) { return factory_.createHalDepthState(d); });
}

ka::Ref<HalRasterizerState> RasterizerImpl::createRasterizerState(HalRasterizerState::Desc const& desc) {
  return unique(rasterizerStates_, desc, [&](auto const& d) { return factory_.createHalRasterizerState(d); });
}

ka::Ref<HalBlendState> RasterizerImpl::createBlendState(HalBlendState::Desc const& desc) {
  return unique(blendStates_, desc, [&](auto const& d) { return factory_.createHalBlendState(d); });
}

HalStateObject* RasterizerImpl::getDefaultState(StateType type) {
  switch (type) {
    case ST_Depth: return defaultDepth_.get();
    case ST_Rasterizer: return defaultRasterizer_.get();
    case ST_Blend: return defaultBlend_.get();
    default: return nullptr;
  }
}

void RasterizerImpl::setDepthState(ka::RefNoCount<HalDepthState> state) {
  if (state.get() == depth_) return;
  depth_ = state.get();
  dirtyState(ST_Depth);
}

void RasterizerImpl::setRasterizerState(ka::RefNoCount<HalRasterizerState> state) {
  if (state.get() == rasterizer_) return;
  rasterizer_ = state.get();
  dirtyState(ST_Rasterizer);
}

void RasterizerImpl::setBlendState(ka::RefNoCount<HalBlendState> state) {
  if (state.get() == blend_) return;
  blend_ = state.get();
  dirtyState(ST_Blend);
}

void RasterizerImpl::setShaderProgram(ka::RefNoCount<HalShaderProgram> program) {
  if (program.get() == program_.get()) return;
  program_ = program.ref();
  vertexLayout_ = program_ ? program_->vertexLayout() : nullptr;
  parameterBlock_ = program_ ? program_->parameterBlock() : nullptr;
  textureBlock_ = program_ ? program_->textureBlock() : nullptr;
  dirtyState_ |= 1u << ST_ShaderProgram | 1u << ST_ParameterBlock | 1u << ST_TextureBlock | 1u << ST_VertexStreams;
}

void RasterizerImpl::setStreamSource(std::vector<ka::RefNoCount<RasMeshVertexBuffer const>> const& streams) {
  streams_.clear();
  for (auto const& stream : streams) streams_.push_back(stream.ref());
  dirtyState(ST_VertexStreams);
}

void RasterizerImpl::setStreamSource(ka::RefNoCount<RasMeshVertexBuffer const> stream) {
  streams_.clear();
  streams_.push_back(stream.ref());
  dirtyState(ST_VertexStreams);
  vertexFormat_ = stream ? stream->format() : VF_None;
}

void RasterizerImpl::setTexture(int channel, ka::RefNoCount<Texture const> texture, bool immediate) {
  TextureChannel& slot = channels_[size_t(channel)];
  if (slot.kind == TextureChannel::KIND_Texture && slot.texture.get() == texture.get()) return;
  slot.kind = TextureChannel::KIND_Texture;
  slot.texture = texture.ref();
  slot.buffer.reset();
  markChannel(channel, immediate);
}

void RasterizerImpl::setTextureBuffer(int channel, ka::RefNoCount<TextureBuffer const> buffer, bool immediate) {
  TextureChannel& slot = channels_[size_t(channel)];
  if (slot.kind == TextureChannel::KIND_TextureBuffer && slot.buffer.get() == buffer.get()) return;
  slot.kind = TextureChannel::KIND_TextureBuffer;
  slot.buffer = buffer.ref();
  slot.texture.reset();
  markChannel(channel, immediate);
}

void RasterizerImpl::markChannel(int channel, bool immediate) {
  uint64_t bit = uint64_t(1) << channel;
  if (immediate) {
    dirtyTextureChannels_ &= ~bit;
    applyTextureChannel(channel);
  } else {
    dirtyTextureChannels_ |= bit;
  }
}

void RasterizerImpl::dirtyState(StateType type) { dirtyState_ |= 1u << type; }

void RasterizerImpl::applyDirtyState() {
  if (dirtyState_) {
    auto dirty = [this](StateType type) { return (dirtyState_ >> type) & 1; };
    if ((dirty(ST_ShaderProgram) || dirty(ST_VertexStreams)) && vertexLayout_) {
      vertexLayout_->rebind();
      vertexLayout_->apply();
    }
    if (dirty(ST_Depth) && depth_) depth_->apply();
    if (dirty(ST_Rasterizer) && rasterizer_) rasterizer_->apply();
    if (dirty(ST_Blend) && blend_) blend_->apply();
    if (dirty(ST_ShaderProgram) && program_) program_->apply();
    if (dirty(ST_ParameterBlock) && parameterBlock_) parameterBlock_->apply();
    if (dirty(ST_TextureBlock) && textureBlock_) textureBlock_->apply();
    dirtyState_ = 0;
  }
  // Uploads and copies bind their textures through channel 0 behind this cache: put it right.
  applyTextureChannel(0);
  int channel = 0;
  for (uint64_t mask = dirtyTextureChannels_; mask; mask >>= 1, ++channel) {
    if (mask & 1) applyTextureChannel(channel);
  }
  dirtyTextureChannels_ = 0;
}

}  // namespace vorn::ras
