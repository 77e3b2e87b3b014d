#pragma once

#include <cstring>

namespace KQ {

/// One CAN 2.0A data frame, as it is read from a port and written to it.
///
/// The members are public because every handler fills its one outgoing frame in place. A value
/// class: copying it and clearing it cost a few instructions and allocate nothing.
class KQCANMessage {
public:
  KQCANMessage() = default;
  /// Copies all of it.
  KQCANMessage(const KQCANMessage& other) : identifier(other.identifier), length(other.length), flags(other.flags) {
    std::memcpy(data, other.data, sizeof data);
  }
  /// Compilers make one move of the data this way, and eight of an assignment that is generated.
  // To itself, too. NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
  KQCANMessage& operator=(const KQCANMessage& other) {
    identifier = other.identifier;
    length = other.length;
    std::memmove(data, other.data, sizeof data);
    flags = other.flags;
    return *this;
  }
  virtual ~KQCANMessage() = default;

  /// Makes an empty frame of it: identifier, length, all data bytes and flags become 0. Any thread that owns the
  /// object.
  void clear() {
    identifier = 0;
    length = 0;
    std::memset(data, 0, sizeof data);
    flags = 0;
  }

  unsigned identifier{0};   ///< CAN identifier (COB-ID), 0..0x7FF; 0 is the NMT command.
  unsigned length{8};       ///< Number of data bytes (data length code), 0..8; a fresh message has 8.
  unsigned char data[8]{};  ///< Data bytes, byte 0 first on the wire; bytes from length on have no meaning.
  unsigned flags{0};        ///< Always 0: only data frames with 11-bit identifiers are carried.
};

}  // namespace KQ
