#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "CapturedOutput.h"
#include "Edition.h"
#include "Frames.h"
#include "KQCANopen.h"
#include "KQCANopenInstanceManager.h"
#include "KQDEI.h"
#include "KQEndPoint.h"
#include "KQErrorCodes.h"
#include "KQVariableEventDispatcher.h"
#include "TemporaryDirectory.h"
#include "TestClock.h"

namespace test {

/// Two nodes of one process, 5 and 6, on one bus, driven by the instance manager, and a master that sees every
/// frame of both.
class TwoNodesFixture : public testing::Test {
protected:
  static constexpr unsigned int PORT = 80;

  TwoNodesFixture() {
    edition::clearStore();
    manager.deleteAllInstances();
    edition::bindBus(PORT);
    master = edition::openPort(PORT);
    five = add(5);
    six = add(6);
  }

  ~TwoNodesFixture() override {
    manager.deleteAllInstances();
    edition::unbindPort(PORT);
    edition::clearStore();
  }

  KQ::KQCANopen* add(unsigned char nodeID) {
    auto* const node = new KQ::KQCANopen("node" + std::to_string(nodeID));
    EXPECT_EQ(0, node->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr));
    node->setNodeID(nodeID);
    EXPECT_EQ(0, node->init());
    manager.addCANopenInstance(node);
    return node;
  }

  /// One cycle of both nodes, each of which then takes what arrived. @return what the master sees
  Frames cycle() {
    manager.updateAllData(clock.now() + 10);
    for (KQ::KQCANopen* const node : {five, six}) {
      node->onEndPointReadable(node->getEndPoint(), nullptr);
    }
    Frames frames;
    KQ::KQCANMessage message;
    while (master->readMessage(message) == KQ::KQ_OK) {
      frames.push_back(test::toText(message));
    }
    return frames;
  }

  Frames send(const std::string& text) {
    EXPECT_EQ(0, master->writeMessage(test::frame(text)));
    return cycle();
  }

  void boot() {
    cycle();
    output.takeOutput();
  }

  void expectStates(int ofFive, int ofSix) {
    EXPECT_EQ(ofFive, five->getCANopenState());
    EXPECT_EQ(ofSix, six->getCANopenState());
  }

  test::TemporaryDirectory directory;
  test::TestClock clock;
  test::CapturedOutput output;
  KQ::KQCANopenInstanceManager& manager = *KQ::KQCANopenInstanceManager::instance();
  std::unique_ptr<KQ::KQEndPoint> master;
  KQ::KQCANopen* five = nullptr;
  KQ::KQCANopen* six = nullptr;
};

}  // namespace test
