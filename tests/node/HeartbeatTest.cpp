// Covers: heartbeats of a whole node and of the nodes that it watches.
//
// | subject                         | functional | robustness                   |
// |---------------------------------|------------|------------------------------|
// | heartbeat byte by state         | x          | paused, resetting            |
// | period at the cycle of the node | x          | cycle slower than the period |
// | producer time over SDO          | x          | 0, above the range           |
// | consumer entry over SDO         | x          | STOPPED                      |
// | bus gone                        |            | x                            |

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "SignalRecorder.h"
#include "TestNode.h"

namespace {

using test::Frames;
using test::TestNode;

class NodeHeartbeat : public testing::Test {
protected:
  NodeHeartbeat() {
    node.canopen().setHeartbeatProducerTime(1000);
    node.boot();
  }

  TestNode node;
};

TEST_F(NodeHeartbeat, FollowsTheBootUpByOnePeriod) {
  EXPECT_EQ(Frames{}, node.run(999));
  EXPECT_EQ(Frames{"705#7F"}, node.run(1));
}

TEST_F(NodeHeartbeat, TellsTheStateAtEveryPeriod) {
  EXPECT_EQ(Frames{"705#7F"}, node.run(1000));
  node.receive("000#01 05");
  EXPECT_EQ(Frames{"705#05"}, node.run(1000));
  node.receive("000#02 05");
  EXPECT_EQ(Frames{"705#04"}, node.run(1000));
  node.receive("000#80 05");
  EXPECT_EQ(Frames{"705#7F"}, node.run(1000));
  EXPECT_EQ((Frames{"705#7F", "705#7F", "705#7F"}), node.run(3000));
}

TEST_F(NodeHeartbeat, PeriodIsRoundedUpToTheCycle) {
  node.clock.advance(700);
  EXPECT_EQ(Frames{}, node.cycle());
  node.clock.advance(700);
  EXPECT_EQ(Frames{"705#7F"}, node.cycle());
  node.clock.advance(700);
  EXPECT_EQ(Frames{}, node.cycle());
  node.clock.advance(700);
  EXPECT_EQ(Frames{"705#7F"}, node.cycle());
}

TEST_F(NodeHeartbeat, ResetStartsThePeriodAnewWithTheBootUp) {
  node.run(900);
  node.receive("000#82 05");
  EXPECT_EQ(Frames{"705#00"}, node.run(2));
  EXPECT_EQ(Frames{}, node.run(999));
  EXPECT_EQ(Frames{"705#7F"}, node.run(1));
}

TEST_F(NodeHeartbeat, PausedNodeIsSilentAndCatchesUpWithOne) {
  node.canopen().setPaused(true);
  EXPECT_EQ(Frames{}, node.run(5000));
  node.canopen().setPaused(false);
  EXPECT_EQ(Frames{"705#7F"}, node.run(1));
  EXPECT_EQ(Frames{}, node.run(999));
}

TEST_F(NodeHeartbeat, MasterSwitchesItOff) {
  EXPECT_EQ(Frames{"585#60 17 10 00 00 00 00 00"}, node.receive("605#2B 17 10 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.run(5000));
}

TEST_F(NodeHeartbeat, MasterChangesThePeriod) {
  EXPECT_EQ(Frames{"585#60 17 10 00 00 00 00 00"}, node.receive("605#2B 17 10 00 F4 01 00 00"));
  EXPECT_EQ(Frames{}, node.run(499));
  EXPECT_EQ(Frames{"705#7F"}, node.run(1));
  EXPECT_EQ(Frames{"705#7F"}, node.run(500));
}

TEST_F(NodeHeartbeat, PeriodOfMoreThan16BitsIsRefusedAndTheOldOneStays) {
  EXPECT_EQ(Frames{"585#80 17 10 00 30 00 09 06"}, node.receive("605#23 17 10 00 00 00 01 00"));
  EXPECT_EQ(Frames{"705#7F"}, node.run(1000));
}

TEST_F(NodeHeartbeat, ApplicationChangesThePeriod) {
  node.canopen().setHeartbeatProducerTime(100);
  EXPECT_EQ((Frames{"705#7F", "705#7F", "705#7F"}), node.run(300));
  EXPECT_EQ(100, node.canopen().getHeartbeatTime());
}

TEST_F(NodeHeartbeat, GoesOnWhenThePortReturns) {
  node.port().refuse(26, KQ::KQ_NOT_AVAILABLE);
  EXPECT_EQ(Frames{}, node.run(1000));
  EXPECT_EQ("CANopen: Error sending CAN message\n", node.output.takeErrors());
  EXPECT_EQ(Frames{"705#7F"}, node.run(1000));
}

TEST(NodeWithoutHeartbeat, IsSilentAfterTheBootUp) {
  TestNode node;
  node.start();
  EXPECT_EQ(Frames{}, node.run(5000));
}

// ---- consumer

class NodeWatch : public testing::Test {
protected:
  NodeWatch() {
    node.start();
    node.canopen().getNMTHandler()->addHeartbeatListener(&listener);
    // node 0x1A, 100 ms
    EXPECT_EQ(Frames{"585#60 16 10 01 00 00 00 00"}, node.receive("605#23 16 10 01 64 00 1A 00"));
  }

  TestNode node;
  test::SignalRecorder listener;
};

TEST_F(NodeWatch, NodeThatComesAndGoesIsReported) {
  node.run(1000);
  EXPECT_TRUE(listener.signals.empty());
  node.receive("71A#00");
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(0x518, listener.signals[0].getCode());
  EXPECT_EQ(0x1AU, listener.signals[0].getFirstValue());
  node.run(100);
  EXPECT_EQ(1U, listener.signals.size());
  node.run(1);
  ASSERT_EQ(2U, listener.signals.size());
  EXPECT_EQ(0x517, listener.signals[1].getCode());
  EXPECT_EQ(0x1AU, listener.signals[1].getFirstValue());
  EXPECT_EQ(17U, listener.signals[1].getSecondValue());
  node.run(1000);
  EXPECT_EQ(2U, listener.signals.size());
}

TEST_F(NodeWatch, PeriodicHeartbeatsKeepTheNodePresent) {
  for (int i = 0; i < 20; ++i) {
    node.receive("71A#05");
    node.run(50);
  }
  EXPECT_EQ(1U, listener.signals.size());
}

TEST_F(NodeWatch, GoesOnInStopped) {
  node.receive("71A#05");
  node.receive("000#02 05");
  node.run(101);
  ASSERT_EQ(2U, listener.signals.size());
  EXPECT_EQ(0x517, listener.signals[1].getCode());
}

TEST_F(NodeWatch, ResetMakesTheNodeMissingInSilence) {
  node.receive("71A#05");
  listener.signals.clear();
  node.receive("000#82 05");
  node.run(200);
  EXPECT_TRUE(listener.signals.empty());
  node.receive("71A#05");
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(0x518, listener.signals[0].getCode());
}

TEST_F(NodeWatch, HeartbeatIsNotAnswered) {
  EXPECT_EQ(Frames{}, node.receive("71A#05"));
}

}  // namespace
