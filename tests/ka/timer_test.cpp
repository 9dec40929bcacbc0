#include "ka/timer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace {

TEST(Timer, ConversionsUseNanosecondCycles) {
  EXPECT_EQ(ka::millisecondsToCycles(1000.0), 1000000047) << "the single-precision 0.001 is kept";
  EXPECT_EQ(ka::secondsToCycles(1.5), 1500000000);
  EXPECT_DOUBLE_EQ(ka::cyclesToSeconds(2500000000), 2.5);
  EXPECT_DOUBLE_EQ(ka::cyclesToMilliseconds(1500000), 1.5);
  EXPECT_EQ(ka::cyclesToMicroseconds(1234567891), 1234567);
  EXPECT_EQ(ka::cyclesToNanoseconds(1234567891), 1234567891);
  EXPECT_EQ(ka::microsecondsToCycles(1234567), 1234567000);
  EXPECT_EQ(ka::nanosecondsToCycles(42), 42);
  // Long spans don't overflow in the split arithmetic.
  long long const big = 9000000000000000000LL;
  EXPECT_EQ(ka::cyclesToMicroseconds(big), big / 1000);
  EXPECT_EQ(ka::microsecondsToCycles(big / 1000), big);
}

TEST(Timer, SpansPrintInTheirUnit) {
  struct Case {
    long long cycles;
    char const* text;
  } const cases[] = {{500000, "500. usec"}, {500000000, "500. msec"}, {2000000000, "2.00 sec"}, {1234, "1.23 usec"}};
  for (Case const& c : cases) {
    std::ostringstream os;
    os << ka::CyclesAsSeconds{c.cycles} << "|" << 1.5;
    EXPECT_EQ(os.str(), std::string(c.text) + "|1.5");
  }
  std::ostringstream os;
  os << ka::CyclesAsSeconds{1000, 1000.0};
  EXPECT_EQ(os.str(), "1.00 msec") << "the scale multiplies the span";
}

TEST(Timer, MeasuresMonotonicTime) {
  ka::Timer timer;
  std::this_thread::sleep_for(std::chrono::milliseconds(3));
  int64_t first = timer.elapsedCyclesAndReset();
  EXPECT_GE(first, 3000000);
  EXPECT_LT(timer.elapsedCycles(), first);
  EXPECT_EQ(&ka::Timer::getSystemTimer(), &ka::Timer::getSystemTimer());
  EXPECT_GE(ka::Timer::getSystemTimer().elapsedCycles(), 0);
}

}  // namespace
