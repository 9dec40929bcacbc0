// Draws a scene through a camera into a rectangle: culls, sorts and sorts out the draw calls, and
// runs the passes, through its render chain's targets when it has one.
#pragma once

#include <deque>
#include <functional>
#include <string_view>
#include <vector>

#include "draw_call.h"
#include "render_chain.h"
#include "scene.h"
#include "vorn/rasren.h"

namespace vorn {

class RasRenSceneViewport : public RasRenViewport, public ren::SceneViewport {
 public:
  RasRenSceneViewport(RasRen* renderer, ka::Rect<int> const& rect, ka::RefNoCount<ren::Scene> scene);
  ~RasRenSceneViewport() override;

  void setBackground(ka::Color4f const& colour) override { background_ = colour; }
  void setSkyboxBackground(ka::RefNoCount<Texture const> cube, ka::Quatf const& rotation) override;
  void setScene(ka::RefNoCount<ren::Scene> scene) override;
  void setViewMatrix(ka::Mat4x4f const& view) override;
  void setProjectionMatrix(ka::Mat4x4f const& projection) override;
  void setFrustum(ka::Frustum const& frustum) override { frustum_ = frustum; }
  void setRect(ka::Rect<int> const& rect) override;
  // Counted here, unlike in the chain's pointer back, so that neither can outlive what it uses.
  void setRenderChain(ka::RefNoCount<ren::RenderChain> chain) override;
  void setVisualization(ren::Visualization visualization) override;
  void toggleFeedbackBufferPip() override { feedbackPip_ = !feedbackPip_; }
  RasRenRenderChain* renderChain() const { return chain_.get(); }

  ka::Rect<int> rect() const override { return rect_; }
  // The scene is drawn over every pixel of the rectangle.
  bool getOpaque() const override { return true; }
  void render() override;

  float nearDistance() const { return near_; }
  float farDistance() const { return far_; }
  bool orthographic() const { return orthographic_; }
  ka::Vec3<float> const& cameraPosition();
  // The scene's clock in seconds; 0 without a scene.
  float sceneTime() const;
  // The identity, shifted by half a pixel where the rasterizer wants it.
  ka::Mat4x4f getDefaultViewProj() const;

  // The draw calls that survive culling, each with its distance, and the batched groups' for the
  // cells the frustum sees; notes each mesh's verdict.
  void getCulledMeshes(std::vector<RasRenDrawCall*>& out);
  // Appends the frame's UI quads as draw calls, which live until the next frame.
  void genQuadDrawCalls(std::vector<RasRenDrawCall*>& out);
  // Called before each call's draw, once its technique is current.
  using DrawCallback = std::function<void(RasRenDrawCall const&)>;
  // Draws `calls` in order with the effects' technique of that name ("Default" when empty).
  // `passView` is the view `viewProj` was made from, when it is not the viewport's (the overlay's,
  // centred on the camera).
  void renderMeshes(std::vector<RasRenDrawCall*> const& calls, ka::Mat4x4f const& viewProj,
                    std::string_view techniqueName, DrawCallback const& beforeDraw = {},
                    ka::Mat4x4f const* passView = nullptr);
  // The unit quad over the whole rectangle at `depth` (clip space), with the effect's current
  // technique.
  void renderPostQuad(RasRenEffect& effect, float depth);
  // The same with the named effect's technique, reading `texture` ("PostSourceTexture") tinted by
  // `colour` ("Color"); nothing when either is absent.
  void renderPostQuad(std::string const& effectName, std::string_view technique,
                      ka::RefNoCount<Texture const> texture, ka::Color4f const& colour, float depth);

  // Draws the virtual-textured calls of `lit` into a feedback target of the engine and hands it
  // the target to read back.
  void renderVirtualPageMapping(std::vector<RasRenDrawCall*> const& lit, RasRenVirtualTextureEngine& engine);

  RasRen* renderer() const { return renderer_; }
  ka::Mat4x4f const& viewMatrix() const { return view_; }
  ka::Mat4x4f const& projectionMatrix() const { return projection_; }
  // This frame's, with the half-pixel shift where the rasterizer wants one.
  ka::Mat4x4f const& viewProjection() const { return viewProj_; }

 private:
  enum Slot {
    SLOT_WorldTransform,
    SLOT_WorldViewTransform,
    SLOT_WorldViewProjTransform,
    SLOT_ViewTransform,
    SLOT_ViewProjTransform,
    SLOT_ProjTransform,
    SLOT_SkyboxTransform,
    SLOT_SkyboxTexture,
    SLOT_WorldTransformArray,
    SLOT_BatchTransforms,
    SLOT_BatchIndices,
    SLOT_cameraPos,
    SLOT_Time,
    SLOT_PostSourceTexture,
    SLOT_lightPositionOnScreen,
    SLOT_Count
  };

  void refreshCamera();
  // The sky box over the whole rectangle, with the effect "skybox".
  void renderBackgroundSkybox();
  // On the chain's G-buffer; nothing without a chain.
  void setDrawMask(int mask);
  // The last feedback read back, in the bottom left corner of the rectangle.
  void renderFeedbackPip();
  ka::Mat4x4f projectionForTarget(int width, int height) const;

  RasRen* renderer_;
  ka::Rect<int> rect_;
  ka::Color4f background_{0, 0, 0, 1};
  ka::Mat4x4f view_ = ka::Mat4x4f::identity();
  ka::Mat4x4f projection_ = ka::Mat4x4f::identity();
  ka::Mat4x4f viewProj_ = ka::Mat4x4f::identity();
  ka::Frustum frustum_;
  ka::Ref<RasRenScene> scene_;
  bool cameraPositionDirty_ = true;
  ka::Vec3<float> cameraPosition_{0, 0, 0};
  ka::Vec3<float> cameraAxes_[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  ka::Vec3<float> viewDirection_{0, 0, -1};
  float near_ = 0, far_ = 0;
  bool orthographic_ = false;
  int visualization_ = 0;
  bool feedbackPip_ = false;
  ka::Ref<Texture const> skybox_;
  ka::Quatf skyboxRotation_ = ka::Quatf::identity();
  int slots_[SLOT_Count];
  int colourSlot_ = -1, posAndScaleSlot_ = -1;
  // Kept between frames so that filling them allocates nothing once they have grown.
  ka::Ref<RasRenRenderChain> chain_;
  std::vector<RasRenDrawCall*> calls_, feedback_, overlay_, lit_, solidUnlit_, transparentHdr_, transparentNoHdr_;
  std::deque<RasRenDrawCall> quadCalls_;
  // The batched groups' calls of this frame; a deque, so that the pointers in calls_ stay valid
  // as it grows.
  std::deque<RasRenDrawCall> groupCalls_;
};

}  // namespace vorn
