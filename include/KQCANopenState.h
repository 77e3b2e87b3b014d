#pragma once

namespace KQ {

/// Communication states of the node (CiA 301 NMT state machine). The values are part of the interface: they stand
/// in state-change signals and in KQCANopen::setCANopenState.
enum KQCANopenState : int {
  CANOPEN_STATE_INIT = 0,                 ///< initialise the handlers, send the boot-up message
  CANOPEN_STATE_RESET_APPLICATION = 1,    ///< NMT reset node
  CANOPEN_STATE_RESET_COMMUNICATION = 2,  ///< NMT reset communication
  CANOPEN_STATE_PRE_OPERATIONAL = 3,
  CANOPEN_STATE_OPERATIONAL = 4,
  CANOPEN_STATE_STOPPED = 5,
  CANOPEN_STATE_FATAL_ERROR = 6  ///< initialisation failed; the node tries again by itself
};

}  // namespace KQ
