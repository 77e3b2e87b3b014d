#pragma once

#include <algorithm>
#include <iterator>

#include "KQCANMessage.h"

namespace KQ {

/// Makes an empty frame: identifier, length, data bytes and flags become 0.
inline void clearFrame(KQCANMessage& message) {
  message.identifier = 0;
  message.length = 0;
  std::fill(std::begin(message.data), std::end(message.data), static_cast<unsigned char>(0));
  message.flags = 0;
}

}  // namespace KQ
