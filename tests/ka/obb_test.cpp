#include "ka/obb.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

#include "support/math.h"

namespace {

using ka::AABB;
using ka::Mat3x3f;
using ka::Mat4x4f;
using ka::OBB;
using ka::Quatf;
using ka::Vec3;
using mathtest::near;

static_assert(std::is_trivially_copyable_v<OBB>);

// p in the box's frame.
Vec3<float> local(OBB const& box, Vec3<float> const& p) {
  Vec3<float> d = p - box.center;
  return {ka::dot(d, box.axes.row(0)), ka::dot(d, box.axes.row(1)), ka::dot(d, box.axes.row(2))};
}

bool holds(OBB const& box, Vec3<float> const& p, float tolerance) {
  Vec3<float> l = local(box, p);
  return std::abs(l.x) <= box.halfExtents.x + tolerance && std::abs(l.y) <= box.halfExtents.y + tolerance &&
         std::abs(l.z) <= box.halfExtents.z + tolerance;
}

OBB randomBox(std::mt19937& rng) {
  return OBB(mathtest::randomVec(rng, -10, 10), mathtest::randomRotation(rng), mathtest::randomVec(rng, 0.1f, 4));
}

TEST(OBB, Constructors) {
  OBB def;
  EXPECT_EQ(def.center, (Vec3<float>{0, 0, 0}));
  EXPECT_EQ(def.axes, Mat3x3f::identity());
  Quatf q = Quatf::fromAxisAngle({0, 0, 1}, 0.5f);
  OBB a({1, 2, 3}, q, {4, 5, 6});
  OBB b({1, 2, 3}, q.asRotationMatrix(), {4, 5, 6});
  EXPECT_EQ(a.axes, b.axes);
  EXPECT_EQ(a.center, b.center);
  EXPECT_EQ(a.halfExtents, b.halfExtents);
  OBB c;
  c.set({1, 2, 3}, q, {4, 5, 6});
  EXPECT_EQ(c.axes, a.axes);
  c.set({0, 0, 0}, Mat3x3f::identity(), {1, 1, 1});
  EXPECT_EQ(c.axes, Mat3x3f::identity());
  EXPECT_EQ(c.halfExtents, (Vec3<float>{1, 1, 1}));
}

TEST(OBB, FromABoxAndAMatrixHasTheBoxsCornersCarriedByTheMatrix) {
  std::mt19937 rng(1);
  for (int round = 0; round < 300; ++round) {
    Vec3<float> lo = mathtest::randomVec(rng, -5, 5);
    AABB box{lo, lo + mathtest::randomVec(rng, 0, 4)};
    Mat4x4f m = mathtest::randomAffine(rng);
    OBB obb(box, m);
    Vec3<float> corners[8];
    obb.buildCorners(corners);
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(near(corners[i], ka::transformPoint(box.corner(i), m), 1e-4f)) << i;
    for (int i = 0; i < 3; ++i) ASSERT_NEAR(ka::length(obb.axes.row(i)), 1, 1e-6);
  }
}

TEST(OBB, CornersAndOrientedExtents) {
  OBB box({10, 0, 0}, Quatf::fromAxisAngle({0, 0, 1}, 1.5707963f), {1, 2, 3});
  Vec3<float> e[3];
  box.buildOrientedExtents(e);
  EXPECT_TRUE(near(e[0], {0, 1, 0}, 1e-6f));
  EXPECT_TRUE(near(e[1], {-2, 0, 0}, 1e-6f));
  EXPECT_TRUE(near(e[2], {0, 0, 3}, 1e-6f));
  Vec3<float> c[8];
  box.buildCorners(c);
  EXPECT_TRUE(near(c[0], {12, -1, -3}, 1e-5f));
  EXPECT_TRUE(near(c[7], {8, 1, 3}, 1e-5f));
  EXPECT_TRUE(near(c[1], {12, 1, -3}, 1e-5f));
}

TEST(OBB, OuterBoxIsTheTightestHoldingTheCorners) {
  std::mt19937 rng(2);
  for (int round = 0; round < 300; ++round) {
    OBB box = randomBox(rng);
    AABB outer = box.toOuterAABB();
    Vec3<float> corners[8];
    box.buildCorners(corners);
    AABB tight = AABB::inverted();
    for (Vec3<float> const& p : corners) tight.addPoint(p);
    ASSERT_TRUE(near(outer.min, tight.min, 1e-4f));
    ASSERT_TRUE(near(outer.max, tight.max, 1e-4f));
  }
}

TEST(OBB, InnerBoxLiesInsideAndIsTheBoxItselfWhenAxisAligned) {
  OBB aligned({1, 2, 3}, Mat3x3f::identity(), {4, 5, 6});
  AABB inner = aligned.toInnerAABB();
  EXPECT_EQ(inner, (AABB{{-3, -3, -3}, {5, 7, 9}}));
  EXPECT_EQ(inner, aligned.toOuterAABB());
  // A cube turned by 45 degrees about z: in x and y, the largest axis-aligned square inside its
  // cross-section; the outer box's proportions are kept, so z shrinks by the same half.
  OBB diamond({0, 0, 0}, Quatf::fromAxisAngle({0, 0, 1}, 0.78539816f), {1, 1, 1});
  AABB d = diamond.toInnerAABB();
  EXPECT_NEAR(d.max.x, std::sqrt(0.5f), 1e-5);
  EXPECT_NEAR(d.max.y, std::sqrt(0.5f), 1e-5);
  EXPECT_NEAR(d.max.z, 0.5f, 1e-5);

  std::mt19937 rng(3);
  for (int round = 0; round < 300; ++round) {
    OBB box = randomBox(rng);
    AABB in = box.toInnerAABB();
    ASSERT_FALSE(in.empty());
    ASSERT_TRUE(near(in.center(), box.center, 1e-4f));
    for (int k = 0; k < 8; ++k) ASSERT_TRUE(holds(box, in.corner(k), 1e-4f)) << round << " " << k;
  }
  // A flat box has a flat inner box, not NaN.
  OBB flat({0, 0, 0}, Quatf::fromAxisAngle({1, 1, 0}, 0.3f), {1, 1, 0});
  AABB f = flat.toInnerAABB();
  EXPECT_EQ(f.min, f.max);
}

TEST(OBB, AddBoxEnclosesBothAndKeepsTheAxes) {
  std::mt19937 rng(4);
  for (int round = 0; round < 300; ++round) {
    OBB box = randomBox(rng), before = box, other = randomBox(rng);
    box.addBox(other);
    ASSERT_EQ(box.axes, before.axes);
    Vec3<float> corners[8];
    before.buildCorners(corners);
    for (Vec3<float> const& p : corners) ASSERT_TRUE(holds(box, p, 1e-4f));
    other.buildCorners(corners);
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
