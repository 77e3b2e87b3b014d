#include "KQSyncHandler.h"

#include <algorithm>
#include <mutex>
#include <optional>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQPDO.h"
#include "KQPDOHandler.h"
#include "PDOActivity.h"
#include "ReceivedFrame.h"

namespace KQ {

namespace {

constexpr unsigned short COB_ID_SYNC = 0x1005;
constexpr unsigned char LAST_SYNC_COUNT = 251;

}  // namespace

KQSyncHandler::KQSyncHandler(KQCANopen* canopen) {
  setCANopenInstance(canopen);
}

int KQSyncHandler::init() {
  if (objectDictionary == nullptr) {
    return KQ_MISSING_OBJECT;
  }
  cobIDSync = objectDictionary->getPointerToValue(COB_ID_SYNC, 0);
  declareServedCOBIDs(typeid(KQSyncHandler)).follow(cobIDSync);
  return cobIDSync != nullptr ? KQ_OK : KQ_MISSING_OBJECT;
}

void KQSyncHandler::reset() {
  receivedFrames.clear();
  if (pdoHandler == nullptr) {
    forgetTransmissions();
    return;
  }
  const std::lock_guard<KQMutex> lock(pdoHandler->getSendMutex());
  forgetTransmissions();
}

void KQSyncHandler::forgetTransmissions() {
  nextSyncPDOs.clear();
  pdosOfThisSync.clear();
  cyclicPDOs.clear();
}

int KQSyncHandler::handleMessage(KQCANMessage* message) {
  if (message == nullptr || !isSync(*message) || stateMachine == nullptr ||
      stateMachine->getState() != CANOPEN_STATE_OPERATIONAL) {
    return KQ_NOT_HANDLED;
  }
  passPDOValuesToApplication();
  sendPDOs();
  advanceCounter();
  return KQ_OK;
}

void KQSyncHandler::sendPDOs() {
  if (pdoHandler == nullptr) {
    return;
  }
  const std::lock_guard<KQMutex> lock(pdoHandler->getSendMutex());
  const KQPDOHandler::Activity activity(*pdoHandler);
  sendQueuedPDOs();
  sendCyclicPDOs();
}

void KQSyncHandler::sendQueuedPDOs() {
  // What a transmission queues meanwhile, by a counter that is mapped, is for the next SYNC.
  pdosOfThisSync.clear();
  pdosOfThisSync.swap(nextSyncPDOs);
  std::size_t position = 0;
  for (KQPDO* pdo = pdosOfThisSync.first(); pdo != nullptr; pdo = pdosOfThisSync.after(pdo, position)) {
    pdoHandler->sendPDOWithMutexHeld(pdo);
  }
  pdosOfThisSync.clear();
}

void KQSyncHandler::sendCyclicPDOs() {
  const unsigned int newest = pdoHandler->getBuildCount();
  std::size_t position = 0;
  for (KQPDO* pdo = cyclicPDOs.first(); pdo != nullptr; pdo = cyclicPDOs.after(pdo, position)) {
    if (pdo->getBuildNumber() <= newest && syncCounter % pdo->getTransmissionType() == 0) {
      pdoHandler->sendPDOWithMutexHeld(pdo);
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
  std::optional<KQPDOHandler::Activity> activity;
  if (pdoHandler != nullptr) {
    activity.emplace(*pdoHandler);
  }
  // Each frame leaves the buffer before it is applied: what it writes may rebuild a PDO that has one here.
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
  while (const KQPDO* const pdo = cyclicPDOs.find(communicationIndex)) {
    cyclicPDOs.erase(pdo);
  }
}

void KQSyncHandler::forgetPDO(const KQPDO* pdo) {
  cyclicPDOs.erase(pdo);
  nextSyncPDOs.erase(pdo);
  pdosOfThisSync.erase(pdo);
  const auto isOfPDO = [pdo](const ReceivedFrame& frame) { return frame.pdo == pdo; };
  receivedFrames.erase(std::remove_if(receivedFrames.begin(), receivedFrames.end(), isOfPDO), receivedFrames.end());
}

}  // namespace KQ
