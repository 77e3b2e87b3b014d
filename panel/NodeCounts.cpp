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
  const unsigned int first = signal.getFirstValue();
  switch (signal.getCode()) {
    case KQ::SIGNAL_STATE_CHANGED:
      state = static_cast<int>(signal.getSecondValue());
      ++stateChanges;
      break;
    case KQ::SIGNAL_HEARTBEAT_TIMEOUT:
      if (first <= HIGHEST_NODE) {
        ++timeouts[first];
        missing[first] = true;
      }
      break;
    case KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED:
      if (first <= HIGHEST_NODE) {
        missing[first] = false;
      }
      break;
    default:
      break;
  }
}

}  // namespace panel
