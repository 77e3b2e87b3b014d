#pragma once

namespace KQ {

/// Kind of PDO. Where only 0 is tested for, any other value counts as transmit.
enum KQCANopenPDOType : int {
  PDO_TYPE_RECEIVE = 0,  ///< communication parameter 0x1400 + n, mapping parameter 0x1600 + n
  PDO_TYPE_TRANSMIT = 1  ///< communication parameter 0x1800 + n, mapping parameter 0x1A00 + n
};

}  // namespace KQ
