// The renderer as a game sees it: scenes of instances, viewports on a stack, and the frame.
// Lighting, render chains, text and the rest join as they are built.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ka/color.h"
#include "ka/counted.h"
#include "ka/frustum.h"
#include "ka/quat.h"
#include "ka/rect.h"
#include "ka/string_range.h"
#include "ka/vecmath.h"
#include "vorn/material.h"

namespace vorn {

class Font;
class Mesh;
class MeshFactory;
struct VertexP3C4bT2;
class TextureFactory;
class TextureBufferFactory;

namespace ren {

class Renderer;

// How an instance's matrix composes with the camera.
enum TransformKind : int {
  TK_World = 0,
  // Drawn first, with the camera's translation taken out of the view: stays centred on the camera.
  TK_CameraCentred = 1,
  // Kept in the scene but out of every drawing list.
  TK_Hidden = 4,
};

// Debug views of a scene viewport, for engine programmers; they never change a normal frame.
enum Visualization : int {
  VIS_None = 0,
  VIS_PrelightWireframe = 1,  // lit meshes' "PrelightWireframe" technique, where an effect has one
  VIS_GBuffer = 5,            // the four G-buffer attachments in the four quarters
  VIS_Material = 6,           // albedo
  VIS_Normal = 7,             // the encoded normals
  VIS_Depth = 8,              // linear depth, near bright
  VIS_HdrDownsample = 10,     // the smallest downsampled scene in the bottom left corner
  VIS_NoBloom = 11,
  VIS_Bloom = 12,             // the bloom in the bottom right corner
};

// Stored for the renderer's users; nothing draws differently by it yet.
using RenderQuality = int;

// Anything a scene holds; `remove` takes it out, after which it is inert.
class SceneInstance : public ka::Counted {
 public:
  virtual void remove() = 0;
};

class LODGroup;

class MeshInstance : public SceneInstance {
 public:
  virtual void setTransform(ka::Mat4x4f const& transform) = 0;
  virtual void setTransformKind(TransformKind kind) = 0;
  // Lower orders draw first; it decides before distance and state.
  virtual void setDrawOrder(int order) = 0;
  // Draws the mesh once per matrix, through the shader's "WorldTransformArray".
  virtual void setTransforms(ka::Mat4x4f const* transforms, int count) = 0;
  // Draws the mesh instanced, once per matrix, each applied before the instance's own transform;
  // a count of 0 ends it. Techniques with a "Batch" variant draw each 4096 in one call, others
  // draw once per matrix.
  virtual void setBatchTransforms(ka::Mat4x4f const* transforms, int count, int stride) = 0;
  virtual void setMaterial(int group, Material const& material) = 0;
  // By the material group's name, ignoring case; an unknown name changes nothing.
  virtual void setMaterial(ka::StringRange group, Material const& material) = 0;
  // Drawn while the group's level lies within lodMin to lodMax.
  virtual void setLODGroup(ka::RefNoCount<LODGroup> group, int lodMin, int lodMax) = 0;
  // Sorted back to front by squared distance plus `bias` among equal draw orders.
  virtual void setRequiresDistanceSort(bool sort, float bias) = 0;
  // Drawn wherever the camera looks, without the frustum's or the occluders' test (as instances
  // with several transforms always are).
  virtual void setBypassCulling(bool bypass) = 0;
};

// A sphere that hides what lies wholly behind it.
class Occluder : public SceneInstance {
 public:
  virtual void setSphere(ka::Sphere const& sphere) = 0;
};

// Thousands of copies of one mesh over a sphere round the group's origin, such as trees on a
// planet: kept in cells of latitude and longitude, culled by cell, and drawn instanced.
class BatchedMeshGroup : public SceneInstance {
 public:
  // Its translation is the sphere's centre, added to every instance's.
  virtual void setTransform(ka::Mat4x4f const& transform) = 0;
  virtual void setTransformKind(TransformKind kind) = 0;
  virtual void setDrawOrder(int order) = 0;
  virtual void setMaterial(int group, Material const& material) = 0;
  virtual void setMaterial(ka::StringRange group, Material const& material) = 0;
  // A handle for `removeInstance`; all ones when the instance could not be placed.
  virtual uint32_t addInstance(ka::Mat4x4f const& transform) = 0;
  // An unknown handle is ignored.
  virtual void removeInstance(uint32_t handle) = 0;
  virtual void removeAllInstances() = 0;
  // Cells whose centre is this far from the camera or farther draw as impostors.
  virtual void setImpostorDistance(float distance) = 0;
  // Impostors thin out before this distance and are not drawn beyond it.
  virtual void setFadeDistance(float distance) = 0;
};

// Picks one level of detail for its members by the distance from the camera to a reference point.
class LODGroup : public SceneInstance {
 public:
  // Ascending distances; level i lies below cutoff i.
  virtual void setCutoffs(std::vector<float> const& cutoffs) = 0;
  // The point is in the instance's own space.
  virtual void setReference(ka::RefNoCount<MeshInstance> instance, ka::Vec3<float> const& point) = 0;
};

// A textured quad: the user interface's picture. Quads of a frame are sorted, small pictures packed
// into atlases, and drawn in few calls.
class UIQuadInstance : public SceneInstance {
 public:
  virtual void setTransform(ka::Mat4x4f const& transform) = 0;
  virtual void setTransformKind(TransformKind kind) = 0;
  virtual void setDrawOrder(int order) = 0;
  // Four corners, drawn as the triangles 0 1 2 and 2 3 0.
  virtual void setVerts(VertexP3C4bT2 const* corners) = 0;
  virtual void setTexture(ka::RefNoCount<Texture const> texture) = 0;
};

// A line of text, drawn as quads from the font's glyphs every frame. The pen starts at the origin
// and moves along the baseline vector by each glyph's advance (in units of that vector); glyphs
// stand along the up vector.
class TextInstance : public SceneInstance {
 public:
  virtual void setTransform(ka::Mat4x4f const& transform) = 0;
  virtual void setTransformKind(TransformKind kind) = 0;
  virtual void setDrawOrder(int order) = 0;
  virtual void setOrigin(ka::Vec3<float> const& origin) = 0;
  virtual void setBaseline(ka::Vec3<float> const& baseline) = 0;
  virtual void setUp(ka::Vec3<float> const& up) = 0;
  // UTF-8.
  virtual void setText(ka::StringRange text) = 0;
  virtual void setFont(ka::RefNoCount<Font const> font) = 0;
  virtual void setColor(ka::Color4f const& colour) = 0;
};

// A depth picture of what a light sees, made again during the lighting pass, that its lights
// sample to leave in shadow what lies behind something else.
class ShadowMap : public ka::Counted {
 public:
  virtual ka::Ref<Texture> getTexture() = 0;
  // Measures each frame, from the G-buffer, the region of the map that the camera's surfaces fall
  // in, for shaders that fit the map to it; the shipped ones use the whole map.
  virtual void setFeedbackFitting(bool on) = 0;
};

// A set of lights drawn together, in order with the environment's other layers. Lights are in the
// environment's default layer (order 0) unless they are given another.
class LightLayer : public ka::Counted {
 public:
  // The layer's lights go back to the default layer.
  virtual void remove() = 0;
  virtual void setEnabled(bool enabled) = 0;
  // Lower orders draw first; equal orders in either order.
  virtual void setOrder(float order) = 0;
  // What the layer draws with, where it draws with a material of its own.
  virtual void setMaterial(Material const& material) = 0;
};

// Soft zones of influence around many emitters drawn as one surface: the lights of its layer are
// drawn, with the effect of its material, into a screen-sized channel, and its resolver layer then
// draws that channel into the scene with the same material's "_resolve" effect.
class LightDistanceField : public LightLayer {
 public:
  // 32 keeps the field in floats; anything else in 8 bits.
  virtual void setBitDepth(int bits) = 0;
  // Given to the material as its vector "ldf_range".
  virtual void setRange(ka::Vec2<float> const& range) = 0;
  // With auto-hide the resolver draws only in frames where the field had a light.
  virtual void setAutoHide(bool autoHide) = 0;
  virtual ka::Ref<LightLayer> getResolver() = 0;
};

// A light of a lighting environment. Its shape follows from what was set last: a direction makes it
// directional, a position and radius a point light, a transform a box (projective when its last
// column is not 0, 0, 0, 1), and a sweep axis of non-zero length a capsule.
class LightInstance : public SceneInstance {
 public:
  virtual void setEnabled(bool enabled) = 0;
  virtual void setDiffuseColor(ka::Color4f const& colour) = 0;
  // Black draws without the specular term, which is cheaper.
  virtual void setSpecularColor(ka::Color4f const& colour) = 0;
  // The way the light travels, in world space.
  virtual void setDirection(ka::Vec3<float> const& direction) = 0;
  virtual void setPosition(ka::Vec3<float> const& position) = 0;
  // Takes a world point into the light's unit box (affine) or clip cube (projective); the shadow
  // map, if any, renders through the same matrix.
  virtual void setTransform(ka::Mat4x4f const& transform) = 0;
  // As above, with the shadow map rendering through a matrix of its own.
  virtual void setTransform(ka::Mat4x4f const& transform, ka::Mat4x4f const& shadowTransform) = 0;
  // Only the shadow map's matrix (world to the light's clip cube): a directional light's way to
  // say what its shadows cover, keeping its shape.
  virtual void setShadowTransform(ka::Mat4x4f const& shadowTransform) = 0;
  // Made by the same environment; null for none.
  virtual void setShadowMap(ka::RefNoCount<ShadowMap> map) = 0;
  // A layer of the same environment; null for the default one.
  virtual void setLayer(ka::RefNoCount<LightLayer> layer) = 0;
  virtual void setSweepAxis(ka::Vec3<float> const& axis) = 0;
  virtual void setRadius(float radius) = 0;
  // A picture projected by a box light; null for white.
  virtual void setGobo(ka::RefNoCount<Texture const> gobo) = 0;
  // Draws the light's volume flat instead of lighting.
  virtual void setDebug(bool debug) = 0;
};

// A sphere of fog that blends what lies behind it towards its colour.
class FogInstance : public SceneInstance {
 public:
  virtual void setEnabled(bool enabled) = 0;
  virtual void setDensity(float density) = 0;
  virtual void setColor(ka::Color4f const& colour) = 0;
  virtual void setPosition(ka::Vec3<float> const& position) = 0;
  virtual void setRadius(float radius) = 0;
};

// The lights, fogs and ambient light that lit meshes naming it receive.
class LightingEnvironment : public ka::Counted {
 public:
  // Sky, horizon, ground and a fourth, unused colour, as the ambient lookup of `setAmbient`.
  virtual ka::Ref<Texture> createAmbientLookup(ka::Color4f const* four) = 0;
  // Ambient light by the normal's angle to `direction` (world space); a null lookup is black.
  virtual void setAmbient(ka::Vec3<float> const& direction, ka::Vec3<float> const& centre,
                          ka::RefNoCount<Texture const> lookup) = 0;
  // `depthBits` 16, 24 or 32; anything else ends the process.
  virtual ka::Ref<ShadowMap> createShadowMap(int depthBits, int width, int height) = 0;
  // `name` names it in logs.
  virtual ka::Ref<LightDistanceField> createDistanceField(std::string const& name) = 0;
  // Removes every light and fog.
  virtual void clear() = 0;
  virtual ka::Ref<LightInstance> addLight() = 0;
  virtual ka::Ref<FogInstance> addFog() = 0;
  // The light and fog that transparent lit meshes, which cannot read the G-buffer, receive.
  virtual void setPrimaryLight(ka::RefNoCount<LightInstance> light) = 0;
  virtual void setPrimaryFog(ka::RefNoCount<FogInstance> fog) = 0;
};

class Scene : public ka::Counted {
 public:
  // Null once the renderer is gone.
  virtual Renderer* getRenderer() const = 0;
  // Removes every instance.
  virtual void clear() = 0;
  virtual ka::Ref<LightingEnvironment> createLightingEnvironment() = 0;
  // Lit effects draw unlit without an environment, or once it is gone: the mesh does not keep it.
  virtual ka::Ref<MeshInstance> addMesh(ka::RefNoCount<Mesh> mesh, ka::RefNoCount<LightingEnvironment> environment,
                                        ka::Mat4x4f const& transform, TransformKind kind) = 0;
  ka::Ref<MeshInstance> addMesh(ka::RefNoCount<Mesh> mesh, ka::Mat4x4f const& transform, TransformKind kind) {
    return addMesh(mesh, nullptr, transform, kind);
  }
  // Instances of the mesh are added to the group; lit like the meshes of `environment`.
  virtual ka::Ref<BatchedMeshGroup> addBatchedMeshGroup(ka::RefNoCount<Mesh> mesh,
                                                        ka::RefNoCount<LightingEnvironment> environment,
                                                        ka::Mat4x4f const& transform) = 0;
  virtual ka::Ref<TextInstance> addText(ka::Vec3<float> const& origin, ka::Vec3<float> const& baseline,
                                        ka::Vec3<float> const& up, ka::RefNoCount<Font const> font,
                                        ka::StringRange text, ka::Color4f const& colour,
                                        ka::Mat4x4f const& transform) = 0;
  // `corners`: four, as UIQuadInstance::setVerts takes them.
  virtual ka::Ref<UIQuadInstance> addUIQuad(VertexP3C4bT2 const* corners, ka::RefNoCount<Texture const> texture,
                                            ka::Mat4x4f const& transform, TransformKind kind) = 0;
  virtual ka::Ref<LODGroup> addLODGroup() = 0;
  virtual ka::Ref<Occluder> addOccluder() = 0;
  // Seconds, given to shaders as "Time".
  virtual void setTime(double time) = 0;
};

// The offscreen frame of one scene viewport: a G-buffer drawn at a scale of the result's size,
// optionally HDR with bloom and eye adaptation, a list of post passes, overlays, and a read-back of
// the finished picture. A viewport without one draws straight into the window.
class RenderChain : public ka::Counted {
 public:
  // The G-buffer's size is the result's times `scale`; only the last copy runs at full size.
  virtual void setResolutionScaling(float scale) = 0;
  virtual void enableFXAA(bool enable) = 0;
  // Techniques of the effect "Post" run, in order, on the finished picture of every frame.
  virtual void appendTechnique(std::string const& name) = 0;
  // A picture drawn over the result with a "Post" technique ("Default" for an empty name), placed in
  // pixels of the G-buffer from its top left; returns its id.
  virtual int addPip(ka::Rect<int> const& rect, ka::RefNoCount<Texture const> texture,
                     std::string const& technique) = 0;
  virtual void removePip(int id) = 0;
  // Copies each finished frame, `width` by `height`, into one of two targets in turn, for
  // `downloadTarget`; false drops both.
  virtual void enableDownloadTarget(bool enable, int width, int height) = 0;
  // The copy before the last (the one not being drawn) as B, G, R, A bytes, rows from the bottom,
  // width times height times 4 of them; nothing when disabled.
  virtual void downloadTarget(void* dst) = 0;
};

// A rectangle of the window that the renderer's stack draws. Derived from virtually, so that an
// implementation that is also the renderer's own kind of viewport has one count.
class Viewport : public ka::Counted {};

class SceneViewport : public virtual Viewport {
 public:
  virtual void setBackground(ka::Color4f const& colour) = 0;
  // A cube texture drawn behind the scene, turned by `rotation`; null for none.
  virtual void setSkyboxBackground(ka::RefNoCount<Texture const> cube, ka::Quatf const& rotation) = 0;
  // Null takes the scene away; the viewport then draws nothing.
  virtual void setScene(ka::RefNoCount<Scene> scene) = 0;
  virtual void setViewMatrix(ka::Mat4x4f const& view) = 0;
  virtual void setProjectionMatrix(ka::Mat4x4f const& projection) = 0;
  virtual void setFrustum(ka::Frustum const& frustum) = 0;
  // Pixels from the top left of the window.
  virtual void setRect(ka::Rect<int> const& rect) = 0;
  // Null draws straight into the window again.
  virtual void setRenderChain(ka::RefNoCount<RenderChain> chain) = 0;
  virtual void setVisualization(Visualization visualization) = 0;
  // Shows the virtual textures' feedback of the last frame in the bottom left corner, or stops.
  virtual void toggleFeedbackBufferPip() = 0;
};

// A page of a virtual texture: its rectangle in the texture's 0-to-1 space, its place in pages
// at its mip, and the texture's id.
struct VTPageInfo {
  float left, top, right, bottom;
  int x, y, mip, textureId;
};

// What a page mapper draws into a page: rectangles in the texture's 0-to-1 space, each in a
// material whose effect has a "RenderVTPage" technique (else its "Default") and tinted by a
// colour; texture coordinates run from 0 to 1 over each rectangle. The page keeps a border of two
// texels beyond its rectangle, which filtering reads: draw a little past the page to fill it;
// whatever falls farther out is cut off.
class VTDrawList {
 public:
  virtual void addRect(float left, float top, float right, float bottom, Material const& material,
                       ka::Color4f const& colour) = 0;

 protected:
  ~VTDrawList() = default;
};

// Makes a page's content when the camera first needs it; false leaves the page for a later frame.
class VTPageMapper : public ka::Counted {
 public:
  virtual bool mapPage(VTPageInfo const& page, VTDrawList& drawList) = 0;
};

// A very large texture of which only the pages the camera sees are drawn, by its page mapper,
// into a cache that all virtual textures share.
class VirtualTexture : public ka::Counted {
 public:
  // The material drawn from this texture: its effect the "v" variant of its own.
  virtual Material getVirtualMaterial(Material const& material) = 0;
  virtual void setPageMapper(ka::RefNoCount<VTPageMapper> mapper) = 0;
  // Pages that meet these rectangles (left, top, right, bottom in 0 to 1) are drawn again.
  virtual void invalidateRegions(std::vector<std::array<float, 4>> const& regions) = 0;
};

class VirtualTextureEngine {
 public:
  // The cache in pixels and the side of a page; existing pages are dropped.
  virtual void setCacheSize(int width, int height, int pageSize) = 0;
  // Added to every virtual texture's choice of mip: above 0 asks for coarser pages.
  virtual void setCacheMipBias(float bias) = 0;
  // Sizes in pixels, at most 16 textures at once.
  virtual ka::Ref<VirtualTexture> createVirtualTexture(int width, int height, int mips) = 0;

 protected:
  ~VirtualTextureEngine() = default;
};

class Renderer {
 public:
  virtual ~Renderer() = default;
  // 1: clip z from -1 to 1.
  virtual int getClipSpaceConvention() const = 0;
  virtual TextureFactory* getTextureFactory() = 0;
  virtual TextureBufferFactory* getTextureBufferFactory() = 0;
  virtual MeshFactory* getMeshFactory() = 0;
  virtual VirtualTextureEngine* getVirtualTextureEngine() = 0;
  virtual ka::Ref<Scene> createScene() = 0;
  // Reads a list of effects from the filesystem, by virtual path.
  virtual void loadEffects(std::string const& path) = 0;
  // Not drawn until it is added to the stack.
  virtual ka::Ref<SceneViewport> createSceneViewport(ka::Rect<int> const& rect, ka::RefNoCount<Scene> scene) = 0;
  // Becomes the viewport's chain. `exposureWeighting` weights each pixel's say in the HDR
  // exposure (null: all alike).
  virtual ka::Ref<RenderChain> createRenderChain(ka::RefNoCount<SceneViewport> viewport, float scale, bool hdr,
                                                 ka::RefNoCount<Texture const> exposureWeighting) = 0;
  virtual void clearViewportStack() = 0;
  // Puts the viewport on top of the stack, moving it there if it was already on it.
  virtual void addViewport(ka::RefNoCount<Viewport> viewport) = 0;
  virtual void removeViewport(ka::RefNoCount<Viewport> viewport) = 0;
  // Draws the stack, bottom first, and shows the frame.
  virtual void present() = 0;
  virtual void setRenderQuality(RenderQuality quality) = 0;
  // The material as the renderer will draw it: its textures the rasterizer's own, frozen.
  virtual Material optimizeMaterial(Material const& material) = 0;
};

}  // namespace ren
}  // namespace vorn
