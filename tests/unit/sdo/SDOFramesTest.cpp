// Covers: the frames that the SDO server puts on the bus, byte for byte, and the abort codes it chooses.
//
// | subject            | functional                                   | robustness                 |
// |--------------------|----------------------------------------------|----------------------------|
// | download responses | index, sub-index, toggle, zeros              |                            |
// | expedited upload   | 1 to 4 bytes                                 | empty string (byte 0 = 53) |
// | segmented upload   | size; each number of bytes in the last frame |                            |
// | sendSDOAbort()     | layout, COB-ID, result                       | no port, port that refuses |
// | each abort code    | one request that leads to it                 |                            |

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "SDOServerFixture.h"

namespace {

using test::Frames;

class SDOFrames : public test::SDOServerFixture {};

TEST_F(SDOFrames, InitiateDownloadResponseCarriesIndexAndSubIndexOnly) {
  addOwnNumber(0x2001, 3, 32, false);
  EXPECT_EQ(Frames{"585#60 01 20 03 00 00 00 00"}, request("23 01 20 03 78 56 34 12"));
}

TEST_F(SDOFrames, InitiateDownloadResponseOfSegmentedTransferIsTheSame) {
  addOwnText(0x2001, 3, "");
  EXPECT_EQ(Frames{"585#60 01 20 03 00 00 00 00"}, request("21 01 20 03 0A 00 00 00"));
}

TEST_F(SDOFrames, DownloadSegmentResponsesCarryTheToggleOnly) {
  addOwnText(0x2001, 3, "");
  request("21 01 20 03 15 00 00 00");
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, request("00 61 62 63 64 65 66 67"));
  EXPECT_EQ(Frames{"585#30 00 00 00 00 00 00 00"}, request("10 61 62 63 64 65 66 67"));
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, request("01 61 62 63 64 65 66 67"));
}

TEST_F(SDOFrames, ExpeditedUploadOfTwoBytes) {
  addOwnNumber(0x2001, 3, 16, false);
  store(0x2001, 3, 0x1234);
  EXPECT_EQ(Frames{"585#4B 01 20 03 34 12 00 00"}, request("40 01 20 03 00 00 00 00"));
}

TEST_F(SDOFrames, InitiateUploadResponseOfSegmentedTransferCarriesTheLength) {
  addOwnText(0x2001, 3, test::pattern(0x012C));
  EXPECT_EQ(Frames{"585#41 01 20 03 2C 01 00 00"}, request("40 01 20 03 00 00 00 00"));
}

TEST_F(SDOFrames, LastUploadSegmentWithThreeBytesAndToggle) {
  addOwnText(0x2001, 3, "abcdefghij");
  request("40 01 20 03 00 00 00 00");
  EXPECT_EQ(Frames{"585#00 61 62 63 64 65 66 67"}, request("60 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#19 68 69 6A 00 00 00 00"}, request("70 00 00 00 00 00 00 00"));
}

TEST_F(SDOFrames, EmptyStringIsFiveThreeWithTheDataBytesOfTheFrameBefore) {
  addOwnText(0x2001, 3, "");
  EXPECT_EQ(Frames{"585#80 00 30 00 00 00 02 06"}, request("40 00 30 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#53 01 20 03 00 00 02 06"}, request("40 01 20 03 00 00 00 00"));
}

TEST_F(SDOFrames, AbortIsLaidOutLittleEndian) {
  EXPECT_EQ(KQ::KQ_OK, server().sendSDOAbort(0x2001, 3, 0x581, 0x06020000));
  EXPECT_EQ(Frames{"581#80 01 20 03 00 00 02 06"}, node.port().takeSent());
}

TEST_F(SDOFrames, AbortCarriesEveryByteOfCodeAndObject) {
  EXPECT_EQ(KQ::KQ_OK, server().sendSDOAbort(0xFEDC, 0xBA, 0x7E5, 0x89ABCDEF));
  EXPECT_EQ(Frames{"7E5#80 DC FE BA EF CD AB 89"}, node.port().takeSent());
}

TEST_F(SDOFrames, AbortReturnsTheCodeOfTheRefusedTransmission) {
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(KQ::KQ_DEFERRED, server().sendSDOAbort(0x2001, 3, 0x581, 0x06020000));
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST(SDOAbort, WithoutPortReturnsTen) {
  KQ::KQCANopen canopen("no port");
  KQ::KQSDOHandler handler;
  handler.setCANopenInstance(&canopen);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, handler.sendSDOAbort(0x2001, 3, 0x581, 0x06020000));
}

struct AbortRow : test::NamedCase {
  Frames requests;
  Frames lastAnswer;
};

class SDOAbortCode : public test::SDOServerFixture, public ::testing::WithParamInterface<AbortRow> {
protected:
  SDOAbortCode() {
    addOwnNumber(0x2001, 1, 16, false);
    addOwnNumber(0x2001, 2, 16, false, /*write only*/ 1);
    addOwnNumber(0x2001, 3, 16, false, /*read only*/ 2);
    addOwnNumber(0x2001, 4, 12, false);
    addOwnNumber(0x2001, 5, 16, true, -10, 10);
    addOwnText(0x2002, 1, "more than seven");
    addObject(0x2003, 1, KQ::DATA_TYPE_UNSIGNED64);
    addObjectWithoutVariable(0x2003, 2, KQ::DATA_TYPE_VISIBLE_STRING);
    addObjectWithoutVariable(0x2003, 3, KQ::DATA_TYPE_UNSIGNED16);
    addObject(0x2003, 4, KQ::DATA_TYPE_NONE);
    addChannel(0x1201, 0x612, 0x592);
  }
};

TEST_P(SDOAbortCode, IsSent) {
  Frames answer;
  for (const std::string& frame : GetParam().requests) {
    answer = node.receive(frame);
  }
  EXPECT_EQ(GetParam().lastAnswer, answer);
}

const AbortRow ABORT_ROWS[] = {
    {{"RepeatedToggleOfUpload"},
     {"605#40 02 20 01 00 00 00 00", "605#60 00 00 00 00 00 00 00", "605#60 00 00 00 00 00 00 00"},
     {"585#80 02 20 01 00 00 03 05"}},
    {{"FirstToggleOfUploadMustBeZero"},
     {"605#40 02 20 01 00 00 00 00", "605#70 00 00 00 00 00 00 00"},
     {"585#80 02 20 01 00 00 03 05"}},
    {{"RepeatedToggleOfDownload"},
     {"605#21 02 20 01 14 00 00 00", "605#00 61 62 63 64 65 66 67", "605#00 61 62 63 64 65 66 67"},
     {"585#80 02 20 01 00 00 03 05"}},
    {{"Specifier5"}, {"605#A0 01 20 01 00 00 00 00"}, {"585#80 01 20 01 01 00 04 05"}},
    {{"Specifier6"}, {"605#C0 01 20 01 00 00 00 00"}, {"585#80 01 20 01 01 00 04 05"}},
    {{"Specifier7"}, {"605#E0 01 20 01 00 00 00 00"}, {"585#80 01 20 01 01 00 04 05"}},
    {{"ReadOfWriteOnly"}, {"605#40 01 20 02 00 00 00 00"}, {"585#80 01 20 02 01 00 01 06"}},
    {{"WriteOfReadOnly"}, {"605#2B 01 20 03 00 00 00 00"}, {"585#80 01 20 03 02 00 01 06"}},
    {{"UploadOfUnknownIndex"}, {"605#40 FF 2F 00 00 00 00 00"}, {"585#80 FF 2F 00 00 00 02 06"}},
    {{"UploadOfUnknownSubIndex"}, {"605#40 01 20 09 00 00 00 00"}, {"585#80 01 20 09 00 00 02 06"}},
    {{"DownloadOfUnknownIndex"}, {"605#2B FF 2F 00 00 00 00 00"}, {"585#80 FF 2F 00 00 00 02 06"}},
    {{"DownloadOfUnknownSubIndex"}, {"605#2B 01 20 09 00 00 00 00"}, {"585#80 01 20 09 00 00 02 06"}},
    {{"UploadOfEightBytes"}, {"605#40 03 20 01 00 00 00 00"}, {"585#80 03 20 01 10 00 07 06"}},
    {{"UploadWithoutType"}, {"605#40 03 20 04 00 00 00 00"}, {"585#80 03 20 04 10 00 07 06"}},
    {{"DownloadWithoutType"}, {"605#2F 03 20 04 00 00 00 00"}, {"585#80 03 20 04 00 00 02 06"}},
    {{"DownloadOfEightBytes"}, {"605#23 03 20 01 00 00 00 00"}, {"585#80 03 20 01 10 00 07 06"}},
    {{"SegmentedDownloadOfUnknownObjectIsSilent"}, {"605#21 FF 2F 00 0A 00 00 00"}, {}},
    {{"IndicatedSizeDiffers"}, {"605#2F 01 20 01 01 00 00 00"}, {"585#80 01 20 01 30 00 09 06"}},
    {{"ValueDoesNotFitTheType"}, {"605#2B 01 20 04 00 10 00 00"}, {"585#80 01 20 04 30 00 09 06"}},
    {{"ValueOutsideTheLimits"}, {"605#2B 01 20 05 0B 00 00 00"}, {"585#80 01 20 05 30 00 09 06"}},
    {{"WriteRefusedWithPlainCode"}, {"605#2B 03 20 03 01 00 00 00"}, {"585#80 03 20 03 00 00 00 08"}},
    {{"SegmentOfUploadOnTheWrongChannel"},
     {"605#40 02 20 01 00 00 00 00", "612#60 00 00 00 00 00 00 00"},
     {"592#80 02 20 01 00 00 00 08"}},
    {{"StringReadFailsWithPlainCode"}, {"605#40 03 20 02 00 00 00 00"}, {"585#80 03 20 02 23 00 00 08"}},
    {{"FinalWriteOfSegmentedDownloadFails"},
     {"605#21 01 20 01 07 00 00 00", "605#01 61 62 63 64 65 66 67"},
     {"585#20 00 00 00 00 00 00 00", "585#80 01 20 01 23 00 00 08"}},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOAbortCode, ::testing::ValuesIn(ABORT_ROWS), test::caseName<AbortRow>);

struct LastSegmentRow : test::NamedCase {
  std::size_t length;  // of the string
  const char* frame;   // the second and last segment
};

class LastUploadSegment : public test::SDOServerFixture, public ::testing::WithParamInterface<LastSegmentRow> {};

TEST_P(LastUploadSegment, SaysHowManyBytesAreUnused) {
  addOwnText(0x2002, 1, test::pattern(GetParam().length));
  request("40 02 20 01 00 00 00 00");
  request("60 00 00 00 00 00 00 00");
  EXPECT_EQ(Frames{GetParam().frame}, request("70 00 00 00 00 00 00 00"));
}

const LastSegmentRow LAST_SEGMENT_ROWS[] = {
    {{"Bytes1"}, 8, "585#1D 68 00 00 00 00 00 00"},  {{"Bytes2"}, 9, "585#1B 68 69 00 00 00 00 00"},
    {{"Bytes3"}, 10, "585#19 68 69 6A 00 00 00 00"}, {{"Bytes4"}, 11, "585#17 68 69 6A 6B 00 00 00"},
    {{"Bytes5"}, 12, "585#15 68 69 6A 6B 6C 00 00"}, {{"Bytes6"}, 13, "585#13 68 69 6A 6B 6C 6D 00"},
    {{"Bytes7"}, 14, "585#11 68 69 6A 6B 6C 6D 6E"}, {{"Bytes7AndMoreToCome"}, 15, "585#10 68 69 6A 6B 6C 6D 6E"},
};

INSTANTIATE_TEST_SUITE_P(Table, LastUploadSegment, ::testing::ValuesIn(LAST_SEGMENT_ROWS),
                         test::caseName<LastSegmentRow>);

}  // namespace
