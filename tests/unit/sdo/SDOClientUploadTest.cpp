// Covers: how the SDO client takes what it reads from a server in one frame, and whose variables it stores.
//
// | subject             | functional                                 | robustness                                |
// |---------------------|--------------------------------------------|-------------------------------------------|
// | number              | 1 to 4 bytes, signs, size indicated or not | too many bytes, fewer, no size            |
// | text                | 1 to 4 characters, size indicated or not   | after the upload of a master              |
// | log line            | bytes and data type                        |                                           |
// | fit to the type     | limits of 1, 12 and 24 bits                | one bit too many                          |
// | result of the write | access right, end of the upload            | outside the limits                        |
// | owner               | this node                                  | none, another one; log lines              |
// | pending             | one at a time                              | nobody asked, other object, other channel |

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "OwnerRecorder.h"
#include "SDOClientFixture.h"

namespace {

using test::Frames;

const char* const NOT_OWNER = "+++++ SDO => We are not owner of the variable\n";

class SDOClientUpload : public test::SDOClientFixture {
protected:
  // An object of that type which node 6 holds, with a variable of owner in the store.
  void addObject(KQ::KQCANopenDataType dataType, KQ::KQVariableOwner* owner) {
    const bool isText = dataType == KQ::DATA_TYPE_VISIBLE_STRING;
    KQ::KQVariable variable(INDEX, 1, "object", isText ? KQ::STORAGE_TYPE_STRING : KQ::STORAGE_TYPE_INTEGER);
    variable.setOwner(owner);
    ASSERT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->addVariable(&variable));
    node.dictionary().addEntry(INDEX, KQ::OBJECT_TYPE_RECORD, "object");
    node.dictionary().addSubentry(INDEX, 1, KQ::ACCESS_RW, dataType, "object", false, 0, std::string(), 0x606);
    node.dictionary().setLimits(INDEX, 1, 0, -1);
  }

  // Asks for an object without a variable of this node's own, which is known by its own key.
  void askForObject() {
    ASSERT_EQ(Frames{"606#40 01 20 01 00 00 00 00"}, sendRead(1));
    node.output.takeOutput();
  }
};

// ---- expedited numbers

struct NumberRow : test::NamedCase {
  int bits;
  bool isSigned;
  const char* answer;
  int value;
};

class SDOClientUploadedNumber : public SDOClientUpload, public ::testing::WithParamInterface<NumberRow> {};

TEST_P(SDOClientUploadedNumber, ReachesTheVariable) {
  addNumber(1, GetParam().bits, GetParam().isSigned);
  ask();
  EXPECT_EQ(KQ::KQ_OK, answer(GetParam().answer));
  EXPECT_EQ(GetParam().value, stored(1));
}

const NumberRow NUMBER_ROWS[] = {
    {{"Unsigned8"}, 8, false, "4F 00 60 11 FF 00 00 00", 255},
    {{"Integer8"}, 8, true, "4F 00 60 11 80 00 00 00", -128},
    {{"Unsigned16"}, 16, false, "4B 00 60 11 34 12 00 00", 0x1234},
    {{"Integer16"}, 16, true, "4B 00 60 11 FF FF 00 00", -1},
    {{"Unsigned24"}, 24, false, "47 00 60 11 FF FF FF 00", 0xFFFFFF},
    {{"Integer24Lowest"}, 24, true, "47 00 60 11 00 00 80 00", -8388608},
    {{"Integer24Highest"}, 24, true, "47 00 60 11 FF FF 7F 00", 8388607},
    {{"Unsigned32"}, 32, false, "43 00 60 11 FF FF FF FF", -1},
    {{"Integer32"}, 32, true, "43 00 60 11 00 00 00 80", -2147483647 - 1},
    {{"Boolean"}, 1, false, "4F 00 60 11 01 00 00 00", 1},
    {{"OneBitSigned"}, 1, true, "4F 00 60 11 01 00 00 00", -1},
    {{"TwelveBits"}, 12, false, "4B 00 60 11 FF 0F 00 00", 4095},
    {{"TwelveBitsSigned"}, 12, true, "4B 00 60 11 00 08 00 00", -2048},
    {{"FewerBytesThanTheType"}, 32, true, "4B 00 60 11 FF FF 00 00", 0xFFFF},
    {{"UnusedBytesDoNotCount"}, 16, false, "4B 00 60 11 34 12 FF FF", 0x1234},
    {{"SizeOf1NotIndicated"}, 8, false, "42 00 60 11 12 34 56 78", 0x12},
    {{"SizeOf2NotIndicated"}, 16, false, "42 00 60 11 12 34 56 78", 0x3412},
    {{"SizeOf3NotIndicated"}, 24, false, "42 00 60 11 12 34 56 78", 0x563412},
    {{"SizeOf4NotIndicated"}, 32, false, "42 00 60 11 12 34 56 78", 0x78563412},
    {{"SizeNotIndicatedHidesN"}, 32, false, "4E 00 60 11 12 34 56 78", 0x78563412},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOClientUploadedNumber, ::testing::ValuesIn(NUMBER_ROWS), test::caseName<NumberRow>);

struct RefusedNumberRow : test::NamedCase {
  int bits;
  bool isSigned;
  const char* answer;
  int result;
};

class SDOClientRefusedNumber : public SDOClientUpload, public ::testing::WithParamInterface<RefusedNumberRow> {};

TEST_P(SDOClientRefusedNumber, LeavesTheVariable) {
  addNumber(1, GetParam().bits, GetParam().isSigned, 1);
  ask();
  EXPECT_EQ(GetParam().result, answer(GetParam().answer));
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(1, stored(1));
}

const RefusedNumberRow TOO_LONG_ROWS[] = {
    {{"TwoBytesForOne"}, 8, false, "4B 00 60 11 02 00 00 00", KQ::KQ_DOES_NOT_FIT},
    {{"FourBytesForOne"}, 8, false, "43 00 60 11 02 00 00 00", KQ::KQ_DOES_NOT_FIT},
    {{"ThreeBytesForTwo"}, 16, true, "47 00 60 11 02 00 00 00", KQ::KQ_DOES_NOT_FIT},
    {{"FourBytesForThree"}, 24, false, "43 00 60 11 02 00 00 00", KQ::KQ_DOES_NOT_FIT},
};
const RefusedNumberRow NOT_FITTING_ROWS[] = {
    {{"Boolean"}, 1, false, "4F 00 60 11 02 00 00 00", 0x06090030},
    {{"OneBitSigned"}, 1, true, "4F 00 60 11 FF 00 00 00", 0x06090030},
    {{"TwelveBits"}, 12, false, "4B 00 60 11 00 10 00 00", 0x06090030},
    {{"TwelveBitsSigned"}, 12, true, "4B 00 60 11 00 F8 00 00", 0x06090030},
    {{"TwentyFiveBits"}, 25, false, "43 00 60 11 00 00 00 02", 0x06090030},
};

INSTANTIATE_TEST_SUITE_P(TooLong, SDOClientRefusedNumber, ::testing::ValuesIn(TOO_LONG_ROWS),
                         test::caseName<RefusedNumberRow>);
INSTANTIATE_TEST_SUITE_P(NotFitting, SDOClientRefusedNumber, ::testing::ValuesIn(NOT_FITTING_ROWS),
                         test::caseName<RefusedNumberRow>);

TEST_F(SDOClientUpload, SizeOfATypeWithoutSizeGives15) {
  addObject(KQ::DATA_TYPE_OCTET_STRING, &node.canopen());
  askForObject();
  EXPECT_EQ(KQ::KQ_MISMATCH, answer("42 01 20 01 02 00 00 00"));
}

TEST_F(SDOClientUpload, SizeIndicatedForATypeWithoutSizeGives24) {
  addObject(KQ::DATA_TYPE_OCTET_STRING, &node.canopen());
  askForObject();
  EXPECT_EQ(KQ::KQ_DOES_NOT_FIT, answer("4F 01 20 01 02 00 00 00"));
}

TEST_F(SDOClientUpload, NumberOutsideTheLimitsIsRefused) {
  addNumber(1, 16, false);
  node.dictionary().setLimits(INDEX, 1, 10, 20);
  ask();
  EXPECT_EQ(0x06090030, answer("4B 00 60 11 15 00 00 00"));
  EXPECT_EQ(0, stored(1));
  expectOver();
}

TEST_F(SDOClientUpload, NumberIsAWriteFromTheBus) {
  addNumber(1, 16, false);
  node.dictionary().getSubentry(INDEX, 1)->accessType = KQ::ACCESS_RO;
  ask();
  EXPECT_EQ(0x06010002, answer("4B 00 60 11 15 00 00 00"));
  EXPECT_EQ(0, stored(1));
}

TEST_F(SDOClientUpload, StoredNumberEndsTheUpload) {
  addNumber(1, 16, false);
  ask();
  EXPECT_EQ(Frames{}, server("4B 00 60 11 34 12 00 00"));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("4B 00 60 11 56 00 00 00"));
  EXPECT_EQ(0x1234, stored(1));
  expectOver();
}

TEST_F(SDOClientUpload, NumberThatDoesNotFitEndsTheUpload) {
  addNumber(1, 1, false);
  ask();
  answer("4F 00 60 11 02 00 00 00");
  expectOver();
}

TEST_F(SDOClientUpload, NumberOfTooManyBytesLeavesTheUploadPending) {
  addNumber(1, 8, false);
  ask();
  answer("4B 00 60 11 02 00 00 00");
  expectPending();
}

struct LogRow : test::NamedCase {
  int bits;
  bool isSigned;
  const char* line;
};

class SDOClientUploadLog : public SDOClientUpload, public ::testing::WithParamInterface<LogRow> {};

TEST_P(SDOClientUploadLog, NamesBytesAndDataType) {
  addNumber(1, GetParam().bits, GetParam().isSigned);
  ask();
  answer("42 00 60 11 00 00 00 00");
  EXPECT_EQ(GetParam().line, node.output.takeOutput());
}

const LogRow LOG_ROWS[] = {
    {{"Boolean"}, 1, false, "SDO => Expedited NOOFBYTES: 1 DATATYPE: 1\n"},
    {{"Integer8"}, 8, true, "SDO => Expedited NOOFBYTES: 1 DATATYPE: 2\n"},
    {{"Unsigned16"}, 16, false, "SDO => Expedited NOOFBYTES: 2 DATATYPE: 6\n"},
    {{"Integer24"}, 24, true, "SDO => Expedited NOOFBYTES: 3 DATATYPE: 16\n"},
    {{"Unsigned32"}, 32, false, "SDO => Expedited NOOFBYTES: 4 DATATYPE: 7\n"},
    {{"TwelveBits"}, 12, false, "SDO => Expedited NOOFBYTES: 2 DATATYPE: 64\n"},
};

INSTANTIATE_TEST_SUITE_P(Types, SDOClientUploadLog, ::testing::ValuesIn(LOG_ROWS), test::caseName<LogRow>);

// ---- expedited texts

struct TextRow : test::NamedCase {
  const char* answer;
  const char* text;
};

class SDOClientUploadedText : public SDOClientUpload, public ::testing::WithParamInterface<TextRow> {};

TEST_P(SDOClientUploadedText, ReachesTheVariable) {
  addText(1, "old");
  ask();
  EXPECT_EQ(KQ::KQ_OK, answer(GetParam().answer));
  EXPECT_EQ(GetParam().text, storedText(1));
}

const TextRow TEXT_ROWS[] = {
    {{"One"}, "4F 00 60 11 61 00 00 00", "a"},
    {{"Two"}, "4B 00 60 11 61 62 00 00", "ab"},
    {{"Three"}, "47 00 60 11 61 62 63 00", "abc"},
    {{"Four"}, "43 00 60 11 61 62 63 64", "abcd"},
    {{"SizeNotIndicated"}, "42 00 60 11 61 62 63 64", "abcd"},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOClientUploadedText, ::testing::ValuesIn(TEXT_ROWS), test::caseName<TextRow>);

TEST_F(SDOClientUpload, TextIsLoggedWithoutSize) {
  addText(1);
  ask();
  answer("4F 00 60 11 61 00 00 00");
  EXPECT_EQ("SDO => Expedited NOOFBYTES: -1 DATATYPE: 9\n", node.output.takeOutput());
}

TEST_F(SDOClientUpload, TextIsStoredWhateverTheAccessRight) {
  addText(1);
  node.dictionary().getSubentry(INDEX, 1)->accessType = KQ::ACCESS_RO;
  ask();
  EXPECT_EQ(KQ::KQ_OK, answer("4F 00 60 11 61 00 00 00"));
  EXPECT_EQ("a", storedText(1));
}

TEST_F(SDOClientUpload, StoredTextEndsTheUpload) {
  addText(1);
  ask();
  answer("4F 00 60 11 61 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("4F 00 60 11 62 00 00 00"));
  EXPECT_EQ("a", storedText(1));
  expectOver();
}

TEST_F(SDOClientUpload, TextDoesNotFollowTheOneThatAMasterUploaded) {
  addText(1, "text of a master");
  node.receive("605#40 01 20 01 00 00 00 00");
  node.receive("605#60 00 00 00 00 00 00 00");
  node.receive("605#70 00 00 00 00 00 00 00");
  node.receive("605#60 00 00 00 00 00 00 00");
  ask();
  answer("4F 00 60 11 61 00 00 00");
  EXPECT_EQ("a", storedText(1));
}

// ---- owner

TEST_F(SDOClientUpload, NumberOfAnotherOwnerIsNotStored) {
  test::OwnerRecorder owner;
  addObject(KQ::DATA_TYPE_UNSIGNED16, &owner);
  askForObject();
  EXPECT_EQ(KQ::KQ_NOT_PERMITTED, answer("4B 01 20 01 34 12 00 00"));
  EXPECT_EQ(0, stored(1));
  EXPECT_EQ(std::string("SDO => Expedited NOOFBYTES: 2 DATATYPE: 6\n") + NOT_OWNER, node.output.takeOutput());
}

TEST_F(SDOClientUpload, TextOfAnotherOwnerIsNotStored) {
  test::OwnerRecorder owner;
  addObject(KQ::DATA_TYPE_VISIBLE_STRING, &owner);
  askForObject();
  EXPECT_EQ(KQ::KQ_NOT_PERMITTED, answer("4F 01 20 01 61 00 00 00"));
  EXPECT_EQ("", storedText(1));
  EXPECT_EQ(std::string("SDO => Expedited NOOFBYTES: -1 DATATYPE: 9\n") + NOT_OWNER, node.output.takeOutput());
}

TEST_F(SDOClientUpload, NumberWithoutOwnerIsLoggedWithItsSubIndexAsACharacter) {
  addObject(KQ::DATA_TYPE_UNSIGNED8, nullptr);
  askForObject();
  EXPECT_EQ(KQ::KQ_NOT_PERMITTED, answer("4F 01 20 01 61 00 00 00"));
  EXPECT_EQ(0, stored(1));
  EXPECT_EQ(
      "SDO => Expedited NOOFBYTES: 1 DATATYPE: 5\n"
      "+++++ SDO => Unable to find owner of variable in a SDO Upload Response: 0x2001/0x\x01\n",
      node.output.takeOutput());
}

TEST_F(SDOClientUpload, IndexWithoutOwnerIsLoggedInLowerCase) {
  node.dictionary().addEntry(0x2ABC, KQ::OBJECT_TYPE_RECORD, "object");
  node.dictionary().addSubentry(0x2ABC, 0x41, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED8, "", false, 0, "", 0x606);
  ASSERT_EQ(KQ::KQ_OK, node.canopen().getValueRequest(0x2ABC0041U));
  node.cycle();
  node.output.takeOutput();
  EXPECT_EQ(KQ::KQ_NOT_PERMITTED, answer("4F BC 2A 41 61 00 00 00"));
  EXPECT_EQ(
      "SDO => Expedited NOOFBYTES: 1 DATATYPE: 5\n"
      "+++++ SDO => Unable to find owner of variable in a SDO Upload Response: 0x2abc/0xA\n",
      node.output.takeOutput());
}

TEST_F(SDOClientUpload, OfAnotherOwnerStaysPendingUntilItsTimeOut) {
  test::OwnerRecorder owner;
  addObject(KQ::DATA_TYPE_UNSIGNED16, &owner);
  addNumber(2, 16, false);
  askForObject();
  answer("4B 01 20 01 34 12 00 00");
  read(2);
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ((Frames{"586#80 01 20 01 00 00 04 05", "606#40 00 60 12 00 00 00 00"}), node.run(1));
}

TEST_F(SDOClientUpload, SegmentedTextOfAnotherOwnerIsNotStored) {
  test::OwnerRecorder owner;
  addObject(KQ::DATA_TYPE_VISIBLE_STRING, &owner);
  askForObject();
  server("41 01 20 01 05 00 00 00");
  EXPECT_EQ(KQ::KQ_NOT_PERMITTED, answer("05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ("", storedText(1));
  EXPECT_EQ(NOT_OWNER, node.output.takeOutput());
}

TEST_F(SDOClientUpload, SegmentedTextWithoutOwnerIsLoggedWithItsSubIndexAsACharacter) {
  addObject(KQ::DATA_TYPE_VISIBLE_STRING, nullptr);
  askForObject();
  server("41 01 20 01 05 00 00 00");
  EXPECT_EQ(KQ::KQ_NOT_PERMITTED, answer("05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ("+++++ SDO => Unable to find owner of variable in a SDO Upload Response: 0x2001/0x\x01\n",
            node.output.takeOutput());
}

// ---- pending

TEST_F(SDOClientUpload, AnswerThatNobodyAskedForGives8) {
  addNumber(1, 8, false);
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("4F 00 60 11 05 00 00 00"));
  EXPECT_EQ(0, stored(1));
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(SDOClientUpload, SegmentThatNobodyAskedForGives8) {
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientUpload, SegmentInsteadOfTheInitiateResponseGives8) {
  addText(1, "old");
  ask();
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ("old", storedText(1));
}

struct UnexpectedRow : test::NamedCase {
  const char* answer;
};

class SDOClientUnexpectedAnswer : public SDOClientUpload, public ::testing::WithParamInterface<UnexpectedRow> {};

TEST_P(SDOClientUnexpectedAnswer, Gives8AndLeavesTheUploadPending) {
  addNumber(1, 8, false);
  ask();
  EXPECT_EQ(KQ::KQ_UNEXPECTED, offer(GetParam().answer));
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(KQ::KQ_OK, answer("4F 00 60 11 05 00 00 00"));
  EXPECT_EQ(5, stored(1));
}

const UnexpectedRow UNEXPECTED_ROWS[] = {
    {{"OtherChannel"}, "587#4F 00 60 11 06 00 00 00"},
    {{"OtherSubIndex"}, "586#4F 00 60 12 06 00 00 00"},
    {{"OtherIndex"}, "586#4F 01 60 11 06 00 00 00"},
    {{"NeitherExpeditedNorSized"}, "586#40 00 60 11 06 00 00 00"},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOClientUnexpectedAnswer, ::testing::ValuesIn(UNEXPECTED_ROWS),
                         test::caseName<UnexpectedRow>);

}  // namespace
