#include "FrameDecoder.h"

#include "StandardNames.h"

namespace monitor {

class FrameDecoder::Transfers {};

FrameDecoder::FrameDecoder(const ObjectNames* given)
    : names(given != nullptr ? *given : StandardNames::instance()), transfers(std::make_unique<Transfers>()) {}

FrameDecoder::~FrameDecoder() = default;

const DecodedFrame& FrameDecoder::decode(const Frame& frame) {
  decoded.frame = frame;
  decoded.service = Service::UNKNOWN;
  decoded.node = 0;
  decoded.number = 0;
  decoded.valueCount = 0;
  decoded.violation = {};
  decoded.objectName = {};
  decoded.sdo = SDOStep();
  if (frame.kind == FrameKind::DATA) {
    decodePredefined();
  }
  return decoded;
}

void FrameDecoder::decodePredefined() {
  static constexpr Service BY_FUNCTION[16] = {
      Service::NMT_COMMAND, Service::EMERGENCY, Service::UNKNOWN,   Service::TPDO,
      Service::RPDO,        Service::TPDO,      Service::RPDO,      Service::TPDO,
      Service::RPDO,        Service::TPDO,      Service::RPDO,      Service::SDO_RESPONSE,
      Service::SDO_REQUEST, Service::UNKNOWN,   Service::HEARTBEAT, Service::UNKNOWN};
  decoded.service = BY_FUNCTION[decoded.frame.identifier >> 7 & 0xF];
  decoded.node = static_cast<unsigned char>(decoded.frame.identifier & 0x7F);
}

}  // namespace monitor
