#include "NodeCounts.h"

#include "KQCANopenSignal.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"

namespace panel {

int NodeCounts::signalOccurred(KQ::KQSignal& signal) {
  if (signal.getType() == KQ::STACK_SIGNAL_TYPE) {
    count(signal);
  }
  for (KQ::KQSignalListener* const listener : listeners) {
    const int result = listener->signalOccurred(signal);
    if (result != KQ::KQ_NOT_HANDLED) {
      return result;
    }
  }
  return KQ::KQ_NOT_HANDLED;
}

void NodeCounts::count(KQ::KQSignal& signal) {
  switch (signal.getCode()) {
    case KQ::SIGNAL_STATE_CHANGED:
      state = static_cast<int>(signal.getSecondValue());
      ++stateChanges;
      break;
    case KQ::SIGNAL_HEARTBEAT_TIMEOUT:
      countHeartbeat(signal.getFirstValue(), true);
      break;
    case KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED:
      countHeartbeat(signal.getFirstValue(), false);
      break;
    default:
      break;
  }
}

void NodeCounts::countHeartbeat(unsigned int node, bool isMissing) {
  if (node > HIGHEST_NODE) {
    return;
  }
  watched[node] = true;
  missing[node] = isMissing;
  timeouts[node] += isMissing ? 1 : 0;
}

}  // namespace panel
