// Monotonic ticks ("cycles") and their conversions; here a cycle is one nanosecond.
#pragma once

#include <cstdint>
#include <ostream>

namespace ka {

class Timer {
 public:
  Timer() : start_(now()) {}
  void reset() { start_ = now(); }
  int64_t elapsedCycles() const { return now() - start_; }
  // One reading of the counter serves both.
  int64_t elapsedCyclesAndReset();
  // One process-wide timer, started by the first call.
  static Timer& getSystemTimer();
  static int64_t now();

 private:
  int64_t start_;
};

// Streams a span as " usec", " msec" or " sec".
struct CyclesAsSeconds {
  int64_t cycles;
  double scale = 1.0;
};
std::ostream& operator<<(std::ostream& os, CyclesAsSeconds const& c);

double cyclesToSeconds(long long cycles);
double cyclesToMilliseconds(long long cycles);
long long cyclesToMicroseconds(long long cycles);
long long cyclesToNanoseconds(long long cycles);
long long secondsToCycles(double seconds);
// Scales by 0.001 in single precision, so 1000 ms on a 1 GHz counter is 1000000047 cycles.
long long millisecondsToCycles(double milliseconds);
long long microsecondsToCycles(long long microseconds);
long long nanosecondsToCycles(long long nanoseconds);

}  // namespace ka
