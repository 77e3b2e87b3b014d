// Covers: servers that keep the SDO client waiting.
//
// | subject               | functional                           | robustness                      |
// |-----------------------|--------------------------------------|---------------------------------|
// | confirmation          | both sides, abort frame, value kept  | late answer, wrap of the tick   |
// | several confirmations | each its own deadline                |                                 |
// | upload of a master    | named as the master named it         | after a read, before a read     |
// | segmented download    | every step renews it, COB-ID, event  | no listener                     |
// | read                  | both sides, COB-ID, variable invalid | no remote key, wrap of the tick |
// | segmented upload      | every step renews it                 | wrong segment does not          |
// | time-out              | configured, changed in between       | 0, port refuses the abort       |
// | status word           | smallest remaining time              | nothing pending, more than 5 ms |
// | one download slot     |                                      | a master takes it over          |

#include "KQErrorCodes.h"
#include "KQVariable.h"
#include "NamedCase.h"
#include "SDOClientFixture.h"
#include "SDOServerFixture.h"

namespace {

using test::Frames;
using Events = std::vector<std::string>;

const Frames WRITE_ABORTED{"606#80 00 60 11 00 00 04 05"};
const Frames READ_ABORTED{"586#80 00 60 11 00 00 04 05"};

class SDOClientTimeout : public test::SDOClientFixture {
protected:
  int status() { return node.canopen().getProtocolStatus(); }

  // A cycle after milliseconds without one. @return the frames sent
  Frames cycleAfter(unsigned int milliseconds) {
    node.clock.advance(milliseconds);
    return node.cycle();
  }

  // Starts to write a text of more than four characters into variable 1, up to the first segment.
  void startText() {
    addText(1, "old");
    sendWrite(1, test::pattern(20));
    server("60 00 60 11 00 00 00 00");
  }
};

// ---- confirmations

TEST_F(SDOClientTimeout, ConfirmationMayComeAtItsDeadline) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(KQ::KQ_OK, answer("60 00 60 11 00 00 00 00"));
  EXPECT_EQ(5, stored(1));
}

TEST_F(SDOClientTimeout, MissingConfirmationIsAbortedAfterItsDeadlineOnTheRequestCobID) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  node.run(100);
  EXPECT_EQ(WRITE_ABORTED, node.run(1));
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SDOClientTimeout, MissingConfirmationKeepsTheLocalValue) {
  addNumber(1, 16, false, 3);
  sendWrite(1, 5);
  node.run(101);
  EXPECT_EQ(3, stored(1));
  EXPECT_TRUE(isValid(1));
}

TEST_F(SDOClientTimeout, LateConfirmationGives23) {
  addNumber(1, 16, false, 3);
  sendWrite(1, 5);
  node.run(101);
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer("60 00 60 11 00 00 00 00"));
  EXPECT_EQ(3, stored(1));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientTimeout, ConfirmationAfterTheDeadlineButBeforeTheCycleIsTaken) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  node.clock.advance(500);
  EXPECT_EQ(KQ::KQ_OK, answer("60 00 60 11 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientTimeout, EveryConfirmationHasItsOwnDeadline) {
  addNumber(1, 16, false);
  addNumber(2, 16, false);
  sendWrite(2, 5);
  node.run(40);
  sendWrite(1, 5);
  EXPECT_EQ(Frames{}, node.run(60));
  EXPECT_EQ(Frames{"606#80 00 60 12 00 00 04 05"}, node.run(1));
  EXPECT_EQ(Frames{}, node.run(39));
  EXPECT_EQ(WRITE_ABORTED, node.run(1));
}

TEST_F(SDOClientTimeout, ConfirmationsOfOneCycleAreAbortedInTheOrderOfTheirKeys) {
  addNumber(1, 16, false);
  addNumber(2, 16, false);
  moveToOtherServer(2);
  write(2, 5);
  write(1, 5);
  node.cycle();
  EXPECT_EQ((Frames{"606#80 00 60 11 00 00 04 05", "607#80 00 60 12 00 00 04 05"}), node.run(101));
}

TEST_F(SDOClientTimeout, LaterWriteOfTheSameObjectMovesTheDeadline) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  node.run(60);
  sendWrite(1, 6);
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(WRITE_ABORTED, node.run(1));
}

TEST_F(SDOClientTimeout, AbortGoesOutBeforeTheNextWrite) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  write(1, 6);
  EXPECT_EQ((Frames{"606#80 00 60 11 00 00 04 05", "606#2B 00 60 11 06 00 00 00"}), cycleAfter(101));
}

TEST_F(SDOClientTimeout, ServerThatAnswersAgainIsHeard) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  node.run(101);
  sendWrite(1, 6);
  EXPECT_EQ(KQ::KQ_OK, answer("60 00 60 11 00 00 00 00"));
  EXPECT_EQ(6, stored(1));
}

TEST_F(SDOClientTimeout, DeadlineOfAConfirmationOutlivesTheWrapOfTheTick) {
  addNumber(1, 16, false);
  node.clock.set(0xFFFFFFF0U);
  sendWrite(1, 5);
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(WRITE_ABORTED, node.run(1));
}

TEST_F(SDOClientTimeout, RefusedAbortIsNotTriedAgain) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, cycleAfter(101));
  EXPECT_EQ(Frames{}, node.run(200));
}

struct TimeoutRow : test::NamedCase {
  unsigned int timeout;
};

class SDOClientConfiguredTimeout : public SDOClientTimeout, public ::testing::WithParamInterface<TimeoutRow> {};

TEST_P(SDOClientConfiguredTimeout, HoldsForAConfirmation) {
  node.canopen().setSDOTimeout(GetParam().timeout);
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(Frames{}, cycleAfter(GetParam().timeout));
  EXPECT_EQ(WRITE_ABORTED, cycleAfter(1));
}

TEST_P(SDOClientConfiguredTimeout, HoldsForARead) {
  node.canopen().setSDOTimeout(GetParam().timeout);
  addNumber(1, 16, false);
  ask();
  EXPECT_EQ(Frames{}, cycleAfter(GetParam().timeout));
  EXPECT_EQ(READ_ABORTED, cycleAfter(1));
}

const TimeoutRow TIMEOUT_ROWS[] = {{{"None"}, 0}, {{"One"}, 1}, {{"Long"}, 60000}};

INSTANTIATE_TEST_SUITE_P(Times, SDOClientConfiguredTimeout, ::testing::ValuesIn(TIMEOUT_ROWS),
                         test::caseName<TimeoutRow>);

TEST_F(SDOClientTimeout, ChangedTimeOutLeavesTheDeadlineOfAPendingConfirmation) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  node.canopen().setSDOTimeout(10);
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(WRITE_ABORTED, node.run(1));
}

TEST_F(SDOClientTimeout, ChangedTimeOutHoldsForAPendingRead) {
  addNumber(1, 16, false);
  ask();
  node.canopen().setSDOTimeout(10);
  EXPECT_EQ(Frames{}, node.run(10));
  EXPECT_EQ(READ_ABORTED, node.run(1));
}

// ---- segmented downloads

TEST_F(SDOClientTimeout, SegmentsWithoutResponseAreAbortedOnTheResponseCobID) {
  startText();
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(READ_ABORTED, node.run(1));
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SDOClientTimeout, SegmentedWriteWithoutInitiateResponseIsAborted) {
  addText(1, "old");
  sendWrite(1, test::pattern(20));
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(READ_ABORTED, node.run(1));
}

TEST_F(SDOClientTimeout, EverySegmentRenewsTheTimeOut) {
  startText();
  node.run(100);
  server("20 00 00 00 00 00 00 00");
  node.run(100);
  server("30 00 00 00 00 00 00 00");
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(READ_ABORTED, node.run(1));
}

TEST_F(SDOClientTimeout, LastSegmentWithoutConfirmationKeepsTheLocalText) {
  addText(1, "old");
  sendWrite(1, "hello");
  server("60 00 60 11 00 00 00 00");
  EXPECT_EQ(READ_ABORTED, node.run(101));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ("old", storedText(1));
}

TEST_F(SDOClientTimeout, OfSegmentsIsSignalledWithTheRemoteKey) {
  startText();
  node.run(100);
  EXPECT_EQ(Events{}, takeEvents());
  node.run(1);
  EXPECT_EQ(Events{"1103 60000011 0"}, takeEvents());
}

TEST_F(SDOClientTimeout, OfSegmentsNeedsNoListener) {
  startText();
  node.canopen().setSDOEventListener(nullptr);
  EXPECT_EQ(READ_ABORTED, node.run(101));
}

TEST_F(SDOClientTimeout, NextTextAfterItWorks) {
  startText();
  node.run(101);
  sendWrite(1, "hello");
  server("60 00 60 11 00 00 00 00");
  server("20 00 00 00 00 00 00 00");
  EXPECT_EQ("hello", storedText(1));
}

// ---- reads

TEST_F(SDOClientTimeout, AnswerMayComeAtTheDeadline) {
  addNumber(1, 16, false);
  ask();
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(KQ::KQ_OK, answer("4B 00 60 11 05 00 00 00"));
  EXPECT_EQ(5, stored(1));
}

TEST_F(SDOClientTimeout, ReadWithoutAnswerIsAbortedOnTheResponseCobID) {
  addNumber(1, 16, false);
  ask();
  node.run(100);
  EXPECT_EQ(READ_ABORTED, node.run(1));
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SDOClientTimeout, ReadWithoutAnswerMarksTheVariableInvalid) {
  addNumber(1, 16, false, 3);
  addNumber(2, 16, false);
  ask();
  node.run(100);
  EXPECT_TRUE(isValid(1));
  node.run(1);
  EXPECT_FALSE(isValid(1));
  EXPECT_TRUE(isValid(2));
  EXPECT_EQ(3, stored(1));
}

TEST_F(SDOClientTimeout, NextReadMakesTheVariableValidAgain) {
  addNumber(1, 16, false);
  ask();
  node.run(101);
  ask();
  answer("4B 00 60 11 05 00 00 00");
  EXPECT_TRUE(isValid(1));
  EXPECT_EQ(5, stored(1));
}

TEST_F(SDOClientTimeout, ReadIsNotSignalled) {
  addNumber(1, 16, false);
  ask();
  node.run(101);
  EXPECT_EQ(Events{}, takeEvents());
}

TEST_F(SDOClientTimeout, LateAnswerToAReadGives8) {
  addNumber(1, 16, false, 3);
  ask();
  node.run(101);
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("4B 00 60 11 05 00 00 00"));
  EXPECT_EQ(3, stored(1));
}

TEST_F(SDOClientTimeout, NextReadGoesOutInTheCycleOfTheAbort) {
  addNumber(1, 16, false);
  addNumber(2, 16, false);
  ask();
  read(2);
  node.run(100);
  EXPECT_EQ((Frames{"586#80 00 60 11 00 00 04 05", "606#40 00 60 12 00 00 00 00"}), node.run(1));
}

TEST_F(SDOClientTimeout, LateAnswerIsNotTakenForTheNextRead) {
  addNumber(1, 16, false);
  addNumber(2, 16, false);
  ask();
  read(2);
  node.run(101);
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("4B 00 60 11 05 00 00 00"));
  EXPECT_EQ(0, stored(2));
  EXPECT_EQ(KQ::KQ_OK, answer("4B 00 60 12 06 00 00 00"));
  EXPECT_EQ(6, stored(2));
}

TEST_F(SDOClientTimeout, ReadWithoutRemoteKeyIsAbortedWithTheLocalOne) {
  KQ::KQVariable variable(INDEX, 1, "number");
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
  ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, 1, 0x606));
  sendRead(1);
  EXPECT_EQ(Frames{"586#80 01 20 01 00 00 04 05"}, node.run(101));
}

TEST_F(SDOClientTimeout, ReadThatThePortRefusedEndsByItToo) {
  addNumber(1, 16, false);
  read(1);
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(READ_ABORTED, node.run(101));
}

TEST_F(SDOClientTimeout, OfAReadOutlivesTheWrapOfTheTick) {
  addNumber(1, 16, false);
  node.clock.set(0xFFFFFFF0U);
  ask();
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(READ_ABORTED, node.run(1));
}

TEST_F(SDOClientTimeout, EveryUploadedSegmentRenewsTheTimeOut) {
  addText(1);
  ask();
  node.run(100);
  server("41 00 60 11 14 00 00 00");
  node.run(100);
  server("00 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(READ_ABORTED, node.run(1));
  EXPECT_FALSE(isValid(1));
}

TEST_F(SDOClientTimeout, WrongSegmentDoesNotRenewTheTimeOut) {
  addText(1);
  ask();
  server("41 00 60 11 14 00 00 00");
  node.run(60);
  server("10 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{}, node.run(40));
  EXPECT_EQ(READ_ABORTED, node.run(1));
}

TEST_F(SDOClientTimeout, SegmentAfterItGives8) {
  addText(1, "old");
  ask();
  server("41 00 60 11 05 00 00 00");
  node.run(101);
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ("old", storedText(1));
}

// ---- reads and uploads of a master in their one slot

TEST_F(SDOClientTimeout, UploadOfAMasterAfterAReadIsAbortedUnderTheObjectThatTheMasterNamed) {
  addText(1, "text of a master");
  ask();
  node.receive("605#40 01 20 01 00 00 00 00");
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 04 05"}, node.run(101));
  EXPECT_FALSE(isValid(1));
}

TEST_F(SDOClientTimeout, ReadAfterTheUploadOfAMasterIsAbortedUnderTheRemoteKey) {
  addText(1, "a text");
  node.receive("605#40 01 20 01 00 00 00 00");
  node.receive("605#60 00 00 00 00 00 00 00");
  ask();
  EXPECT_EQ(READ_ABORTED, node.run(101));
}

TEST_F(SDOClientTimeout, SegmentedReadIsAbortedUnderTheRemoteKey) {
  addText(1, "old");
  ask();
  server("41 00 60 11 14 00 00 00");
  EXPECT_EQ(READ_ABORTED, node.run(101));
}

// ---- both

TEST_F(SDOClientTimeout, ConfirmationsComeBeforeSegmentsBeforeReads) {
  addNumber(2, 16, false);
  addNumber(3, 16, false);
  read(3);
  sendWrite(2, 5);
  startText();
  EXPECT_EQ((Frames{"606#80 00 60 12 00 00 04 05", "586#80 00 60 11 00 00 04 05", "586#80 00 60 13 00 00 04 05"}),
            cycleAfter(101));
}

// ---- status word

TEST_F(SDOClientTimeout, StatusWordIs5WithNothingPending) {
  node.cycle();
  EXPECT_EQ(5, status());
}

struct StatusRow : test::NamedCase {
  unsigned int elapsed;
  int status;
};

class SDOClientStatusWord : public SDOClientTimeout, public ::testing::WithParamInterface<StatusRow> {};

TEST_P(SDOClientStatusWord, IsTheTimeToTheDeadlineUpTo5) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(5, status());
  cycleAfter(GetParam().elapsed);
  EXPECT_EQ(GetParam().status, status());
}

const StatusRow STATUS_ROWS[] = {
    {{"AtOnce"}, 0, 5},   {{"SixLeft"}, 94, 5},   {{"FiveLeft"}, 95, 5}, {{"FourLeft"}, 96, 4},
    {{"OneLeft"}, 99, 1}, {{"NoneLeft"}, 100, 0}, {{"Aborted"}, 101, 5},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOClientStatusWord, ::testing::ValuesIn(STATUS_ROWS), test::caseName<StatusRow>);

TEST_F(SDOClientTimeout, StatusWordIsTheSmallestOfSeveral) {
  addNumber(1, 16, false);
  addNumber(2, 16, false);
  sendWrite(2, 5);
  node.run(2);
  sendWrite(1, 5);
  node.run(96);
  EXPECT_EQ(2, status());
  server("60 00 60 12 00 00 00 00");
  node.cycle();
  EXPECT_EQ(4, status());
}

TEST_F(SDOClientTimeout, StatusWordIsTheRemainingTimeOfTheOthers) {
  addNumber(1, 16, false);
  addNumber(2, 16, false);
  sendWrite(2, 5);
  node.run(4);
  sendWrite(1, 5);
  EXPECT_EQ(Frames{"606#80 00 60 12 00 00 04 05"}, node.run(97));
  EXPECT_EQ(3, status());
}

TEST_F(SDOClientTimeout, CheckNeedsNoPlaceForTheNextDueTime) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  client().checkSDOTimeouts(nullptr);
  node.clock.advance(101);
  client().checkSDOTimeouts(nullptr);
  EXPECT_EQ(WRITE_ABORTED, sent());
}

// ---- a master that takes the client's slot

class SlotTakenByAMaster : public SDOClientTimeout {
protected:
  // A master begins to write this node's text 0x2001 sub-index 1 while node 6 is being sent segments of it.
  void takeSlot() {
    startText();
    ASSERT_EQ(Frames{"585#60 01 20 01 00 00 00 00"}, node.receive("605#21 01 20 01 0E 00 00 00"));
  }
};

TEST_F(SlotTakenByAMaster, AbortsHimOnTheCobIDOfHisAnswers) {
  takeSlot();
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 04 05"}, node.run(101));
}

TEST_F(SlotTakenByAMaster, AbortsHimForARepeatedToggleOnTheCobIDOfHisAnswers) {
  takeSlot();
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 03 05"}, node.receive("605#10 61 62 63 64 65 66 67"));
}

TEST_F(SlotTakenByAMaster, ExpectsNothingMoreOfTheServer) {
  takeSlot();
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, node.receive("605#00 61 62 63 64 65 66 67"));
}

TEST_F(SlotTakenByAMaster, IsNotGivenUpForAnAbortOfTheServer) {
  takeSlot();
  answer("80 00 60 11 00 00 04 05");
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, node.receive("605#00 61 62 63 64 65 66 67"));
}

// Whoever calls the steps of the client himself, with the COB-IDs of the master's transfer.
TEST_F(SlotTakenByAMaster, TakesNoStepOfTheClient) {
  takeSlot();
  const KQ::KQCANMessage message = test::frame("605#20 00 00 00 00 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, client().handleSegmentedSDODownloadSegmentResponse(message, 0x605, 0x585));
  EXPECT_EQ(Frames{}, sent());
  takeEvents();
  client().handleSDOAbortMessage(0x2001, 1, 0x605);
  EXPECT_EQ(Events{}, takeEvents());
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, node.receive("605#00 61 62 63 64 65 66 67"));
}

}  // namespace
