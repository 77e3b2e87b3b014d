#include "KernelNode.h"

#include <algorithm>
#include <stdexcept>

#include "KQCANPortRegistry.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQTick.h"
#include "KQVariable.h"
#include "KQVariableEventDispatcher.h"
#include "KernelBus.h"

namespace test {

namespace {

constexpr unsigned int PORT = 0;
constexpr unsigned short FIRST_VARIABLE = 0x2000;
constexpr int VALUE_BITS = 32;

void require(int result, const char* what) {
  if (result != KQ::KQ_OK) {
    throw std::runtime_error(std::string(what) + ": " + KQ::kqGetErrorString(result));
  }
}

unsigned short indexOf(unsigned int variable) {
  return static_cast<unsigned short>(FIRST_VARIABLE + variable);
}

}  // namespace

KernelNode::KernelNode(const std::string& interface, unsigned char nodeID, int heartbeatMs) : node("node") {
  KQ::KQDEI::instance()->clear();
  KQ::KQVariableEventDispatcher::instance()->clear();
  require(KQ::KQCANPortRegistry::instance()->bindPort(PORT, "socketcan:" + interface), "bindPort");
  if (node.create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr) != KQ::KQ_OK) {
    throw std::runtime_error(node.getPortError());
  }
  require(node.subscribeToEndpointManager(&endPoints), "subscribeToEndpointManager");
  node.setNodeID(nodeID);
  node.setOption(KQ::KQCANopen::OPTION_ALLOW_STATE_CHANGE, true);
  node.setHeartbeatProducerTime(heartbeatMs);
  require(node.init(), "init");
}

KernelNode::~KernelNode() {
  KQ::KQCANPortRegistry::instance()->unbindPort(PORT);
}

void KernelNode::addVariables(unsigned int number) {
  for (unsigned int i = 0; i < number; ++i) {
    KQ::KQVariable variable(indexOf(i), 0, "Variable " + std::to_string(i), KQ::STORAGE_TYPE_INTEGER, VALUE_BITS,
                            false);
    require(KQ::KQDEI::instance()->addVariable(&variable), "addVariable");
  }
  node.getApplicationVariables();
}

void KernelNode::addTransmitPDO(unsigned short number, unsigned int cobID, unsigned char transmissionType,
                                unsigned short variable) {
  addPDO(KQ::PDO_TYPE_TRANSMIT, number, cobID, transmissionType, variable);
}

void KernelNode::addReceivePDO(unsigned short number, unsigned int cobID, unsigned short variable) {
  constexpr unsigned char EVENT_DRIVEN = 255;
  addPDO(KQ::PDO_TYPE_RECEIVE, number, cobID, EVENT_DRIVEN, variable);
}

void KernelNode::addPDO(KQ::KQCANopenPDOType type, unsigned short number, unsigned int cobID,
                        unsigned char transmissionType, unsigned short variable) {
  require(node.addPDO(type, number, cobID, 0, 0, transmissionType, true, nullptr), "addPDO");
  require(node.addPDOMapping(number, type, indexOf(variable), 0, VALUE_BITS), "addPDOMapping");
}

void KernelNode::write(unsigned short variable, unsigned int value) {
  require(KQ::KQDEI::instance()->setVariableValue(indexOf(variable), 0, static_cast<int>(value), true, false), "write");
}

unsigned int KernelNode::read(unsigned short variable) const {
  int value = 0;
  require(KQ::KQDEI::instance()->getVariableValue(indexOf(variable), 0, &value), "read");
  return static_cast<unsigned int>(value);
}

void KernelNode::cycle(int longestMs) {
  constexpr unsigned int BUDGET_MS = 50;
  node.process(KQ::KQTick::getTickCount() + BUDGET_MS);
  endPoints.wait(static_cast<int>(std::min(node.getTimeToNextWork(), static_cast<unsigned int>(longestMs))));
}

void KernelNode::run(int milliseconds) {
  const std::int64_t end = monotonicTime() + milliseconds * MILLISECOND;
  while (monotonicTime() < end) {
    cycle(1);
  }
}

void KernelNode::start() {
  cycle(1);
  require(node.setCANopenState(KQ::CANOPEN_STATE_OPERATIONAL), "setCANopenState");
}

}  // namespace test
