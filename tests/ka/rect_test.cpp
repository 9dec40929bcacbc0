// Pixel rectangles: exclusive right and bottom edges, empty ones, and intersection and bounding by pixel count.
#include "ka/rect.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "ka/vecmath.h"

namespace {

using ka::Rect;
using R = Rect<int>;

static_assert(R{1, 2, 11, 7}.width() == 10 && R{1, 2, 11, 7}.height() == 5, "usable at compile time");
static_assert(R::fromSize(1, 2, 10, 5) == R{1, 2, 11, 7});

TEST(Rect, RightAndBottomAreExclusive) {
  R r{0, 0, 10, 20};
  EXPECT_TRUE(r.contains(0, 0));
  EXPECT_TRUE(r.contains(9, 19));
  EXPECT_FALSE(r.contains(10, 5));
  EXPECT_FALSE(r.contains(5, 20));
  EXPECT_FALSE(r.contains(-1, 5));
  EXPECT_TRUE(r.contains(ka::Vec2<int>{9, 0}));
  EXPECT_FALSE(r.contains(ka::Vec2<int>{10, 0}));
  // Touching rectangles share no pixel; one that ends at the right edge is inside.
  EXPECT_FALSE(r.intersects(R{10, 0, 20, 20}));
  EXPECT_FALSE(r.intersects(R{0, 20, 10, 30}));
  EXPECT_TRUE(r.intersects(R{9, 19, 20, 30}));
  EXPECT_TRUE(r.contains(r));
  EXPECT_TRUE(r.contains(R{2, 3, 10, 20}));
  EXPECT_FALSE(r.contains(R{2, 3, 11, 10}));
  EXPECT_FALSE(r.contains(R{-1, 3, 5, 5}));
}

TEST(Rect, Empty) {
  EXPECT_TRUE((R{0, 0, 0, 10}.empty()));
  EXPECT_TRUE((R{0, 0, 10, 0}.empty()));
  EXPECT_TRUE((R{5, 5, 2, 10}.empty()));
  EXPECT_FALSE((R{0, 0, 1, 1}.empty()));
  // An empty rectangle is in any other, and meets none.
  EXPECT_TRUE((R{0, 0, 10, 10}.contains(R{50, 50, 50, 60})));
  EXPECT_FALSE((R{0, 0, 10, 10}.intersects(R{5, 5, 5, 6})));
  EXPECT_FALSE((R{5, 5, 5, 6}.intersects(R{0, 0, 10, 10})));
  // Compared field by field, so empty rectangles differ by where they are.
  EXPECT_NE((R{0, 0, 0, 0}), (R{1, 1, 1, 1}));
}

TEST(Rect, IntersectionAndBounding) {
  R a{0, 0, 10, 10}, b{5, -5, 20, 8};
  EXPECT_EQ(ka::intersection(a, b), (R{5, 0, 10, 8}));
  EXPECT_EQ(ka::bounding(a, b), (R{0, -5, 20, 10}));
  // Empty rectangles add nothing to a bounding box.
  EXPECT_EQ(ka::bounding(a, R{100, 100, 100, 200}), a);
  EXPECT_EQ(ka::bounding(R{100, 100, 100, 200}, a), a);

  // Against a pixel-by-pixel count on random rectangles; a disjoint pair's intersection has no
  // negative size.
  std::mt19937 rng(1);
  auto random = [&] {
    int l = int(rng() % 20) - 5, t = int(rng() % 20) - 5;
    return R{l, t, l + int(rng() % 12) - 2, t + int(rng() % 12) - 2};
  };
  for (int i = 0; i < 2000; ++i) {
    R p = random(), q = random();
    R both = ka::intersection(p, q), bound = ka::bounding(p, q);
    bool shared = false;
    for (int y = -10; y < 30; ++y)
      for (int x = -10; x < 30; ++x) {
        bool inBoth = p.contains(x, y) && q.contains(x, y);
        shared = shared || inBoth;
        ASSERT_EQ(both.contains(x, y), inBoth) << i;
        ASSERT_TRUE(!(p.contains(x, y) || q.contains(x, y)) || bound.contains(x, y)) << i;
      }
    ASSERT_EQ(p.intersects(q), shared) << i;
    ASSERT_GE(both.width(), 0);
    ASSERT_GE(both.height(), 0);
    ASSERT_TRUE(bound.contains(p) && bound.contains(q));
  }
}

TEST(Rect, StreamForm) {
  std::ostringstream os;
  os << R{0, 2, 10, 8} << ' ' << Rect<float>{0.5f, 0, 1, 1};
  EXPECT_EQ(os.str(), "[0...10,2...8) [0.5...1,0...1)");
}

}  // namespace
