#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace panel {

/// The latest rows of a table that several readers follow, each at his own pace. One thread.
class RowLog {
public:
  static constexpr std::size_t CAPACITY = 2000;
  /// How many a reader gets at once.
  static constexpr std::size_t ROWS_AT_ONCE = 500;

  /// Where a reader is. One who begins at 0 gets the latest ROWS_AT_ONCE first.
  struct Position {
    unsigned long long next = 0;
    bool isFollowing = false;
  };

  /// What there is for a reader who comes: rows between commas, and how many he came too late for.
  struct Page {
    std::string rows;
    unsigned long long missed = 0;
  };

  void add(std::string row);

  /// The rows since the reader's position, the latest ROWS_AT_ONCE of them, and moves him behind them.
  Page read(Position& position) const;

private:
  std::deque<std::string> rows;
  unsigned long long total = 0;
};

}  // namespace panel
