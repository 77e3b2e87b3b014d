#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "MetricFamily.h"
#include "MetricLabels.h"

namespace monitor {
class DurationStatistics;
}

namespace panel {

/// Writes metrics in the text form of OpenMetrics 1.0: a family after the other, begun with begin(), its values behind
/// it. Values of one family differ in their labels.
class OpenMetricsText {
public:
  static constexpr const char* CONTENT_TYPE = "application/openmetrics-text; version=1.0.0; charset=utf-8";

  /// Begins a family. It may stay without values.
  void begin(const MetricFamily& begun);

  /// Adds a value of a COUNTER, a GAUGE or an INFO (of which it is 1).
  void add(const MetricLabels& labels, unsigned long long value);
  void add(const MetricLabels& labels, double value);

  /// Adds a value of a HISTOGRAM or a SUMMARY, in seconds. The buckets of a histogram go from 0.1 ms to 1 s.
  void add(const MetricLabels& labels, const monitor::DurationStatistics& durations);

  /// Adds a value of a STATE_SET. @param present one of the states, or none of them
  void add(const MetricLabels& labels, std::initializer_list<std::string_view> states, std::string_view present);

  /// A family of a single value, or of a single series.
  template <typename Value>
  void addFamily(const MetricFamily& alone, const Value& value) {
    begin(alone);
    add(MetricLabels(), value);
  }

  /// Ends the text and hands it out.
  std::string finish();

private:
  void appendSample(std::string_view suffix, const std::string& labels, const std::string& value);

  MetricFamily family{"", MetricType::GAUGE, "", ""};
  std::string text;
};

}  // namespace panel
