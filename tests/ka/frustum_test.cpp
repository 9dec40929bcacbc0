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

TEST(Frustum, DefaultHasNoPlanesAndIntersectsEverything) {
  Frustum f;
  EXPECT_TRUE(f.planes.empty());
  EXPECT_TRUE(f.points.empty());
  EXPECT_EQ(f.orientation, Quatf::identity());
  EXPECT_TRUE(f.intersects(Sphere{{1e30f, -1e30f, 5}, 0}));
  EXPECT_TRUE(f.intersects(Sphere{{0, 0, 0}, 0}));
  EXPECT_TRUE(f.intersects(AABB{{100, 100, 100}, {101, 101, 101}}));
  unsigned mask = ~0u;
  EXPECT_TRUE(f.intersects(AABB{{100, 100, 100}, {101, 101, 101}}, &mask));
  EXPECT_EQ(mask, ~0u);
  Vec3<float> p{7, 8, 9};
  EXPECT_TRUE(f.intersectsConvexPointSet(&p, 1));
  EXPECT_TRUE(f.intersectsConvexPointSet(nullptr, 0));
}

TEST(Frustum, InitEmptyPassesNothing) {
  Frustum f;
  f.initPerspective({0, 0, 0}, Quatf::identity(), 1.0f, 1.0f, 1, 10);
  f.initEmpty();
  EXPECT_TRUE(f.points.empty());
  ASSERT_EQ(f.planes.size(), 1u);
  EXPECT_EQ(f.planes[0].n, (Vec3<float>{0, 0, 0}));
  EXPECT_EQ(f.planes[0].d, -std::numeric_limits<float>::infinity());
  EXPECT_FALSE(f.intersects(Sphere{{0, 0, -5}, 1e30f}));
  EXPECT_FALSE(f.intersects(AABB{{-1e30f, -1e30f, -1e30f}, {1e30f, 1e30f, 1e30f}}));
  Vec3<float> points[2] = {{0, 0, -5}, {1, 1, 1}};
  EXPECT_FALSE(f.intersectsConvexPointSet(points, 2));
  // Moved anywhere, it stays empty, with no NaN.
  std::mt19937 rng(1);
  f.transform(mathtest::randomAffine(rng));
  ASSERT_EQ(f.planes.size(), 1u);
  EXPECT_EQ(f.planes[0].n, (Vec3<float>{0, 0, 0}));
  EXPECT_EQ(f.planes[0].d, -std::numeric_limits<float>::infinity());
  EXPECT_FALSE(f.intersects(Sphere{{0, 0, -5}, 1e30f}));
}

TEST(Frustum, TheThreePerspectiveForms) {
  Frustum a;
  a.initPerspective({1, 2, 3}, Quatf::identity(), -0.5f, 1.0f, -0.25f, 0.75f, 2, 50);
  EXPECT_EQ(a.position, (Vec3<float>{1, 2, 3}));
  EXPECT_EQ(a.left, -0.5f);
  EXPECT_EQ(a.right, 1.0f);
  EXPECT_EQ(a.bottom, -0.25f);
  EXPECT_EQ(a.top, 0.75f);
  EXPECT_EQ(a.near, 2);
  EXPECT_EQ(a.far, 50);
  ASSERT_EQ(a.points.size(), 8u);
  ASSERT_EQ(a.planes.size(), 6u);
  // Corners: bit 0 right, bit 1 top, bit 2 far; the camera looks down negative z.
  EXPECT_TRUE(near(a.points[0], {1 - 1.0f, 2 - 0.5f, 3 - 2}, 1e-6f));
  EXPECT_TRUE(near(a.points[7], {1 + 50, 2 + 37.5f, 3 - 50}, 1e-5f));

  Frustum b;
  b.initPerspective({0, 0, 0}, Quatf::identity(), 2.0f, 1.0f, 4, 40);
  EXPECT_EQ(b.right, 0.5f);
  EXPECT_EQ(b.left, -0.5f);
  EXPECT_EQ(b.top, 0.25f);
  EXPECT_EQ(b.bottom, -0.25f);
  EXPECT_TRUE(near(b.points[3], {2, 1, -4}, 1e-6f));

  Frustum c;
  c.initPerspective({0, 0, 0}, Quatf::identity(), 1.5707963f, ka::Vec2<float>{1600, 900}, 1, 10);
  EXPECT_NEAR(c.top, 1, 1e-6);
  EXPECT_NEAR(c.bottom, -1, 1e-6);
  EXPECT_NEAR(c.right, 16.0f / 9, 1e-6);
  EXPECT_NEAR(c.left, -16.0f / 9, 1e-6);

  // Every normal points inward and is a unit vector.
  for (Frustum const* f : {&a, &b, &c}) {
    Vec3<float> middle{0, 0, 0};
    for (auto const& p : f->points) middle += p * 0.125f;
    for (auto const& plane : f->planes) {
      EXPECT_GT(plane.distance(middle), 0);
      EXPECT_NEAR(ka::length(plane.n), 1, 1e-6);
    }
  }
}

TEST(Frustum, ANearDistanceOfZeroStillHasItsSidePlanes) {
  Frustum f;
  f.initPerspective({0, 0, 0}, Quatf::identity(), -1, 1, -1, 1, 0, 10);
  Vec3<float> outside[] = {{-6, 0, -5}, {6, 0, -5}, {0, -6, -5}, {0, 6, -5}, {0, 0, -11}, {0, 0, 1}};
  for (Vec3<float> const& p : outside) EXPECT_FALSE(f.intersectsConvexPointSet(&p, 1)) << p;
  Vec3<float> inside{0.5f, -0.5f, -5};
  EXPECT_TRUE(f.intersectsConvexPointSet(&inside, 1));
}

TEST(Frustum, PlaneTestsAgreeWithABruteForcePointTest) {
  std::mt19937 rng(7);
  int inside = 0, outside = 0;
  for (int round = 0; round < 200; ++round) {
    Frustum f = randomFrustum(rng);
    AABB region = around(f);
    for (int i = 0; i < 500; ++i) {
      Vec3<float> p = pointIn(rng, region);
      float d = insideness(f, p);
      if (d > 1e-2f) {
        ++inside;
        ASSERT_GE(minPlaneDistance(f, p), 0) << round << " " << p;
        ASSERT_TRUE(f.intersectsConvexPointSet(&p, 1));
        ASSERT_TRUE(f.intersects(Sphere{p, 0}));
        ASSERT_TRUE(f.intersects(AABB{p, p}));
      } else if (d < -1e-2f) {
        ++outside;
        ASSERT_LT(minPlaneDistance(f, p), 0) << round << " " << p;
        ASSERT_FALSE(f.intersectsConvexPointSet(&p, 1));
        ASSERT_FALSE(f.intersects(Sphere{p, 0}));
        ASSERT_FALSE(f.intersects(AABB{p, p}));
      }
    }
  }
  // Both answers were really put to the test.
  EXPECT_GT(inside, 5000);
  EXPECT_GT(outside, 5000);
}

TEST(Frustum, SphereBoxAndPointSetTestsNeverRejectWhatIsInside) {
  std::mt19937 rng(8);
  int seen = 0, rejected = 0;
  for (int round = 0; round < 200; ++round) {
    Frustum f = randomFrustum(rng);
    AABB region = around(f);
    for (int i = 0; i < 100; ++i) {
      // Spheres: if a sample of the ball is inside, the sphere must intersect.
      Sphere s{pointIn(rng, region), mathtest::uniform(rng, 0.01f, 3)};
      bool anyInside = insideness(f, s.center) >= 0;
      for (int k = 0; k < 64 && !anyInside; ++k) anyInside = insideness(f, pointInSphere(rng, s)) >= 0;
      if (anyInside) {
        ASSERT_TRUE(f.intersects(s)) << round << " " << s;
      }
      // Wholly behind one face, by a margin: the test is exact enough to say no.
      if (insideness(f, s.center) < -s.radius - 1e-2f) {
        ASSERT_FALSE(f.intersects(s)) << round << " " << s;
      }

      // Boxes.
      Vec3<float> c = pointIn(rng, region), h = mathtest::randomVec(rng, 0.01f, 3);
      AABB box{c - h, c + h};
      anyInside = false;
      for (int k = 0; k < 8 && !anyInside; ++k) anyInside = insideness(f, box.corner(k)) >= 0;
      for (int k = 0; k < 64 && !anyInside; ++k) anyInside = insideness(f, pointIn(rng, box)) >= 0;
      anyInside = anyInside || insideness(f, c) >= 0;
      seen += anyInside;
      if (anyInside) {
        ASSERT_TRUE(f.intersects(box)) << round << " " << box;
      }
      bool behindOnePlane = false;
      for (auto const& plane : f.planes) {
        bool all = true;
        for (int k = 0; k < 8; ++k) all = all && plane.distance(box.corner(k)) < -1e-3f;
        behindOnePlane = behindOnePlane || all;
      }
      if (behindOnePlane) {
        ++rejected;
        ASSERT_FALSE(f.intersects(box));
      }

      // Point sets: a few points near one another.
      Vec3<float> points[8];
      unsigned long count = 1 + rng() % 8;
      anyInside = false;
      for (unsigned long k = 0; k < count; ++k) {
        points[k] = c + mathtest::randomVec(rng, -2, 2);
        anyInside = anyInside || insideness(f, points[k]) >= 0;
      }
      if (anyInside) {
        ASSERT_TRUE(f.intersectsConvexPointSet(points, count));
      }
    }
  }
  EXPECT_GT(seen, 2000);
  EXPECT_GT(rejected, 2000);
}

TEST(Frustum, APointSetWithNoPointsIsOutsideAFrustumWithPlanes) {
  Frustum f;
  f.initPerspective({0, 0, 0}, Quatf::identity(), 1.0f, 1.0f, 1, 10);
  EXPECT_FALSE(f.intersectsConvexPointSet(nullptr, 0));
  // A set that straddles the frustum with no point inside still passes every single plane.
  Vec3<float> straddle[2] = {{-50, 0, -5}, {50, 0, -5}};
  EXPECT_TRUE(f.intersectsConvexPointSet(straddle, 2));
}

TEST(Frustum, TheBoxTestIsConservativeNearEdges) {
  Frustum f;
  f.initPerspective({0, 0, 0}, Quatf::identity(), -1, 1, -1, 1, 1, 10);
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
  // Plane 0: x > 0 is its positive side, plane 1: y > 0. The masked test treats positive as outside.
  Frustum f;
  f.planes = {{{1, 0, 0}, 0}, {{0, 1, 0}, 0}};
  unsigned mask = 3;
  // Wholly on the positive side of plane 0: false.
  EXPECT_FALSE(f.intersects(AABB{{1, -5, 0}, {2, -4, 1}}, &mask));
  // Wholly on the negative side of both: true, and both bits are cleared for the children.
  mask = 3;
  EXPECT_TRUE(f.intersects(AABB{{-2, -2, 0}, {-1, -1, 1}}, &mask));
  EXPECT_EQ(mask, 0u);
  // Straddling plane 0, inside plane 1: plane 0's bit stays.
  mask = 3;
  EXPECT_TRUE(f.intersects(AABB{{-1, -2, 0}, {1, -1, 1}}, &mask));
  EXPECT_EQ(mask, 1u);
  // Touching at 0 counts as the negative side for clearing.
  mask = 1;
  EXPECT_TRUE(f.intersects(AABB{{-1, 5, 0}, {0, 6, 1}}, &mask));
  EXPECT_EQ(mask, 0u);
  // Only the planes in the mask are tested.
  mask = 2;
  EXPECT_TRUE(f.intersects(AABB{{1, -5, 0}, {2, -4, 1}}, &mask));
  EXPECT_EQ(mask, 0u);
  mask = 0;
  EXPECT_TRUE(f.intersects(AABB{{1, 5, 0}, {2, 6, 1}}, &mask));
  // The unmasked test on the same frustum says the opposite about the first box.
  EXPECT_TRUE(f.intersects(AABB{{1, 5, 0}, {2, 6, 1}}));
  EXPECT_FALSE(f.intersects(AABB{{-2, -2, 0}, {-1, -1, 1}}));
}

// The camera's world transform and its view matrix.
Mat4x4f viewOf(Vec3<float> const& position, Quatf const& orientation) {
  return orientation.asMatrixWithTranslation(position).inverse3x4();
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
    for (auto convention : {ka::CSC_OpenGL, ka::CSC_Direct3D}) {
      Mat4x4f clip = ka::mul(viewOf(pos, q), Mat4x4f::perspective(convention, 2 * hw, 2 * hh, n, fa));
      Frustum f;
      if (convention == ka::CSC_OpenGL)
        f.initGLTransform(clip);
      else
        f.initClipTransform(convention, clip);
      ASSERT_EQ(f.points.size(), 8u);
      ASSERT_EQ(f.planes.size(), 6u);
      for (int i = 0; i < 8; ++i) ASSERT_TRUE(near(f.points[i], expect.points[i], 2e-3f * fa)) << round << " " << i;
      AABB region = around(expect);
      for (int i = 0; i < 300; ++i) {
        Vec3<float> p = pointIn(rng, region);
        float d = insideness(expect, p);
        if (d > 2e-2f) {
          ASSERT_GE(minPlaneDistance(f, p), 0) << round << " " << p;
        }
        if (d < -2e-2f) {
          ASSERT_LT(minPlaneDistance(f, p), 0) << round << " " << p;
        }
      }
    }
  }
}

TEST(Frustum, ClipTransformOfAnOrthographicProjection) {
  Frustum f;
  f.initGLTransform(Mat4x4f::orthographicOpenGL(-2, 2, -1, 1, 1, 10));
  EXPECT_TRUE(near(f.points[0], {-2, -1, -1}, 1e-5f));
  EXPECT_TRUE(near(f.points[7], {2, 1, -10}, 1e-5f));
  Vec3<float> in{1.9f, 0.9f, -9.9f}, out{2.1f, 0, -5};
  EXPECT_TRUE(f.intersectsConvexPointSet(&in, 1));
  EXPECT_FALSE(f.intersectsConvexPointSet(&out, 1));
  EXPECT_EQ(f.position, (Vec3<float>{0, 0, 0}));
  EXPECT_EQ(f.near, 0);
}

TEST(Frustum, TransformKeepsTheTestsInTheNewSpace) {
  std::mt19937 rng(10);
  for (int round = 0; round < 100; ++round) {
    Frustum f = randomFrustum(rng);
    Mat4x4f m = mathtest::randomAffine(rng);
    Frustum g = f;
    g.transform(m);
    ASSERT_EQ(g.planes.size(), 6u);
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(near(g.points[i], ka::transformPoint(f.points[i], m), 1e-3f));
    for (auto const& plane : g.planes) ASSERT_NEAR(ka::length(plane.n), 1, 1e-5);
    AABB region = around(f);
    for (int i = 0; i < 300; ++i) {
      Vec3<float> p = pointIn(rng, region);
      float d = insideness(f, p);
      Vec3<float> moved = ka::transformPoint(p, m);
      if (d > 5e-2f) {
        ASSERT_GE(minPlaneDistance(g, moved), 0) << round << " " << p;
      }
      if (d < -5e-2f) {
        ASSERT_LT(minPlaneDistance(g, moved), 0) << round << " " << p;
      }
    }
  }
}

TEST(Frustum, TransformByARigidMotionMovesTheCamera) {
  std::mt19937 rng(12);
  for (int round = 0; round < 100; ++round) {
    Frustum f = randomFrustum(rng);
    Quatf r = mathtest::randomRotation(rng);
    Vec3<float> t = mathtest::randomVec(rng, -10, 10);
    Frustum g = f;
    g.transform(r.asMatrixWithTranslation(t));
    ASSERT_TRUE(near(g.position, r.transform(f.position) + t, 1e-4f));
    ASSERT_TRUE(ka::nearlySame(g.orientation, r * f.orientation, 1 - 1e-5f));
    Frustum rebuilt;
    rebuilt.initPerspective(g.position, g.orientation, g.left, g.right, g.bottom, g.top, g.near, g.far);
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(near(rebuilt.points[i], g.points[i], 1e-2f)) << round;
  }
}

}  // namespace
