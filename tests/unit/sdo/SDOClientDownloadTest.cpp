// Covers: how the SDO client's writes end, expedited and segmented.
//
// | subject               | functional                            | robustness                                     |
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

  // An object of that type which node 6 holds. No variable is bound to it.
  void addObject(KQ::KQCANopenDataType dataType) {
    node.dictionary().addEntry(INDEX, KQ::OBJECT_TYPE_RECORD, "object");
    node.dictionary().addSubentry(INDEX, 1, KQ::ACCESS_RW, dataType, "", false, 0, "", 0x606);
  }

  // Starts to write a text of more than four characters into variable 1, up to the first segment.
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

TEST_F(SDOClientDownload, ConfirmedNumberIsTakenOverWhateverTheAccessRight) {
  addNumber(1, 16, false, 3);
  node.dictionary().getSubentry(INDEX, 1)->accessType = KQ::ACCESS_RO;
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
  EXPECT_EQ(5, stored(1));
}

TEST_F(SDOClientDownload, RemoteKeyIsComparedAsAFrameHoldsIt) {
  KQ::KQVariable variable(INDEX, 1, "number", KQ::STORAGE_TYPE_INTEGER, 16, false);
  variable.setExternalIdentifier(0x60000111U);  // a frame has no room for bits 8 to 15
  variable.setChannelName("remote");
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
  ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, 1, 0x606));
  EXPECT_EQ(Frames{"606#2B 00 60 11 05 00 00 00"}, sendWrite(1, 5));
  EXPECT_EQ(KQ::KQ_OK, answer(CONFIRMATION));
  EXPECT_EQ(5, stored(1));
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
    {{"Twelve"}, 12, {"606#00 61 62 63 64 65 66 67", "606#15 68 69 6A 6B 6C 00 00"}},
    {{"Thirteen"}, 13, {"606#00 61 62 63 64 65 66 67", "606#13 68 69 6A 6B 6C 6D 00"}},
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

TEST_F(SDOClientDownload, ObjectWithoutVariableIsNotFoundAtTheEnd) {
  addObject(KQ::DATA_TYPE_UNSIGNED40);
  sendWrite(1, 5);
  server("60 01 20 01 00 00 00 00");
  EXPECT_EQ(0x08000000, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(Events{"1103 20010001 1"}, takeEvents());
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SDOClientDownload, LastConfirmationOnAnotherChannelIsNotTaken) {
  startText("hello");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, offer("587#20 00 00 00 00 00 00 00"));
  EXPECT_EQ("old", storedText(1));
  EXPECT_EQ(KQ::KQ_OK, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ("hello", storedText(1));
}

TEST_F(SDOClientDownload, ConfirmationOfTheSameObjectOnAnotherChannelDoesNotEndTheSegments) {
  startText("hello");
  EXPECT_EQ(KQ::KQ_NOT_FOUND, offer("587#60 00 60 11 00 00 00 00"));
  EXPECT_EQ("old", storedText(1));
  EXPECT_EQ(KQ::KQ_OK, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ("hello", storedText(1));
}

TEST_F(SDOClientDownload, SecondTextAfterAFinishedOneStartsAfresh) {
  startText(test::pattern(15));
  server("20 00 00 00 00 00 00 00");
  server("30 00 00 00 00 00 00 00");
  server("20 00 00 00 00 00 00 00");
  EXPECT_EQ(Frames{"606#21 00 60 11 09 00 00 00"}, sendWrite(1, "ABCDEFGHI"));
  EXPECT_EQ(Frames{"606#00 41 42 43 44 45 46 47"}, server(CONFIRMATION));
  EXPECT_EQ(test::pattern(15), storedText(1));
  EXPECT_EQ(Frames{"606#1B 48 49 00 00 00 00 00"}, server("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(KQ::KQ_OK, answer("30 00 00 00 00 00 00 00"));
  EXPECT_EQ("ABCDEFGHI", storedText(1));
}

struct LongNumberRow : test::NamedCase {
  KQ::KQCANopenDataType dataType;
  int value;
  Frames segments;
};

class SDOClientLongNumber : public SDOClientDownload, public ::testing::WithParamInterface<LongNumberRow> {};

TEST_P(SDOClientLongNumber, IsExtendedAsItsTypeIsSigned) {
  addObject(GetParam().dataType);
  sendWrite(1, GetParam().value);
  Frames segments = server("60 01 20 01 00 00 00 00");
  for (const std::string& text : server("20 00 00 00 00 00 00 00")) {
    segments.push_back(text);
  }
  EXPECT_EQ(GetParam().segments, segments);
}

const LongNumberRow LONG_NUMBER_ROWS[] = {
    {{"Unsigned40"}, KQ::DATA_TYPE_UNSIGNED40, -2, {"606#05 FE FF FF FF 00 00 00"}},
    {{"Unsigned48"}, KQ::DATA_TYPE_UNSIGNED48, -2, {"606#03 FE FF FF FF 00 00 00"}},
    {{"Unsigned56"}, KQ::DATA_TYPE_UNSIGNED56, -2, {"606#01 FE FF FF FF 00 00 00"}},
    {{"Unsigned64"}, KQ::DATA_TYPE_UNSIGNED64, -2, {"606#00 FE FF FF FF 00 00 00", "606#1D 00 00 00 00 00 00 00"}},
    {{"Real64"}, KQ::DATA_TYPE_REAL64, -2, {"606#00 FE FF FF FF 00 00 00", "606#1D 00 00 00 00 00 00 00"}},
    {{"Integer40"}, KQ::DATA_TYPE_INTEGER40, -2, {"606#05 FE FF FF FF FF 00 00"}},
    {{"Integer48"}, KQ::DATA_TYPE_INTEGER48, -2, {"606#03 FE FF FF FF FF FF 00"}},
    {{"Integer56"}, KQ::DATA_TYPE_INTEGER56, -2, {"606#01 FE FF FF FF FF FF FF"}},
    {{"Integer64"}, KQ::DATA_TYPE_INTEGER64, -2, {"606#00 FE FF FF FF FF FF FF", "606#1D FF 00 00 00 00 00 00"}},
    {{"Integer64NotNegative"},
     KQ::DATA_TYPE_INTEGER64,
     0x12345678,
     {"606#00 78 56 34 12 00 00 00", "606#1D 00 00 00 00 00 00 00"}},
};

INSTANTIATE_TEST_SUITE_P(Types, SDOClientLongNumber, ::testing::ValuesIn(LONG_NUMBER_ROWS),
                         test::caseName<LongNumberRow>);

TEST_F(SDOClientDownload, ConfirmedLongNumberIsTakenOver) {
  addNumber(1, 33, true);
  node.dictionary().setLimits(INDEX, 1, -10, 10);
  sendWrite(1, -2);
  EXPECT_EQ(Frames{"606#05 FE FF FF FF FF 00 00"}, server(CONFIRMATION));
  EXPECT_EQ(KQ::KQ_OK, answer("20 00 00 00 00 00 00 00"));
  EXPECT_EQ(-2, stored(1));
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

TEST_F(SDOClientDownload, SegmentResponseNeedsBothCobIDsOfTheTransfer) {
  startText(test::pattern(20));
  const KQ::KQCANMessage response = test::frame("586#20 00 00 00 00 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, client().handleSegmentedSDODownloadSegmentResponse(response, 0x586, 0x607));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, client().handleSegmentedSDODownloadSegmentResponse(response, 0x587, 0x606));
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(KQ::KQ_OK, client().handleSegmentedSDODownloadSegmentResponse(response, 0x586, 0x606));
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
