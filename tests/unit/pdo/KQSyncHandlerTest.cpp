// Covers: what a SYNC sets off.
//
// | subject            | functional                                   | robustness                                    |
// |--------------------|----------------------------------------------|-----------------------------------------------|
// | init               | with 0x1005                                  | no dictionary, no 0x1005                      |
// | which frames       | 0x1005 as it stands at the moment, any       | null, other identifiers, outside OPERATIONAL, |
// |                    | length and data                              | no state machine                              |
// | RPDO data          | the last frame before the SYNC, events, back | null, short and long frames, declined SYNC    |
// |                    | from time-out                                |                                               |
// | next-SYNC set      | once; type 0 after a change, type 1          | queued twice, inhibited, refused              |
// | cyclic set         | every n-th, counter 1 to 251 and round,      | declined SYNCs do not count                   |
// |                    | every type                                   |                                               |
// | removeTxPDO, reset | cyclic ones only; everything but the counter | unknown index, several PDOs of one index      |
// | order              | data before transmissions; by index, queued  |                                               |
// |                    | ones first                                   |                                               |

#include "KQSyncHandler.h"

#include <string>

#include "CountedAction.h"
#include "NamedCase.h"
#include "PDOFixture.h"
#include "PDOInternals.h"
#include "ReadableName.h"

using namespace KQ;
using test::Frames;

namespace {

class SyncHandler : public test::PDOFixture {
protected:
  SyncHandler() { addVariable(0x2001, 1, 8); }

  int offer(const std::string& text) {
    KQCANMessage message = test::frame(text);
    return sync().handleMessage(&message);
  }

  // One SYNC. @return the frames sent
  Frames syncNow() { return node.receive("080#"); }

  // Which of the SYNCs first to last since the start let a frame out.
  std::vector<int> syncsWithFrames(int first, int last) {
    std::vector<int> with;
    for (int number = first; number <= last; ++number) {
      if (!syncNow().empty()) {
        with.push_back(number);
      }
    }
    return with;
  }

  void runCounterTo(int value) {
    for (int i = 1; i < value; ++i) {
      syncNow();
    }
  }
};

// ---- init and which frames

TEST_F(SyncHandler, WithoutDictionaryThereIsNoCOBID) {
  KQSyncHandler alone(&node.canopen());
  EXPECT_EQ(KQ_MISSING_OBJECT, alone.init());
}

TEST_F(SyncHandler, WithoutObjectThereIsNoCOBID) {
  KQSyncHandler alone(&node.canopen());
  KQCANopenObjectDictionary empty;
  alone.setObjectDictionary(&empty);
  alone.setStateMachine(node.canopen().getStateMachine());
  EXPECT_EQ(KQ_MISSING_OBJECT, alone.init());
  start();
  KQCANMessage message = test::frame("080#");
  EXPECT_EQ(KQ_NOT_HANDLED, alone.handleMessage(&message));
}

TEST_F(SyncHandler, WithObjectThereIsACOBID) {
  EXPECT_EQ(KQ_OK, sync().init());
}

TEST_F(SyncHandler, WithoutPDOHandlerSyncIsTakenAllTheSame) {
  KQSyncHandler alone(&node.canopen());
  alone.setObjectDictionary(&node.dictionary());
  alone.setStateMachine(node.canopen().getStateMachine());
  EXPECT_EQ(KQ_OK, alone.init());
  start();
  KQPDO pdo(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_ACYCLIC);
  EXPECT_EQ(KQ_OK, alone.addTxPDO(&pdo));
  KQCANMessage message = test::frame("080#");
  EXPECT_EQ(KQ_OK, alone.handleMessage(&message));
}

TEST_F(SyncHandler, NothingIsNoSync) {
  start();
  EXPECT_EQ(KQ_NOT_HANDLED, sync().handleMessage(nullptr));
}

TEST_F(SyncHandler, WithoutStateMachineNoSyncIsTaken) {
  start();
  sync().setStateMachine(nullptr);
  EXPECT_EQ(KQ_NOT_HANDLED, offer("080#"));
}

class SyncFrame : public SyncHandler, public testing::WithParamInterface<const char*> {};

TEST_P(SyncFrame, OfAnyLengthIsTaken) {
  start();
  EXPECT_EQ(KQ_OK, offer(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Lengths, SyncFrame, testing::Values("080#", "080#01", "080#FB 00", "080#0102030405060708"),
                         test::ReadableName());

class SyncState : public SyncHandler, public testing::WithParamInterface<int> {};

TEST_P(SyncState, OtherThanOperationalDeclinesAndKeepsWhatWaits) {
  addReceivePDO(0, {0x205, 1}, {0x20010108});
  addTransmitPDO(0, {0x185, 0}, {0x20010108});
  start();
  node.receive("205#11");
  node.canopen().getStateMachine()->setState(GetParam());
  EXPECT_EQ(KQ_NOT_HANDLED, offer("080#"));
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(0, stored(0x2001, 1));
  node.canopen().getStateMachine()->setState(CANOPEN_STATE_OPERATIONAL);
  EXPECT_EQ(Frames{"185#11"}, syncNow());
}

INSTANTIATE_TEST_SUITE_P(States, SyncState, testing::Values(0, 1, 2, 3, 5, 6, 7, -1), test::ReadableName());

TEST_F(SyncHandler, OtherIdentifiersAreDeclined) {
  start();
  EXPECT_EQ(KQ_NOT_HANDLED, offer("081#"));
  EXPECT_EQ(KQ_NOT_HANDLED, offer("07F#"));
  EXPECT_EQ(KQ_NOT_HANDLED, offer("000#"));
}

TEST_F(SyncHandler, COBIDIsTheLiveValue) {
  start();
  EXPECT_EQ(KQ_OK, write(0x1005, 0, 0x90));
  EXPECT_EQ(KQ_NOT_HANDLED, offer("080#"));
  EXPECT_EQ(KQ_OK, offer("090#"));
}

TEST_F(SyncHandler, AllBitsOfTheCOBIDCount) {
  start();
  EXPECT_EQ(KQ_OK, write(0x1005, 0, 0x40000080));
  EXPECT_EQ(KQ_NOT_HANDLED, offer("080#"));
  KQCANMessage message = test::frame("080#");
  message.identifier = 0x40000080;
  EXPECT_EQ(KQ_OK, sync().handleMessage(&message));
}

TEST_F(SyncHandler, TakesTheFrameBeforeAnRPDOWithTheSameCOBID) {
  addReceivePDO(0, {0x80}, {0x20010108});
  start();
  node.receive("080#11");
  EXPECT_EQ(0, stored(0x2001, 1));
}

// ---- RPDO data

class SynchronousRPDO : public SyncHandler {
protected:
  SynchronousRPDO() {
    addVariable(0x2001, 2, 8);
    addReceivePDO(0, {0x205, 10}, {0x20010108, 0x20010208});
    node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_RECEIVED, &received);
    node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT_RESOLVED, &resolved);
    start();
  }

  test::CountedAction received;
  test::CountedAction resolved;
};

TEST_F(SynchronousRPDO, DataWaitsForTheSync) {
  node.receive("205#11 22");
  node.run(100);
  EXPECT_EQ(0, stored(0x2001, 1));
  EXPECT_EQ(0U, received.runs);
  syncNow();
  EXPECT_EQ(0x11, stored(0x2001, 1));
  EXPECT_EQ(0x22, stored(0x2001, 2));
  EXPECT_EQ(1U, received.runs);
}

TEST_F(SynchronousRPDO, OnlyTheLastFrameBeforeTheSyncCounts) {
  node.receive("205#11 22");
  node.receive("205#33 44");
  syncNow();
  EXPECT_EQ(0x33, stored(0x2001, 1));
  EXPECT_EQ(0x44, stored(0x2001, 2));
  EXPECT_EQ(1U, received.runs);
}

TEST_F(SynchronousRPDO, ShortLastFrameHidesTheLongerOneBefore) {
  node.receive("205#11 22");
  node.receive("205#33");
  syncNow();
  EXPECT_EQ(0x33, stored(0x2001, 1));
  EXPECT_EQ(0, stored(0x2001, 2));
}

TEST_F(SynchronousRPDO, LongFrameIsNotKept) {
  node.receive("205#11 22");
  node.receive("205#33 44 55");
  syncNow();
  EXPECT_EQ(0x11, stored(0x2001, 1));
}

TEST_F(SynchronousRPDO, DataIsAppliedOnce) {
  node.receive("205#11 22");
  syncNow();
  change(0x2001, 1, 5);
  syncNow();
  EXPECT_EQ(5, stored(0x2001, 1));
  EXPECT_EQ(1U, received.runs);
}

TEST_F(SynchronousRPDO, KeptFrameIsACopy) {
  KQCANMessage message = test::frame("205#11 22");
  handler().handleMessage(&message);
  message = KQCANMessage();
  syncNow();
  EXPECT_EQ(0x11, stored(0x2001, 1));
}

TEST_F(SynchronousRPDO, IsPassedOnWithoutASyncToo) {
  node.receive("205#11 22");
  sync().passPDOValuesToApplication();
  EXPECT_EQ(0x11, stored(0x2001, 1));
}

TEST_F(SyncHandler, LateDataOfARPDOThatTimedOutEndsItsTimeOut) {
  addReceivePDO(0, {0x205, 10}, {0x20010108});
  test::CountedAction resolved;
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT_RESOLVED, &resolved);
  start();
  KQPDO pdo(1, TRANSMIT_RECEIVE, 0, 0, &node.dictionary(), PDO_TRANSMISSION_SYNC_ACYCLIC);
  pdo.setCommunicationIndex(0x1400);
  PDOInternals::setTimedOut(pdo, true);
  KQCANMessage message = test::frame("205#");
  EXPECT_EQ(KQ_OK, sync().addReceivePDO(&pdo, &message));
  syncNow();
  EXPECT_EQ(1U, resolved.runs);
  EXPECT_FALSE(pdo.isTimedOut());
}

TEST_F(SyncHandler, ReceivedFrameNeedsPDOAndFrame) {
  KQPDO pdo(1, TRANSMIT_RECEIVE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_ACYCLIC);
  KQCANMessage message;
  EXPECT_EQ(KQ_INVALID_ARGUMENT, sync().addReceivePDO(nullptr, &message));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, sync().addReceivePDO(&pdo, nullptr));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, sync().addReceivePDO(nullptr, nullptr));
}

TEST_F(SyncHandler, FramesAreAppliedFromTheLastPDOToTheFirst) {
  addReceivePDO(0, {0x205, 1}, {0x20010108});
  addReceivePDO(1, {0x305, 1}, {0x20010108});
  start();
  node.receive("205#11");
  node.receive("305#22");
  syncNow();
  EXPECT_EQ(0x11, stored(0x2001, 1));
}

// ---- transmissions

TEST_F(SyncHandler, NoTPDOIsNotQueued) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, sync().addTxPDO(nullptr));
}

class SyncTransmissionType : public SyncHandler, public testing::WithParamInterface<int> {};

TEST_P(SyncTransmissionType, DecidesWhichSyncsLetTheTPDOOut) {
  const int type = GetParam();
  addTransmitPDO(0, {0x185, static_cast<unsigned char>(type)}, {0x20010108});
  startAndSettle();
  std::vector<int> expected;
  // Two rounds of the counter. Queued at the start, so that the first SYNC lets it out in any case.
  for (int number = 1; number <= 502 && type <= 251; ++number) {
    const int counter = (number - 1) % 251 + 1;
    if (number == 1 || (type != 0 && counter % type == 0)) {
      expected.push_back(number);
    }
  }
  EXPECT_EQ(expected, syncsWithFrames(1, 502));
}

INSTANTIATE_TEST_SUITE_P(All, SyncTransmissionType, testing::Range(0, 256), test::ReadableName());

TEST_F(SyncHandler, Type3GoesOutAtTheStartAndThenEveryThirdSyncWithAGapAtTheWrap) {
  addTransmitPDO(0, {0x185, 3}, {0x20010108});
  start();
  EXPECT_EQ((std::vector<int>{1, 3, 6, 9}), syncsWithFrames(1, 10));
  EXPECT_EQ((std::vector<int>{246, 249, 254, 257}), [this] {
    syncsWithFrames(11, 243);
    return syncsWithFrames(244, 258);
  }());
}

TEST_F(SyncHandler, QueuedTPDOWhoseTurnHasComeGoesOutTwice) {
  addTransmitPDO(0, {0x185, 1}, {0x20010108});
  start();
  EXPECT_EQ((Frames{"185#00", "185#00"}), syncNow());
  EXPECT_EQ(Frames{"185#00"}, syncNow());
  change(0x2001, 1, 1);
  EXPECT_EQ((Frames{"185#01", "185#01"}), syncNow());
}

TEST_F(SyncHandler, InhibitTimeHoldsTheSecondOneBack) {
  addTransmitPDO(0, {0x185, 1}, {0x20010108});
  write(0x1800, 3, 100);
  start();
  EXPECT_EQ(Frames{"185#00"}, syncNow());
  node.clock.advance(99);
  EXPECT_EQ(Frames{}, syncNow());
  node.clock.advance(1);
  EXPECT_EQ(Frames{"185#00"}, syncNow());
}

TEST_F(SyncHandler, AcyclicTPDOGoesOutOnceAfterAChange) {
  addTransmitPDO(0, {0x185, 0}, {0x20010108});
  start();
  EXPECT_EQ(Frames{"185#00"}, syncNow());
  EXPECT_EQ(Frames{}, syncNow());
  change(0x2001, 1, 1);
  change(0x2001, 1, 2);
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(Frames{"185#02"}, syncNow());
  EXPECT_EQ(Frames{}, syncNow());
}

class CyclicTypeAfterChange : public SyncHandler, public testing::WithParamInterface<int> {};

TEST_P(CyclicTypeAfterChange, CarriesTheValueOnItsNextTurnOnly) {
  addTransmitPDO(0, {0x185, static_cast<unsigned char>(GetParam())}, {0x20010108});
  start();
  syncNow();
  change(0x2001, 1, 1);
  EXPECT_EQ(GetParam() == 2 ? Frames{"185#01"} : Frames{}, syncNow());
}

INSTANTIATE_TEST_SUITE_P(Types, CyclicTypeAfterChange, testing::Values(2, 3, 240, 241, 251), test::ReadableName());

TEST_F(SyncHandler, InhibitedQueuedTPDOIsNotTriedAgain) {
  addTransmitPDO(0, {0x185, 0}, {0x20010108});
  write(0x1800, 3, 100);
  start();
  syncNow();
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{}, syncNow());
  node.clock.advance(200);
  EXPECT_EQ(Frames{}, syncNow());
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SyncHandler, RefusedQueuedTPDOIsNotTriedAgain) {
  addTransmitPDO(0, {0x185, 0}, {0x20010108});
  start();
  node.port().refuse(26, 24);
  EXPECT_EQ(Frames{}, syncNow());
  EXPECT_EQ(Frames{}, syncNow());
}

TEST_F(SyncHandler, QueuedTwiceGoesOutOnce) {
  start();
  KQPDO pdo(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_ACYCLIC);
  pdo.setCOBID(0x1AB);
  EXPECT_EQ(KQ_OK, sync().addTxPDO(&pdo));
  EXPECT_EQ(KQ_OK, sync().addTxPDO(&pdo));
  EXPECT_EQ(Frames{"1AB#"}, syncNow());
  EXPECT_EQ(Frames{}, syncNow());
}

class HandedInType : public SyncHandler, public testing::WithParamInterface<int> {};

TEST_P(HandedInType, OutsideTheCyclicOnesGoesOutOnce) {
  start();
  KQPDO pdo(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, static_cast<KQCANopenPDOTransmissionMode>(GetParam()));
  pdo.setCOBID(0x1AB);
  EXPECT_EQ(KQ_OK, sync().addTxPDO(&pdo));
  EXPECT_EQ(std::vector<int>{1}, syncsWithFrames(1, 260));
}

INSTANTIATE_TEST_SUITE_P(Types, HandedInType, testing::Values(0, 252, 253, 254, 255), test::ReadableName());

TEST_F(SyncHandler, DataIsAppliedBeforeTheTransmissions) {
  addReceivePDO(0, {0x205, 1}, {0x20010108});
  addTransmitPDO(0, {0x185, 2}, {0x20010108});
  addTransmitPDO(1, {0x186, 0}, {0x20010108});
  start();
  syncNow();
  node.receive("205#77");
  EXPECT_EQ((Frames{"186#77", "185#77"}), syncNow());
}

TEST_F(SyncHandler, TPDOsGoOutInTheOrderOfTheirIndexesQueuedOnesFirst) {
  addTransmitPDO(2, {0x187, 1}, {});
  addTransmitPDO(0, {0x189, 0}, {});
  addTransmitPDO(1, {0x188, 2}, {});
  start();
  EXPECT_EQ((Frames{"189#", "188#", "187#", "187#"}), syncNow());
  EXPECT_EQ((Frames{"188#", "187#"}), syncNow());
}

TEST_F(SyncHandler, RetiredTPDOIsNotQueued) {
  start();
  KQPDO pdo(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_CYCLIC_FIRST);
  PDOInternals::retire(pdo);
  EXPECT_EQ(KQ_OK, sync().addTxPDO(&pdo));
  EXPECT_FALSE(PDOInternals::forget(sync(), pdo));
  EXPECT_EQ(Frames{}, syncNow());
}

// ---- removeTxPDO and reset

TEST_F(SyncHandler, RemovedTPDOGoesOutOnceMoreWhenItIsQueued) {
  addTransmitPDO(0, {0x185, 2}, {});
  addTransmitPDO(1, {0x186, 2}, {});
  start();
  sync().removeTxPDO(0x1800);
  EXPECT_EQ((Frames{"185#", "186#"}), syncNow());
  EXPECT_EQ(Frames{"186#"}, syncNow());
}

TEST_F(SyncHandler, RemovingWhatIsNotThereIsNoHarm) {
  addTransmitPDO(0, {0x185, 2}, {});
  start();
  sync().removeTxPDO(0x1801);
  sync().removeTxPDO(0);
  syncNow();
  EXPECT_EQ(Frames{"185#"}, syncNow());
}

TEST_F(SyncHandler, EveryTPDOOfTheIndexIsRemoved) {
  start();
  KQPDO first(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_CYCLIC_FIRST);
  KQPDO second(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_CYCLIC_FIRST);
  for (KQPDO* const pdo : {&first, &second}) {
    pdo->setCommunicationIndex(0x1800);
    sync().addTxPDO(pdo);
  }
  sync().removeTxPDO(0x1800);
  EXPECT_EQ(2U, syncNow().size());  // queued both
  EXPECT_EQ(Frames{}, syncNow());
}

TEST_F(SyncHandler, InvalidTPDOIsRemovedWhenAllAreBuilt) {
  addTransmitPDO(0, {0x185, 1}, {});
  node.dictionary().getSubentry(0x1800, 1)->value = static_cast<int>(0x80000185);
  start();
  KQPDO pdo(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_CYCLIC_FIRST);
  pdo.setCommunicationIndex(0x1800);
  pdo.setCOBID(0x1AB);
  sync().addTxPDO(&pdo);
  handler().init();
  EXPECT_EQ(Frames{"1AB#"}, syncNow());  // it was queued, too
  EXPECT_EQ(Frames{}, syncNow());
}

TEST_F(SyncHandler, RemovedTPDOComesBackWhenItIsAddedAgain) {
  start();
  KQPDO pdo(0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_CYCLIC_FIRST);
  pdo.setCommunicationIndex(0x1800);
  pdo.setCOBID(0x1AB);
  sync().addTxPDO(&pdo);
  sync().removeTxPDO(0x1800);
  EXPECT_EQ(Frames{"1AB#"}, syncNow());
  EXPECT_EQ(Frames{}, syncNow());
  sync().addTxPDO(&pdo);
  EXPECT_EQ((Frames{"1AB#", "1AB#"}), syncNow());
  sync().removeTxPDO(0x1800);
}

TEST_F(SyncHandler, ResetForgetsEverythingThatWaits) {
  addReceivePDO(0, {0x205, 1}, {0x20010108});
  addTransmitPDO(0, {0x185, 0}, {});
  addTransmitPDO(1, {0x186, 1}, {});
  start();
  node.receive("205#11");
  sync().reset();
  EXPECT_EQ(Frames{}, syncNow());
  EXPECT_EQ(0, stored(0x2001, 1));
}

TEST_F(SyncHandler, ResetKeepsTheCounter) {
  addTransmitPDO(0, {0x185, 3}, {});
  start();
  runCounterTo(3);
  node.receive("000#82 05");
  node.cycle();
  node.cycle();
  node.receive("000#01 05");
  EXPECT_EQ((Frames{"185#", "185#"}), syncNow());  // queued by INIT, and its turn
  EXPECT_EQ(Frames{}, syncNow());
}

TEST_F(SyncHandler, DeclinedSyncDoesNotCount) {
  addTransmitPDO(0, {0x185, 3}, {});
  start();
  syncNow();
  node.receive("000#80 05");
  syncNow();
  syncNow();
  node.receive("000#01 05");
  EXPECT_EQ(Frames{}, syncNow());
  EXPECT_EQ(Frames{"185#"}, syncNow());
}

}  // namespace
