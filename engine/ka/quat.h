// Rotation quaternions: x, y, z the vector part, w the scalar part.
//
// (a * b) is the Hamilton product, so (a * b).transform(v) == a.transform(b.transform(v)): b turns
// first. As matrices (row vectors), (a * b).asRotationMatrix() == mul(b.asRotationMatrix(),
// a.asRotationMatrix()). A plain aggregate like the vectors: Quatf{0, 0, 0, 1} is the identity.
#pragma once

#include <cmath>
#include <iosfwd>
#include <type_traits>

#include "vecmath.h"

namespace ka {

template <class T>
struct Quat {
  T x, y, z, w;

  static constexpr Quat identity() { return {0, 0, 0, 1}; }
  // From a rotation matrix (row vectors, as Mat3x3f::rotation makes them); the result has w >= 0.
  static Quat fromMatrix(Mat3x3<T> const& m);
  static Quat fromMatrix(Mat4x4f const& m) requires std::is_same_v<T, float> { return fromMatrix(m.upper3x3()); }
  // Counter-clockwise by `angle` radians about `axis`, which is normalised here; the identity when
  // half the angle is below 1e-5 in size.
  static Quat fromAxisAngle(Vec3<T> const& axis, T angle);
  // From a rotation vector: the axis is its direction and the angle its length, in radians.
  static Quat fromAxis(Vec3<T> const& rotationVector) { return fromAxisAngle(rotationVector, length(rotationVector)); }
  // The shortest rotation taking unit vector `from` to unit vector `to`. With h = normalize(from + to),
  // or `fallback` when |from + to|^2 is below 1e-6 (opposite directions), the result is
  // (cross(from, h), dot(from, h)). So `fallback` should be a unit vector perpendicular to `from`: the
  // result is then the half turn about cross(from, fallback).
  static Quat fromDirToDir(Vec3<T> const& from, Vec3<T> const& to, Vec3<T> const& fallback);
  // The shortest rotation turning the direction of `from` into the direction of `to`, for vectors of
  // any length; for opposite ones a half turn about some axis perpendicular to `from`.
  static Quat fromVecToVec(Vec3<T> const& from, Vec3<T> const& to);

  // The matrix of a unit quaternion, for row vectors: mul(v, q.asRotationMatrix()) == q.transform(v).
  Mat3x3<T> asRotationMatrix() const;
  Mat4x4f asMatrix() const requires std::is_same_v<T, float> {
    return Mat4x4f::rotationTranslation(asRotationMatrix(), {0, 0, 0});
  }
  // Rotates, then translates.
  Mat4x4f asMatrixWithTranslation(Vec3<float> const& translation) const requires std::is_same_v<T, float> {
    return Mat4x4f::rotationTranslation(asRotationMatrix(), translation);
  }

  // v rotated by this unit quaternion.
  constexpr Vec3<T> transform(Vec3<T> const& v) const {
    Vec3<T> u{x, y, z};
    Vec3<T> t = cross(u, v) * T(2);
    return v + t * w + cross(u, t);
  }
  // The images of the axes: the rows of asRotationMatrix().
  constexpr Vec3<T> transformXAxis() const {
    return {1 - 2 * (y * y + z * z), 2 * (x * y + z * w), 2 * (x * z - y * w)};
  }
  constexpr Vec3<T> transformYAxis() const {
    return {2 * (x * y - z * w), 1 - 2 * (x * x + z * z), 2 * (y * z + x * w)};
  }
  constexpr Vec3<T> transformZAxis() const {
    return {2 * (x * z + y * w), 2 * (y * z - x * w), 1 - 2 * (x * x + y * y)};
  }

  // The inverse of a unit quaternion.
  constexpr Quat conjugate() const { return {-x, -y, -z, w}; }
  constexpr Quat operator-() const { return {-x, -y, -z, -w}; }
  constexpr bool operator==(Quat const&) const = default;
};

using Quatf = Quat<float>;
using Quatd = Quat<double>;

template <class T>
constexpr Quat<T> operator*(Quat<T> const& a, Quat<T> const& b) {
  return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x,
          a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}

// The four-component dot product.
template <class T> constexpr T dot(Quat<T> const& a, Quat<T> const& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}
// q / (|q| + kNormalizeEpsilon).
template <class T> Quat<T> normalize(Quat<T> const& q) {
  T s = T(1) / (std::sqrt(dot(q, q)) + T(kNormalizeEpsilon));
  return {q.x * s, q.y * s, q.z * s, q.w * s};
}

// True if |dot(a, b)| exceeds `tolerance`, a value close to 1: a quaternion and its negative are the
// same rotation, and count as the same here.
template <class T> bool nearlySame(Quat<T> const& a, Quat<T> const& b, T tolerance) {
  return std::abs(dot(a, b)) > tolerance;
}

// Limits the rotation of q to `maxAngle` radians. With x = |maxAngle| / 2: from x of 1.5707964 up, q
// as it is; otherwise if the vector part's squared length exceeds sin(x)^2, the vector part is
// multiplied by sin(x), negated if w is negative, and w becomes cos(x). The vector part is
// deliberately not normalised first, so that result is not a unit quaternion unless q's vector part was.
template <class T> Quat<T> clampRotation(Quat<T> const& q, T maxAngle) {
  T half = std::abs(maxAngle) / 2;
  if (half >= T(1.5707964)) return q;
  T s = std::sin(half);
  if (q.x * q.x + q.y * q.y + q.z * q.z <= s * s) return q;
  T f = q.w < 0 ? -s : s;
  return {q.x * f, q.y * f, q.z * f, std::cos(half)};
}

template <class T>
Quat<T> Quat<T>::fromMatrix(Mat3x3<T> const& m) {
  // Shoemake's method on the transposed (column-vector) matrix R, R[i][j] = m[j][i].
  T trace = m.m[0][0] + m.m[1][1] + m.m[2][2];
  Quat q;
  if (trace > 0) {
    T s = std::sqrt(trace + 1) * 2;
    q = {(m.m[1][2] - m.m[2][1]) / s, (m.m[2][0] - m.m[0][2]) / s, (m.m[0][1] - m.m[1][0]) / s, s / 4};
  } else if (m.m[0][0] > m.m[1][1] && m.m[0][0] > m.m[2][2]) {
    T s = std::sqrt(1 + m.m[0][0] - m.m[1][1] - m.m[2][2]) * 2;
    q = {s / 4, (m.m[1][0] + m.m[0][1]) / s, (m.m[2][0] + m.m[0][2]) / s, (m.m[1][2] - m.m[2][1]) / s};
  } else if (m.m[1][1] > m.m[2][2]) {
    T s = std::sqrt(1 + m.m[1][1] - m.m[0][0] - m.m[2][2]) * 2;
    q = {(m.m[1][0] + m.m[0][1]) / s, s / 4, (m.m[2][1] + m.m[1][2]) / s, (m.m[2][0] - m.m[0][2]) / s};
  } else {
    T s = std::sqrt(1 + m.m[2][2] - m.m[0][0] - m.m[1][1]) * 2;
    q = {(m.m[2][0] + m.m[0][2]) / s, (m.m[2][1] + m.m[1][2]) / s, s / 4, (m.m[0][1] - m.m[1][0]) / s};
  }
  return q.w < 0 ? -q : q;
}

template <class T>
Quat<T> Quat<T>::fromAxisAngle(Vec3<T> const& axis, T angle) {
  T half = angle / 2;
  if (std::abs(half) < T(1e-5)) return identity();
  Vec3<T> v = normalize(axis) * std::sin(half);
  return {v.x, v.y, v.z, std::cos(half)};
}

template <class T>
Quat<T> Quat<T>::fromDirToDir(Vec3<T> const& from, Vec3<T> const& to, Vec3<T> const& fallback) {
  Vec3<T> sum = from + to;
  Vec3<T> h = lengthSquared(sum) < T(1e-6) ? fallback : normalize(sum);
  Vec3<T> v = cross(from, h);
  return {v.x, v.y, v.z, dot(from, h)};
}

template <class T>
Quat<T> Quat<T>::fromVecToVec(Vec3<T> const& from, Vec3<T> const& to) {
  Vec3<T> f = normalize(from), t = normalize(to);
  // Perpendicular to f: crossed with the axis along which f is smallest.
  Vec3<T> a = abs(f);
  Vec3<T> other = a.x <= a.y && a.x <= a.z ? Vec3<T>{1, 0, 0} : a.y <= a.z ? Vec3<T>{0, 1, 0} : Vec3<T>{0, 0, 1};
  return fromDirToDir(f, t, normalize(cross(f, other)));
}

template <class T>
Mat3x3<T> Quat<T>::asRotationMatrix() const {
  Vec3<T> a = transformXAxis(), b = transformYAxis(), c = transformZAxis();
  return {{{a.x, a.y, a.z}, {b.x, b.y, b.z}, {c.x, c.y, c.z}}};
}

// "Quat<float>(x,y,z,w)"; defined for float and double.
template <class T> std::ostream& operator<<(std::ostream& os, Quat<T> const& q);

static_assert(sizeof(Quatf) == 16 && sizeof(Quatd) == 32 && std::is_trivial_v<Quatf>);

}  // namespace ka
