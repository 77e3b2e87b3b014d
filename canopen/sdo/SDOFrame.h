#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "KQCANMessage.h"

namespace KQ {

/// The layout of SDO frames (CiA 301 SDO protocol) in the standard's words.
namespace sdo {

inline constexpr unsigned int FRAME_LENGTH = 8;
inline constexpr unsigned int EXPEDITED_BYTES = 4;
inline constexpr unsigned int SEGMENT_BYTES = 7;
inline constexpr unsigned int SIZE_NOT_INDICATED = 0xFFFFFFFF;

/// Client command specifiers, bits 7 to 5 of the command byte.
enum ClientCommandSpecifier : unsigned int {
  DOWNLOAD_SEGMENT_REQUEST = 0,
  INITIATE_DOWNLOAD_REQUEST = 1,
  INITIATE_UPLOAD_REQUEST = 2,
  UPLOAD_SEGMENT_REQUEST = 3,
  ABORT_TRANSFER = 4
};

/// Server command specifiers, bits 7 to 5 of the command byte; ABORT_TRANSFER is that of both sides.
enum ServerCommandSpecifier : unsigned int {
  UPLOAD_SEGMENT_RESPONSE = 0,
  DOWNLOAD_SEGMENT_RESPONSE_SPECIFIER = 1,
  INITIATE_UPLOAD_RESPONSE = 2,
  INITIATE_DOWNLOAD_RESPONSE = 3
};

/// Command bytes of the frames that this node sends; sizes, toggle bit and the like are added to them.
enum CommandByte : unsigned char {
  DOWNLOAD_SEGMENT_RESPONSE = 0x20,
  SEGMENTED_DOWNLOAD_REQUEST = 0x21,
  EXPEDITED_DOWNLOAD_REQUEST = 0x23,
  UPLOAD_REQUEST = 0x40,
  SEGMENTED_UPLOAD_RESPONSE = 0x41,
  EXPEDITED_UPLOAD_RESPONSE = 0x43,
  DOWNLOAD_RESPONSE = 0x60,
  UPLOAD_SEGMENT = 0x60,
  ABORT = 0x80
};

inline unsigned int commandSpecifier(const KQCANMessage& message) {
  return message.data[0] >> 5;
}

inline unsigned short index(const KQCANMessage& message) {
  return static_cast<unsigned short>(message.data[1] | message.data[2] << 8);
}

inline unsigned char subIndex(const KQCANMessage& message) {
  return message.data[3];
}

inline bool isExpedited(unsigned char command) {
  return (command & 0x02) != 0;
}

inline bool isSizeIndicated(unsigned char command) {
  return (command & 0x01) != 0;
}

/// n of an initiate frame: how many of the four data bytes hold no data.
inline unsigned char unusedExpeditedBytes(unsigned char command) {
  return static_cast<unsigned char>(command >> 2 & 0x03);
}

/// n of a segment: how many of the seven data bytes hold no data.
inline unsigned int unusedSegmentBytes(unsigned char command) {
  return command >> 1 & 0x07U;
}

inline bool isLastSegment(unsigned char command) {
  return (command & 0x01) != 0;
}

inline unsigned int toggle(unsigned char command) {
  return command >> 4 & 0x01U;
}

inline unsigned char withToggle(unsigned int command, unsigned int toggleBit) {
  return static_cast<unsigned char>(command | toggleBit << 4);
}

/// The segment command byte, without toggle bit: 0, or for the last segment, with fewer than eight bytes remaining, n
/// and c.
inline unsigned int segmentCommand(unsigned int remaining) {
  return remaining > SEGMENT_BYTES ? 0U : (SEGMENT_BYTES - remaining) << 1 | 0x01U;
}

/// The command byte of an expedited frame with that many data bytes. The formula holds for no bytes at all, too: it
/// then sets bit 4.
inline unsigned char expeditedCommand(unsigned int command, unsigned int length) {
  return static_cast<unsigned char>(command + (EXPEDITED_BYTES - length) * 4);
}

inline unsigned int littleEndian(unsigned char d0, unsigned char d1, unsigned char d2, unsigned char d3) {
  return static_cast<unsigned int>(d0) | static_cast<unsigned int>(d1) << 8 | static_cast<unsigned int>(d2) << 16 |
         static_cast<unsigned int>(d3) << 24;
}

/// The number in the data bytes of an initiate frame.
inline unsigned int number(const KQCANMessage& message) {
  return littleEndian(message.data[4], message.data[5], message.data[6], message.data[7]);
}

inline void putLittleEndian(unsigned char* data, unsigned int value) {
  data[0] = static_cast<unsigned char>(value);
  data[1] = static_cast<unsigned char>(value >> 8);
  data[2] = static_cast<unsigned char>(value >> 16);
  data[3] = static_cast<unsigned char>(value >> 24);
}

/// The low @p count bytes of a number. @param count 1 to 4
inline unsigned int lowBytes(unsigned int value, unsigned int count) {
  return value & 0xFFFFFFFFU >> 8 * (EXPEDITED_BYTES - count);
}

/// The number that the first four bytes, or as many as there are, make.
inline unsigned int numberOf(const std::string& bytes) {
  unsigned int value = 0;
  for (unsigned int i = 0; i < bytes.size() && i < EXPEDITED_BYTES; ++i) {
    value |= static_cast<unsigned int>(static_cast<unsigned char>(bytes[i])) << 8 * i;
  }
  return value;
}

/// A number in more bytes than its own four: the others are those of its sign, or 0 when its type has none.
inline std::string bytesOf(int value, unsigned int size, bool isSigned) {
  std::string bytes(size, isSigned && value < 0 ? '\xFF' : '\0');
  for (unsigned int i = 0; i < size && i < EXPEDITED_BYTES; ++i) {
    bytes[i] = static_cast<char>(static_cast<unsigned int>(value) >> 8 * i & 0xFFU);
  }
  return bytes;
}

/// Fills the seven data bytes of a segment from @p data at @p offset; what is not there goes out as 0.
inline void putSegment(KQCANMessage& message, const std::string& data, std::size_t offset) {
  unsigned char* const segment = message.data + 1;
  if (data.size() >= SEGMENT_BYTES && offset <= data.size() - SEGMENT_BYTES) {
    std::memcpy(segment, data.data() + offset, SEGMENT_BYTES);  // nearly always, and without a call
    return;
  }
  std::fill(segment, segment + SEGMENT_BYTES, static_cast<unsigned char>(0));
  const std::size_t count = offset < data.size() ? std::min<std::size_t>(data.size() - offset, SEGMENT_BYTES) : 0;
  std::copy_n(data.data() + std::min(offset, data.size()), count, reinterpret_cast<char*>(segment));
}

}  // namespace sdo

}  // namespace KQ
