// Covers: how the SDO client's writes end, expedited and segmented.
//
// | parameter             | functional                            | robustness                                     |
// |-----------------------|---------------------------------------|------------------------------------------------|
// | confirmation          | value taken over only now, event      | nothing pending, other channel, twice, no type |
// | several confirmations | any order, same remote object         |                                                |
// | segments              | 5 to 15, 889 characters, both toggles | toggle error, wrong channel                    |
// | last confirmation     | local value, event                    | no variable, other channel name                |
// | abort by the server   | expedited, segmented                  | other object, other channel, nothing running   |
// | second transfer       | takes the slot over, as server too    | segment of a master                            |
// | command specifier     | 1 and 3                               | unexpected, 5 to 7                             |

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "SDOClientFixture.h"
#include "SDOServerFixture.h"

namespace {

using test::Frames;
using Events = std::vector<std::string>;

class SDOClientDownload : public test::SDOClientFixture {
protected:
  static constexpr const char* CONFIRMATION = "60 00 60 11 00 00 00 00";

  /// Starts to write a text of more than four characters into variable 1, up to the first segment.
  Frames startText(const std::string& text) {
    addText(1, "old");
    sendWrite(1, text);
    return server(CONFIRMATION);
  }
};

// ---- expedited

TEST_F(SDOClientDownload, ConfirmedNumberIsTakenOver) {
  addNumber(1, 16, false, 3);
  sendWrite(1, 0x1234);
  EXPECT_EQ(3, stored(1));
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
  EXPECT_EQ(0x1234, stored(1));
}

TEST_F(SDOClientDownload, ConfirmedTextIsTakenOver) {
  addText(1, "old");
  sendWrite(1, "new");
  EXPECT_EQ("old", storedText(1));
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
  EXPECT_EQ("new", storedText(1));
}

TEST_F(SDOClientDownload, ConfirmationSendsNothing) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(Frames{}, server(CONFIRMATION));
}

TEST_F(SDOClientDownload, ConfirmationIsSignalledWithTheLocalKeyAndTheFlag) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(Events{}, takeEvents());
  server(CONFIRMATION);
  EXPECT_EQ(Events{"1103 20010001 1"}, takeEvents());
}

TEST_F(SDOClientDownload, ConfirmationWithoutListenerIsTakenAllTheSame) {
  addNumber(1, 16, false);
  node.canopen().setSDOEventListener(nullptr);
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
  EXPECT_EQ(5, stored(1));
}

TEST_F(SDOClientDownload, ConfirmationReturnsTheResultOfTheWrite) {
  addNumber(1, 8, false);
  sendWrite(1, 256);
  EXPECT_EQ(0x06090030, answer(CONFIRMATION));
  EXPECT_EQ(0, stored(1));
  EXPECT_EQ(Events{"1103 20010001 1"}, takeEvents());
}

TEST_F(SDOClientDownload, ConfirmationOfNothingPendingGives23) {
  addNumber(1, 16, false);
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer(CONFIRMATION));
  EXPECT_EQ(Events{}, takeEvents());
}

TEST_F(SDOClientDownload, SecondConfirmationGives23) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  answer(CONFIRMATION);
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer(CONFIRMATION));
}

struct OtherObjectRow : test::NamedCase {
  const char* confirmation;
};

class SDOClientOtherObject : public SDOClientDownload, public ::testing::WithParamInterface<OtherObjectRow> {};

TEST_P(SDOClientOtherObject, IsNotConfirmed) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer(GetParam().confirmation));
  EXPECT_EQ(0, stored(1));
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
}

const OtherObjectRow OTHER_OBJECT_ROWS[] = {
    {{"OtherSubIndex"}, "60 00 60 12 00 00 00 00"},
    {{"OtherLowIndex"}, "60 01 60 11 00 00 00 00"},
    {{"OtherHighIndex"}, "60 00 61 11 00 00 00 00"},
    {{"LocalKey"}, "60 01 20 01 00 00 00 00"},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOClientOtherObject, ::testing::ValuesIn(OTHER_OBJECT_ROWS),
                         test::caseName<OtherObjectRow>);

TEST_F(SDOClientDownload, ConfirmationOnAnotherChannelGives15) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_MISMATCH, offer("587#60 00 60 11 00 00 00 00"));
  EXPECT_EQ(0, stored(1));
  EXPECT_EQ(Events{}, takeEvents());
}

TEST_F(SDOClientDownload, ConfirmationOnAnotherChannelLeavesTheWritePending) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  offer("587#60 00 60 11 00 00 00 00");
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
  EXPECT_EQ(5, stored(1));
}

TEST_F(SDOClientDownload, ConfirmationOfAnEntryWithoutTypeGives29) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  node.dictionary().getSubentry(INDEX, 1)->dataType = KQ::DATA_TYPE_NONE;
  EXPECT_EQ(29, answer(CONFIRMATION));
  EXPECT_EQ(0, stored(1));
}

TEST_F(SDOClientDownload, WritesAreConfirmedInAnyOrder) {
  addNumber(1, 16, false);
  addNumber(2, 16, false);
  write(1, 5);
  sendWrite(2, 6);
  EXPECT_EQ(KQ::KQ_OK, answer("60 00 60 12 00 00 00 00"));
  EXPECT_EQ(0, stored(1));
  EXPECT_EQ(6, stored(2));
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
  EXPECT_EQ(5, stored(1));
}

TEST_F(SDOClientDownload, LaterWriteOfTheSameObjectReplacesThePendingOne) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  sendWrite(1, 6);
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
  EXPECT_EQ(6, stored(1));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer(CONFIRMATION));
}

TEST_F(SDOClientDownload, LaterWriteToAnotherServerReplacesThePendingOneOfTheSameRemoteObject) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  moveToOtherServer(1);
  sendWrite(1, 6);
  EXPECT_EQ(KQ::KQ_MISMATCH, answer(CONFIRMATION));
  EXPECT_EQ(KQ::KQ_OK, offer("587#60 00 60 11 00 00 00 00"));
  EXPECT_EQ(6, stored(1));
}

// ---- segmented

struct SegmentsRow : test::NamedCase {
  std::size_t length;
  Frames segments;
};

class SDOClientSegments : public SDOClientDownload, public ::testing::WithParamInterface<SegmentsRow> {};

TEST_P(SDOClientSegments, CarryTheTextWithAlternatingToggle) {
  addText(1);
  sendWrite(1, test::pattern(GetParam().length));
  Frames segments = server(CONFIRMATION);
  for (std::size_t i = 1; i < GetParam().segments.size(); ++i) {
    const Frames next = server(i % 2 == 1 ? "20 00 00 00 00 00 00 00" : "30 00 00 00 00 00 00 00");
    segments.insert(segments.end(), next.begin(), next.end());
  }
  EXPECT_EQ(GetParam().segments, segments);
}

const SegmentsRow SEGMENTS_ROWS[] = {
    {{"Five"}, 5, {"606#05 61 62 63 64 65 00 00"}},
    {{"Six"}, 6, {"606#03 61 62 63 64 65 66 00"}},
    {{"Seven"}, 7, {"606#01 61 62 63 64 65 66 67"}},
    {{"Eight"}, 8, {"606#00 61 62 63 64 65 66 67", "606#1D 68 00 00 00 00 00 00"}},
    {{"Nine"}, 9, {"606#00 61 62 63 64 65 66 67", "606#1B 68 69 00 00 00 00 00"}},
    {{"Ten"}, 10, {"606#00 61 62 63 64 65 66 67", "606#19 68 69 6A 00 00 00 00"}},
    {{"Eleven"}, 11, {"606#00 61 62 63 64 65 66 67", "606#17 68 69 6A 6B 00 00 00"}},
    {{"Fourteen"}, 14, {"606#00 61 62 63 64 65 66 67", "606#11 68 69 6A 6B 6C 6D 6E"}},
    {{"Fifteen"}, 15, {"606#00 61 62 63 64 65 66 67", "606#10 68 69 6A 6B 6C 6D 6E", "606#0D 6F 00 00 00 00 00 00"}},
};

INSTANTIATE_TEST_SUITE_P(Lengths, SDOClientSegments, ::testing::ValuesIn(SEGMENTS_ROWS), test::caseName<SegmentsRow>);

TEST_F(SDOClientDownload, LastSegmentDoesNotYetChangeTheLocalText) {
  EXPECT_EQ(Frames{"606#05 68 65 6C 6C 6F 00 00"}, startText("hello"));
  EXPECT_EQ("old", storedText(1));
  EXPECT_EQ(Events{}, takeEvents());
}

TEST_F(SDOClientDownload, ConfirmedLastSegmentChangesTheLocalText) {
  startText("hello");
  EXPECT_EQ(KQ::KQ_OK, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ("hello", storedText(1));
  EXPECT_EQ(Events{"1103 20010001 1"}, takeEvents());
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientDownload, LongTextArrivesWhole) {
  const std::string text = test::pattern(889);
  startText(text);
  int responses = 1;
  while (!server(responses % 2 == 1 ? "20 00 00 00 00 00 00 00" : "30 00 00 00 00 00 00 00").empty()) {
    ++responses;
  }
  EXPECT_EQ(889 / 7, responses);
  EXPECT_EQ(text, storedText(1));
}

TEST_F(SDOClientDownload, ConfirmedTransferIsOver) {
  startText("hello");
  answer("20 00 00 00 00 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SDOClientDownload, VariableOfAnotherNameIsNotFoundAtTheEnd) {
  addText(1, "old");
  node.canopen().getVariable(keyOf(1))->setChannelName("elsewhere");
  sendWrite(1, "hello");
  server(CONFIRMATION);
  EXPECT_EQ(0x08000000, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ("old", storedText(1));
  EXPECT_EQ(1U, takeEvents().size());
}

TEST_F(SDOClientDownload, NumberOfEightBytesGoesOutWithItsSignInSegments) {
  node.dictionary().addEntry(INDEX, KQ::OBJECT_TYPE_RECORD, "object");
  node.dictionary().addSubentry(INDEX, 1, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED64, "", false, 0, "", 0x606);
  sendWrite(1, -2);
  EXPECT_EQ(Frames{"606#00 FE FF FF FF FF FF FF"}, server("60 01 20 01 00 00 00 00"));
  EXPECT_EQ(Frames{"606#1D FF 00 00 00 00 00 00"}, server("20 00 00 00 00 00 00 00"));
}

TEST_F(SDOClientDownload, RepeatedToggleIsAborted) {
  startText(test::pattern(20));
  server("20 00 00 00 00 00 00 00");
  EXPECT_EQ(Frames{"606#80 00 60 11 00 00 03 05"}, server("20 00 00 00 00 00 00 00"));
}

TEST_F(SDOClientDownload, FirstSegmentAnsweredWithToggle1IsAborted) {
  startText(test::pattern(20));
  EXPECT_EQ(Frames{"606#80 00 60 11 00 00 03 05"}, server("30 00 00 00 00 00 00 00"));
}

TEST_F(SDOClientDownload, IsOverAfterAToggleError) {
  startText(test::pattern(20));
  server("30 00 00 00 00 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.run(200));
  EXPECT_EQ("old", storedText(1));
}

TEST_F(SDOClientDownload, SegmentResponseOnAnotherChannelIsIgnored) {
  startText(test::pattern(20));
  EXPECT_EQ(Frames{}, node.receive("587#20 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"606#10 68 69 6A 6B 6C 6D 6E"}, server("20 00 00 00 00 00 00 00"));
}

TEST_F(SDOClientDownload, SegmentResponseWithoutTransferGives8) {
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientDownload, ConfirmationOfAnotherObjectIsTakenWhileSegmentsRun) {
  addNumber(2, 16, false);
  sendWrite(2, 5);
  startText(test::pattern(20));
  EXPECT_EQ(KQ::KQ_OK, answer("60 00 60 12 00 00 00 00"));
  EXPECT_EQ(5, stored(2));
  EXPECT_EQ(Frames{"606#10 68 69 6A 6B 6C 6D 6E"}, server("20 00 00 00 00 00 00 00"));
}

TEST_F(SDOClientDownload, LaterTextTakesTheSlotOver) {
  addText(1, "first");
  addText(2, "second");
  write(1, "aaaaa");
  EXPECT_EQ((Frames{"606#21 00 60 11 05 00 00 00", "606#21 00 60 12 06 00 00 00"}), sendWrite(2, "bbbbbb"));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer(CONFIRMATION));
  EXPECT_EQ(Frames{"606#03 62 62 62 62 62 62 00"}, server("60 00 60 12 00 00 00 00"));
  server("20 00 00 00 00 00 00 00");
  EXPECT_EQ("first", storedText(1));
  EXPECT_EQ("bbbbbb", storedText(2));
}

TEST_F(SDOClientDownload, OfAMasterTakesTheSlotOver) {
  addText(2);
  startText(test::pattern(20));
  EXPECT_EQ(Frames{"585#60 01 20 02 00 00 00 00"}, node.receive("605#21 01 20 02 05 00 00 00"));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, node.receive("605#05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ("hello", storedText(2));
}

TEST_F(SDOClientDownload, SegmentOfAMasterLeavesTheTransferOfTheClient) {
  startText(test::pattern(20));
  EXPECT_EQ(Frames{}, node.receive("605#05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ(Frames{"606#10 68 69 6A 6B 6C 6D 6E"}, server("20 00 00 00 00 00 00 00"));
}

// ---- aborts of the server

TEST_F(SDOClientDownload, AbortedWriteKeepsTheLocalValue) {
  addNumber(1, 16, false, 3);
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_OK, answer("80 00 60 11 00 00 02 06"));
  EXPECT_EQ(3, stored(1));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer(CONFIRMATION));
}

TEST_F(SDOClientDownload, AbortedWriteIsSignalledWithTheLocalKey) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(Frames{}, server("80 00 60 11 00 00 02 06"));
  EXPECT_EQ(Events{"1103 20010001 0"}, takeEvents());
}

TEST_F(SDOClientDownload, AbortedWriteTimesOutNoMore) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  server("80 00 60 11 00 00 02 06");
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SDOClientDownload, AbortOfAnotherObjectLeavesTheWritePending) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_OK, answer("80 00 60 12 00 00 02 06"));
  EXPECT_EQ(Events{}, takeEvents());
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
}

TEST_F(SDOClientDownload, AbortOnAnotherChannelLeavesTheWritePending) {
  addNumber(1, 16, false);
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_OK, offer("587#80 00 60 11 00 00 02 06"));
  EXPECT_EQ(Events{}, takeEvents());
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
}

TEST_F(SDOClientDownload, AbortedWriteWithoutListenerEnds) {
  addNumber(1, 16, false);
  node.canopen().setSDOEventListener(nullptr);
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_OK, answer("80 00 60 11 00 00 02 06"));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer(CONFIRMATION));
}

TEST_F(SDOClientDownload, AbortedSegmentsEnd) {
  startText(test::pattern(20));
  EXPECT_EQ(KQ::KQ_OK, answer("80 00 60 11 00 00 02 06"));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.run(200));
  EXPECT_EQ("old", storedText(1));
}

TEST_F(SDOClientDownload, AbortedSegmentsAreSignalledWithTheRemoteKey) {
  startText(test::pattern(20));
  server("80 00 60 11 00 00 02 06");
  EXPECT_EQ(Events{"1103 60000011 0"}, takeEvents());
}

TEST_F(SDOClientDownload, AbortOnAnotherChannelLeavesTheSegmentsRunning) {
  startText(test::pattern(20));
  offer("587#80 00 60 11 00 00 02 06");
  EXPECT_EQ(Frames{"606#10 68 69 6A 6B 6C 6D 6E"}, server("20 00 00 00 00 00 00 00"));
}

TEST_F(SDOClientDownload, AbortOfNothingIsTakenSilently) {
  EXPECT_EQ(KQ::KQ_OK, answer("80 00 60 11 00 00 02 06"));
  EXPECT_EQ(Events{}, takeEvents());
  EXPECT_EQ(Frames{}, sent());
}

// ---- command specifiers

struct InvalidSpecifierRow : test::NamedCase {
  const char* answer;
};

class SDOClientInvalidSpecifier : public SDOClientDownload,
                                  public ::testing::WithParamInterface<InvalidSpecifierRow> {};

TEST_P(SDOClientInvalidSpecifier, IsAborted) {
  EXPECT_EQ(KQ::KQ_OK, answer(GetParam().answer));
  EXPECT_EQ(Frames{"606#80 00 60 11 01 00 04 05"}, sent());
}

const InvalidSpecifierRow INVALID_SPECIFIER_ROWS[] = {
    {{"Five"}, "A0 00 60 11 00 00 00 00"},
    {{"Six"}, "C0 00 60 11 00 00 00 00"},
    {{"Seven"}, "E0 00 60 11 00 00 00 00"},
    {{"SevenWithEveryBit"}, "FF 00 60 11 FF FF FF FF"},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOClientInvalidSpecifier, ::testing::ValuesIn(INVALID_SPECIFIER_ROWS),
                         test::caseName<InvalidSpecifierRow>);

TEST_F(SDOClientDownload, FrameOfADisabledChannelIsNotTaken) {
  node.canopen().addSDOChannel(0x80000608, 0x588, 8, KQ::SDO_CHANNEL_CLIENT, "third");
  ASSERT_EQ(KQ::KQ_OK, client().init());
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer("588#E0 00 60 11 00 00 00 00"));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientDownload, FrameOfTheRequestCobIDIsNotTaken) {
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer("606#60 00 60 11 00 00 00 00"));
}

}  // namespace
