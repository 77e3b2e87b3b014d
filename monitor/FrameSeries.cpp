#include "FrameSeries.h"

#include <cstdlib>

namespace monitor {

void FrameSeries::add(long long microseconds) {
  if (frames++ == 0) {
    first = microseconds;
  }
  const bool makesPeriod = isFollowed && microseconds >= last;
  const long long period = microseconds - last;
  if (makesPeriod) {
    periods.add(period);
  }
  if (makesPeriod && hasPeriod) {
    jitter.add(std::llabs(period - lastPeriod));
  }
  hasPeriod = makesPeriod;
  lastPeriod = period;
  last = microseconds;
  isFollowed = true;
}

}  // namespace monitor
