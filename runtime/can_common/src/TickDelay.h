#pragma once

#include "KQTick.h"

namespace KQ {

/// Milliseconds that are left of a duration that began at a tick; 0 when it is over. Right across the wrap of the tick.
inline int remainingDelay(unsigned beginTick, unsigned durationMs) {
  const unsigned elapsed = KQTick::getTickCount() - beginTick;
  return elapsed >= durationMs ? 0 : static_cast<int>(durationMs - elapsed);
}

/// The shorter of two service delays, of which -1 stands for none.
inline int shorterDelay(int left, int right) {
  if (left < 0 || right < 0) {
    return left < 0 ? right : left;
  }
  return left < right ? left : right;
}

}  // namespace KQ
