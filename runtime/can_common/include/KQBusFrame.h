#pragma once

#include <cstring>

#include "KQCANMessage.h"

namespace KQ {

/// A data frame as a bus carries it, extended identifiers included, which KQCANMessage deliberately cannot hold.
struct KQBusFrame {
  unsigned identifier{0};   ///< 11 bits, or 29 bits when extended
  bool extended{false};     ///< 29-bit identifier: never handed to an end point
  unsigned char length{0};  ///< 0..8
  unsigned char data[8]{};  ///< bytes from length on are 0

  /// The frame that a valid message (11-bit identifier, at most 8 bytes) stands for.
  static KQBusFrame fromMessage(const KQCANMessage& message) {
    KQBusFrame frame;
    frame.identifier = message.identifier;
    frame.length = static_cast<unsigned char>(message.length);
    std::memcpy(frame.data, message.data, message.length);
    return frame;
  }

  /// Fills a message with it; only for a frame that is not extended.
  void toMessage(KQCANMessage& message) const {
    message.identifier = identifier;
    message.length = length;
    std::memcpy(message.data, data, sizeof data);
    message.flags = 0;
  }
};

}  // namespace KQ
