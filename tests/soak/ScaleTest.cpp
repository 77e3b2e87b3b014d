// Covers: as many nodes, lives of a node, variables and PDOs as there may be. TAVO_SOAK_LIVES and TAVO_SOAK_SYNCS say
// how many; "make soak" runs ten thousand, and a thousand.
//
// | subject                | functional                                                          | robustness |
// |------------------------|---------------------------------------------------------------------|------------|
// | 127 nodes on one bus   | all operational, a PDO of each at every SYNC, an SDO answer of each |            |
// | life cycles            | create, init, operate, destroy: no growth of the heap               |            |
// | ten thousand variables | each readable by SDO, the dictionary exported                       |            |
// | 512 PDOs each way      | every one received, every one sent                                  |            |
//
// TAVO_SOAK_LIVES, TAVO_SOAK_SYNCS: how many; "make soak" runs ten thousand, and a thousand.

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

#include "Edition.h"
#include "Frames.h"
#include "KQCANopenInstanceManager.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenState.h"
#include "KQDEI.h"
#include "KQEndPoint.h"
#include "KQErrorCodes.h"
#include "KQVariable.h"
#include "KQVariableEventDispatcher.h"
#include "SimulatedNetwork.h"
#include "TestNode.h"

namespace {

constexpr unsigned int HIGHEST_NODE_ID = 127;

KQ::KQCANMessage sdo(unsigned int node, const std::string& bytes) {
  char identifier[8];
  std::snprintf(identifier, sizeof identifier, "%03X#", 0x600 + node);
  return test::frame(identifier + bytes);
}

std::string uploadOf(unsigned int index, unsigned int subIndex) {
  char bytes[32];
  std::snprintf(bytes, sizeof bytes, "40 %02X %02X %02X 00 00 00 00", index & 0xFF, index >> 8, subIndex);
  return bytes;
}

void addVariable(unsigned short index, unsigned short subIndex, int bits) {
  KQ::KQVariable variable(index, subIndex, "value", KQ::STORAGE_TYPE_INTEGER, bits);
  ASSERT_EQ(0, KQ::KQDEI::instance()->addVariable(&variable));
}

class FullBus : public testing::Test {
protected:
  static constexpr unsigned int PORT = 90;

  FullBus() {
    test::edition::clearStore();
    manager.deleteAllInstances();
    addVariable(0x2000, 1, 16);
    test::edition::bindBus(PORT);
    master = test::edition::openPort(PORT);
    for (unsigned int id = 1; id <= HIGHEST_NODE_ID; ++id) {
      add(static_cast<unsigned char>(id));
    }
  }

  ~FullBus() override {
    manager.deleteAllInstances();
    test::edition::unbindPort(PORT);
    test::edition::clearStore();
  }

  void add(unsigned char id) {
    auto* const node = new KQ::KQCANopen("node " + std::to_string(id));
    ASSERT_EQ(0, node->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr));
    node->setNodeID(id);
    ASSERT_EQ(0, node->init());
    node->getApplicationVariables();
    ASSERT_EQ(0, node->addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x180U + id, 0, 0, 1, true, nullptr));
    ASSERT_EQ(0, node->addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, 0x2000, 1, 16));
    manager.addCANopenInstance(node);
  }

  // A cycle of all nodes, in which each takes what has arrived. @return the identifiers of what the master then sees
  std::multiset<unsigned int> cycle() {
    manager.updateAllData(clock.now() + 10);
    for (unsigned int id = 1; id <= HIGHEST_NODE_ID; ++id) {
      KQ::KQCANopen* const node = manager.getCANopenInstance(PORT, static_cast<unsigned char>(id));
      node->onEndPointReadable(node->getEndPoint(), nullptr);
    }
    std::multiset<unsigned int> identifiers;
    KQ::KQCANMessage message;
    while (master->readMessage(message) == KQ::KQ_OK) {
      identifiers.insert(message.identifier);
    }
    return identifiers;
  }

  static std::multiset<unsigned int> ofAll(unsigned int first) {
    std::multiset<unsigned int> identifiers;
    for (unsigned int id = 1; id <= HIGHEST_NODE_ID; ++id) {
      identifiers.insert(first + id);
    }
    return identifiers;
  }

  test::TemporaryDirectory directory;
  test::TestClock clock;
  test::CapturedOutput output;
  KQ::KQCANopenInstanceManager& manager = *KQ::KQCANopenInstanceManager::instance();
  std::unique_ptr<KQ::KQEndPoint> master;
};

TEST_F(FullBus, ServesEveryNode) {
  EXPECT_EQ(ofAll(0x700), cycle());  // boot-up
  ASSERT_EQ(0, master->writeMessage(test::frame("000#01 00")));
  EXPECT_EQ(std::multiset<unsigned int>(), cycle());

  // At the first SYNC a new PDO is also among those that wait for it.
  ASSERT_EQ(0, master->writeMessage(test::frame("080#")));
  EXPECT_EQ(2 * ofAll(0x180).size(), cycle().size());
  const auto syncs = static_cast<unsigned int>(soak::amount("TAVO_SOAK_SYNCS", 50));
  for (unsigned int i = 0; i < syncs; ++i) {
    ASSERT_EQ(0, master->writeMessage(test::frame("080#")));
    ASSERT_EQ(ofAll(0x180), cycle()) << "SYNC " << i;
    clock.advance(1);
  }
  for (unsigned int id = 1; id <= HIGHEST_NODE_ID; ++id) {
    ASSERT_EQ(0, master->writeMessage(sdo(id, uploadOf(0x2000, 1))));
    ASSERT_EQ(std::multiset<unsigned int>{0x580 + id}, cycle());
  }
  EXPECT_EQ("", output.takeErrors());
}

class Lives : public testing::Test {};

TEST_F(Lives, LeaveNothingBehind) {
  const auto lives = static_cast<unsigned int>(soak::amount("TAVO_SOAK_LIVES", 100));
  std::size_t heap = 0;
  for (unsigned int life = 0; life < lives; ++life) {
    {
      test::TestNode node;
      for (unsigned short subIndex = 1; subIndex <= 8; ++subIndex) {
        addVariable(0x2000, subIndex, 16);
      }
      node.init();
      node.canopen().getApplicationVariables();
      ASSERT_EQ(0, node.canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 100, 0, 255, true, nullptr));
      ASSERT_EQ(0, node.canopen().addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, 0x2000, 1, 16));
      ASSERT_EQ(0, node.canopen().addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "six"));
      ASSERT_EQ(0, node.canopen().addHeartbeatConsumer(7, 100));
      node.cycle();
      node.receive("000#01 00");
      ASSERT_EQ(2U, node.run(100).size());  // the first one at once
      ASSERT_EQ(1U, node.receive("605#" + uploadOf(0x2000, 1)).size());
    }
    heap = life == lives / 2 ? soak::heapInUse() : heap;
  }
  std::printf("%u lives\n", lives);
  EXPECT_LE(soak::heapInUse(), heap + 1024);
}

TEST(Dictionary, HoldsTenThousandVariables) {
  constexpr unsigned int OBJECTS = 100;
  constexpr unsigned int VALUES = 100;
  test::TestNode node;
  for (unsigned int object = 0; object < OBJECTS; ++object) {
    for (unsigned int value = 1; value <= VALUES; ++value) {
      addVariable(static_cast<unsigned short>(0x2000 + object), static_cast<unsigned short>(value), 32);
    }
  }
  node.init();
  node.canopen().getApplicationVariables();
  node.cycle();
  for (unsigned int object = 0; object < OBJECTS; ++object) {
    for (unsigned int value = 1; value <= VALUES; ++value) {
      const auto number = static_cast<int>(object * VALUES + value);
      ASSERT_EQ(0, KQ::KQDEI::instance()->setVariableValue(static_cast<unsigned short>(0x2000 + object),
                                                           static_cast<unsigned short>(value), number, true, false));
      char answer[64];
      std::snprintf(answer, sizeof answer, "585#43 %02X 20 %02X %02X %02X 00 00", object, value, number & 0xFF,
                    number >> 8);
      ASSERT_EQ(test::Frames{answer}, node.receive("605#" + uploadOf(0x2000 + object, value)));
    }
  }
  EXPECT_EQ(0, node.dictionary().storeParameters("all.dcf"));
  EXPECT_NE(std::string::npos, node.directory.read("all.dcf").find("[2063sub64]"));
}

TEST(PDOs, FiveHundredAndTwelveEachWay) {
  constexpr unsigned int COUNT = 512;
  constexpr unsigned int FIRST_RECEIVED = 0x181;
  constexpr unsigned int FIRST_SENT = 0x381;
  test::TestNode node;
  for (unsigned short i = 0; i < COUNT; ++i) {
    addVariable(static_cast<unsigned short>(0x2000 + i), 1, 16);
    addVariable(static_cast<unsigned short>(0x2000 + i), 2, 16);
  }
  node.init();
  node.canopen().getApplicationVariables();
  for (unsigned short i = 0; i < COUNT; ++i) {
    ASSERT_EQ(0, node.canopen().addPDO(KQ::PDO_TYPE_RECEIVE, i, FIRST_RECEIVED + i, 0, 0, 255, true, nullptr));
    ASSERT_EQ(0, node.canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, i, FIRST_SENT + i, 0, 0, 255, true, nullptr));
    const auto object = static_cast<unsigned short>(0x2000 + i);
    ASSERT_EQ(0, node.canopen().addPDOMapping(i, KQ::PDO_TYPE_RECEIVE, object, 1, 16));
    ASSERT_EQ(0, node.canopen().addPDOMapping(i, KQ::PDO_TYPE_TRANSMIT, object, 2, 16));
  }
  node.cycle();
  node.receive("000#01 00");
  for (unsigned int i = 0; i < COUNT; ++i) {
    const auto object = static_cast<unsigned short>(0x2000 + i);
    char text[32];
    std::snprintf(text, sizeof text, "%03X#%02X %02X", FIRST_RECEIVED + i, (i + 1) & 0xFF, (i + 1) >> 8);
    node.receive(text);
    int value = 0;
    ASSERT_EQ(0, KQ::KQDEI::instance()->getVariableValue(object, 1, &value));
    ASSERT_EQ(static_cast<int>(i + 1), value);

    ASSERT_EQ(0, KQ::KQDEI::instance()->setVariableValue(object, 2, static_cast<int>(i + 1), true, false));
    std::snprintf(text, sizeof text, "%03X#%02X %02X", FIRST_SENT + i, (i + 1) & 0xFF, (i + 1) >> 8);
    ASSERT_EQ(test::Frames{text}, node.port().takeSent());
  }
}

}  // namespace
