// Covers: KQSocketCANEndPoint on a kernel that the test plays.
//
// | subject               | functional                                                      | robustness              |
// |-----------------------|-----------------------------------------------------------------|-------------------------|
// | opening               | no CAN in the kernel, no interface, not a CAN interface, other  |                         |
// |                       | errors; interface down                                          |                         |
// | reading               | in batches one by one; asked again only when there may be more; |                         |
// |                       | extended, remote, FD and over-long frames dropped; errors never |                         |
// |                       | read                                                            |                         |
// | filter                | single, neighbours, all, none, too many, refused; with an       |                         |
// |                       | observer; after a reconnect                                     |                         |
// | writing               | straight; ENOBUFS, EAGAIN queue in order; full queue 17; retry  |                         |
// |                       | after 1 ms                                                      |                         |
// | interface down and up | seen by read, by write; once each way; bound again; another     |                         |
// |                       | index; queue discarded                                          |                         |
// | controller            | bus-off and its three ways back, error-passive, overruns, lost  |                         |
// |                       | in the socket buffer                                            |                         |
// | without a manager     | comes back by reading                                           |                         |
// | threads               | each operation waits for a transmission under way               | writers and the manager |

#include <gtest/gtest.h>
#include <linux/can/error.h>
#include <net/if.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "CANTestSupport.h"
#include "KQSocketCANEndPoint.h"
#include "NamedCase.h"
#include "OtherThread.h"

namespace KQ::test {
namespace {

using Frames = std::vector<std::string>;

// The system calls of a kernel with one interface, "can0". An eventfd stands for the socket.
class FakeKernel : public KQCANSocketCalls {
public:
  int openSocket() override {
    if (openError != 0) {
      return openError;
    }
    socket = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    return socket;
  }
  void closeSocket(int descriptor) override {
    close(descriptor);
    socket = -1;
  }
  int findInterface(int, const std::string& name) override { return name == "can0" && exists ? index : -ENODEV; }
  int getInterfaceFlags(int, const std::string&) override {
    ++questions;
    return exists ? flags : -ENODEV;
  }
  int bindSocket(int, int interfaceIndex) override {
    ++binds;
    boundIndex = interfaceIndex;
    return bindError;
  }
  int setFilters(int, const can_filter* wanted, unsigned number) override {
    if (filterError != 0 && wanted[0].can_mask != 0) {
      return filterError;
    }
    filters.assign(wanted, wanted + number);
    return 0;
  }
  void clearError(int) override { receiveError = 0; }

  // Whether a data frame passes the filters, as the kernel judges it.
  bool passes(unsigned identifier) const {
    return std::any_of(filters.begin(), filters.end(), [identifier](const can_filter& filter) {
      return (identifier & filter.can_mask) == (filter.can_id & filter.can_mask);
    });
  }
  int receive(int, Received* frames, unsigned capacity) override {
    ++receives;
    if (receiveError != 0) {
      const int error = receiveError;
      receiveError = 0;
      return error;
    }
    unsigned number = 0;
    for (; number < capacity && !waiting.empty(); ++number) {
      frames[number] = waiting.front();
      waiting.pop_front();
    }
    return number == 0 ? -EAGAIN : static_cast<int>(number);
  }
  int send(int, const can_frame& frame) override {
    onSend();
    const std::lock_guard<std::mutex> lock(mutex);
    ++sends;
    if (sendError != 0) {
      return sendError;
    }
    if (room == 0) {
      return fullError;
    }
    --room;
    KQCANMessage message = makeMessage(frame.can_id);
    message.length = frame.can_dlc;
    std::memcpy(message.data, frame.data, sizeof message.data);
    sent.push_back(toText(message));
    return 0;
  }

  void give(unsigned identifier, std::initializer_list<unsigned char> bytes = {}, unsigned lost = 0) {
    Received received{};
    received.size = CAN_MTU;
    received.lost = lost;
    received.frame.can_id = identifier;
    received.frame.len = static_cast<unsigned char>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), received.frame.data);
    waiting.push_back(received);
  }
  void giveError(unsigned classes, unsigned char controller = 0) {
    give(CAN_ERR_FLAG | classes, {0, controller, 0, 0, 0, 0, 0, 0});
  }

  std::function<void()> onSend = [] {};
  int openError{0};
  int bindError{0};
  int receiveError{0};
  int sendError{0};
  int filterError{0};
  int fullError{-ENOBUFS};
  unsigned room{100000};
  bool exists{true};
  int index{3};
  int flags{IFF_UP | IFF_RUNNING};
  int socket{-1};
  int boundIndex{0};
  unsigned questions{0};
  unsigned binds{0};
  unsigned receives{0};
  unsigned sends{0};
  std::deque<Received> waiting;
  std::vector<can_filter> filters{{0, 0}};
  Frames sent;
  std::mutex mutex;
};

// An open port that a manager serves, and a clock that stands still.
class SocketCAN : public testing::Test {
protected:
  SocketCAN() {
    std::string error;
    port = KQSocketCANEndPoint::open("can0", error, &kernel);
    EXPECT_NE(nullptr, port) << error;
    manager.addEndPoint(port.get(), &listener);
    testing::internal::CaptureStderr();
  }
  ~SocketCAN() override {
    if (!stderrTaken) {
      testing::internal::GetCapturedStderr();
    }
  }

  std::string takeStderr() {
    stderrTaken = true;
    return testing::internal::GetCapturedStderr();
  }

  void pass(unsigned milliseconds) {
    TestClock::advance(milliseconds);
    manager.wait(0);
  }

  // Lets the kernel report on the socket and the manager look.
  void announce() {
    const std::uint64_t one = 1;
    ASSERT_EQ(static_cast<ssize_t>(sizeof one), write(kernel.socket, &one, sizeof one));
    manager.wait(0);
    std::uint64_t ignored = 0;
    ASSERT_EQ(static_cast<ssize_t>(sizeof ignored), read(kernel.socket, &ignored, sizeof ignored));
    manager.wait(0);
  }

  TestClock clock;
  FakeKernel kernel;
  KQEndPointManager manager;
  RecordingListener listener;
  std::unique_ptr<KQSocketCANEndPoint> port;

private:
  bool stderrTaken{false};
};

// ---- Opening

struct OpenFailure {
  int openError;
  int bindError;
  bool exists;
  const char* text;
};

class SocketCANOpen : public testing::TestWithParam<OpenFailure> {};

TEST_P(SocketCANOpen, SaysInOneLineWhatIsWrong) {
  FakeKernel kernel;
  kernel.openError = GetParam().openError;
  kernel.bindError = GetParam().bindError;
  kernel.exists = GetParam().exists;
  std::string error;
  EXPECT_EQ(nullptr, KQSocketCANEndPoint::open("can0", error, &kernel));
  EXPECT_EQ(GetParam().text, error);
  EXPECT_EQ(-1, kernel.socket) << "the socket must not stay open";
}

INSTANTIATE_TEST_SUITE_P(
    Failures, SocketCANOpen,
    testing::Values(OpenFailure{-EAFNOSUPPORT, 0, true, "socketcan:can0: this kernel has no CAN support"},
                    OpenFailure{-EPROTONOSUPPORT, 0, true, "socketcan:can0: this kernel has no CAN support"},
                    OpenFailure{-EMFILE, 0, true, "socketcan:can0: Too many open files"},
                    OpenFailure{0, 0, false, "socketcan:can0: no such interface"},
                    OpenFailure{0, -ENODEV, true, "socketcan:can0: not a CAN interface"},
                    OpenFailure{0, -EPERM, true, "socketcan:can0: Operation not permitted"}));

TEST(SocketCANOpenOnThisKernel, GivesAPortOrAClearText) {
  std::string error;
  EXPECT_EQ(nullptr, KQSocketCANEndPoint::open("nosuchcan0", error));
  EXPECT_TRUE(error == "socketcan:nosuchcan0: this kernel has no CAN support" ||
              error == "socketcan:nosuchcan0: no such interface")
      << error;
}

TEST(SocketCANOpenInterfaceDown, OpensAndReturnsWhenItIsUp) {
  const TestClock clock;
  FakeKernel kernel;
  kernel.flags = 0;
  std::string error;
  testing::internal::CaptureStderr();
  auto port = KQSocketCANEndPoint::open("can0", error, &kernel);
  ASSERT_NE(nullptr, port);
  EXPECT_FALSE(port->isConnected());
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->writeMessage(makeMessage(1)));
  KQEndPointManager manager;
  RecordingListener listener;
  manager.addEndPoint(port.get(), &listener);
  kernel.flags = IFF_UP;
  TestClock::advance(100);
  manager.wait(0);
  EXPECT_EQ((Frames{"disconnected", "reconnected"}), listener.events);
  EXPECT_EQ("socketcan:can0: interface is down\nsocketcan:can0: interface is up again\n",
            testing::internal::GetCapturedStderr());
}

// ---- Reading

TEST_F(SocketCAN, BatchIsHandedOutOneByOne) {
  for (unsigned i = 0; i < 70; ++i) {
    kernel.give(i, {static_cast<unsigned char>(i)});
  }
  KQCANMessage message;
  for (unsigned i = 0; i < 70; ++i) {
    ASSERT_EQ(KQ_OK, port->readMessage(message));
    EXPECT_EQ(i, message.identifier);
    EXPECT_EQ(1U, message.length);
    EXPECT_EQ(0U, message.flags);
  }
  EXPECT_EQ(4U, kernel.receives);  // 4, 32, 32 and 2 frames
  EXPECT_EQ(KQ_NO_DATA, port->readMessage(message));
}

TEST_F(SocketCAN, RestOfABatchIsAnnouncedWithoutTheKernel) {
  listener.framesPerCall = 1;
  kernel.give(1);
  kernel.give(2);
  kernel.give(3);
  announce();
  EXPECT_EQ(1, manager.wait(-1));
  EXPECT_EQ((Frames{"001#", "002#", "003#"}), listener.frames);
}

TEST_F(SocketCAN, FramesThatAreNotClassicDataFramesAreDroppedAndCounted) {
  kernel.give(CAN_EFF_FLAG | 0x181, {1});
  kernel.give(CAN_RTR_FLAG | 0x705);
  kernel.give(CAN_EFF_FLAG | CAN_RTR_FLAG | 0x1ABCDEF);
  kernel.give(0x182, {1});
  kernel.waiting.back().size = CANFD_MTU;
  kernel.give(0x183);
  kernel.waiting.back().frame.len = 9;
  kernel.give(0x184);
  kernel.waiting.back().size = 4;
  kernel.give(0x7FF, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(Frames{"7FF#0102030405060708"}, readAll(*port));
  EXPECT_EQ(6U, port->getStatistics().dropped);
  EXPECT_EQ(1U, port->getStatistics().received);
}

TEST_F(SocketCAN, ErrorFramesAreCountedAndNeverRead) {
  kernel.giveError(CAN_ERR_PROT | CAN_ERR_BUSERROR);
  kernel.giveError(CAN_ERR_ACK);
  kernel.give(5);
  EXPECT_EQ(Frames{"005#"}, readAll(*port));
  EXPECT_EQ(2U, port->getStatistics().errorFrames);
  EXPECT_EQ(0U, port->getStatistics().dropped);
  EXPECT_EQ("", takeStderr());
}

TEST_F(SocketCAN, KernelIsAskedOnceForFewerFramesThanABatch) {
  kernel.give(0x181);
  kernel.give(0x182);
  announce();
  EXPECT_EQ((Frames{"181#", "182#"}), listener.frames);
  EXPECT_EQ(1U, kernel.receives);
}

TEST_F(SocketCAN, KernelIsAskedAgainAfterAFullBatch) {
  for (unsigned i = 0; i < 33; ++i) {
    kernel.give(0x181);
  }
  announce();
  EXPECT_EQ(33U, listener.frames.size());
  EXPECT_EQ(2U, kernel.receives);  // four, and then all that there are
}

// ---- Filter

KQReceptionFilter filterOf(std::initializer_list<unsigned> identifiers) {
  KQReceptionFilter filter;
  for (const unsigned identifier : identifiers) {
    filter.add(identifier);
  }
  return filter;
}

TEST_F(SocketCAN, KernelLetsThroughWhatIsWantedAndNothingElse) {
  const KQReceptionFilter wanted = filterOf({0x000, 0x080, 0x201, 0x605, 0x700, 0x701, 0x702, 0x7FF});
  port->setReceptionFilter(&wanted);
  for (unsigned identifier = 0; identifier <= 0x7FF; ++identifier) {
    EXPECT_EQ(wanted.contains(identifier), kernel.passes(identifier)) << identifier;
  }
  EXPECT_FALSE(kernel.passes(0x201 | CAN_EFF_FLAG));
  EXPECT_FALSE(kernel.passes(0x201 | CAN_RTR_FLAG));
}

TEST_F(SocketCAN, NeighboursShareAFilter) {
  KQReceptionFilter wanted;
  for (unsigned identifier = 0x700; identifier <= 0x7FF; ++identifier) {
    wanted.add(identifier);
  }
  port->setReceptionFilter(&wanted);
  EXPECT_EQ(1U, kernel.filters.size());
}

TEST_F(SocketCAN, NothingWantedIsAnEmptyList) {
  const KQReceptionFilter nothing;
  port->setReceptionFilter(&nothing);
  EXPECT_TRUE(kernel.filters.empty());
}

TEST_F(SocketCAN, FilterIsTakenBack) {
  const KQReceptionFilter wanted = filterOf({0x201});
  port->setReceptionFilter(&wanted);
  port->setReceptionFilter(nullptr);
  EXPECT_TRUE(kernel.passes(0x202));
}

TEST_F(SocketCAN, MoreFiltersThanTheKernelTakesLetEverythingThrough) {
  KQReceptionFilter wanted;
  for (unsigned identifier = 0; identifier <= 0x7FF; identifier += 2) {
    wanted.add(identifier);
  }
  port->setReceptionFilter(&wanted);
  EXPECT_TRUE(kernel.passes(0x201));
}

TEST_F(SocketCAN, AsManyFiltersAsTheKernelTakes) {
  KQReceptionFilter wanted;
  for (unsigned identifier = 0; identifier < 0x400; identifier += 2) {
    wanted.add(identifier);
  }
  port->setReceptionFilter(&wanted);
  EXPECT_EQ(512U, kernel.filters.size());
  EXPECT_FALSE(kernel.passes(0x201));
}

TEST_F(SocketCAN, RefusedFilterIsNoFailureAndHoldsNothingBack) {
  const KQReceptionFilter before = filterOf({0x201});
  port->setReceptionFilter(&before);
  kernel.filterError = -ENOMEM;
  const KQReceptionFilter wanted = filterOf({0x202});
  port->setReceptionFilter(&wanted);
  EXPECT_TRUE(kernel.passes(0x202));
  EXPECT_TRUE(port->isConnected());
}

TEST_F(SocketCAN, ObserverSeesEverythingAsLongAsItIsThere) {
  struct Observer : KQFrameObserver {
    void frameTransferred(const KQCANMessage& /*message*/, bool /*sent*/) override {}
  } observer;
  const KQReceptionFilter wanted = filterOf({0x201});
  port->setFrameObserver(&observer);
  port->setReceptionFilter(&wanted);
  EXPECT_TRUE(kernel.passes(0x202));
  port->setFrameObserver(nullptr);
  EXPECT_FALSE(kernel.passes(0x202));
}

TEST_F(SocketCAN, FilterIsSetAgainAfterAReconnect) {
  const KQReceptionFilter wanted = filterOf({0x201});
  port->setReceptionFilter(&wanted);
  kernel.receiveError = -ENETDOWN;
  announce();
  ASSERT_FALSE(port->isConnected());
  kernel.filters.assign(1, {0, 0});  // as binding leaves them
  pass(KQSocketCANEndPoint::RETRY_MS);
  ASSERT_TRUE(port->isConnected());
  EXPECT_FALSE(kernel.passes(0x202));
  EXPECT_TRUE(kernel.passes(0x201));
}

// ---- Writing

TEST_F(SocketCAN, FrameGoesStraightToTheKernel) {
  EXPECT_EQ(KQ_OK, port->writeMessage(makeMessage(0x185, {1, 2, 3})));
  EXPECT_EQ(Frames{"185#010203"}, kernel.sent);
  EXPECT_EQ(-1, port->getServiceDelay());
}

TEST_F(SocketCAN, FullInterfaceQueueKeepsFramesInOrderAndRetriesAfterAMillisecond) {
  kernel.room = 1;
  for (unsigned i = 1; i <= 4; ++i) {
    EXPECT_EQ(KQ_OK, port->writeMessage(makeMessage(i)));
  }
  EXPECT_EQ(Frames{"001#"}, kernel.sent);
  EXPECT_EQ(2U, kernel.sends) << "behind a waiting frame the kernel is not asked";
  EXPECT_FALSE(port->wantsWritable()) << "the socket is writable all the time: that would spin";
  EXPECT_EQ(1, port->getServiceDelay());
  manager.wait(0);
  EXPECT_EQ(2U, kernel.sends);
  kernel.room = 2;
  pass(1);
  EXPECT_EQ((Frames{"001#", "002#", "003#"}), kernel.sent);
  EXPECT_EQ(1, port->getServiceDelay());
  kernel.room = 100;
  pass(1);
  EXPECT_EQ((Frames{"001#", "002#", "003#", "004#"}), kernel.sent);
  EXPECT_EQ(-1, port->getServiceDelay());
}

TEST_F(SocketCAN, FullSocketIsWaitedForByItsEvent) {
  kernel.room = 0;
  kernel.fullError = -EAGAIN;
  port->writeMessage(makeMessage(1));
  port->writeMessage(makeMessage(2));
  EXPECT_TRUE(port->wantsWritable());
  EXPECT_EQ(-1, port->getServiceDelay());
  kernel.room = 100;
  manager.wait(0);
  EXPECT_EQ((Frames{"001#", "002#"}), kernel.sent);
  EXPECT_FALSE(port->wantsWritable());
}

TEST_F(SocketCAN, FullTransmitQueueRefuses) {
  kernel.room = 0;
  for (unsigned i = 0; i < KQSocketCANEndPoint::TRANSMIT_CAPACITY; ++i) {
    ASSERT_EQ(KQ_OK, port->writeMessage(makeMessage(i)));
  }
  EXPECT_EQ(KQ_DEFERRED, port->writeMessage(makeMessage(0x7FF)));
  kernel.room = 1;
  EXPECT_EQ(KQ_OK, port->writeMessage(makeMessage(0x7FE)));
  EXPECT_EQ(KQ_DEFERRED, port->writeMessage(makeMessage(0x7FD)));
  EXPECT_EQ(KQ_NO_DATA, port->flush());
  kernel.room = 100000;
  EXPECT_EQ(KQ_OK, port->flush());
  EXPECT_EQ(KQSocketCANEndPoint::TRANSMIT_CAPACITY + 1, kernel.sent.size());
  EXPECT_EQ("7FE#", kernel.sent.back());
  EXPECT_EQ(2U, port->getStatistics().refused);
}

TEST_F(SocketCAN, FrameThatTheKernelRejectsDoesNotHoldUpTheNext) {
  kernel.sendError = -EINVAL;
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->writeMessage(makeMessage(1)));
  kernel.sendError = 0;
  kernel.room = 0;
  port->writeMessage(makeMessage(2));
  kernel.sendError = -EINVAL;
  pass(1);
  kernel.sendError = 0;
  kernel.room = 10;
  EXPECT_EQ(KQ_OK, port->writeMessage(makeMessage(3)));
  EXPECT_EQ(Frames{"003#"}, kernel.sent);
  EXPECT_EQ(1U, port->getStatistics().discarded);
}

// ---- Interface down and up

TEST_F(SocketCAN, InterfaceDownSeenByReadingIsToldOnceEachWay) {
  kernel.receiveError = -ENETDOWN;
  kernel.flags = 0;
  announce();
  EXPECT_FALSE(port->isConnected());
  EXPECT_EQ(Frames{"disconnected"}, listener.events);
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->writeMessage(makeMessage(1)));
  KQCANMessage message;
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->readMessage(message));
  pass(100);
  pass(100);
  EXPECT_EQ(1U, listener.events.size());
  kernel.flags = IFF_UP;
  pass(99);
  EXPECT_FALSE(port->isConnected());
  pass(1);
  EXPECT_TRUE(port->isConnected());
  EXPECT_EQ((Frames{"disconnected", "reconnected"}), listener.events);
  EXPECT_EQ(KQ_OK, port->writeMessage(makeMessage(2)));
  EXPECT_EQ(Frames{"002#"}, kernel.sent);
  EXPECT_EQ("socketcan:can0: interface is down\nsocketcan:can0: interface is up again\n", takeStderr());
  EXPECT_EQ(1U, port->getStatistics().disconnects);
  EXPECT_EQ(1U, port->getStatistics().reconnects);
}

TEST_F(SocketCAN, InterfaceDownSeenByWritingDiscardsWhatWaits) {
  kernel.room = 0;
  port->writeMessage(makeMessage(1));
  port->writeMessage(makeMessage(2));
  kernel.sendError = -ENETDOWN;
  kernel.flags = 0;
  pass(1);
  EXPECT_EQ(Frames{"disconnected"}, listener.events);
  EXPECT_EQ(2U, port->getStatistics().discarded);
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->flush());
  kernel.sendError = 0;
  kernel.room = 100;
  kernel.flags = IFF_UP;
  kernel.receiveError = -ENETDOWN;  // still pending from the outage
  pass(100);
  announce();
  EXPECT_EQ((Frames{"disconnected", "reconnected"}), listener.events);
  EXPECT_TRUE(kernel.sent.empty()) << "values of the past";
}

TEST_F(SocketCAN, InterfaceThatIsDownIsLookedAtNowAndThen) {
  kernel.receiveError = -ENETDOWN;
  kernel.flags = 0;
  announce();
  pass(100);
  const unsigned before = kernel.questions;
  pass(99);
  EXPECT_EQ(before, kernel.questions);
  pass(1);
  EXPECT_EQ(before + 1, kernel.questions);
}

TEST_F(SocketCAN, InterfaceIsAskedForOnlyInAnOutage) {
  kernel.room = 0;
  port->writeMessage(makeMessage(1));
  kernel.flags = 0;  // of which the next transfer will tell
  pass(1000);
  EXPECT_TRUE(port->isConnected());
  EXPECT_EQ(1U, kernel.binds);
}

TEST_F(SocketCAN, UnpluggedInterfaceIsBoundAgainUnderItsNewIndex) {
  kernel.receiveError = -ENODEV;
  kernel.exists = false;
  announce();
  pass(100);
  EXPECT_EQ(1U, kernel.binds);
  kernel.exists = true;
  kernel.index = 9;
  pass(100);
  EXPECT_EQ(9, kernel.boundIndex);
  EXPECT_TRUE(port->isConnected());
}

TEST_F(SocketCAN, WriteFindsTheInterfaceDown) {
  kernel.sendError = -ENXIO;
  kernel.flags = 0;
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->writeMessage(makeMessage(1)));
  EXPECT_EQ(0, manager.wait(-1)) << "the write has woken the manager";
  EXPECT_EQ(Frames{"disconnected"}, listener.events);
}

TEST_F(SocketCAN, WithoutManagerReadingBringsItBack) {
  manager.removeEndPoint(port.get());
  kernel.receiveError = -ENETDOWN;
  KQCANMessage message;
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->readMessage(message));
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->readMessage(message));
  TestClock::advance(99);
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->readMessage(message));
  EXPECT_FALSE(port->isConnected());
  TestClock::advance(1);
  kernel.give(4);
  EXPECT_EQ(KQ_OK, port->readMessage(message));
  EXPECT_TRUE(port->isConnected());
}

// ---- The controller

TEST_F(SocketCAN, BusOffIsAnOutageUntilTheControllerIsRestarted) {
  kernel.room = 0;
  port->writeMessage(makeMessage(1));
  kernel.giveError(CAN_ERR_BUSOFF);
  announce();
  EXPECT_EQ(KQ_NOT_AVAILABLE, port->writeMessage(makeMessage(2)));
  EXPECT_EQ(1U, port->getStatistics().busOff);
  EXPECT_EQ(1U, port->getStatistics().discarded);
  kernel.giveError(CAN_ERR_RESTARTED);
  announce();
  EXPECT_EQ((Frames{"disconnected", "reconnected"}), listener.events);
  EXPECT_EQ(
      "socketcan:can0: the controller is bus-off\n"
      "socketcan:can0: the controller was restarted after bus-off\n",
      takeStderr());
}

TEST_F(SocketCAN, ReceivedFrameEndsBusOff) {
  kernel.giveError(CAN_ERR_BUSOFF);
  kernel.give(7);
  announce();
  EXPECT_EQ((Frames{"disconnected", "reconnected"}), listener.events);
  EXPECT_EQ(Frames{"007#"}, listener.frames);
}

TEST_F(SocketCAN, RunningInterfaceEndsBusOffAfterTwoSeconds) {
  kernel.giveError(CAN_ERR_BUSOFF);
  announce();
  pass(1999);
  EXPECT_FALSE(port->isConnected());
  pass(100);
  EXPECT_TRUE(port->isConnected());
}

TEST_F(SocketCAN, BusOffLastsWhileTheInterfaceDoesNotRun) {
  kernel.giveError(CAN_ERR_BUSOFF);
  kernel.flags = IFF_UP;
  announce();
  pass(5000);
  EXPECT_FALSE(port->isConnected());
  kernel.flags = IFF_UP | IFF_RUNNING;
  pass(100);
  EXPECT_TRUE(port->isConnected());
}

TEST_F(SocketCAN, InterfaceDownDuringBusOffIsOneOutage) {
  kernel.giveError(CAN_ERR_BUSOFF);
  kernel.flags = 0;
  announce();
  pass(100);
  kernel.flags = IFF_UP;
  pass(100);
  EXPECT_EQ((Frames{"disconnected", "reconnected"}), listener.events);
}

TEST_F(SocketCAN, ErrorPassiveIsSaidOnceEachWayAndTransfersGoOn) {
  kernel.giveError(CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE);
  kernel.giveError(CAN_ERR_CRTL, CAN_ERR_CRTL_RX_PASSIVE);
  announce();
  EXPECT_EQ(KQ_OK, port->writeMessage(makeMessage(1)));
  kernel.giveError(CAN_ERR_CRTL, CAN_ERR_CRTL_TX_WARNING);
  kernel.giveError(CAN_ERR_CRTL, 0x40);
  announce();
  EXPECT_TRUE(listener.events.empty());
  EXPECT_EQ(1U, port->getStatistics().errorPassive);
  EXPECT_EQ(
      "socketcan:can0: the controller is error-passive\n"
      "socketcan:can0: the controller is error-active again\n",
      takeStderr());
}

TEST_F(SocketCAN, ErrorFrameOfAnotherClassSaysNothingOfTheController) {
  kernel.giveError(CAN_ERR_ACK, CAN_ERR_CRTL_TX_PASSIVE | CAN_ERR_CRTL_RX_OVERFLOW);
  announce();
  EXPECT_EQ(0U, port->getStatistics().errorPassive);
  EXPECT_EQ(0U, port->getStatistics().overruns);
}

TEST_F(SocketCAN, RestartedControllerIsErrorActive) {
  kernel.giveError(CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE);
  kernel.giveError(CAN_ERR_BUSOFF);
  kernel.giveError(CAN_ERR_RESTARTED);
  announce();
  EXPECT_EQ(
      "socketcan:can0: the controller is error-passive\n"
      "socketcan:can0: the controller is bus-off\n"
      "socketcan:can0: the controller is error-active again\n"
      "socketcan:can0: the controller was restarted after bus-off\n",
      takeStderr());
}

TEST_F(SocketCAN, OverrunsAreCountedAndSaidOnceUntilQuiet) {
  kernel.giveError(CAN_ERR_CRTL, CAN_ERR_CRTL_RX_OVERFLOW);
  kernel.giveError(CAN_ERR_CRTL, CAN_ERR_CRTL_RX_OVERFLOW);
  announce();
  pass(999);
  EXPECT_EQ(2U, port->getStatistics().overruns);
  pass(1);
  EXPECT_EQ(
      "socketcan:can0: frames are being lost: overrun\n"
      "socketcan:can0: no frames are being lost any more\n",
      takeStderr());
}

TEST_F(SocketCAN, FramesLostInTheSocketBufferAreOverruns) {
  kernel.give(1, {}, 0);
  kernel.give(2, {}, 5);
  kernel.give(3, {}, 5);
  kernel.give(4, {}, 7);
  EXPECT_EQ(4U, readAll(*port).size());
  EXPECT_EQ(7U, port->getStatistics().overruns);
}

// ---- Threads

TEST_F(SocketCAN, WritersOfSeveralThreadsLoseNothing) {
  kernel.room = 10;
  constexpr unsigned FRAMES = 200;
  std::vector<std::thread> writers;
  for (unsigned i = 0; i < 3; ++i) {
    writers.emplace_back([this, i] {
      for (unsigned frame = 0; frame < FRAMES; ++frame) {
        EXPECT_EQ(KQ_OK, port->writeMessage(makeMessage(0x100 + i, {static_cast<unsigned char>(frame)})));
      }
    });
  }
  for (unsigned i = 0; i < 100; ++i) {
    {
      const std::lock_guard<std::mutex> lock(kernel.mutex);
      kernel.room = 10;
    }
    pass(1);
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  kernel.room = 100000;
  EXPECT_EQ(KQ_OK, port->flush());
  ASSERT_EQ(std::size_t{3} * FRAMES, kernel.sent.size());
  for (unsigned i = 0; i < 3; ++i) {
    unsigned next = 0;
    for (const std::string& frame : kernel.sent) {
      if (frame.substr(0, 3) == toText(makeMessage(0x100 + i)).substr(0, 3)) {
        EXPECT_EQ(toText(makeMessage(0x100 + i, {static_cast<unsigned char>(next++)})), frame);
      }
    }
    EXPECT_EQ(FRAMES, next);
  }
}

struct PortOperation : ::test::NamedCase {
  std::function<void(KQSocketCANEndPoint& port, FakeKernel& kernel)> run;
};

class SocketCANLock : public SocketCAN, public testing::WithParamInterface<PortOperation> {};

TEST_P(SocketCANLock, IsHeldWhileAFrameIsSent) {
  kernel.room = 0;
  port->writeMessage(makeMessage(1));
  TestClock::advance(1);
  std::unique_ptr<::test::OtherThread> other;
  bool waits = false;
  kernel.room = 100;
  kernel.onSend = [&] {
    if (other != nullptr) {
      return;
    }
    other = std::make_unique<::test::OtherThread>([this] { GetParam().run(*port, kernel); });
    waits = other->waits();
  };
  port->flush();
  EXPECT_TRUE(waits);
}

const PortOperation PORT_OPERATIONS[] = {
    {{"Write"}, [](auto& port, auto&) { port.writeMessage(makeMessage(2)); }},
    {{"Flush"}, [](auto& port, auto&) { port.flush(); }},
    {{"WantsWritable"}, [](auto& port, auto&) { port.wantsWritable(); }},
    {{"ServiceDelay"}, [](auto& port, auto&) { port.getServiceDelay(); }},
    {{"Service"}, [](auto& port, auto&) { port.service(); }},
    {{"ReadThatFindsItDown"},
     [](auto& port, auto& kernel) {
       kernel.receiveError = -ENETDOWN;
       readAll(port);
     }},
};

INSTANTIATE_TEST_SUITE_P(Operations, SocketCANLock, testing::ValuesIn(PORT_OPERATIONS),
                         ::test::caseName<PortOperation>);

}  // namespace
}  // namespace KQ::test
