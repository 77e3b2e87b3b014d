// Covers: the upload of the SDO server, expedited and segmented.
//
// | subject             | functional                         | robustness                               |
// |---------------------|------------------------------------|------------------------------------------|
// | type of a number    | up to 4 bytes, signed and unsigned | 0, 5 to 8 bytes, without size            |
// | source of the value | dictionary, store                  | marked invalid, not in the store         |
// | access right        | each                               | write only, also of a text               |
// | length of a text    | 0 to 8, 13 to 15, 1000, 70000      | zero bytes inside, changed while it runs |
// | toggle              | alternates from 0                  | first 1, repeated                        |
// | channel             | the one of the initiation          | foreign, one COB-ID shared               |
// | slot                | one after the other                | none, second initiation, after the end   |
// | transmission        |                                    | refused at initiation and segment        |

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "SDOServerFixture.h"

namespace {

using test::Frames;

const char* const READ = "40 01 20 01 00 00 00 00";
const char* const SEGMENT = "60 00 00 00 00 00 00 00";
const char* const SEGMENT_WITH_TOGGLE = "70 00 00 00 00 00 00 00";

class ExpeditedUpload : public test::SDOServerFixture {};

// ---- numbers

struct NumberRow : test::NamedCase {
  KQ::KQCANopenDataType dataType;
  unsigned int value;
  const char* answer;
};

class ExpeditedUploadOfNumber : public ExpeditedUpload, public ::testing::WithParamInterface<NumberRow> {};

TEST_P(ExpeditedUploadOfNumber, GivesTheBytesOfTheType) {
  addObject(0x2001, 1, GetParam().dataType);
  store(0x2001, 1, static_cast<int>(GetParam().value));
  EXPECT_EQ(Frames{GetParam().answer}, request(READ));
}

const NumberRow NUMBER_ROWS[] = {
    {{"Boolean"}, KQ::DATA_TYPE_BOOLEAN, 1, "585#4F 01 20 01 01 00 00 00"},
    {{"Unsigned8"}, KQ::DATA_TYPE_UNSIGNED8, 0x12345678, "585#4F 01 20 01 78 00 00 00"},
    {{"Integer8"}, KQ::DATA_TYPE_INTEGER8, 0xFFFFFF80, "585#4F 01 20 01 80 00 00 00"},
    {{"Unsigned16"}, KQ::DATA_TYPE_UNSIGNED16, 0x12345678, "585#4B 01 20 01 78 56 00 00"},
    {{"Integer16"}, KQ::DATA_TYPE_INTEGER16, 0xFFFFFFFE, "585#4B 01 20 01 FE FF 00 00"},
    {{"Unsigned24"}, KQ::DATA_TYPE_UNSIGNED24, 0x12345678, "585#47 01 20 01 78 56 34 00"},
    {{"Integer24"}, KQ::DATA_TYPE_INTEGER24, 0xFFFFFFFE, "585#47 01 20 01 FE FF FF 00"},
    {{"Unsigned32"}, KQ::DATA_TYPE_UNSIGNED32, 0x12345678, "585#43 01 20 01 78 56 34 12"},
    {{"Integer32"}, KQ::DATA_TYPE_INTEGER32, 0x80000000, "585#43 01 20 01 00 00 00 80"},
    {{"Real32"}, KQ::DATA_TYPE_REAL32, 0xBF800000, "585#43 01 20 01 00 00 80 BF"},
    {{"WithoutType"}, KQ::DATA_TYPE_NONE, 0x12345678, "585#80 01 20 01 10 00 07 06"},
    {{"Integer40"}, KQ::DATA_TYPE_INTEGER40, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Integer48"}, KQ::DATA_TYPE_INTEGER48, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Integer56"}, KQ::DATA_TYPE_INTEGER56, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Integer64"}, KQ::DATA_TYPE_INTEGER64, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Unsigned40"}, KQ::DATA_TYPE_UNSIGNED40, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Unsigned48"}, KQ::DATA_TYPE_UNSIGNED48, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Unsigned56"}, KQ::DATA_TYPE_UNSIGNED56, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Unsigned64"}, KQ::DATA_TYPE_UNSIGNED64, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Real64"}, KQ::DATA_TYPE_REAL64, 1, "585#80 01 20 01 10 00 07 06"},
    {{"OctetString"}, KQ::DATA_TYPE_OCTET_STRING, 1, "585#80 01 20 01 10 00 07 06"},
    {{"UnicodeString"}, KQ::DATA_TYPE_UNICODE_STRING, 1, "585#80 01 20 01 10 00 07 06"},
    {{"TimeOfDay"}, KQ::DATA_TYPE_TIME_OF_DAY, 1, "585#80 01 20 01 10 00 07 06"},
    {{"TimeDifference"}, KQ::DATA_TYPE_TIME_DIFFERENCE, 1, "585#80 01 20 01 10 00 07 06"},
    {{"Domain"}, KQ::DATA_TYPE_DOMAIN, 1, "585#80 01 20 01 10 00 07 06"},
    {{"UndefinedManufacturerType"}, KQ::DATA_TYPE_MANUFACTURER_LAST, 1, "585#80 01 20 01 10 00 07 06"},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedUploadOfNumber, ::testing::ValuesIn(NUMBER_ROWS), test::caseName<NumberRow>);

struct BitsRow : test::NamedCase {
  int bits;
  bool isSigned;
  int value;
  const char* answer;
};

class ExpeditedUploadOfManufacturerType : public ExpeditedUpload, public ::testing::WithParamInterface<BitsRow> {};

TEST_P(ExpeditedUploadOfManufacturerType, GivesWholeBytes) {
  addOwnNumber(0x2001, 1, GetParam().bits, GetParam().isSigned);
  store(0x2001, 1, GetParam().value);
  EXPECT_EQ(Frames{GetParam().answer}, request(READ));
}

const BitsRow BITS_ROWS[] = {
    {{"Unsigned7"}, 7, false, 0x7F, "585#4F 01 20 01 7F 00 00 00"},
    {{"Unsigned9"}, 9, false, 0x1FF, "585#4B 01 20 01 FF 01 00 00"},
    {{"Unsigned12"}, 12, false, 0xFFF, "585#4B 01 20 01 FF 0F 00 00"},
    {{"Signed12"}, 12, true, -2048, "585#4B 01 20 01 00 F8 00 00"},
    {{"Unsigned17"}, 17, false, 0x1FFFF, "585#47 01 20 01 FF FF 01 00"},
    {{"Unsigned25"}, 25, false, 0x1FFFFFF, "585#43 01 20 01 FF FF FF 01"},
    {{"Unsigned33"}, 33, false, 1, "585#80 01 20 01 10 00 07 06"},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedUploadOfManufacturerType, ::testing::ValuesIn(BITS_ROWS),
                         test::caseName<BitsRow>);

TEST_F(ExpeditedUpload, ValueBelowTheApplicationAreaComesFromTheDictionary) {
  EXPECT_EQ(Frames{"585#43 14 10 00 85 00 00 00"}, request("40 14 10 00 00 00 00 00"));
}

TEST_F(ExpeditedUpload, ValueMarkedInvalidIsGivenAllTheSame) {
  addOwnNumber(0x2001, 1, 16, false);
  store(0x2001, 1, 0x1234);
  KQ::KQDEI::instance()->markValueAsInvalid(0x2001, 1, true);
  EXPECT_EQ(Frames{"585#4B 01 20 01 34 12 00 00"}, request(READ));
}

TEST_F(ExpeditedUpload, FailedReadOfANumberIsNotReported) {
  addObjectWithoutVariable(0x2001, 1, KQ::DATA_TYPE_UNSIGNED16);
  EXPECT_EQ(Frames{"585#4B 01 20 01 00 00 00 00"}, request(READ));
}

TEST_F(ExpeditedUpload, UnknownIndexIsAborted) {
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 02 06"}, request(READ));
}

TEST_F(ExpeditedUpload, UnknownSubIndexIsAborted) {
  addOwnNumber(0x2001, 1, 16, false);
  EXPECT_EQ(Frames{"585#80 01 20 02 00 00 02 06"}, request("40 01 20 02 00 00 00 00"));
}

struct AccessRow : test::NamedCase {
  KQ::KQCANopenAccessType accessType;
  const char* answer;
};

class ExpeditedUploadAccess : public ExpeditedUpload, public ::testing::WithParamInterface<AccessRow> {};

TEST_P(ExpeditedUploadAccess, IsRefusedForWriteOnlyAlone) {
  addObject(0x2001, 1, KQ::DATA_TYPE_UNSIGNED8, GetParam().accessType);
  store(0x2001, 1, 7);
  EXPECT_EQ(Frames{GetParam().answer}, request(READ));
}

const AccessRow ACCESS_ROWS[] = {
    {{"ReadOnly"}, KQ::ACCESS_RO, "585#4F 01 20 01 07 00 00 00"},
    {{"WriteOnly"}, KQ::ACCESS_WO, "585#80 01 20 01 01 00 01 06"},
    {{"ReadWrite"}, KQ::ACCESS_RW, "585#4F 01 20 01 07 00 00 00"},
    {{"ReceiveMapped"}, KQ::ACCESS_RWW, "585#4F 01 20 01 07 00 00 00"},
    {{"TransmitMapped"}, KQ::ACCESS_RWR, "585#4F 01 20 01 07 00 00 00"},
    {{"Constant"}, KQ::ACCESS_CONST, "585#4F 01 20 01 07 00 00 00"},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedUploadAccess, ::testing::ValuesIn(ACCESS_ROWS), test::caseName<AccessRow>);

TEST_F(ExpeditedUpload, WriteOnlyObjectOfEightBytesIsAbortedAsWriteOnly) {
  addObject(0x2001, 1, KQ::DATA_TYPE_UNSIGNED64, KQ::ACCESS_WO);
  EXPECT_EQ(Frames{"585#80 01 20 01 01 00 01 06"}, request(READ));
}

TEST_F(ExpeditedUpload, WriteOnlyObjectWithoutTypeIsAbortedAsWriteOnly) {
  addObject(0x2001, 1, KQ::DATA_TYPE_NONE, KQ::ACCESS_WO);
  EXPECT_EQ(Frames{"585#80 01 20 01 01 00 01 06"}, request(READ));
}

TEST_F(ExpeditedUpload, WriteOnlyTextIsReadable) {
  addOwnText(0x2001, 1, "abc", /*write only*/ 1);
  EXPECT_EQ(Frames{"585#47 01 20 01 61 62 63 00"}, request(READ));
}

// ---- texts of up to four bytes

struct TextRow : test::NamedCase {
  const char* text;
  const char* answer;
};

class ExpeditedUploadOfText : public ExpeditedUpload, public ::testing::WithParamInterface<TextRow> {};

TEST_P(ExpeditedUploadOfText, GivesItsBytesInOrder) {
  addOwnText(0x2001, 1, GetParam().text);
  request("E0 FF FF FF 00 00 00 00");  // leaves other data bytes in the outgoing frame
  EXPECT_EQ(Frames{GetParam().answer}, request(READ));
}

const TextRow TEXT_ROWS[] = {
    {{"Bytes0"}, "", "585#53 01 20 01 01 00 04 05"},     {{"Bytes1"}, "a", "585#4F 01 20 01 61 00 00 00"},
    {{"Bytes2"}, "ab", "585#4B 01 20 01 61 62 00 00"},   {{"Bytes3"}, "abc", "585#47 01 20 01 61 62 63 00"},
    {{"Bytes4"}, "abcd", "585#43 01 20 01 61 62 63 64"}, {{"HighBytes"}, "\xFF\x80", "585#4B 01 20 01 FF 80 00 00"},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedUploadOfText, ::testing::ValuesIn(TEXT_ROWS), test::caseName<TextRow>);

TEST_F(ExpeditedUpload, ZeroBytesBelongToTheText) {
  addOwnText(0x2001, 1, std::string("a\0b", 3));
  EXPECT_EQ(Frames{"585#47 01 20 01 61 00 62 00"}, request(READ));
}

TEST_F(ExpeditedUpload, TextMarkedInvalidCountsAsRead) {
  addOwnText(0x2001, 1, "abc");
  KQ::KQDEI::instance()->markValueAsInvalid(0x2001, 1, true);
  EXPECT_EQ(Frames{"585#47 01 20 01 61 62 63 00"}, request(READ));
}

TEST_F(ExpeditedUpload, TextWrittenByTheApplicationIsGiven) {
  addOwnText(0x2001, 1, "old");
  KQ::KQDEI::instance()->setVariableValue(0x2001, 1, std::string("new"), true, false);
  EXPECT_EQ(Frames{"585#47 01 20 01 6E 65 77 00"}, request(READ));
}

TEST_F(ExpeditedUpload, TextThatIsNotInTheStoreIsAborted) {
  addObjectWithoutVariable(0x2001, 1, KQ::DATA_TYPE_VISIBLE_STRING);
  EXPECT_EQ(Frames{"585#80 01 20 01 23 00 00 08"}, request(READ));
}

TEST_F(ExpeditedUpload, TextThatTheStoreHoldsAsANumberIsAborted) {
  addObject(0x2001, 1, KQ::DATA_TYPE_UNSIGNED8);
  addObjectWithoutVariable(0x2001, 1, KQ::DATA_TYPE_VISIBLE_STRING);
  EXPECT_EQ(Frames{"585#80 01 20 01 23 00 00 08"}, request(READ));
}

TEST_F(ExpeditedUpload, AnswerGoesToTheChannelOfTheRequest) {
  addOwnText(0x2001, 1, "abc");
  addChannel(0x1201, 0x612, 0x592);
  EXPECT_EQ(Frames{"592#47 01 20 01 61 62 63 00"}, node.receive("612#40 01 20 01 00 00 00 00"));
  EXPECT_EQ(Frames{"592#80 FF 2F 00 00 00 02 06"}, node.receive("612#40 FF 2F 00 00 00 00 00"));
}

// ---- texts of five bytes and more

class SegmentedUpload : public test::SDOServerFixture {
protected:
  SegmentedUpload() { addOwnText(0x2001, 1, "abcdefghij"); }
};

class SegmentedUploadLength : public SegmentedUpload, public ::testing::WithParamInterface<std::size_t> {
protected:
  // Requests segments until the last one. @return the text
  std::string readSegments() {
    std::string text;
    for (unsigned int toggle = 0;; toggle ^= 0x10) {
      const Frames answer = request(test::segment(0x60 | toggle, std::string()));
      if (answer.size() != 1) {
        ADD_FAILURE() << "no answer after " << text.size() << " bytes";
        return text;
      }
      const KQ::KQCANMessage message = test::frame(answer[0]);
      EXPECT_EQ(toggle, message.data[0] & 0xF0u);
      const std::size_t used = 7 - (message.data[0] >> 1 & 7u);
      text.append(message.data + 1, message.data + 1 + used);
      if ((message.data[0] & 1u) != 0) {
        return text;
      }
      EXPECT_EQ(7u, used);
    }
  }
};

TEST_P(SegmentedUploadLength, IsGivenWhole) {
  const std::string text = test::pattern(GetParam());
  addOwnText(0x2002, 1, text);
  const Frames answer = request("40 02 20 01 00 00 00 00");
  ASSERT_EQ(1u, answer.size());
  const KQ::KQCANMessage message = test::frame(answer[0]);
  EXPECT_EQ(0x41, message.data[0]);
  EXPECT_EQ(GetParam(), message.data[4] + 0x100u * message.data[5] + 0x10000u * message.data[6]);
  EXPECT_EQ(text, readSegments());
  EXPECT_EQ(Frames{}, request(SEGMENT));
  EXPECT_EQ(Frames{}, request(SEGMENT_WITH_TOGGLE));
}

INSTANTIATE_TEST_SUITE_P(Table, SegmentedUploadLength,
                         ::testing::Values(5u, 6u, 7u, 8u, 13u, 14u, 15u, 21u, 1000u, 70000u));

TEST_F(SegmentedUpload, SixBytesTakeOneSegment) {
  addOwnText(0x2002, 1, "abcdef");
  EXPECT_EQ(Frames{"585#41 02 20 01 06 00 00 00"}, request("40 02 20 01 00 00 00 00"));
  EXPECT_EQ(Frames{"585#03 61 62 63 64 65 66 00"}, request(SEGMENT));
  EXPECT_EQ(Frames{}, request(SEGMENT_WITH_TOGGLE));
}

TEST_F(SegmentedUpload, SevenBytesTakeOneSegment) {
  addOwnText(0x2002, 1, "abcdefg");
  request("40 02 20 01 00 00 00 00");
  EXPECT_EQ(Frames{"585#01 61 62 63 64 65 66 67"}, request(SEGMENT));
  EXPECT_EQ(Frames{}, request(SEGMENT_WITH_TOGGLE));
}

TEST_F(SegmentedUpload, EndedUploadLeavesNothingToTimeOut) {
  request(READ);
  request(SEGMENT);
  request(SEGMENT_WITH_TOGGLE);
  EXPECT_EQ(Frames{}, node.run(101));
}

TEST_F(SegmentedUpload, TextMarkedInvalidCountsAsRead) {
  KQ::KQDEI::instance()->markValueAsInvalid(0x2001, 1, true);
  EXPECT_EQ(Frames{"585#41 01 20 01 0A 00 00 00"}, request(READ));
  EXPECT_EQ(Frames{"585#00 61 62 63 64 65 66 67"}, request(SEGMENT));
}

TEST_F(SegmentedUpload, TextChangedMeanwhileIsGivenAsItWasAtTheInitiation) {
  request(READ);
  request(SEGMENT);
  KQ::KQDEI::instance()->setVariableValue(0x2001, 1, std::string("x"), true, false);
  EXPECT_EQ(Frames{"585#19 68 69 6A 00 00 00 00"}, request(SEGMENT_WITH_TOGGLE));
}

TEST_F(SegmentedUpload, FirstSegmentWithToggleOneIsAborted) {
  request(READ);
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 03 05"}, request(SEGMENT_WITH_TOGGLE));
}

TEST_F(SegmentedUpload, RepeatedToggleIsAborted) {
  request(READ);
  request(SEGMENT);
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 03 05"}, request(SEGMENT));
}

TEST_F(SegmentedUpload, ToggleErrorEndsTheTransfer) {
  request(READ);
  request(SEGMENT_WITH_TOGGLE);
  EXPECT_EQ(Frames{}, request(SEGMENT));
  EXPECT_EQ(Frames{}, node.run(101));
}

TEST_F(SegmentedUpload, SecondInitiationReplacesTheFirstSilently) {
  addOwnText(0x2002, 2, "ABCDE");
  request(READ);
  request(SEGMENT);
  EXPECT_EQ(Frames{"585#41 02 20 02 05 00 00 00"}, request("40 02 20 02 00 00 00 00"));
  EXPECT_EQ(Frames{"585#05 41 42 43 44 45 00 00"}, request(SEGMENT));
}

TEST_F(SegmentedUpload, ExpeditedUploadInBetweenDoesNotDisturb) {
  request(READ);
  request(SEGMENT);
  EXPECT_EQ(Frames{"585#43 18 10 01 C7 03 00 00"}, request("40 18 10 01 00 00 00 00"));
  EXPECT_EQ(Frames{"585#19 68 69 6A 00 00 00 00"}, request(SEGMENT_WITH_TOGGLE));
}

TEST_F(SegmentedUpload, SegmentRequestOnAForeignChannelEndsTheTransfer) {
  addChannel(0x1201, 0x612, 0x592);
  request(READ);
  EXPECT_EQ(Frames{"592#80 01 20 01 00 00 00 08"}, node.receive("612#60 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, request(SEGMENT));
  EXPECT_EQ(Frames{}, node.run(101));
}

TEST_F(SegmentedUpload, ToggleIsLookedAtBeforeTheChannel) {
  addChannel(0x1201, 0x612, 0x592);
  request(READ);
  EXPECT_EQ(Frames{"592#80 01 20 01 00 00 03 05"}, node.receive("612#70 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, request(SEGMENT));
}

TEST_F(SegmentedUpload, SharedResponseCobIDIsNotEnough) {
  addChannel(0x1201, 0x612, 0x585);
  request(READ);
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 00 08"}, node.receive("612#60 00 00 00 00 00 00 00"));
}

TEST_F(SegmentedUpload, MatchingRequestCobIDIsNotEnough) {
  request(READ);
  server().handleSDOUploadSegmentRequest(0x592, 0x605, 0);
  EXPECT_EQ(Frames{"592#80 01 20 01 00 00 00 08"}, node.port().takeSent());
}

TEST_F(SegmentedUpload, RequestCobIDOfMoreThan16BitsNeverMatches) {
  addChannel(0x1201, 0x10612, 0x592);
  KQ::KQCANMessage message = test::frame("612#40 01 20 01 00 00 00 00");
  message.identifier = 0x10612;
  server().handleMessage(&message);
  message.data[0] = 0x60;
  server().handleMessage(&message);
  EXPECT_EQ((Frames{"592#41 01 20 01 0A 00 00 00", "592#80 01 20 01 00 00 00 08"}), node.port().takeSent());
}

TEST_F(SegmentedUpload, WholeTransferOnAnotherChannel) {
  addChannel(0x1201, 0x612, 0x592);
  EXPECT_EQ(Frames{"592#41 01 20 01 0A 00 00 00"}, node.receive("612#40 01 20 01 00 00 00 00"));
  EXPECT_EQ(Frames{"592#00 61 62 63 64 65 66 67"}, node.receive("612#60 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"592#19 68 69 6A 00 00 00 00"}, node.receive("612#70 00 00 00 00 00 00 00"));
}

TEST_F(SegmentedUpload, RefusedInitiationKeepsNoState) {
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(KQ::KQ_DEFERRED, server().sendInitiateSegmentedUploadResponse(0x2001, 1, 0x585, 0x605, "abcdefghij"));
  EXPECT_EQ(Frames{}, request(SEGMENT));
  EXPECT_EQ(Frames{}, node.run(101));
}

TEST_F(SegmentedUpload, RefusedInitiationCanBeRepeated) {
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, request(READ));
  EXPECT_EQ(Frames{"585#41 01 20 01 0A 00 00 00"}, request(READ));
  EXPECT_EQ(Frames{"585#00 61 62 63 64 65 66 67"}, request(SEGMENT));
}

TEST_F(SegmentedUpload, AcceptedInitiationReturnsZero) {
  EXPECT_EQ(KQ::KQ_OK, server().sendInitiateSegmentedUploadResponse(0x2001, 1, 0x585, 0x605, "abcdefghij"));
  EXPECT_EQ(Frames{"585#41 01 20 01 0A 00 00 00"}, node.port().takeSent());
}

TEST_F(SegmentedUpload, RefusedSegmentIsNotRepeated) {
  request(READ);
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, request(SEGMENT));
  EXPECT_EQ(Frames{"585#19 68 69 6A 00 00 00 00"}, request(SEGMENT_WITH_TOGGLE));
}

}  // namespace
