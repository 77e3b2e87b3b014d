// Covers: the frames that a whole node serves, as its objects change: no service loses a frame because nobody was
// asked.
//
// | subject                      | functional | robustness                       |
// |------------------------------|------------|----------------------------------|
// | SYNC identifier moved        | x          | through the pointer to its value |
// | SDO channel moved, PDO moved | x          |                                  |
// | watched nodes                |            | node IDs above 127               |
// | one identifier, two services | x          |                                  |

#include "KQCANopenObjectDictionary.h"
#include "KQNMTHandler.h"
#include "PDOFixture.h"
#include "SignalRecorder.h"

namespace {

using test::Frames;

class ServedIdentifiers : public test::PDOFixture {
protected:
  ServedIdentifiers() { addVariables(2, 8); }
};

// ---- SYNC

class ServedSync : public ServedIdentifiers {
protected:
  ServedSync() {
    addTransmitPDO(0, {0x185, 1}, {0x20010108});
    startAndSettle();
    node.receive("080#");
  }
};

TEST_F(ServedSync, IsTakenOnItsIdentifier) {
  EXPECT_EQ(Frames{"185#00"}, node.receive("080#"));
}

TEST_F(ServedSync, MovesWithItsObject) {
  ASSERT_EQ(0, write(0x1005, 0, 0x81, true));
  EXPECT_EQ(Frames{}, node.receive("080#"));
  EXPECT_EQ(Frames{"185#00"}, node.receive("081#"));
}

TEST_F(ServedSync, MovesWithTheValueOfItsObject) {
  *node.dictionary().getPointerToValue(0x1005, 0) = 0x7FF;
  EXPECT_EQ(Frames{}, node.receive("080#"));
  EXPECT_EQ(Frames{"185#00"}, node.receive("7FF#"));
}

// ---- channels and PDOs

TEST_F(ServedIdentifiers, ServerChannelMovesAtOnce) {
  ASSERT_EQ(0, node.canopen().addSDOChannel(0x641, 0x5C1, 9, KQ::SDO_CHANNEL_SERVER, ""));
  start();
  ASSERT_EQ(0, write(0x1201, 1, 0x642, true));
  EXPECT_EQ(Frames{"5C1#43 00 12 01 05 06 00 00"}, node.receive("642#40 00 12 01 00 00 00 00"));
}

TEST_F(ServedIdentifiers, ReceivePDOMovesAtOnce) {
  addReceivePDO(0, {0x205}, {0x20010108});
  start();
  ASSERT_EQ(0, write(0x1400, 1, 0x80000205));
  ASSERT_EQ(0, write(0x1400, 1, 0x345));
  node.receive("205#11");
  EXPECT_EQ(0, stored(0x2001, 1));
  node.receive("345#22");
  EXPECT_EQ(0x22, stored(0x2001, 1));
}

TEST_F(ServedIdentifiers, ReceivePDOThatBecomesValidIsServedAtOnce) {
  addReceivePDO(0, {0x205}, {0x20010108});
  ASSERT_EQ(0, node.canopen().enableMessage(0x1400, false));
  start();
  node.receive("205#11");
  EXPECT_EQ(0, stored(0x2001, 1));
  ASSERT_EQ(0, node.canopen().enableMessage(0x1400, true));
  node.receive("205#22");
  EXPECT_EQ(0x22, stored(0x2001, 1));
}

// A PDO whose identifier is that of the requests to the SDO server.
TEST_F(ServedIdentifiers, IdentifierOfTwoServicesGoesToTheFirstThatTakesIt) {
  addReceivePDO(0, {0x605}, {0x20010108});
  node.cycle();
  EXPECT_EQ(Frames{"585#43 00 12 01 05 06 00 00"}, node.receive("605#40 00 12 01 00 00 00 00"));
  EXPECT_EQ(0, stored(0x2001, 1));
  node.receive("000#01 05");
  EXPECT_EQ(Frames{}, node.receive("605#40"));
  EXPECT_EQ(0x40, stored(0x2001, 1));
}

// ---- heartbeats

struct WatchedNode {
  unsigned char nodeID;
  const char* heartbeat;
};

class ServedHeartbeat : public testing::TestWithParam<WatchedNode> {};

TEST_P(ServedHeartbeat, IsOfEveryNodeIDThatTheObjectHolds) {
  test::TestNode node;
  node.start();
  test::SignalRecorder listener;
  node.canopen().getNMTHandler()->addHeartbeatListener(&listener);
  ASSERT_EQ(0, node.canopen().addHeartbeatConsumer(GetParam().nodeID, 100));
  node.receive(GetParam().heartbeat);
  node.run(101);
  ASSERT_EQ(2U, listener.signals.size());
  EXPECT_EQ(0x518, listener.signals[0].getCode());
  EXPECT_EQ(GetParam().nodeID, listener.signals[0].getFirstValue());
  EXPECT_EQ(0x517, listener.signals[1].getCode());
  EXPECT_EQ(GetParam().nodeID, listener.signals[1].getFirstValue());
}

INSTANTIATE_TEST_SUITE_P(NodeIDs, ServedHeartbeat,
                         testing::Values(WatchedNode{0, "700#05"}, WatchedNode{1, "701#05"}, WatchedNode{127, "77F#05"},
                                         WatchedNode{128, "780#05"}, WatchedNode{254, "7FE#05"},
                                         WatchedNode{255, "7FF#05"}),
                         [](const testing::TestParamInfo<WatchedNode>& testInfo) {
                           return "Node" + std::to_string(testInfo.param.nodeID);
                         });

}  // namespace
