#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "CapturedOutput.h"
#include "Edition.h"
#include "Frames.h"
#include "KQCANopen.h"
#include "KQCANopenInstanceManager.h"
#include "KQDEI.h"
#include "KQEndPoint.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQVariableEventDispatcher.h"
#include "TemporaryDirectory.h"
#include "TestClock.h"

namespace test {

/// Nodes in the loop of a program, as the panel has it: the instance manager runs them, and the end point manager gives
/// them their frames. The test moves the clock.
class NodeLoop : public testing::Test {
protected:
  static constexpr unsigned int PORT = 90;
  static constexpr unsigned int BUDGET_MS = 50;

  NodeLoop() {
    edition::clearStore();
    nodes.deleteAllInstances();
  }

  ~NodeLoop() override {
    nodes.deleteAllInstances();
    edition::unbindPort(PORT);
    edition::clearStore();
  }

  /// A node that the loop runs from now on, whether its port can be opened or not.
  /// @return what create() gave
  int add(KQ::KQCANopen*& node, unsigned char nodeID, int heartbeatMs) {
    node = new KQ::KQCANopen("node" + std::to_string(nodeID));
    const int result = node->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr);
    node->subscribeToEndpointManager(&endPoints);
    node->setNodeID(nodeID);
    node->setHeartbeatProducerTime(heartbeatMs);
    EXPECT_EQ(KQ::KQ_OK, node->init());
    nodes.addCANopenInstance(node);
    return result;
  }

  /// One turn, which sleeps for nothing. @return how many ports had something
  int turn() {
    nodes.updateAllData(clock.now() + BUDGET_MS);
    return endPoints.wait(0);
  }

  /// All frames that wait at an end point of the test.
  static Frames take(KQ::KQEndPoint& endPoint) {
    Frames frames;
    KQ::KQCANMessage message;
    while (endPoint.readMessage(message) == KQ::KQ_OK) {
      frames.push_back(toText(message));
    }
    return frames;
  }

  TemporaryDirectory directory;
  TestClock clock;
  CapturedOutput output;
  KQ::KQCANopenInstanceManager& nodes = *KQ::KQCANopenInstanceManager::instance();
  KQ::KQEndPointManager endPoints;
};

}  // namespace test
