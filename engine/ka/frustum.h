// View frusta and the conservative visibility tests on them.
#pragma once

#include <vector>

#include "quat.h"
#include "vecmath.h"

namespace ka {

// The volume a camera sees: inside means on the positive side of every plane (dot(n, p) + d >= 0;
// the normals point inward). A frustum without planes intersects everything; the tests are
// conservative, so a volume near an edge or a corner may be reported as intersecting when it is not.
struct Frustum {
  // The camera, which looks down its local negative z with local y up.
  Vec3<float> position{0, 0, 0};
  Quatf orientation = Quatf::identity();
  // Slopes at distance 1: at distance t in front of the camera the frustum spans x from left * t to
  // right * t and y from bottom * t to top * t, in the camera's frame (so left and bottom are
  // normally negative).
  float left = 0, right = 0, bottom = 0, top = 0;
  float near = 0, far = 0;
  // The 8 corners: index bit 0 chooses right over left, bit 1 top over bottom, bit 2 far over near.
  std::vector<Vec3<float>> points;
  std::vector<Plane4<float>> planes;

  // No points and a single plane with a zero normal and a distance of minus infinity: nothing passes.
  void initEmpty();
  // Stores the slopes as given.
  void initPerspective(Vec3<float> const& position, Quatf const& orientation, float left, float right, float bottom,
                       float top, float near, float far);
  // A symmetric frustum halfWidth by halfHeight wide at distance near: slopes of halfWidth / near and
  // halfHeight / near.
  void initPerspective(Vec3<float> const& position, Quatf const& orientation, float halfWidth, float halfHeight,
                       float near, float far);
  // A vertical field of view in radians, and the aspect ratio size.x / size.y of the view: slopes of
  // tan(fovY / 2) up and down, and aspect times that to either side.
  void initPerspective(Vec3<float> const& position, Quatf const& orientation, float fovY, Vec2<float> const& size,
                       float near, float far);
  // The frustum of a clip transform (say view times projection) with OpenGL clip space: the corners
  // are the clip cube's corners taken back through the inverse, and the planes are made from them.
  // The camera fields (position to far) are reset to their defaults, as the matrix need not have them.
  void initGLTransform(Mat4x4f const& clipTransform);
  // The same for either convention: the near face lies at clip z 0 (Direct3D) or -1 (OpenGL).
  void initClipTransform(ClipSpaceConvention convention, Mat4x4f const& clipTransform);

  // False if the centre lies more than the radius behind some plane.
  bool intersects(Sphere const& sphere) const;
  // True at once if the centre is on the positive side of all planes; otherwise false if for some
  // plane the corner farthest along its normal is on the negative side.
  bool intersects(AABB const& box) const;
  // For hierarchies, and with the sign convention reversed (the normals taken as pointing outward):
  // tests only the planes whose bit (1 << index) is set in *mask. False if for one of them the box's
  // corner nearest against the normal has a distance above 0, so that the box is wholly outside.
  // Where the opposite corner has a distance of 0 or less (the box is wholly inside), the plane's bit
  // is cleared, so the children of this box need not test it. A null mask tests every plane.
  bool intersects(AABB const& box, unsigned* mask) const;
  // False if for some plane no point has a distance of 0 or more; so with planes, no points is false.
  bool intersectsConvexPointSet(Vec3<float> const* points, unsigned long count) const;

  // Moves the frustum by an affine matrix: corners and position as points, planes exactly (so that
  // the tests hold in the new space for any invertible m). The orientation is turned by m's rotation
  // and the slopes and distances are kept, which describes the result only when m is a rigid motion.
  void transform(Mat4x4f const& m);

 private:
  void buildPlanesFromPoints();
  void buildFromSlopes();
};

}  // namespace ka
