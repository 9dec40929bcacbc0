// Oriented bounding boxes.
#pragma once

#include <iosfwd>

#include "quat.h"
#include "vecmath.h"

namespace ka {

// The points center + a * axes.row(0) + b * axes.row(1) + c * axes.row(2) with |a|, |b|, |c| at
// most halfExtents.x, .y, .z. The rows of `axes` are unit vectors, normally orthogonal: a point of
// the box's own frame times `axes` is a direction in the outer frame, as for any row-vector matrix.
struct OBB {
  Vec3<float> center{0, 0, 0};
  Mat3x3f axes = Mat3x3f::identity();
  Vec3<float> halfExtents{0, 0, 0};

  OBB() = default;
  OBB(Vec3<float> const& center, Mat3x3f const& axes, Vec3<float> const& halfExtents) {
    set(center, axes, halfExtents);
  }
  OBB(Vec3<float> const& center, Quatf const& orientation, Vec3<float> const& halfExtents) {
    set(center, orientation, halfExtents);
  }
  // The box `box` carried by the affine matrix m. The rows of m's 3x3 give the axes, normalised, and
  // their lengths scale the half extents; so m should not shear, or the result is only approximate.
  OBB(AABB const& box, Mat4x4f const& m);

  void set(Vec3<float> const& c, Mat3x3f const& a, Vec3<float> const& h) {
    center = c;
    axes = a;
    halfExtents = h;
  }
  void set(Vec3<float> const& c, Quatf const& orientation, Vec3<float> const& h) {
    set(c, orientation.asRotationMatrix(), h);
  }

  // The smallest axis-aligned box that holds this one.
  AABB toOuterAABB() const;
  // An axis-aligned box inside this one, around the same centre: the outer box scaled down, with its
  // proportions kept, until it fits. Equal to the outer box when the axes are the coordinate axes.
  AABB toInnerAABB() const;

  // Grows the half extents along this box's own axes, and moves the centre, so that the box also
  // holds `other`; the axes stay as they are.
  void addBox(OBB const& other);
  void addBox(AABB const& other);

  // The 8 corners: index bit 0 chooses + over - along axis 0, bit 1 along axis 1, bit 2 along axis 2.
  void buildCorners(Vec3<float> out[8]) const;
  // The three axes, each scaled by its half extent.
  void buildOrientedExtents(Vec3<float> out[3]) const;
};

// "OBB(pos=Vec3<float>(x,y,z),halfExtents=Vec3<float>(x,y,z))".
std::ostream& operator<<(std::ostream& os, OBB const& box);

}  // namespace ka
