#include "obb.h"

#include <cmath>
#include <ostream>

namespace ka {

OBB::OBB(AABB const& box, Mat4x4f const& m) {
  center = transformPoint(box.center(), m);
  Vec3<float> h = box.halfExtents();
  float const* boxHalf[3] = {&h.x, &h.y, &h.z};
  float* half[3] = {&halfExtents.x, &halfExtents.y, &halfExtents.z};
  for (int i = 0; i < 3; ++i) {
    Vec3<float> row{m.m[i][0], m.m[i][1], m.m[i][2]};
    float len = length(row);
    Vec3<float> axis = row * (1.0f / (len + kNormalizeEpsilon));
    axes.m[i][0] = axis.x;
    axes.m[i][1] = axis.y;
    axes.m[i][2] = axis.z;
    *half[i] = *boxHalf[i] * len;
  }
}

namespace {

Mat3x3f absolute(Mat3x3f m) {
  for (auto& row : m.m)
    for (float& v : row) v = std::abs(v);
  return m;
}

}  // namespace

AABB OBB::toOuterAABB() const {
  Vec3<float> extent = mul(halfExtents, absolute(axes));
  return {center - extent, center + extent};
}

AABB OBB::toInnerAABB() const {
  // The centred box of half size s * outer fits when, along each of this box's axes, its extent
  // sum_j |axes[i][j]| * s * outer_j is at most halfExtents_i.
  Vec3<float> outer = toOuterAABB().halfExtents();
  Mat3x3f a = absolute(axes);
  float const half[3] = {halfExtents.x, halfExtents.y, halfExtents.z};
  float s = 1;
  for (int i = 0; i < 3; ++i) {
    float extent = dot(a.row(i), outer);
    if (extent > 0 && half[i] < s * extent) s = half[i] / extent;
  }
  Vec3<float> inner = outer * s;
  return {center - inner, center + inner};
}

namespace {

// Grows the box to hold the points, in its own frame.
void addPoints(OBB& box, Vec3<float> const* points, int count) {
  Vec3<float> lo = -box.halfExtents, hi = box.halfExtents;
  for (int k = 0; k < count; ++k) {
    Vec3<float> d = points[k] - box.center;
    Vec3<float> local{dot(d, box.axes.row(0)), dot(d, box.axes.row(1)), dot(d, box.axes.row(2))};
    lo = min(lo, local);
    hi = max(hi, local);
  }
  box.center += mul((lo + hi) * 0.5f, box.axes);
  box.halfExtents = (hi - lo) * 0.5f;
}

}  // namespace

void OBB::addBox(OBB const& other) {
  Vec3<float> corners[8];
  other.buildCorners(corners);
  addPoints(*this, corners, 8);
}

void OBB::addBox(AABB const& other) {
  Vec3<float> corners[8];
  for (int i = 0; i < 8; ++i) corners[i] = other.corner(i);
  addPoints(*this, corners, 8);
}

void OBB::buildCorners(Vec3<float> out[8]) const {
  Vec3<float> e[3];
  buildOrientedExtents(e);
  for (int i = 0; i < 8; ++i)
    out[i] = center + (i & 1 ? e[0] : -e[0]) + (i & 2 ? e[1] : -e[1]) + (i & 4 ? e[2] : -e[2]);
}

void OBB::buildOrientedExtents(Vec3<float> out[3]) const {
  out[0] = axes.row(0) * halfExtents.x;
  out[1] = axes.row(1) * halfExtents.y;
  out[2] = axes.row(2) * halfExtents.z;
}

std::ostream& operator<<(std::ostream& os, OBB const& box) {
  return os << "OBB(pos=" << box.center << ",halfExtents=" << box.halfExtents << ')';
}

}  // namespace ka
