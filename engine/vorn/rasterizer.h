// The drawing interface the renderer stands on: render targets, textures, buffers, shaders, three
// state objects, draw and clear calls and a frame bracket. Free of any graphics interface: the
// caching layer and the OpenGL back end sit behind it.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ka/color.h"
#include "ka/counted.h"
#include "ka/rect.h"
#include "ka/vecmath.h"
#include "ras_formats.h"
#include "ras_memory_tracker.h"

namespace vorn {

class Filesystem;
class RasMeshVertexBuffer;
class TextureFactory;

enum TextureCubeFace : uint32_t {
  CUBE_PositiveX = 0,
  CUBE_NegativeX = 1,
  CUBE_PositiveY = 2,
  CUBE_NegativeY = 3,
  CUBE_PositiveZ = 4,
  CUBE_NegativeZ = 5,
};

// A texture's data may be set from any thread; it reaches the graphics interface when the texture
// is first used for drawing.
class Texture : public ka::Counted {
 public:
  virtual TextureFactory* factory() const = 0;
  virtual int width() const = 0;
  virtual int height() const = 0;
  // Replaces a whole mip level; `pitch` 0 means packed rows.
  virtual void setBits(int mip, void const* data, size_t pitch, TextureCubeFace face) = 0;
  // Rendering thread only: replaces a rectangle of a mip at once.
  virtual void updateBits(int mip, int x, int y, size_t width, size_t height, void const* data,
                          TextureCubeFace face) = 0;
  virtual void updateBits(int mip, int x, int y, size_t width, size_t height, size_t pitch, void const* data,
                          TextureCubeFace face) = 0;
  // A dynamic texture keeps its CPU copy after upload.
  virtual void setDynamic(bool dynamic) = 0;
  virtual void setDescriptor(uint64_t descriptor) = 0;
  virtual void generateMips() = 0;
};

// Buffer textures are switched off in this system; the type exists for the interface.
class TextureBuffer : public ka::Counted {};

class VertexBuffer : public ka::Counted {
 public:
  virtual void setBits(void const* data, size_t length) = 0;
  virtual void* map() = 0;
  // Null where ranged mapping is not offered.
  virtual void* mapRange(int offset, int length) = 0;
  virtual void unmap() = 0;
  virtual bool isMapped() = 0;
  virtual void updateRange(int offset, int length, void* data) = 0;
};

class IndexBuffer : public ka::Counted {
 public:
  virtual void setBits(void const* data, size_t length) = 0;
};

class Presenter {
 public:
  virtual ~Presenter() = default;
  // Puts the default render target on the window; swapping is the view's job.
  virtual void present() = 0;
};

class TextureFactory {
 public:
  virtual ~TextureFactory() = default;
  virtual ka::Ref<Texture> createTexture(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                         bool srgb, uint32_t category) = 0;
  virtual ka::Ref<Texture> createCubeTexture(TextureFormat format, int width, int height, int mips,
                                             TextureFilter filter, bool srgb, uint32_t category) = 0;
};

class TextureBufferFactory {
 public:
  virtual ~TextureBufferFactory() = default;
  virtual ka::Ref<TextureBuffer> createTextureBuffer(TextureFormat format, int size, bool dynamic,
                                                     uint32_t category) = 0;
};

class MaterialBindingTable;

namespace ras {

// Bit numbers of the dirty flags of the caching layer.
enum StateType : uint32_t {
  ST_Depth = 0,
  ST_Rasterizer = 1,
  ST_Blend = 2,
  ST_ShaderProgram = 3,
  ST_ParameterBlock = 4,
  ST_TextureBlock = 5,
  ST_VertexStreams = 7,
};

enum ClearFlags : uint32_t { CLEAR_Color = 1, CLEAR_Depth = 2, CLEAR_Stencil = 4 };

enum BufferUse : uint32_t { BU_Static = 0, BU_Dynamic = 1, BU_Stream = 2 };

// The top bit means compressed.
enum ResourceType : uint32_t {
  RT_Texture2D = 0,
  RT_Cubemap = 1,
  RT_Texture3D = 2,
  RT_VertexBuffer = 3,
  RT_IndexBuffer = 4,
  RT_Compressed = 0x80000000u,
  RT_CompressedTexture2D = 0x80000000u,
  RT_CompressedCubemap = 0x80000001u,
};

char const* getNameFromType(ResourceType type);

// Resource tracking key: the category in the upper 32 bits, the ResourceType in the lower.
inline uint64_t makeDescriptor(uint32_t category, uint32_t type) { return uint64_t(category) << 32 | type; }

class HalStateObject : public ka::Counted {
 public:
  virtual void apply() = 0;
};

// The three state descriptions are hashed by their raw bytes, padding included, so each constructor
// zeroes the whole record before any field is set: equal fields then mean equal bytes.
class HalDepthState : public HalStateObject {
 public:
  struct Desc {
    Desc() { std::memset(this, 0, sizeof *this); }
    bool enable;
    bool writeMask;
    uint32_t func;  // 0 equal, 1 not equal, 2 less, 3 less or equal, 4 greater or equal, 5 greater, 6 never, 7 always
  };
};

class HalRasterizerState : public HalStateObject {
 public:
  struct Desc {
    Desc() { std::memset(this, 0, sizeof *this); }
    bool solid;  // false draws lines
    bool dither;
    uint8_t writeMask;  // bit 3 red, 2 green, 1 blue, 0 alpha
    uint32_t cullMode;  // 0 front, 1 back, 2 front and back, 3 none
    int32_t depthBias;
    float depthBiasClamp;
    float slopeScaledDepthBias;
  };
};

class HalBlendState : public HalStateObject {
 public:
  struct Desc {
    Desc() { std::memset(this, 0, sizeof *this); }
    bool enable;
    // Factors: 0 zero, 1 one, 2 source colour, 3 destination colour, 4 one minus source colour,
    // 5 one minus destination colour, 6 source alpha, 7 destination alpha, 8 one minus source alpha,
    // 9 one minus destination alpha. Operators: 0 add, 1 subtract, 2 minimum, 3 maximum.
    uint32_t srcBlend;
    uint32_t destBlend;
    uint32_t blendOp;
  };
};

class HalParameterBlock : public HalStateObject {
 public:
  virtual void setMatrix(int slot, ka::Mat4x4f const& value) = 0;
  virtual void setMatrixArray(int slot, ka::Mat4x4f const* values, int count) = 0;
  virtual void setVector(int slot, ka::Vec4<float> const& value) = 0;
};

class HalTextureBlock : public HalStateObject {
 public:
  virtual void setTexture(int slot, ka::RefNoCount<Texture const> texture) = 0;
  virtual void setTextureBuffer(int slot, ka::RefNoCount<TextureBuffer const> buffer) = 0;
};

class HalVertexLayout : public HalStateObject {
 public:
  enum Format : uint32_t {
    FMT_Float = 0,
    FMT_HalfFloat = 1,
    FMT_Int32 = 2,
    FMT_UInt32 = 3,
    FMT_Int16 = 4,
    FMT_UInt16 = 5,
    FMT_Int8 = 6,
    FMT_UInt8 = 7,
    FMT_Int8Normalized = 8,
    FMT_UInt8Normalized = 9,
  };
  enum Usage : uint32_t {
    USAGE_Position = 0,
    USAGE_Normal = 1,
    USAGE_Tangent = 2,
    USAGE_Binormal = 3,
    USAGE_Color = 4,
    USAGE_TexCoord = 5,
    USAGE_Weights = 6,
    USAGE_Bones = 7,
    USAGE_FColor = 8,
  };
  // One attribute, of a mesh's vertex (offset is its byte offset) or of a shader (offset is its
  // attribute location).
  struct VertexElement {
    std::string name;
    uint32_t usageIndex = 0;
    Format format = FMT_Float;
    uint32_t count = 0;
    int32_t stream = -1;
    int32_t offset = 0;
    uint32_t reserved = 0;
    Usage usage = USAGE_Position;
  };

  // Picks the attribute bindings for the current vertex streams.
  virtual void rebind() = 0;
};

class HalVertexShader : public HalStateObject {};
class HalPixelShader : public HalStateObject {};

class HalShaderProgram : public HalStateObject {
 public:
  virtual HalVertexLayout* vertexLayout() const = 0;
  virtual HalParameterBlock* parameterBlock() const = 0;
  virtual HalTextureBlock* textureBlock() const = 0;
};

class RenderTarget : public ka::Counted {
 public:
  virtual int numTextures() const = 0;
  virtual int width() const = 0;
  virtual int height() const = 0;
  virtual int mips() const = 0;
  virtual TextureFormat depthFormat() const = 0;
  virtual TextureFilter filter() const = 0;
  virtual ka::Ref<Texture> getTexture(int index) = 0;
  virtual ka::Ref<Texture> getDepthTexture() = 0;
  // A target of the same size whose attachment i is this target's attachment shareIndices[i] where
  // that is 0 or more, and a new texture otherwise.
  virtual ka::Ref<RenderTarget> createSuperTarget(int count, TextureFormat* formats, bool* srgb, int* shareIndices,
                                                  TextureFormat depthFormat, bool shareDepth) = 0;
  virtual void copy(int attachment, ka::RefNoCount<Texture> texture, int mip, int x, int y, int dstX, int dstY,
                    int width, int height) = 0;
  // To a null target copies to the window.
  virtual void copy(int attachment, ka::RefNoCount<RenderTarget> target, int dstAttachment, ClearFlags flags,
                    int srcX, int srcY, int dstX, int dstY, int width, int height, TextureFilter filter) = 0;
  // Which attachments draws reach: -1 all, else a bit per attachment.
  virtual void setDrawMask(int mask) = 0;
  virtual void setViewport(ka::Rect<int> const& viewport) = 0;
  // Reads a whole attachment in its own pixel format; false when the rasterizer is gone.
  virtual bool downloadTextureData(int attachment, void* dst) = 0;
  // Starts a read that a fence later says is done; the target must be bound.
  virtual void prepareAsyncDownload(int attachment) = 0;
  virtual void processAsyncDownload(int attachment, std::function<void(void const*)> const& callback) = 0;
  virtual void cancelAsyncDownload(int attachment) = 0;
};

class Fence : public ka::Counted {
 public:
  virtual bool isReady() const = 0;
};

// What the caching layer asks its back end to make.
class HalObjectFactory {
 public:
  virtual ~HalObjectFactory() = default;
  virtual ka::Ref<HalVertexLayout> createHalVertexLayout(
      ka::RefNoCount<HalVertexShader> shader, std::vector<HalVertexLayout::VertexElement> const& elements) = 0;
  // Empty when the shader does not build.
  virtual ka::Ref<HalVertexShader> createHalVertexShader(ka::RefNoCount<Filesystem> fs, std::string const& name) = 0;
  virtual ka::Ref<HalPixelShader> createHalPixelShader(ka::RefNoCount<Filesystem> fs, std::string const& name) = 0;
  virtual ka::Ref<HalParameterBlock> createHalParameterBlock() = 0;
  virtual ka::Ref<HalDepthState> createHalDepthState(HalDepthState::Desc const& desc) = 0;
  virtual ka::Ref<HalRasterizerState> createHalRasterizerState(HalRasterizerState::Desc const& desc) = 0;
  virtual ka::Ref<HalBlendState> createHalBlendState(HalBlendState::Desc const& desc) = 0;
};

class Rasterizer {
 public:
  Rasterizer();
  virtual ~Rasterizer();
  Rasterizer(Rasterizer const&) = delete;
  Rasterizer& operator=(Rasterizer const&) = delete;

  virtual void init() = 0;
  // 1: z from -1 to 1.
  virtual int getClipSpaceConvention() const = 0;
  virtual bool needHalfPixelOffset() const = 0;
  virtual bool hasBottomLeftOrigin() const = 0;
  virtual TextureFactory* getTextureFactory() = 0;
  virtual TextureBufferFactory* getTextureBufferFactory() = 0;
  virtual MaterialBindingTable* getBindingTable() const = 0;
  virtual ka::Ref<VertexBuffer> createVertexBuffer(size_t size, BufferUse use, uint32_t category) = 0;
  virtual ka::Ref<IndexBuffer> createIndexBuffer(IndexFormat format, size_t count, BufferUse use,
                                                 uint32_t category) = 0;
  virtual ka::Ref<HalVertexShader> createVertexShader(ka::RefNoCount<Filesystem> fs, std::string const& name) = 0;
  virtual ka::Ref<HalPixelShader> createPixelShader(ka::RefNoCount<Filesystem> fs, std::string const& name) = 0;
  virtual ka::Ref<HalShaderProgram> createShaderProgram(ka::RefNoCount<HalVertexShader> vertexShader,
                                                        ka::RefNoCount<HalPixelShader> pixelShader) = 0;
  virtual ka::Ref<HalDepthState> createDepthState(HalDepthState::Desc const& desc) = 0;
  virtual ka::Ref<HalRasterizerState> createRasterizerState(HalRasterizerState::Desc const& desc) = 0;
  virtual ka::Ref<HalBlendState> createBlendState(HalBlendState::Desc const& desc) = 0;
  // For depth, rasterizer and blend only.
  virtual HalStateObject* getDefaultState(StateType type) = 0;
  virtual void setDepthState(ka::RefNoCount<HalDepthState> state) = 0;
  virtual void setRasterizerState(ka::RefNoCount<HalRasterizerState> state) = 0;
  virtual void setBlendState(ka::RefNoCount<HalBlendState> state) = 0;
  virtual void setShaderProgram(ka::RefNoCount<HalShaderProgram> program) = 0;
  virtual void setStreamSource(std::vector<ka::RefNoCount<RasMeshVertexBuffer const>> const& streams) = 0;
  virtual void setStreamSource(ka::RefNoCount<RasMeshVertexBuffer const> stream) = 0;
  // Without `immediate` the channel is bound at the next draw.
  virtual void setTexture(int channel, ka::RefNoCount<Texture const> texture, bool immediate) = 0;
  virtual void setTextureBuffer(int channel, ka::RefNoCount<TextureBuffer const> buffer, bool immediate) = 0;
  // Sizes are in pixels; `srgb` and `formats` have `count` entries.
  virtual ka::Ref<RenderTarget> createRenderTarget(int count, TextureFormat* formats, bool* srgb,
                                                   TextureFormat depthFormat, int width, int height, int mips,
                                                   TextureFilter filter) = 0;
  // Returns the target that was current before.
  virtual ka::Ref<RenderTarget> setRenderTarget(ka::RefNoCount<RenderTarget> target) = 0;
  // A back-buffer-sized target halved `shift` times, kept until the next resize; empty when a side
  // would be 0.
  virtual ka::Ref<RenderTarget> getBackBufferScratchTarget(int index, int shift);
  virtual void getBackbufferSize(int& width, int& height) = 0;
  virtual ka::Ref<RenderTarget> getDefaultRenderTarget() = 0;
  virtual bool beginScene() = 0;
  virtual void enableSRGB(bool enable) = 0;
  virtual void clear(ClearFlags flags, ka::Color4f const& color, float depth, int stencil) = 0;
  virtual void setIndices(ka::RefNoCount<IndexBuffer> buffer) = 0;
  // Counts are primitives, not vertices or indices.
  virtual void drawIndexedPrimitive(PrimitiveType type, int baseVertexIndex, int minIndex, int numVertices,
                                    int startIndex, int primitiveCount) = 0;
  virtual void drawPrimitive(PrimitiveType type, int start, int primitiveCount) = 0;
  virtual void drawIndexedBatch(PrimitiveType type, int baseVertexIndex, int minIndex, int numVertices,
                                int startIndex, int primitiveCount, int instanceCount) = 0;
  virtual void drawBatch(PrimitiveType type, int start, int primitiveCount, int instanceCount) = 0;
  virtual void endScene() = 0;
  virtual void dirtyState(StateType type) = 0;
  virtual Presenter* getPresenter() = 0;
  virtual void resize(int width, int height) = 0;
  virtual ka::Ref<Fence> addFence() = 0;

  RasterizerResourceMemoryTracker& memoryTracker() { return tracker_; }

 protected:
  // Called when the back buffer changes size.
  void clearScratchTargets() { scratchTargets_.clear(); }

 private:
  std::map<int, ka::Ref<RenderTarget>> scratchTargets_;
  RasterizerResourceMemoryTracker tracker_;
};

}  // namespace ras
}  // namespace vorn
