#pragma once

namespace KQ {

/// Role of this node on an SDO channel. Any value other than 1 counts as client.
enum KQCANopenSDOChannelType : int {
  SDO_CHANNEL_CLIENT = 0,  ///< SDO parameter object 0x1280 to 0x12FF
  SDO_CHANNEL_SERVER = 1   ///< SDO parameter object 0x1200 to 0x127F
};

}  // namespace KQ
