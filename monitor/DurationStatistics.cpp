#include "DurationStatistics.h"

#include <algorithm>

namespace monitor {

void DurationStatistics::add(long long microseconds) {
  shortest = count == 0 ? microseconds : std::min(shortest, microseconds);
  longest = std::max(longest, microseconds);
  sum += microseconds;
  ++count;
  const auto* const bound = std::lower_bound(BOUNDS.begin(), BOUNDS.end(), microseconds);
  ++buckets[static_cast<std::size_t>(bound - BOUNDS.begin())];
}

unsigned long long DurationStatistics::getCountUpTo(long long bound) const {
  unsigned long long counted = 0;
  for (std::size_t i = 0; i < BOUNDS.size() && BOUNDS[i] <= bound; ++i) {
    counted += buckets[i];
  }
  return counted;
}

}  // namespace monitor
