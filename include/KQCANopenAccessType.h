#pragma once

namespace KQ {

/// Access right of a sub-entry as the bus sees it (CiA 306 AccessType).
enum KQCANopenAccessType : int {
  ACCESS_RO = 0,    ///< "ro", read only
  ACCESS_WO = 1,    ///< "wo", write only
  ACCESS_RW = 2,    ///< "rw"
  ACCESS_RWW = 3,   ///< "rww", mapped into a receive PDO
  ACCESS_RWR = 4,   ///< "rwr", mapped into a transmit PDO
  ACCESS_CONST = 5  ///< "const"
};

}  // namespace KQ
