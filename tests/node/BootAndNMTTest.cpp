// Covers: a whole node under the commands of an NMT master.
//
// | subject                                   | functional | robustness                       |
// |-------------------------------------------|------------|----------------------------------|
// | boot-up                                   | x          | port refuses, commands before it |
// | every NMT command, state by state         | x          | unknown ones, other lengths      |
// | reset node, reset communication           | x          | twice, from every state          |
// | state changes as the listener and log see | x          |                                  |
// | frames for nobody                         | x          | every identifier, every length   |

#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "SignalRecorder.h"
#include "TestNode.h"

namespace {

using test::Frames;
using test::TestNode;

TEST(NodeBoot, FirstCycleSendsTheBootUpAndNothingElse) {
  TestNode node;
  node.init();
  EXPECT_EQ(Frames{"705#00"}, node.cycle());
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
  EXPECT_EQ("CANOPEN: State set to 0x3\n", node.output.takeOutput());
  EXPECT_EQ("", node.output.takeErrors());
}

TEST(NodeBoot, BootUpIsSentOnce) {
  TestNode node;
  node.boot();
  EXPECT_EQ(Frames{}, node.run(100));
}

TEST(NodeBoot, BootUpCarriesTheNodeID) {
  TestNode lowest(1);
  lowest.init();
  EXPECT_EQ(Frames{"701#00"}, lowest.cycle());
  lowest.destroy();
  TestNode highest(127);
  highest.init();
  EXPECT_EQ(Frames{"77F#00"}, highest.cycle());
}

TEST(NodeBoot, RefusedBootUpDoesNotKeepTheNodeFromPreOperational) {
  TestNode node;
  node.init();
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
  EXPECT_EQ("CANopen: Error sending CAN message\n", node.output.takeErrors());
}

TEST(NodeBoot, CommandBeforeTheFirstCycleLeavesINITForGoodAndWithoutABootUp) {
  TestNode node;
  node.init();
  node.receive("000#02 00");
  EXPECT_EQ(KQ::CANOPEN_STATE_STOPPED, node.canopen().getCANopenState());
  EXPECT_EQ(Frames{}, node.run(10));
  EXPECT_EQ(KQ::CANOPEN_STATE_STOPPED, node.canopen().getCANopenState());
}

TEST(NodeBoot, StartBeforeTheFirstCycleIsRefused) {
  TestNode node;
  node.init();
  node.receive("000#01 00");
  EXPECT_EQ(Frames{"705#00"}, node.cycle());
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
}

// ---- commands

struct Step : test::NamedCase {
  int from;
  const char* command;
  int to;
};

class NodeCommand : public testing::TestWithParam<Step> {
protected:
  // Brings the node into a communicating state by commands alone.
  static void bringTo(TestNode& node, int state) {
    node.boot();
    if (state == KQ::CANOPEN_STATE_OPERATIONAL) {
      node.receive("000#01 05");
    } else if (state == KQ::CANOPEN_STATE_STOPPED) {
      node.receive("000#02 05");
    }
    ASSERT_EQ(state, node.canopen().getCANopenState());
  }
};

TEST_P(NodeCommand, IsObeyedWithoutAnAnswer) {
  TestNode node;
  bringTo(node, GetParam().from);
  EXPECT_EQ(Frames{}, node.receive(GetParam().command));
  EXPECT_EQ(GetParam().to, node.canopen().getCANopenState());
}

INSTANTIATE_TEST_SUITE_P(
    States, NodeCommand,
    testing::Values(
        Step{{"StartFromPreOperational"}, 3, "000#01 05", 4}, Step{{"StartFromOperational"}, 4, "000#01 05", 4},
        Step{{"StartFromStopped"}, 5, "000#01 05", 4}, Step{{"StartAllFromPreOperational"}, 3, "000#01 00", 4},
        Step{{"StopFromPreOperational"}, 3, "000#02 05", 5}, Step{{"StopFromOperational"}, 4, "000#02 05", 5},
        Step{{"StopFromStopped"}, 5, "000#02 05", 5}, Step{{"StopAllFromOperational"}, 4, "000#02 00", 5},
        Step{{"PreOperationalFromPreOperational"}, 3, "000#80 05", 3},
        Step{{"PreOperationalFromOperational"}, 4, "000#80 05", 3},
        Step{{"PreOperationalFromStopped"}, 5, "000#80 05", 3},
        Step{{"AllPreOperationalFromOperational"}, 4, "000#80 00", 3},
        Step{{"ResetNodeFromPreOperational"}, 3, "000#81 05", 1}, Step{{"ResetNodeFromOperational"}, 4, "000#81 05", 1},
        Step{{"ResetNodeFromStopped"}, 5, "000#81 05", 1}, Step{{"ResetAllNodesFromOperational"}, 4, "000#81 00", 1},
        Step{{"ResetCommunicationFromPreOperational"}, 3, "000#82 05", 2},
        Step{{"ResetCommunicationFromOperational"}, 4, "000#82 05", 2},
        Step{{"ResetCommunicationFromStopped"}, 5, "000#82 05", 2},
        Step{{"ResetAllCommunicationFromOperational"}, 4, "000#82 00", 2}, Step{{"AnotherNode"}, 4, "000#02 06", 4},
        Step{{"UnknownCommand"}, 4, "000#03 05", 4}, Step{{"OneByte"}, 4, "000#02", 4},
        Step{{"ThreeBytes"}, 4, "000#02 05 00", 4}, Step{{"NoByte"}, 4, "000#", 4}),
    [](const testing::TestParamInfo<Step>& testInfo) { return testInfo.param.name; });

// ---- resets

struct Reset : test::NamedCase {
  const char* command;
  int state;
};

class NodeReset : public testing::TestWithParam<Reset> {};

TEST_P(NodeReset, BringsTheBootUpAgain) {
  TestNode node;
  node.start();
  EXPECT_EQ(Frames{}, node.receive(GetParam().command));
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(KQ::CANOPEN_STATE_INIT, node.canopen().getCANopenState());
  EXPECT_EQ(Frames{"705#00"}, node.cycle());
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
}

TEST_P(NodeReset, IsToldToListenerAndLogStateByState) {
  TestNode node;
  node.start();
  test::SignalRecorder listener;
  node.canopen().addStateListener(&listener);
  node.output.takeOutput();
  node.receive(GetParam().command);
  node.cycle();
  node.cycle();
  ASSERT_EQ(3U, listener.signals.size());
  EXPECT_EQ(static_cast<unsigned int>(GetParam().state), listener.signals[0].getSecondValue());
  EXPECT_EQ(0U, listener.signals[1].getSecondValue());
  EXPECT_EQ(3U, listener.signals[2].getSecondValue());
  EXPECT_EQ("CANOPEN: State set to 0x" + std::to_string(GetParam().state) +
                "\nCANOPEN: State set to 0x0\nCANOPEN: State set to 0x3\n",
            node.output.takeOutput());
}

TEST_P(NodeReset, MayFollowItself) {
  TestNode node;
  node.start();
  for (int i = 0; i < 3; ++i) {
    node.receive(GetParam().command);
    EXPECT_EQ(Frames{"705#00"}, node.run(2));
  }
}

TEST_P(NodeReset, LeavesTheNodeServing) {
  TestNode node;
  node.start();
  node.receive(GetParam().command);
  node.run(2);
  EXPECT_EQ(Frames{"585#43 18 10 01 C7 03 00 00"}, node.receive("605#40 18 10 01 00 00 00 00"));
  node.receive("000#01 05");
  EXPECT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
}

TEST_P(NodeReset, StartIsRefusedUntilTheNodeIsPreOperationalAgain) {
  TestNode node;
  node.start();
  node.receive(GetParam().command);
  node.receive("000#01 05");
  EXPECT_EQ(GetParam().state, node.canopen().getCANopenState());
  node.cycle();
  node.receive("000#01 05");
  EXPECT_EQ(KQ::CANOPEN_STATE_INIT, node.canopen().getCANopenState());
  node.cycle();
  node.receive("000#01 05");
  EXPECT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
}

INSTANTIATE_TEST_SUITE_P(Kinds, NodeReset,
                         testing::Values(Reset{{"Node"}, "000#81 05", 1}, Reset{{"Communication"}, "000#82 05", 2}),
                         [](const testing::TestParamInfo<Reset>& testInfo) { return testInfo.param.name; });

// ---- frames for nobody

TEST(NodeReception, FrameForNobodyIsDroppedBetweenTwoThatAreServed) {
  TestNode node;
  node.start();
  node.port().inject("605#40 00 10 00 00 00 00 00");
  node.port().inject("123#11 22 33 44 55 66 77 88");
  node.port().inject("605#40 18 10 01 00 00 00 00");
  node.canopen().onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ(0U, node.port().waitingFrames());
  EXPECT_EQ((Frames{"585#43 00 10 00 00 00 00 00", "585#43 18 10 01 C7 03 00 00"}), node.port().takeSent());
}

TEST(NodeReception, CommandInABurstTakesEffectForTheFramesBehindIt) {
  TestNode node;
  node.start();
  node.port().inject("605#40 18 10 01 00 00 00 00");
  node.port().inject("000#02 05");
  node.port().inject("605#40 18 10 01 00 00 00 00");  // no SDO in STOPPED
  node.port().inject("000#80 05");
  node.port().inject("605#40 18 10 01 00 00 00 00");
  node.canopen().onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ((Frames{"585#43 18 10 01 C7 03 00 00", "585#43 18 10 01 C7 03 00 00"}), node.port().takeSent());
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
}

TEST(NodeReception, EveryOtherIdentifierAndLengthIsDropped) {
  TestNode node;
  node.start();
  for (unsigned int identifier = 0x001; identifier <= 0x7FF; ++identifier) {
    if (identifier == 0x605) {
      continue;
    }
    for (unsigned int length = 0; length <= 8; ++length) {
      KQ::KQCANMessage message;
      message.identifier = identifier;
      message.length = length;
      node.port().inject(message);
    }
  }
  node.canopen().onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ(0U, node.port().waitingFrames());
  EXPECT_EQ(Frames{}, node.port().takeSent());
  EXPECT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
}

}  // namespace
