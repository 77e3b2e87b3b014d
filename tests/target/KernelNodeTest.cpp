// Covers: a whole node on a real kernel's SocketCAN: interface vcan0.
//
// | subject        | functional                   | robustness                                                      |
// |----------------|------------------------------|-----------------------------------------------------------------|
// | life           | boot-up, heartbeat, NMT, SDO |                                                                 |
// | transmit queue |                              | 64 TPDOs on one SYNC through a queue of ten frames, again and   |
// |                |                              | again                                                           |
// | interface      |                              | down and up while TPDOs are pending; deleted and created again  |
// | error frames   |                              | bus-off, error-passive, overrun: the node goes on               |
// | foreign frames |                              | extended, remote and FD frames with the identifiers of services |
// | wall clock     |                              | stepped by an hour both ways: heartbeat, its consumer, event    |
// |                |                              | timer and SDO                                                   |

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/can/error.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "KQVariable.h"
#include "KernelBus.h"
#include "KernelNode.h"
#include "SignalRecorder.h"

namespace test {
namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;

constexpr int HEARTBEAT_MS = 50;
const std::string UPLOAD_VENDOR_ID = "605#40 18 10 01 00 00 00 00";

class KernelNodeTest : public testing::Test {
protected:
  // Lets the node work, and gives the frames that the other node saw meanwhile.
  Frames run(int milliseconds) {
    device.run(milliseconds);
    return peer.take();
  }

  static Frames only(const Frames& frames, const std::string& identifier) {
    Frames result;
    std::copy_if(frames.begin(), frames.end(), std::back_inserter(result),
                 [&](const std::string& text) { return text.rfind(identifier, 0) == 0; });
    return result;
  }

  // The answers to an upload, which every node gives at any time.
  std::size_t countAnswers() {
    peer.send(UPLOAD_VENDOR_ID);
    return only(run(5), "585#43 18 10 01").size();
  }

  RawSocket peer{"vcan0"};
  KernelNode device{"vcan0", 5, HEARTBEAT_MS};
};

TEST_F(KernelNodeTest, BootsAndObeysItsMaster) {
  EXPECT_EQ(Frames{"705#00"}, only(run(5), "705"));
  peer.send("000#01 05");
  EXPECT_THAT(run(2 * HEARTBEAT_MS), Contains("705#05"));
  EXPECT_EQ(1U, countAnswers());
  peer.send("000#02 05");
  EXPECT_THAT(run(2 * HEARTBEAT_MS), Contains("705#04"));
  peer.send("000#82 05");
  EXPECT_THAT(run(2 * HEARTBEAT_MS), Contains("705#00"));
}

TEST_F(KernelNodeTest, SixtyFourPDOsOfOneSyncPassAQueueOfTenFrames) {
  constexpr unsigned short PDOS = 64;
  device.addVariables(PDOS);
  Frames expected;
  for (unsigned short i = 0; i < PDOS; ++i) {
    device.addTransmitPDO(i, 0x301U + i, 1, i);
    KQ::KQCANMessage message;
    message.identifier = 0x301U + i;
    message.length = 4;
    message.data[0] = static_cast<unsigned char>(i + 1);
    expected.push_back(toText(message));
  }
  device.start();
  for (unsigned short i = 0; i < PDOS; ++i) {
    device.write(i, i + 1U);
  }
  // The first SYNC after a change carries the PDO once for the change and once for its cycle.
  peer.send("080#");
  run(5);
  canlink("pace vcan0 8000 10");
  for (int sync = 0; sync < 5; ++sync) {
    peer.send("080#");
    EXPECT_EQ(expected, only(run(20), "3")) << "SYNC " << sync;
  }
  canlink("unpace vcan0");
  EXPECT_EQ(0U, device.node.getEndPoint()->getStatistics().refused);
}

TEST_F(KernelNodeTest, InterfaceDownAndUpWhilePDOsArePending) {
  device.addVariables(32);
  for (unsigned short i = 0; i < 32; ++i) {
    device.addTransmitPDO(i, 0x301U + i, 1, i);
  }
  device.start();
  run(5);
  canlink("pace vcan0 100 10");
  peer.send("080#");
  run(2);
  canlink("down vcan0");
  run(500);
  canlink("unpace vcan0");
  canlink("up vcan0");
  run(250);
  EXPECT_EQ(1U, countAnswers());
  EXPECT_THAT(run(2 * HEARTBEAT_MS), Contains("705#05")) << "it is still OPERATIONAL";
  peer.send("080#");
  EXPECT_EQ(32U, only(run(10), "3").size());
}

TEST_F(KernelNodeTest, InterfaceThatVanishesAndReturnsIsUsedAgainWithOneLineEachWay) {
  device.start();
  run(5);
  testing::internal::CaptureStderr();
  canlink("del vcan0");
  device.run(500);
  canlink("add vcan0 vcan");
  canlink("up vcan0");
  device.run(250);
  std::istringstream errors(testing::internal::GetCapturedStderr());
  Frames ofThePort;
  for (std::string line; std::getline(errors, line);) {
    if (line.rfind("socketcan:", 0) == 0) {
      ofThePort.push_back(line);
    }
  }
  EXPECT_EQ((Frames{"socketcan:vcan0: interface is down", "socketcan:vcan0: interface is up again"}), ofThePort);
  const KQ::KQEndPointStatistics statistics = device.node.getEndPoint()->getStatistics();
  EXPECT_EQ(1U, statistics.disconnects);
  EXPECT_EQ(1U, statistics.reconnects);
  EXPECT_GT(statistics.refused, 0U) << "the heartbeats meanwhile";
  RawSocket other("vcan0");
  device.run(2 * HEARTBEAT_MS);
  EXPECT_THAT(other.take(), Contains("705#05")) << "it is still OPERATIONAL";
  other.send(UPLOAD_VENDOR_ID);
  device.run(5);
  EXPECT_EQ(1U, only(other.take(), "585#43 18 10 01").size());
}

struct ErrorCase {
  const char* name;
  unsigned int classes;
  unsigned char controllerState;
};

class KernelNodeError : public KernelNodeTest, public testing::WithParamInterface<ErrorCase> {};

TEST_P(KernelNodeError, IsSurvived) {
  device.start();
  run(5);
  can_frame error{};
  error.can_id = CAN_ERR_FLAG | GetParam().classes;
  error.can_dlc = CAN_ERR_DLC;
  error.data[1] = GetParam().controllerState;
  peer.send(error);
  run(2500);
  EXPECT_EQ(1U, countAnswers());
  EXPECT_THAT(run(2 * HEARTBEAT_MS), Contains("705#05"));
}

INSTANTIATE_TEST_SUITE_P(Frames, KernelNodeError,
                         testing::Values(ErrorCase{"BusOff", CAN_ERR_BUSOFF, 0},
                                         ErrorCase{"ErrorPassive", CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE},
                                         ErrorCase{"Overrun", CAN_ERR_CRTL, CAN_ERR_CRTL_RX_OVERFLOW}),
                         [](const auto& row) { return row.param.name; });

TEST_F(KernelNodeTest, ForeignFramesAreNotTakenForServices) {
  device.start();
  run(5);
  for (const unsigned int flags : {CAN_EFF_FLAG, CAN_RTR_FLAG, CAN_EFF_FLAG | CAN_RTR_FLAG}) {
    can_frame stop{};
    stop.can_id = flags;
    stop.can_dlc = 2;
    stop.data[0] = 2;
    peer.send(stop);
    can_frame upload{};
    upload.can_id = flags | 0x605;
    upload.can_dlc = 8;
    const unsigned char request[] = {0x40, 0x18, 0x10, 1};
    std::memcpy(upload.data, request, sizeof request);
    peer.send(upload);
  }
  canfd_frame stop{};
  stop.len = 2;
  stop.data[0] = 2;
  peer.send(stop);
  const Frames frames = run(2 * HEARTBEAT_MS);
  EXPECT_THAT(only(frames, "585"), IsEmpty());
  EXPECT_THAT(frames, Contains("705#05"));
  EXPECT_THAT(frames, Not(Contains("705#04")));
}

// ---- Wall clock

class KernelNodeWallClock : public KernelNodeTest, public testing::WithParamInterface<int> {
protected:
  static constexpr int PERIOD_MS = HEARTBEAT_MS;

  void waitFor(const std::string& identifier) {
    for (int i = 0; i < 2 * PERIOD_MS && only(run(1), identifier).empty(); ++i) {
    }
  }

  // The clock is set behind a frame with that identifier, and twenty more follow, each a period after the one before.
  void expectCadenceOverTheStep(const std::string& identifier) {
    waitFor(identifier);
    std::int64_t last = monotonicTime();
    wallClock.step(GetParam());
    for (int frames = 0; frames < 20; ++frames) {
      waitFor(identifier);
      const std::int64_t now = monotonicTime();
      ASSERT_NEAR(static_cast<double>(now - last), PERIOD_MS * MILLISECOND, 5 * MILLISECOND) << "after " << frames;
      last = now;
    }
  }

  SteppedWallClock wallClock;
};

TEST_P(KernelNodeWallClock, StepLeavesTheHeartbeatsCadence) {
  device.start();
  run(100);
  expectCadenceOverTheStep("705");
}

TEST_P(KernelNodeWallClock, StepLeavesTheEventTimersCadence) {
  device.addVariables(1);
  device.node.addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x301, PERIOD_MS, 0, 255, true, nullptr);
  device.node.addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, 0x2000, 0, 32);
  device.start();
  run(100);
  expectCadenceOverTheStep("301");
}

TEST_P(KernelNodeWallClock, StepIsNoSilenceOfAWatchedNode) {
  SignalRecorder events;
  device.node.addHeartbeatConsumer(7, 100);
  device.node.addHeartbeatListener(&events);
  device.start();
  peer.send("707#05");
  run(50);
  wallClock.step(GetParam());
  for (int i = 0; i < 20; ++i) {
    peer.send("707#05");
    run(50);
  }
  EXPECT_EQ(1U, events.signals.size()) << "that the node was heard at first, and nothing else";
  run(120);
  EXPECT_EQ(2U, events.signals.size()) << "real silence is noticed as it was before";
}

TEST_P(KernelNodeWallClock, StepDoesNotEndATransfer) {
  // More than four bytes are uploaded in segments.
  KQ::KQVariable text(0x2100, 0, "Text", KQ::STORAGE_TYPE_STRING);
  text.setInitialText("in segments");
  ASSERT_EQ(0, device.node.addVariable(&text));
  device.start();
  peer.send("605#40 00 21 00 00 00 00 00");
  ASSERT_EQ(1U, only(run(5), "585#41 00 21 00").size());
  wallClock.step(GetParam());
  run(50);
  peer.send("605#60 00 00 00 00 00 00 00");
  const Frames answers = only(run(5), "585");
  ASSERT_EQ(1U, answers.size());
  EXPECT_NE("585#80", answers[0].substr(0, 6)) << "aborted";
}

INSTANTIATE_TEST_SUITE_P(Steps, KernelNodeWallClock, testing::Values(3600, -3600), [](const auto& row) {
  return row.param > 0 ? std::string("AnHourForward") : std::string("AnHourBack");
});

}  // namespace
}  // namespace test
