#include "HeartbeatReporter.h"

#include <ostream>

#include "KQCANopenSignal.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"

namespace panel {

int HeartbeatReporter::signalOccurred(KQ::KQSignal& signal) {
  const bool isLost = signal.getCode() == KQ::SIGNAL_HEARTBEAT_TIMEOUT;
  const bool isBack = signal.getCode() == KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED;
  if (signal.getType() != KQ::STACK_SIGNAL_TYPE || (!isLost && !isBack)) {
    return KQ::KQ_NOT_HANDLED;
  }
  output << "node " << signal.getFirstValue() << ": heartbeat " << (isLost ? "lost" : "back") << std::endl;
  return KQ::KQ_OK;
}

}  // namespace panel
