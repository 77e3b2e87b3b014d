#include "ReceivedFrame.h"

#include "KQCANMessage.h"
#include "KQCANopen.h"
#include "KQErrorCodes.h"
#include "KQPDO.h"
#include "PDOInternals.h"

namespace KQ {

void applyReceivedFrame(KQPDO& pdo, KQCANMessage& message, KQDEI* dei, KQCANopen* instance) {
  if (pdo.extractMappedValues(&message, dei, nullptr, false) != KQ_OK) {
    return;
  }
  const unsigned short index = pdo.getCommunicationIndex();
  if (instance != nullptr) {
    instance->sendPDOEvent(PDO_EVENT_RX_RECEIVED, index);
  }
  if (!pdo.isTimedOut()) {
    return;
  }
  PDOInternals::setTimedOut(pdo, false);
  if (instance != nullptr) {
    instance->sendPDOEvent(PDO_EVENT_RX_TIMEOUT_RESOLVED, index);
  }
}

}  // namespace KQ
