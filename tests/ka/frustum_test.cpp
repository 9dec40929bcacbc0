// View frusta: the perspective forms, clip transforms, transforms, and the visibility tests by brute force.
#include "ka/frustum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "support/math.h"

namespace {

using ka::AABB;
using ka::Frustum;
using ka::Mat4x4f;
using ka::Quatf;
using ka::Sphere;
using ka::Vec3;
using mathtest::near;

// The brute-force test, from the frustum's own definition rather than its planes: the signed
// distance of p from the volume's boundary, positive inside. It is the least of the distances from
// the six faces, each taken in the camera's frame.
float insideness(Frustum const& f, Vec3<float> const& p) {
  Vec3<float> local = f.orientation.conjugate().transform(p - f.position);
  float t = -local.z;
  auto side = [&](float coordinate, float slope) { return (coordinate - slope * t) / std::sqrt(1 + slope * slope); };
  return std::min({t - f.near, f.far - t, side(local.x, f.left), -side(local.x, f.right), side(local.y, f.bottom),
                   -side(local.y, f.top)});
}

float minPlaneDistance(Frustum const& f, Vec3<float> const& p) {
  float least = std::numeric_limits<float>::infinity();
  for (auto const& plane : f.planes) least = std::min(least, plane.distance(p));
  return least;
}

Frustum randomFrustum(std::mt19937& rng) {
  Frustum f;
  float left = mathtest::uniform(rng, -1.5f, 0.5f), bottom = mathtest::uniform(rng, -1.5f, 0.5f);
  float near = mathtest::uniform(rng, 0.05f, 2);
  f.initPerspective(mathtest::randomVec(rng, -10, 10), mathtest::randomRotation(rng), left,
                    left + mathtest::uniform(rng, 0.2f, 2), bottom, bottom + mathtest::uniform(rng, 0.2f, 2), near,
                    near + mathtest::uniform(rng, 1, 30));
  return f;
}

// The corners' box, grown by 3 on every side.
AABB around(Frustum const& f) {
  AABB box = AABB::inverted();
  for (Vec3<float> const& p : f.points) box.addPoint(p);
  box.min -= Vec3<float>{3, 3, 3};
  box.max += Vec3<float>{3, 3, 3};
  return box;
}

Vec3<float> pointIn(std::mt19937& rng, AABB const& box) {
  return {mathtest::uniform(rng, box.min.x, box.max.x), mathtest::uniform(rng, box.min.y, box.max.y),
          mathtest::uniform(rng, box.min.z, box.max.z)};
}

Vec3<float> pointInSphere(std::mt19937& rng, Sphere const& s) {
  for (;;) {
    Vec3<float> d = mathtest::randomVec(rng, -1, 1);
    if (ka::lengthSquared(d) <= 1) return s.center + d * s.radius;
  }
}

// Samples around f: g's planes, with each point carried by m, must put it on the side the
// brute-force test puts it on f. Points within `margin` of f's boundary are not judged.
::testing::AssertionResult planesAgree(std::mt19937& rng, Frustum const& f, Frustum const& g, float margin,
                                       Mat4x4f const& m = Mat4x4f::identity()) {
  AABB region = around(f);
  for (int i = 0; i < 300; ++i) {
    Vec3<float> p = pointIn(rng, region);
    float d = insideness(f, p), least = minPlaneDistance(g, ka::transformPoint(p, m));
    if ((d > margin && !(least >= 0)) || (d < -margin && !(least < 0)))
      return ::testing::AssertionFailure() << p << " is " << d << " inside, but " << least << " from the planes";
  }
  return ::testing::AssertionSuccess();
}

TEST(Frustum, WithNoPlanesIntersectsEverything) {
  Frustum f;
  EXPECT_TRUE(f.intersects(Sphere{{1e30f, -1e30f, 5}, 0}));
  EXPECT_TRUE(f.intersects(AABB{{100, 100, 100}, {101, 101, 101}}));
  unsigned mask = ~0u;
  EXPECT_TRUE(f.intersects(AABB{{100, 100, 100}, {101, 101, 101}}, &mask));
  EXPECT_EQ(mask, ~0u);
  Vec3<float> p{7, 8, 9};
  EXPECT_TRUE(f.intersectsConvexPointSet(&p, 1));
  EXPECT_TRUE(f.intersectsConvexPointSet(nullptr, 0));
}

TEST(Frustum, InitEmptyPassesNothingEvenWhenMoved) {
  Frustum f;
  f.initPerspective({0, 0, 0}, Quatf::identity(), 1.0f, 1.0f, 1, 10);
  f.initEmpty();
  std::mt19937 rng(1);
  for (int moved = 0; moved < 2; ++moved) {
    ASSERT_EQ(f.planes.size(), 1u);
    // The distance of minus infinity must survive a transform without turning into NaN.
    EXPECT_EQ(f.planes[0].d, -std::numeric_limits<float>::infinity());
    EXPECT_FALSE(f.intersects(Sphere{{0, 0, -5}, 1e30f})) << moved;
    EXPECT_FALSE(f.intersects(AABB{{-1e30f, -1e30f, -1e30f}, {1e30f, 1e30f, 1e30f}})) << moved;
    Vec3<float> points[2] = {{0, 0, -5}, {1, 1, 1}};
    EXPECT_FALSE(f.intersectsConvexPointSet(points, 2)) << moved;
    f.transform(mathtest::randomAffine(rng));
  }
}

TEST(Frustum, TheFieldOfViewForm) {
  // The slope and half-size forms are checked on random frusta below, by the brute-force test and
  // against the clip transforms; this one takes its slopes from tan(fovY / 2) and the aspect ratio.
  Frustum c;
  c.initPerspective({0, 0, 0}, Quatf::identity(), 1.5707963f, ka::Vec2<float>{1600, 900}, 1, 10);
  EXPECT_TRUE(near({c.bottom, c.top, 0}, {-1, 1, 0}, 1e-6f));
  EXPECT_TRUE(near({c.left, c.right, 0}, {-16.0f / 9, 16.0f / 9, 0}, 1e-6f));
  ASSERT_EQ(c.points.size(), 8u);
  EXPECT_TRUE(near(c.points[7], {160.0f / 9, 10, -10}, 1e-5f));
}

TEST(Frustum, ANearDistanceOfZeroStillHasItsSidePlanes) {
  Frustum f;
  f.initPerspective({0, 0, 0}, Quatf::identity(), -1, 1, -1, 1, 0, 10);
  Vec3<float> outside[] = {{-6, 0, -5}, {6, 0, -5}, {0, -6, -5}, {0, 6, -5}, {0, 0, -11}, {0, 0, 1}};
  for (Vec3<float> const& p : outside) EXPECT_FALSE(f.intersectsConvexPointSet(&p, 1)) << p;
  Vec3<float> inside{0.5f, -0.5f, -5};
  EXPECT_TRUE(f.intersectsConvexPointSet(&inside, 1));
}

TEST(Frustum, VisibilityTestsAgreeWithABruteForceTest) {
  std::mt19937 rng(7);
  int inside = 0, outside = 0, seen = 0, rejected = 0;
  for (int round = 0; round < 200; ++round) {
    Frustum f = randomFrustum(rng);
    AABB region = around(f);
    // Unit normals, so that plane distances are true distances; the points below show they point inward.
    for (auto const& plane : f.planes) ASSERT_NEAR(ka::length(plane.n), 1, 1e-6);
    for (int i = 0; i < 500; ++i) {
      Vec3<float> c = pointIn(rng, region), h = mathtest::randomVec(rng, 0.01f, 3);
      float d = insideness(f, c);
      // A point clear of the boundary: the planes, and each test given it alone, are exact.
      if (std::abs(d) > 1e-2f) {
        bool in = d > 0;
        (in ? inside : outside) += 1;
        ASSERT_EQ(minPlaneDistance(f, c) >= 0, in) << round << " " << c;
        ASSERT_EQ(f.intersectsConvexPointSet(&c, 1), in) << round << " " << c;
        ASSERT_EQ(f.intersects(Sphere{c, 0}), in) << round << " " << c;
        ASSERT_EQ(f.intersects(AABB{c, c}), in) << round << " " << c;
      }
      // A sphere, a box and a point set around one point in five: if a sample of one is inside, it
      // must pass.
      if (i % 5 != 0) continue;
      Sphere s{c, h.x};
      bool anyInside = d >= 0;
      for (int k = 0; k < 64 && !anyInside; ++k) anyInside = insideness(f, pointInSphere(rng, s)) >= 0;
      ASSERT_TRUE(!anyInside || f.intersects(s)) << round << " " << s;
      AABB box{c - h, c + h};
      anyInside = d >= 0;
      for (int k = 0; k < 8 && !anyInside; ++k) anyInside = insideness(f, box.corner(k)) >= 0;
      for (int k = 0; k < 64 && !anyInside; ++k) anyInside = insideness(f, pointIn(rng, box)) >= 0;
      seen += anyInside;
      ASSERT_TRUE(!anyInside || f.intersects(box)) << round << " " << box;
      Vec3<float> points[8];
      unsigned long count = 1 + rng() % 8;
      anyInside = false;
      for (unsigned long k = 0; k < count; ++k) {
        points[k] = c + mathtest::randomVec(rng, -2, 2);
        anyInside = anyInside || insideness(f, points[k]) >= 0;
      }
      ASSERT_TRUE(!anyInside || f.intersectsConvexPointSet(points, count)) << round;

      // Wholly outside: a sphere behind one face by a margin, a box behind one plane; both are rejected.
      ASSERT_FALSE(d < -s.radius - 1e-2f && f.intersects(s)) << round << " " << s;
      bool behindOnePlane = false;
      for (auto const& plane : f.planes) {
        bool all = true;
        for (int k = 0; k < 8; ++k) all = all && plane.distance(box.corner(k)) < -1e-3f;
        behindOnePlane = behindOnePlane || all;
      }
      rejected += behindOnePlane;
      ASSERT_FALSE(behindOnePlane && f.intersects(box)) << round << " " << box;
    }
  }
  // Each answer was really put to the test.
  EXPECT_GT(inside, 5000);
  EXPECT_GT(outside, 5000);
  EXPECT_GT(seen, 2000);
  EXPECT_GT(rejected, 2000);
}

TEST(Frustum, ThePointSetAndBoxTestsAreOnlyConservative) {
  Frustum f;
  f.initPerspective({0, 0, 0}, Quatf::identity(), -1, 1, -1, 1, 1, 10);
  // With planes, no points is outside; a set straddling the frustum with no point inside passes
  // every single plane, and so is taken as intersecting.
  EXPECT_FALSE(f.intersectsConvexPointSet(nullptr, 0));
  Vec3<float> straddle[2] = {{-50, 0, -5}, {50, 0, -5}};
  EXPECT_TRUE(f.intersectsConvexPointSet(straddle, 2));
  // Beyond the edge where the left and far faces meet: a point inside would need distance t <= 10
  // and x >= -t >= -10, and the box has x <= -10.5. Yet some corner is in front of each face alone.
  AABB box{{-14, -1, -13}, {-10.5f, 1, -9.8f}};
  for (auto const& plane : f.planes) {
    float farthest = -1e30f;
    for (int k = 0; k < 8; ++k) farthest = std::max(farthest, plane.distance(box.corner(k)));
    EXPECT_GT(farthest, 0);
  }
  EXPECT_TRUE(f.intersects(box));
}

TEST(Frustum, MaskedBoxTestHasTheReversedSignConvention) {
  // Plane 0: x > 0 is its positive side, plane 1: y > 0. The masked test treats positive as outside,
  // tests only the planes in the mask, and clears the bits of the planes the box is wholly inside.
  Frustum f;
  f.planes = {{{1, 0, 0}, 0}, {{0, 1, 0}, 0}};
  struct {
    unsigned mask;
    AABB box;
    bool result;
    unsigned maskAfter;
  } const cases[] = {
      {3, {{1, -5, 0}, {2, -4, 1}}, false, 0},   // wholly on plane 0's positive side
      {3, {{-2, -2, 0}, {-1, -1, 1}}, true, 0},  // on the negative side of both
      {3, {{-1, -2, 0}, {1, -1, 1}}, true, 1},   // straddling plane 0: its bit stays
      {1, {{-1, 5, 0}, {0, 6, 1}}, true, 0},     // touching at 0 counts as the negative side
      {2, {{1, -5, 0}, {2, -4, 1}}, true, 0},    // plane 0 is not in the mask
      {0, {{1, 5, 0}, {2, 6, 1}}, true, 0},
  };
  for (auto const& c : cases) {
    unsigned mask = c.mask;
    EXPECT_EQ(f.intersects(c.box, &mask), c.result) << c.box;
    if (c.result) {
      EXPECT_EQ(mask, c.maskAfter) << c.box;
    }
  }
  // The unmasked test on the same frustum says the opposite.
  EXPECT_TRUE(f.intersects(AABB{{1, 5, 0}, {2, 6, 1}}));
  EXPECT_FALSE(f.intersects(AABB{{-2, -2, 0}, {-1, -1, 1}}));
}

TEST(Frustum, ClipTransformGivesTheSameFrustumAsThePerspectiveForm) {
  std::mt19937 rng(9);
  for (int round = 0; round < 100; ++round) {
    Vec3<float> pos = mathtest::randomVec(rng, -10, 10);
    Quatf q = mathtest::randomRotation(rng);
    float hw = mathtest::uniform(rng, 0.2f, 1.5f), hh = mathtest::uniform(rng, 0.2f, 1.5f);
    float n = mathtest::uniform(rng, 0.5f, 2), fa = n + mathtest::uniform(rng, 2, 20);
    Frustum expect;
    expect.initPerspective(pos, q, hw, hh, n, fa);
    Mat4x4f view = q.asMatrixWithTranslation(pos).inverse3x4();
    for (auto convention : {ka::CSC_OpenGL, ka::CSC_Direct3D}) {
      Mat4x4f clip = ka::mul(view, Mat4x4f::perspective(convention, 2 * hw, 2 * hh, n, fa));
      Frustum f;
      if (convention == ka::CSC_OpenGL)
        f.initGLTransform(clip);
      else
        f.initClipTransform(convention, clip);
      ASSERT_EQ(f.points.size(), 8u);
      ASSERT_EQ(f.planes.size(), 6u);
      for (int i = 0; i < 8; ++i) ASSERT_TRUE(near(f.points[i], expect.points[i], 2e-3f * fa)) << round << " " << i;
      ASSERT_TRUE(planesAgree(rng, expect, f, 2e-2f)) << round;
    }
  }
  // An orthographic projection has a box for its frustum.
  Frustum f;
  f.initGLTransform(Mat4x4f::orthographicOpenGL(-2, 2, -1, 1, 1, 10));
  EXPECT_TRUE(near(f.points[0], {-2, -1, -1}, 1e-5f));
  EXPECT_TRUE(near(f.points[7], {2, 1, -10}, 1e-5f));
}

TEST(Frustum, TransformKeepsTheTestsInTheNewSpaceAndARigidMotionMovesTheCamera) {
  std::mt19937 rng(10);
  for (int round = 0; round < 100; ++round) {
    Frustum f = randomFrustum(rng);
    // Any affine matrix: corners and planes follow.
    Mat4x4f m = mathtest::randomAffine(rng);
    Frustum g = f;
    g.transform(m);
    ASSERT_EQ(g.planes.size(), 6u);
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(near(g.points[i], ka::transformPoint(f.points[i], m), 1e-3f));
    for (auto const& plane : g.planes) ASSERT_NEAR(ka::length(plane.n), 1, 1e-5);
    ASSERT_TRUE(planesAgree(rng, f, g, 5e-2f, m)) << round;

    // A rigid motion: the camera fields describe the moved frustum.
    Quatf r = mathtest::randomRotation(rng);
    Vec3<float> t = mathtest::randomVec(rng, -10, 10);
    g = f;
    g.transform(r.asMatrixWithTranslation(t));
    ASSERT_TRUE(near(g.position, r.transform(f.position) + t, 1e-4f));
    ASSERT_TRUE(ka::nearlySame(g.orientation, r * f.orientation, 1 - 1e-5f));
    Frustum rebuilt;
    rebuilt.initPerspective(g.position, g.orientation, g.left, g.right, g.bottom, g.top, g.near, g.far);
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(near(rebuilt.points[i], g.points[i], 1e-2f)) << round;
  }
}

}  // namespace
