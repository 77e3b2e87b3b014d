#include "KQCANopenStateMachine.h"

#include <algorithm>
#include <mutex>

#include "ClearFrame.h"
#include "DiagnosticLine.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenSignal.h"
#include "KQEmergencyHandler.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQNMTHandler.h"
#include "KQPDOHandler.h"
#include "KQSDOHandler.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQSyncHandler.h"
#include "KQTick.h"
#include "NodeInternals.h"
#include "PDOInternals.h"
#include "RuntimeExtensions.h"

namespace KQ {

namespace {

// Milliseconds that the runtime may wait when no handler knows of anything earlier.
constexpr int INITIAL_SEND_STATUS = 5;
// Milliseconds that a send pass may take.
constexpr unsigned int SEND_BUDGET = 50;

// The handlers in the order in which they are asked.
enum HandlerBit : KQFrameDispatch::HandlerSet {
  NMT_HANDLER = 0x01,
  SYNC_HANDLER = 0x02,
  PDO_HANDLER = 0x04,
  SDO_HANDLER = 0x08,
  EMERGENCY_HANDLER = 0x10
};

// Whether it is one of the states in which a node stays.
bool isCommunicating(int state) {
  return state == CANOPEN_STATE_PRE_OPERATIONAL || state == CANOPEN_STATE_OPERATIONAL || state == CANOPEN_STATE_STOPPED;
}

}  // namespace

KQCANopenStateMachine::KQCANopenStateMachine(KQCANopen* canopen) : instance(canopen), sendStatus(INITIAL_SEND_STATUS) {}

KQCANopenStateMachine::KQCANopenStateMachine(const KQCANopenStateMachine& other)
    : KQCANopenStateMachine(other.instance) {}

// Assigned to itself, too, it starts anew.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
KQCANopenStateMachine& KQCANopenStateMachine::operator=(const KQCANopenStateMachine& other) {
  instance = other.instance;
  setMessageHandlers(nullptr, nullptr, nullptr, nullptr, nullptr);
  objectDictionary = nullptr;
  dei = nullptr;
  stateListener = nullptr;
  sendStatus = INITIAL_SEND_STATUS;
  state = CANOPEN_STATE_INIT;
  resetKind = CANOPEN_STATE_RESET_APPLICATION;
  paused = false;
  return *this;
}

void KQCANopenStateMachine::setMessageHandlers(KQSDOHandler* sdo, KQPDOHandler* pdo, KQSyncHandler* sync,
                                               KQNMTHandler* nmt, KQEmergencyHandler* emergency) {
  sdoHandler = sdo;
  pdoHandler = pdo;
  syncHandler = sync;
  nmtHandler = nmt;
  emergencyHandler = emergency;
  canReceive = sdo != nullptr && pdo != nullptr && sync != nullptr && nmt != nullptr;
  dispatch.setHandlers({nmt, sync, pdo, sdo, emergency});
}

bool KQCANopenStateMachine::isComplete() const {
  return nmtHandler != nullptr && sdoHandler != nullptr && pdoHandler != nullptr && syncHandler != nullptr &&
         objectDictionary != nullptr && emergencyHandler != nullptr;
}

int KQCANopenStateMachine::initHandlers() {
  if (!isComplete()) {
    return KQ_NOT_AVAILABLE;
  }
  nmtHandler->setStateMachine(this);
  nmtHandler->setObjectDictionary(objectDictionary);
  nmtHandler->setHeartbeatProducerTime(objectDictionary);
  nmtHandler->updateHeartbeatConsumerSettings();

  sdoHandler->setObjectDictionary(objectDictionary);
  sdoHandler->setStateMachine(this);
  sdoHandler->init();

  // The SYNC handler forgets its PDOs before the PDO handler deletes them and hands it the new ones.
  syncHandler->reset();
  pdoHandler->setObjectDictionary(objectDictionary);
  pdoHandler->setStateMachine(this);
  pdoHandler->setSyncHandler(syncHandler);
  pdoHandler->init();

  syncHandler->setObjectDictionary(objectDictionary);
  syncHandler->setStateMachine(this);
  syncHandler->setPDOHandler(pdoHandler);
  syncHandler->init();

  objectDictionary->setSDOHandler(sdoHandler);
  objectDictionary->setNMTHandler(nmtHandler);
  objectDictionary->setPDOHandler(pdoHandler);

  emergencyHandler->setObjectDictionary(objectDictionary);
  emergencyHandler->init();
  return KQ_OK;
}

int KQCANopenStateMachine::handleInitState(unsigned int /*deadline*/) {
  return initHandlers();
}

void KQCANopenStateMachine::storeState(int newState) {
  if (pdoHandler == nullptr) {
    state = newState;
    return;
  }
  // Application threads send PDOs with this mutex held, and only while the node is OPERATIONAL.
  const std::lock_guard<KQMutex> lock(PDOInternals::sendMutexOf(*pdoHandler));
  state = newState;
}

void KQCANopenStateMachine::setState(int newState) {
  const NodeInternals::Use use(instance);  // the listener may build the node anew
  storeState(newState);
  if (stateListener != nullptr) {
    KQSignal signal(STACK_SIGNAL_TYPE, SIGNAL_STATE_CHANGED, instance != nullptr ? instance->getNodeID() : 0U,
                    static_cast<unsigned int>(newState));
    stateListener->signalOccurred(signal);
  }
  printLine("CANOPEN: State set to 0x" + hexadecimal(static_cast<unsigned int>(newState)));
  countInTens();  // the application finds the stream so afterwards
}

inline void KQCANopenStateMachine::keepReceptionFilter() {
  dispatch.refresh();
  KQEndPoint* const endPoint = instance != nullptr ? instance->getEndPoint() : nullptr;
  if (endPoint == nullptr) {
    return;
  }
  if (filterRevision != dispatch.getRevision() || extension::lacksReceptionFilter(*endPoint, dispatch, 0)) {
    filterRevision = dispatch.getRevision();
    extension::setReceptionFilter(*endPoint, dispatch, 0);
  }
}

int KQCANopenStateMachine::run(unsigned int deadline) {
  if (paused) {
    return KQ_OK;
  }
  const int current = getState();
  const unsigned int now = KQTick::getTickCount();
  return isCommunicating(current) ? sendDue(now, now + SEND_BUDGET) : runPassingState(current, deadline);
}

// Apart from the states in which a node stays: few cycles are here.
[[gnu::noinline]] int KQCANopenStateMachine::runPassingState(int current, unsigned int deadline) {
  const NodeInternals::Use use(instance);
  switch (current) {
    case CANOPEN_STATE_INIT:
      return runInitState(deadline);
    case CANOPEN_STATE_RESET_APPLICATION:
    case CANOPEN_STATE_RESET_COMMUNICATION:
      resetKind = current;
      setState(CANOPEN_STATE_INIT);
      return KQ_OK;
    case CANOPEN_STATE_FATAL_ERROR:
      recoverFromFatalError();
      return KQ_OK;
    default:
      printLine("KQCANopenStateMachine: UNKNOWN STATE!!!!!");
      return KQ_OK;
  }
}

int KQCANopenStateMachine::runInitState(unsigned int deadline) {
  const int result = handleInitState(deadline);
  if (result != KQ_OK) {
    printLine("KQCANopenStateMachine: INIT FAILED!");
    setState(CANOPEN_STATE_FATAL_ERROR);
    return result;
  }
  keepReceptionFilter();  // who hears the boot-up message may answer at once
  if (nmtHandler != nullptr) {
    nmtHandler->sendHeartbeatMessage(CANOPEN_STATE_INIT);
  } else {
    printLine("KQCANopenStateMachine: INIT MNT ERROR!");
  }
  setState(CANOPEN_STATE_PRE_OPERATIONAL);
  return KQ_OK;
}

void KQCANopenStateMachine::recoverFromFatalError() {
  printLine("KQCANopenStateMachine: CANOPEN_STATE_FATAL_ERROR!");
  printLine("Trying to do a reset...!");
  setState(CANOPEN_STATE_RESET_COMMUNICATION);
}

inline int KQCANopenStateMachine::offerMessage() {
  const KQFrameDispatch::HandlerSet servers = dispatch.handlersOf(receivedMessage.identifier);
  int result = KQ_NOT_HANDLED;
  if ((servers & NMT_HANDLER) != 0) {
    result = nmtHandler->handleMessage(&receivedMessage);
  }
  if (result == KQ_NOT_HANDLED && (servers & SYNC_HANDLER) != 0) {
    result = syncHandler->handleMessage(&receivedMessage);
  }
  if (result == KQ_NOT_HANDLED && (servers & PDO_HANDLER) != 0) {
    result = pdoHandler->handleMessage(&receivedMessage);
  }
  // In STOPPED it takes every frame: this shows in the result.
  if (result == KQ_NOT_HANDLED && ((servers & SDO_HANDLER) != 0 || getState() == CANOPEN_STATE_STOPPED)) {
    result = sdoHandler->handleMessage(&receivedMessage);
  }
  if (result == KQ_NOT_HANDLED && (servers & EMERGENCY_HANDLER) != 0) {
    result = emergencyHandler->handleMessage(&receivedMessage);
  }
  return result;
}

void KQCANopenStateMachine::renewReceptionFilter() {
  keepReceptionFilter();
}

int KQCANopenStateMachine::receiveCANMessages(unsigned int budget) {
  return paused ? KQ_OK : drainPort(KQTick::getTickCount() + budget);
}

int KQCANopenStateMachine::drainPort(unsigned int end) {
  if (paused) {
    return KQ_OK;
  }
  const NodeInternals::Use use(instance);
  if (!canReceive || instance == nullptr || instance->getEndPoint() == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  for (;;) {
    // Asked for again for each frame: what a frame sets off may close or reopen the port.
    KQEndPoint* const endPoint = instance->getEndPoint();
    if (endPoint == nullptr || endPoint->readMessage(receivedMessage) != KQ_OK) {
      return KQ_NO_DATA;
    }
    const int result = offerMessage();
    clearFrame(receivedMessage);
    if (retired || end <= KQTick::getTickCount()) {
      return result;
    }
  }
}

int KQCANopenStateMachine::sendCANMessages(unsigned int deadline) {
  return paused ? KQ_OK : sendDue(KQTick::getTickCount(), deadline);
}

// In most cycles nothing is due: that is found out here, with one reading of the clock and a look at each handler.
int KQCANopenStateMachine::sendDue(unsigned int now, unsigned int deadline) {
  keepReceptionFilter();
  if (nmtHandler != nullptr && nmtHandler->isWorkDue(now, getState()) && !serveNMT()) {
    return KQ_OK;
  }
  unsigned int waitHint = INITIAL_SEND_STATUS;
  if (pdoHandler != nullptr && pdoHandler->isWorkDue(now, getState(), waitHint) && !servePDOs(deadline, waitHint)) {
    return KQ_OK;
  }
  if (sdoHandler != nullptr && sdoHandler->hasWork() && !serveSDOs(waitHint)) {
    return KQ_OK;
  }
  sendStatus = static_cast<int>(waitHint);
  if (instance != nullptr) {
    instance->setProtocolStatus(sendStatus);
  }
  return KQ_OK;
}

// Each of these calls listeners, which may build the node anew. Then this machine ends with the call, and no member is
// to be looked at any more.

bool KQCANopenStateMachine::serveNMT() {
  const NodeInternals::Use use(instance);
  nmtHandler->sendHeartbeatMessage(getState());
  nmtHandler->checkHeartbeatTimeouts();
  return !retired;
}

bool KQCANopenStateMachine::servePDOs(unsigned int deadline, unsigned int& waitHint) {
  const NodeInternals::Use use(instance);
  pdoHandler->sendPDOs(deadline, &waitHint);
  pdoHandler->checkRxTimeouts();
  return !retired;
}

bool KQCANopenStateMachine::serveSDOs(unsigned int& waitHint) {
  const NodeInternals::Use use(instance);
  sdoHandler->checkSDOTimeouts(&waitHint);
  sdoHandler->sendQueuedDownloadRequests();
  sdoHandler->sendNextQueuedUploadRequest();
  return !retired;
}

unsigned int KQCANopenStateMachine::getTimeToNextWork(unsigned int now) const {
  if (paused) {
    return NO_WORK;
  }
  const int current = getState();
  if (!isCommunicating(current)) {
    // A state that passes by itself, now; one that is tried again or reported in every cycle, at the usual pace.
    const bool isPassing = current == CANOPEN_STATE_INIT || current == CANOPEN_STATE_RESET_APPLICATION ||
                           current == CANOPEN_STATE_RESET_COMMUNICATION;
    return isPassing ? 0 : INITIAL_SEND_STATUS;
  }
  unsigned int time = NO_WORK;
  if (nmtHandler != nullptr) {
    time = std::min(time, nmtHandler->getTimeToNextWork(now));
  }
  if (pdoHandler != nullptr) {
    time = std::min(time, pdoHandler->getTimeToNextWork(now, current));
  }
  if (sdoHandler != nullptr) {
    time = std::min(time, sdoHandler->getTimeToNextWork(now));
  }
  return time;
}

}  // namespace KQ
