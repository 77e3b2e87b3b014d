// Covers: the segmented download of the SDO server.
//
// | subject        | functional                          | robustness                                  |
// |----------------|-------------------------------------|---------------------------------------------|
// | indicated size | 5 and more; not indicated           | below 5 (taken as expedited); wrong         |
// | object         | text of this node, of another owner | unknown, number, constant, without variable |
// | toggle         | alternates from 0                   | first 1, repeated                           |
// | last segment   | 0 to 7 bytes                        | unused bytes before the last segment        |
// | channel        | the one of the initiation           | foreign, one COB-ID shared                  |
// | slot           | one by one, an upload beside it     | second initiation, expedited in between     |
// | transmission   |                                     | refused at initiation and segment           |
// | limit          | reached                             | exceeded, set in the middle                 |

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "SDOServerFixture.h"

namespace {

using test::Frames;

const Frames OPENED = {"585#60 01 20 01 00 00 00 00"};
const Frames TAKEN = {"585#20 00 00 00 00 00 00 00"};
const Frames TAKEN_WITH_TOGGLE = {"585#30 00 00 00 00 00 00 00"};

class SegmentedDownload : public test::SDOServerFixture {
protected:
  SegmentedDownload() { addOwnText(0x2001, 1, "before"); }

  Frames open() { return request("21 01 20 01 0E 00 00 00"); }

  // Sends a whole text in segments of 7 bytes. @return the answers
  Frames sendText(const std::string& text) {
    Frames answers;
    unsigned int toggle = 0;
    for (std::size_t offset = 0; offset < text.size(); offset += 7, toggle ^= 0x10) {
      const std::string part = text.substr(offset, 7);
      const bool last = offset + 7 >= text.size();
      const unsigned int unused = static_cast<unsigned int>(7 - part.size());
      for (const std::string& frame : request(test::segment(toggle | unused << 1 | (last ? 1u : 0u), part))) {
        answers.push_back(frame);
      }
    }
    return answers;
  }
};

// ---- whole transfers

TEST_F(SegmentedDownload, TextIsWrittenWithTheLastSegment) {
  EXPECT_EQ(OPENED, open());
  EXPECT_EQ(TAKEN, request("00 61 62 63 64 65 66 67"));
  EXPECT_EQ("before", storedText(0x2001, 1));
  EXPECT_EQ(TAKEN_WITH_TOGGLE, request("11 68 69 6A 6B 6C 6D 6E"));
  EXPECT_EQ("abcdefghijklmn", storedText(0x2001, 1));
}

class SegmentedDownloadLength : public SegmentedDownload, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(SegmentedDownloadLength, IsTakenWhole) {
  const std::string text = test::pattern(GetParam());
  request("20 01 20 01 00 00 00 00");
  Frames expected;
  for (std::size_t i = 0; i < (text.size() + 6) / 7; ++i) {
    expected.push_back(i % 2 == 0 ? TAKEN[0] : TAKEN_WITH_TOGGLE[0]);
  }
  EXPECT_EQ(expected, sendText(text));
  EXPECT_EQ(text, storedText(0x2001, 1));
}

INSTANTIATE_TEST_SUITE_P(Table, SegmentedDownloadLength,
                         ::testing::Values(1u, 5u, 6u, 7u, 8u, 13u, 14u, 15u, 100u, 1000u, 70000u));

TEST_F(SegmentedDownload, TextOfAnotherOwnerIsWritten) {
  addObject(0x2005, 2, KQ::DATA_TYPE_VISIBLE_STRING, KQ::ACCESS_RO);
  EXPECT_EQ(Frames{"585#60 05 20 02 00 00 00 00"}, request("21 05 20 02 07 00 00 00"));
  EXPECT_EQ(TAKEN, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2005, 2));
}

TEST_F(SegmentedDownload, NextTransferStartsWithToggleZeroAgain) {
  open();
  request("00 61 62 63 64 65 66 67");
  request("11 61 62 63 64 65 66 67");
  EXPECT_EQ(OPENED, open());
  EXPECT_EQ(TAKEN, request("01 78 79 7A 78 79 7A 78"));
  EXPECT_EQ("xyzxyzx", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, SegmentAfterTheLastIsSilent) {
  open();
  request("01 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{}, request("11 68 69 6A 6B 6C 6D 6E"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, ZeroBytesBelongToTheText) {
  open();
  request("07 61 00 62 00 00 00 00");
  EXPECT_EQ(std::string("a\0b\0", 4), storedText(0x2001, 1));
}

// ---- last segment

struct LastRow : test::NamedCase {
  const char* request;
  const char* text;
};

class LastDownloadSegment : public SegmentedDownload, public ::testing::WithParamInterface<LastRow> {};

TEST_P(LastDownloadSegment, GivesTheBytesThatAreNotUnused) {
  open();
  EXPECT_EQ(TAKEN, request(GetParam().request));
  EXPECT_EQ(GetParam().text, storedText(0x2001, 1));
}

const LastRow LAST_ROWS[] = {
    {{"Bytes0"}, "0F 61 62 63 64 65 66 67", ""},       {{"Bytes1"}, "0D 61 62 63 64 65 66 67", "a"},
    {{"Bytes2"}, "0B 61 62 63 64 65 66 67", "ab"},     {{"Bytes3"}, "09 61 62 63 64 65 66 67", "abc"},
    {{"Bytes4"}, "07 61 62 63 64 65 66 67", "abcd"},   {{"Bytes5"}, "05 61 62 63 64 65 66 67", "abcde"},
    {{"Bytes6"}, "03 61 62 63 64 65 66 67", "abcdef"}, {{"Bytes7"}, "01 61 62 63 64 65 66 67", "abcdefg"},
};

INSTANTIATE_TEST_SUITE_P(Table, LastDownloadSegment, ::testing::ValuesIn(LAST_ROWS), test::caseName<LastRow>);

TEST_F(SegmentedDownload, UnusedBytesCountInEverySegment) {
  open();
  EXPECT_EQ(TAKEN, request("0A 61 62 63 64 65 66 67"));
  EXPECT_EQ(TAKEN_WITH_TOGGLE, request("1D 78 79 7A 78 79 7A 78"));
  EXPECT_EQ("abx", storedText(0x2001, 1));
}

// ---- indicated size

struct SizeRow : test::NamedCase {
  const char* initiation;
};

class IndicatedDownloadSize : public SegmentedDownload, public ::testing::WithParamInterface<SizeRow> {};

TEST_P(IndicatedDownloadSize, IsNotComparedWithWhatArrives) {
  EXPECT_EQ(OPENED, request(GetParam().initiation));
  EXPECT_EQ(TAKEN, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

const SizeRow SIZE_ROWS[] = {
    {{"Five"}, "21 01 20 01 05 00 00 00"},
    {{"Exact"}, "21 01 20 01 07 00 00 00"},
    {{"TooLarge"}, "21 01 20 01 08 00 00 00"},
    {{"OneByteOfFourSet"}, "21 01 20 01 00 00 00 01"},
    {{"Largest"}, "21 01 20 01 FF FF FF FF"},
    {{"NotIndicated"}, "20 01 20 01 00 00 00 00"},
    {{"NotIndicatedBelowFive"}, "20 01 20 01 03 00 00 00"},
    {{"UnusedBytesMeanNothing"}, "2D 01 20 01 07 00 00 00"},
};

INSTANTIATE_TEST_SUITE_P(Table, IndicatedDownloadSize, ::testing::ValuesIn(SIZE_ROWS), test::caseName<SizeRow>);

struct QuirkRow : test::NamedCase {
  const char* initiation;
  const char* text;
};

class IndicatedDownloadSizeBelowFive : public SegmentedDownload, public ::testing::WithParamInterface<QuirkRow> {};

TEST_P(IndicatedDownloadSizeBelowFive, WritesTheSizeBytesThemselves) {
  EXPECT_EQ(OPENED, request(GetParam().initiation));
  EXPECT_EQ(std::string(GetParam().text, 4), storedText(0x2001, 1));
  EXPECT_EQ(Frames{}, request("01 61 62 63 64 65 66 67"));
}

const QuirkRow QUIRK_ROWS[] = {
    {{"Zero"}, "21 01 20 01 00 00 00 00", "\0\0\0\0"}, {{"One"}, "21 01 20 01 01 00 00 00", "\1\0\0\0"},
    {{"Two"}, "21 01 20 01 02 00 00 00", "\2\0\0\0"},  {{"Three"}, "21 01 20 01 03 00 00 00", "\3\0\0\0"},
    {{"Four"}, "21 01 20 01 04 00 00 00", "\4\0\0\0"},
};

INSTANTIATE_TEST_SUITE_P(Table, IndicatedDownloadSizeBelowFive, ::testing::ValuesIn(QUIRK_ROWS),
                         test::caseName<QuirkRow>);

TEST_F(SegmentedDownload, SizeBelowFiveOfAFourByteObjectBecomesItsValue) {
  addOwnNumber(0x2002, 1, 32, false);
  EXPECT_EQ(Frames{"585#60 02 20 01 00 00 00 00"}, request("21 02 20 01 03 00 00 00"));
  EXPECT_EQ(3, stored(0x2002, 1));
}

TEST_F(SegmentedDownload, SizeBelowFiveIsCheckedAgainstTheUnusedBytesOfTheFrame) {
  addOwnNumber(0x2002, 1, 16, false);
  EXPECT_EQ(Frames{"585#80 02 20 01 30 00 09 06"}, request("21 02 20 01 02 00 00 00"));
  EXPECT_EQ(Frames{"585#60 02 20 01 00 00 00 00"}, request("29 02 20 01 02 00 00 00"));
  EXPECT_EQ(2, stored(0x2002, 1));
}

TEST_F(SegmentedDownload, SizeBelowFiveOfAnUnknownObjectIsAborted) {
  EXPECT_EQ(Frames{"585#80 FF 2F 00 00 00 02 06"}, request("21 FF 2F 00 04 00 00 00"));
}

TEST_F(SegmentedDownload, SizeBelowFiveLeavesARunningDownloadAlone) {
  open();
  addOwnNumber(0x2002, 1, 32, false);
  request("21 02 20 01 03 00 00 00");
  EXPECT_EQ(TAKEN, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

// ---- objects that take no text

TEST_F(SegmentedDownload, UnknownObjectIsSilent) {
  EXPECT_EQ(Frames{}, request("21 FF 2F 00 0A 00 00 00"));
  EXPECT_EQ(Frames{}, request("01 61 62 63 64 65 66 67"));
}

TEST_F(SegmentedDownload, UnknownSubIndexIsSilent) {
  EXPECT_EQ(Frames{}, request("21 01 20 07 0A 00 00 00"));
}

TEST_F(SegmentedDownload, ObjectWithoutTypeIsSilent) {
  addObject(0x2003, 1, KQ::DATA_TYPE_NONE);
  EXPECT_EQ(Frames{}, request("21 03 20 01 0A 00 00 00"));
}

TEST_F(SegmentedDownload, UnknownObjectReturnsTheSubIndexAbortCode) {
  EXPECT_EQ(0x06090011, server().handleSegmentedSDODownloadRequest(0x2FFF, 0, true, 0, 0x585, 0x605, 10, 0, 0, 0));
}

TEST_F(SegmentedDownload, AcceptedInitiationReturnsOne) {
  EXPECT_EQ(1, server().handleSegmentedSDODownloadRequest(0x2001, 1, true, 0, 0x585, 0x605, 10, 0, 0, 0));
}

TEST_F(SegmentedDownload, NumberIsRefusedAfterTheLastSegment) {
  addOwnNumber(0x2002, 1, 32, false);
  EXPECT_EQ(Frames{"585#60 02 20 01 00 00 00 00"}, request("21 02 20 01 05 00 00 00"));
  const Frames expected = {"585#20 00 00 00 00 00 00 00", "585#80 02 20 01 23 00 00 08"};
  EXPECT_EQ(expected, request("05 01 02 03 04 05 00 00"));
  EXPECT_EQ(0, stored(0x2002, 1));
}

TEST_F(SegmentedDownload, NumberOfEightBytesIsRefusedAfterTheLastSegment) {
  addObject(0x2002, 1, KQ::DATA_TYPE_UNSIGNED64);
  request("21 02 20 01 08 00 00 00");
  request("00 01 02 03 04 05 06 07");
  const Frames expected = {"585#30 00 00 00 00 00 00 00", "585#80 02 20 01 23 00 00 08"};
  EXPECT_EQ(expected, request("1D 08 00 00 00 00 00 00"));
}

TEST_F(SegmentedDownload, DeviceNameIsRefusedAfterTheLastSegment) {
  EXPECT_EQ(Frames{"585#60 08 10 00 00 00 00 00"}, request("21 08 10 00 07 00 00 00"));
  const Frames expected = {"585#20 00 00 00 00 00 00 00", "585#80 08 10 00 23 00 00 08"};
  EXPECT_EQ(expected, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ(Frames{"585#43 08 10 00 54 41 56 4F"}, request("40 08 10 00 00 00 00 00"));
}

TEST_F(SegmentedDownload, TextWithoutVariableIsRefusedAfterTheLastSegment) {
  addObjectWithoutVariable(0x2005, 2, KQ::DATA_TYPE_VISIBLE_STRING);
  EXPECT_EQ(Frames{"585#60 05 20 02 00 00 00 00"}, request("21 05 20 02 07 00 00 00"));
  const Frames expected = {"585#20 00 00 00 00 00 00 00", "585#80 05 20 02 23 00 00 08"};
  EXPECT_EQ(expected, request("01 61 62 63 64 65 66 67"));
}

TEST_F(SegmentedDownload, RefusedTransferIsOver) {
  request("21 08 10 00 07 00 00 00");
  request("01 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{}, request("11 61 62 63 64 65 66 67"));
  EXPECT_EQ(Frames{}, node.run(101));
}

// ---- toggle

TEST_F(SegmentedDownload, FirstSegmentWithToggleOneIsAborted) {
  open();
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 03 05"}, request("10 61 62 63 64 65 66 67"));
}

TEST_F(SegmentedDownload, RepeatedToggleIsAborted) {
  open();
  request("00 61 62 63 64 65 66 67");
  request("10 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 03 05"}, request("10 61 62 63 64 65 66 67"));
}

TEST_F(SegmentedDownload, RepeatedToggleInTheLastSegmentWritesNothing) {
  open();
  request("00 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 03 05"}, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("before", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, ToggleErrorEndsTheTransfer) {
  open();
  request("10 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{}, request("00 61 62 63 64 65 66 67"));
  EXPECT_EQ(Frames{}, node.run(101));
}

TEST_F(SegmentedDownload, ToggleAbortNamesTheObjectOfTheTransfer) {
  open();
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 03 05"}, request("10 FF FF FF 64 65 66 67"));
}

// ---- slot and channels

TEST_F(SegmentedDownload, SecondInitiationReplacesTheFirstSilently) {
  addOwnText(0x2002, 2, "other");
  open();
  request("00 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{"585#60 02 20 02 00 00 00 00"}, request("21 02 20 02 07 00 00 00"));
  EXPECT_EQ(TAKEN, request("01 78 79 7A 78 79 7A 78"));
  EXPECT_EQ("before", storedText(0x2001, 1));
  EXPECT_EQ("xyzxyzx", storedText(0x2002, 2));
}

TEST_F(SegmentedDownload, ExpeditedDownloadInBetweenDoesNotDisturb) {
  addOwnNumber(0x2002, 1, 16, false);
  open();
  request("00 61 62 63 64 65 66 67");
  request("2B 02 20 01 34 12 00 00");
  EXPECT_EQ(TAKEN_WITH_TOGGLE, request("1D 68 00 00 00 00 00 00"));
  EXPECT_EQ("abcdefgh", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, SegmentedUploadBesideItDoesNotDisturb) {
  addOwnText(0x2002, 2, "abcdefghij");
  open();
  request("40 02 20 02 00 00 00 00");
  EXPECT_EQ(TAKEN, request("00 61 62 63 64 65 66 67"));
  EXPECT_EQ(Frames{"585#00 61 62 63 64 65 66 67"}, request("60 00 00 00 00 00 00 00"));
  EXPECT_EQ(TAKEN_WITH_TOGGLE, request("1D 68 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#19 68 69 6A 00 00 00 00"}, request("70 00 00 00 00 00 00 00"));
  EXPECT_EQ("abcdefgh", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, SegmentOfAForeignChannelIsIgnored) {
  addChannel(0x1201, 0x612, 0x592);
  open();
  EXPECT_EQ(Frames{}, node.receive("612#01 78 79 7A 78 79 7A 78"));
  EXPECT_EQ(TAKEN, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, ToggleOfAForeignChannelIsNotLookedAt) {
  addChannel(0x1201, 0x612, 0x592);
  open();
  EXPECT_EQ(Frames{}, node.receive("612#10 78 79 7A 78 79 7A 78"));
  EXPECT_EQ(TAKEN, request("01 61 62 63 64 65 66 67"));
}

TEST_F(SegmentedDownload, ForeignChannelReturnsZero) {
  open();
  EXPECT_EQ(KQ::KQ_OK, server().handleSegmentedSDODownloadSegment(0x592, 0x612, 0x01, 1, 2, 3, 4, 5, 6, 7));
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST_F(SegmentedDownload, MatchingResponseCobIDIsEnough) {
  addChannel(0x1201, 0x612, 0x585);
  open();
  EXPECT_EQ(TAKEN, node.receive("612#01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, MatchingRequestCobIDIsEnoughAndTheAnswerGoesToTheSlot) {
  open();
  EXPECT_EQ(KQ::KQ_OK,
            server().handleSegmentedSDODownloadSegment(0x592, 0x605, 0x01, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67));
  EXPECT_EQ(TAKEN, node.port().takeSent());
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

TEST(SegmentedDownloadAlone, WithoutDictionaryTheLastSegmentGives10) {
  KQ::KQSDOHandler handler;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, handler.handleSegmentedSDODownloadSegment(0, 0, 0x11, 1, 2, 3, 4, 5, 6, 7));
}

TEST_F(SegmentedDownload, WholeTransferOnAnotherChannel) {
  addChannel(0x1201, 0x612, 0x592);
  EXPECT_EQ(Frames{"592#60 01 20 01 00 00 00 00"}, node.receive("612#21 01 20 01 07 00 00 00"));
  EXPECT_EQ(Frames{"592#20 00 00 00 00 00 00 00"}, node.receive("612#01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, ToggleAbortGoesToTheChannelOfTheTransfer) {
  addChannel(0x1201, 0x612, 0x592);
  node.receive("612#21 01 20 01 07 00 00 00");
  EXPECT_EQ(Frames{"592#80 01 20 01 00 00 03 05"}, node.receive("612#10 61 62 63 64 65 66 67"));
}

// ---- transmission

TEST_F(SegmentedDownload, LostAnswerToASegmentDoesNotLoseTheSegment) {
  open();
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, request("00 61 62 63 64 65 66 67"));
  EXPECT_EQ(TAKEN_WITH_TOGGLE, request("1D 68 00 00 00 00 00 00"));
  EXPECT_EQ("abcdefgh", storedText(0x2001, 1));
}

TEST_F(SegmentedDownload, LostAnswerToTheInitiationOpensTheTransferAllTheSame) {
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, open());
  EXPECT_EQ(TAKEN, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

// ---- limit

class SegmentedDownloadLimit : public SegmentedDownload {
protected:
  SegmentedDownloadLimit() { node.canopen().setSDOTransferLimit(14); }

  const Frames outOfMemory = {"585#80 01 20 01 05 00 04 05"};
};

TEST_F(SegmentedDownloadLimit, IsSixtyFourMebibytesUnlessSet) {
  const KQ::KQCANopen fresh("fresh");
  EXPECT_EQ(64U * 1024U * 1024U, fresh.getSDOTransferLimit());
}

TEST_F(SegmentedDownloadLimit, ReachedIsTaken) {
  open();
  EXPECT_EQ(TAKEN, request("00 61 62 63 64 65 66 67"));
  EXPECT_EQ(TAKEN_WITH_TOGGLE, request("11 68 69 6A 6B 6C 6D 6E"));
  EXPECT_EQ("abcdefghijklmn", storedText(0x2001, 1));
  EXPECT_EQ(0U, server().getRefusedTransferCount());
}

TEST_F(SegmentedDownloadLimit, ExceededAborts) {
  open();
  request("00 61 62 63 64 65 66 67");
  request("10 68 69 6A 6B 6C 6D 6E");
  EXPECT_EQ(outOfMemory, request("0D 6F 00 00 00 00 00 00"));  // the last one, of one byte
  EXPECT_EQ("before", storedText(0x2001, 1));
  EXPECT_EQ(1U, server().getRefusedTransferCount());
}

TEST_F(SegmentedDownloadLimit, ExceededEndsTheDownload) {
  open();
  request("00 61 62 63 64 65 66 67");
  request("10 68 69 6A 6B 6C 6D 6E");
  request("00 6F 70 71 72 73 74 75");
  EXPECT_EQ(Frames{}, request("11 76 77 78 79 7A 7B 7C"));
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SegmentedDownloadLimit, ExceededLeavesRoomForTheNextDownload) {
  open();
  request("00 61 62 63 64 65 66 67");
  request("10 68 69 6A 6B 6C 6D 6E");
  request("00 6F 70 71 72 73 74 75");
  open();
  EXPECT_EQ(TAKEN, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

TEST_F(SegmentedDownloadLimit, HoldsForASizeThatIsNotIndicated) {
  request("20 01 20 01 00 00 00 00");
  request("00 61 62 63 64 65 66 67");
  request("10 68 69 6A 6B 6C 6D 6E");
  EXPECT_EQ(outOfMemory, request("00 6F 70 71 72 73 74 75"));
}

TEST_F(SegmentedDownloadLimit, SegmentWithoutBytesExceedsNothing) {
  open();
  request("00 61 62 63 64 65 66 67");
  request("10 68 69 6A 6B 6C 6D 6E");
  EXPECT_EQ(TAKEN, request("0F 00 00 00 00 00 00 00"));
  EXPECT_EQ("abcdefghijklmn", storedText(0x2001, 1));
}

TEST_F(SegmentedDownloadLimit, SetDuringADownloadTakesEffectAtOnce) {
  open();
  request("00 61 62 63 64 65 66 67");
  node.canopen().setSDOTransferLimit(7);
  EXPECT_EQ(outOfMemory, request("10 68 69 6A 6B 6C 6D 6E"));
}

TEST_F(SegmentedDownloadLimit, StaysAfterASecondInit) {
  node.boot();
  EXPECT_EQ(14U, node.canopen().getSDOTransferLimit());
}

}  // namespace
