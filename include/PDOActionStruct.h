#pragma once

#include "KQCANopenPDOType.h"

namespace KQ {

/// Every successful transmission increments the counter object of the action.
inline constexpr int PDO_ACTION_COUNT_TRANSMISSIONS = 2;

/// An action that is bound to a PDO by its number.
struct PDOActionStruct {
  int pdoNumber = 0;                            ///< zero-based
  KQCANopenPDOType pdoType = PDO_TYPE_RECEIVE;  ///< actions exist for transmit PDOs only
  int action = 0;                               ///< PDO_ACTION_COUNT_TRANSMISSIONS; other codes have no effect
  unsigned int objectKey = 0;                   ///< counter object, index << 16 | sub-index
};

}  // namespace KQ
