// Covers: the end point of the kernel's SocketCAN on a real kernel: interface vcan0.
//
// | subject        | functional                                    | robustness                                    |
// |----------------|-----------------------------------------------|-----------------------------------------------|
// | opening        | a CAN interface; none of that name; an        |                                               |
// |                | interface that is not CAN                     |                                               |
// | transfer       | both ways, every length, in order, own frames |                                               |
// |                | not read                                      |                                               |
// | foreign frames |                                               | extended, remote, FD: dropped and counted     |
// | transmit queue |                                               | ENOBUFS: kept in order, refused when the end  |
// |                |                                               | point's own queue is full too                 |
// | interface      |                                               | down and up, with frames pending; deleted and |
// |                |                                               | created again                                 |
// | error frames   |                                               | bus-off, error-passive, overrun of the        |
// |                |                                               | controller                                    |
// | socket buffer  |                                               | overflow counted, order kept                  |

#include <gtest/gtest.h>
#include <linux/can/error.h>

#include <cstring>

#include "KQEndPointListener.h"
#include "KQEndPointManager.h"
#include "KQSocketCANEndPoint.h"
#include "KernelBus.h"

namespace test {
namespace {

// An open port on vcan0 that a manager serves, and another node there.
class KernelEndPoint : public testing::Test, protected KQ::KQEndPointListener {
protected:
  KernelEndPoint() {
    std::string error;
    port = KQ::KQSocketCANEndPoint::open("vcan0", error);
    EXPECT_NE(nullptr, port) << error;
    endPoints.addEndPoint(port.get(), this);
  }
  ~KernelEndPoint() override { endPoints.removeEndPoint(port.get()); }

  void onEndPointReadable(KQ::KQEndPoint*, KQ::KQEndPointManager*) override {
    KQ::KQCANMessage message;
    while (port->readMessage(message) == KQ::KQ_OK) {
      received.push_back(toText(message));
    }
  }
  void onEndPointReconnected(KQ::KQEndPoint*) override { events.push_back("reconnected"); }
  void onEndPointDisconnected(KQ::KQEndPoint*) override { events.push_back("disconnected"); }

  void run(int milliseconds) {
    const std::int64_t end = monotonicTime() + milliseconds * MILLISECOND;
    while (monotonicTime() < end) {
      endPoints.wait(1);
    }
  }

  void sendError(unsigned classes, unsigned char controllerState = 0) {
    can_frame frame{};
    frame.can_id = CAN_ERR_FLAG | classes;
    frame.can_dlc = CAN_ERR_DLC;
    frame.data[1] = controllerState;
    peer.send(frame);
    run(1);
  }

  KQ::KQEndPointManager endPoints;
  std::unique_ptr<KQ::KQSocketCANEndPoint> port;
  RawSocket peer{"vcan0"};
  Frames received;
  std::vector<std::string> events;
};

// Number number as a frame that names its place in a burst.
std::string numbered(unsigned int identifier, unsigned int number) {
  KQ::KQCANMessage message;
  message.identifier = identifier;
  message.length = sizeof number;
  std::memcpy(message.data, &number, sizeof number);
  return toText(message);
}

// vcan0 lets frames out as slowly as a bus of 1 Mbit/s, and has the default queue of a controller in front of it.
class PacedInterface {
public:
  static constexpr unsigned QUEUE_LENGTH = 10;

  explicit PacedInterface(unsigned framesPerSecond = 8000) {
    canlink("pace vcan0 " + std::to_string(framesPerSecond) + " " + std::to_string(QUEUE_LENGTH));
  }
  ~PacedInterface() { canlink("unpace vcan0"); }
  PacedInterface(const PacedInterface&) = delete;
  PacedInterface& operator=(const PacedInterface&) = delete;
};

// ---- Opening

TEST(KernelEndPointOpen, UnknownInterfaceIsNamed) {
  std::string error;
  EXPECT_EQ(nullptr, KQ::KQSocketCANEndPoint::open("vcan7", error));
  EXPECT_EQ("socketcan:vcan7: no such interface", error);
}

TEST(KernelEndPointOpen, OtherNetworkInterfaceIsRefused) {
  std::string error;
  EXPECT_EQ(nullptr, KQ::KQSocketCANEndPoint::open("lo", error));
  EXPECT_EQ("socketcan:lo: not a CAN interface", error);
}

// ---- Transfer

TEST_F(KernelEndPoint, FramesOfEveryLengthPassBothWays) {
  const std::string bytes[] = {"",
                               "01",
                               "01 02",
                               "01 02 03",
                               "01 02 03 04",
                               "01 02 03 04 05",
                               "01 02 03 04 05 06",
                               "01 02 03 04 05 06 07",
                               "01 02 03 04 05 06 07 08"};
  Frames expected;
  for (const std::string& data : bytes) {
    expected.push_back("7FF#" + data);
    peer.send(expected.back());
  }
  run(2);
  EXPECT_EQ(expected, received);
  for (const std::string& text : expected) {
    EXPECT_EQ(KQ::KQ_OK, port->writeMessage(frame(text)));
  }
  run(2);
  EXPECT_EQ(expected, peer.take());
  EXPECT_EQ(expected, received) << "its own frames are not handed out to a port";
}

TEST_F(KernelEndPoint, BurstIsReadInOrder) {
  Frames expected;
  for (unsigned int i = 0; i < 500; ++i) {
    expected.push_back(numbered(0x181, i));
    peer.send(expected.back());
  }
  run(50);  // several waits: one hands on a part of them only
  EXPECT_EQ(expected, received);
}

// ---- Foreign frames

TEST_F(KernelEndPoint, ExtendedRemoteAndFDFramesAreDroppedAndCounted) {
  can_frame foreign{};
  foreign.can_dlc = 2;
  foreign.can_id = CAN_EFF_FLAG | 0x605;
  peer.send(foreign);
  foreign.can_id = CAN_RTR_FLAG | 0x705;
  peer.send(foreign);
  peer.send("123#01");
  run(2);
  EXPECT_EQ(Frames{"123#01"}, received);
  EXPECT_EQ(2U, port->getStatistics().dropped);
  canfd_frame flexible{};
  flexible.can_id = 0x605;
  flexible.len = 64;
  peer.send(flexible);
  flexible.len = 8;
  peer.send(flexible);
  peer.send("124#02");
  run(2);
  EXPECT_EQ((Frames{"123#01", "124#02"}), received) << "the kernel keeps FD frames from a classic socket";
}

// ---- Transmit queue

TEST_F(KernelEndPoint, BurstLongerThanTheInterfacesQueueIsSentWholeAndInOrder) {
  const PacedInterface paced;
  Frames expected;
  for (unsigned int i = 0; i < 6 * PacedInterface::QUEUE_LENGTH; ++i) {
    expected.push_back(numbered(0x185, i));
    ASSERT_EQ(KQ::KQ_OK, port->writeMessage(frame(expected.back())));
  }
  EXPECT_NE(-1, port->getServiceDelay()) << "the kernel must have refused frames, or nothing is tested here";
  run(50);
  EXPECT_EQ(expected, peer.take());
  EXPECT_EQ(-1, port->getServiceDelay());
}

TEST_F(KernelEndPoint, FrameIsRefusedWhenBothQueuesAreFull) {
  const PacedInterface paced(100);
  unsigned int accepted = 0;
  while (accepted < 2000 && port->writeMessage(frame("185#01")) == KQ::KQ_OK) {
    ++accepted;
  }
  EXPECT_EQ(KQ::KQ_DEFERRED, port->writeMessage(frame("185#01")));
  EXPECT_GE(accepted, KQ::KQSocketCANEndPoint::TRANSMIT_CAPACITY + PacedInterface::QUEUE_LENGTH);
  EXPECT_LT(accepted, KQ::KQSocketCANEndPoint::TRANSMIT_CAPACITY + 2 * PacedInterface::QUEUE_LENGTH);
}

// ---- Interface

TEST_F(KernelEndPoint, InterfaceDownAndUpWithFramesPendingIsSurvived) {
  {
    const PacedInterface paced(100);
    for (unsigned int i = 0; i < 50; ++i) {
      ASSERT_EQ(KQ::KQ_OK, port->writeMessage(frame("185#01")));
    }
    canlink("down vcan0");
    run(20);
  }
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, port->writeMessage(frame("185#02")));
  EXPECT_GT(port->getStatistics().discarded, 30U);
  canlink("up vcan0");
  run(250);
  EXPECT_EQ((std::vector<std::string>{"disconnected", "reconnected"}), events);
  peer.take();
  EXPECT_EQ(KQ::KQ_OK, port->writeMessage(frame("185#03")));
  peer.send("205#04");
  run(5);
  EXPECT_EQ(Frames{"185#03"}, peer.take()) << "what waited is of the past";
  EXPECT_EQ(Frames{"205#04"}, received);
}

TEST_F(KernelEndPoint, InterfaceThatIsPluggedInAgainIsUsedAgain) {
  canlink("del vcan0");
  run(20);
  EXPECT_FALSE(port->isConnected());
  canlink("add vcan0 vcan");
  run(250);
  EXPECT_FALSE(port->isConnected()) << "it is down yet";
  canlink("up vcan0");
  run(250);
  EXPECT_EQ((std::vector<std::string>{"disconnected", "reconnected"}), events);
  RawSocket other("vcan0");
  other.send("205#04");
  EXPECT_EQ(KQ::KQ_OK, port->writeMessage(frame("185#03")));
  run(5);
  EXPECT_EQ(Frames{"205#04"}, received);
  EXPECT_EQ(Frames{"185#03"}, other.take());
}

// ---- Error frames

TEST_F(KernelEndPoint, BusOffIsAnOutageUntilTheRestart) {
  sendError(CAN_ERR_BUSOFF);
  EXPECT_EQ((std::vector<std::string>{"disconnected"}), events);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, port->writeMessage(frame("185#01")));
  sendError(CAN_ERR_RESTARTED);
  EXPECT_EQ((std::vector<std::string>{"disconnected", "reconnected"}), events);
  EXPECT_EQ(KQ::KQ_OK, port->writeMessage(frame("185#02")));
  EXPECT_EQ(Frames{"185#02"}, peer.take());
  EXPECT_EQ(1U, port->getStatistics().busOff);
}

TEST_F(KernelEndPoint, BusOffEndsByItselfWhenTheInterfaceRuns) {
  sendError(CAN_ERR_BUSOFF);
  run(2200);
  EXPECT_EQ((std::vector<std::string>{"disconnected", "reconnected"}), events);
}

TEST_F(KernelEndPoint, ErrorPassiveControllerGoesOnTransferring) {
  sendError(CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(1U, port->getStatistics().errorPassive);
  EXPECT_EQ(KQ::KQ_OK, port->writeMessage(frame("185#01")));
  peer.send("205#02");
  run(2);
  EXPECT_EQ(Frames{"185#01"}, peer.take());
  EXPECT_EQ(Frames{"205#02"}, received);
}

TEST_F(KernelEndPoint, OverrunOfTheControllerIsCountedAndNothingElse) {
  sendError(CAN_ERR_CRTL, CAN_ERR_CRTL_RX_OVERFLOW);
  EXPECT_EQ(1U, port->getStatistics().overruns);
  EXPECT_TRUE(events.empty());
  EXPECT_TRUE(received.empty()) << "an error frame is no frame";
}

// ---- Socket buffer

TEST_F(KernelEndPoint, OverflowOfTheSocketBufferIsCountedAndLeavesTheOrder) {
  constexpr unsigned int FRAMES = 20000;
  for (unsigned int i = 0; i < FRAMES; ++i) {
    peer.send(numbered(0x181, i));
  }
  run(50);
  // What was lost is said with the frames behind the loss only.
  peer.send(numbered(0x181, FRAMES));
  run(2);
  ASSERT_GT(received.size(), 100U);
  EXPECT_EQ(FRAMES + 1, received.size() + port->getStatistics().overruns);
  EXPECT_GT(port->getStatistics().overruns, 0U);
  for (unsigned int i = 0; i + 1 < received.size(); ++i) {
    ASSERT_EQ(numbered(0x181, i), received[i]) << "the oldest frames are kept";
  }
}

}  // namespace
}  // namespace test
