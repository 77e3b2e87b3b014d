#pragma once

#include <array>
#include <cstddef>

#include "FrameSeries.h"

namespace monitor {

/// A node's heartbeats: at which period they come, and where one or more are missing. The period that is expected is
/// learned: the middle one of the last five. An interval of more than one and a half of it is a gap. All times are
/// microseconds.
class HeartbeatStatistics {
public:
  /// Takes a heartbeat. @return the length of the gap that it ends; 0 when it ends none
  long long add(long long microseconds);
  /// Takes a boot-up, which has no period with the heartbeats around it, but ends a gap. @return as add()
  long long addBootUp(long long microseconds);

  /// Count, first, last, periods and jitter of the heartbeats.
  const FrameSeries& getSeries() const { return series; }
  /// 0 until three intervals are known.
  long long getExpectedPeriod() const;
  /// Intervals of more than one and a half expected ones; the longest of them.
  unsigned long long getGaps() const { return gaps; }
  long long getLongestGap() const { return longestGap; }
  /// How many heartbeats were missing, those included that should have come until @p now. It never goes back.
  unsigned long long getMissed(long long now) const;
  /// Whether it is waited for one since so long that it is missing.
  bool isSilent(long long now) const { return getMissing(now) > 0; }

private:
  static constexpr std::size_t REMEMBERED = 5;
  static constexpr unsigned long long NEEDED = 3;

  unsigned long long getMissing(long long now) const;
  long long endGap(long long microseconds);

  FrameSeries series;
  long long lastSign = 0;  ///< heartbeat or boot-up
  bool isAlive = false;    ///< there was one
  std::array<long long, REMEMBERED> intervals{};
  unsigned long long intervalCount = 0;
  unsigned long long gaps = 0;
  unsigned long long missed = 0;
  long long longestGap = 0;
};

}  // namespace monitor
