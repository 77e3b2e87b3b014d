#pragma once

#include "KQTick.h"

namespace panel {

/// The last tick before the wrap, every 49.7 days. A heartbeat that is due shortly before the wrap is not due any more
/// after it: when no cycle falls between, the node would be silent until the next wrap. Who drives a node asks here
/// whether that tick has been missed, and lets the time stand at it while he asks the node for its heartbeat.
class LastTick {
public:
  /// @param tick the one of now, never an earlier one than in the call before
  /// @return whether the tick has wrapped since the call before
  bool hasPassed(unsigned int tick);

  /// While one lives, KQTick tells the last tick.
  class Hold {
  public:
    /// @param clock what KQTick tells afterwards; null for the clock of the host
    explicit Hold(KQ::KQTick::Source clock = nullptr);
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

  private:
    KQ::KQTick::Source resumed;
  };

private:
  unsigned int previous = 0;
};

}  // namespace panel
