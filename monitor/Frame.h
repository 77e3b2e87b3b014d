#pragma once

#include <cstring>

#include "KQCANMessage.h"

namespace monitor {

/// What a line of a log, or a bus, may carry. Only data frames with 11-bit identifiers and remote frames for them are
/// CANopen's; the others are kept apart, so that none is taken for something it is not.
enum class FrameKind : unsigned char {
  DATA,      ///< a classic data frame with an 11-bit identifier
  REMOTE,    ///< a remote frame with an 11-bit identifier
  EXTENDED,  ///< a data or remote frame with a 29-bit identifier
  FD,        ///< a frame of CAN FD
  ERROR      ///< an error frame, which a controller reports: its identifier is a set of flags
};

/// A frame as it was seen at a certain time.
struct Frame {
  Frame() = default;
  explicit Frame(long long time) : microseconds(time) {}
  /// The data frame that a node's port carried. @param time microseconds, of whichever clock the caller has
  Frame(long long time, const KQ::KQCANMessage& message)
      : microseconds(time),
        identifier(message.identifier),
        length(
            static_cast<unsigned char>(message.length < sizeof message.data ? message.length : sizeof message.data)) {
    std::memcpy(data, message.data, length);
  }

  long long microseconds{0};  ///< when it was seen; since 1970 in a log, since whatever the caller likes otherwise
  unsigned int identifier{0};
  FrameKind kind{FrameKind::DATA};
  unsigned char length{0};   ///< data bytes: 0 to 8, to 64 in CAN FD; the length asked for in a remote frame
  unsigned char data[64]{};  ///< bytes from length on are 0
};

}  // namespace monitor
