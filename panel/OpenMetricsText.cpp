#include "OpenMetricsText.h"

#include <array>
#include <charconv>
#include <cmath>

#include "DurationStatistics.h"

namespace panel {

namespace {

// Some of the bounds that the statistics have: every one of them is a line for every PDO.
constexpr std::array<long long, 11> BUCKETS = {100, 200, 500, 1000, 2000, 5000, 10000, 20000, 50000, 100000, 1000000};

struct TypeWords {
  const char* type;
  const char* suffix;  // of the one sample that a value is
};

TypeWords getWords(MetricType type) {
  switch (type) {
    case MetricType::COUNTER:
      return {"counter", "_total"};
    case MetricType::GAUGE:
      return {"gauge", ""};
    case MetricType::HISTOGRAM:
      return {"histogram", ""};
    case MetricType::SUMMARY:
      return {"summary", ""};
    case MetricType::INFO:
      return {"info", "_info"};
    case MetricType::STATE_SET:
      return {"stateset", ""};
  }
  return {"unknown", ""};
}

std::string format(double value) {
  if (std::isnan(value)) {
    return "NaN";
  }
  if (std::isinf(value)) {
    return value > 0 ? "+Inf" : "-Inf";
  }
  char digits[40];
  const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
  return {digits, result.ptr};
}

// Seconds with all digits, and at least one behind the point: bounds are compared as texts.
std::string formatSeconds(long long microseconds) {
  constexpr long long PER_SECOND = 1000000;
  std::string digits = std::to_string(PER_SECOND + microseconds % PER_SECOND);
  digits.erase(digits.find_last_not_of('0') + 1);
  const std::string fraction = digits.size() > 1 ? digits.substr(1) : "0";
  return std::to_string(microseconds / PER_SECOND) + "." + fraction;
}

}  // namespace

void OpenMetricsText::begin(const MetricFamily& begun) {
  family = begun;
  const auto appendLine = [this](std::string_view keyword, std::string_view content) {
    text.append("# ").append(keyword).append(" ").append(family.name).append(" ").append(content).append("\n");
  };
  appendLine("TYPE", getWords(family.type).type);
  if (*family.unit != '\0') {
    appendLine("UNIT", family.unit);
  }
  appendLine("HELP", family.help);
}

void OpenMetricsText::add(const MetricLabels& labels, unsigned long long value) {
  appendSample(getWords(family.type).suffix, labels.getText(), std::to_string(value));
}

void OpenMetricsText::add(const MetricLabels& labels, double value) {
  appendSample(getWords(family.type).suffix, labels.getText(), format(value));
}

void OpenMetricsText::add(const MetricLabels& labels, const monitor::DurationStatistics& durations) {
  if (family.type == MetricType::HISTOGRAM) {
    for (const long long bound : BUCKETS) {
      appendSample("_bucket", MetricLabels(labels).add("le", formatSeconds(bound)).getText(),
                   std::to_string(durations.getCountUpTo(bound)));
    }
    appendSample("_bucket", MetricLabels(labels).add("le", "+Inf").getText(), std::to_string(durations.getCount()));
  }
  appendSample("_count", labels.getText(), std::to_string(durations.getCount()));
  appendSample("_sum", labels.getText(), formatSeconds(durations.getSum()));
}

void OpenMetricsText::add(const MetricLabels& labels, std::initializer_list<std::string_view> states,
                          std::string_view present) {
  for (const std::string_view state : states) {
    appendSample("", MetricLabels(labels).add(family.name, state).getText(), state == present ? "1" : "0");
  }
}

std::string OpenMetricsText::finish() {
  text += "# EOF\n";
  return std::move(text);
}

void OpenMetricsText::appendSample(std::string_view suffix, const std::string& labels, const std::string& value) {
  text.append(family.name).append(suffix);
  if (!labels.empty()) {
    text.append("{").append(labels).append("}");
  }
  text.append(" ").append(value).append("\n");
}

}  // namespace panel
