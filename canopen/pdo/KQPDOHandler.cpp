// Transmission and reception of PDOs.

#include "KQPDOHandler.h"

#include <algorithm>
#include <mutex>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQEmergencyHandler.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQPDO.h"
#include "KQSyncHandler.h"
#include "KQTick.h"
#include "PDOActivity.h"
#include "ReceivedFrame.h"

namespace KQ {

namespace {

using Lock = std::lock_guard<KQMutex>;

/// Emergency error code "PDO length exceeded", also the result for such a frame.
constexpr unsigned short PDO_LENGTH_EXCEEDED = 0x8220;
constexpr int HIGHEST_COUNT = 0x7FFFFFFF;

}  // namespace

KQPDOHandler::KQPDOHandler(KQCANopen* canopen) : dei(KQDEI::instance()), sendMutex(KQMutex::create()) {
  setCANopenInstance(canopen);
}

KQPDOHandler::~KQPDOHandler() {
  syncHandler = nullptr;  // the node deletes it first
  deleteAll(receivePDOs);
  deleteAll(transmitPDOs);
}

bool KQPDOHandler::isOperational() const {
  return stateMachine != nullptr && stateMachine->getState() == CANOPEN_STATE_OPERATIONAL;
}

void KQPDOHandler::deleteRetiredPDOs() {
  const Lock lock(*sendMutex);
  retiredPDOs.clear();
  hasRetiredPDOs = false;
}

// ---- reception

int KQPDOHandler::handleMessage(KQCANMessage* message) {
  if (message == nullptr || !isOperational()) {
    return KQ_NOT_HANDLED;
  }
  KQPDO* const found = receivePDOTable.find(message->identifier);
  if (found == nullptr) {
    return KQ_NOT_HANDLED;
  }
  return receive(*found, *message);
}

int KQPDOHandler::receive(KQPDO& pdo, KQCANMessage& message) {
  if (message.length > pdo.getFrameLength()) {
    if (emergencyHandler != nullptr) {
      emergencyHandler->sendEmergencyMessage(PDO_LENGTH_EXCEEDED);
    }
    return PDO_LENGTH_EXCEEDED;
  }
  const unsigned int deadline = KQTick::getTickCount() + pdo.getEventTimer();
  pdo.setTimeStamp(deadline != 0 ? deadline : 1);  // 0 says that no frame has arrived yet
  if (pdo.isTimedOut()) {
    noteRxDeadline(deadline);
  }
  if (isEventDriven(pdo.getTransmissionType())) {
    const Activity activity(*this);
    applyReceivedFrame(pdo, message, dei, instance);
    return KQ_OK;
  }
  return syncHandler != nullptr ? syncHandler->addReceivePDO(&pdo, &message) : static_cast<int>(KQ_NOT_AVAILABLE);
}

void KQPDOHandler::checkRxTimeouts() {
  if (!isRxCheckNeeded && !isRxDeadlineKnown) {
    return;
  }
  const unsigned int now = KQTick::getTickCount();
  if (!isRxCheckNeeded && !TickOrder()(earliestRxDeadline, now)) {
    return;
  }
  isRxCheckNeeded = false;
  isRxDeadlineKnown = false;
  const Activity activity(*this);
  const unsigned int newest = buildCount;
  for (KQPDO* pdo = monitoredPDOs.first(); pdo != nullptr; pdo = monitoredPDOs.after(pdo)) {
    if (pdo->isTimedOut() || pdo->getBuildNumber() > newest) {
      continue;
    }
    if (pdo->isOverdue(now)) {
      reportRxTimeout(*pdo);
    } else {
      noteRxDeadline(pdo->getTimeStamp());
    }
  }
}

void KQPDOHandler::noteRxDeadline(unsigned int deadline) {
  if (!isRxDeadlineKnown || TickOrder()(deadline, earliestRxDeadline)) {
    earliestRxDeadline = deadline;
    isRxDeadlineKnown = true;
  }
}

void KQPDOHandler::reportRxTimeout(KQPDO& pdo) {
  pdo.setTimedOut(true);
  for (const unsigned int key : pdo.getMappedKeys()) {
    const auto index = static_cast<unsigned short>(key >> 16);
    const auto subIndex = static_cast<unsigned short>(key & 0xFF);
    if (instance != nullptr && dei->getVariableOwnerPointer(index, subIndex) == instance) {
      dei->markValueAsInvalid(index, subIndex, true);
    }
  }
  if (instance != nullptr) {
    instance->sendPDOEvent(PDO_EVENT_RX_TIMEOUT, pdo.getCommunicationIndex());
  }
}

// ---- transmission

int KQPDOHandler::sendPDODirectly(KQPDO* pdo) {
  const Lock lock(*sendMutex);
  return sendPDOWithMutexHeld(pdo);
}

int KQPDOHandler::sendPDOWithMutexHeld(KQPDO* pdo) {
  if (!isOperational() || pdo == nullptr || instance == nullptr || instance->getEndPoint() == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  if (pdo->isBeingSent()) {
    return KQ_NOT_AVAILABLE;
  }
  const unsigned int now = KQTick::getTickCount();
  if (pdo->isInhibited(now)) {
    return KQ_DEFERRED;
  }
  return transmit(*pdo, now);
}

int KQPDOHandler::transmit(KQPDO& pdo, unsigned int now) {
  int result = KQ_NOT_AVAILABLE;
  if (pdo.fillMessage(&outgoingMessage) == KQ_OK) {
    result = sendCANMessage();
  }
  outgoingMessage.clear();
  if (result == KQ_OK) {
    pdo.setTimeStamp(now);
    if (pdo.getAction() == PDO_ACTION_COUNT_TRANSMISSIONS) {
      countTransmission(pdo);
    }
  }
  return result;
}

void KQPDOHandler::countTransmission(KQPDO& pdo) {
  const unsigned int key = pdo.getActionKey();
  int count = 0;
  if (objectDictionary == nullptr ||
      !objectDictionary->subObjectExists(static_cast<unsigned short>(key >> 16), static_cast<unsigned char>(key))) {
    return;
  }
  // The counter may itself be mapped: other TPDOs go out for it, this one must not set itself off again.
  const Activity activity(*this);
  pdo.setBeingSent(true);
  objectDictionary->getValue(key, count);
  objectDictionary->setValue(key, count == HIGHEST_COUNT ? 1 : count + 1, false);
  pdo.setBeingSent(false);
}

int KQPDOHandler::handleVariableChange(unsigned int key, int /*value*/) {
  if (!isOperational()) {
    return KQ_NOT_AVAILABLE;
  }
  const Lock lock(*sendMutex);
  if (!isOperational()) {
    return KQ_NOT_AVAILABLE;  // another thread was quicker: who changes the state holds the mutex
  }
  // The PDOs of one key stand in the order in which they were built, so that a walk can be taken up again after any of
  // them. Those that are built meanwhile have had no part in the change.
  const unsigned int newest = buildCount;
  unsigned int reached = 0;
  int result = KQ_NOT_FOUND;
  for (std::size_t position = firstMapping(key); isMapping(position, key);) {
    KQPDO* const pdo = variableIndex[position].pdo;
    ++position;
    if (pdo->getBuildNumber() <= reached || pdo->getBuildNumber() > newest) {
      continue;
    }
    reached = pdo->getBuildNumber();
    const unsigned int rebuildsBefore = rebuilds;
    const int triggered = triggerTransmission(pdo);
    if (triggered != KQ_NOT_FOUND) {
      result = triggered;
    }
    if (rebuilds != rebuildsBefore) {
      position = firstMapping(key);  // a counter that was written rebuilt a TPDO: the index is another one now
    }
  }
  return result;
}

void KQPDOHandler::changeVariableIndex() {
  ++rebuilds;
  areFirstMappingsKnown = false;
}

std::size_t KQPDOHandler::firstMapping(unsigned int key) {
  if (!areFirstMappingsKnown) {
    firstMappings.clear();
    for (const MappedVariable& mapped : variableIndex) {
      if (firstMappings.find(mapped.key) == nullptr) {
        firstMappings.insert(&mapped);
      }
    }
    areFirstMappingsKnown = true;
  }
  const MappedVariable* const first = firstMappings.find(key);
  return first != nullptr ? static_cast<std::size_t>(first - variableIndex.data()) : variableIndex.size();
}

bool KQPDOHandler::isMapping(std::size_t position, unsigned int key) const {
  return position < variableIndex.size() && variableIndex[position].key == key;
}

int KQPDOHandler::triggerTransmission(KQPDO* pdo) {
  const KQCANopenPDOTransmissionMode mode = pdo->getTransmissionType();
  if (isEventDriven(mode)) {
    const Activity activity(*this);
    if (sendPDOWithMutexHeld(pdo) == KQ_DEFERRED) {
      addPending(pdo);
    }
    return KQ_OK;
  }
  if (mode == PDO_TRANSMISSION_SYNC_ACYCLIC || mode == PDO_TRANSMISSION_SYNC_CYCLIC_FIRST) {
    return syncHandler != nullptr ? syncHandler->addTxPDO(pdo) : static_cast<int>(KQ_NOT_AVAILABLE);
  }
  return KQ_NOT_FOUND;
}

void KQPDOHandler::addPending(KQPDO* pdo) {
  pendingPDOs.insert(pdo);
  hasPendingPDOs = true;
}

void KQPDOHandler::removePending(const KQPDO* pdo) {
  pendingPDOs.erase(pdo);
  hasPendingPDOs = !pendingPDOs.empty();
}

int KQPDOHandler::sendPDOs(unsigned int deadline, unsigned int* waitHint) {
  if (!isOperational()) {
    return KQ_NOT_AVAILABLE;
  }
  const int pendingResult = hasPendingPDOs ? sendPendingPDOs(deadline) : static_cast<int>(KQ_OK);
  const int timedResult = sendTimedPDOs(deadline, waitHint);
  return pendingResult != KQ_OK ? pendingResult : timedResult;
}

int KQPDOHandler::sendPendingPDOs(unsigned int deadline) {
  const Lock lock(*sendMutex);
  const Activity activity(*this);
  const unsigned int newest = buildCount;
  for (KQPDO* pdo = pendingPDOs.first(); pdo != nullptr; pdo = pendingPDOs.after(pdo)) {
    if (pdo->getBuildNumber() > newest) {
      continue;
    }
    if (sendPDOWithMutexHeld(pdo) == KQ_OK) {
      removePending(pdo);
    }
    if (KQTick::getTickCount() >= deadline) {
      return KQ_DEFERRED;
    }
  }
  return KQ_OK;
}

int KQPDOHandler::sendTimedPDOs(unsigned int deadline, unsigned int* waitHint) {
  unsigned int unwanted = ~0U;
  while (!eventTimers.empty()) {
    const unsigned int now = KQTick::getTickCount();
    if (!isTransmissionDue(now, waitHint != nullptr ? *waitHint : unwanted)) {
      break;
    }
    sendTimedPDO(now);
    if (KQTick::getTickCount() >= deadline) {
      return KQ_DEFERRED;
    }
  }
  return KQ_OK;
}

void KQPDOHandler::sendTimedPDO(unsigned int now) {
  const Lock lock(*sendMutex);
  const Activity activity(*this);
  // The entry keeps its memory and moves on before the transmission, which may rebuild the PDO and forget the entry.
  auto entry = eventTimers.extract(eventTimers.begin());
  KQPDO* const pdo = entry.mapped();
  entry.key() = now + pdo->getEventTimer();
  eventTimers.insert(std::move(entry));
  if (sendPDOWithMutexHeld(pdo) == KQ_DEFERRED) {
    addPending(pdo);
  }
}

}  // namespace KQ
