#include "SimulatedNetwork.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "Edition.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariableEventDispatcher.h"

namespace soak {

int SimulatedPort::doRead(KQ::KQCANMessage& message) {
  if (incoming.empty()) {
    return KQ::KQ_NO_DATA;
  }
  message = incoming.front();
  incoming.pop_front();
  return KQ::KQ_OK;
}

int SimulatedPort::doWrite(const KQ::KQCANMessage& message) {
  bus.transmit(message, owner);
  return KQ::KQ_OK;
}

SimulatedNetwork::SimulatedNetwork() {
  test::edition::clearStore();
}

SimulatedNetwork::~SimulatedNetwork() {
  nodes.clear();
  for (unsigned int i = 0; i < ports.size(); ++i) {
    test::edition::unbindPort(FIRST_PORT + i);
  }
  test::edition::clearStore();
}

KQ::KQCANopen& SimulatedNetwork::add(int heartbeatMs) {
  const std::size_t number = nodes.size();
  const auto port = static_cast<unsigned int>(FIRST_PORT + number);
  ports.push_back(nullptr);
  test::edition::bindPort(port, [this, number] {
    auto created = std::make_unique<SimulatedPort>(*this, number);
    ports[number] = created.get();
    return created;
  });
  auto node = std::make_unique<KQ::KQCANopen>("node " + std::to_string(number + 1));
  if (node->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), port, nullptr) != KQ::KQ_OK) {
    throw std::logic_error("create");
  }
  node->setNodeID(static_cast<unsigned char>(number + 1));
  node->setHeartbeatProducerTime(heartbeatMs);
  if (node->init() != KQ::KQ_OK) {
    throw std::logic_error("init");
  }
  nodes.push_back(std::move(node));
  dueTicks.push_back(clock.now());
  return *nodes.back();
}

void SimulatedNetwork::send(const KQ::KQCANMessage& message) {
  transmit(message, MASTER);
  settle();
}

void SimulatedNetwork::transmit(const KQ::KQCANMessage& message, std::size_t sender) {
  if (sender != MASTER) {
    ++sent;
    ++byIdentifier[message.identifier];
    last = message;
  }
  for (std::size_t i = 0; i < ports.size(); ++i) {
    if (i != sender && ports[i] != nullptr && ports[i]->lets(message.identifier)) {
      ports[i]->take(message);
    }
  }
}

void SimulatedNetwork::cycle(std::size_t number) {
  KQ::KQCANopen& node = *nodes[number];
  node.process(clock.now() + 50);
  const unsigned int time = node.getTimeToNextWork();
  dueTicks[number] = clock.now() + std::min(time, 0x3FFFFFFFU);
}

bool SimulatedNetwork::drain() {
  bool anything = false;
  for (std::size_t i = 0; i < ports.size(); ++i) {
    if (ports[i]->hasFrames()) {
      anything = true;
      nodes[i]->onEndPointReadable(ports[i], nullptr);
      cycle(i);
    }
  }
  return anything;
}

void SimulatedNetwork::settle() {
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    cycle(i);
  }
  while (drain()) {
  }
}

void SimulatedNetwork::runUntil(unsigned int end) {
  for (;;) {
    unsigned int rest = end - clock.now();
    for (const unsigned int due : dueTicks) {
      const unsigned int ahead = due - clock.now();
      rest = std::min(rest, ahead > 0x7FFFFFFFU ? 0U : ahead);
    }
    clock.advance(rest);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      if (static_cast<int>(dueTicks[i] - clock.now()) <= 0) {
        cycle(i);
      }
    }
    while (drain()) {
    }
    if (clock.now() == end && std::none_of(dueTicks.begin(), dueTicks.end(), [this](unsigned int due) {
          return static_cast<int>(due - clock.now()) <= 0;
        })) {
      return;
    }
  }
}

std::size_t heapInUse() {
  return mallinfo2().uordblks;
}

double amount(const char* variable, double usual) {
  const char* const given = std::getenv(variable);
  return given != nullptr ? std::strtod(given, nullptr) : usual;
}

}  // namespace soak
