#include "KQCANProtocol.h"

#include "KQCANPortRegistry.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQVariableEventDispatcher.h"

namespace KQ {

namespace {

unsigned int variableIDOf(unsigned short group, unsigned short id) {
  return static_cast<unsigned int>(group) << 16 | id;
}

}  // namespace

KQCANProtocol::KQCANProtocol(const std::string& name, int type) : KQVariableOwner(name), protocolType(type) {}

KQCANProtocol::~KQCANProtocol() {
  KQVariableEventDispatcher::instance()->removeListener(this);
  KQCANProtocol::release();
}

int KQCANProtocol::updateRequest(unsigned short group, unsigned short id, int value) {
  return updateRequest(variableIDOf(group, id), value);
}

int KQCANProtocol::updateRequest(unsigned short group, unsigned short id, const std::string& value) {
  return updateRequest(variableIDOf(group, id), value);
}

int KQCANProtocol::getValueRequest(unsigned short group, unsigned short id) {
  return getValueRequest(variableIDOf(group, id));
}

int KQCANProtocol::startProtocol() {
  return KQ_DONE;
}

int KQCANProtocol::stopProtocol() {
  return KQ_DONE;
}

int KQCANProtocol::resetProtocol() {
  return KQ_DONE;
}

int KQCANProtocol::runProtocol(unsigned int deadline) {
  return process(deadline) == KQ_OK ? KQ_OK : KQ_DONE;
}

int KQCANProtocol::enableMessage(unsigned int /*index*/, bool /*enable*/) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::create(KQDEI* dei, KQVariableEventDispatcher* dispatcher, unsigned int portNumber,
                          KQCANProtocolStateMachine* stateMachine) {
  if (dei == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  context = std::make_unique<KQCANProtocolContext>(KQCANProtocolContext{dei, dispatcher, portNumber, stateMachine});
  return createCANPort();
}

int KQCANProtocol::init() {
  return context ? KQ_OK : KQ_MISSING_OBJECT;
}

int KQCANProtocol::release() {
  closePort();
  endPointManager = nullptr;
  return KQ_OK;
}

void KQCANProtocol::closePort() {
  if (endPointManager != nullptr && endPoint) {
    endPointManager->removeEndPoint(endPoint.get());
  }
  endPoint.reset();
}

int KQCANProtocol::reset() {
  return createCANPort();
}

int KQCANProtocol::process(unsigned int /*deadline*/) {
  return KQ_OK;
}

int KQCANProtocol::createCANPort() {
  if (!context) {
    return KQ_MISSING_OBJECT;
  }
  closePort();
  portError.clear();
  endPoint = KQCANPortRegistry::instance()->openPort(context->portNumber, portError);
  if (!endPoint) {
    return KQ_NOT_AVAILABLE;
  }
  return endPointManager != nullptr ? endPointManager->addEndPoint(endPoint.get(), this) : KQ_OK;
}

int KQCANProtocol::addVariable(KQVariable* /*variable*/) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::updateRequest(unsigned int /*variableID*/, int /*value*/) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::updateRequest(unsigned int /*variableID*/, const std::string& /*value*/) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::getValueRequest(unsigned int /*variableID*/) {
  return KQ_NOT_HANDLED;
}

void KQCANProtocol::onEndPointReadable(KQEndPoint* /*endPoint*/, KQEndPointManager* /*manager*/) {}

void KQCANProtocol::onEndPointReconnected(KQEndPoint* /*endPoint*/) {}

void KQCANProtocol::onEndPointDisconnected(KQEndPoint* /*endPoint*/) {}

int KQCANProtocol::subscribeToEndpointManager(KQEndPointManager* manager) {
  if (manager == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  if (!endPoint) {
    return KQ_NOT_AVAILABLE;
  }
  const int result = manager->addEndPoint(endPoint.get(), this);
  if (result == KQ_OK) {
    endPointManager = manager;
  }
  return result;
}

int KQCANProtocol::handleNewVariable(KQVariable* /*variable*/) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::signalOccurred(KQSignal& /*signal*/) {
  return KQ_NOT_HANDLED;
}

}  // namespace KQ
