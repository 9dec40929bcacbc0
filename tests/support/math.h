// Random inputs and tolerant comparisons for the tests of the vector math.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "ka/quat.h"
#include "ka/vecmath.h"

namespace mathtest {

inline float uniform(std::mt19937& rng, float lo, float hi) {
  return std::uniform_real_distribution<float>(lo, hi)(rng);
}

inline ka::Vec3<float> randomVec(std::mt19937& rng, float lo, float hi) {
  return {uniform(rng, lo, hi), uniform(rng, lo, hi), uniform(rng, lo, hi)};
}

// A unit vector, uniform on the sphere.
inline ka::Vec3<float> randomDirection(std::mt19937& rng) {
  std::normal_distribution<float> n;
  for (;;) {
    ka::Vec3<float> v{n(rng), n(rng), n(rng)};
    if (ka::lengthSquared(v) > 1e-4f) return ka::normalize(v);
  }
}

// A unit quaternion, uniform over rotations (Shoemake's method).
inline ka::Quatf randomRotation(std::mt19937& rng) {
  float u1 = uniform(rng, 0, 1), u2 = uniform(rng, 0, 6.2831853f), u3 = uniform(rng, 0, 6.2831853f);
  float a = std::sqrt(1 - u1), b = std::sqrt(u1);
  return {a * std::sin(u2), a * std::cos(u2), b * std::sin(u3), b * std::cos(u3)};
}

// Rotation, then a scale of 0.5 to 2 per axis, then translation: well conditioned.
inline ka::Mat4x4f randomAffine(std::mt19937& rng) {
  ka::Mat4x4f scale = ka::Mat4x4f::scaleTranslation(randomVec(rng, 0.5f, 2), randomVec(rng, -10, 10));
  return ka::mul(randomRotation(rng).asMatrix(), scale);
}

inline ::testing::AssertionResult near(ka::Vec3<float> const& a, ka::Vec3<float> const& b, float tolerance) {
  if (std::abs(a.x - b.x) <= tolerance && std::abs(a.y - b.y) <= tolerance && std::abs(a.z - b.z) <= tolerance)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << a << " and " << b << " differ by more than " << tolerance;
}

template <class M>
::testing::AssertionResult near(M const& a, M const& b, double tolerance) {
  constexpr int n = sizeof(a.m) / sizeof(a.m[0]);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      if (!(std::abs(double(a.m[i][j]) - double(b.m[i][j])) <= tolerance))
        return ::testing::AssertionFailure() << a << " and " << b << " differ at [" << i << "][" << j
                                             << "] by more than " << tolerance;
  return ::testing::AssertionSuccess();
}

template <class M>
bool finite(M const& m) {
  for (auto const& row : m.m)
    for (auto v : row)
      if (!std::isfinite(v)) return false;
  return true;
}

}  // namespace mathtest
