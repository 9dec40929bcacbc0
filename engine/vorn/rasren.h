// The renderer on the rasterizer: effects, scenes, a stack of viewports drawn bottom first, and
// textures that the renderer hands out and the rasterizer draws.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ka/dlist.h"
#include "ka/mutex.h"
#include "vorn/charbitmap.h"
#include "vorn/filesystem.h"
#include "vorn/rasmesh.h"
#include "vorn/rasterizer.h"
#include "vorn/renderer.h"

namespace vorn {

class Profiler;
class RasRenEffect;
class RasRenLightingEngine;
class RasRenTechnique;
class RasRenScene;
class RasRenTexture;
class RasRenVirtualTextureEngine;

// What the renderer's stack draws: a rectangle of the window, opaque or not.
class RasRenViewport : public virtual ren::Viewport {
 public:
  virtual ka::Rect<int> rect() const = 0;
  // True when it covers every pixel of its rectangle, so that nothing beneath need be drawn.
  virtual bool getOpaque() const = 0;
  virtual void render() = 0;
};

class RasRen : public ren::Renderer, public RasMeshFactory, public TextureFactory, public TextureBufferFactory {
 public:
  RasRen(ras::Rasterizer* rasterizer, Presenter* presenter, ka::RefNoCount<Filesystem> fs, Profiler& profiler);
  // Scenes and textures that outlive the renderer are orphaned: they stay valid and do nothing.
  ~RasRen() override;

  int getClipSpaceConvention() const override { return rasterizer_->getClipSpaceConvention(); }
  TextureFactory* getTextureFactory() override { return this; }
  TextureBufferFactory* getTextureBufferFactory() override { return this; }
  MeshFactory* getMeshFactory() override { return this; }
  ren::VirtualTextureEngine* getVirtualTextureEngine() override;
  // This renderer's own kind of it.
  RasRenVirtualTextureEngine& virtualTextureEngine() { return *virtualTextures_; }
  ka::Ref<ren::Scene> createScene() override;
  void loadEffects(std::string const& path) override;
  ka::Ref<ren::SceneViewport> createSceneViewport(ka::Rect<int> const& rect, ka::RefNoCount<ren::Scene> scene) override;
  ka::Ref<ren::RenderChain> createRenderChain(ka::RefNoCount<ren::SceneViewport> viewport, float scale, bool hdr,
                                              ka::RefNoCount<Texture const> exposureWeighting) override;
  void clearViewportStack() override { viewports_.clear(); }
  void addViewport(ka::RefNoCount<ren::Viewport> viewport) override;
  void removeViewport(ka::RefNoCount<ren::Viewport> viewport) override;
  void present() override;
  void setRenderQuality(ren::RenderQuality quality) override { quality_ = quality; }
  ren::RenderQuality renderQuality() const { return quality_; }
  Material optimizeMaterial(Material const& material) override { return getRasterizerMaterial(material); }

  ka::Ref<Texture> createTexture(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                 bool srgb, uint32_t category) override;
  ka::Ref<Texture> createCubeTexture(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                     bool srgb, uint32_t category) override;
  ka::Ref<TextureBuffer> createTextureBuffer(TextureFormat format, int size, bool dynamic, uint32_t category) override;

  // A frozen copy whose textures are the rasterizer's own. A texture from any other renderer ends
  // the process.
  Material getRasterizerMaterial(Material const& material);
  ka::Ref<Texture const> getRasterizerTexture(ka::RefNoCount<Texture const> texture);
  // "skinned_" + name for skinned meshes. Empty, having logged, for an unknown effect.
  ka::Ref<RasRenEffect> getRasRenEffect(std::string const& name, bool skinned);

  // Two triangles over the unit square, z 0, texture coordinates equal to x and y, white; made once.
  ka::Ref<Mesh> getQuadMesh();
  // The quad mesh drawn with `technique`, whose parameters the caller has set.
  void drawQuadMesh(RasRenTechnique& technique);
  // Buffers of 340 "Position3Color4bTexCoord2" vertices (85 quads), or of the 510 16-bit indices
  // of as many quads, for the quads of one frame: lent until the next present, then reused.
  ka::Ref<RasMeshVertexBuffer> getQuadVertexBuffer();
  ka::Ref<RasMeshIndexBuffer> getQuadIndexBuffer();

  ras::Rasterizer* rasterizer() const { return rasterizer_; }
  // Where the renderer's own materials (those of UI quads and glyphs) are interned.
  MaterialLibrary* materialLibrary() const { return materialLibrary_.get(); }
  // Glyph pictures of the text instances, pruned once a frame.
  CharBitmapCache& charBitmapCache() { return *charBitmaps_; }
  Profiler& profiler() const { return profiler_; }
  // Made at first use, when the effects are loaded.
  RasRenLightingEngine& lightingEngine();
  // Bottom first.
  std::vector<ka::Ref<RasRenViewport>> const& viewportStack() const { return viewports_; }

 private:
  ka::Ref<Texture> createTextureInternal(TextureFormat format, int width, int height, int mips, TextureFilter filter,
                                         bool srgb, uint32_t category, bool cube);

  ras::Rasterizer* rasterizer_;
  Presenter* presenter_;
  ka::Ref<Filesystem> fs_;
  Profiler& profiler_;
  ka::Ref<ka::SharedMutex> sharedMutex_;  // guards the texture list
  ka::DList<RasRenTexture> textures_;
  std::map<std::string, ka::Ref<RasRenEffect>, std::less<>> effects_;
  ka::DList<RasRenScene> scenes_;
  std::vector<ka::Ref<RasRenViewport>> viewports_;
  std::vector<ka::Ref<RasMeshVertexBuffer>> freeQuadVertices_, usedQuadVertices_;
  std::vector<ka::Ref<RasMeshIndexBuffer>> freeQuadIndices_, usedQuadIndices_;
  ka::Ref<Mesh> quadMesh_;
  std::unique_ptr<RasRenLightingEngine> lightingEngine_;
  struct ReleaseMaterialLibrary {
    void operator()(MaterialLibrary* library) const { releaseMaterialLibrary(library); }
  };
  std::unique_ptr<MaterialLibrary, ReleaseMaterialLibrary> materialLibrary_{createMaterialLibrary()};
  std::unique_ptr<CharBitmapCache> charBitmaps_ = std::make_unique<CharBitmapCache>(this, materialLibrary_.get());
  std::unique_ptr<RasRenVirtualTextureEngine> virtualTextures_;
  ren::RenderQuality quality_ = 1;
};

ren::Renderer* createRasterRenderer(ras::Rasterizer* rasterizer, Presenter* presenter, ka::RefNoCount<Filesystem> fs,
                                    Profiler& profiler);

}  // namespace vorn
