#pragma once

#include <cstring>

#include "KQCANMessage.h"

namespace KQ {

/// Makes an empty frame: identifier, length, data bytes and flags become 0.
inline void clearFrame(KQCANMessage& message) {
  message.identifier = 0;
  message.length = 0;
  std::memset(message.data, 0, sizeof message.data);
  message.flags = 0;
}

}  // namespace KQ
