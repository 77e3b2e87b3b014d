#pragma once

#include <array>
#include <cstddef>

namespace monitor {

/// How long something took, over and over again: count, shortest, longest, mean, and how many were how long.
/// All times are microseconds.
class DurationStatistics {
public:
  /// The upper bounds of the buckets, each of which belongs to its bucket; one more holds what is longer.
  static constexpr std::array<long long, 19> BOUNDS = {10,     20,      50,      100,     200,     500,    1000,
                                                       2000,   5000,    10000,   20000,   50000,   100000, 200000,
                                                       500000, 1000000, 2000000, 5000000, 10000000};
  static constexpr std::size_t BUCKETS = BOUNDS.size() + 1;

  /// @param microseconds 0 or more
  void add(long long microseconds);

  unsigned long long getCount() const { return count; }
  /// Sum of all, 0 as long as there is none; the same holds for the next three.
  long long getSum() const { return sum; }
  long long getShortest() const { return shortest; }
  long long getLongest() const { return longest; }
  long long getMean() const { return count == 0 ? 0 : sum / static_cast<long long>(count); }

  /// How many lie in one bucket alone. @param bucket 0 to BUCKETS - 1
  unsigned long long getBucket(std::size_t bucket) const { return buckets[bucket]; }
  /// How many are as long as that or shorter. @param bound one of BOUNDS; any other counts as the next lower one
  unsigned long long getCountUpTo(long long bound) const;

private:
  unsigned long long count = 0;
  long long sum = 0;
  long long shortest = 0;
  long long longest = 0;
  std::array<unsigned long long, BUCKETS> buckets{};
};

}  // namespace monitor
