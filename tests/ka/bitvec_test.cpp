#include "ka/bitvec.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <utility>

namespace {

using ka::BitVec;

BitVec of(std::initializer_list<int> bits) {
  BitVec v;
  for (int bit : bits) v[bit] = true;
  return v;
}

TEST(BitVec, BitsPastTheStoredWordsReadAsZero) {
  BitVec v;
  EXPECT_FALSE(std::as_const(v)[1000]);
  EXPECT_EQ(v.wordCount(), 0) << "reading does not grow";
  v[40] = true;
  EXPECT_EQ(v.wordCount(), 2);
  EXPECT_TRUE(v[40]);
  v[40] = false;
  EXPECT_TRUE(v == BitVec()) << "a cleared bit leaves words that compare equal to none";
  v[100] = true;
  EXPECT_EQ(v.wordCount(), 4) << "words grow in powers of two";
  std::ostringstream out;
  out << of({0, 33});
  EXPECT_EQ(out.str(), "BitVec(1 2 )");
}

TEST(BitVec, ScansLookPastStartAndStopBeforeEnd) {
  BitVec v = of({3, 70});
  struct Case {
    int start, end, up, down;
  } const cases[] = {
      {-1, -1, 3, 70},  // -1 begins at the bottom going up and at the top going down
      {3, -1, 70, -1},  {3, 70, -1, -1}, {2, 4, 3, -1}, {71, -1, -1, 70}, {70, 4, -1, -1}, {70, 3, -1, 3},
  };
  for (Case const& c : cases) {
    EXPECT_EQ(v.bitscan(c.start, c.end), c.up) << c.start << "," << c.end;
    EXPECT_EQ(v.rbitscan(c.start, c.end), c.down) << c.start << "," << c.end;
  }
  BitVec ones;
  ones.oneFill(0, 64);
  EXPECT_EQ(ones.bitscanz(-1), 64) << "all ones: the first bit behind the words";
  EXPECT_EQ(ones.bitscanz(-1, 64), -1);
  EXPECT_EQ(ones.bitscanz(100), 96) << "past the words: start + 1 rounded down to 32";
  ones[20] = false;
  EXPECT_EQ(ones.bitscanz(5), 20);
  EXPECT_EQ(ones.rbitscanz(-1), 20);
  EXPECT_EQ(ones.rbitscanz(90), 89) << "past the words every bit is clear";
  EXPECT_EQ(ones.rbitscanz(20), -1);
  EXPECT_EQ(ones.popcount(), 63);
}

TEST(BitVec, WordsMoveInAndOutAtAnyPosition) {
  BitVec v;
  EXPECT_EQ(v.deposit32(0, 0xdeadbeef), 0);
  EXPECT_EQ(v.deposit32(40, 0x12345678), 2);
  EXPECT_EQ(v.extract32(0), 0xdeadbeefu);
  EXPECT_EQ(v.extract32(40), 0x12345678u);
  EXPECT_EQ(v.extract32(500), 0u);
  BitVec tail = v.extract(32, 20);
  EXPECT_EQ(tail.wordCount(), 1);
  EXPECT_EQ(tail.word(0), (0x12345678u << 8) & 0xFFFFFu) << "clamped to the length asked";
  EXPECT_EQ(v.extract(64, -1).word(0), 0x12345678u >> 24);
  EXPECT_DEATH(v.extract(33, 5), "BitVec::Extract: bit-shifting extract unimplemented");

  v.zeroFill(4, -1);
  EXPECT_EQ(v.extract32(0), 0xfu);
  EXPECT_FALSE(v[70]);
  int words = v.wordCount();
  v.zeroFill(1000, 10);
  EXPECT_EQ(v.wordCount(), words) << "clearing does not grow";
  v.oneFill(200, 0);
  EXPECT_FALSE(v[200]);
  v.oneFill(200, 3);
  EXPECT_EQ(v.bitscan(4), 200);
  EXPECT_EQ(v.popcount(), 4 + 3);
}

TEST(BitVec, SetOperatorsAgreeWithSetsOfIntegers) {
  BitVec a = of({1, 5, 64, 200}), b = of({5, 64, 300});
  auto members = [](BitVec const& v) {
    std::set<int> s;
    for (int bit = v.bitscan(-1); bit >= 0; bit = v.bitscan(bit)) s.insert(bit);
    return s;
  };
  EXPECT_EQ(members(a | b), (std::set<int>{1, 5, 64, 200, 300}));
  EXPECT_EQ(members(a & b), (std::set<int>{5, 64}));
  EXPECT_EQ(members(a - b), (std::set<int>{1, 200}));
  EXPECT_EQ(members(b - a), (std::set<int>{300}));
  EXPECT_TRUE(subset(a & b, a));
  EXPECT_TRUE(proper_subset(a & b, b));
  EXPECT_FALSE(proper_subset(a, a));
  EXPECT_TRUE(subset(a, a));
  EXPECT_FALSE(subset(a, b));
  EXPECT_TRUE((a - a) == BitVec());
  EXPECT_FALSE((a - a).any());
}

}  // namespace
