#include "KQCANProtocol.h"

#include "BoardPorts.h"
#include "KQErrorCodes.h"
#include "KQVariableEventDispatcher.h"

namespace KQ {

namespace {

unsigned int variableIDOf(unsigned short group, unsigned short id) {
  return static_cast<unsigned int>(group) << 16 | id;
}

}  // namespace

KQEndPointListener::~KQEndPointListener() {}

KQProtocolControl::~KQProtocolControl() {}

KQCANProtocol::KQCANProtocol(const std::string& name, int /*protocolType*/) : KQVariableOwner(name), status(0) {}

KQCANProtocol::~KQCANProtocol() {
  KQVariableEventDispatcher::instance()->withdraw(this);
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

int KQCANProtocol::runProtocol(unsigned int) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::enableMessage(unsigned int, bool) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::create(KQDEI* dei, KQVariableEventDispatcher* dispatcher, unsigned int portNumber,
                          KQCANProtocolStateMachine* stateMachine) {
  context.reset(new KQCANProtocolContext{dei, dispatcher, portNumber, stateMachine});
  return createCANPort();
}

int KQCANProtocol::init() {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::release() {
  endPoint.reset();
  return KQ_OK;
}

int KQCANProtocol::reset() {
  release();
  return createCANPort();
}

int KQCANProtocol::process(unsigned int) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::createCANPort() {
  endPoint = board::openPort(context->portNumber);
  return endPoint ? KQ_OK : KQ_NOT_AVAILABLE;
}

int KQCANProtocol::addVariable(KQVariable*) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::updateRequest(unsigned int, int) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::updateRequest(unsigned int, const std::string&) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::getValueRequest(unsigned int) {
  return KQ_NOT_HANDLED;
}

void KQCANProtocol::onEndPointReadable(KQEndPoint*, KQEndPointManager*) {}

void KQCANProtocol::onEndPointReconnected(KQEndPoint*) {}

void KQCANProtocol::onEndPointDisconnected(KQEndPoint*) {}

int KQCANProtocol::subscribeToEndpointManager(KQEndPointManager*) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::handleNewVariable(KQVariable*) {
  return KQ_NOT_HANDLED;
}

int KQCANProtocol::signalOccurred(KQSignal&) {
  return KQ_NOT_HANDLED;
}

const KQCANProtocolContext* KQCANProtocol::getContext() const {
  return context.get();
}

KQEndPoint* KQCANProtocol::getEndPoint() const {
  return endPoint.get();
}

int KQCANProtocol::getProtocolStatus() const {
  return status;
}

void KQCANProtocol::setProtocolStatus(int milliseconds) {
  status = milliseconds;
}

}  // namespace KQ
