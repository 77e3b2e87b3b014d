#pragma once

#include "DurationStatistics.h"

namespace monitor {

/// The frames of one kind, one after the other: how many, at which period, and how much that varies.
/// All times are microseconds. The jitter is the difference between two successive periods: it needs no period that
/// somebody has set, and a pause counts twice and not for ever.
class FrameSeries {
public:
  /// Takes the next frame. One from before the last (a clock that was set) begins anew, and makes no period.
  void add(long long microseconds);

  /// The next frame makes no period with the last one.
  void interrupt() { isFollowed = false; }

  unsigned long long getFrames() const { return frames; }
  /// Of the first and of the last frame; without meaning when there was none.
  long long getFirst() const { return first; }
  long long getLast() const { return last; }
  const DurationStatistics& getPeriods() const { return periods; }
  const DurationStatistics& getJitter() const { return jitter; }

private:
  unsigned long long frames = 0;
  long long first = 0;
  long long last = 0;
  long long lastPeriod = 0;
  bool isFollowed = false;  ///< the next frame makes a period
  bool hasPeriod = false;   ///< that period makes a jitter with the one before
  DurationStatistics periods;
  DurationStatistics jitter;
};

}  // namespace monitor
