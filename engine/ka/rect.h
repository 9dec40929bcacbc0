// Axis-aligned rectangles of pixels, for viewports, scissors, copy regions and ka::Region.
#pragma once

#include <iosfwd>
#include <type_traits>

namespace ka {

template <class T> struct Vec2;

// The points (x, y) with left <= x < right and top <= y < bottom: right and bottom are exclusive, so
// a rectangle is width() by height() pixels and rectangles that touch share no pixel. "top" is the
// smaller y. A rectangle with right <= left or bottom <= top is empty. A plain aggregate:
// Rect<int>{left, top, right, bottom}.
template <class T>
struct Rect {
  T left, top, right, bottom;

  static constexpr Rect fromSize(T left, T top, T width, T height) { return {left, top, left + width, top + height}; }

  constexpr T width() const { return right - left; }
  constexpr T height() const { return bottom - top; }
  constexpr bool empty() const { return !(left < right && top < bottom); }
  constexpr bool contains(T x, T y) const { return left <= x && x < right && top <= y && y < bottom; }
  constexpr bool contains(Vec2<T> const& p) const { return contains(p.x, p.y); }
  // Every pixel of r lies in this one; so an empty r lies in any rectangle.
  constexpr bool contains(Rect const& r) const {
    return r.empty() || (left <= r.left && r.right <= right && top <= r.top && r.bottom <= bottom);
  }
  // They share a pixel.
  constexpr bool intersects(Rect const& r) const {
    return (left < r.right && r.left < right && top < r.bottom && r.top < bottom) && !empty() && !r.empty();
  }
  constexpr Rect offset(T dx, T dy) const { return {left + dx, top + dy, right + dx, bottom + dy}; }
  // Field by field: two empty rectangles at different places are not equal.
  constexpr bool operator==(Rect const&) const = default;
};

// The pixels in both. With none, an empty rectangle that still has right >= left and bottom >= top,
// so its width and height are 0, not negative.
template <class T>
constexpr Rect<T> intersection(Rect<T> const& a, Rect<T> const& b) {
  Rect<T> r{a.left < b.left ? b.left : a.left, a.top < b.top ? b.top : a.top, a.right < b.right ? a.right : b.right,
            a.bottom < b.bottom ? a.bottom : b.bottom};
  if (r.right < r.left) r.right = r.left;
  if (r.bottom < r.top) r.bottom = r.top;
  return r;
}

// The smallest rectangle holding both. An empty one adds nothing: with one empty the result is the
// other, and with both empty it is a.
template <class T>
constexpr Rect<T> bounding(Rect<T> const& a, Rect<T> const& b) {
  if (b.empty()) return a;
  if (a.empty()) return b;
  return {a.left < b.left ? a.left : b.left, a.top < b.top ? a.top : b.top, a.right < b.right ? b.right : a.right,
          a.bottom < b.bottom ? b.bottom : a.bottom};
}

// "[left...right,top...bottom)", the form in which ka::Region streams its rectangles; defined for
// int and float.
template <class T> std::ostream& operator<<(std::ostream& os, Rect<T> const& r);

static_assert(sizeof(Rect<int>) == 16 && std::is_trivial_v<Rect<int>>);

}  // namespace ka
