#include "BenchNode.h"

#include <stdexcept>

#include "Frame.h"
#include "KQCANPortRegistry.h"
#include "KQCANopenState.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariable.h"
#include "KQVariableEventDispatcher.h"

namespace bench {

namespace {

constexpr int HEARTBEAT_TIME = 1000;
constexpr unsigned short CONSUMER_TIME = 3000;
constexpr unsigned short EVENT_TIMER = 2000;

constexpr unsigned int COB_ID_NMT = 0x000;
constexpr unsigned int COB_ID_HEARTBEAT = 0x700;
constexpr unsigned int START_REMOTE_NODE = 0x01;
constexpr unsigned int OPERATIONAL = 0x05;

void require(int result, const char* what) {
  if (result != KQ::KQ_OK) {
    throw std::runtime_error(std::string("set-up failed: ") + what);
  }
}

}  // namespace

BenchApplication::BenchApplication(const Configuration& configuration) : KQVariableOwner("application") {
  KQ::KQDEI::instance()->clear();
  KQ::KQVariableEventDispatcher::instance()->clear();
  for (unsigned int pdo = 0; pdo < configuration.pdos; ++pdo) {
    for (unsigned char subIndex = 1; subIndex <= VALUES_PER_PDO; ++subIndex) {
      addVariable(static_cast<unsigned short>(FIRST_RECEIVED_OBJECT + pdo), subIndex, 16);
      addVariable(static_cast<unsigned short>(FIRST_SENT_OBJECT + pdo), subIndex, 16);
    }
  }
  for (unsigned int number = 0; number < configuration.variables; ++number) {
    addVariable(indexOfUnsigned32(number), subIndexOfUnsigned32(number), 32);
  }
  addVariable(SDO_OBJECT, SDO_UNSIGNED16, 16);
  KQ::KQVariable text(SDO_OBJECT, SDO_TEXT, "text", KQ::STORAGE_TYPE_STRING);
  text.setOwner(this);
  require(KQ::KQDEI::instance()->addVariable(&text), "text variable");
}

BenchApplication::~BenchApplication() {
  KQ::KQDEI::instance()->clear();
  KQ::KQVariableEventDispatcher::instance()->clear();
}

void BenchApplication::addVariable(unsigned short index, unsigned char subIndex, int bits) {
  KQ::KQVariable variable(index, subIndex, "value " + std::to_string(subIndex), KQ::STORAGE_TYPE_INTEGER, bits);
  variable.setOwner(this);
  require(KQ::KQDEI::instance()->addVariable(&variable), "variable");
}

int BenchApplication::updateRequest(unsigned short /*group*/, unsigned short /*id*/, int /*value*/) {
  return KQ::KQ_NOT_HANDLED;
}

int BenchApplication::updateRequest(unsigned short /*group*/, unsigned short /*id*/, const std::string& /*value*/) {
  return KQ::KQ_NOT_HANDLED;
}

int BenchApplication::getValueRequest(unsigned short /*group*/, unsigned short /*id*/) {
  return KQ::KQ_NOT_HANDLED;
}

BenchNode::BenchNode(const Configuration& configuration, unsigned int portNumber)
    : port(portNumber), rings(std::make_unique<FrameRings>()) {
  KQ::KQCANPortRegistry::instance()->bindPort(
      port, [this](std::string& /*error*/) { return std::make_unique<RingEndPoint>(*rings); });
  build(configuration);
  start(configuration);
}

BenchNode::~BenchNode() {
  node.reset();
  KQ::KQCANPortRegistry::instance()->unbindPort(port);
}

void BenchNode::build(const Configuration& configuration) {
  node = std::make_unique<KQ::KQCANopen>("bench");
  require(node->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), port, nullptr), "create");
  node->setNodeID(NODE_ID);
  node->setHeartbeatProducerTime(HEARTBEAT_TIME);
  require(node->init(), "init");
  node->getApplicationVariables();
  for (unsigned int consumer = 0; consumer < configuration.consumers; ++consumer) {
    require(node->addHeartbeatConsumer(static_cast<unsigned char>(watchedNode(consumer)), CONSUMER_TIME), "consumer");
  }
  addPDOs(configuration);
}

void BenchNode::addPDOs(const Configuration& configuration) {
  for (unsigned int i = 0; i < configuration.pdos; ++i) {
    const auto number = static_cast<unsigned short>(i);
    require(node->addPDO(KQ::PDO_TYPE_RECEIVE, number, FIRST_RPDO_COB_ID + i, 0, 0, EVENT_DRIVEN, true, nullptr),
            "RPDO");
    require(node->addPDO(KQ::PDO_TYPE_TRANSMIT, number, FIRST_TPDO_COB_ID + i, EVENT_TIMER, 0,
                         configuration.sentTransmissionType, true, nullptr),
            "TPDO");
    for (unsigned short subIndex = 1; subIndex <= VALUES_PER_PDO; ++subIndex) {
      const auto received = static_cast<unsigned short>(FIRST_RECEIVED_OBJECT + i);
      const auto sentObject = static_cast<unsigned short>(FIRST_SENT_OBJECT + i);
      require(node->addPDOMapping(number, KQ::PDO_TYPE_RECEIVE, received, subIndex, 16), "RPDO mapping");
      require(node->addPDOMapping(number, KQ::PDO_TYPE_TRANSMIT, sentObject, subIndex, 16), "TPDO mapping");
    }
  }
}

void BenchNode::start(const Configuration& configuration) {
  cycle();
  receive(frame(COB_ID_NMT, {START_REMOTE_NODE, NODE_ID}));
  cycle();
  for (unsigned int consumer = 0; consumer < configuration.consumers; ++consumer) {
    receive(frame(COB_ID_HEARTBEAT + watchedNode(consumer), {OPERATIONAL}));
  }
  require(node->getCANopenState() == KQ::CANOPEN_STATE_OPERATIONAL ? KQ::KQ_OK : KQ::KQ_NOT_AVAILABLE, "start");
}

}  // namespace bench
