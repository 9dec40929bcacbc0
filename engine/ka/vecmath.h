// Vectors, row-major matrices, planes, spheres and axis-aligned boxes: the renderer's math vocabulary.
//
// Conventions: matrices are row-major and used with row vectors. A point is multiplied from the left
// (p' = p * M), so the translation stands in the last row, and mul(a, b) applies a first, then b.
// Right-handed; cameras look down negative z. Wherever a length is divided by, kNormalizeEpsilon is
// added to it first, so that a zero vector normalises to zero instead of NaN.
//
// Every type here is a plain aggregate: trivially copyable, no padding, `T{}` is all zeros and a
// default-initialised one is left uninitialised, as a built-in number is.
#pragma once

#include <cmath>
#include <iosfwd>
#include <limits>
#include <type_traits>

namespace ka {

// The smallest normal float, added to every length before dividing by it.
inline constexpr float kNormalizeEpsilon = 1.1754944e-38f;

template <class T>
struct Vec2 {
  T x, y;

  constexpr Vec2& operator+=(Vec2 const& o) { x += o.x; y += o.y; return *this; }
  constexpr Vec2& operator-=(Vec2 const& o) { x -= o.x; y -= o.y; return *this; }
  constexpr Vec2& operator*=(T s) { x *= s; y *= s; return *this; }
  constexpr Vec2& operator/=(T s) { x /= s; y /= s; return *this; }
  constexpr bool operator==(Vec2 const&) const = default;
};

template <class T>
struct Vec3 {
  T x, y, z;

  constexpr Vec2<T> xy() const { return {x, y}; }
  constexpr Vec3& operator+=(Vec3 const& o) { x += o.x; y += o.y; z += o.z; return *this; }
  constexpr Vec3& operator-=(Vec3 const& o) { x -= o.x; y -= o.y; z -= o.z; return *this; }
  constexpr Vec3& operator*=(T s) { x *= s; y *= s; z *= s; return *this; }
  constexpr Vec3& operator/=(T s) { x /= s; y /= s; z /= s; return *this; }
  constexpr bool operator==(Vec3 const&) const = default;
};

template <class T>
struct Vec4 {
  T x, y, z, w;

  constexpr Vec3<T> xyz() const { return {x, y, z}; }
  constexpr Vec4& operator+=(Vec4 const& o) { x += o.x; y += o.y; z += o.z; w += o.w; return *this; }
  constexpr Vec4& operator-=(Vec4 const& o) { x -= o.x; y -= o.y; z -= o.z; w -= o.w; return *this; }
  constexpr Vec4& operator*=(T s) { x *= s; y *= s; z *= s; w *= s; return *this; }
  constexpr Vec4& operator/=(T s) { x /= s; y /= s; z /= s; w /= s; return *this; }
  constexpr bool operator==(Vec4 const&) const = default;
};

// Component-wise arithmetic; `*` and `/` between two vectors are component-wise too.
template <class T> constexpr Vec2<T> operator+(Vec2<T> a, Vec2<T> const& b) { return a += b; }
template <class T> constexpr Vec2<T> operator-(Vec2<T> a, Vec2<T> const& b) { return a -= b; }
template <class T> constexpr Vec2<T> operator-(Vec2<T> const& a) { return {-a.x, -a.y}; }
template <class T> constexpr Vec2<T> operator*(Vec2<T> a, T s) { return a *= s; }
template <class T> constexpr Vec2<T> operator*(T s, Vec2<T> a) { return a *= s; }
template <class T> constexpr Vec2<T> operator/(Vec2<T> a, T s) { return a /= s; }
template <class T> constexpr Vec2<T> operator*(Vec2<T> const& a, Vec2<T> const& b) { return {a.x * b.x, a.y * b.y}; }
template <class T> constexpr Vec2<T> operator/(Vec2<T> const& a, Vec2<T> const& b) { return {a.x / b.x, a.y / b.y}; }

template <class T> constexpr Vec3<T> operator+(Vec3<T> a, Vec3<T> const& b) { return a += b; }
template <class T> constexpr Vec3<T> operator-(Vec3<T> a, Vec3<T> const& b) { return a -= b; }
template <class T> constexpr Vec3<T> operator-(Vec3<T> const& a) { return {-a.x, -a.y, -a.z}; }
template <class T> constexpr Vec3<T> operator*(Vec3<T> a, T s) { return a *= s; }
template <class T> constexpr Vec3<T> operator*(T s, Vec3<T> a) { return a *= s; }
template <class T> constexpr Vec3<T> operator/(Vec3<T> a, T s) { return a /= s; }
template <class T> constexpr Vec3<T> operator*(Vec3<T> const& a, Vec3<T> const& b) {
  return {a.x * b.x, a.y * b.y, a.z * b.z};
}
template <class T> constexpr Vec3<T> operator/(Vec3<T> const& a, Vec3<T> const& b) {
  return {a.x / b.x, a.y / b.y, a.z / b.z};
}

template <class T> constexpr Vec4<T> operator+(Vec4<T> a, Vec4<T> const& b) { return a += b; }
template <class T> constexpr Vec4<T> operator-(Vec4<T> a, Vec4<T> const& b) { return a -= b; }
template <class T> constexpr Vec4<T> operator-(Vec4<T> const& a) { return {-a.x, -a.y, -a.z, -a.w}; }
template <class T> constexpr Vec4<T> operator*(Vec4<T> a, T s) { return a *= s; }
template <class T> constexpr Vec4<T> operator*(T s, Vec4<T> a) { return a *= s; }
template <class T> constexpr Vec4<T> operator/(Vec4<T> a, T s) { return a /= s; }
template <class T> constexpr Vec4<T> operator*(Vec4<T> const& a, Vec4<T> const& b) {
  return {a.x * b.x, a.y * b.y, a.z * b.z, a.w * b.w};
}

template <class T> constexpr T dot(Vec2<T> const& a, Vec2<T> const& b) { return a.x * b.x + a.y * b.y; }
template <class T> constexpr T dot(Vec3<T> const& a, Vec3<T> const& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
template <class T> constexpr T dot(Vec4<T> const& a, Vec4<T> const& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}
template <class T> constexpr Vec3<T> cross(Vec3<T> const& a, Vec3<T> const& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
template <class> inline constexpr bool isVec = false;
template <class T> inline constexpr bool isVec<Vec2<T>> = true;
template <class T> inline constexpr bool isVec<Vec3<T>> = true;
template <class T> inline constexpr bool isVec<Vec4<T>> = true;

template <class V> requires isVec<V> constexpr auto lengthSquared(V const& v) { return dot(v, v); }
template <class V> requires isVec<V> auto length(V const& v) { return std::sqrt(dot(v, v)); }
// v / (|v| + kNormalizeEpsilon): the zero vector stays zero.
template <class V> requires isVec<V> V normalize(V const& v) {
  using T = decltype(v.x);
  return v * (T(1) / (length(v) + T(kNormalizeEpsilon)));
}
template <class V> requires isVec<V> constexpr V lerp(V const& a, V const& b, decltype(V::x) t) {
  return a + (b - a) * t;
}

template <class T> constexpr Vec3<T> min(Vec3<T> const& a, Vec3<T> const& b) {
  return {b.x < a.x ? b.x : a.x, b.y < a.y ? b.y : a.y, b.z < a.z ? b.z : a.z};
}
template <class T> constexpr Vec3<T> max(Vec3<T> const& a, Vec3<T> const& b) {
  return {a.x < b.x ? b.x : a.x, a.y < b.y ? b.y : a.y, a.z < b.z ? b.z : a.z};
}
template <class T> Vec3<T> abs(Vec3<T> const& v) { return {std::abs(v.x), std::abs(v.y), std::abs(v.z)}; }

// 0: clip z from 0 to 1 (the Direct3D forms); 1: clip z from -1 to 1 (the OpenGL forms).
enum ClipSpaceConvention : int { CSC_Direct3D = 0, CSC_OpenGL = 1 };

// m[row][column]; rows are the images of the x, y and z axes.
template <class T>
struct Mat3x3 {
  T m[3][3];

  static constexpr Mat3x3 identity() { return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}; }
  // Counter-clockwise by `angle` radians, looking from the tip of `axis`, which is normalised here.
  static Mat3x3 rotation(Vec3<T> const& axis, T angle);
  // The rotation part of Mat4x4f::lookAt: columns x, y, z of the camera.
  static Mat3x3 lookAt(Vec3<T> const& target, Vec3<T> const& eye, Vec3<T> const& up);
  constexpr Mat3x3 transpose() const {
    return {{{m[0][0], m[1][0], m[2][0]}, {m[0][1], m[1][1], m[2][1]}, {m[0][2], m[1][2], m[2][2]}}};
  }
  constexpr Vec3<T> row(int i) const { return {m[i][0], m[i][1], m[i][2]}; }
  constexpr T determinant() const {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  }
  // Adjugate over determinant; a singular matrix gives infinities or NaN.
  constexpr Mat3x3 inverse() const;
  constexpr bool operator==(Mat3x3 const&) const = default;
};

using Mat3x3f = Mat3x3<float>;
using Mat3x3d = Mat3x3<double>;

// a first, then b: the product a b.
template <class T> constexpr Mat3x3<T> mul(Mat3x3<T> const& a, Mat3x3<T> const& b) {
  Mat3x3<T> r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
  return r;
}
// The row vector v times m.
template <class T> constexpr Vec3<T> mul(Vec3<T> const& v, Mat3x3<T> const& m) {
  return {v.x * m.m[0][0] + v.y * m.m[1][0] + v.z * m.m[2][0], v.x * m.m[0][1] + v.y * m.m[1][1] + v.z * m.m[2][1],
          v.x * m.m[0][2] + v.y * m.m[1][2] + v.z * m.m[2][2]};
}

template <class T>
Mat3x3<T> Mat3x3<T>::rotation(Vec3<T> const& axis, T angle) {
  Vec3<T> a = normalize(axis);
  T c = std::cos(angle), s = std::sin(angle), t = 1 - c;
  return {{{c + a.x * a.x * t, a.x * a.y * t + a.z * s, a.x * a.z * t - a.y * s},
           {a.x * a.y * t - a.z * s, c + a.y * a.y * t, a.y * a.z * t + a.x * s},
           {a.x * a.z * t + a.y * s, a.y * a.z * t - a.x * s, c + a.z * a.z * t}}};
}

template <class T>
Mat3x3<T> Mat3x3<T>::lookAt(Vec3<T> const& target, Vec3<T> const& eye, Vec3<T> const& up) {
  Vec3<T> z = normalize(eye - target);
  Vec3<T> x = normalize(cross(up, z));
  Vec3<T> y = cross(z, x);
  return {{{x.x, y.x, z.x}, {x.y, y.y, z.y}, {x.z, y.z, z.z}}};
}

template <class T>
constexpr Mat3x3<T> Mat3x3<T>::inverse() const {
  T inv = T(1) / determinant();
  return {{{(m[1][1] * m[2][2] - m[1][2] * m[2][1]) * inv, (m[0][2] * m[2][1] - m[0][1] * m[2][2]) * inv,
            (m[0][1] * m[1][2] - m[0][2] * m[1][1]) * inv},
           {(m[1][2] * m[2][0] - m[1][0] * m[2][2]) * inv, (m[0][0] * m[2][2] - m[0][2] * m[2][0]) * inv,
            (m[0][2] * m[1][0] - m[0][0] * m[1][2]) * inv},
           {(m[1][0] * m[2][1] - m[1][1] * m[2][0]) * inv, (m[0][1] * m[2][0] - m[0][0] * m[2][1]) * inv,
            (m[0][0] * m[1][1] - m[0][1] * m[1][0]) * inv}}};
}

// m[row][column]; rows 0 to 2 are the images of the axes, row 3 the translation. A matrix whose last
// column is (0, 0, 0, 1) is affine, and the "3x4" operations assume that column without reading it.
struct Mat4x4f {
  float m[4][4];

  static constexpr Mat4x4f identity() { return {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}}; }
  // Counter-clockwise by `angle` radians, looking from the tip of `axis`, which is normalised here.
  static Mat4x4f rotation(Vec3<float> const& axis, float angle);
  // Rotates, then translates.
  static Mat4x4f rotationTranslation(Mat3x3f const& rotation, Vec3<float> const& translation);
  // Scales each axis, then translates.
  static Mat4x4f scaleTranslation(Vec3<float> const& scale, Vec3<float> const& translation);
  static Mat4x4f translation(Vec3<float> const& t) { return scaleTranslation({1, 1, 1}, t); }

  // Right-handed projections looking down negative z; `width` and `height` are the size of the view
  // at distance `near`. A point at z = -near lands on depth 0 (Direct3D) or -1 (OpenGL), z = -far on 1.
  static Mat4x4f perspectiveDirect3D(float width, float height, float near, float far);
  static Mat4x4f perspectiveOpenGL(float width, float height, float near, float far);
  // Maps x from left to right and y from bottom to top onto -1 to 1, z = -near and z = -far as above.
  static Mat4x4f orthographicDirect3D(float left, float right, float bottom, float top, float near, float far);
  static Mat4x4f orthographicOpenGL(float left, float right, float bottom, float top, float near, float far);
  // The form of the convention; any other value dies with "invalid clip space convention".
  static Mat4x4f perspective(ClipSpaceConvention convention, float width, float height, float near, float far);
  static Mat4x4f orthographic(ClipSpaceConvention convention, float left, float right, float bottom, float top,
                              float near, float far);
  // The view matrix of an eye looking at `target` (note the order: target first). Its rotation has
  // the columns x, y, z with z = normalize(eye - target), x = normalize(cross(up, z)), y = cross(z, x),
  // and its last row is -dot(eye, x), -dot(eye, y), -dot(eye, z), 1. Eye and target equal give zeros,
  // not NaN.
  static Mat4x4f lookAt(Vec3<float> const& target, Vec3<float> const& eye, Vec3<float> const& up);

  constexpr Vec4<float> row(int i) const { return {m[i][0], m[i][1], m[i][2], m[i][3]}; }
  constexpr Vec3<float> translationPart() const { return {m[3][0], m[3][1], m[3][2]}; }
  constexpr Mat3x3f upper3x3() const {
    return {{{m[0][0], m[0][1], m[0][2]}, {m[1][0], m[1][1], m[1][2]}, {m[2][0], m[2][1], m[2][2]}}};
  }
  float determinant() const;
  // The determinant of the upper 3x3, which is the whole determinant of an affine matrix.
  float determinant3x4() const { return upper3x3().determinant(); }
  Mat4x4f transpose() const;
  // The upper 3x3 transposed; the last row and column stay as they are.
  Mat4x4f transpose3x3() const;
  // General inverse by cofactors; a singular matrix gives infinities or NaN.
  Mat4x4f inverse() const;
  // Inverse of an affine matrix: the 3x3 inverted, the translation moved back; last column 0, 0, 0, 1.
  Mat4x4f inverse3x4() const;
  constexpr bool operator==(Mat4x4f const&) const = default;
};

// a first, then b: the product a b.
Mat4x4f mul(Mat4x4f const& a, Mat4x4f const& b);
// The product of two affine matrices, last columns taken as 0, 0, 0, 1 and so written.
Mat4x4f mul3x4(Mat4x4f const& a, Mat4x4f const& b);
// The row vector v times m.
constexpr Vec4<float> mul(Vec4<float> const& v, Mat4x4f const& m) {
  return {v.x * m.m[0][0] + v.y * m.m[1][0] + v.z * m.m[2][0] + v.w * m.m[3][0],
          v.x * m.m[0][1] + v.y * m.m[1][1] + v.z * m.m[2][1] + v.w * m.m[3][1],
          v.x * m.m[0][2] + v.y * m.m[1][2] + v.z * m.m[2][2] + v.w * m.m[3][2],
          v.x * m.m[0][3] + v.y * m.m[1][3] + v.z * m.m[2][3] + v.w * m.m[3][3]};
}
// The point (p, 1) times an affine m: rotated, scaled and translated, with no division.
constexpr Vec3<float> transformPoint(Vec3<float> const& p, Mat4x4f const& m) {
  return {p.x * m.m[0][0] + p.y * m.m[1][0] + p.z * m.m[2][0] + m.m[3][0],
          p.x * m.m[0][1] + p.y * m.m[1][1] + p.z * m.m[2][1] + m.m[3][1],
          p.x * m.m[0][2] + p.y * m.m[1][2] + p.z * m.m[2][2] + m.m[3][2]};
}
// The direction (d, 0) times m: the translation does not apply.
constexpr Vec3<float> transformDirection(Vec3<float> const& d, Mat4x4f const& m) {
  return {d.x * m.m[0][0] + d.y * m.m[1][0] + d.z * m.m[2][0], d.x * m.m[0][1] + d.y * m.m[1][1] + d.z * m.m[2][1],
          d.x * m.m[0][2] + d.y * m.m[1][2] + d.z * m.m[2][2]};
}
// The point (p, 1) times m, divided by the resulting w: for projections.
inline Vec3<float> projectPoint(Vec3<float> const& p, Mat4x4f const& m) {
  Vec4<float> r = mul(Vec4<float>{p.x, p.y, p.z, 1}, m);
  return r.xyz() / r.w;
}

// The points p with dot(n, p) + d above 0 lie on the positive side.
template <class T>
struct Plane4 {
  Vec3<T> n;
  T d;

  // Signed distance, in units of |n|.
  constexpr T distance(Vec3<T> const& p) const { return dot(n, p) + d; }
  // Through a, b and c; the normal is normalize(cross(b - a, c - a)), so zero if they are collinear.
  static Plane4 fromPoints(Vec3<T> const& a, Vec3<T> const& b, Vec3<T> const& c) {
    Vec3<T> n = normalize(cross(b - a, c - a));
    return {n, -dot(n, a)};
  }
  constexpr bool operator==(Plane4 const&) const = default;
};

struct Sphere {
  Vec3<float> center;
  float radius;
  constexpr bool operator==(Sphere const&) const = default;
};

// Min and max corner; a box with min above max on any axis holds no point.
struct AABB {
  Vec3<float> min, max;

  // min at +infinity, max at -infinity: nothing inside, and the neutral start for addPoint.
  static constexpr AABB inverted() {
    constexpr float inf = std::numeric_limits<float>::infinity();
    return {{inf, inf, inf}, {-inf, -inf, -inf}};
  }
  constexpr Vec3<float> center() const { return (min + max) * 0.5f; }
  constexpr Vec3<float> halfExtents() const { return (max - min) * 0.5f; }
  constexpr bool empty() const { return max.x < min.x || max.y < min.y || max.z < min.z; }
  constexpr bool contains(Vec3<float> const& p) const {
    return p.x >= min.x && p.y >= min.y && p.z >= min.z && p.x <= max.x && p.y <= max.y && p.z <= max.z;
  }
  constexpr void addPoint(Vec3<float> const& p) { min = ka::min(min, p); max = ka::max(max, p); }
  constexpr void addBox(AABB const& b) { min = ka::min(min, b.min); max = ka::max(max, b.max); }
  // The corner with bit 0, 1, 2 of `i` choosing max over min for x, y, z.
  constexpr Vec3<float> corner(int i) const {
    return {i & 1 ? max.x : min.x, i & 2 ? max.y : min.y, i & 4 ? max.z : min.z};
  }
  constexpr bool operator==(AABB const&) const = default;
};

// Stream forms: "Vec3<float>(1,2,3)", "Mat4x4f((1,0,0,0),...)"; defined for float, double, int, unsigned.
template <class T> std::ostream& operator<<(std::ostream& os, Vec2<T> const& v);
template <class T> std::ostream& operator<<(std::ostream& os, Vec3<T> const& v);
template <class T> std::ostream& operator<<(std::ostream& os, Vec4<T> const& v);
template <class T> std::ostream& operator<<(std::ostream& os, Mat3x3<T> const& m);
template <class T> std::ostream& operator<<(std::ostream& os, Plane4<T> const& p);
std::ostream& operator<<(std::ostream& os, Mat4x4f const& m);
std::ostream& operator<<(std::ostream& os, Sphere const& s);
std::ostream& operator<<(std::ostream& os, AABB const& b);

static_assert(sizeof(Vec2<float>) == 8 && sizeof(Vec3<float>) == 12 && sizeof(Vec4<float>) == 16);
static_assert(sizeof(Mat3x3f) == 36 && sizeof(Mat3x3d) == 72 && sizeof(Mat4x4f) == 64);
static_assert(sizeof(Plane4<float>) == 16 && sizeof(Sphere) == 16 && sizeof(AABB) == 24);
static_assert(std::is_trivial_v<Vec3<float>> && std::is_standard_layout_v<Vec3<float>>);
static_assert(std::is_trivial_v<Mat4x4f> && std::is_standard_layout_v<Mat4x4f>);
static_assert(std::is_trivial_v<AABB> && std::is_trivial_v<Sphere> && std::is_trivial_v<Plane4<float>>);

}  // namespace ka
