#pragma once

#include <string>

namespace KQ {

/// One queued request of the SDO client: a write, or a read (then value is -1).
struct SDODownloadRequestParameter {
  unsigned int key = 0;           ///< local variable key, index << 16 | sub-index
  int responseCOBID = 0;          ///< server -> client
  unsigned int requestCOBID = 0;  ///< client -> server
  int value = 0;                  ///< of a write of a number
  std::string stringValue;        ///< of a write of a text
  unsigned int dataType = 0;      ///< DATA_TYPE_VISIBLE_STRING for a text, else DATA_TYPE_NONE: the entry's own type
                                  ///< decides when it is sent
};

}  // namespace KQ
