#pragma once

namespace KQ {

/// When the data of a mapping object leaves.
enum KQTransmitType : unsigned int {
  TRANSMIT_ON_CHANGE = 0x1,            ///< when a mapped value changes
  TRANSMIT_ON_CHANGE_AND_TIMER = 0x5,  ///< on change, and at the latest after the cycle time
  TRANSMIT_ON_REQUEST = 0x8,           ///< only when another node asks
  TRANSMIT_RECEIVE = 0x10000           ///< never: the object is received
};

}  // namespace KQ
