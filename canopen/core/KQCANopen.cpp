#include "KQCANopen.h"

#include <utility>

#include "COBID.h"
#include "KQCANopenInstanceManager.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenSignal.h"
#include "KQCANopenStateMachine.h"
#include "KQDebug.h"
#include "KQEmergencyHandler.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQPDOHandler.h"
#include "KQSDOHandler.h"
#include "KQSignal.h"
#include "KQSyncHandler.h"
#include "KQTick.h"
#include "KQVariable.h"
#include "ObjectIndexes.h"

namespace KQ {

namespace {

// The runtime's number for the CANopen protocol.
constexpr int PROTOCOL_TYPE_CANOPEN = 3;
// Added to the tick of the notification, which is what receiveCANMessages() is to be given. That adds the tick at its
// own start, so that the tick counts twice and this is no time that draining may take: the port is read as long as it
// has frames. Only where the sum wraps, which is in the upper half of the tick's range, does draining end after one
// frame. Tests pin it: it stays. One reading of the clock serves for both.
constexpr unsigned int RECEIVE_BUDGET = 10;

}  // namespace

const int KQCANopen::debugSection = KQDebug::insertNewDebugSection("kq_can_open");

KQCANopen::KQCANopen(const std::string& name) : KQCANProtocol(name, PROTOCOL_TYPE_CANOPEN) {
  for (std::size_t i = 0; i < dataTypeSlots.size(); ++i) {
    dataTypeSlots[i].index = static_cast<unsigned short>(DATA_TYPE_MANUFACTURER_FIRST + i);
  }
}

KQCANopen::~KQCANopen() {
  if (registered) {
    KQCANopenInstanceManager::instance()->removeCANopenInstance(this);
  }
  deleteParts();
  deleteVariables();
}

void KQCANopen::deleteVariables() {
  for (const auto& item : applicationVariables) {
    delete item.second;
  }
  applicationVariables.clear();
}

// Kept while calls are under way that may return into it.
template <typename Part>
void KQCANopen::deletePart(Part*& part) {
  const std::shared_ptr<const void> former(std::exchange(part, nullptr));
  if (uses > 0) {
    formerParts.push_back(former);
  }
}

// Apart, so that it does not weigh on every cycle.
[[gnu::noinline]] void KQCANopen::deleteFormerParts() {
  formerParts.clear();
}

void KQCANopen::forgetConfiguration() {
  pdoListeners.clear();
  pdoEventActions.clear();
  sdoChannelNames.clear();
}

void KQCANopen::deleteStateMachine() {
  if (stateMachine != nullptr) {
    stateMachine->retire();
  }
  deletePart(stateMachine);
}

void KQCANopen::deleteParts() {
  // A variable that changes from here on finds no handler: signalOccurred() sees the null pointers.
  deleteStateMachine();
  deletePart(objectDictionary);
  deletePart(syncHandler);
  deletePart(sdoHandler);
  deletePart(pdoHandler);
  deletePart(nmtHandler);
  deletePart(emergencyHandler);
}

int KQCANopen::init() {
  if (getContext() == nullptr) {
    return KQ_MISSING_OBJECT;
  }
  deleteParts();
  deleteVariables();
  if (initialised) {
    forgetConfiguration();
  }

  objectDictionary = new KQCANopenObjectDictionary;
  objectDictionary->setCANopenInstance(this);
  objectDictionary->createPreDefinedConnectionSet();
  objectDictionary->setValue(object::PRODUCER_HEARTBEAT_TIME, 0, heartbeatProducerTime, true);
  objectDictionary->setDEI(getContext()->dei);
  for (const ManufacturerSpecificDataTypeDefinition& slot : dataTypeSlots) {
    if (slot.bitCount != ManufacturerSpecificDataTypeDefinition::FREE) {
      addDataTypeEntry(slot);
    }
  }

  sdoHandler = new KQSDOHandler;
  sdoHandler->setCANopenInstance(this);
  pdoHandler = new KQPDOHandler(this);
  nmtHandler = new KQNMTHandler;
  nmtHandler->setCANopenInstance(this);
  nmtHandler->setIgnoreBroadcastCommands(options[OPTION_IGNORE_BROADCAST_COMMANDS]);
  syncHandler = new KQSyncHandler(this);
  emergencyHandler = new KQEmergencyHandler;
  emergencyHandler->setCANopenInstance(this);
  pdoHandler->setEmergency(emergencyHandler);

  // A wiring that failed shows in the first cycle, which fails in INIT and says so.
  createStateMachine();
  nmtHandler->setNodeID(nodeID);
  initialised = true;
  return KQ_OK;
}

int KQCANopen::createStateMachine() {
  deleteStateMachine();
  stateMachine = new KQCANopenStateMachine(this);
  stateMachine->setDEI(getContext() != nullptr ? getContext()->dei : nullptr);
  stateMachine->setMessageHandlers(sdoHandler, pdoHandler, syncHandler, nmtHandler, emergencyHandler);
  stateMachine->setObjectDictionary(objectDictionary);
  return stateMachine->initHandlers();
}

int KQCANopen::process(unsigned int deadline) {
  return stateMachine != nullptr ? stateMachine->run(deadline) : KQ_NOT_AVAILABLE;
}

int KQCANopen::runProtocol(unsigned int deadline) {
  if (stateMachine == nullptr) {
    return KQ_OK;
  }
  return stateMachine->run(deadline) == KQ_OK ? KQ_OK : KQ_DONE;
}

void KQCANopen::onEndPointReadable(KQEndPoint* readable, KQEndPointManager* /*manager*/) {
  if (stateMachine == nullptr || readable == nullptr || readable != getEndPoint()) {
    return;
  }
  const unsigned int now = KQTick::getTickCount();
  stateMachine->drainPort(now + (now + RECEIVE_BUDGET));
}

void KQCANopen::onEndPointReconnected(KQEndPoint* /*endPoint*/) {}

int KQCANopen::enableMessage(unsigned int index, bool enable) {
  if (objectDictionary == nullptr) {
    return KQ_DONE;
  }
  const auto communicationIndex = static_cast<unsigned short>(index);
  int cobID = 0;
  const int result = objectDictionary->getValue(communicationIndex, object::PDO_COB_ID, cobID);
  if (result != KQ_OK) {
    return result;
  }
  const unsigned int bits = static_cast<unsigned int>(cobID);
  const unsigned int changed = enable ? bits & ~cobid::INVALID : bits | cobid::INVALID;
  return objectDictionary->setValue(communicationIndex, object::PDO_COB_ID, static_cast<int>(changed), false);
}

int KQCANopen::signalOccurred(KQSignal& signal) {
  if (objectDictionary == nullptr || pdoHandler == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  if (signal.getCode() != KQ_SIGNAL_VARIABLE_CHANGED && signal.getCode() != KQ_SIGNAL_VARIABLE_CHANGED_TEXT) {
    return KQ_NOT_HANDLED;
  }
  return pdoHandler->handleVariableChange(signal.getFirstValue(), static_cast<int>(signal.getSecondValue()));
}

int KQCANopen::setOption(int option, bool value) {
  if (option < 0 || option >= OPTION_COUNT) {
    return KQ_INVALID_ARGUMENT;
  }
  options[static_cast<std::size_t>(option)] = value;
  if (option == OPTION_IGNORE_BROADCAST_COMMANDS && nmtHandler != nullptr) {
    nmtHandler->setIgnoreBroadcastCommands(value);
  }
  return KQ_OK;
}

bool KQCANopen::getOption(int option) const {
  return option >= 0 && option < OPTION_COUNT && options[static_cast<std::size_t>(option)];
}

int KQCANopen::setCANopenState(int state) {
  if (!options[OPTION_ALLOW_STATE_CHANGE]) {
    return KQ_NOT_PERMITTED;
  }
  if (stateMachine == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  stateMachine->setState(state);
  return KQ_OK;
}

int KQCANopen::getCANopenState() const {
  return stateMachine != nullptr ? stateMachine->getState() : static_cast<int>(CANOPEN_STATE_FATAL_ERROR);
}

unsigned int KQCANopen::getTimeToNextWork(unsigned int now) const {
  return stateMachine != nullptr ? stateMachine->getTimeToNextWork(now) : KQCANopenStateMachine::NO_WORK;
}

unsigned int KQCANopen::getTimeToNextWork() const {
  return getTimeToNextWork(KQTick::getTickCount());
}

void KQCANopen::renewReceptionFilter() {
  if (stateMachine != nullptr) {
    stateMachine->renewReceptionFilter();
  }
}

void KQCANopen::reportQueuedWork() {
  if (workListener != nullptr) {
    KQSignal signal(STACK_SIGNAL_TYPE, SIGNAL_WORK_QUEUED);
    workListener->signalOccurred(signal);
  }
}

void KQCANopen::setPaused(bool paused) {
  if (stateMachine != nullptr) {
    stateMachine->pauseMachine(paused);
  }
}

bool KQCANopen::isPaused() const {
  return stateMachine == nullptr || stateMachine->isPaused();
}

int KQCANopen::updateRequest(unsigned int variableID, int value) {
  return sdoHandler != nullptr ? sdoHandler->handleUpdateRequest(variableID, value) : KQ_NOT_AVAILABLE;
}

int KQCANopen::updateRequest(unsigned int variableID, const std::string& value) {
  return sdoHandler != nullptr ? sdoHandler->handleUpdateRequest(variableID, value) : KQ_NOT_AVAILABLE;
}

int KQCANopen::getValueRequest(unsigned int variableID) {
  return sdoHandler != nullptr ? sdoHandler->handleGetValueRequest(variableID) : KQ_NOT_AVAILABLE;
}

int KQCANopen::resetValue(unsigned int key) {
  return objectDictionary != nullptr ? objectDictionary->resetValue(key) : KQ_OK;
}

}  // namespace KQ
