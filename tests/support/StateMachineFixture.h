#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "KQCANopenStateMachine.h"
#include "KQEmergencyHandler.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQPDOHandler.h"
#include "KQSDOHandler.h"
#include "KQSyncHandler.h"
#include "StandardDictionary.h"
#include "TestNode.h"

namespace test {

/// What the handlers of a fixture were offered, in order: "NMT 100#01".
using Offers = std::vector<std::string>;

/// A real handler that notes what it is offered. It answers with `answer`, or as the real one while that is REAL.
template <typename Handler>
class ObservedHandler : public Handler {
public:
  static constexpr int REAL = -1000;

  template <typename... Arguments>
  ObservedHandler(std::string handlerName, Offers& sharedOffers, Arguments... arguments)
      : Handler(arguments...), name(std::move(handlerName)), offers(sharedOffers) {}

  int handleMessage(KQ::KQCANMessage* message) override {
    offers.push_back(name + " " + toText(*message));
    lastMessage = message;
    return answer == REAL ? Handler::handleMessage(message) : answer;
  }

  int answer = KQ::KQ_NOT_HANDLED;
  const KQ::KQCANMessage* lastMessage = nullptr;

private:
  std::string name;
  Offers& offers;
};

/// An emergency handler whose producer the test may switch on.
class ObservedEmergencyHandler : public ObservedHandler<KQ::KQEmergencyHandler> {
public:
  using KQEmergencyHandler::enabled;
  using ObservedHandler::ObservedHandler;
};

/// A state machine with a dictionary and five handlers of its own, on the port of a test node that is not initialised.
class StateMachineFixture : public testing::Test {
protected:
  StateMachineFixture() {
    for (KQ::KQCANopenMessageHandler* handler : handlers()) {
      handler->setCANopenInstance(&node.canopen());
    }
    nmt.setNodeID(5);
    connect(machine);
    node.output.takeOutput();
  }

  std::vector<KQ::KQCANopenMessageHandler*> handlers() { return {&nmt, &sync, &pdo, &sdo, &emergency}; }

  void connect(KQ::KQCANopenStateMachine& target) {
    target.setMessageHandlers(&sdo, &pdo, &sync, &nmt, &emergency);
    target.setObjectDictionary(&dictionary);
  }

  void answerAsReal() {
    nmt.answer = nmt.REAL;
    sync.answer = sync.REAL;
    pdo.answer = pdo.REAL;
    sdo.answer = sdo.REAL;
    emergency.answer = emergency.REAL;
  }

  /// Sets a state and drops the log line.
  void enter(int state) {
    machine.setState(state);
    node.output.takeOutput();
  }

  TestNode node;
  StandardDictionary dictionary{&node.canopen()};
  Offers offers;
  ObservedHandler<KQ::KQNMTHandler> nmt{"NMT", offers};
  ObservedHandler<KQ::KQSyncHandler> sync{"SYNC", offers, &node.canopen()};
  ObservedHandler<KQ::KQPDOHandler> pdo{"PDO", offers, &node.canopen()};
  ObservedHandler<KQ::KQSDOHandler> sdo{"SDO", offers};
  ObservedEmergencyHandler emergency{"EMCY", offers};
  KQ::KQCANopenStateMachine machine{&node.canopen()};
};

}  // namespace test
