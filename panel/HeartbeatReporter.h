#pragma once

#include <iosfwd>

#include "KQSignalListener.h"

namespace panel {

/// Prints when a watched node falls silent and when it is heard (again): "node 6: heartbeat lost", "node 6: heartbeat
/// back". A node counts as missing until its first heartbeat, which is therefore announced as the others are.
class HeartbeatReporter : public KQ::KQSignalListener {
public:
  /// @param stream must outlive the reporter
  explicit HeartbeatReporter(std::ostream& stream) : output(stream) {}

  /// Takes the stack's heartbeat signals (type 6, codes 0x517 and 0x518; node-ID). @return 0; 11 for any other signal
  int signalOccurred(KQ::KQSignal& signal) override;

private:
  std::ostream& output;
};

}  // namespace panel
