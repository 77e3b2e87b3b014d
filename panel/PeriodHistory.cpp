#include "PeriodHistory.h"

#include <algorithm>

namespace panel {

void PeriodHistory::add(unsigned int identifier, long long microseconds) {
  const auto known = series.find(identifier);
  if (known == series.end()) {
    if (series.size() < IDENTIFIERS) {
      series[identifier].last = microseconds;
    }
    return;
  }
  Series& one = known->second;
  one.periods[one.count++ % PERIODS] = microseconds - one.last;
  one.last = microseconds;
}

std::vector<long long> PeriodHistory::get(unsigned int identifier) const {
  const auto known = series.find(identifier);
  if (known == series.end()) {
    return {};
  }
  const Series& one = known->second;
  std::vector<long long> periods;
  for (std::size_t i = one.count - std::min(one.count, PERIODS); i < one.count; ++i) {
    periods.push_back(one.periods[i % PERIODS]);
  }
  return periods;
}

}  // namespace panel
