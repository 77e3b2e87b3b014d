// Covers: boot-up and heartbeat producer.
//
// | subject       | functional                           | robustness                                   |
// |---------------|--------------------------------------|----------------------------------------------|
// | state         | byte of 0, 3, 4, 5                   | states without heartbeat                     |
// | producer time | boundaries of the period, live value | 0, negative, 1, never read, no object 0x1017 |
// | tick          | period counts from the cycle         | wrap                                         |
// | node ID       | own                                  | never set                                    |
// | port          | accepted                             | none, refuses                                |

#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "ReadableName.h"
#include "StandardDictionary.h"
#include "TestNode.h"

namespace {

using test::Frames;

class HeartbeatFixture {
protected:
  HeartbeatFixture() {
    nmt.setNodeID(5);
    nmt.setCANopenInstance(&node.canopen());
    nmt.setHeartbeatProducerTime(&dictionary);
    setTime(1000);
  }

  void setTime(int milliseconds) { *dictionary.getPointerToValue(0x1017, 0) = milliseconds; }

  void bootUp() {
    nmt.sendHeartbeatMessage(0);
    node.port().takeSent();
  }

  Frames send(int state) {
    nmt.sendHeartbeatMessage(state);
    return node.port().takeSent();
  }

  test::TestNode node;
  test::StandardDictionary dictionary{&node.canopen()};
  KQ::KQNMTHandler nmt;
};

class HeartbeatProducer : public HeartbeatFixture, public testing::Test {};

// ---- states

struct StateByte {
  int state;
  Frames frames;
};

class HeartbeatState : public HeartbeatFixture, public testing::TestWithParam<StateByte> {};

TEST_P(HeartbeatState, DecidesTheByte) {
  bootUp();
  node.clock.advance(1000);
  EXPECT_EQ(GetParam().frames, send(GetParam().state));
}

INSTANTIATE_TEST_SUITE_P(States, HeartbeatState,
                         testing::Values(StateByte{1, {}}, StateByte{2, {}}, StateByte{3, {"705#7F"}},
                                         StateByte{4, {"705#05"}}, StateByte{5, {"705#04"}}, StateByte{6, {}},
                                         StateByte{7, {}}, StateByte{-1, {}}),
                         [](const testing::TestParamInfo<StateByte>& testInfo) {
                           return testInfo.param.state < 0 ? std::string("Unknown")
                                                           : "State" + std::to_string(testInfo.param.state);
                         });

TEST_F(HeartbeatProducer, StateWithoutHeartbeatDoesNotRestartTheTimer) {
  bootUp();
  node.clock.advance(1000);
  send(6);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

// ---- boot-up

TEST_F(HeartbeatProducer, BootUpIsSentAtOnceAndAlone) {
  EXPECT_EQ(0, nmt.sendHeartbeatMessage(0));
  EXPECT_EQ(Frames{"705#00"}, node.port().takeSent());
}

TEST_F(HeartbeatProducer, BootUpNeedsNoPeriod) {
  EXPECT_EQ(Frames{"705#00"}, send(0));
  EXPECT_EQ(Frames{"705#00"}, send(0));
}

TEST_F(HeartbeatProducer, BootUpNeedsNoProducerTime) {
  KQ::KQNMTHandler bare;
  bare.setNodeID(0x7F);
  bare.setCANopenInstance(&node.canopen());
  bare.sendHeartbeatMessage(0);
  EXPECT_EQ(Frames{"77F#00"}, node.port().takeSent());
}

TEST_F(HeartbeatProducer, BootUpWithoutPortIsTriedAndReported) {
  KQ::KQCANopen portless("portless");
  nmt.setCANopenInstance(&portless);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, nmt.sendHeartbeatMessage(0));
  EXPECT_EQ("CANopen: Error sending CAN message\n", node.output.takeErrors());
}

TEST_F(HeartbeatProducer, BootUpStartsThePeriod) {
  bootUp();
  node.clock.advance(999);
  EXPECT_EQ(Frames{}, send(3));
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#7F"}, send(3));
}

// ---- period

TEST_F(HeartbeatProducer, FirstHeartbeatWithoutBootUpCountsFromTick0) {
  node.clock.set(999);
  EXPECT_EQ(Frames{}, send(4));
  node.clock.set(1000);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, PeriodBoundaries) {
  bootUp();
  node.clock.advance(1000);
  send(4);
  node.clock.advance(999);
  EXPECT_EQ(Frames{}, send(4));
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, LateHeartbeatIsNotMadeUpFor) {
  bootUp();
  node.clock.advance(1900);
  EXPECT_EQ(Frames{"705#05"}, send(4));
  node.clock.advance(999);
  EXPECT_EQ(Frames{}, send(4));
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, OneHeartbeatACall) {
  bootUp();
  node.clock.advance(5000);
  EXPECT_EQ(Frames{"705#05"}, send(4));
  EXPECT_EQ(Frames{}, send(4));
}

TEST_F(HeartbeatProducer, ChangeOfStateDoesNotChangeThePeriod) {
  bootUp();
  node.clock.advance(1000);
  send(3);
  node.clock.advance(999);
  EXPECT_EQ(Frames{}, send(4));
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#04"}, send(5));
}

TEST_F(HeartbeatProducer, NothingDueGives0) {
  bootUp();
  EXPECT_EQ(0, nmt.sendHeartbeatMessage(4));
}

// ---- tick wrap: the due tick and the tick are compared as unsigned numbers

TEST_F(HeartbeatProducer, DueTickBeyondTheWrapIsPassedAtOnce) {
  node.clock.set(0xFFFFFF00);
  bootUp();
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, DueTickAtTheWrapIsNotPassed) {
  node.clock.set(0xFFFFFFFFU - 1000);
  bootUp();
  node.clock.advance(999);
  EXPECT_EQ(Frames{}, send(4));
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, PeriodAcrossTheWrapOnceTheTickHasWrapped) {
  node.clock.set(0xFFFFFFFF);
  bootUp();
  node.clock.set(998);
  EXPECT_EQ(Frames{}, send(4));
  node.clock.set(999);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

// ---- producer time

class NoProducerTime : public HeartbeatFixture, public testing::TestWithParam<int> {};

TEST_P(NoProducerTime, SendsNoHeartbeat) {
  setTime(GetParam());
  EXPECT_EQ(Frames{"705#00"}, send(0));
  node.clock.advance(0x7FFFFFFF);
  EXPECT_EQ(Frames{}, send(4));
}

INSTANTIATE_TEST_SUITE_P(Times, NoProducerTime, testing::Values(0, -1, -1000, -0x7FFFFFFF - 1), test::ReadableName());

TEST_F(HeartbeatProducer, ShortestTimeIsOneMillisecond) {
  setTime(1);
  bootUp();
  EXPECT_EQ(Frames{}, send(4));
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, ChangedTimeTakesEffectWithTheNextCall) {
  bootUp();
  node.clock.advance(500);
  EXPECT_EQ(Frames{}, send(4));
  dictionary.setValue(0x1017, 0, 500, true);
  EXPECT_EQ(Frames{"705#05"}, send(4));
  dictionary.setValue(0x1017, 0, 0, true);
  node.clock.advance(5000);
  EXPECT_EQ(Frames{}, send(4));
}

TEST_F(HeartbeatProducer, NullDictionaryKeepsTheTime) {
  nmt.setHeartbeatProducerTime(nullptr);
  bootUp();
  node.clock.advance(1000);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, WithoutProducerTimeNoHeartbeat) {
  KQ::KQNMTHandler bare;
  bare.setNodeID(5);
  bare.setCANopenInstance(&node.canopen());
  EXPECT_EQ(0, bare.sendHeartbeatMessage(4));
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST_F(HeartbeatProducer, DictionaryWithoutTheObjectGivesNoHeartbeat) {
  KQ::KQCANopenObjectDictionary empty;
  nmt.setHeartbeatProducerTime(&empty);
  EXPECT_EQ(Frames{}, send(4));
}

// ---- node ID and port

TEST_F(HeartbeatProducer, NodeIDThatWasNeverSetGives7FF) {
  KQ::KQNMTHandler fresh;
  fresh.setCANopenInstance(&node.canopen());
  fresh.setHeartbeatProducerTime(&dictionary);
  fresh.sendHeartbeatMessage(0);
  node.clock.advance(1000);
  fresh.sendHeartbeatMessage(3);
  EXPECT_EQ((Frames{"7FF#00", "7FF#7F"}), node.port().takeSent());
}

TEST_F(HeartbeatProducer, FailedSendRestartsTheTimer) {
  bootUp();
  node.clock.advance(1000);
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(KQ::KQ_DEFERRED, nmt.sendHeartbeatMessage(4));
  EXPECT_EQ("CANopen: Error sending CAN message\n", node.output.takeErrors());
  node.clock.advance(999);
  EXPECT_EQ(Frames{}, send(4));
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, FailedBootUpRestartsTheTimer) {
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(KQ::KQ_DEFERRED, nmt.sendHeartbeatMessage(0));
  node.clock.advance(999);
  EXPECT_EQ(Frames{}, send(4));
  node.clock.advance(1);
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

TEST_F(HeartbeatProducer, WithoutPortNothingIsTriedAndTheTimerStays) {
  KQ::KQCANopen portless("portless");
  bootUp();
  node.clock.advance(1000);
  nmt.setCANopenInstance(&portless);
  EXPECT_EQ(0, nmt.sendHeartbeatMessage(4));
  EXPECT_EQ("", node.output.takeErrors());
  nmt.setCANopenInstance(&node.canopen());
  EXPECT_EQ(Frames{"705#05"}, send(4));
}

}  // namespace
