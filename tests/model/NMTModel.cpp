#include "NMTModel.h"

namespace model {

void NMTModel::setState(int newState) {
  state = newState;
  if (listener != 0) {
    surroundings.trace.signal(listener, 6, 1700, nodeID, static_cast<unsigned int>(newState));
  }
  surroundings.trace.line("CANOPEN: State set to " + hexadecimal(static_cast<unsigned int>(newState)));
}

bool NMTModel::handle(const Frame& frame) {
  if (frame.identifier != 0 || frame.length != 2) {
    return false;
  }
  const bool isMeant = frame.data[1] == nodeID || (frame.data[1] == 0 && !ignoreBroadcasts);
  if (!isMeant) {
    return true;
  }
  switch (frame.data[0]) {
    case 0x01:
      if (state == PRE_OPERATIONAL || state == STOPPED) {
        setState(OPERATIONAL);
      }
      break;
    case 0x02:
      setState(STOPPED);
      break;
    case 0x80:
      setState(PRE_OPERATIONAL);
      break;
    case 0x81:
      setState(RESET_APPLICATION);
      break;
    case 0x82:
      setState(RESET_COMMUNICATION);
      break;
    default:
      break;
  }
  return true;
}

void NMTModel::sendBootUp() {
  send(0x00);
}

void NMTModel::sendHeartbeat() {
  const int time = dictionary.find(0x10170000)->value;
  // Ticks are compared as they stand, also where the sum wraps.
  if (time <= 0 || surroundings.tick < lastHeartbeat + static_cast<unsigned int>(time)) {
    return;
  }
  if (state == OPERATIONAL || state == STOPPED || state == PRE_OPERATIONAL) {
    send(state == OPERATIONAL ? 0x05 : (state == STOPPED ? 0x04 : 0x7F));
  }
}

void NMTModel::send(unsigned char stateByte) {
  surroundings.send({0x700 + nodeID, 1, {stateByte}});
  lastHeartbeat = surroundings.tick;
}

}  // namespace model
