// Covers: the expedited download of the SDO server.
//
// | subject             | functional                                     | robustness                    |
// |---------------------|------------------------------------------------|-------------------------------|
// | size                | each type x each indicated size; not indicated | bytes behind the value        |
// | type                | numbers up to 4 bytes, strings                 | 0, 5 to 8 bytes, without size |
// | value               | both ends of 1, 2, 8, 12, 16, 24, 32 bits      | one beyond                    |
// | limits, access      | own variable, from both sides                  | variable of another owner     |
// | strings             | 1 to 4 bytes, size not indicated               | zero bytes inside, read only  |
// | result of the write | 0; plain codes; abort codes                    | object without variable       |

#include <cstdint>
#include <filesystem>

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "SDOServerFixture.h"

namespace {

using test::Frames;

const Frames CONFIRMED = {"585#60 01 20 01 00 00 00 00"};
const Frames REFUSED_BY_SIZE_OR_RANGE = {"585#80 01 20 01 30 00 09 06"};
const int BEFORE = 0x55;

class ExpeditedDownload : public test::SDOServerFixture {
protected:
  // Calls the operation itself for 0x2001 sub-index 1. @return its result
  int download(bool sizeIndicated, unsigned char n, unsigned char d0, unsigned char d1 = 0) {
    return server().handleExpeditedSDODownloadRequest(0x2001, 1, sizeIndicated, n, 0x585, d0, d1, 0, 0);
  }
};

// ---- size

struct TypeRow : test::NamedCase {
  KQ::KQCANopenDataType dataType;
  unsigned int bytes;
};

const TypeRow TYPE_ROWS[] = {
    {{"Boolean"}, KQ::DATA_TYPE_BOOLEAN, 1},       {{"Integer8"}, KQ::DATA_TYPE_INTEGER8, 1},
    {{"Unsigned8"}, KQ::DATA_TYPE_UNSIGNED8, 1},   {{"Integer16"}, KQ::DATA_TYPE_INTEGER16, 2},
    {{"Unsigned16"}, KQ::DATA_TYPE_UNSIGNED16, 2}, {{"Integer24"}, KQ::DATA_TYPE_INTEGER24, 3},
    {{"Unsigned24"}, KQ::DATA_TYPE_UNSIGNED24, 3}, {{"Integer32"}, KQ::DATA_TYPE_INTEGER32, 4},
    {{"Unsigned32"}, KQ::DATA_TYPE_UNSIGNED32, 4}, {{"Real32"}, KQ::DATA_TYPE_REAL32, 4},
};

class ExpeditedDownloadOfType : public ExpeditedDownload, public ::testing::WithParamInterface<TypeRow> {
protected:
  ExpeditedDownloadOfType() {
    addObject(0x2001, 1, GetParam().dataType);
    store(0x2001, 1, BEFORE);
  }
  static std::string command(unsigned int value) { return test::segment(value, std::string()).substr(0, 2); }
};

TEST_P(ExpeditedDownloadOfType, IndicatedSizeMustEqualTypeSize) {
  for (unsigned int size = 1; size <= 4; ++size) {
    SCOPED_TRACE(size);
    store(0x2001, 1, BEFORE);
    const Frames answer = request(command(0x23 | (4 - size) << 2) + " 01 20 01 01 00 00 00");
    EXPECT_EQ(size == GetParam().bytes ? CONFIRMED : REFUSED_BY_SIZE_OR_RANGE, answer);
    EXPECT_EQ(size == GetParam().bytes ? 1 : BEFORE, stored(0x2001, 1));
  }
}

TEST_P(ExpeditedDownloadOfType, WithoutIndicatedSizeTheTypeSaysHowManyBytesCount) {
  for (unsigned int n = 0; n <= 3; ++n) {
    SCOPED_TRACE(n);
    store(0x2001, 1, BEFORE);
    EXPECT_EQ(CONFIRMED, request(command(0x22 | n << 2) + " 01 20 01 01 00 00 00"));
    EXPECT_EQ(1, stored(0x2001, 1));
  }
}

TEST_P(ExpeditedDownloadOfType, BytesBehindTheValueAreLeftOut) {
  std::string bytes = command(0x22) + " 01 20 01 01";
  for (unsigned int i = 1; i < 4; ++i) {
    bytes += i < GetParam().bytes ? " 00" : " FF";
  }
  EXPECT_EQ(CONFIRMED, request(bytes));
  EXPECT_EQ(1, stored(0x2001, 1));
}

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedDownloadOfType, ::testing::ValuesIn(TYPE_ROWS), test::caseName<TypeRow>);

TEST_F(ExpeditedDownload, WrittenValueReachesTheVariable) {
  addOwnNumber(0x2000, 1, 16, false);
  EXPECT_EQ(Frames{"585#60 00 20 01 00 00 00 00"}, request("2B 00 20 01 34 12 00 00"));
  EXPECT_EQ(0x1234, stored(0x2000, 1));
}

class ExpeditedDownloadOfOtherType : public ExpeditedDownload, public ::testing::WithParamInterface<TypeRow> {};

TEST_P(ExpeditedDownloadOfOtherType, IsAborted) {
  addObject(0x2001, 1, GetParam().dataType);
  for (const char* command : {"22", "23", "27", "2B", "2F"}) {
    EXPECT_EQ(Frames{"585#80 01 20 01 10 00 07 06"}, request(std::string(command) + " 01 20 01 01 00 00 00"));
  }
  EXPECT_EQ(0, stored(0x2001, 1));
}

const TypeRow OTHER_TYPE_ROWS[] = {
    {{"Integer40"}, KQ::DATA_TYPE_INTEGER40, 5},
    {{"Integer48"}, KQ::DATA_TYPE_INTEGER48, 6},
    {{"Integer56"}, KQ::DATA_TYPE_INTEGER56, 7},
    {{"Integer64"}, KQ::DATA_TYPE_INTEGER64, 8},
    {{"Unsigned40"}, KQ::DATA_TYPE_UNSIGNED40, 5},
    {{"Unsigned48"}, KQ::DATA_TYPE_UNSIGNED48, 6},
    {{"Unsigned56"}, KQ::DATA_TYPE_UNSIGNED56, 7},
    {{"Unsigned64"}, KQ::DATA_TYPE_UNSIGNED64, 8},
    {{"Real64"}, KQ::DATA_TYPE_REAL64, 8},
    {{"OctetString"}, KQ::DATA_TYPE_OCTET_STRING, 0},
    {{"UnicodeString"}, KQ::DATA_TYPE_UNICODE_STRING, 0},
    {{"TimeOfDay"}, KQ::DATA_TYPE_TIME_OF_DAY, 0},
    {{"TimeDifference"}, KQ::DATA_TYPE_TIME_DIFFERENCE, 0},
    {{"Domain"}, KQ::DATA_TYPE_DOMAIN, 0},
    {{"UndefinedManufacturerType"}, KQ::DATA_TYPE_MANUFACTURER_LAST, 0},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedDownloadOfOtherType, ::testing::ValuesIn(OTHER_TYPE_ROWS),
                         test::caseName<TypeRow>);

TEST_F(ExpeditedDownload, ObjectWithoutTypeCountsAsMissing) {
  addObject(0x2001, 1, KQ::DATA_TYPE_NONE);
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 02 06"}, request("2F 01 20 01 01 00 00 00"));
}

TEST_F(ExpeditedDownload, FortyBitVariableIsTooLong) {
  addOwnNumber(0x2001, 1, 40, false, 0, 100);
  EXPECT_EQ(Frames{"585#80 01 20 01 10 00 07 06"}, request("23 01 20 01 01 00 00 00"));
}

// ---- value

struct ValueRow : test::NamedCase {
  int bits;
  bool isSigned;
  const char* request;  // command byte and data bytes
  bool fits;
  int value;
};

class ExpeditedDownloadOfValue : public ExpeditedDownload, public ::testing::WithParamInterface<ValueRow> {};

TEST_P(ExpeditedDownloadOfValue, IsFittedToTheType) {
  addOwnNumber(0x2001, 1, GetParam().bits, GetParam().isSigned);
  const std::string text = GetParam().request;
  const Frames answer = request(text.substr(0, 2) + " 01 20 01" + text.substr(2));
  EXPECT_EQ(GetParam().fits ? CONFIRMED : REFUSED_BY_SIZE_OR_RANGE, answer);
  EXPECT_EQ(GetParam().fits ? GetParam().value : 0, stored(0x2001, 1));
}

const ValueRow VALUE_ROWS[] = {
    {{"Boolean0"}, 1, false, "2F 00 00 00 00", true, 0},
    {{"Boolean1"}, 1, false, "2F 01 00 00 00", true, 1},
    {{"Boolean2"}, 1, false, "2F 02 00 00 00", false, 0},
    {{"BooleanFF"}, 1, false, "2F FF 00 00 00", false, 0},
    {{"Signed1BitMinus1"}, 1, true, "2F 01 00 00 00", true, -1},
    {{"Signed1BitBeyond"}, 1, true, "2F 02 00 00 00", false, 0},
    {{"Signed2BitsMax"}, 2, true, "2F 01 00 00 00", true, 1},
    {{"Signed2BitsMin"}, 2, true, "2F 02 00 00 00", true, -2},
    {{"Signed2BitsMinus1"}, 2, true, "2F 03 00 00 00", true, -1},
    {{"Signed2BitsBeyond"}, 2, true, "2F 04 00 00 00", false, 0},
    {{"Unsigned8Max"}, 8, false, "2F FF 00 00 00", true, 255},
    {{"Integer8Max"}, 8, true, "2F 7F 00 00 00", true, 127},
    {{"Integer8Min"}, 8, true, "2F 80 00 00 00", true, -128},
    {{"Integer8Minus1"}, 8, true, "2F FF 00 00 00", true, -1},
    {{"Unsigned12Max"}, 12, false, "2B FF 0F 00 00", true, 4095},
    {{"Unsigned12Beyond"}, 12, false, "2B 00 10 00 00", false, 0},
    {{"Unsigned12TopBit"}, 12, false, "2B 00 80 00 00", false, 0},
    {{"Integer12Max"}, 12, true, "2B FF 07 00 00", true, 2047},
    {{"Integer12Min"}, 12, true, "2B 00 08 00 00", true, -2048},
    {{"Integer12Minus1"}, 12, true, "2B FF 0F 00 00", true, -1},
    {{"Integer12Minus1InSixteenBits"}, 12, true, "2B FF FF 00 00", false, 0},
    {{"Unsigned16Max"}, 16, false, "2B FF FF 00 00", true, 65535},
    {{"Integer16Max"}, 16, true, "2B FF 7F 00 00", true, 32767},
    {{"Integer16Min"}, 16, true, "2B 00 80 00 00", true, -32768},
    {{"Integer16Minus1"}, 16, true, "2B FF FF 00 00", true, -1},
    {{"Unsigned24Max"}, 24, false, "27 FF FF FF 00", true, 0xFFFFFF},
    {{"Integer24Max"}, 24, true, "27 FF FF 7F 00", true, 0x7FFFFF},
    {{"Integer24Min"}, 24, true, "27 00 00 80 00", true, -0x800000},
    {{"Integer24Minus1"}, 24, true, "27 FF FF FF 00", true, -1},
    {{"Unsigned31Max"}, 31, false, "23 FF FF FF 7F", true, 0x7FFFFFFF},
    {{"Unsigned31Beyond"}, 31, false, "23 00 00 00 80", false, 0},
    {{"Unsigned32Middle"}, 32, false, "23 00 00 00 80", true, INT32_MIN},
    {{"Unsigned32Max"}, 32, false, "23 FF FF FF FF", true, -1},
    {{"Integer32Max"}, 32, true, "23 FF FF FF 7F", true, INT32_MAX},
    {{"Integer32Min"}, 32, true, "23 00 00 00 80", true, INT32_MIN},
    {{"Integer32Minus1"}, 32, true, "23 FF FF FF FF", true, -1},
    {{"LittleEndian"}, 32, true, "23 78 56 34 12", true, 0x12345678},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedDownloadOfValue, ::testing::ValuesIn(VALUE_ROWS), test::caseName<ValueRow>);

struct FitRow : test::NamedCase {
  KQ::KQCANopenDataType dataType;
  unsigned int received;
  int result;
  int fitted;
};

class ValueFitting : public test::SDOServerFixture, public ::testing::WithParamInterface<FitRow> {};

TEST_P(ValueFitting, FollowsTheDataType) {
  addObject(0x2001, 1, GetParam().dataType);
  int value = static_cast<int>(GetParam().received);
  EXPECT_EQ(GetParam().result, server().updateValueAccordingToDataType(0x2001, 1, value));
  if (GetParam().result == KQ::KQ_OK) {
    EXPECT_EQ(GetParam().fitted, value);
  }
}

const FitRow FIT_ROWS[] = {
    {{"Boolean1"}, KQ::DATA_TYPE_BOOLEAN, 1, KQ::KQ_OK, 1},
    {{"Boolean2"}, KQ::DATA_TYPE_BOOLEAN, 2, KQ::KQ_DOES_NOT_FIT, 0},
    {{"Integer8Min"}, KQ::DATA_TYPE_INTEGER8, 0x80, KQ::KQ_OK, -128},
    {{"Integer8Beyond"}, KQ::DATA_TYPE_INTEGER8, 0x100, KQ::KQ_DOES_NOT_FIT, 0},
    {{"Integer8AlreadyExtended"}, KQ::DATA_TYPE_INTEGER8, 0xFFFFFFFF, KQ::KQ_DOES_NOT_FIT, 0},
    {{"Unsigned8Max"}, KQ::DATA_TYPE_UNSIGNED8, 0xFF, KQ::KQ_OK, 255},
    {{"Unsigned8Beyond"}, KQ::DATA_TYPE_UNSIGNED8, 0x100, KQ::KQ_DOES_NOT_FIT, 0},
    {{"Integer16Minus1"}, KQ::DATA_TYPE_INTEGER16, 0xFFFF, KQ::KQ_OK, -1},
    {{"Integer16Beyond"}, KQ::DATA_TYPE_INTEGER16, 0x10000, KQ::KQ_DOES_NOT_FIT, 0},
    {{"Unsigned16Beyond"}, KQ::DATA_TYPE_UNSIGNED16, 0x80000000, KQ::KQ_DOES_NOT_FIT, 0},
    {{"Integer24Min"}, KQ::DATA_TYPE_INTEGER24, 0x800000, KQ::KQ_OK, -0x800000},
    {{"Integer24Beyond"}, KQ::DATA_TYPE_INTEGER24, 0x1000000, KQ::KQ_DOES_NOT_FIT, 0},
    {{"Unsigned24Max"}, KQ::DATA_TYPE_UNSIGNED24, 0xFFFFFF, KQ::KQ_OK, 0xFFFFFF},
    {{"Integer32Minus1"}, KQ::DATA_TYPE_INTEGER32, 0xFFFFFFFF, KQ::KQ_OK, -1},
    {{"Unsigned32Max"}, KQ::DATA_TYPE_UNSIGNED32, 0xFFFFFFFF, KQ::KQ_OK, -1},
    {{"Real32StaysAsItIs"}, KQ::DATA_TYPE_REAL32, 0xBF800000, KQ::KQ_OK, static_cast<int>(0xBF800000)},
    {{"Integer40StaysAsItIs"}, KQ::DATA_TYPE_INTEGER40, 0x80000000, KQ::KQ_OK, INT32_MIN},
    {{"Integer64StaysAsItIs"}, KQ::DATA_TYPE_INTEGER64, 0x7FFFFFFF, KQ::KQ_OK, INT32_MAX},
    {{"WithoutTypeOnlyZeroFits"}, KQ::DATA_TYPE_NONE, 0, KQ::KQ_OK, 0},
    {{"WithoutTypeOneDoesNotFit"}, KQ::DATA_TYPE_NONE, 1, KQ::KQ_DOES_NOT_FIT, 0},
};

INSTANTIATE_TEST_SUITE_P(Table, ValueFitting, ::testing::ValuesIn(FIT_ROWS), test::caseName<FitRow>);

// ---- limits and access rights

struct LimitRow : test::NamedCase {
  bool isSigned;
  int minimum;
  int maximum;
  const char* data;
  bool accepted;
};

class ExpeditedDownloadLimit : public ExpeditedDownload, public ::testing::WithParamInterface<LimitRow> {};

TEST_P(ExpeditedDownloadLimit, HoldsForAnOwnVariable) {
  addOwnNumber(0x2001, 1, 32, GetParam().isSigned, GetParam().minimum, GetParam().maximum);
  EXPECT_EQ(GetParam().accepted ? CONFIRMED : REFUSED_BY_SIZE_OR_RANGE,
            request(std::string("23 01 20 01 ") + GetParam().data));
}

const int HALF = static_cast<int>(0x80000000);
const int ALMOST_ALL = static_cast<int>(0xFFFFFFF0);

const LimitRow LIMIT_ROWS[] = {
    {{"SignedAtMinimum"}, true, -10, 10, "F6 FF FF FF", true},
    {{"SignedBelowMinimum"}, true, -10, 10, "F5 FF FF FF", false},
    {{"SignedAtMaximum"}, true, -10, 10, "0A 00 00 00", true},
    {{"SignedAboveMaximum"}, true, -10, 10, "0B 00 00 00", false},
    {{"UnsignedAtMinimum"}, false, 5, 10, "05 00 00 00", true},
    {{"UnsignedBelowMinimum"}, false, 5, 10, "04 00 00 00", false},
    {{"UnsignedAtMaximum"}, false, 5, 10, "0A 00 00 00", true},
    {{"UnsignedAboveMaximum"}, false, 5, 10, "0B 00 00 00", false},
    {{"UpperHalfAtMinimum"}, false, HALF, ALMOST_ALL, "00 00 00 80", true},
    {{"UpperHalfBelowMinimum"}, false, HALF, ALMOST_ALL, "FF FF FF 7F", false},
    {{"UpperHalfAtMaximum"}, false, HALF, ALMOST_ALL, "F0 FF FF FF", true},
    {{"UpperHalfAboveMaximum"}, false, HALF, ALMOST_ALL, "F1 FF FF FF", false},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedDownloadLimit, ::testing::ValuesIn(LIMIT_ROWS), test::caseName<LimitRow>);

TEST_F(ExpeditedDownload, LimitsDoNotHoldForAVariableOfAnotherOwner) {
  addObject(0x2001, 1, KQ::DATA_TYPE_UNSIGNED8);
  node.dictionary().setLimits(0x2001, 1, -128, 127);
  EXPECT_EQ(CONFIRMED, request("2F 01 20 01 C8 00 00 00"));
  EXPECT_EQ(200, stored(0x2001, 1));
}

struct AccessRow : test::NamedCase {
  KQ::KQCANopenAccessType accessType;
  int accessMode;  // of the variable that leads to it; -1: none does
  bool writable;
};

class ExpeditedDownloadAccess : public ExpeditedDownload, public ::testing::WithParamInterface<AccessRow> {
protected:
  void expectAnswer() {
    const Frames answer = request("2B 01 20 01 34 12 00 00");
    EXPECT_EQ(GetParam().writable ? CONFIRMED : Frames{"585#80 01 20 01 02 00 01 06"}, answer);
    EXPECT_EQ(GetParam().writable ? 0x1234 : 0, stored(0x2001, 1));
  }
};

TEST_P(ExpeditedDownloadAccess, HoldsForAVariableOfAnotherOwner) {
  addObject(0x2001, 1, KQ::DATA_TYPE_UNSIGNED16, GetParam().accessType);
  expectAnswer();
}

TEST_P(ExpeditedDownloadAccess, HoldsForAnOwnVariable) {
  addOwnNumber(0x2001, 1, 16, false, GetParam().accessMode < 0 ? 0 : GetParam().accessMode);
  node.dictionary().getSubentry(0x2001, 1)->accessType = GetParam().accessType;
  expectAnswer();
}

const AccessRow ACCESS_ROWS[] = {
    {{"ReadOnly"}, KQ::ACCESS_RO, 2, false},        {{"WriteOnly"}, KQ::ACCESS_WO, 1, true},
    {{"ReadWrite"}, KQ::ACCESS_RW, 0, true},        {{"ReceiveMapped"}, KQ::ACCESS_RWW, -1, true},
    {{"TransmitMapped"}, KQ::ACCESS_RWR, -1, true}, {{"Constant"}, KQ::ACCESS_CONST, 3, false},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedDownloadAccess, ::testing::ValuesIn(ACCESS_ROWS), test::caseName<AccessRow>);

// ---- strings

struct TextRow : test::NamedCase {
  const char* request;
  std::string text;
};

class ExpeditedDownloadOfText : public ExpeditedDownload, public ::testing::WithParamInterface<TextRow> {};

TEST_P(ExpeditedDownloadOfText, TakesTheIndicatedBytes) {
  addOwnText(0x2001, 1, "before");
  EXPECT_EQ(CONFIRMED, request(GetParam().request));
  EXPECT_EQ(GetParam().text, storedText(0x2001, 1));
}

const TextRow TEXT_ROWS[] = {
    {{"Bytes1"}, "2F 01 20 01 61 62 63 64", "a"},
    {{"Bytes2"}, "2B 01 20 01 61 62 63 64", "ab"},
    {{"Bytes3"}, "27 01 20 01 61 62 63 64", "abc"},
    {{"Bytes4"}, "23 01 20 01 61 62 63 64", "abcd"},
    {{"SizeNotIndicated"}, "22 01 20 01 61 62 63 64", "abcd"},
    {{"UnusedBytesCountOnlyWithIndicatedSize"}, "2E 01 20 01 61 62 63 64", "abcd"},
    {{"ZeroBytesBelongToTheText"}, "23 01 20 01 61 00 62 00", std::string("a\0b\0", 4)},
    {{"HighBytes"}, "2B 01 20 01 FF 80 00 00", "\xFF\x80"},
};

INSTANTIATE_TEST_SUITE_P(Table, ExpeditedDownloadOfText, ::testing::ValuesIn(TEXT_ROWS), test::caseName<TextRow>);

TEST_F(ExpeditedDownload, ReadOnlyTextVariableIsWrittenAllTheSame) {
  addOwnText(0x2001, 1, "before", /*read only*/ 2);
  EXPECT_EQ(CONFIRMED, request("23 01 20 01 61 62 63 64"));
  EXPECT_EQ("abcd", storedText(0x2001, 1));
}

TEST_F(ExpeditedDownload, TextOfAnotherOwnerIsWritten) {
  addObject(0x2001, 1, KQ::DATA_TYPE_VISIBLE_STRING);
  EXPECT_EQ(CONFIRMED, request("2F 01 20 01 7A 00 00 00"));
  EXPECT_EQ("z", storedText(0x2001, 1));
}

// ---- result of the write

struct WriteRow : test::NamedCase {
  const char* request;
  const char* answer;
};

class CommunicationObjectDownload : public ExpeditedDownload, public ::testing::WithParamInterface<WriteRow> {
protected:
  CommunicationObjectDownload() {
    KQ::KQCANopenObjectDictionary& dictionary = node.dictionary();
    for (const unsigned short index : {std::uint16_t{0x1400}, std::uint16_t{0x1600}}) {
      dictionary.addEntry(index, KQ::OBJECT_TYPE_RECORD, "receive PDO");
      for (unsigned char subIndex = 0; subIndex <= 3; ++subIndex) {
        dictionary.addSubentry(index, subIndex, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
      }
    }
  }
};

TEST_P(CommunicationObjectDownload, IsAnsweredByItsRule) {
  EXPECT_EQ(Frames{GetParam().answer}, request(GetParam().request));
}

const WriteRow WRITE_ROWS[] = {
    {{"DeviceType"}, "23 00 10 00 01 00 00 00", "585#80 00 10 00 00 00 00 08"},
    {{"ErrorRegister"}, "2F 01 10 00 01 00 00 00", "585#80 01 10 00 00 00 00 08"},
    {{"ErrorHistory"}, "2F 03 10 00 00 00 00 00", "585#80 03 10 00 00 00 00 08"},
    {{"SyncCobID"}, "23 05 10 00 81 00 00 00", "585#60 05 10 00 00 00 00 00"},
    {{"SyncCobIDBelowItsLimit"}, "23 05 10 00 00 00 00 00", "585#80 05 10 00 00 00 00 08"},
    {{"DeviceName"}, "23 08 10 00 61 62 63 64", "585#80 08 10 00 00 00 00 08"},
    {{"SaveWithWrongSignature"}, "23 10 10 01 73 61 76 66", "585#80 10 10 01 23 00 00 08"},
    {{"SaveWithSignature"}, "23 10 10 01 73 61 76 65", "585#60 10 10 01 00 00 00 00"},
    {{"SaveApplicationParameters"}, "23 10 10 03 73 61 76 65", "585#80 10 10 03 00 00 00 08"},
    {{"RestoreDefaults"}, "23 11 10 01 6C 6F 61 64", "585#80 11 10 01 00 00 00 08"},
    {{"TimeStampCobID"}, "23 12 10 00 01 01 00 00", "585#60 12 10 00 00 00 00 00"},
    {{"TimeStampCobIDWithBit29"}, "23 12 10 00 00 01 00 20", "585#80 12 10 00 30 00 09 06"},
    {{"TimeStampCobIDWithBit30"}, "23 12 10 00 00 01 00 40", "585#80 12 10 00 30 00 09 06"},
    {{"HeartbeatConsumerAtLimit"}, "23 16 10 01 FF FF 7F 00", "585#60 16 10 01 00 00 00 00"},
    {{"HeartbeatConsumerAboveLimit"}, "23 16 10 01 00 00 80 00", "585#80 16 10 01 00 00 00 08"},
    {{"HeartbeatProducer"}, "2B 17 10 00 E8 03 00 00", "585#60 17 10 00 00 00 00 00"},
    {{"VendorID"}, "23 18 10 01 01 00 00 00", "585#80 18 10 01 00 00 00 08"},
    {{"DefaultServerChannel"}, "23 00 12 01 05 06 00 00", "585#80 00 12 01 00 00 00 08"},
    {{"MappingCount"}, "2F 00 16 00 00 00 00 00", "585#80 00 16 00 02 00 01 06"},
    {{"MappingEntry"}, "2F 00 16 01 00 00 00 00", "585#80 00 16 01 00 00 01 06"},
    {{"TransmissionTypeBelowReserved"}, "2F 00 14 02 F0 00 00 00", "585#60 00 14 02 00 00 00 00"},
    {{"TransmissionTypeFirstReserved"}, "2F 00 14 02 F1 00 00 00", "585#80 00 14 02 30 00 09 06"},
    {{"TransmissionTypeLastReserved"}, "2F 00 14 02 FB 00 00 00", "585#80 00 14 02 30 00 09 06"},
    {{"TransmissionTypeAboveReserved"}, "2F 00 14 02 FC 00 00 00", "585#60 00 14 02 00 00 00 00"},
    {{"InhibitTimeOfReceivePDO"}, "2F 00 14 03 01 00 00 00", "585#80 00 14 03 31 00 09 06"},
    {{"DataTypeEntry"}, "2F 05 00 00 01 00 00 00", "585#80 05 00 00 00 00 00 08"},
};

INSTANTIATE_TEST_SUITE_P(Table, CommunicationObjectDownload, ::testing::ValuesIn(WRITE_ROWS), test::caseName<WriteRow>);

TEST_F(ExpeditedDownload, FailedSaveIsAnAccessErrorByHardware) {
  std::filesystem::create_directory("tavo.dcf");
  EXPECT_EQ(Frames{"585#80 10 10 01 00 00 06 06"}, request("23 10 10 01 73 61 76 65"));
}

TEST_F(ExpeditedDownload, HeartbeatTimeBeyondSixteenBitsIsTooLong) {
  node.dictionary().getSubentry(0x1017, 0)->dataType = KQ::DATA_TYPE_UNSIGNED32;
  node.dictionary().setLimits(0x1017, 0, 0, 0x7FFFFFFF);
  EXPECT_EQ(Frames{"585#60 17 10 00 00 00 00 00"}, request("23 17 10 00 FF FF 00 00"));
  EXPECT_EQ(Frames{"585#80 17 10 00 12 00 07 06"}, request("23 17 10 00 00 00 01 00"));
}

TEST_F(ExpeditedDownload, TextWithoutVariableIsAGeneralError) {
  addObjectWithoutVariable(0x2001, 1, KQ::DATA_TYPE_VISIBLE_STRING);
  EXPECT_EQ(Frames{"585#80 01 20 01 00 00 00 08"}, request("23 01 20 01 61 62 63 64"));
}

TEST_F(ExpeditedDownload, AnswerGoesToTheChannelOfTheRequest) {
  addOwnNumber(0x2001, 1, 16, false);
  addChannel(0x1201, 0x612, 0x592);
  EXPECT_EQ(Frames{"592#60 01 20 01 00 00 00 00"}, node.receive("612#2B 01 20 01 34 12 00 00"));
  EXPECT_EQ(Frames{"592#80 01 20 01 30 00 09 06"}, node.receive("612#2F 01 20 01 34 12 00 00"));
}

TEST_F(ExpeditedDownload, ResultIsThatOfTheWrite) {
  addOwnNumber(0x2001, 1, 16, false);
  EXPECT_EQ(KQ::KQ_OK, download(true, 2, 0x34, 0x12));
}

TEST_F(ExpeditedDownload, ResultForUnknownObject) {
  EXPECT_EQ(KQ::KQ_NOT_FOUND, download(true, 2, 0x34, 0x12));
}

TEST_F(ExpeditedDownload, ResultForWrongSize) {
  addOwnNumber(0x2001, 1, 16, false);
  EXPECT_EQ(1, download(true, 3, 0x34));
}

TEST_F(ExpeditedDownload, ResultForTooLongType) {
  addObject(0x2001, 1, KQ::DATA_TYPE_UNSIGNED64);
  EXPECT_EQ(1, download(false, 0, 0x34));
}

TEST_F(ExpeditedDownload, ResultForValueThatDoesNotFit) {
  addOwnNumber(0x2001, 1, 1, false);
  EXPECT_EQ(0x06090030, download(true, 3, 2));
}

TEST_F(ExpeditedDownload, ResultForReadOnlyObject) {
  addOwnNumber(0x2001, 1, 16, false, /*read only*/ 2);
  EXPECT_EQ(0x06010002, download(true, 2, 0x34, 0x12));
}

TEST_F(ExpeditedDownload, LostAnswerLeavesTheValueWritten) {
  addOwnNumber(0x2001, 1, 16, false);
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, request("2B 01 20 01 34 12 00 00"));
  EXPECT_EQ(0x1234, stored(0x2001, 1));
}

}  // namespace
