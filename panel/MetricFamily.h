#pragma once

namespace panel {

enum class MetricType { COUNTER, GAUGE, HISTOGRAM, SUMMARY, INFO, STATE_SET };

/// A metric as monitoring systems know it: what all of its values have in common.
struct MetricFamily {
  const char* name;  ///< ends with the unit, when there is one; without "_total" and the like
  MetricType type;
  const char* unit;  ///< "" when it has none
  const char* help;  ///< one line
};

}  // namespace panel
