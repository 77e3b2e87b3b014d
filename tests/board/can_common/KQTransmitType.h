#pragma once

namespace KQ {

enum KQTransmitType : unsigned int {
  TRANSMIT_ON_CHANGE = 0x1,
  TRANSMIT_ON_CHANGE_AND_TIMER = 0x5,
  TRANSMIT_ON_REQUEST = 0x8,
  TRANSMIT_RECEIVE = 0x10000
};

}  // namespace KQ
