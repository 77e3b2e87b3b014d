#pragma once

#include <string>
#include <string_view>

namespace panel {

/// What tells the values of one metric apart: names with a text each.
class MetricLabels {
public:
  /// @param name letters, digits and '_'; each name once
  /// @param value any bytes: what is no UTF-8 is taken for Latin-1
  MetricLabels& add(std::string_view name, std::string_view value);
  MetricLabels& add(std::string_view name, unsigned int value);

  /// As they stand between the braces: node="5",name="set \"point\"".
  const std::string& getText() const { return text; }

private:
  std::string text;
};

}  // namespace panel
