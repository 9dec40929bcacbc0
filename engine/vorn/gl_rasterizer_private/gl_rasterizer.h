// The rasterizer on desktop OpenGL: capabilities, the default target and presenter, draw calls
// counted for the profiler, and the delayed destruction and recycling of GL objects, so that
// objects released on any thread are only touched on the rendering thread.
#pragma once

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "gl_buffer.h"
#include "gl_render_target.h"
#include "gl_texture.h"
#include "ka/dlist.h"
#include "ka/mutex.h"
#include "vorn/ras_private/rasterizer_impl.h"

namespace ka {
class TaskQueue;
}

namespace vorn {
class Profiler;
}

namespace vorn::ras {

class GLRasterizer;

class GLPresenter : public Presenter {
 public:
  explicit GLPresenter(GLRasterizer& rasterizer) : rasterizer_(rasterizer) {}
  // Copies the default target to the window's frame buffer.
  void present() override;

 private:
  GLRasterizer& rasterizer_;
};

class GLRasterizer : public RasterizerImpl,
                     public TextureFactory,
                     public TextureBufferFactory,
                     public HalObjectFactory {
 public:
  // Buffers up to this size are recycled by exact size.
  static constexpr size_t kRecycleLimit = 0x100000;
  // Frames a released buffer waits in the pool before it is destroyed, counted by endScene.
  static constexpr int kRecycleAge = 4;

  GLRasterizer(Profiler& profiler, ka::TaskQueue* queue);
  // Needs the context current: what is still alive loses its GL names and lives on bare.
  ~GLRasterizer() override;

  void init() override;
  int getClipSpaceConvention() const override { return 1; }
  bool needHalfPixelOffset() const override { return false; }
  bool hasBottomLeftOrigin() const override { return true; }
  bool supportsRenderTargets() const { return true; }
  TextureFactory* getTextureFactory() override { return this; }
  TextureBufferFactory* getTextureBufferFactory() override { return this; }
  MaterialBindingTable* getBindingTable() const override { return bindingTable_.get(); }
  ka::Ref<VertexBuffer> createVertexBuffer(size_t size, BufferUse use, uint32_t category) override;
  ka::Ref<IndexBuffer> createIndexBuffer(IndexFormat format, size_t count, BufferUse use, uint32_t category) override;
  ka::Ref<HalShaderProgram> createShaderProgram(ka::RefNoCount<HalVertexShader> vertexShader,
                                                ka::RefNoCount<HalPixelShader> pixelShader) override;
  ka::Ref<RenderTarget> createRenderTarget(int count, TextureFormat* formats, bool* srgb, TextureFormat depthFormat,
                                           int width, int height, int mips, TextureFilter filter) override;
  ka::Ref<RenderTarget> setRenderTarget(ka::RefNoCount<RenderTarget> target) override;
  void getBackbufferSize(int& width, int& height) override;
  ka::Ref<RenderTarget> getDefaultRenderTarget() override { return defaultTarget_; }
  bool beginScene() override;
  void enableSRGB(bool enable) override;
  void clear(ClearFlags flags, ka::Color4f const& color, float depth, int stencil) override;
  void setIndices(ka::RefNoCount<IndexBuffer> buffer) override { indices_ = buffer.ref(); }
  void drawIndexedPrimitive(PrimitiveType type, int baseVertexIndex, int minIndex, int numVertices, int startIndex,
                            int primitiveCount) override;
  void drawPrimitive(PrimitiveType type, int start, int primitiveCount) override;
  void drawIndexedBatch(PrimitiveType type, int baseVertexIndex, int minIndex, int numVertices, int startIndex,
                        int primitiveCount, int instanceCount) override;
  void drawBatch(PrimitiveType type, int start, int primitiveCount, int instanceCount) override;
  void endScene() override;
  Presenter* getPresenter() override { return &presenter_; }
  void resize(int width, int height) override;
  ka::Ref<Fence> addFence() override;
  void applyTextureChannel(int channel) override;

  // TextureFactory, TextureBufferFactory.
  ka::Ref<Texture> createTexture(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                 bool srgb, uint32_t category) override;
  ka::Ref<Texture> createCubeTexture(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                     bool srgb, uint32_t category) override;
  // A render target's attachment: clamped at its edges, so that filters reading past them see the
  // edge rather than the opposite side.
  ka::Ref<Texture> createAttachmentTexture(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                           bool srgb, uint32_t category) {
    return createTextureInternal(format, width, height, mips, filter, srgb, category, TW_CLAMP);
  }
  // Buffer textures are off: always empty.
  ka::Ref<TextureBuffer> createTextureBuffer(TextureFormat format, int size, bool dynamic, uint32_t category) override;

  // HalObjectFactory.
  ka::Ref<HalVertexLayout> createHalVertexLayout(ka::RefNoCount<HalVertexShader> shader,
                                                 std::vector<HalVertexLayout::VertexElement> const& elements) override;
  ka::Ref<HalVertexShader> createHalVertexShader(ka::RefNoCount<Filesystem> fs, std::string const& name) override;
  ka::Ref<HalPixelShader> createHalPixelShader(ka::RefNoCount<Filesystem> fs, std::string const& name) override;
  ka::Ref<HalParameterBlock> createHalParameterBlock() override;
  ka::Ref<HalDepthState> createHalDepthState(HalDepthState::Desc const& desc) override;
  ka::Ref<HalRasterizerState> createHalRasterizerState(HalRasterizerState::Desc const& desc) override;
  ka::Ref<HalBlendState> createHalBlendState(HalBlendState::Desc const& desc) override;

  // Binds a texture on a unit now, through the channel table, even when the channel already holds
  // it: uploads and copies need it on the active unit whatever GL was left with.
  void bindOnChannel(int channel, Texture const* texture);
  // Enters a target made elsewhere in the set of live targets.
  ka::Ref<RenderTarget> registerRenderTarget(GLRenderTarget* target);
  // Where a resource whose last reference went waits for the next endScene; called under the
  // shared mutex.
  void queueForDelete(GLTexture* texture);
  void queueForDelete(GLVertexBuffer* buffer);
  void queueForDelete(GLIndexBuffer* buffer);
  void queueForDelete(GLRenderTarget* target);

  ka::SharedMutex& sharedMutex() { return *sharedMutex_; }
  ka::Ref<ka::SharedMutex> sharedMutexRef() const { return sharedMutex_; }
  bool srgbEnabled() const { return srgbEnabled_; }
  // Vertex buffers waiting in the recycling pool; for tests and reports.
  size_t pooledVertexBuffers() const;

 private:
  template <class Buffer>
  using Pool = std::unordered_map<size_t, std::vector<std::pair<int, Buffer*>>>;

  template <class Buffer>
  static Buffer* takeFromPool(Pool<Buffer>& pool, size_t size);
  template <class Buffer>
  static size_t pooled(Pool<Buffer> const& pool);
  template <class Buffer>
  static void ageTrash(Pool<Buffer>& pool, std::vector<Buffer*>& trash, int frames);
  ka::Ref<Texture> createTextureInternal(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                         bool srgb, uint32_t category, TextureWrap wrap);
  void note(char const* event, long long count);
  void notePrimitives(PrimitiveType type, long long count);
  void destroyTrash();

  ka::Ref<ka::SharedMutex> sharedMutex_;
  Profiler& profiler_;
  ka::TaskQueue* queue_;
  GLPresenter presenter_;
  int backWidth_ = -1, backHeight_ = -1;
  bool srgbEnabled_ = false;
  GLuint vertexArray_ = 0;
  ka::DList<GLVertexBuffer> vertexBuffers_;
  ka::DList<GLIndexBuffer> indexBuffers_;
  ka::DList<GLTexture> textures_;
  ka::DList<GLTextureBuffer> textureBuffers_;
  std::unordered_set<GLRenderTarget*> renderTargets_;
  Pool<GLVertexBuffer> vertexPool_;
  Pool<GLIndexBuffer> indexPool_;
  std::vector<GLVertexBuffer*> vertexTrash_;
  std::vector<GLIndexBuffer*> indexTrash_;
  std::vector<GLTexture*> textureTrash_;
  std::vector<GLTextureBuffer*> textureBufferTrash_;
  std::vector<GLRenderTarget*> targetsToDelete_;
  ka::Ref<IndexBuffer> indices_;
  ka::Ref<RenderTarget> defaultTarget_;
  ka::Ref<RenderTarget> currentTarget_;
  std::unique_ptr<MaterialBindingTable> bindingTable_;
};

// A resource's last reference went, on any thread: with its rasterizer gone it is deleted at once;
// otherwise it leaves the memory count and waits for the rendering thread.
template <class Resource>
void releaseGLResource(Resource* resource, GLResourceLink& link, uint64_t descriptor, uint32_t size) {
  ka::Ref<ka::SharedMutex> shared = link.shared();
  std::unique_lock<ka::SharedMutex> lock(*shared);
  GLRasterizer* rasterizer = link.rasterizer;
  if (!rasterizer) {
    lock.unlock();
    delete resource;
    return;
  }
  if (size) rasterizer->memoryTracker().removeResource(descriptor, size);
  rasterizer->queueForDelete(resource);
}

}  // namespace vorn::ras
