#include "timer.h"

#include <time.h>

#include "printutil.h"

namespace ka {

namespace {

// The counter ticks in nanoseconds: a timebase of 1/1, known before the first call.
constexpr int64_t kTimebaseNumer = 1, kTimebaseDenom = 1;
constexpr int64_t s_CyclesPerSecond = kTimebaseDenom * 1000000000 / kTimebaseNumer;
constexpr double s_SecondsPerCycle = 1.0 / double(s_CyclesPerSecond);

constexpr int64_t cyclesPerSecond() { return s_CyclesPerSecond; }

long long cyclesToUnits(long long c, long long unitsPerSecond) {
  long long cps = cyclesPerSecond();
  return (c % cps) * unitsPerSecond / cps + (c / cps) * unitsPerSecond;
}

long long unitsToCycles(long long units, long long unitsPerSecond) {
  long long cps = cyclesPerSecond();
  long long q = units / unitsPerSecond;
  return (units - q * unitsPerSecond) * cps / unitsPerSecond + q * cps;
}

}  // namespace

int64_t Timer::now() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return int64_t(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

int64_t Timer::elapsedCyclesAndReset() {
  int64_t t = now();
  int64_t elapsed = t - start_;
  start_ = t;
  return elapsed;
}

Timer& Timer::getSystemTimer() {
  static Timer timer;
  return timer;
}

double cyclesToSeconds(long long cycles) { return double(cycles) * s_SecondsPerCycle; }

double cyclesToMilliseconds(long long cycles) { return cyclesToSeconds(cycles) * 1000.0; }
long long cyclesToMicroseconds(long long cycles) { return cyclesToUnits(cycles, 1000000); }
long long cyclesToNanoseconds(long long cycles) { return cyclesToUnits(cycles, 1000000000); }
long long secondsToCycles(double seconds) { return (long long)(double(cyclesPerSecond()) * seconds); }

long long millisecondsToCycles(double milliseconds) {
  return (long long)(double(cyclesPerSecond()) * milliseconds * double(0.001f));
}

long long microsecondsToCycles(long long microseconds) { return unitsToCycles(microseconds, 1000000); }
long long nanosecondsToCycles(long long nanoseconds) { return unitsToCycles(nanoseconds, 1000000000); }

std::ostream& operator<<(std::ostream& os, CyclesAsSeconds const& c) {
  double t = double(c.cycles) * s_SecondsPerCycle * c.scale;
  StreamFormatGuard guard(os);
  os.precision(3);
  os.unsetf(std::ios_base::floatfield);
  os.setf(std::ios_base::showpoint);
  os.width(4);
  if (t < 0.001) {
    os << t * 1e6 << " usec";
  } else if (t < 1.0) {
    os << t * 1000 << " msec";
  } else {
    os << t << " sec";
  }
  return os;
}

}  // namespace ka
