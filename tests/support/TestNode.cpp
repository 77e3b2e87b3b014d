#include "TestNode.h"

#include <stdexcept>

#include "Edition.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariableEventDispatcher.h"

namespace test {

namespace {

void require(bool condition, const char* what) {
  if (!condition) {
    throw std::logic_error(std::string("test node: ") + what);
  }
}

}  // namespace

TestNode::TestNode(unsigned char nodeID) : node(std::make_unique<KQ::KQCANopen>("node")) {
  edition::clearStore();
  edition::bindPort(PORT, [this] {
    auto created = std::make_unique<MemoryEndPoint>();
    endPoint = created.get();
    return created;
  });
  require(node->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr) == KQ::KQ_OK,
          "create");
  node->setNodeID(nodeID);
}

TestNode::~TestNode() {
  node.reset();
  edition::unbindPort(PORT);
  edition::clearStore();
}

void TestNode::init() {
  require(node->init() == KQ::KQ_OK, "init");
}

void TestNode::boot() {
  init();
  cycle();
  require(node->getCANopenState() == KQ::CANOPEN_STATE_PRE_OPERATIONAL, "boot");
  output.takeOutput();
}

void TestNode::start() {
  boot();
  receive("000#01 00");
  require(node->getCANopenState() == KQ::CANOPEN_STATE_OPERATIONAL, "start");
  output.takeOutput();
}

Frames TestNode::cycle() {
  node->process(clock.now() + 10);
  return endPoint->takeSent();
}

Frames TestNode::run(unsigned int milliseconds) {
  Frames frames;
  for (unsigned int i = 0; i < milliseconds; ++i) {
    clock.advance(1);
    for (std::string& text : cycle()) {
      frames.push_back(std::move(text));
    }
  }
  return frames;
}

Frames TestNode::receive(const std::string& text) {
  endPoint->inject(text);
  node->onEndPointReadable(endPoint, nullptr);
  return endPoint->takeSent();
}

}  // namespace test
