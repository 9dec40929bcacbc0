#include "vecmath.h"

#include <ostream>

#include "die.h"

namespace ka {

Mat4x4f Mat4x4f::rotation(Vec3<float> const& axis, float angle) {
  return rotationTranslation(Mat3x3f::rotation(axis, angle), {0, 0, 0});
}

Mat4x4f Mat4x4f::rotationTranslation(Mat3x3f const& r, Vec3<float> const& t) {
  return {{{r.m[0][0], r.m[0][1], r.m[0][2], 0},
           {r.m[1][0], r.m[1][1], r.m[1][2], 0},
           {r.m[2][0], r.m[2][1], r.m[2][2], 0},
           {t.x, t.y, t.z, 1}}};
}

Mat4x4f Mat4x4f::scaleTranslation(Vec3<float> const& s, Vec3<float> const& t) {
  return {{{s.x, 0, 0, 0}, {0, s.y, 0, 0}, {0, 0, s.z, 0}, {t.x, t.y, t.z, 1}}};
}

Mat4x4f Mat4x4f::perspectiveDirect3D(float width, float height, float near, float far) {
  return {{{2 * near / width, 0, 0, 0},
           {0, 2 * near / height, 0, 0},
           {0, 0, far / (near - far), -1},
           {0, 0, near * far / (near - far), 0}}};
}

Mat4x4f Mat4x4f::perspectiveOpenGL(float width, float height, float near, float far) {
  return {{{2 * near / width, 0, 0, 0},
           {0, 2 * near / height, 0, 0},
           {0, 0, (near + far) / (near - far), -1},
           {0, 0, 2 * near * far / (near - far), 0}}};
}

Mat4x4f Mat4x4f::orthographicDirect3D(float left, float right, float bottom, float top, float near, float far) {
  return {{{2 / (right - left), 0, 0, 0},
           {0, 2 / (top - bottom), 0, 0},
           {0, 0, 1 / (near - far), 0},
           {(left + right) / (left - right), (bottom + top) / (bottom - top), near / (near - far), 1}}};
}

Mat4x4f Mat4x4f::orthographicOpenGL(float left, float right, float bottom, float top, float near, float far) {
  return {{{2 / (right - left), 0, 0, 0},
           {0, 2 / (top - bottom), 0, 0},
           {0, 0, 2 / (near - far), 0},
           {(left + right) / (left - right), (bottom + top) / (bottom - top), (near + far) / (near - far), 1}}};
}

Mat4x4f Mat4x4f::perspective(ClipSpaceConvention convention, float width, float height, float near, float far) {
  switch (convention) {
    case CSC_Direct3D: return perspectiveDirect3D(width, height, near, far);
    case CSC_OpenGL: return perspectiveOpenGL(width, height, near, far);
  }
  die("invalid clip space convention");
}

Mat4x4f Mat4x4f::orthographic(ClipSpaceConvention convention, float left, float right, float bottom, float top,
                              float near, float far) {
  switch (convention) {
    case CSC_Direct3D: return orthographicDirect3D(left, right, bottom, top, near, far);
    case CSC_OpenGL: return orthographicOpenGL(left, right, bottom, top, near, far);
  }
  die("invalid clip space convention");
}

Mat4x4f Mat4x4f::lookAt(Vec3<float> const& target, Vec3<float> const& eye, Vec3<float> const& up) {
  Vec3<float> z = normalize(eye - target);
  Vec3<float> x = normalize(cross(up, z));
  Vec3<float> y = cross(z, x);
  return {{{x.x, y.x, z.x, 0}, {x.y, y.y, z.y, 0}, {x.z, y.z, z.z, 0}, {-dot(eye, x), -dot(eye, y), -dot(eye, z), 1}}};
}

Mat4x4f Mat4x4f::transpose() const {
  Mat4x4f r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) r.m[i][j] = m[j][i];
  return r;
}

Mat4x4f Mat4x4f::transpose3x3() const {
  Mat4x4f r = *this;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r.m[i][j] = m[j][i];
  return r;
}

namespace {

// The 2x2 minors of rows 0-1 and of rows 2-3, shared by the determinant and the inverse.
struct Minors {
  float s[6], c[6];
  explicit Minors(float const (&m)[4][4]) {
    s[0] = m[0][0] * m[1][1] - m[1][0] * m[0][1];
    s[1] = m[0][0] * m[1][2] - m[1][0] * m[0][2];
    s[2] = m[0][0] * m[1][3] - m[1][0] * m[0][3];
    s[3] = m[0][1] * m[1][2] - m[1][1] * m[0][2];
    s[4] = m[0][1] * m[1][3] - m[1][1] * m[0][3];
    s[5] = m[0][2] * m[1][3] - m[1][2] * m[0][3];
    c[5] = m[2][2] * m[3][3] - m[3][2] * m[2][3];
    c[4] = m[2][1] * m[3][3] - m[3][1] * m[2][3];
    c[3] = m[2][1] * m[3][2] - m[3][1] * m[2][2];
    c[2] = m[2][0] * m[3][3] - m[3][0] * m[2][3];
    c[1] = m[2][0] * m[3][2] - m[3][0] * m[2][2];
    c[0] = m[2][0] * m[3][1] - m[3][0] * m[2][1];
  }
  float determinant() const {
    return s[0] * c[5] - s[1] * c[4] + s[2] * c[3] + s[3] * c[2] - s[4] * c[1] + s[5] * c[0];
  }
};

}  // namespace

float Mat4x4f::determinant() const { return Minors(m).determinant(); }

Mat4x4f Mat4x4f::inverse() const {
  Minors k(m);
  float const* s = k.s;
  float const* c = k.c;
  float inv = 1.0f / k.determinant();
  Mat4x4f r;
  r.m[0][0] = (m[1][1] * c[5] - m[1][2] * c[4] + m[1][3] * c[3]) * inv;
  r.m[0][1] = (-m[0][1] * c[5] + m[0][2] * c[4] - m[0][3] * c[3]) * inv;
  r.m[0][2] = (m[3][1] * s[5] - m[3][2] * s[4] + m[3][3] * s[3]) * inv;
  r.m[0][3] = (-m[2][1] * s[5] + m[2][2] * s[4] - m[2][3] * s[3]) * inv;
  r.m[1][0] = (-m[1][0] * c[5] + m[1][2] * c[2] - m[1][3] * c[1]) * inv;
  r.m[1][1] = (m[0][0] * c[5] - m[0][2] * c[2] + m[0][3] * c[1]) * inv;
  r.m[1][2] = (-m[3][0] * s[5] + m[3][2] * s[2] - m[3][3] * s[1]) * inv;
  r.m[1][3] = (m[2][0] * s[5] - m[2][2] * s[2] + m[2][3] * s[1]) * inv;
  r.m[2][0] = (m[1][0] * c[4] - m[1][1] * c[2] + m[1][3] * c[0]) * inv;
  r.m[2][1] = (-m[0][0] * c[4] + m[0][1] * c[2] - m[0][3] * c[0]) * inv;
  r.m[2][2] = (m[3][0] * s[4] - m[3][1] * s[2] + m[3][3] * s[0]) * inv;
  r.m[2][3] = (-m[2][0] * s[4] + m[2][1] * s[2] - m[2][3] * s[0]) * inv;
  r.m[3][0] = (-m[1][0] * c[3] + m[1][1] * c[1] - m[1][2] * c[0]) * inv;
  r.m[3][1] = (m[0][0] * c[3] - m[0][1] * c[1] + m[0][2] * c[0]) * inv;
  r.m[3][2] = (-m[3][0] * s[3] + m[3][1] * s[1] - m[3][2] * s[0]) * inv;
  r.m[3][3] = (m[2][0] * s[3] - m[2][1] * s[1] + m[2][2] * s[0]) * inv;
  return r;
}

Mat4x4f Mat4x4f::inverse3x4() const {
  Mat3x3f r = upper3x3().inverse();
  Vec3<float> t = -mul(translationPart(), r);
  return rotationTranslation(r, t);
}

Mat4x4f mul(Mat4x4f const& a, Mat4x4f const& b) {
  Mat4x4f r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j] + a.m[i][3] * b.m[3][j];
  return r;
}

Mat4x4f mul3x4(Mat4x4f const& a, Mat4x4f const& b) {
  Mat4x4f r;
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 3; ++j) r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
    r.m[i][3] = 0;
  }
  for (int j = 0; j < 3; ++j) r.m[3][j] += b.m[3][j];
  r.m[3][3] = 1;
  return r;
}

// Stream forms.

namespace {

template <class T> char const* typeName();
template <> char const* typeName<float>() { return "float"; }
template <> char const* typeName<double>() { return "double"; }
template <> char const* typeName<int>() { return "int"; }
template <> char const* typeName<unsigned>() { return "unsigned"; }

}  // namespace

template <class T>
std::ostream& operator<<(std::ostream& os, Vec2<T> const& v) {
  return os << "Vec2<" << typeName<T>() << ">(" << v.x << ',' << v.y << ')';
}
template <class T>
std::ostream& operator<<(std::ostream& os, Vec3<T> const& v) {
  return os << "Vec3<" << typeName<T>() << ">(" << v.x << ',' << v.y << ',' << v.z << ')';
}
template <class T>
std::ostream& operator<<(std::ostream& os, Vec4<T> const& v) {
  return os << "Vec4<" << typeName<T>() << ">(" << v.x << ',' << v.y << ',' << v.z << ',' << v.w << ')';
}
template <class T>
std::ostream& operator<<(std::ostream& os, Mat3x3<T> const& m) {
  os << "Mat3x3<" << typeName<T>() << ">(";
  for (int i = 0; i < 3; ++i)
    os << (i ? ",(" : "(") << m.m[i][0] << ',' << m.m[i][1] << ',' << m.m[i][2] << ')';
  return os << ')';
}
template <class T>
std::ostream& operator<<(std::ostream& os, Plane4<T> const& p) {
  return os << "Plane4<" << typeName<T>() << ">(n=" << p.n << ",d=" << p.d << ')';
}

std::ostream& operator<<(std::ostream& os, Mat4x4f const& m) {
  os << "Mat4x4f(";
  for (int i = 0; i < 4; ++i)
    os << (i ? ",(" : "(") << m.m[i][0] << ',' << m.m[i][1] << ',' << m.m[i][2] << ',' << m.m[i][3] << ')';
  return os << ')';
}
std::ostream& operator<<(std::ostream& os, Sphere const& s) {
  return os << "Sphere(center=" << s.center << ",radius=" << s.radius << ')';
}
std::ostream& operator<<(std::ostream& os, AABB const& b) {
  return os << "AABB(min=" << b.min << ",max=" << b.max << ')';
}

#define KA_VEC_STREAMS(T)                                          \
  template std::ostream& operator<<(std::ostream&, Vec2<T> const&); \
  template std::ostream& operator<<(std::ostream&, Vec3<T> const&); \
  template std::ostream& operator<<(std::ostream&, Vec4<T> const&);
KA_VEC_STREAMS(float)
KA_VEC_STREAMS(double)
KA_VEC_STREAMS(int)
KA_VEC_STREAMS(unsigned)
#undef KA_VEC_STREAMS
template std::ostream& operator<<(std::ostream&, Mat3x3<float> const&);
template std::ostream& operator<<(std::ostream&, Mat3x3<double> const&);
template std::ostream& operator<<(std::ostream&, Plane4<float> const&);
template std::ostream& operator<<(std::ostream&, Plane4<double> const&);

}  // namespace ka
