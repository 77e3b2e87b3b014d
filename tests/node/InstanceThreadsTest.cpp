// Covers: several nodes of one process, each with a protocol thread of its own, and application threads beside them.
//
// | subject      | functional                                             | robustness                   |
// |--------------|--------------------------------------------------------|------------------------------|
// | nodes        | three, on ports of their own, with one variable store  | one is reset again and again |
// | applications | each writes what all nodes send, and asks every client | PDOs are remapped meanwhile  |
//
// What a thread sanitizer says of it counts as much as the assertions.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CapturedOutput.h"
#include "Edition.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenState.h"
#include "KQDEI.h"
#include "KQVariable.h"
#include "KQVariableEventDispatcher.h"
#include "MemoryEndPoint.h"
#include "TemporaryDirectory.h"
#include "TestClock.h"

namespace {

constexpr unsigned int NODES = 3;
constexpr unsigned int APPLICATIONS = 3;
constexpr unsigned int FIRST_PORT = 120;
constexpr unsigned short SHARED = 0x2000;
constexpr unsigned short REMOTE = 0x2100;
constexpr int WRITES = 1000;

class InstanceThreads : public testing::Test {
protected:
  InstanceThreads() {
    test::edition::clearStore();
    for (unsigned short subIndex = 1; subIndex <= APPLICATIONS; ++subIndex) {
      KQ::KQVariable variable(SHARED, subIndex, "shared", KQ::STORAGE_TYPE_INTEGER, 16);
      KQ::KQDEI::instance()->addVariable(&variable);
    }
    for (unsigned int i = 0; i < NODES; ++i) {
      add(i);
    }
    output.takeOutput();
  }

  ~InstanceThreads() override {
    for (unsigned int i = 0; i < NODES; ++i) {
      nodes[i].reset();
      test::edition::unbindPort(FIRST_PORT + i);
    }
    test::edition::clearStore();
  }

  void add(unsigned int number) {
    test::edition::bindPort(FIRST_PORT + number, [this, number] {
      auto port = std::make_unique<test::MemoryEndPoint>();
      ports[number] = port.get();
      return port;
    });
    nodes[number] = std::make_unique<KQ::KQCANopen>("node " + std::to_string(number));
    KQ::KQCANopen& node = *nodes[number];
    ASSERT_EQ(
        0, node.create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), FIRST_PORT + number, nullptr));
    node.setNodeID(static_cast<unsigned char>(5 + number));
    ASSERT_EQ(0, node.init());
    node.getApplicationVariables();
    ASSERT_EQ(0, node.addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 0, 0, 255, true, nullptr));
    for (unsigned short subIndex = 1; subIndex <= APPLICATIONS; ++subIndex) {
      ASSERT_EQ(0, node.addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, SHARED, subIndex, 16));
    }
    addRemoteVariable(node, static_cast<unsigned short>(REMOTE + number));
    node.process(clock.now());
    ports[number]->inject("000#01 00");
    node.onEndPointReadable(ports[number], nullptr);
    ASSERT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, node.getCANopenState());
    serve(number);  // a new PDO goes out once
    sent[number] = 0;
  }

  static void addRemoteVariable(KQ::KQCANopen& node, unsigned short index) {
    ASSERT_EQ(0, node.addSDOChannel(0x620, 0x5A0, 0x20, KQ::SDO_CHANNEL_CLIENT, "server"));
    KQ::KQVariable variable(index, 1, "remote", KQ::STORAGE_TYPE_INTEGER, 16);
    variable.setExternalIdentifier(0x60000001);
    variable.setChannelName("server");
    ASSERT_EQ(0, node.addVariable(&variable));
    ASSERT_EQ(0, node.setSDOServerID(index, 1, 0x620));
  }

  // A cycle of a node, and the answers of its server. @return whether a write to the server went out
  bool serve(unsigned int number) {
    nodes[number]->process(clock.now() + 10);
    bool hasWritten = false;
    for (const std::string& frame : ports[number]->takeSent()) {
      sent[number] += frame.compare(0, 4, "185#") == 0 ? 1U : 0U;
      if (frame.compare(0, 4, "620#") == 0) {
        hasWritten = true;
        lastWritten[number] = frame;
        ports[number]->inject("5A0#60 00 60 01 00 00 00 00");
      }
    }
    nodes[number]->onEndPointReadable(ports[number], nullptr);
    return hasWritten;
  }

  // What a protocol thread does until the applications are done and nothing more comes. @param disturb called each
  // time
  template <typename Disturb>
  void run(unsigned int number, Disturb disturb) {
    constexpr int CALM = 20;
    for (int calm = 0; calm < CALM;) {
      const bool isDisturbed = finished < APPLICATIONS;
      if (isDisturbed) {
        disturb(number);
      }
      calm = serve(number) || isDisturbed ? 0 : calm + 1;
    }
  }

  void write(unsigned int application) {
    for (int value = 1; value <= WRITES; ++value) {
      KQ::KQDEI::instance()->setVariableValue(SHARED, static_cast<unsigned short>(application + 1), value, true, false);
      for (unsigned int i = 0; i < NODES; ++i) {
        failures += nodes[i]->updateRequest(static_cast<unsigned int>(REMOTE + i) << 16 | 1U, value) != 0 ? 1U : 0U;
      }
    }
    ++finished;
  }

  template <typename Disturb>
  void runAll(Disturb disturb) {
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < NODES; ++i) {
      threads.emplace_back([this, i, disturb] { run(i, disturb); });
    }
    for (unsigned int i = 0; i < APPLICATIONS; ++i) {
      threads.emplace_back([this, i] { write(i); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  test::TemporaryDirectory directory;
  test::TestClock clock;
  test::CapturedOutput output;
  std::array<std::unique_ptr<KQ::KQCANopen>, NODES> nodes;
  std::array<test::MemoryEndPoint*, NODES> ports{};
  std::array<unsigned int, NODES> sent{};
  std::array<std::string, NODES> lastWritten;
  std::atomic<unsigned int> finished{0};
  std::atomic<unsigned int> failures{0};
};

TEST_F(InstanceThreads, EachServesAllApplications) {
  runAll([](unsigned int /*number*/) {});
  EXPECT_EQ(0U, failures);
  for (unsigned int i = 0; i < NODES; ++i) {
    EXPECT_EQ(APPLICATIONS * static_cast<unsigned int>(WRITES), sent[i]) << "node " << i;
    EXPECT_EQ("620#2B 00 60 01 E8 03 00 00", lastWritten[i]) << "node " << i;  // the last of all writes
  }
}

TEST_F(InstanceThreads, RemapWhileApplicationsWrite) {
  runAll([this](unsigned int number) {
    KQ::KQCANopenObjectDictionary& dictionary = *nodes[number]->getObjectDictionary();
    dictionary.setValue(0x1800, 1, static_cast<int>(0x80000185U), false);
    dictionary.setValue(0x1800, 1, 0x185, false);
  });
  EXPECT_EQ(0U, failures);
  for (unsigned int i = 0; i < NODES; ++i) {
    EXPECT_EQ("620#2B 00 60 01 E8 03 00 00", lastWritten[i]) << "node " << i;
  }
}

}  // namespace
