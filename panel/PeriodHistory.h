#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <vector>

namespace panel {

/// The latest periods of each PDO, to be drawn: statistics tell how much they vary, a picture how. Bounded.
class PeriodHistory {
public:
  static constexpr std::size_t PERIODS = 120;
  static constexpr std::size_t IDENTIFIERS = 128;

  /// Takes a frame's time. More than IDENTIFIERS different ones are left out.
  void add(unsigned int identifier, long long microseconds);

  /// In microseconds, the oldest first; none for an identifier that was not seen twice.
  std::vector<long long> get(unsigned int identifier) const;

  void clear() { series.clear(); }

private:
  struct Series {
    long long last = 0;
    std::size_t count = 0;
    std::array<long long, PERIODS> periods{};
  };

  std::map<unsigned int, Series> series;
};

}  // namespace panel
