// How TPDOs are sent: on change, when their inhibit time is over, by event timer. All of them leave through
// sendPDODirectly().

#include <algorithm>
#include <mutex>
#include <utility>

#include "ClearFrame.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQPDOHandler.h"
#include "KQSyncHandler.h"
#include "KQTick.h"
#include "NodeInternals.h"
#include "ObjectKey.h"
#include "PDOInternals.h"
#include "PDOTable.h"
#include "PDOWalk.h"

namespace KQ {

namespace {

using Lock = std::lock_guard<KQMutex>;

constexpr int HIGHEST_COUNT = 0x7FFFFFFF;
// ms after which a transmission that failed is tried again.
constexpr unsigned int RETRY_TIME = 5;

}  // namespace

// ---- one transmission

int KQPDOHandler::sendPDODirectly(KQPDO* pdo) {
  const Lock lock(*sendMutex);
  return sendWithMutexHeld(pdo);
}

int KQPDOHandler::sendWithMutexHeld(KQPDO* pdo) {
  if (!isOperational() || pdo == nullptr || PDOInternals::isRetired(*pdo) || instance == nullptr ||
      instance->getEndPoint() == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const unsigned int now = KQTick::getTickCount();
  if (PDOInternals::isCounting(*pdo) || pdo->isInhibited(now)) {
    return KQ_DEFERRED;
  }
  return transmit(*pdo, now);
}

inline int KQPDOHandler::transmit(KQPDO& pdo, unsigned int now) {
  int result = KQ_NOT_AVAILABLE;
  if (pdo.fillMessage(&outgoingMessage) == KQ_OK) {
    result = sendCANMessage();
  }
  clearFrame(outgoingMessage);  // before the counter is written, which may send other TPDOs
  if (result == KQ_OK) {
    PDOInternals::setTimeStamp(pdo, now);
    if (pdo.getAction() == PDO_ACTION_COUNT_TRANSMISSIONS) {
      countTransmission(pdo);
    }
  }
  return result;
}

void KQPDOHandler::countTransmission(KQPDO& pdo) {
  const unsigned int key = pdo.getActionKey();
  if (objectDictionary == nullptr || !objectDictionary->subObjectExists(indexOf(key), subIndexOf(key))) {
    return;
  }
  int count = 0;
  objectDictionary->getValue(indexOf(key), subIndexOf(key), count);
  const unsigned int outerCounter = std::exchange(counterBeingWritten, key);
  countingCall += outerCounter == 0 ? 1 : 0;
  PDOInternals::setCountingCall(pdo, countingCall);
  PDOInternals::setCounting(pdo, true);
  objectDictionary->setValue(indexOf(key), subIndexOf(key), count == HIGHEST_COUNT ? 1 : count + 1, false);
  PDOInternals::setCounting(pdo, false);
  counterBeingWritten = outerCounter;
}

// ---- on change

int KQPDOHandler::handleVariableChange(unsigned int key, int /*value*/) {
  if (!isOperational()) {
    return KQ_NOT_AVAILABLE;
  }
  const KQPublishedPDOs::Walk pdos = PDOInternals::walkOver(*this);
  int result = KQ_NOT_FOUND;
  for (const PDOTable::MappedVariable& mapped : pdos->findMappings(key)) {
    const int triggered = triggerTransmission(*mapped.pdo, key);
    if (triggered != KQ_NOT_FOUND) {
      result = triggered;
    }
  }
  return result;
}

int KQPDOHandler::triggerTransmission(KQPDO& pdo, unsigned int key) {
  const KQCANopenPDOTransmissionMode mode = pdo.getTransmissionType();
  if (isEventDriven(mode)) {
    sendChangedPDO(pdo, key);
    return KQ_OK;
  }
  if (mode == PDO_TRANSMISSION_SYNC_ACYCLIC || mode == PDO_TRANSMISSION_SYNC_CYCLIC_FIRST) {
    return syncHandler != nullptr ? queueForSync(pdo, key) : KQ_NOT_AVAILABLE;
  }
  return KQ_NOT_FOUND;
}

int KQPDOHandler::queueForSync(KQPDO& pdo, unsigned int key) {
  const int result = syncHandler->addTxPDO(&pdo);
  if (!PDOInternals::isRetired(pdo)) {
    return result;
  }
  // Replaced while this thread was on its way to it: the change is its successor's.
  const KQPublishedPDOs::Walk now = PDOInternals::walkOver(*this);
  for (const PDOTable::MappedVariable& mapped : now->findMappings(key)) {
    const bool isSuccessor = mapped.pdo->getCommunicationIndex() == pdo.getCommunicationIndex();
    if (isSuccessor && mapped.pdo->getTransmissionType() <= PDO_TRANSMISSION_SYNC_CYCLIC_FIRST) {
      syncHandler->addTxPDO(mapped.pdo);
    }
  }
  return result;
}

void KQPDOHandler::sendChangedPDO(KQPDO& pdo, unsigned int key) {
  int result = KQ_OK;
  {
    const Lock lock(*sendMutex);
    const bool hasCounted = counterBeingWritten != 0 && PDOInternals::countingCallOf(pdo) == countingCall;
    if (!hasCounted) {
      result = sendWithMutexHeld(&pdo);
    } else if (key != counterBeingWritten || pdo.hasInhibitTime()) {
      result = KQ_DEFERRED;
    }
    // Else it has been counted in this call, and is set off by its own counter or one that it has set off itself: it
    // would never come to rest, nor would several that share a counter. With an inhibit time it goes on at that pace.
  }
  if (result == KQ_DEFERRED) {
    makePending(pdo);
  }
}

void KQPDOHandler::makePending(KQPDO& pdo) {
  if (pendingPDOs.insert(&pdo) && instance != nullptr) {
    NodeInternals::reportQueuedWork(*instance);  // the cycle may be asleep, on another thread
  }
}

// ---- the send pass

unsigned int KQPDOHandler::getTimeToNextWork(unsigned int now, int state) const {
  unsigned int time = KQCANopenStateMachine::NO_WORK;
  if (isRxDeadlineKnown) {
    time = isReceptionOverdue(now) ? 0 : earliestRxDeadline - now + 1;
  }
  if (state != CANOPEN_STATE_OPERATIONAL) {
    return time;
  }
  if (isTransmissionDue(now, time)) {
    return 0;
  }
  return pendingPDOs.empty() ? time : std::min(time, timeToPendingPDO(now));
}

// A transmission that the port refused is tried again at the pace of the status word.
unsigned int KQPDOHandler::timeToPendingPDO(unsigned int now) const {
  unsigned int time = KQCANopenStateMachine::NO_WORK;
  const unsigned int sinceFailure = now - failedTick;
  const unsigned int retryTime = hasFailedTransmission && sinceFailure < RETRY_TIME ? RETRY_TIME - sinceFailure : 0;
  pendingPDOs.forEach([now, retryTime, &time](const KQPDO& pdo) {
    time = std::min(time, std::max(pdo.getInhibitRest(now), retryTime));
  });
  return time;
}

int KQPDOHandler::sendPDOs(unsigned int deadline, unsigned int* waitHint) {
  if (!isOperational()) {
    return KQ_NOT_AVAILABLE;
  }
  const int pendingResult = sendPendingPDOs(deadline);
  const int timedResult = sendTimedPDOs(deadline, waitHint);
  return pendingResult != KQ_OK ? pendingResult : timedResult;
}

int KQPDOHandler::sendPendingPDOs(unsigned int deadline) {
  if (pendingPDOs.empty()) {
    return KQ_OK;
  }
  hasFailedTransmission = false;
  const KQPublishedPDOs::Walk held = PDOInternals::walkOver(*this);
  const PDOWalk walk(pendingPDOs, walkMemory);
  for (KQPDO* const pdo : walk) {
    // It leaves the set before it is sent: what changes from now on makes it pending anew.
    if (!pendingPDOs.erase(pdo)) {
      continue;
    }
    const bool isSent = sendPDODirectly(pdo) == KQ_OK;
    const unsigned int now = KQTick::getTickCount();
    if (!isSent) {
      pendingPDOs.insert(pdo);
      noteFailure(*pdo, now);
    }
    if (now >= deadline) {
      return KQ_DEFERRED;
    }
  }
  return KQ_OK;
}

void KQPDOHandler::noteFailure(const KQPDO& pdo, unsigned int now) {
  if (!pdo.isInhibited(now)) {
    hasFailedTransmission = true;
    failedTick = now;
  }
}

int KQPDOHandler::sendTimedPDOs(unsigned int deadline, unsigned int* waitHint) {
  unsigned int unwanted = ~0U;
  if (!eventTimers.empty()) {
    bringEventTimersUpToDate(KQTick::getTickCount());
  }
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

// What was due long ago is due now: further behind than half of the range of ticks, it would seem to lie ahead, and
// stand behind what is due later. That takes weeks outside of OPERATIONAL.
void KQPDOHandler::bringEventTimersUpToDate(unsigned int now) {
  constexpr unsigned int LONG_AGO = 0x40000000U;
  const bool isLongAgo = now - eventTimersTick > LONG_AGO;
  eventTimersTick = now;
  if (!isLongAgo) {
    return;
  }
  decltype(eventTimers) upToDate;
  for (const auto& [due, pdo] : eventTimers) {
    const unsigned int remaining = due - now;
    const bool isAhead = remaining != 0 && remaining <= pdo->getEventTimer();
    upToDate.emplace(isAhead ? due : now, pdo);
  }
  eventTimers.swap(upToDate);
}

void KQPDOHandler::sendTimedPDO(unsigned int now) {
  const KQPublishedPDOs::Walk held = PDOInternals::walkOver(*this);
  // The entry keeps its memory and moves on before the transmission, which may replace the PDO and take the entry out.
  auto entry = eventTimers.extract(eventTimers.begin());
  KQPDO* const pdo = entry.mapped();
  entry.key() = now + pdo->getEventTimer();
  eventTimers.insert(std::move(entry));
  if (sendPDODirectly(pdo) == KQ_DEFERRED) {
    pendingPDOs.insert(pdo);
  }
}

}  // namespace KQ
