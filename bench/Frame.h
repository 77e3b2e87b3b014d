#pragma once

#include <cstring>
#include <initializer_list>

#include "KQCANMessage.h"

namespace bench {

/// A frame from its bytes on the wire.
inline KQ::KQCANMessage frame(unsigned int identifier, std::initializer_list<unsigned int> bytes) {
  KQ::KQCANMessage message;
  message.identifier = identifier;
  message.length = 0;
  for (const unsigned int byte : bytes) {
    message.data[message.length++] = static_cast<unsigned char>(byte);
  }
  return message;
}

/// Whether two frames are the same on the wire.
inline bool isSame(const KQ::KQCANMessage& left, const KQ::KQCANMessage& right) {
  return left.identifier == right.identifier && left.length == right.length &&
         std::memcmp(left.data, right.data, left.length) == 0;
}

}  // namespace bench
