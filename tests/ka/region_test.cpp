#include "ka/region.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

namespace {

using ka::Rect;
using ka::Region;
using Pixels = std::set<std::pair<int, int>>;

Pixels pixelsOf(Region const& region) {
  Pixels pixels;
  for (Rect<int> r : region)
    for (int y = r.top; y < r.bottom; ++y)
      for (int x = r.left; x < r.right; ++x) EXPECT_TRUE(pixels.insert({x, y}).second) << "rectangles overlap";
  return pixels;
}

Pixels pixelsOf(Rect<int> const& r) {
  Pixels pixels;
  for (int y = r.top; y < r.bottom; ++y)
    for (int x = r.left; x < r.right; ++x) pixels.insert({x, y});
  return pixels;
}

std::string text(Region const& region) {
  std::ostringstream out;
  out << region;
  return out.str();
}

TEST(Region, AHoleLeavesFourRectanglesTopToBottomLeftToRight) {
  Region r({0, 0, 10, 10});
  r.differenceWith({2, 2, 8, 8});
  EXPECT_EQ(text(r), "[0...10,0...2)[0...2,2...8)[8...10,2...8)[0...10,8...10)");
  std::ostringstream dump;
  r.debugDumpTo(dump);
  EXPECT_EQ(dump.str(), "0:0,10\n2:0,2,8,10\n8:0,10\n10:\n");
}

TEST(Region, TouchingRectanglesJoinWithoutSeams) {
  Region side({0, 0, 5, 4});
  side.unionWith({5, 0, 9, 4});
  EXPECT_EQ(text(side), "[0...9,0...4)");
  Region stacked({0, 0, 5, 4});
  stacked.unionWith({0, 4, 5, 6});
  EXPECT_EQ(stacked.bands().size(), 2u) << "one band and its bottom";
  EXPECT_TRUE(difference(side, side).empty());
  EXPECT_TRUE(difference(side, side).bands().empty());
  Region none({3, 3, 3, 8});
  EXPECT_TRUE(none.empty()) << "an empty rectangle covers nothing";
}

TEST(Region, RandomRectanglesMatchASetOfPixels) {
  std::mt19937 random(7);
  auto rect = [&] {
    std::uniform_int_distribution<int> at(-5, 25), size(0, 12);
    int x = at(random), y = at(random);
    return Rect<int>{x, y, x + size(random), y + size(random)};
  };
  for (int round = 0; round < 200; ++round) {
    Region region;
    Pixels expected;
    for (int step = 0; step < 8; ++step) {
      Rect<int> r = rect();
      Pixels inside = pixelsOf(r);
      switch (step % 3) {
        case 0:
          region.unionWith(r);
          expected.insert(inside.begin(), inside.end());
          break;
        case 1:
          region.differenceWith(r);
          for (auto const& p : inside) expected.erase(p);
          break;
        default: {
          Region kept = region;
          kept.intersectWith(r);
          Pixels both;
          for (auto const& p : expected)
            if (inside.count(p)) both.insert(p);
          ASSERT_EQ(pixelsOf(kept), both) << "round " << round;
          break;
        }
      }
      ASSERT_EQ(pixelsOf(region), expected) << "round " << round << " step " << step;
    }
    // Canonical: the same pixels built another way give the same bands.
    Region rebuilt;
    for (Rect<int> r : region) rebuilt = union_(Region(r), rebuilt);
    ASSERT_TRUE(rebuilt == region) << "round " << round;
    ASSERT_TRUE(region.empty() == expected.empty());
  }
}

}  // namespace
