#include "KQSyncHandler.h"

#include <algorithm>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQPDO.h"
#include "KQPDOHandler.h"
#include "ObjectIndexes.h"
#include "PDOInternals.h"
#include "PDOTable.h"
#include "PDOWalk.h"
#include "ReceivedFrame.h"

namespace KQ {

namespace {

constexpr unsigned char LAST_SYNC_COUNT = 251;

}  // namespace

KQSyncHandler::KQSyncHandler(KQCANopen* canopen) {
  setCANopenInstance(canopen);
}

int KQSyncHandler::init() {
  if (objectDictionary == nullptr) {
    return KQ_MISSING_OBJECT;
  }
  cobIDSync = objectDictionary->getPointerToValue(object::COB_ID_SYNC, 0);
  declareServedCOBIDs(typeid(KQSyncHandler)).follow(cobIDSync);
  return cobIDSync != nullptr ? KQ_OK : KQ_MISSING_OBJECT;
}

void KQSyncHandler::reset() {
  receivedFrames.clear();
  nextSyncPDOs.clear();
  cyclicPDOs.clear();
}

int KQSyncHandler::handleMessage(KQCANMessage* message) {
  if (message == nullptr || !isSync(*message) || stateMachine == nullptr ||
      stateMachine->getState() != CANOPEN_STATE_OPERATIONAL) {
    return KQ_NOT_HANDLED;
  }
  passPDOValuesToApplication();
  if (pdoHandler != nullptr) {
    const KQPublishedPDOs::Walk held = PDOInternals::walkOver(*pdoHandler);
    sendQueuedPDOs();
    sendCyclicPDOs();
  }
  advanceCounter();
  return KQ_OK;
}

void KQSyncHandler::sendQueuedPDOs() {
  if (nextSyncPDOs.empty()) {
    return;
  }
  const PDOWalk walk(nextSyncPDOs, walkMemory);
  for (KQPDO* const pdo : walk) {
    // It leaves the set before it is sent: what is queued from now on is for the next SYNC.
    if (nextSyncPDOs.erase(pdo)) {
      pdoHandler->sendPDODirectly(pdo);
    }
  }
}

void KQSyncHandler::sendCyclicPDOs() {
  if (cyclicPDOs.empty()) {
    return;
  }
  const PDOWalk walk(cyclicPDOs, walkMemory);
  for (KQPDO* const pdo : walk) {
    if (syncCounter % pdo->getTransmissionType() == 0) {
      pdoHandler->sendPDODirectly(pdo);
    }
  }
}

void KQSyncHandler::advanceCounter() {
  syncCounter = syncCounter < LAST_SYNC_COUNT ? static_cast<unsigned char>(syncCounter + 1) : 1;
}

int KQSyncHandler::addReceivePDO(KQPDO* pdo, KQCANMessage* message) {
  if (pdo == nullptr || message == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const auto isBefore = [](const ReceivedFrame& frame, const KQPDO* wanted) {
    return KQPDOSet::isBefore(frame.pdo, wanted);
  };
  const auto place = std::lower_bound(receivedFrames.begin(), receivedFrames.end(), pdo, isBefore);
  if (place != receivedFrames.end() && place->pdo == pdo) {
    place->message = *message;
  } else {
    receivedFrames.insert(place, ReceivedFrame{pdo, *message});
  }
  return KQ_OK;
}

void KQSyncHandler::passPDOValuesToApplication() {
  if (receivedFrames.empty()) {
    return;
  }
  // What a frame writes may replace PDOs, its own too: that one is kept while its frame is applied, and each frame
  // leaves the buffer before.
  const std::shared_ptr<const PDOTable> held = pdoHandler != nullptr ? PDOInternals::pdosOf(*pdoHandler) : nullptr;
  while (!receivedFrames.empty()) {
    ReceivedFrame frame = receivedFrames.back();
    receivedFrames.pop_back();
    applyReceivedFrame(*frame.pdo, frame.message, KQDEI::instance(), instance);
  }
}

int KQSyncHandler::addTxPDO(KQPDO* pdo) {
  if (pdo == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  if (isSyncCyclic(pdo->getTransmissionType())) {
    cyclicPDOs.insert(pdo);
  }
  nextSyncPDOs.insert(pdo);
  return KQ_OK;
}

void KQSyncHandler::removeTxPDO(unsigned short communicationIndex) {
  cyclicPDOs.eraseIndex(communicationIndex);
}

bool KQSyncHandler::forgetPDO(const KQPDO* pdo) {
  const auto isOfPDO = [pdo](const ReceivedFrame& frame) { return frame.pdo == pdo; };
  receivedFrames.erase(std::remove_if(receivedFrames.begin(), receivedFrames.end(), isOfPDO), receivedFrames.end());
  cyclicPDOs.erase(pdo);
  return nextSyncPDOs.erase(pdo);
}

}  // namespace KQ
