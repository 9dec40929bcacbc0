#include "gl_rasterizer.h"

#include <cstring>

#include "gl_fence.h"
#include "gl_parameter_block.h"
#include "gl_program.h"
#include "gl_shader.h"
#include "gl_vertex_layout.h"
#include "gl_states.h"
#include "ka/die.h"
#include "ka/log.h"
#include "vorn/parameterblock.h"
#include "vorn/profiler.h"
#include "vorn/gl_rasterizer.h"

namespace vorn::ras {

namespace {

struct GLPrimitive {
  GLenum mode;
  int verticesPerPrimitive;
  char const* event;
};

GLPrimitive glPrimitive(PrimitiveType type) {
  switch (type) {
    case PRIM_Points: return {GL_POINTS, 1, "points"};
    case PRIM_Lines: return {GL_LINES, 2, "lines"};
    case PRIM_Triangles: return {GL_TRIANGLES, 3, "tris"};
    default: ka::die("unsupported primitive type");
  }
}

GLenum glIndexType(IndexFormat format) {
  switch (format) {
    case IF_UInt16: return GL_UNSIGNED_SHORT;
    case IF_UInt32: return GL_UNSIGNED_INT;
    default: ka::die("unsupported index buffer format");
  }
}

std::string glString(GLenum name) {
  auto const* text = reinterpret_cast<char const*>(glGetString(name));
  return text ? text : "";
}

template <class T>
void deleteAll(std::vector<T*>& objects) {
  for (T* object : objects) delete object;
  objects.clear();
}

}  // namespace

GLResourceLink::GLResourceLink(GLRasterizer* owner) : rasterizer(owner), sharedMutex(owner->sharedMutexRef()) {}

void GLPresenter::present() {
  ka::Ref<RenderTarget> target = rasterizer_.getDefaultRenderTarget();
  if (!target) return;
  // The scissor applies to the copy: the whole target must be let through.
  target->setViewport({0, 0, target->width(), target->height()});
  rasterizer_.setRenderTarget(target);
  if (!static_cast<GLRenderTarget*>(target.get())->framebuffer()) return;
  target->copy(0, nullptr, 0, CLEAR_Color, 0, 0, 0, 0, target->width(), target->height(), TextureFilter(0));
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

GLRasterizer::GLRasterizer(Profiler& profiler, ka::TaskQueue* queue)
    : RasterizerImpl(static_cast<HalObjectFactory&>(*this)),
      sharedMutex_(new ka::SharedMutex),
      profiler_(profiler),
      queue_(queue),
      presenter_(*this),
      bindingTable_(std::make_unique<MaterialBindingTable>()) {}

GLRasterizer::~GLRasterizer() {
  // What this object holds goes the ordinary way first, through the trash.
  clearScratchTargets();
  indices_.reset();
  currentTarget_.reset();
  defaultTarget_.reset();
  std::vector<GLVertexBuffer*> vertexTrash;
  std::vector<GLIndexBuffer*> indexTrash;
  std::vector<GLTexture*> textureTrash;
  std::vector<GLRenderTarget*> targets;
  {
    std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
    ageTrash(vertexPool_, vertexTrash_, kRecycleAge);
    ageTrash(indexPool_, indexTrash_, kRecycleAge);
    // Whatever is still referenced elsewhere loses its GL names and lives on without us.
    vertexBuffers_.forEach([](GLVertexBuffer* b) { b->orphan(); b->unlink(); });
    indexBuffers_.forEach([](GLIndexBuffer* b) { b->orphan(); b->unlink(); });
    for (GLRenderTarget* target : renderTargets_) target->orphan();
    renderTargets_.clear();
    textures_.forEach([](GLTexture* t) { t->orphan(); t->unlink(); });
    vertexTrash.swap(vertexTrash_);
    indexTrash.swap(indexTrash_);
    textureTrash.swap(textureTrash_);
    targets.swap(targetsToDelete_);
  }
  // Outside the lock: a target's textures release themselves as it goes.
  deleteAll(vertexTrash);
  deleteAll(indexTrash);
  deleteAll(textureTrash);
  deleteAll(targets);
  deleteAll(textureTrash_);
  deleteAll(textureBufferTrash_);
  if (vertexArray_) glDeleteVertexArrays(1, &vertexArray_);
}

void GLRasterizer::init() {
  std::string renderer = glString(GL_RENDERER), vendor = glString(GL_VENDOR);
  KA_LOG(Info) << "HAL initializing...";
  KA_LOG(Info) << "OpenGL Vendor: " << vendor;
  KA_LOG(Info) << "OpenGL Renderer: " << renderer;
  KA_LOG(Info) << "OpenGL Version: " << glString(GL_VERSION);
  KA_LOG(Info) << "OpenGL Shader Language Version: " << glString(GL_SHADING_LANGUAGE_VERSION);
  uint32_t capabilities = 0;
  if (vendor.find("ATI Technologies") != std::string::npos || renderer.find("Intel") != std::string::npos) {
    KA_LOG(Info) << "Gamma correct pipeline not currently supported on this platform.";
  } else {
    KA_LOG(Info) << "Gamma correct pipeline enabled.";
    capabilities |= CAP_GammaCorrect;
  }
  setCapabilities(capabilities);
  KA_LOG(Info) << "Ranged mapping disabled.";
  KA_LOG(Info) << "Advanced instancing disabled.";
  KA_LOG(Info) << "Advanced shader models disabled.";
  KA_LOG(Info) << "Buffer textures disabled.";
  // The state caches and the include texts are process-wide: a second context must start from
  // GL's defaults and today's files, not from what the first one was left with.
  resetGlStateCaches();
  GlHalVertexLayout::sEnabledIndices = 0;
  GlShaderBuilder::resetIncludeCache();
  // Pixel rows are tightly packed everywhere in the engine.
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  // One vertex array object for the life of the context, so that a core profile draws too.
  glGenVertexArrays(1, &vertexArray_);
  glBindVertexArray(vertexArray_);
  if (capabilities & CAP_GammaCorrect) {
    srgbEnabled_ = true;
    enableSRGB(true);
  }
  RasterizerImpl::init();
}

void GLRasterizer::resize(int width, int height) {
  if (width == backWidth_ && height == backHeight_) return;
  backWidth_ = width;
  backHeight_ = height;
  clearScratchTargets();
  TextureFormat format = TF_X8R8G8B8;
  bool srgb = srgbEnabled_;
  defaultTarget_ = createRenderTarget(1, &format, &srgb, TF_D24S8, width, height, 1, TF_AllLinear);
  setRenderTarget(defaultTarget_);
}

void GLRasterizer::getBackbufferSize(int& width, int& height) {
  width = backWidth_;
  height = backHeight_;
}

bool GLRasterizer::beginScene() {
  // The frame starts afresh on the default target, whatever GL was left bound to by present.
  if (currentTarget_) static_cast<GLRenderTarget*>(currentTarget_.get())->markUnbound();
  currentTarget_.reset();
  setRenderTarget(defaultTarget_);
  return true;
}

void GLRasterizer::enableSRGB(bool enable) {
  if (enable) {
    glEnable(GL_FRAMEBUFFER_SRGB);
  } else {
    glDisable(GL_FRAMEBUFFER_SRGB);
  }
}

void GLRasterizer::clear(ClearFlags flags, ka::Color4f const& color, float depth, int stencil) {
  GLbitfield mask = 0;
  if (flags & CLEAR_Color) {
    glClearColor(color.r, color.g, color.b, color.a);
    mask |= GL_COLOR_BUFFER_BIT;
  }
  if (flags & CLEAR_Depth) {
    glClearDepth(depth);
    glDepthMask(GL_TRUE);
    mask |= GL_DEPTH_BUFFER_BIT;
  }
  if (flags & CLEAR_Stencil) {
    glClearStencil(stencil);
    mask |= GL_STENCIL_BUFFER_BIT;
  }
  glClear(mask);
  // The state's cache did not see glDepthMask, so this restores nothing when the cache already
  // matches: the mask may stay on after a clear, which is accepted.
  if ((flags & CLEAR_Depth) && currentDepthState()) currentDepthState()->apply();
}

void GLRasterizer::note(char const* event, long long count) { profiler_.noteEvent(event, count); }

void GLRasterizer::notePrimitives(PrimitiveType type, long long count) { note(glPrimitive(type).event, count); }

void GLRasterizer::drawIndexedPrimitive(PrimitiveType type, int baseVertexIndex, int, int, int startIndex,
                                        int primitiveCount) {
  if (baseVertexIndex != 0) ka::die("unsupported operation: non-zero base_vertex_index");
  GLPrimitive primitive = glPrimitive(type);
  applyDirtyState();
  note("draw indexed prim", 1);
  note(primitive.event, primitiveCount);
  auto* indices = static_cast<GLIndexBuffer*>(indices_.get());
  if (!indices) ka::die("an indexed draw without an index buffer");
  GLenum indexType = glIndexType(indices->format());
  indices->bindBuffer();
  auto offset = uintptr_t(startIndex) * getIndexFormatInfo(indices->format()).bytesPerIndex;
  glDrawElements(primitive.mode, primitiveCount * primitive.verticesPerPrimitive, indexType,
                 reinterpret_cast<void const*>(offset));
}

void GLRasterizer::drawPrimitive(PrimitiveType type, int start, int primitiveCount) {
  GLPrimitive primitive = glPrimitive(type);
  applyDirtyState();
  note("draw prim", 1);
  note(primitive.event, primitiveCount);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  glDrawArrays(primitive.mode, start, primitiveCount * primitive.verticesPerPrimitive);
}

void GLRasterizer::drawIndexedBatch(PrimitiveType type, int baseVertexIndex, int, int, int startIndex,
                                    int primitiveCount, int instanceCount) {
  if (baseVertexIndex != 0) ka::die("unsupported operation: non-zero base_vertex_index");
  GLPrimitive primitive = glPrimitive(type);
  applyDirtyState();
  note("draw indexed batches", 1);
  note("draw indexed batch total", instanceCount);
  note(primitive.event, (long long)primitiveCount * instanceCount);
  auto* indices = static_cast<GLIndexBuffer*>(indices_.get());
  if (!indices) ka::die("an indexed draw without an index buffer");
  GLenum indexType = glIndexType(indices->format());
  indices->bindBuffer();
  auto offset = uintptr_t(startIndex) * getIndexFormatInfo(indices->format()).bytesPerIndex;
  glDrawElementsInstanced(primitive.mode, primitiveCount * primitive.verticesPerPrimitive, indexType,
                          reinterpret_cast<void const*>(offset), instanceCount);
}

void GLRasterizer::drawBatch(PrimitiveType type, int start, int primitiveCount, int instanceCount) {
  GLPrimitive primitive = glPrimitive(type);
  applyDirtyState();
  note("draw batches", 1);
  note("draw batch total", instanceCount);
  // Not multiplied by the instances, unlike the indexed batch.
  note(primitive.event, primitiveCount);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  glDrawArraysInstanced(primitive.mode, start, primitiveCount * primitive.verticesPerPrimitive, instanceCount);
}

template <class Buffer>
void GLRasterizer::ageTrash(Pool<Buffer>& pool, std::vector<Buffer*>& trash, int frames) {
  for (auto bucket = pool.begin(); bucket != pool.end();) {
    auto& entries = bucket->second;
    for (size_t i = 0; i < entries.size();) {
      if (entries[i].first <= frames) {
        entries[i].second->unlink();
        trash.push_back(entries[i].second);
        entries.erase(entries.begin() + i);
      } else {
        entries[i].first -= frames;
        ++i;
      }
    }
    bucket = entries.empty() ? pool.erase(bucket) : std::next(bucket);
  }
}

void GLRasterizer::destroyTrash() {
  deleteAll(vertexTrash_);
  deleteAll(indexTrash_);
  deleteAll(textureTrash_);
  deleteAll(textureBufferTrash_);
}

void GLRasterizer::endScene() {
  std::vector<GLRenderTarget*> targets;
  {
    std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
    ageTrash(vertexPool_, vertexTrash_, 1);
    ageTrash(indexPool_, indexTrash_, 1);
    destroyTrash();
    targets.swap(targetsToDelete_);
  }
  // A target's textures release themselves as it goes, which takes the shared mutex: they are
  // destroyed in the same call, under the lock again.
  if (!targets.empty()) {
    deleteAll(targets);
    std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
    destroyTrash();
  }
  dirtyState(ST_ShaderProgram);
  dirtyState(ST_TextureBlock);
}

template <class Buffer>
Buffer* GLRasterizer::takeFromPool(Pool<Buffer>& pool, size_t size) {
  auto bucket = pool.find(size);
  if (bucket == pool.end()) return nullptr;
  Buffer* buffer = bucket->second.back().second;
  bucket->second.pop_back();
  if (bucket->second.empty()) pool.erase(bucket);
  return buffer;
}

// A recycled buffer comes back as it was: with its old category, and not counted again by the
// memory tracker until it is released once more.
ka::Ref<VertexBuffer> GLRasterizer::createVertexBuffer(size_t size, BufferUse use, uint32_t category) {
  if (use != BU_Stream && size <= kRecycleLimit) {
    std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
    if (GLVertexBuffer* recycled = takeFromPool(vertexPool_, size)) return recycled;
  }
  auto* buffer = new GLVertexBuffer(this, size, use);
  buffer->store.descriptor = makeDescriptor(category, RT_VertexBuffer);
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  memoryTracker().addResource(buffer->store.descriptor, buffer->getSize());
  vertexBuffers_.pushBack(buffer);
  return buffer;
}

ka::Ref<IndexBuffer> GLRasterizer::createIndexBuffer(IndexFormat format, size_t count, BufferUse use,
                                                     uint32_t category) {
  size_t size = count * getIndexFormatInfo(format).bytesPerIndex;
  if (use != BU_Stream && size <= kRecycleLimit) {
    std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
    if (GLIndexBuffer* recycled = takeFromPool(indexPool_, size)) return recycled;
  }
  auto* buffer = new GLIndexBuffer(this, format, count, use);
  buffer->store.descriptor = makeDescriptor(category, RT_IndexBuffer);
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  memoryTracker().addResource(buffer->store.descriptor, buffer->getSize());
  indexBuffers_.pushBack(buffer);
  return buffer;
}

ka::Ref<Texture> GLRasterizer::createTexture(TextureFormat format, int width, int height, int mips,
                                             TextureFilter filter, bool srgb, uint32_t category) {
  return createTextureInternal(format, width, height, mips, filter, srgb, category, TW_WRAP);
}

ka::Ref<Texture> GLRasterizer::createCubeTexture(TextureFormat format, int width, int height, int mips,
                                                 TextureFilter filter, bool srgb, uint32_t category) {
  return createTextureInternal(format, width, height, mips, filter, srgb, category, TW_CUBE);
}

ka::Ref<Texture> GLRasterizer::createTextureInternal(TextureFormat format, int width, int height, int mips,
                                                     TextureFilter filter, bool srgb, uint32_t category,
                                                     TextureWrap wrap) {
  auto* texture = new GLTexture(this, format, width, height, mips, filter, srgb && srgbEnabled_, wrap);
  uint32_t type = wrap == TW_CUBE ? RT_Cubemap : RT_Texture2D;
  if (isCompressed(format)) type |= RT_Compressed;
  texture->setDescriptor(makeDescriptor(category, type));
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  memoryTracker().addResource(texture->descriptor(), texture->getSize());
  textures_.pushBack(texture);
  return texture;
}

ka::Ref<TextureBuffer> GLRasterizer::createTextureBuffer(TextureFormat, int, bool, uint32_t) { return nullptr; }

ka::Ref<RenderTarget> GLRasterizer::createRenderTarget(int count, TextureFormat* formats, bool* srgb,
                                                       TextureFormat depthFormat, int width, int height, int mips,
                                                       TextureFilter filter) {
  std::vector<GLRenderTarget::Attachment> attachments;
  for (int i = 0; i < count; ++i) attachments.push_back({formats[i], srgb[i], nullptr});
  return registerRenderTarget(
      new GLRenderTarget(this, std::move(attachments), depthFormat, width, height, mips, filter));
}

ka::Ref<RenderTarget> GLRasterizer::registerRenderTarget(GLRenderTarget* target) {
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  renderTargets_.insert(target);
  return target;
}

ka::Ref<RenderTarget> GLRasterizer::setRenderTarget(ka::RefNoCount<RenderTarget> target) {
  if (target.get() == currentTarget_.get()) return currentTarget_;
  if (currentTarget_) static_cast<GLRenderTarget*>(currentTarget_.get())->unbindTarget();
  if (target) static_cast<GLRenderTarget*>(target.get())->bindTarget();
  ka::Ref<RenderTarget> old = std::move(currentTarget_);
  currentTarget_ = target.ref();
  return old;
}

ka::Ref<Fence> GLRasterizer::addFence() { return new GLFence(this); }

void GLRasterizer::applyTextureChannel(int channel) {
  glActiveTexture(GL_TEXTURE0 + channel);
  TextureChannel const& bound = textureChannel(channel);
  if (bound.kind == TextureChannel::KIND_Texture && bound.texture) {
    static_cast<GLTexture*>(const_cast<Texture*>(bound.texture.get()))->bindTexture();
  } else {
    glBindTexture(GL_TEXTURE_2D, 0);
  }
}

void GLRasterizer::bindOnChannel(int channel, Texture const* texture) {
  TextureChannel const& bound = textureChannel(channel);
  if (bound.kind == TextureChannel::KIND_Texture && bound.texture.get() == texture) {
    applyTextureChannel(channel);
  } else {
    setTexture(channel, texture, true);
  }
}

void GLRasterizer::queueForDelete(GLTexture* texture) {
  texture->unlink();
  textureTrash_.push_back(texture);
}

void GLRasterizer::queueForDelete(GLVertexBuffer* buffer) {
  if (buffer->getSize() > kRecycleLimit) {
    buffer->unlink();
    vertexTrash_.push_back(buffer);
  } else {
    vertexPool_[buffer->getSize()].emplace_back(kRecycleAge, buffer);
  }
}

void GLRasterizer::queueForDelete(GLIndexBuffer* buffer) {
  if (buffer->getSize() > kRecycleLimit) {
    buffer->unlink();
    indexTrash_.push_back(buffer);
  } else {
    indexPool_[buffer->getSize()].emplace_back(kRecycleAge, buffer);
  }
}

void GLRasterizer::queueForDelete(GLRenderTarget* target) {
  if (renderTargets_.erase(target)) targetsToDelete_.push_back(target);
}

template <class Buffer>
size_t GLRasterizer::pooled(Pool<Buffer> const& pool) {
  size_t count = 0;
  for (auto const& bucket : pool) count += bucket.second.size();
  return count;
}

size_t GLRasterizer::pooledVertexBuffers() const { return pooled(vertexPool_); }

ka::Ref<HalShaderProgram> GLRasterizer::createShaderProgram(ka::RefNoCount<HalVertexShader> vertexShader,
                                                            ka::RefNoCount<HalPixelShader> pixelShader) {
  if (!vertexShader || !pixelShader) return nullptr;
  ka::Ref<GlHalShaderProgram> program(new GlHalShaderProgram(*this));
  if (!program->create(vertexShader, pixelShader)) return nullptr;
  return program;
}

ka::Ref<HalVertexLayout> GLRasterizer::createHalVertexLayout(ka::RefNoCount<HalVertexShader>,
                                                             std::vector<HalVertexLayout::VertexElement> const& elements) {
  return new GlHalVertexLayout(*this, elements);
}

ka::Ref<HalVertexShader> GLRasterizer::createHalVertexShader(ka::RefNoCount<Filesystem> fs, std::string const& name) {
  ka::Ref<GlHalVertexShader> shader(new GlHalVertexShader);
  if (!shader->create(fs, name)) return nullptr;
  return shader;
}

ka::Ref<HalPixelShader> GLRasterizer::createHalPixelShader(ka::RefNoCount<Filesystem> fs, std::string const& name) {
  ka::Ref<GlHalPixelShader> shader(new GlHalPixelShader);
  if (!shader->create(fs, name)) return nullptr;
  return shader;
}

ka::Ref<HalParameterBlock> GLRasterizer::createHalParameterBlock() { return new GlHalParameterBlock(*this); }

ka::Ref<HalDepthState> GLRasterizer::createHalDepthState(HalDepthState::Desc const& desc) {
  return new GlHalDepthState(desc);
}
ka::Ref<HalRasterizerState> GLRasterizer::createHalRasterizerState(HalRasterizerState::Desc const& desc) {
  return new GlHalRasterizerState(desc);
}
ka::Ref<HalBlendState> GLRasterizer::createHalBlendState(HalBlendState::Desc const& desc) {
  return new GlHalBlendState(desc);
}

std::unique_ptr<Rasterizer> createGLRasterizer(Profiler& profiler, ka::TaskQueue* queue) {
  auto rasterizer = std::make_unique<GLRasterizer>(profiler, queue);
  rasterizer->init();
  return rasterizer;
}

std::string getGLVersionString() { return glString(GL_VERSION); }

}  // namespace vorn::ras
