#include "vorn/rasren.h"

#include <algorithm>
#include <stdexcept>

#include "ka/die.h"
#include "ka/log.h"
#include "ka/region.h"
#include "vorn/file_stream.h"
#include "vorn/mesh_builder.h"
#include "vorn/profiler.h"
#include "vorn/rasren_private/effect.h"
#include "vorn/rasren_private/lighting_engine.h"
#include "vorn/rasren_private/scene.h"
#include "vorn/rasren_private/scene_viewport.h"
#include "vorn/rasren_private/texture.h"
#include "vorn/rasren_private/virtual_texture_engine.h"

namespace vorn {

RasRen::RasRen(ras::Rasterizer* rasterizer, Presenter* presenter, ka::RefNoCount<Filesystem> fs, Profiler& profiler)
    : RasMeshFactory(*rasterizer),
      rasterizer_(rasterizer),
      presenter_(presenter),
      fs_(fs.ref()),
      profiler_(profiler),
      sharedMutex_(new ka::SharedMutex) {
  // No capability bit of this rasterizer selects the advanced engine: the downlevel one always.
  virtualTextures_ = std::make_unique<RasRenVirtualTextureEngineDownlevel>(this);
}

ren::VirtualTextureEngine* RasRen::getVirtualTextureEngine() { return virtualTextures_.get(); }

RasRen::~RasRen() {
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  scenes_.forEach([](RasRenScene* scene) {
    scene->orphan();
    scene->unlink();
  });
  textures_.forEach([](RasRenTexture* texture) {
    texture->orphan();
    texture->unlink();
  });
}

ren::Renderer* createRasterRenderer(ras::Rasterizer* rasterizer, Presenter* presenter, ka::RefNoCount<Filesystem> fs,
                                    Profiler& profiler) {
  return new RasRen(rasterizer, presenter, fs, profiler);
}

ka::Ref<ren::Scene> RasRen::createScene() {
  ka::Ref<RasRenScene> scene(new RasRenScene(this));
  scenes_.pushBack(scene.get());
  return scene;
}

void RasRen::loadEffects(std::string const& path) {
  std::unique_ptr<File> file = fs_->open(path, nullptr);
  if (!file) {
    KA_LOG(Info) << "Failed to load effect file " << path;
    return;
  }
  KA_LOG(Info) << "Loading effects from file " << path;
  ka::Json document;
  try {
    FileStream in(file.release(), true);
    document = ka::Json::readFrom(in);
  } catch (std::runtime_error const& error) {
    // The effect files ship with the program: a damaged one is a broken installation.
    ka::dief("Effect file %s cannot be read: %s", path.c_str(), error.what());
  }
  ka::Json effects = document.get("effects");
  if (effects.type() != ka::Json::TYPE_Array) return;
  for (size_t i = 0; i < effects.arrayLength(); ++i) {
    ka::Json definition = effects.get(i);
    if (!definition.hasKey("name")) ka::die("Invalid effect data.");
    std::string name = definition.get("name").asString("");
    if (effects_.count(name)) ka::dief("Duplicate effect %s", name.c_str());
    ka::Ref<RasRenEffect> effect(new RasRenEffect(*rasterizer_, fs_));
    effect->loadFromJson(definition, path);
    effects_.emplace(std::move(name), std::move(effect));
  }
}

ka::Ref<RasRenEffect> RasRen::getRasRenEffect(std::string const& name, bool skinned) {
  std::string key = skinned ? "skinned_" + name : name;
  ka::Ref<RasRenEffect>& effect = effects_[key];
  if (!effect) KA_LOG(Info) << "Error! Failed to find effect " << key;
  return effect;
}

ka::Ref<ren::SceneViewport> RasRen::createSceneViewport(ka::Rect<int> const& rect, ka::RefNoCount<ren::Scene> scene) {
  return ka::Ref<ren::SceneViewport>(new RasRenSceneViewport(this, rect, scene));
}

ka::Ref<ren::RenderChain> RasRen::createRenderChain(ka::RefNoCount<ren::SceneViewport> viewport, float scale,
                                                   bool hdr, ka::RefNoCount<Texture const> exposureWeighting) {
  auto* own = dynamic_cast<RasRenSceneViewport*>(viewport.get());
  return ka::Ref<ren::RenderChain>(new RasRenRenderChain(this, own, scale, hdr, exposureWeighting));
}

void RasRen::addViewport(ka::RefNoCount<ren::Viewport> viewport) {
  removeViewport(viewport);
  viewports_.push_back(dynamic_cast<RasRenViewport*>(viewport.get()));
}

void RasRen::removeViewport(ka::RefNoCount<ren::Viewport> viewport) {
  auto* own = dynamic_cast<RasRenViewport*>(viewport.get());
  viewports_.erase(std::remove_if(viewports_.begin(), viewports_.end(),
                                  [own](ka::Ref<RasRenViewport> const& v) { return v.get() == own; }),
                   viewports_.end());
}

void RasRen::present() {
  if (!rasterizer_->beginScene()) return;
  // What the last frame's quads were drawn from may be filled again.
  for (auto& buffer : usedQuadVertices_) freeQuadVertices_.push_back(std::move(buffer));
  usedQuadVertices_.clear();
  for (auto& buffer : usedQuadIndices_) freeQuadIndices_.push_back(std::move(buffer));
  usedQuadIndices_.clear();
  charBitmaps_->prune();
  int width = 0, height = 0;
  rasterizer_->getBackbufferSize(width, height);
  ka::Rect<int> whole{0, 0, width, height};
  // Top down, until an opaque viewport hides everything below it.
  ka::Region uncovered(whole);
  std::vector<RasRenViewport*> visible;
  for (auto it = viewports_.rbegin(); it != viewports_.rend() && !uncovered.empty(); ++it) {
    RasRenViewport* viewport = it->get();
    if (!viewport) continue;
    visible.push_back(viewport);
    if (viewport->getOpaque()) uncovered.differenceWith(viewport->rect());
  }
  if (!uncovered.empty()) {
    if (ka::Ref<ras::RenderTarget> target = rasterizer_->getDefaultRenderTarget()) target->setViewport(whole);
    rasterizer_->clear(ras::ClearFlags(ras::CLEAR_Color | ras::CLEAR_Depth | ras::CLEAR_Stencil), {0, 0, 0, 0}, 1.0f,
                       0);
  }
  for (auto it = visible.rbegin(); it != visible.rend(); ++it) (*it)->render();
  rasterizer_->endScene();
  if (presenter_) presenter_->present();
}

namespace {

constexpr size_t kQuadBufferSize = 340;
// Six indices to every four vertices: a buffer of 340 indices would hold the indices of only 56 of
// the 85 quads whose vertices fill the vertex buffer.
constexpr size_t kQuadIndexCount = kQuadBufferSize / 4 * 6;

template <class Buffer, class Make>
ka::Ref<Buffer> lend(std::vector<ka::Ref<Buffer>>& free, std::vector<ka::Ref<Buffer>>& used, Make const& make) {
  ka::Ref<Buffer> buffer;
  if (free.empty()) {
    buffer = make();
  } else {
    buffer = std::move(free.back());
    free.pop_back();
  }
  used.push_back(buffer);
  return buffer;
}

}  // namespace

ka::Ref<RasMeshVertexBuffer> RasRen::getQuadVertexBuffer() {
  return lend(freeQuadVertices_, usedQuadVertices_, [this] {
    return createVertexBuffer(VF_Position3Color4bTexCoord2, kQuadBufferSize, ras::BU_Dynamic, 0);
  });
}

ka::Ref<RasMeshIndexBuffer> RasRen::getQuadIndexBuffer() {
  return lend(freeQuadIndices_, usedQuadIndices_,
              [this] { return createIndexBuffer(IF_UInt16, kQuadIndexCount, ras::BU_Dynamic, 0); });
}

RasRenLightingEngine& RasRen::lightingEngine() {
  if (!lightingEngine_) lightingEngine_ = std::make_unique<RasRenLightingEngine>(this);
  return *lightingEngine_;
}

void RasRen::drawQuadMesh(RasRenTechnique& technique) {
  ka::Ref<Mesh> quad = getQuadMesh();
  rasterizer_->setStreamSource(quad->getVertexBuffer());
  ka::Ref<RasMeshIndexBuffer> indices = quad->getIndexBuffer();
  rasterizer_->setIndices(indices ? indices->buffer() : nullptr);
  technique.begin();
  if (indices) {
    rasterizer_->drawIndexedPrimitive(PRIM_Triangles, 0, 0, 4, 0, 2);
  } else {
    rasterizer_->drawPrimitive(PRIM_Triangles, 0, 2);
  }
  technique.end();
}

ka::Ref<Mesh> RasRen::getQuadMesh() {
  if (quadMesh_) return quadMesh_;
  MeshBuilder<VertexP3C4bT2> builder(this);
  auto corner = [](float x, float y) { return VertexP3C4bT2{{x, y, 0}, 0xffffffffu, {x, y}}; };
  builder.addTri(corner(0, 0), corner(1, 0), corner(1, 1));
  builder.addTri(corner(1, 1), corner(0, 1), corner(0, 0));
  builder.flush();
  quadMesh_ = builder.meshes().front();
  return quadMesh_;
}

ka::Ref<Texture> RasRen::createTexture(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                       bool srgb, uint32_t category) {
  return createTextureInternal(format, width, height, mips, filter, srgb, category, false);
}

ka::Ref<Texture> RasRen::createCubeTexture(TextureFormat format, int width, int height, int mips,
                                           TextureFilter filter, bool srgb, uint32_t category) {
  return createTextureInternal(format, width, height, mips, filter, srgb, category, true);
}

ka::Ref<Texture> RasRen::createTextureInternal(TextureFormat format, int width, int height, int mips,
                                               TextureFilter filter, bool srgb, uint32_t category, bool cube) {
  ka::Ref<RasRenTexture> texture(new RasRenTexture(this, rasterizer_->getTextureFactory(), sharedMutex_, format, width,
                                                   height, mips, filter, srgb, category, cube));
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  textures_.pushBack(texture.get());
  return texture;
}

ka::Ref<TextureBuffer> RasRen::createTextureBuffer(TextureFormat format, int size, bool dynamic, uint32_t category) {
  return rasterizer_->getTextureBufferFactory()->createTextureBuffer(format, size, dynamic, category);
}

ka::Ref<Texture const> RasRen::getRasterizerTexture(ka::RefNoCount<Texture const> texture) {
  if (!texture) return nullptr;
  if (texture->factory() != this) return texture.ref();
  return static_cast<RasRenTexture const*>(texture.get())->rasterizerTexture();
}

Material RasRen::getRasterizerMaterial(Material const& material) {
  Material result = material;
  if (!result.defined()) return result;
  for (auto const& [name, texture] : material.textureParams()) {
    if (!texture) continue;
    TextureFactory* origin = texture->factory();
    if (origin == this) {
      result.setTexture(name, getRasterizerTexture(texture));
    } else if (origin != rasterizer_->getTextureFactory()) {
      ka::die("Texture didn't originate with this renderer");
    }
  }
  result.freeze();
  return result;
}

}  // namespace vorn
