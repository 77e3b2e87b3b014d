// How RPDOs are received, and how their reception is watched.

#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQEmergencyHandler.h"
#include "KQErrorCodes.h"
#include "KQPDOHandler.h"
#include "KQSyncHandler.h"
#include "KQTick.h"
#include "ObjectKey.h"
#include "PDOInternals.h"
#include "PDOTable.h"
#include "ReceivedFrame.h"

namespace KQ {

namespace {

// Emergency error code "PDO length exceeded", also the result for such a frame.
constexpr unsigned short PDO_LENGTH_EXCEEDED = 0x8220;

}  // namespace

int KQPDOHandler::handleMessage(KQCANMessage* message) {
  if (message == nullptr || !isOperational()) {
    return KQ_NOT_HANDLED;
  }
  const KQPublishedPDOs::Walk pdos = PDOInternals::walkOver(*this);
  KQPDO* const found = pdos->findFrameTaker(message->identifier);
  return found != nullptr ? receive(*found, *message) : KQ_NOT_HANDLED;
}

int KQPDOHandler::receive(KQPDO& pdo, KQCANMessage& message) {
  if (message.length > pdo.getFrameLength()) {
    if (emergencyHandler != nullptr) {
      emergencyHandler->sendEmergencyMessage(PDO_LENGTH_EXCEEDED);
    }
    return PDO_LENGTH_EXCEEDED;
  }
  const unsigned int deadline = KQTick::getTickCount() + pdo.getEventTimer();
  PDOInternals::setTimeStamp(pdo, deadline != 0 ? deadline : 1);  // 0 says that no frame has arrived yet
  if (pdo.isTimedOut()) {
    noteRxDeadline(deadline);
  }
  if (isEventDriven(pdo.getTransmissionType())) {
    applyReceivedFrame(pdo, message, dei, instance);
    return KQ_OK;
  }
  return syncHandler != nullptr ? syncHandler->addReceivePDO(&pdo, &message) : KQ_NOT_AVAILABLE;
}

void KQPDOHandler::startMonitoring(const KQPDO& pdo, unsigned int now) {
  if (PDOInternals::isMonitored(pdo)) {
    noteRxDeadline(now - 1);  // without a frame it is overdue at once
  }
}

void KQPDOHandler::noteRxDeadline(unsigned int deadline) {
  if (!isRxDeadlineKnown || TickOrder()(deadline, earliestRxDeadline)) {
    earliestRxDeadline = deadline;
    isRxDeadlineKnown = true;
  }
}

void KQPDOHandler::checkRxTimeouts() {
  if (!isRxDeadlineKnown) {
    return;
  }
  const unsigned int now = KQTick::getTickCount();
  if (!isReceptionOverdue(now)) {
    return;
  }
  isRxDeadlineKnown = false;
  const KQPublishedPDOs::Walk pdos = PDOInternals::walkOver(*this);
  for (const auto& pdo : pdos->getReceivePDOs()) {
    // An event may replace PDOs that are still to come.
    if (!PDOInternals::isMonitored(*pdo) || pdo->isTimedOut() || PDOInternals::isRetired(*pdo)) {
      continue;
    }
    if (PDOInternals::isOverdue(*pdo, now)) {
      reportRxTimeout(*pdo);
    } else {
      noteRxDeadline(pdo->getTimeStamp());
    }
  }
}

void KQPDOHandler::reportRxTimeout(KQPDO& pdo) {
  PDOInternals::setTimedOut(pdo, true);
  if (instance == nullptr) {
    return;
  }
  for (const unsigned int key : pdo.getMappedKeys()) {
    if (dei->getVariableOwnerPointer(indexOf(key), subIndexOf(key)) == instance) {
      dei->markValueAsInvalid(indexOf(key), subIndexOf(key), true);
    }
  }
  instance->sendPDOEvent(PDO_EVENT_RX_TIMEOUT, pdo.getCommunicationIndex());
}

}  // namespace KQ
