// Quaternions: against the rotation matrices, product order, matrix round trips, fallbacks, clampRotation.
#include "ka/quat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

#include "support/math.h"

namespace {

using ka::Mat4x4f;
using ka::Quatd;
using ka::Quatf;
using ka::Vec3;
using mathtest::near;

static_assert(Quatf::identity().transform(Vec3<float>{1, 2, 3}) == Vec3<float>{1, 2, 3});

::testing::AssertionResult sameRotation(Quatf const& a, Quatf const& b, float tolerance = 1e-5f) {
  if (ka::nearlySame(a, b, 1 - tolerance)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << a << " and " << b << " are not the same rotation";
}

TEST(Quat, TransformMatricesAndProductsAgree) {
  std::mt19937 rng(1);
  for (int i = 0; i < 500; ++i) {
    Vec3<float> axis = mathtest::randomVec(rng, -3, 3);
    float angle = mathtest::uniform(rng, -7, 7);
    Quatf r = Quatf::fromAxisAngle(axis, angle);
    ASSERT_NEAR(ka::dot(r, r), 1, 1e-5);
    ASSERT_TRUE(near(r.asMatrix(), Mat4x4f::rotation(axis, angle), 1e-5)) << i;

    Quatf q = mathtest::randomRotation(rng);
    Vec3<float> v = mathtest::randomVec(rng, -10, 10), t = mathtest::randomVec(rng, -10, 10);
    ASSERT_TRUE(near(q.transform(v), ka::mul(v, q.asRotationMatrix()), 1e-4f));
    ASSERT_TRUE(near(q.transform(v) + t, ka::transformPoint(v, q.asMatrixWithTranslation(t)), 1e-4f));
    ASSERT_TRUE(near(q.conjugate().transform(q.transform(v)), v, 1e-4f));
    // The right operand turns first.
    ASSERT_TRUE(near((q * r).transform(v), q.transform(r.transform(v)), 1e-4f));
    ASSERT_TRUE(near((q * r).asMatrix(), ka::mul(r.asMatrix(), q.asMatrix()), 1e-5));
  }
}

TEST(Quat, FromAxisAngleEdges) {
  // Half the angle below 1e-5 in size gives the identity.
  EXPECT_EQ(Quatf::fromAxisAngle({1, 2, 3}, 1.9e-5f), Quatf::identity());
  EXPECT_EQ(Quatf::fromAxisAngle({1, 2, 3}, -1.9e-5f), Quatf::identity());
  EXPECT_NE(Quatf::fromAxisAngle({1, 2, 3}, 2.1e-5f), Quatf::identity());
  // A zero axis with a large angle: no NaN.
  Quatf z = Quatf::fromAxisAngle({0, 0, 0}, 1);
  EXPECT_EQ(z.x, 0);
  EXPECT_TRUE(std::isfinite(z.w));
  // A rotation vector: direction the axis, length the angle.
  EXPECT_TRUE(sameRotation(Quatf::fromAxis({0, 0.5f, 0}), Quatf::fromAxisAngle({0, 1, 0}, 0.5f)));
  EXPECT_EQ(Quatf::fromAxis({0, 0, 0}), Quatf::identity());
}

TEST(Quat, FromMatrixRoundTripsOnEveryBranch) {
  std::mt19937 rng(4);
  std::vector<Quatf> cases;
  for (int i = 0; i < 1000; ++i) cases.push_back(mathtest::randomRotation(rng));
  // Half turns and near half turns, where the trace is negative and each diagonal entry leads.
  for (Vec3<float> axis : {Vec3<float>{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}, {0, 1, 1}})
    for (float angle : {3.1415926f, 3.0f, -2.5f}) cases.push_back(Quatf::fromAxisAngle(axis, angle));
  cases.push_back(Quatf::identity());
  for (Quatf const& q : cases) {
    Quatf back = Quatf::fromMatrix(q.asRotationMatrix());
    ASSERT_TRUE(sameRotation(back, q)) << q;
    ASSERT_GE(back.w, 0);
    ASSERT_TRUE(sameRotation(Quatf::fromMatrix(q.asMatrixWithTranslation({1, 2, 3})), q));
  }
}

TEST(Quat, FromDirToDirAndFromVecToVecTurnOneDirectionIntoTheOther) {
  std::mt19937 rng(5);
  for (int i = 0; i < 1000; ++i) {
    Vec3<float> from = mathtest::randomDirection(rng), to = mathtest::randomDirection(rng);
    Quatf q = Quatf::fromDirToDir(from, to, {0, 0, 0});
    ASSERT_NEAR(ka::dot(q, q), 1, 1e-4);
    ASSERT_TRUE(near(q.transform(from), to, 2e-3f)) << from << " " << to;
    // Any lengths.
    ASSERT_TRUE(near(Quatf::fromVecToVec(from * 3.0f, to * 0.5f).transform(from), to, 2e-3f)) << from << " " << to;
  }
  EXPECT_EQ(Quatf::fromDirToDir({0, 1, 0}, {0, 1, 0}, {1, 0, 0}), Quatf::identity());
}

TEST(Quat, OppositeDirectionsUseTheFallback) {
  // h is the fallback: the result is (cross(from, h), dot(from, h)).
  Quatf q = Quatf::fromDirToDir({1, 0, 0}, {-1, 0, 0}, {0, 1, 0});
  EXPECT_EQ(q, (Quatf{0, 0, 1, 0}));
  EXPECT_TRUE(near(q.transform({1, 0, 0}), {-1, 0, 0}, 1e-6f));
  EXPECT_EQ(Quatf::fromDirToDir({0, 0, 1}, {0, 0, -1}, {1, 0, 0}), (Quatf{0, 1, 0, 0}));
  EXPECT_EQ(Quatd::fromDirToDir({0, 1, 0}, {0, -1, 0}, {0, 0, 1}), (Quatd{1, 0, 0, 0}));
  // Just within the threshold: |from + to|^2 below 1e-6 still takes the fallback.
  Vec3<float> to = ka::normalize(Vec3<float>{-1, 0.0009f, 0});
  EXPECT_EQ(Quatf::fromDirToDir({1, 0, 0}, to, {0, 0, 1}), (Quatf{0, -1, 0, 0}));
  // fromVecToVec finds a fallback of its own.
  for (Vec3<float> v : {Vec3<float>{3, 0, 0}, {0, -2, 0}, {0, 0, 1}, {1, 2, 3}}) {
    Quatf r = Quatf::fromVecToVec(v, -v * 2.0f);
    EXPECT_NEAR(ka::dot(r, r), 1, 1e-5);
    EXPECT_TRUE(near(r.transform(ka::normalize(v)), -ka::normalize(v), 1e-5f)) << v;
  }
}

TEST(Quat, NearlySameCountsTheNegativeAsTheSame) {
  Quatf q = Quatf::fromAxisAngle({1, 2, 3}, 0.8f);
  EXPECT_TRUE(ka::nearlySame(q, q, 0.9999f));
  EXPECT_TRUE(ka::nearlySame(q, -q, 0.9999f));
  EXPECT_FALSE(ka::nearlySame(q, Quatf::fromAxisAngle({1, 2, 3}, 0.9f), 0.9999f));
  EXPECT_TRUE(ka::nearlySame(q, Quatf::fromAxisAngle({1, 2, 3}, 0.9f), 0.99f));
  // "Exceeds": equal to the tolerance is not enough.
  EXPECT_FALSE(ka::nearlySame(Quatf::identity(), Quatf::identity(), 1.0f));
}

TEST(Quat, ClampRotation) {
  // A rotation within the limit stays as it is.
  Quatf small = Quatf::fromAxisAngle({0, 0, 1}, 0.5f);
  EXPECT_EQ(ka::clampRotation(small, 1.0f), small);
  EXPECT_EQ(ka::clampRotation(Quatd::identity(), 0.1), Quatd::identity());
  // One beyond it: vector part times sin(max / 2), w = cos(max / 2). For a unit quaternion the
  // vector part is sin(angle / 2) long, and it is not normalised first.
  Quatf big = Quatf::fromAxisAngle({0, 0, 1}, 2.0f);
  Quatf c = ka::clampRotation(big, 1.0f);
  EXPECT_FLOAT_EQ(c.z, std::sin(1.0f) * std::sin(0.5f));
  EXPECT_FLOAT_EQ(c.w, std::cos(0.5f));
  EXPECT_EQ(c.x, 0);
  // The size of maxAngle counts, not its sign.
  EXPECT_EQ(ka::clampRotation(big, -1.0f), c);
  // With w negative, the vector part is negated.
  Quatf n = ka::clampRotation(-big, 1.0f);
  EXPECT_FLOAT_EQ(n.z, std::sin(1.0f) * std::sin(0.5f));
  EXPECT_FLOAT_EQ(n.w, std::cos(0.5f));
  // From half of maxAngle at 1.5707964 up, nothing changes, even for a quaternion that is not a unit one.
  Quatf odd{3, 4, 0, -1};
  EXPECT_EQ(ka::clampRotation(odd, 3.1415928f), odd);
  Quatf clamped = ka::clampRotation(odd, 3.14f);
  EXPECT_FLOAT_EQ(clamped.x, -3 * std::sin(1.57f));
  EXPECT_FLOAT_EQ(clamped.y, -4 * std::sin(1.57f));
}

TEST(Quat, DoublePrecisionAndStreamForm) {
  Quatd q = Quatd::fromAxisAngle({0, 0, 1}, 1.5707963267948966);
  Vec3<double> v = q.transform({1, 0, 0});
  EXPECT_NEAR(v.x, 0, 1e-15);
  EXPECT_NEAR(v.y, 1, 1e-15);
  EXPECT_TRUE(ka::nearlySame(Quatd::fromMatrix(q.asRotationMatrix()), q, 1 - 1e-12));
  std::ostringstream os;
  os << Quatf{1, 2, 3, 4} << ' ' << Quatd{0, 0, 0, 1};
  EXPECT_EQ(os.str(), "Quat<float>(1,2,3,4) Quat<double>(0,0,0,1)");
}

}  // namespace
