// Covers: KQVirtualBus, KQVirtualEndPoint.
//
// | subject       | functional                                                   | robustness                         |
// |---------------|--------------------------------------------------------------|------------------------------------|
// | delivery      | to all others, in order, not to the sender; not to other     |                                    |
// |               | buses                                                        |                                    |
// | descriptor    | readable exactly while frames wait                           |                                    |
// | receive queue | full: the newest is lost and counted; usable again; extended | room for none                      |
// |               | frames never enter                                           |                                    |
// | filter        | what is not wanted neither waits nor wakes; frames that wait |                                    |
// |               | stay; acknowledged all the same                              |                                    |
// | lone sender   | first frame kept for the first to attach, later ones lost;   |                                    |
// |               | not again; not after company                                 |                                    |
// | backpressure  | nearly full refuses and announces room; ignored end point;   |                                    |
// |               | detached end point                                           |                                    |
// | threads       | each operation waits for the bus                             | several writers, one order for all |

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "CANTestSupport.h"
#include "KQVirtualEndPoint.h"
#include "NamedCase.h"
#include "OtherThread.h"

namespace KQ::test {
namespace {

using Frames = std::vector<std::string>;

std::unique_ptr<KQVirtualEndPoint> openVirtual(const std::string& name, std::size_t capacity = 1024) {
  std::string error;
  auto endPoint = KQVirtualEndPoint::open(name, error, capacity);
  EXPECT_NE(nullptr, endPoint) << error;
  return endPoint;
}

// A participant that keeps what it is given.
class Witness : public KQBusParticipant {
public:
  void takeFrame(const KQBusFrame& frame) override { frames.push_back(frame); }
  std::vector<KQBusFrame> frames;
};

KQBusFrame makeFrame(unsigned identifier, bool extended = false) {
  KQBusFrame frame;
  frame.identifier = identifier;
  frame.extended = extended;
  return frame;
}

TEST(VirtualEndPoint, OpenedSaysNothingOfAnError) {
  std::string error = "of somebody else";
  EXPECT_NE(nullptr, KQVirtualEndPoint::open("without-error", error));
  EXPECT_EQ("", error);
}

TEST(VirtualBus, EverybodySeesTheFramesOfTheOthersInOrder) {
  auto first = openVirtual("order");
  auto second = openVirtual("order");
  auto third = openVirtual("order");
  first->writeMessage(makeMessage(0x181, {1, 2}));
  second->writeMessage(makeMessage(0x182));
  first->writeMessage(makeMessage(0x183, {1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(Frames{"182#"}, readAll(*first));
  EXPECT_EQ((Frames{"181#0102", "183#0102030405060708"}), readAll(*second));
  EXPECT_EQ((Frames{"181#0102", "182#", "183#0102030405060708"}), readAll(*third));
}

TEST(VirtualBus, BusesOfOtherNamesAreSeparate) {
  auto first = openVirtual("one");
  auto second = openVirtual("two");
  auto peer = openVirtual("one");
  first->writeMessage(makeMessage(1));
  EXPECT_TRUE(readAll(*second).empty());
  EXPECT_EQ("virtual:one", first->getURI());
}

TEST(VirtualBus, EndsWithItsLastHolder) {
  auto first = openVirtual("short");
  first->writeMessage(makeMessage(1));
  first.reset();
  auto second = openVirtual("short");
  EXPECT_TRUE(readAll(*second).empty());
}

TEST(VirtualBus, ReadMessageHasNoFlagsAndNoRemains) {
  auto sender = openVirtual("remains");
  auto receiver = openVirtual("remains");
  KQCANMessage sent = makeMessage(0x701, {5});
  sent.data[1] = 0xEE;
  sent.flags = 9;
  sender->writeMessage(sent);
  KQCANMessage message;
  message.flags = 7;
  message.data[1] = 0x11;
  ASSERT_EQ(KQ_OK, receiver->readMessage(message));
  EXPECT_EQ(0U, message.flags);
  EXPECT_EQ(0U, message.data[1]);
}

TEST(VirtualEndPoint, DescriptorIsReadableExactlyWhileFramesWait) {
  auto sender = openVirtual("descriptor");
  auto receiver = openVirtual("descriptor");
  KQCANMessage message;
  EXPECT_FALSE(isReadable(receiver->getDescriptor()));
  sender->writeMessage(makeMessage(1));
  sender->writeMessage(makeMessage(2));
  EXPECT_TRUE(isReadable(receiver->getDescriptor()));
  receiver->readMessage(message);
  EXPECT_TRUE(isReadable(receiver->getDescriptor()));
  receiver->readMessage(message);
  EXPECT_FALSE(isReadable(receiver->getDescriptor()));
  EXPECT_EQ(KQ_NO_DATA, receiver->readMessage(message));
  sender->writeMessage(makeMessage(3));
  EXPECT_TRUE(isReadable(receiver->getDescriptor()));
}

TEST(VirtualEndPoint, FullQueueLosesTheNewestAndCounts) {
  auto sender = openVirtual("full");
  auto receiver = openVirtual("full", 2);
  for (unsigned i = 1; i <= 3; ++i) {
    EXPECT_EQ(KQ_OK, sender->writeMessage(makeMessage(i)));
  }
  EXPECT_EQ(1U, receiver->getStatistics().overruns);
  EXPECT_EQ((Frames{"001#", "002#"}), readAll(*receiver));
  sender->writeMessage(makeMessage(4));
  EXPECT_EQ(Frames{"004#"}, readAll(*receiver));
}

TEST(VirtualEndPoint, HasRoomForOneFrameAtLeast) {
  auto sender = openVirtual("least");
  auto receiver = openVirtual("least", 0);
  sender->writeMessage(makeMessage(1));
  sender->writeMessage(makeMessage(2));
  EXPECT_EQ(Frames{"001#"}, readAll(*receiver));
}

TEST(VirtualEndPoint, WhatIsNotWantedNeitherWaitsNorWakes) {
  auto sender = openVirtual("filter");
  auto receiver = openVirtual("filter");
  KQReceptionFilter wanted;
  wanted.add(0x181);
  receiver->setReceptionFilter(&wanted);
  sender->writeMessage(makeMessage(0x182));
  EXPECT_FALSE(isReadable(receiver->getDescriptor()));
  sender->writeMessage(makeMessage(0x181));
  EXPECT_EQ(Frames{"181#"}, readAll(*receiver));
  EXPECT_EQ(0U, sender->getStatistics().unacknowledged);
}

TEST(VirtualEndPoint, FramesThatWaitStayWhenTheFilterChanges) {
  auto sender = openVirtual("filter-change");
  auto receiver = openVirtual("filter-change");
  sender->writeMessage(makeMessage(0x182));
  const KQReceptionFilter nothing;
  receiver->setReceptionFilter(&nothing);
  sender->writeMessage(makeMessage(0x183));
  receiver->setReceptionFilter(nullptr);
  sender->writeMessage(makeMessage(0x184));
  EXPECT_EQ((Frames{"182#", "184#"}), readAll(*receiver));
}

TEST(VirtualEndPoint, NeverSeesAnExtendedFrame) {
  auto bus = KQVirtualBus::get("extended");
  Witness sender;
  Witness other;
  bus->attach(&sender);
  bus->attach(&other);
  auto endPoint = openVirtual("extended");
  bus->send(&sender, makeFrame(0x181, true));
  EXPECT_TRUE(readAll(*endPoint).empty());
  EXPECT_FALSE(isReadable(endPoint->getDescriptor()));
  EXPECT_EQ(1U, endPoint->getStatistics().dropped);
  ASSERT_EQ(1U, other.frames.size());
  EXPECT_TRUE(other.frames[0].extended);
  bus->detach(&sender);
  bus->detach(&other);
}

TEST(LoneSender, FirstFrameReachesTheFirstToAttach) {
  auto node = openVirtual("lone");
  EXPECT_EQ(KQ_OK, node->writeMessage(makeMessage(0x705, {0})));
  auto first = openVirtual("lone");
  auto second = openVirtual("lone");
  EXPECT_EQ(Frames{"705#00"}, readAll(*first));
  EXPECT_TRUE(isReadable(first->getDescriptor()) == false);
  EXPECT_TRUE(readAll(*second).empty());
  EXPECT_EQ(0U, node->getStatistics().unacknowledged);
}

TEST(LoneSender, FurtherFramesAreAcceptedCountedAndLost) {
  auto node = openVirtual("lone");
  for (unsigned char i = 0; i < 4; ++i) {
    EXPECT_EQ(KQ_OK, node->writeMessage(makeMessage(0x705, {i})));
  }
  EXPECT_EQ(4U, node->getStatistics().sent);
  EXPECT_EQ(3U, node->getStatistics().unacknowledged);
  auto client = openVirtual("lone");
  EXPECT_EQ(Frames{"705#00"}, readAll(*client));
}

TEST(LoneSender, KeptFrameComesBeforeLaterOnes) {
  auto node = openVirtual("lone");
  node->writeMessage(makeMessage(0x705, {0}));
  auto client = openVirtual("lone");
  node->writeMessage(makeMessage(0x705, {0x7F}));
  EXPECT_EQ((Frames{"705#00", "705#7F"}), readAll(*client));
}

TEST(LoneSender, IsNotGivenItsOwnFrameBack) {
  auto node = openVirtual("lone");
  node->writeMessage(makeMessage(0x705, {0}));
  auto client = openVirtual("lone");
  EXPECT_TRUE(readAll(*node).empty());
}

TEST(LoneSender, KeepsNothingOnceItHadCompany) {
  auto node = openVirtual("lone");
  auto client = openVirtual("lone");
  node->writeMessage(makeMessage(0x705, {0}));
  client.reset();
  node->writeMessage(makeMessage(0x185, {1}));
  EXPECT_EQ(1U, node->getStatistics().unacknowledged);
  auto later = openVirtual("lone");
  EXPECT_TRUE(readAll(*later).empty());
}

TEST(LoneSender, KeptFrameGoesWithItsSender) {
  auto bus = KQVirtualBus::get("lone");
  auto node = openVirtual("lone");
  node->writeMessage(makeMessage(0x705, {0}));
  node.reset();
  auto client = openVirtual("lone");
  EXPECT_TRUE(readAll(*client).empty());
}

class Backpressure : public testing::Test {
protected:
  Backpressure() : room(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)), bus(KQVirtualBus::get("pressure")) {
    bus->attach(&sender);
    endPoint = openVirtual("pressure", 16);  // of which 4 are left for those that cannot wait
  }
  ~Backpressure() override {
    bus->removeRoomDescriptor(room);
    bus->detach(&sender);
    close(room);
  }

  KQVirtualBus::SendResult sendWhenRoom() { return bus->sendWhenRoom(&sender, makeFrame(1), room); }

  unsigned fill() {
    unsigned number = 0;
    while (number < 100 && sendWhenRoom() == KQVirtualBus::SEND_DELIVERED) {
      ++number;
    }
    return number;
  }

  void readSome(unsigned number) {
    KQCANMessage message;
    for (unsigned i = 0; i < number; ++i) {
      EXPECT_EQ(KQ_OK, endPoint->readMessage(message));
    }
  }

  const int room;
  std::shared_ptr<KQVirtualBus> bus;
  Witness sender;
  std::unique_ptr<KQVirtualEndPoint> endPoint;
};

TEST_F(Backpressure, RefusesWhileAnEndPointIsNearlyFull) {
  EXPECT_EQ(12U, fill());
  EXPECT_EQ(0U, endPoint->getStatistics().overruns);
  EXPECT_EQ(KQVirtualBus::SEND_DELIVERED, bus->send(&sender, makeFrame(2)));
  EXPECT_EQ(0U, endPoint->getStatistics().overruns);
}

TEST_F(Backpressure, AnnouncesRoomWhenHalfOfTheQueueIsFree) {
  fill();
  readSome(3);
  EXPECT_FALSE(isReadable(room));
  readSome(1);
  EXPECT_TRUE(isReadable(room));
  EXPECT_EQ(KQVirtualBus::SEND_DELIVERED, sendWhenRoom());
}

TEST_F(Backpressure, AnnouncesRoomWhenTheEndPointLeaves) {
  fill();
  endPoint.reset();
  EXPECT_TRUE(isReadable(room));
}

TEST_F(Backpressure, EndPointThatReadsNothingIsIgnoredUntilItReads) {
  fill();
  bus->stopWaitingForRoom();
  EXPECT_TRUE(isReadable(room));
  for (unsigned i = 0; i < 10; ++i) {
    EXPECT_EQ(KQVirtualBus::SEND_DELIVERED, sendWhenRoom());
  }
  EXPECT_EQ(6U, endPoint->getStatistics().overruns);
  readSome(16);
  EXPECT_EQ(12U, fill());
}

TEST_F(Backpressure, EndPointThatReadsSlowlyIsWaitedFor) {
  fill();
  for (int i = 0; i < 3; ++i) {
    readSome(1);
    bus->stopWaitingForRoom();
    EXPECT_EQ(1U, fill()) << "and no more than that";
  }
  EXPECT_EQ(0U, endPoint->getStatistics().overruns);
}

TEST_F(Backpressure, SenderOfMuchLeavesRoomForTheOthers) {
  unsigned number = 0;
  while (bus->sendWhenRoom(&sender, makeFrame(1), room, true) == KQVirtualBus::SEND_DELIVERED) {
    ++number;
  }
  EXPECT_EQ(8U, number);
  EXPECT_EQ(4U, fill());
}

TEST(VirtualBus, WritersOfSeveralThreadsGiveOneOrderToAll) {
  constexpr unsigned FRAMES = 400;
  auto first = openVirtual("threads", 4096);
  auto second = openVirtual("threads", 4096);
  std::vector<std::thread> writers;
  std::vector<std::unique_ptr<KQVirtualEndPoint>> endPoints;
  for (unsigned i = 0; i < 3; ++i) {
    endPoints.push_back(openVirtual("threads", 4096));
  }
  for (unsigned i = 0; i < 3; ++i) {
    writers.emplace_back([&endPoints, i] {
      for (unsigned frame = 0; frame < FRAMES; ++frame) {
        endPoints[i]->writeMessage(makeMessage(0x100 + i, {static_cast<unsigned char>(frame)}));
      }
    });
  }
  Frames seen;
  while (seen.size() < std::size_t{3} * FRAMES) {
    const Frames part = readAll(*first);
    seen.insert(seen.end(), part.begin(), part.end());
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  EXPECT_EQ(seen, readAll(*second));
}

struct BusOperation : ::test::NamedCase {
  std::function<void(KQVirtualBus& bus, Witness& participant, KQVirtualEndPoint& port)> run;
};

class VirtualBusLock : public testing::TestWithParam<BusOperation> {};

// A participant that does something when it is given a frame, which the bus does with its lock held.
class Holder : public KQBusParticipant {
public:
  void takeFrame(const KQBusFrame& /*frame*/) override { onFrame(); }
  std::function<void()> onFrame;
};

TEST_P(VirtualBusLock, IsWaitedFor) {
  const auto bus = KQVirtualBus::get("locks");
  const auto port = openVirtual("locks");
  Witness participant;
  Holder holder;
  bus->attach(&participant);
  bus->attach(&holder);
  std::unique_ptr<::test::OtherThread> other;
  bool waits = false;
  holder.onFrame = [&] {
    if (other == nullptr) {
      other = std::make_unique<::test::OtherThread>([&] { GetParam().run(*bus, participant, *port); });
      waits = other->waits();
    }
  };
  bus->send(&participant, makeFrame(1));
  EXPECT_TRUE(waits);
}

const BusOperation BUS_OPERATIONS[] = {
    {{"Attach"}, [](auto& bus, auto& participant, auto&) { bus.attach(&participant); }},
    {{"Detach"}, [](auto& bus, auto& participant, auto&) { bus.detach(&participant); }},
    {{"Participants"}, [](auto& bus, auto&, auto&) { static_cast<void>(bus.getParticipantCount()); }},
    {{"Frames"}, [](auto& bus, auto&, auto&) { static_cast<void>(bus.getFrameCount()); }},
    {{"Send"}, [](auto& bus, auto& participant, auto&) { bus.send(&participant, makeFrame(2)); }},
    {{"SendWhenRoom"}, [](auto& bus, auto& participant, auto&) { bus.sendWhenRoom(&participant, makeFrame(2), -1); }},
    {{"StopWaiting"}, [](auto& bus, auto&, auto&) { bus.stopWaitingForRoom(); }},
    {{"ForgetRoom"}, [](auto& bus, auto&, auto&) { bus.removeRoomDescriptor(-1); }},
    {{"Read"}, [](auto&, auto&, auto& port) { readAll(port); }},
    {{"Filter"}, [](auto&, auto&, auto& port) { port.setReceptionFilter(nullptr); }},
};

INSTANTIATE_TEST_SUITE_P(Operations, VirtualBusLock, testing::ValuesIn(BUS_OPERATIONS), ::test::caseName<BusOperation>);

}  // namespace
}  // namespace KQ::test
