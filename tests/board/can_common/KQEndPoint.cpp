#include "KQEndPoint.h"

#include "KQCANMessage.h"
#include "KQErrorCodes.h"

namespace KQ {

KQEndPoint::KQEndPoint() {}

KQEndPoint::~KQEndPoint() {}

int KQEndPoint::readMessage(KQCANMessage& message) {
  return doRead(message);
}

int KQEndPoint::writeMessage(const KQCANMessage& message) {
  if (message.identifier > 0x7FF || message.length > 8) {
    return KQ_INVALID_ARGUMENT;
  }
  return doWrite(message);
}

}  // namespace KQ
