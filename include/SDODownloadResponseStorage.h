#pragma once

#include <string>

namespace KQ {

/// One expedited download of the SDO client that waits for its confirmation.
struct SDODownloadResponseStorage {
  unsigned int responseCOBID = 0;  ///< COB-ID on which the confirmation is expected
  unsigned int requestCOBID = 0;   ///< COB-ID on which an abort goes out
  int value = 0;                   ///< the number that was written
  std::string stringValue;         ///< or the text
  unsigned int deadline = 0;       ///< tick (ms) after which the server counts as silent
  unsigned int localKey = 0;       ///< local variable key, index << 16 | sub-index
};

}  // namespace KQ
