// Covers: KQCANMappingObject and KQCANMappingData: the values in a frame.
//
// | subject        | functional                                    | robustness                                     |
// |----------------|-----------------------------------------------|------------------------------------------------|
// | attributes     | data length, transmit type, cycle time,       |                                                |
// |                | records, keys                                 |                                                |
// | addMappingData |                                               | impossible positions and scaling, records that |
// |                |                                               | are never moved                                |
// | packing        | aligned, shifted, bit fields, wider than 32   | short data                                     |
// |                | bits, neighbours                              |                                                |
// | unpacking      | the same, sign and zero extension, texts      | short and empty frames, null                   |
// | limits         | checkRawValue from both sides, applied only   |                                                |
// |                | when asked for                                |                                                |
// | scaling        | both directions, rounding                     | what exceeds the range                         |
// | destinations   | variable store with and without owner, tag,   |                                                |
// |                | listener                                      |                                                |
// | all together   | random records and frames against a reference | overlapping records of any width               |
// |                | that moves bit by bit                         |                                                |

#include "KQCANMappingObject.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "KQCANMessage.h"
#include "KQDEI.h"
#include "OwnerRecorder.h"
#include "SignalRecorder.h"
#include "TestSeed.h"

namespace KQ {
namespace {

using Bytes = std::array<unsigned char, 8>;

constexpr unsigned int KEY = 0x20010003U;
constexpr unsigned int ALL_BITS = 0xFFFFFFFFU;

// Keeps what was unpacked, in order.
class RecordingObject : public KQCANMappingObject {
public:
  explicit RecordingObject(unsigned int dataLength = 8)
      : KQCANMappingObject(dataLength, TRANSMIT_RECEIVE, 0, 0, 1, true, 0, false, 0) {}

  int handleExtractedValue(unsigned int valueKey, int value, KQDEI*, KQVariableOwner*, int tag) const override {
    integers.emplace_back(valueKey, value);
    lastTag = tag;
    return answer;
  }
  int handleExtractedValue(unsigned int valueKey, const std::string& value, KQDEI*, KQVariableOwner*,
                           int tag) const override {
    texts.emplace_back(valueKey, value);
    lastTag = tag;
    return answer;
  }

  mutable std::vector<std::pair<unsigned int, int>> integers;
  mutable std::vector<std::pair<unsigned int, std::string>> texts;
  mutable int lastTag{-1};
  int answer{0};
};

int addPlain(KQCANMappingObject& object, int byte, unsigned int bit, unsigned int length, bool isSigned,
             unsigned int recordKey = KEY, KQVariableStorageType type = STORAGE_TYPE_INTEGER) {
  return object.addMappingData(byte, bit, length, recordKey, type, isSigned, 0, nullptr, ALL_BITS, nullptr, 0.0F, 0.0F,
                               1.0F, 0, nullptr, false);
}

KQCANMessage frameOf(const Bytes& bytes, unsigned int length = 8) {
  KQCANMessage message;
  std::copy(bytes.begin(), bytes.end(), message.data);
  message.length = length;
  return message;
}

TEST(MappingObject, KeepsWhatItWasMadeWith) {
  const KQCANMappingObject object(5, TRANSMIT_ON_CHANGE_AND_TIMER, 0, 1000, 1, true, 0, false, 0);
  EXPECT_EQ(5U, object.getDataLength());
  EXPECT_EQ(0x5U, object.getTransmitType());
  EXPECT_EQ(1000U, object.getCycleTime());
  EXPECT_TRUE(object.getMappingData().empty());
  EXPECT_TRUE(object.getMappedKeys().empty());
}

TEST(MappingObject, ListsRecordsInOrderAndKeysOnce) {
  RecordingObject object;
  addPlain(object, 0, 0, 16, false, 0x20010003U);
  addPlain(object, 2, 0, 8, true, 0x00050000U);
  addPlain(object, 3, 0, 8, false, 0x20010003U);
  ASSERT_EQ(3U, object.getMappingData().size());
  EXPECT_EQ(0x20010003U, object.getMappingData()[0]->getKey());
  EXPECT_EQ(0x00050000U, object.getMappingData()[1]->getKey());
  EXPECT_TRUE(object.getMappingData()[1]->isSigned());
  EXPECT_EQ(24U, object.getMappingData()[2]->getStartBit());
  EXPECT_EQ((std::vector<unsigned int>{0x00050000U, 0x20010003U}), object.getMappedKeys());
}

TEST(MappingObject, TransmitTypesHaveTheirNumbers) {
  EXPECT_EQ(0x1U, TRANSMIT_ON_CHANGE);
  EXPECT_EQ(0x8U, TRANSMIT_ON_REQUEST);
  EXPECT_EQ(0x10000U, TRANSMIT_RECEIVE);
}

TEST(MappingData, NegativeBytePositionIsRefused) {
  RecordingObject object;
  EXPECT_EQ(20, addPlain(object, -1, 8, 8, false));
  EXPECT_TRUE(object.getMappingData().empty());
  EXPECT_TRUE(object.getMappedKeys().empty());
}

struct ScalingCase {
  float rawOffset, valueOffset, factor;
};

class ImpossibleScaling : public testing::TestWithParam<ScalingCase> {};

TEST_P(ImpossibleScaling, IsRefused) {
  RecordingObject object;
  EXPECT_EQ(20,
            object.addMappingData(0, 0, 8, KEY, STORAGE_TYPE_INTEGER, false, 0, nullptr, ALL_BITS, nullptr,
                                  GetParam().rawOffset, GetParam().valueOffset, GetParam().factor, 0, nullptr, false));
  EXPECT_TRUE(object.getMappingData().empty());
}

constexpr float INFINITE = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(Numbers, ImpossibleScaling,
                         testing::Values(ScalingCase{0, 0, 0}, ScalingCase{0, 0, INFINITE},
                                         ScalingCase{0, 0, NOT_A_NUMBER}, ScalingCase{INFINITE, 0, 1},
                                         ScalingCase{0, NOT_A_NUMBER, 1}));

struct PlaceCase {
  const char* name;
  int byte;
  unsigned int bit;
  unsigned int length;
  bool isSigned;
  int value;      // as the dictionary holds it
  Bytes onZeros;  // packed into a frame of zeros
  Bytes onOnes;   // packed into a frame of ones
  int unpacked;   // what comes back
};

class Place : public testing::TestWithParam<PlaceCase> {
protected:
  Place() { addPlain(object, GetParam().byte, GetParam().bit, GetParam().length, GetParam().isSigned); }

  Bytes packedInto(Bytes data) const {
    unsigned int cursor = 0;
    EXPECT_EQ(0, object.addSingleMappingDataToCANMsgData(data.data(), 8, cursor, GetParam().value,
                                                         object.getMappingData().front().get(), false));
    EXPECT_EQ(8U * static_cast<unsigned int>(GetParam().byte) + GetParam().bit + GetParam().length, cursor);
    return data;
  }

  RecordingObject object;
};

constexpr Bytes ONES{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

TEST_P(Place, TakesTheValueAmongZeros) {
  EXPECT_EQ(GetParam().onZeros, packedInto(Bytes{}));
}

TEST_P(Place, TakesTheValueAmongOnes) {
  EXPECT_EQ(GetParam().onOnes, packedInto(ONES));
}

TEST_P(Place, GivesTheValueBack) {
  for (const Bytes& bytes : {GetParam().onZeros, GetParam().onOnes}) {
    KQCANMessage message = frameOf(bytes);
    object.integers.clear();
    EXPECT_EQ(0, object.extractMappedValues(&message, nullptr, nullptr, false));
    ASSERT_EQ(1U, object.integers.size());
    EXPECT_EQ(KEY, object.integers.front().first);
    EXPECT_EQ(GetParam().unpacked, object.integers.front().second);
  }
}

const PlaceCase places[] = {
    {"Byte", 3, 0, 8, false, 0xA5, {0, 0, 0, 0xA5}, {0xFF, 0xFF, 0xFF, 0xA5, 0xFF, 0xFF, 0xFF, 0xFF}, 0xA5},
    {"ByteOfATooLargeValue", 0, 0, 8, false, 0x1234, {0x34}, {0x34, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 0x34},
    {"SignedByte",
     7,
     0,
     8,
     true,
     -2,
     {0, 0, 0, 0, 0, 0, 0, 0xFE},
     {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE},
     -2},
    {"Word", 2, 0, 16, false, 0xFEDC, {0, 0, 0xDC, 0xFE}, {0xFF, 0xFF, 0xDC, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF}, 0xFEDC},
    {"SignedWord",
     6,
     0,
     16,
     true,
     -32768,
     {0, 0, 0, 0, 0, 0, 0, 0x80},
     {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0x80},
     -32768},
    {"WordByBitPosition",
     0,
     16,
     16,
     false,
     0x1234,
     {0, 0, 0x34, 0x12},
     {0xFF, 0xFF, 0x34, 0x12, 0xFF, 0xFF, 0xFF, 0xFF},
     0x1234},
    {"ThreeBytes",
     1,
     0,
     24,
     false,
     0x123456,
     {0, 0x56, 0x34, 0x12},
     {0xFF, 0x56, 0x34, 0x12, 0xFF, 0xFF, 0xFF, 0xFF},
     0x123456},
    {"SignedThreeBytes",
     1,
     0,
     24,
     true,
     -2,
     {0, 0xFE, 0xFF, 0xFF},
     {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
     -2},
    {"DoubleWord",
     4,
     0,
     32,
     false,
     -2,
     {0, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF},
     {0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF},
     -2},
    {"LowestBit", 0, 0, 1, false, 1, {0x01}, ONES, 1},
    {"HighestBit", 7, 7, 1, false, 0, {}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, 0},
    {"SignedBit", 1, 4, 1, true, -1, {0, 0x10}, ONES, -1},
    {"NibbleOverAByteBoundary",
     0,
     6,
     4,
     false,
     0x9,
     {0x40, 0x02},
     {0x7F, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
     0x9},
    {"ShiftedByte", 0, 4, 8, false, 0xA5, {0x50, 0x0A}, {0x5F, 0xFA, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 0xA5},
    {"ShiftedWord", 1, 1, 16, true, -1, {0, 0xFE, 0xFF, 0x01}, ONES, -1},
    {"ShiftedDoubleWord",
     3,
     7,
     32,
     false,
     0x12345678,
     {0, 0, 0, 0, 0x3C, 0x2B, 0x1A, 0x09},
     {0xFF, 0xFF, 0xFF, 0x7F, 0x3C, 0x2B, 0x1A, 0x89},
     0x12345678},
    {"FortyBitsUnsigned",
     0,
     0,
     40,
     false,
     -2,
     {0xFE, 0xFF, 0xFF, 0xFF, 0},
     {0xFE, 0xFF, 0xFF, 0xFF, 0, 0xFF, 0xFF, 0xFF},
     -2},
    {"FortyBitsSigned",
     0,
     0,
     40,
     true,
     -2,
     {0xFE, 0xFF, 0xFF, 0xFF, 0xFF},
     {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
     -2},
    {"SixtyFourBitsUnsigned", 0, 0, 64, false, 7, {7}, {7}, 7},
    {"SixtyFourBitsSigned",
     0,
     0,
     64,
     true,
     -7,
     {0xF9, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
     {0xF9, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
     -7},
    {"SixtyThreeBitsBehindOne", 0, 1, 63, true, -1, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, ONES, -1},
};

INSTANTIATE_TEST_SUITE_P(Values, Place, testing::ValuesIn(places),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Packing, RefusesNull) {
  RecordingObject object;
  addPlain(object, 0, 0, 8, false);
  Bytes data{};
  unsigned int cursor = 3;
  EXPECT_EQ(
      20, object.addSingleMappingDataToCANMsgData(nullptr, 8, cursor, 1, object.getMappingData().front().get(), false));
  EXPECT_EQ(20, object.addSingleMappingDataToCANMsgData(data.data(), 8, cursor, 1, nullptr, false));
  EXPECT_EQ(3U, cursor);
}

TEST(Packing, RecordInTheLastBytesFits) {
  RecordingObject object;
  addPlain(object, 1, 0, 16, false);
  Bytes data{};
  unsigned int cursor = 0;
  EXPECT_EQ(0, object.addSingleMappingDataToCANMsgData(data.data(), 3, cursor, 0x1234,
                                                       object.getMappingData().front().get(), false));
  EXPECT_EQ((Bytes{0, 0x34, 0x12}), data);
}

struct ImmovableCase {
  const char* name;
  int byte;
  unsigned int bit;
  unsigned int length;
  KQVariableStorageType type;
  unsigned int frameLength;
};

class Immovable : public testing::TestWithParam<ImmovableCase> {
protected:
  Immovable() {
    EXPECT_EQ(0, addPlain(object, GetParam().byte, GetParam().bit, GetParam().length, false, KEY, GetParam().type));
  }
  RecordingObject object;
};

TEST_P(Immovable, IsListedAllTheSame) {
  EXPECT_EQ(1U, object.getMappingData().size());
  EXPECT_EQ(std::vector<unsigned int>{KEY}, object.getMappedKeys());
}

TEST_P(Immovable, IsNotPacked) {
  Bytes data{};
  unsigned int cursor = 0;
  EXPECT_EQ(24, object.addSingleMappingDataToCANMsgData(data.data(), GetParam().frameLength, cursor, -1,
                                                        object.getMappingData().front().get(), false));
  EXPECT_EQ(Bytes{}, data);
  EXPECT_EQ(0U, cursor);
}

TEST_P(Immovable, IsNotUnpacked) {
  KQCANMessage message = frameOf(ONES, GetParam().frameLength);
  EXPECT_EQ(0, object.extractMappedValues(&message, nullptr, nullptr, false));
  EXPECT_TRUE(object.integers.empty());
  EXPECT_TRUE(object.texts.empty());
}

constexpr int FAR_BYTE = std::numeric_limits<int>::max();

INSTANTIATE_TEST_SUITE_P(Records, Immovable,
                         testing::Values(ImmovableCase{"WithoutBits", 0, 0, 0, STORAGE_TYPE_INTEGER, 8},
                                         ImmovableCase{"SixtyFiveBits", 0, 0, 65, STORAGE_TYPE_INTEGER, 8},
                                         ImmovableCase{"LongestOfAMappingEntry", 0, 0, 255, STORAGE_TYPE_INTEGER, 8},
                                         ImmovableCase{"LongestOfAll", 0, 0, ALL_BITS, STORAGE_TYPE_INTEGER, 8},
                                         ImmovableCase{"EndsBehindTheFrame", 7, 1, 8, STORAGE_TYPE_INTEGER, 8},
                                         ImmovableCase{"StartsBehindTheFrame", 8, 0, 1, STORAGE_TYPE_INTEGER, 8},
                                         ImmovableCase{"StartsFarBehindTheFrame", FAR_BYTE, ALL_BITS, 8,
                                                       STORAGE_TYPE_INTEGER, ALL_BITS},
                                         ImmovableCase{"EndsBehindAShortFrame", 1, 0, 16, STORAGE_TYPE_INTEGER, 2},
                                         ImmovableCase{"EndsOneBitBehindAShortFrame", 1, 1, 8, STORAGE_TYPE_INTEGER, 2},
                                         ImmovableCase{"StartsBehindAShortFrame", 2, 0, 8, STORAGE_TYPE_INTEGER, 2},
                                         ImmovableCase{"EmptyFrame", 0, 0, 1, STORAGE_TYPE_INTEGER, 0},
                                         ImmovableCase{"ShiftedText", 0, 1, 16, STORAGE_TYPE_STRING, 8},
                                         ImmovableCase{"TextOfBrokenBytes", 0, 0, 12, STORAGE_TYPE_STRING, 8}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Unpacking, RefusesNull) {
  RecordingObject object;
  addPlain(object, 0, 0, 8, false);
  EXPECT_EQ(20, object.extractMappedValues(nullptr, nullptr, nullptr, false));
}

TEST(Unpacking, HandsValuesOverInOrder) {
  RecordingObject object;
  addPlain(object, 0, 0, 16, false, 0x20010001U);
  addPlain(object, 2, 0, 8, true, 0x20010002U);
  addPlain(object, 3, 0, 4, false, 0x20010003U);
  addPlain(object, 3, 4, 4, true, 0x20010004U);
  KQCANMessage message = frameOf({0x34, 0x12, 0xFF, 0x8F}, 4);
  EXPECT_EQ(0, object.extractMappedValues(&message, nullptr, nullptr, false));
  const std::vector<std::pair<unsigned int, int>> expected{
      {0x20010001U, 0x1234}, {0x20010002U, -1}, {0x20010003U, 15}, {0x20010004U, -8}};
  EXPECT_EQ(expected, object.integers);
}

TEST(Unpacking, ShortFrameIsAppliedAsFarAsItReaches) {
  RecordingObject object;
  addPlain(object, 0, 0, 16, false, 0x20010001U);
  addPlain(object, 2, 0, 16, false, 0x20010002U);
  addPlain(object, 4, 0, 8, false, 0x20010003U);
  KQCANMessage message = frameOf({0x34, 0x12, 0x78, 0x56, 0x9A}, 3);
  EXPECT_EQ(0, object.extractMappedValues(&message, nullptr, nullptr, false));
  EXPECT_EQ((std::vector<std::pair<unsigned int, int>>{{0x20010001U, 0x1234}}), object.integers);
}

TEST(Unpacking, LengthBeyondEightBytesReadsNoFurther) {
  RecordingObject object;
  addPlain(object, 7, 0, 8, false);
  KQCANMessage message = frameOf({0, 0, 0, 0, 0, 0, 0, 0x77}, ALL_BITS);
  EXPECT_EQ(0, object.extractMappedValues(&message, nullptr, nullptr, false));
  EXPECT_EQ((std::vector<std::pair<unsigned int, int>>{{KEY, 0x77}}), object.integers);
}

TEST(Unpacking, RefusedValueDoesNotHoldTheOthersUp) {
  RecordingObject object;
  object.answer = 0x06010002;
  addPlain(object, 0, 0, 8, false);
  addPlain(object, 1, 0, 8, false);
  KQCANMessage message = frameOf({1, 2});
  EXPECT_EQ(0, object.extractMappedValues(&message, nullptr, nullptr, false));
  EXPECT_EQ(2U, object.integers.size());
}

TEST(Unpacking, TextIsHandedOverAsItsBytes) {
  RecordingObject object;
  addPlain(object, 1, 0, 32, false, KEY, STORAGE_TYPE_STRING);
  KQCANMessage message = frameOf({0, 'a', 'b', 0, 'c', 'd'});
  EXPECT_EQ(0, object.extractMappedValues(&message, nullptr, nullptr, false));
  EXPECT_TRUE(object.integers.empty());
  const std::vector<std::pair<unsigned int, std::string>> expected{{KEY, std::string("ab\0c", 4)}};
  EXPECT_EQ(expected, object.texts);
}

TEST(Packing, TextIsLeftAlone) {
  RecordingObject object;
  addPlain(object, 0, 0, 32, false, KEY, STORAGE_TYPE_STRING);
  Bytes data = ONES;
  unsigned int cursor = 0;
  EXPECT_EQ(24, object.addSingleMappingDataToCANMsgData(data.data(), 8, cursor, 0,
                                                        object.getMappingData().front().get(), false));
  EXPECT_EQ(ONES, data);
}

class RawLimits : public testing::Test {
protected:
  RawLimits() {
    object.addMappingData(0, 0, 8, KEY, STORAGE_TYPE_INTEGER, true, 10, nullptr, 250, nullptr, 0.0F, 0.0F, 1.0F, 0,
                          nullptr, false);
    unsigned char lowest[] = "bb";
    unsigned char highest[] = "dd";
    object.addMappingData(1, 0, 16, KEY, STORAGE_TYPE_STRING, false, 0, lowest, ALL_BITS, highest, 0.0F, 0.0F, 1.0F, 0,
                          nullptr, false);
  }
  KQCANMappingData* integer() const { return object.getMappingData()[0].get(); }
  KQCANMappingData* text() const { return object.getMappingData()[1].get(); }

  RecordingObject object;
};

TEST_F(RawLimits, BoundIntegersFromBothSides) {
  EXPECT_EQ(20, object.checkRawValue(9U, integer()));
  EXPECT_EQ(0, object.checkRawValue(10U, integer()));
  EXPECT_EQ(0, object.checkRawValue(250U, integer()));
  EXPECT_EQ(20, object.checkRawValue(251U, integer()));
}

TEST_F(RawLimits, BoundTextsFromBothSides) {
  EXPECT_EQ(20, object.checkRawValue(std::string("ba"), text()));
  EXPECT_EQ(0, object.checkRawValue(std::string("bb"), text()));
  EXPECT_EQ(0, object.checkRawValue(std::string("dd"), text()));
  EXPECT_EQ(20, object.checkRawValue(std::string("de"), text()));
}

TEST_F(RawLimits, TextWithoutLimitsIsNotBounded) {
  EXPECT_EQ(0, object.checkRawValue(std::string(), integer()));
  EXPECT_EQ(0, object.checkRawValue(std::string("zz"), integer()));
}

TEST_F(RawLimits, CheckRefusesNull) {
  EXPECT_EQ(20, object.checkRawValue(10U, nullptr));
  EXPECT_EQ(20, object.checkRawValue(std::string("bb"), nullptr));
}

TEST_F(RawLimits, ApplyToAFrameOnlyWhenAskedFor) {
  KQCANMessage message = frameOf({9, 'a', 'a'});
  object.extractMappedValues(&message, nullptr, nullptr, true);
  EXPECT_TRUE(object.integers.empty());
  EXPECT_TRUE(object.texts.empty());
  object.extractMappedValues(&message, nullptr, nullptr, false);
  EXPECT_EQ(1U, object.integers.size());
  EXPECT_EQ(1U, object.texts.size());
}

TEST_F(RawLimits, LetAFrameWithinThemPass) {
  KQCANMessage message = frameOf({0xF0, 'b', 'c'});
  object.extractMappedValues(&message, nullptr, nullptr, true);
  EXPECT_EQ((std::vector<std::pair<unsigned int, int>>{{KEY, -16}}), object.integers);
  EXPECT_EQ(1U, object.texts.size());
}

TEST_F(RawLimits, ApplyToAPackedValueOnlyWhenAskedFor) {
  Bytes data{};
  unsigned int cursor = 0;
  EXPECT_EQ(20, object.addSingleMappingDataToCANMsgData(data.data(), 8, cursor, 9, integer(), true));
  EXPECT_EQ(Bytes{}, data);
  EXPECT_EQ(0, object.addSingleMappingDataToCANMsgData(data.data(), 8, cursor, -16, integer(), true));
  EXPECT_EQ(Bytes{0xF0}, data);
  EXPECT_EQ(0, object.addSingleMappingDataToCANMsgData(data.data(), 8, cursor, 9, integer(), false));
  EXPECT_EQ(Bytes{9}, data);
}

struct ScaledCase {
  const char* name;
  unsigned int length;
  bool isSigned;
  float rawOffset, valueOffset, factor;
  int value;
  Bytes packed;
  int unpacked;
};

class Scaled : public testing::TestWithParam<ScaledCase> {
protected:
  Scaled() {
    object.addMappingData(1, 0, GetParam().length, KEY, STORAGE_TYPE_INTEGER, GetParam().isSigned, 0, nullptr, ALL_BITS,
                          nullptr, GetParam().rawOffset, GetParam().valueOffset, GetParam().factor, 0, nullptr, false);
  }
  RecordingObject object;
};

TEST_P(Scaled, IsPackedAsItsRawValue) {
  Bytes data{};
  unsigned int cursor = 0;
  EXPECT_EQ(0, object.addSingleMappingDataToCANMsgData(data.data(), 8, cursor, GetParam().value,
                                                       object.getMappingData().front().get(), false));
  EXPECT_EQ(GetParam().packed, data);
}

TEST_P(Scaled, IsUnpackedFromItsRawValue) {
  KQCANMessage message = frameOf(GetParam().packed);
  object.extractMappedValues(&message, nullptr, nullptr, false);
  EXPECT_EQ((std::vector<std::pair<unsigned int, int>>{{KEY, GetParam().unpacked}}), object.integers);
}

constexpr int LARGEST = std::numeric_limits<int>::max();
constexpr int SMALLEST = std::numeric_limits<int>::min();

INSTANTIATE_TEST_SUITE_P(
    Values, Scaled,
    testing::Values(ScaledCase{"Factor", 8, false, 0, 0, 10, 120, {0, 12}, 120},
                    ScaledCase{"FactorRounds", 8, false, 0, 0, 10, 125, {0, 13}, 130},
                    ScaledCase{"FractionRounds", 8, false, 0, 0, 0.5F, 3, {0, 6}, 3},
                    ScaledCase{"NegativeFactor", 8, true, 0, 0, -2, 10, {0, 0xFB}, 10},
                    ScaledCase{"RawOffset", 8, false, -40, 0, 1, -40, {0, 0}, -40},
                    ScaledCase{"ValueOffset", 8, false, 0, 5, 2, 9, {0, 2}, 9},
                    ScaledCase{"AllThree", 16, true, 1, 3, 2, -195, {0, 0x9C, 0xFF}, -195},
                    ScaledCase{"TooLargeForTheBits", 8, false, 0, 0, 2, 1000, {0, 0xFF}, 510},
                    ScaledCase{"TooSmallForTheBits", 8, false, 0, 0, 2, -1000, {0, 0}, 0},
                    ScaledCase{"TooLargeForTheSignedBits", 8, true, 0, 0, 2, 1000, {0, 0x7F}, 254},
                    ScaledCase{"TooSmallForTheSignedBits", 8, true, 0, 0, 2, -1000, {0, 0x80}, -256},
                    ScaledCase{"LargestInteger", 32, true, 0, 0, 2, LARGEST, {0, 0, 0, 0, 0x40}, LARGEST},
                    ScaledCase{"SmallestInteger", 32, true, 0, 0, 2, SMALLEST, {0, 0, 0, 0, 0xC0}, SMALLEST}),
    [](const auto& row) { return std::string(row.param.name); });

class ToTheStore : public testing::Test {
protected:
  ToTheStore() {
    dei->clear();
    const KQVariable integer(0x2001, 3, "integer");
    dei->addVariable(&integer);
    const KQVariable text(0x2001, 4, "text", STORAGE_TYPE_STRING);
    dei->addVariable(&text);
    addPlain(object, 0, 0, 8, true, 0x20010003U);
    addPlain(object, 1, 0, 16, false, 0x20010004U, STORAGE_TYPE_STRING);
  }
  ~ToTheStore() override { dei->clear(); }

  int integer() const {
    int value = 0;
    dei->getVariableValue(0x2001, 3, &value);
    return value;
  }

  KQDEI* const dei{KQDEI::instance()};
  KQCANMappingObject object{8, TRANSMIT_RECEIVE, 0, 0, 1, true, 0, false, 0};
};

TEST_F(ToTheStore, ValuesOfAFrameAreWritten) {
  KQCANMessage message = frameOf({0xF9, 'o', 'k'});
  EXPECT_EQ(0, object.extractMappedValues(&message, dei, nullptr, false));
  EXPECT_EQ(-7, integer());
  std::string text;
  EXPECT_EQ(0, dei->getVariableValue(0x2001, 4, &text));
  EXPECT_EQ("ok", text);
}

TEST_F(ToTheStore, NullStoreIsRefused) {
  EXPECT_EQ(20, object.handleExtractedValue(0x20010003U, 1, nullptr, nullptr, 0));
  EXPECT_EQ(20, object.handleExtractedValue(0x20010004U, std::string("a"), nullptr, nullptr, 0));
}

TEST_F(ToTheStore, ResultOfTheStoreIsHandedBack) {
  EXPECT_EQ(23, object.handleExtractedValue(0x20010009U, 1, dei, nullptr, 0));
  EXPECT_EQ(20, object.handleExtractedValue(0x20010004U, 1, dei, nullptr, 0));
}

TEST_F(ToTheStore, OwnerWritesItsOwnVariablesOnly) {
  test::OwnerRecorder owner;
  EXPECT_EQ(30, object.handleExtractedValue(0x20010003U, 1, dei, &owner, 0));
  KQVariable owned(0x2001, 3, "integer");
  owned.setOwner(&owner);
  dei->addVariable(&owned);
  EXPECT_EQ(0, object.handleExtractedValue(0x20010003U, 1, dei, &owner, 0));
  EXPECT_EQ(1, integer());
}

class RecordOptions : public testing::TestWithParam<bool> {
protected:
  RecordOptions() {
    object.addMappingData(0, 0, 8, KEY, STORAGE_TYPE_INTEGER, true, 0, nullptr, ALL_BITS, nullptr, 0.0F, 0.0F, 1.0F, 55,
                          &listener, GetParam());
    object.addMappingData(1, 0, 8, 0x20010004U, STORAGE_TYPE_STRING, false, 0, nullptr, ALL_BITS, nullptr, 0.0F, 0.0F,
                          1.0F, 56, &listener, GetParam());
  }

  void receive() {
    KQCANMessage message = frameOf({0xFF, 'x'});
    object.extractMappedValues(&message, nullptr, nullptr, false);
  }

  test::SignalRecorder listener;
  RecordingObject object;
};

TEST_P(RecordOptions, TagGoesWithTheValue) {
  receive();
  EXPECT_EQ(56, object.lastTag);
}

TEST_P(RecordOptions, ListenerIsToldOfEachValue) {
  receive();
  ASSERT_EQ(2U, listener.signals.size());
  EXPECT_EQ(1100, listener.signals[0].getCode());
  EXPECT_EQ(KEY, listener.signals[0].getFirstValue());
  EXPECT_EQ(ALL_BITS, listener.signals[0].getSecondValue());
  EXPECT_EQ(1101, listener.signals[1].getCode());
  EXPECT_EQ(0x20010004U, listener.signals[1].getFirstValue());
}

TEST_P(RecordOptions, ListenerIsToldOfRefusedValuesUnlessItWantsOnlyAccepted) {
  object.answer = 20;
  receive();
  EXPECT_EQ(GetParam() ? 0U : 2U, listener.signals.size());
}

INSTANTIATE_TEST_SUITE_P(OnlyAccepted, RecordOptions, testing::Bool());

// Moves one bit after the other, as the words say it, and knows no masks.
class BitByBit {
public:
  static bool bitOf(const Bytes& bytes, unsigned int bit) { return (bytes[bit / 8] >> (bit % 8) & 1) != 0; }

  static void put(Bytes& bytes, unsigned int start, unsigned int length, bool isSigned, int value) {
    for (unsigned int bit = 0; bit < length; ++bit) {
      const bool isOne = bit < 32 ? (static_cast<std::uint32_t>(value) >> bit & 1U) != 0 : isSigned && value < 0;
      const auto mask = static_cast<unsigned char>(1U << ((start + bit) % 8));
      unsigned char& byte = bytes[(start + bit) / 8];
      byte = static_cast<unsigned char>(isOne ? byte | mask : byte & ~mask);
    }
  }

  static int get(const Bytes& bytes, unsigned int start, unsigned int length, bool isSigned) {
    std::uint32_t value = 0;
    for (unsigned int bit = 0; bit < 32; ++bit) {
      const bool isOne = bit < length ? bitOf(bytes, start + bit) : isSigned && bitOf(bytes, start + length - 1);
      value |= isOne ? std::uint32_t{1} << bit : 0U;
    }
    return static_cast<int>(value);
  }
};

TEST(MappingObject, MovesBitsLikeTheReference) {
  const std::uint32_t seed = test::chooseSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const auto number = [&](unsigned int bound) { return static_cast<unsigned int>(random()) % bound; };

  for (int round = 0; round < 20000; ++round) {
    const unsigned int length = 1 + number(64);
    const unsigned int start = number(65 - length);
    const unsigned int byte = number(start / 8 + 1);
    const bool isSigned = number(2) != 0;
    const auto value = static_cast<int>(static_cast<std::uint32_t>(random()));
    RecordingObject object;
    addPlain(object, static_cast<int>(byte), start - 8 * byte, length, isSigned);
    SCOPED_TRACE(testing::Message() << "start " << start << " length " << length << " signed " << isSigned);

    Bytes data{};
    std::generate(data.begin(), data.end(), [&] { return static_cast<unsigned char>(random()); });
    Bytes expected = data;
    KQCANMessage message = frameOf(data);
    object.extractMappedValues(&message, nullptr, nullptr, false);
    ASSERT_EQ(BitByBit::get(data, start, length, isSigned), object.integers.at(0).second);

    BitByBit::put(expected, start, length, isSigned, value);
    unsigned int cursor = 0;
    ASSERT_EQ(0, object.addSingleMappingDataToCANMsgData(data.data(), 8, cursor, value,
                                                         object.getMappingData().front().get(), false));
    ASSERT_EQ(expected, data);
  }
}

TEST(MappingObject, MovesOverlappingRecordsInTheirOrderLikeTheReference) {
  const std::uint32_t seed = test::chooseSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const auto number = [&](unsigned int bound) { return static_cast<unsigned int>(random()) % bound; };

  for (int round = 0; round < 5000; ++round) {
    RecordingObject object;
    Bytes data{};
    std::generate(data.begin(), data.end(), [&] { return static_cast<unsigned char>(random()); });
    Bytes expected = data;
    KQCANMessage message = frameOf(data);
    std::vector<std::pair<unsigned int, int>> unpacked;
    // Half of the records are wider than a value, and all of them together do not fit side by side.
    for (unsigned int i = 0; i < 6; ++i) {
      const unsigned int length = number(2) == 0 ? 1 + number(32) : 33 + number(32);
      const unsigned int start = number(65 - length);
      const bool isSigned = number(2) != 0;
      const auto value = static_cast<int>(static_cast<std::uint32_t>(random()));
      addPlain(object, static_cast<int>(start / 8), start % 8, length, isSigned, i);
      unpacked.emplace_back(i, BitByBit::get(data, start, length, isSigned));
      BitByBit::put(expected, start, length, isSigned, value);
      unsigned int cursor = 0;
      ASSERT_EQ(0, object.addSingleMappingDataToCANMsgData(message.data, 8, cursor, value,
                                                           object.getMappingData().back().get(), false));
      ASSERT_EQ(start + length, cursor);
    }
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), message.data)) << "round " << round;
    KQCANMessage received = frameOf(data);
    object.extractMappedValues(&received, nullptr, nullptr, false);
    ASSERT_EQ(unpacked, object.integers) << "round " << round;
  }
}

}  // namespace
}  // namespace KQ
