#include "HeartbeatStatistics.h"

#include <algorithm>

namespace monitor {

long long HeartbeatStatistics::add(long long microseconds) {
  const long long gap = endGap(microseconds);
  series.add(microseconds);
  // Only what makes a period tells something of the producer's time.
  if (series.getPeriods().getCount() > intervalCount) {
    intervals[static_cast<std::size_t>(intervalCount++ % REMEMBERED)] = microseconds - lastSign;
  }
  lastSign = microseconds;
  isAlive = true;
  return gap;
}

long long HeartbeatStatistics::addBootUp(long long microseconds) {
  const long long gap = endGap(microseconds);
  series.interrupt();
  lastSign = microseconds;
  isAlive = true;
  return gap;
}

long long HeartbeatStatistics::getExpectedPeriod() const {
  if (intervalCount < NEEDED) {
    return 0;
  }
  std::array<long long, REMEMBERED> sorted = intervals;
  auto* const end = sorted.begin() + std::min<unsigned long long>(intervalCount, REMEMBERED);
  auto* const middle = sorted.begin() + (end - sorted.begin()) / 2;
  std::nth_element(sorted.begin(), middle, end);
  return *middle;
}

// An interval of nearly n periods lacks n - 1 heartbeats: from the half period on that follows an expected one, it is
// missing.
unsigned long long HeartbeatStatistics::getMissing(long long now) const {
  const long long expected = getExpectedPeriod();
  const long long interval = now - lastSign;
  if (!isAlive || expected == 0 || interval <= expected) {
    return 0;
  }
  return static_cast<unsigned long long>((2 * interval - expected - 1) / (2 * expected));
}

unsigned long long HeartbeatStatistics::getMissed(long long now) const {
  return missed + getMissing(now);
}

long long HeartbeatStatistics::endGap(long long microseconds) {
  const unsigned long long missing = getMissing(microseconds);
  if (missing == 0) {
    return 0;
  }
  missed += missing;
  ++gaps;
  const long long gap = microseconds - lastSign;
  longestGap = std::max(longestGap, gap);
  return gap;
}

}  // namespace monitor
