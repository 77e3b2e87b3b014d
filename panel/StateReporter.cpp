#include "StateReporter.h"

#include <array>
#include <ostream>

#include "KQErrorCodes.h"
#include "KQSignal.h"

namespace panel {

namespace {

constexpr int SIGNAL_TYPE_CANOPEN = 6;
constexpr int SIGNAL_STATE_CHANGED = 1700;

// By KQCANopenState.
constexpr std::array<const char*, 7> STATE_NAMES = {"INITIALISING",    "RESET APPLICATION", "RESET COMMUNICATION",
                                                    "PRE-OPERATIONAL", "OPERATIONAL",       "STOPPED",
                                                    "FATAL ERROR"};

}  // namespace

int StateReporter::signalOccurred(KQ::KQSignal& signal) {
  if (signal.getType() != SIGNAL_TYPE_CANOPEN || signal.getCode() != SIGNAL_STATE_CHANGED) {
    return KQ::KQ_NOT_HANDLED;
  }
  output << "node " << signal.getFirstValue() << ": " << getStateName(signal.getSecondValue()) << std::endl;
  return KQ::KQ_OK;
}

const char* StateReporter::getStateName(unsigned int state) {
  return state < STATE_NAMES.size() ? STATE_NAMES[state] : "UNKNOWN STATE";
}

}  // namespace panel
