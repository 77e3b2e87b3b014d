#pragma once

#include <memory>

#include "DecodedFrame.h"
#include "ObjectNames.h"

namespace monitor {

/// Says of each frame of a CANopen network what it means. It follows the SDO transfers, so that a segment has the
/// object and the last one the value; frames are given in the order in which they were seen. One network a decoder, one
/// thread at a time. What it keeps is bounded, whatever it is given, and nothing is allocated for a frame in steady
/// state.
class FrameDecoder {
public:
  /// @param given where names come from; lives longer than the decoder; null: StandardNames
  explicit FrameDecoder(const ObjectNames* given = nullptr);
  ~FrameDecoder();
  FrameDecoder(const FrameDecoder&) = delete;
  FrameDecoder& operator=(const FrameDecoder&) = delete;

  /// @return valid until the next call
  const DecodedFrame& decode(const Frame& frame);

  /// The same for a frame of a node's port. @param microseconds of a clock that does not go back
  const DecodedFrame& decode(long long microseconds, const KQ::KQCANMessage& message) {
    return decode(Frame(microseconds, message));
  }

private:
  class Channels;

  void clear(const Frame& frame);
  const CommunicationObject* identify();
  void decodeRemote();
  void decodeData(const CommunicationObject* object);
  void decodeNMT();
  void decodeTime();
  void decodeEmergency();
  void decodePDO(const CommunicationObject* object);
  void decodeSDO();
  void decodeHeartbeat();
  ObjectValue& addValue(unsigned short index, unsigned char subIndex, std::string_view name);

  const ObjectNames& names;
  DecodedFrame decoded;
  const std::unique_ptr<Channels> channels;
};

}  // namespace monitor
