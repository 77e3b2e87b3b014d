// Covers: how TPDOs leave, apart from SYNC and the schedule of event timers.
//
// | subject           | functional                                 | robustness                                   |
// |-------------------|--------------------------------------------|----------------------------------------------|
// | transmission type | 0 to 255: first pass, change, event timer  |                                              |
// | change            | dictionary object, variable of the         | outside OPERATIONAL, key of no TPDO, no SYNC |
// |                   | application and of the node; several TPDOs | handler                                      |
// | sendPDODirectly   | sent, inhibited                            | null, no port, refused frame                 |
// | inhibit time      | 99 and 100 ms, last value wins, first      | the tick wraps                               |
// |                   | transmission                               |                                              |
// | pending set       | waits for the inhibit time                 | refused frames are tried again               |

#include <string>

#include "NamedCase.h"
#include "PDOFixture.h"
#include "ReadableName.h"

using namespace KQ;
using test::Frames;

namespace {

class PDOTransmission : public test::PDOFixture {
protected:
  int change(unsigned int key) { return handler().handleVariableChange(key, 0); }
  using PDOFixture::change;

  int pass(unsigned int budget = 1000, unsigned int* waitHint = nullptr) {
    return handler().sendPDOs(node.clock.now() + budget, waitHint);
  }
};

// ---- transmission type

class TransmissionType : public PDOTransmission, public testing::WithParamInterface<int> {
protected:
  TransmissionType() {
    addVariable(0x2001, 1, 8);
    addTransmitPDO(0, {0x185, static_cast<unsigned char>(GetParam()), 100}, {0x20010108});
    start();
  }
  const bool isEventDriven = GetParam() >= 254;
};

TEST_P(TransmissionType, DecidesTheFirstPass) {
  EXPECT_EQ(isEventDriven ? Frames{"185#00"} : Frames{}, node.cycle());
}

TEST_P(TransmissionType, DecidesWhatAChangeSetsOff) {
  node.cycle();
  change(0x2001, 1, 1);
  EXPECT_EQ(isEventDriven ? Frames{"185#01"} : Frames{}, sent());
  const bool isTaken = isEventDriven || GetParam() <= 1;
  EXPECT_EQ(isTaken ? KQ_OK : KQ_NOT_FOUND, change(0x20010001U));
}

TEST_P(TransmissionType, DecidesWhetherTheEventTimerRuns) {
  node.cycle();
  EXPECT_EQ(isEventDriven ? Frames{"185#00"} : Frames{}, node.run(150));
}

INSTANTIATE_TEST_SUITE_P(All, TransmissionType, testing::Range(0, 256), test::ReadableName());

// ---- change

TEST_F(PDOTransmission, ChangeOfADictionaryObjectGoesOutAtOnce) {
  addTransmitPDO(0, {0x185}, {0x10060020});
  startAndSettle();
  EXPECT_EQ(KQ_OK, write(0x1006, 0, 0x12345678));
  EXPECT_EQ(Frames{"185#78 56 34 12"}, sent());
}

TEST_F(PDOTransmission, ChangeOfAVariableOfTheApplicationGoesOutAtOnce) {
  addVariable(0x2001, 1, 16);
  addTransmitPDO(0, {0x185}, {0x20010110});
  startAndSettle();
  change(0x2001, 1, 0x1234);
  EXPECT_EQ(Frames{"185#34 12"}, sent());
}

TEST_F(PDOTransmission, ChangeOfAVariableOfTheNodeGoesOutAtOnce) {
  addOwnVariable(0x2001, 1, 16);
  addTransmitPDO(0, {0x185}, {0x20010110});
  startAndSettle();
  change(0x2001, 1, 0x1234);
  EXPECT_EQ(Frames{"185#34 12"}, sent());
}

TEST_F(PDOTransmission, DownloadToAVariableOfTheNodeGoesOutBeforeItsAnswer) {
  addOwnVariable(0x2001, 1, 16);
  addTransmitPDO(0, {0x185}, {0x20010110});
  startAndSettle();
  EXPECT_EQ((Frames{"185#34 12", "585#60 01 20 01 00 00 00 00"}), node.receive("605#2B 01 20 01 34 12 00 00"));
}

TEST_F(PDOTransmission, DownloadToAVariableOfTheApplicationGoesOutBeforeItsAnswer) {
  addVariable(0x2001, 1, 16);
  addTransmitPDO(0, {0x185}, {0x20010110});
  startAndSettle();
  EXPECT_EQ((Frames{"185#34 12", "585#60 01 20 01 00 00 00 00"}), node.receive("605#2B 01 20 01 34 12 00 00"));
}

TEST_F(PDOTransmission, VariableWrittenWithItsOldValueGoesNowhere) {
  addVariable(0x2001, 1, 16);
  addTransmitPDO(0, {0x185}, {0x20010110});
  startAndSettle();
  change(0x2001, 1, 0);
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(PDOTransmission, ValueComesFromTheDictionaryNotFromTheCall) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  startAndSettle();
  EXPECT_EQ(KQ_OK, handler().handleVariableChange(0x20010001, 99));
  EXPECT_EQ(Frames{"185#00"}, sent());
}

TEST_F(PDOTransmission, ChangeReachesEveryTPDOThatMapsTheObject) {
  addVariables(2, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  addTransmitPDO(1, {0x186}, {0x20010208});
  addTransmitPDO(2, {0x187, 254}, {0x20010208, 0x20010108});
  addTransmitPDO(3, {0x188, 1}, {0x20010108});
  startAndSettle();
  change(0x2001, 1, 0x11);
  EXPECT_EQ((Frames{"185#11", "187#00 11"}), sent());
}

TEST_F(PDOTransmission, ObjectMappedTwiceGoesOutOnce) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108, 0x20010108});
  startAndSettle();
  change(0x2001, 1, 0x11);
  EXPECT_EQ(Frames{"185#11 11"}, sent());
}

TEST_F(PDOTransmission, ChangeOfWhatNoTPDOMapsIsNotFound) {
  addVariables(2, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  startAndSettle();
  EXPECT_EQ(KQ_NOT_FOUND, change(0x20010002U));
  EXPECT_EQ(KQ_NOT_FOUND, change(0x20010000U));
  EXPECT_EQ(KQ_NOT_FOUND, change(0x20000001U));
  EXPECT_EQ(KQ_NOT_FOUND, change(0xFFFFFFFFU));
}

TEST_F(PDOTransmission, ResultOfAChangeIsThatOfTheTPDOsThatTakeIt) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 255}, {0x20010108});
  addTransmitPDO(1, {0x186, 100}, {0x20010108});
  startAndSettle();
  EXPECT_EQ(KQ_OK, change(0x20010001U));
}

TEST_F(PDOTransmission, ChangeWithoutSyncHandlerHasNowhereToWait) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 0}, {0x20010108});
  startAndSettle();
  handler().setSyncHandler(nullptr);
  EXPECT_EQ(KQ_NOT_AVAILABLE, change(0x20010001U));
  handler().setSyncHandler(&sync());
}

TEST_F(PDOTransmission, ChangeOfATPDOThatIsReplacedMeanwhileIsItsSuccessors) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  addTransmitPDO(1, {0x186, 0}, {0x20010108});
  startAndSettle();
  node.receive("080#");
  sent();
  bool isReplaced = false;
  node.port().onWrite = [&] {  // the first one goes out while the walk is on its way to the second
    if (!isReplaced) {
      isReplaced = true;
      handler().signalPDOChange(0x1801);
    }
  };
  change(0x2001, 1, 7);
  EXPECT_EQ(Frames{"185#07"}, sent());
  EXPECT_EQ(Frames{"186#07"}, node.receive("080#"));
}

TEST_F(PDOTransmission, RefusedChangeIsNotTriedAgain) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  startAndSettle();
  node.port().refuse(26, 24);
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(Frames{}, node.run(100));
}

class OutsideOperational : public PDOTransmission, public testing::WithParamInterface<int> {};

TEST_P(OutsideOperational, NothingIsSent) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  startAndSettle();
  KQPDO pdo(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_EVENT_PROFILE);
  node.canopen().getStateMachine()->setState(GetParam());
  EXPECT_EQ(KQ_NOT_AVAILABLE, change(0x20010001U));
  EXPECT_EQ(KQ_NOT_AVAILABLE, change(0x20020001U));
  unsigned int hint = 77;
  EXPECT_EQ(KQ_NOT_AVAILABLE, pass(1000, &hint));
  EXPECT_EQ(77U, hint);
  EXPECT_EQ(KQ_NOT_AVAILABLE, handler().sendPDODirectly(&pdo));
  EXPECT_EQ(Frames{}, sent());
}

INSTANTIATE_TEST_SUITE_P(States, OutsideOperational, testing::Values(0, 1, 2, 3, 5, 6, 7, -1), test::ReadableName());

// ---- sendPDODirectly

class DirectTransmission : public PDOTransmission {
protected:
  DirectTransmission() {
    start();
    pdo.setCOBID(0x1AB);
  }
  int send() { return handler().sendPDODirectly(&pdo); }

  KQPDO pdo{0, TRANSMIT_ON_CHANGE, 100, 0, &node.dictionary(), PDO_TRANSMISSION_EVENT_PROFILE};
};

TEST_F(DirectTransmission, SendsAndNotesTheTick) {
  EXPECT_EQ(KQ_OK, send());
  EXPECT_EQ(Frames{"1AB#"}, sent());
  EXPECT_EQ(node.clock.now(), pdo.getTimeStamp());
}

TEST_F(DirectTransmission, NothingIsNotSent) {
  EXPECT_EQ(KQ_NOT_AVAILABLE, handler().sendPDODirectly(nullptr));
}

TEST_F(DirectTransmission, WithoutStateMachineNothingIsSent) {
  handler().setStateMachine(nullptr);
  EXPECT_EQ(KQ_NOT_AVAILABLE, send());
}

TEST_F(DirectTransmission, WithoutPortNothingIsSent) {
  node.canopen().release();
  EXPECT_EQ(KQ_NOT_AVAILABLE, send());
  EXPECT_EQ("", node.output.takeErrors());
}

TEST_F(DirectTransmission, InhibitTimeIsInMilliseconds) {
  send();
  node.clock.advance(99);
  EXPECT_EQ(KQ_DEFERRED, send());
  node.clock.advance(1);
  EXPECT_EQ(KQ_OK, send());
  EXPECT_EQ((Frames{"1AB#", "1AB#"}), sent());
}

TEST_F(DirectTransmission, InhibitTimeSurvivesTheWrapOfTheTick) {
  node.clock.set(0xFFFFFFF0);
  send();
  node.clock.advance(99);
  EXPECT_EQ(KQ_DEFERRED, send());
  node.clock.advance(1);
  EXPECT_EQ(KQ_OK, send());
}

TEST_F(DirectTransmission, NeverSentIsNotInhibited) {
  node.clock.set(50);
  EXPECT_EQ(KQ_OK, send());
}

TEST_F(DirectTransmission, RefusedFrameIsReportedAndDoesNotInhibit) {
  node.port().refuse(26, KQ_DEFERRED);
  EXPECT_EQ(KQ_DEFERRED, send());
  EXPECT_EQ("CANopen: Error sending CAN message\n", node.output.takeErrors());
  EXPECT_EQ(0U, pdo.getTimeStamp());
  EXPECT_EQ(KQ_OK, send());
}

TEST_F(DirectTransmission, FrameOfThePDOBeforeLeavesNothingBehind) {
  KQPDO full(2, TRANSMIT_ON_CHANGE, 0, 0, &node.dictionary(), PDO_TRANSMISSION_EVENT_PROFILE);
  full.addMappingData(0, 0, 16, 0x10060000, STORAGE_TYPE_INTEGER, false, 0, nullptr, ~0U, nullptr, 0, 0, 1, 0, nullptr,
                      false);
  full.setFrameLength(2);
  write(0x1006, 0, 0xFFFF);
  EXPECT_EQ(KQ_OK, handler().sendPDODirectly(&full));
  node.port().refuse(26, 1);
  EXPECT_EQ(1, handler().sendPDODirectly(&full));
  pdo.setFrameLength(2);
  EXPECT_EQ(KQ_OK, send());
  EXPECT_EQ((Frames{"000#FF FF", "1AB#00 00"}), sent());
}

// ---- inhibit time and pending set

class InhibitedTPDO : public PDOTransmission {
protected:
  InhibitedTPDO() {
    addVariable(0x2001, 1, 8);
    addTransmitPDO(0, {0x185, 255, 0, 100}, {0x20010108});
    startAndSettle();
    node.clock.advance(1000);
  }
};

TEST_F(InhibitedTPDO, SecondChangeWithinTheTimeWaitsForItsEnd) {
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{"185#01"}, sent());
  node.clock.advance(50);
  change(0x2001, 1, 2);
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(Frames{}, node.run(49));
  EXPECT_EQ(Frames{"185#02"}, node.run(1));
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(InhibitedTPDO, OnlyTheLastOfManyChangesIsSent) {
  for (int value = 1; value <= 20; ++value) {
    change(0x2001, 1, value);
  }
  EXPECT_EQ(Frames{"185#01"}, sent());
  EXPECT_EQ(Frames{"185#14"}, node.run(100));
}

TEST_F(InhibitedTPDO, ChangeAfterTheTimeGoesOutAtOnce) {
  change(0x2001, 1, 1);
  node.clock.advance(100);
  change(0x2001, 1, 2);
  EXPECT_EQ((Frames{"185#01", "185#02"}), sent());
}

TEST_F(InhibitedTPDO, TimeRunsFromTheDelayedTransmission) {
  change(0x2001, 1, 1);
  change(0x2001, 1, 2);
  EXPECT_EQ((Frames{"185#01", "185#02"}), node.run(100));
  node.clock.advance(99);
  change(0x2001, 1, 3);
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(Frames{"185#03"}, node.run(1));
}

TEST_F(InhibitedTPDO, WaitingTransmissionIsKeptWhenTheFrameIsRefused) {
  change(0x2001, 1, 1);
  change(0x2001, 1, 2);
  sent();
  node.clock.advance(100);
  node.port().refuse(52, 24);
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(Frames{"185#02"}, node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(PDOTransmission, FirstTransmissionIsNotInhibited) {
  addTransmitPDO(0, {0x185, 255, 0, 60000}, {});
  start();
  EXPECT_EQ(Frames{"185#"}, node.cycle());
}

TEST_F(PDOTransmission, RefusedFirstTransmissionIsTriedInEveryPass) {
  addTransmitPDO(0, {0x185}, {});
  addTransmitPDO(1, {0x186}, {});
  start();
  node.port().refuse(26, 24);
  EXPECT_EQ(Frames{"186#"}, node.cycle());
  EXPECT_EQ(Frames{"185#"}, node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(PDOTransmission, PassWithNothingToDoSucceeds) {
  start();
  EXPECT_EQ(KQ_OK, pass());
}

}  // namespace
