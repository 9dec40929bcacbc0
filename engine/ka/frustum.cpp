#include "frustum.h"

#include <cmath>
#include <limits>

namespace ka {

void Frustum::initEmpty() {
  points.clear();
  planes.assign(1, Plane4<float>{{0, 0, 0}, -std::numeric_limits<float>::infinity()});
}

void Frustum::initPerspective(Vec3<float> const& position_, Quatf const& orientation_, float left_, float right_,
                              float bottom_, float top_, float near_, float far_) {
  position = position_;
  orientation = orientation_;
  left = left_;
  right = right_;
  bottom = bottom_;
  top = top_;
  near = near_;
  far = far_;
  buildFromSlopes();
}

void Frustum::initPerspective(Vec3<float> const& position_, Quatf const& orientation_, float halfWidth,
                              float halfHeight, float near_, float far_) {
  float x = halfWidth / near_, y = halfHeight / near_;
  initPerspective(position_, orientation_, -x, x, -y, y, near_, far_);
}

void Frustum::initPerspective(Vec3<float> const& position_, Quatf const& orientation_, float fovY,
                              Vec2<float> const& size, float near_, float far_) {
  float y = std::tan(fovY / 2);
  float x = size.x / size.y * y;
  initPerspective(position_, orientation_, -x, x, -y, y, near_, far_);
}

void Frustum::buildFromSlopes() {
  points.resize(8);
  for (int i = 0; i < 8; ++i) {
    float t = i & 4 ? far : near;
    Vec3<float> local{(i & 1 ? right : left) * t, (i & 2 ? top : bottom) * t, -t};
    points[i] = position + orientation.transform(local);
  }
  buildPlanesFromPoints();
}

void Frustum::initGLTransform(Mat4x4f const& clipTransform) { initClipTransform(CSC_OpenGL, clipTransform); }

void Frustum::initClipTransform(ClipSpaceConvention convention, Mat4x4f const& clipTransform) {
  *this = Frustum();
  Mat4x4f inv = clipTransform.inverse();
  float zNear = convention == CSC_Direct3D ? 0.0f : -1.0f;
  points.resize(8);
  for (int i = 0; i < 8; ++i) {
    Vec4<float> clip{i & 1 ? 1.0f : -1.0f, i & 2 ? 1.0f : -1.0f, i & 4 ? 1.0f : zNear, 1.0f};
    Vec4<float> p = mul(clip, inv);
    points[i] = p.xyz() / p.w;
  }
  buildPlanesFromPoints();
}

void Frustum::buildPlanesFromPoints() {
  // Each side plane from one near and two far corners, so that a frustum with its apex at the near
  // face (near = 0) still has all four; then turned so that the middle of the corners is inside.
  static constexpr int kCorners[6][3] = {
      {0, 4, 6},  // left
      {1, 5, 7},  // right
      {0, 4, 5},  // bottom
      {2, 6, 7},  // top
      {0, 1, 2},  // near
      {4, 5, 6},  // far
  };
  Vec3<float> middle{0, 0, 0};
  for (Vec3<float> const& p : points) middle += p;
  middle *= 1.0f / 8;
  planes.resize(6);
  for (int i = 0; i < 6; ++i) {
    Plane4<float> plane =
        Plane4<float>::fromPoints(points[kCorners[i][0]], points[kCorners[i][1]], points[kCorners[i][2]]);
    if (plane.distance(middle) < 0) plane = {-plane.n, -plane.d};
    planes[i] = plane;
  }
}

bool Frustum::intersects(Sphere const& sphere) const {
  for (Plane4<float> const& plane : planes)
    if (plane.distance(sphere.center) < -sphere.radius) return false;
  return true;
}

bool Frustum::intersects(AABB const& box) const {
  Vec3<float> center = box.center();
  bool centerInside = true;
  for (Plane4<float> const& plane : planes)
    if (!(plane.distance(center) > 0)) {
      centerInside = false;
      break;
    }
  if (centerInside) return true;
  for (Plane4<float> const& plane : planes) {
    Vec3<float> farthest{plane.n.x >= 0 ? box.max.x : box.min.x, plane.n.y >= 0 ? box.max.y : box.min.y,
                         plane.n.z >= 0 ? box.max.z : box.min.z};
    if (plane.distance(farthest) < 0) return false;
  }
  return true;
}

bool Frustum::intersects(AABB const& box, unsigned* mask) const {
  unsigned bits = mask ? *mask : ~0u;
  for (size_t i = 0; i < planes.size() && i < 32; ++i) {
    unsigned bit = 1u << i;
    if (!(bits & bit)) continue;
    Plane4<float> const& plane = planes[i];
    Vec3<float> nearest{plane.n.x >= 0 ? box.min.x : box.max.x, plane.n.y >= 0 ? box.min.y : box.max.y,
                        plane.n.z >= 0 ? box.min.z : box.max.z};
    if (plane.distance(nearest) > 0) return false;
    Vec3<float> opposite{plane.n.x >= 0 ? box.max.x : box.min.x, plane.n.y >= 0 ? box.max.y : box.min.y,
                         plane.n.z >= 0 ? box.max.z : box.min.z};
    if (mask && plane.distance(opposite) <= 0) *mask &= ~bit;
  }
  return true;
}

bool Frustum::intersectsConvexPointSet(Vec3<float> const* pts, unsigned long count) const {
  for (Plane4<float> const& plane : planes) {
    bool any = false;
    for (unsigned long i = 0; i < count && !any; ++i) any = plane.distance(pts[i]) >= 0;
    if (!any) return false;
  }
  return true;
}

void Frustum::transform(Mat4x4f const& m) {
  for (Vec3<float>& p : points) p = transformPoint(p, m);
  // A point p' = p m was p = p' a + t with a, t the parts of m's inverse, so n.p + d turns into
  // p'.(a n) + (n.t + d). A zero normal stays zero, and its distance of minus infinity stays so.
  Mat4x4f inv = m.inverse3x4();
  Mat3x3f a = inv.upper3x3();
  Vec3<float> t = inv.translationPart();
  for (Plane4<float>& plane : planes) {
    Vec3<float> n{dot(a.row(0), plane.n), dot(a.row(1), plane.n), dot(a.row(2), plane.n)};
    float d = dot(plane.n, t) + plane.d;
    float s = 1.0f / (length(n) + kNormalizeEpsilon);
    plane = {n * s, d * s};
  }
  position = transformPoint(position, m);
  Mat3x3f r = m.upper3x3();
  for (int i = 0; i < 3; ++i) {
    Vec3<float> row = normalize(r.row(i));
    r.m[i][0] = row.x;
    r.m[i][1] = row.y;
    r.m[i][2] = row.z;
  }
  orientation = normalize(Quatf::fromMatrix(r) * orientation);
}

}  // namespace ka
