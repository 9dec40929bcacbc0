// Oriented boxes on random inputs: built from a box and a matrix, outer and inner boxes, addBox.
#include "ka/obb.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

#include "support/math.h"

namespace {

using ka::AABB;
using ka::Mat3x3f;
using ka::OBB;
using ka::Quatf;
using ka::Vec3;
using mathtest::near;

// p lies in the box, give or take `tolerance`.
bool holds(OBB const& box, Vec3<float> const& p, float tolerance) {
  Vec3<float> d = p - box.center, h = box.halfExtents + Vec3<float>{tolerance, tolerance, tolerance};
  return std::abs(ka::dot(d, box.axes.row(0))) <= h.x && std::abs(ka::dot(d, box.axes.row(1))) <= h.y &&
         std::abs(ka::dot(d, box.axes.row(2))) <= h.z;
}

OBB randomBox(std::mt19937& rng) {
  return OBB(mathtest::randomVec(rng, -10, 10), mathtest::randomRotation(rng), mathtest::randomVec(rng, 0.1f, 4));
}

// The corners, in their order, are the box's carried by the matrix.
TEST(OBB, FromABoxAndAMatrixHasTheBoxsCornersCarriedByTheMatrix) {
  std::mt19937 rng(1);
  for (int round = 0; round < 300; ++round) {
    Vec3<float> lo = mathtest::randomVec(rng, -5, 5);
    AABB box{lo, lo + mathtest::randomVec(rng, 0, 4)};
    ka::Mat4x4f m = mathtest::randomAffine(rng);
    OBB obb(box, m);
    Vec3<float> corners[8];
    obb.buildCorners(corners);
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(near(corners[i], ka::transformPoint(box.corner(i), m), 1e-4f)) << i;
    for (int i = 0; i < 3; ++i) ASSERT_NEAR(ka::length(obb.axes.row(i)), 1, 1e-6);
  }
}

TEST(OBB, OrientedExtents) {
  Vec3<float> e[3];
  OBB({10, 0, 0}, Quatf::fromAxisAngle({0, 0, 1}, 1.5707963f), {1, 2, 3}).buildOrientedExtents(e);
  EXPECT_TRUE(near(e[0], {0, 1, 0}, 1e-6f));
  EXPECT_TRUE(near(e[1], {-2, 0, 0}, 1e-6f));
  EXPECT_TRUE(near(e[2], {0, 0, 3}, 1e-6f));
}

TEST(OBB, OuterAndInnerBoxes) {
  std::mt19937 rng(2);
  for (int round = 0; round < 300; ++round) {
    OBB box = randomBox(rng);
    // The outer box is the tightest that holds the corners.
    AABB outer = box.toOuterAABB(), tight = AABB::inverted();
    Vec3<float> corners[8];
    box.buildCorners(corners);
    for (Vec3<float> const& p : corners) tight.addPoint(p);
    ASSERT_TRUE(near(outer.min, tight.min, 1e-4f));
    ASSERT_TRUE(near(outer.max, tight.max, 1e-4f));
    // The inner box lies inside, around the same centre.
    AABB in = box.toInnerAABB();
    ASSERT_FALSE(in.empty());
    ASSERT_TRUE(near(in.center(), box.center, 1e-4f));
    for (int k = 0; k < 8; ++k) ASSERT_TRUE(holds(box, in.corner(k), 1e-4f)) << round << " " << k;
  }
  OBB aligned({1, 2, 3}, Mat3x3f::identity(), {4, 5, 6});
  EXPECT_EQ(aligned.toInnerAABB(), (AABB{{-3, -3, -3}, {5, 7, 9}}));
  EXPECT_EQ(aligned.toOuterAABB(), (AABB{{-3, -3, -3}, {5, 7, 9}}));
  // A cube turned by 45 degrees about z: in x and y, the largest axis-aligned square inside its
  // cross-section; the outer box's proportions are kept, so z shrinks by the same half.
  AABB d = OBB({0, 0, 0}, Quatf::fromAxisAngle({0, 0, 1}, 0.78539816f), {1, 1, 1}).toInnerAABB();
  EXPECT_TRUE(near(d.max, {std::sqrt(0.5f), std::sqrt(0.5f), 0.5f}, 1e-5f));
  // A flat box has a flat inner box, not NaN.
  AABB f = OBB({0, 0, 0}, Quatf::fromAxisAngle({1, 1, 0}, 0.3f), {1, 1, 0}).toInnerAABB();
  EXPECT_EQ(f.min, f.max);
}

TEST(OBB, AddBoxEnclosesBothAndKeepsTheAxes) {
  std::mt19937 rng(4);
  for (int round = 0; round < 300; ++round) {
    OBB box = randomBox(rng), before = box, other = randomBox(rng);
    box.addBox(other);
    ASSERT_EQ(box.axes, before.axes);
    Vec3<float> corners[16];
    before.buildCorners(corners);
    other.buildCorners(corners + 8);
    for (Vec3<float> const& p : corners) ASSERT_TRUE(holds(box, p, 1e-4f));
    Vec3<float> lo = mathtest::randomVec(rng, -10, 10);
    AABB aabb{lo, lo + mathtest::randomVec(rng, 0, 5)};
    box.addBox(aabb);
    for (int k = 0; k < 8; ++k) ASSERT_TRUE(holds(box, aabb.corner(k), 1e-4f));
    for (Vec3<float> const& p : corners) ASSERT_TRUE(holds(box, p, 1e-4f));
  }
  // A box already inside changes nothing; one beside it grows it on that side only.
  OBB unit({0, 0, 0}, Mat3x3f::identity(), {1, 1, 1});
  OBB grown = unit;
  grown.addBox(AABB{{-0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, 0.5f}});
  EXPECT_EQ(grown.center, unit.center);
  EXPECT_EQ(grown.halfExtents, unit.halfExtents);
  grown.addBox(AABB{{2, 0, 0}, {3, 0.5f, 0.5f}});
  EXPECT_EQ(grown.center, (Vec3<float>{1, 0, 0}));
  EXPECT_EQ(grown.halfExtents, (Vec3<float>{2, 1, 1}));
}

TEST(OBB, StreamForm) {
  std::ostringstream os;
  os << OBB({1, 2, 3}, Mat3x3f::identity(), {4, 5.5f, 6});
  EXPECT_EQ(os.str(), "OBB(pos=Vec3<float>(1,2,3),halfExtents=Vec3<float>(4,5.5,6))");
}

}  // namespace
