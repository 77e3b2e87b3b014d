// Covers: the rules that guard writes to objects below 0x2000, COB-IDs of SDO and PDO aside.
//
// | subject                                              | functional                                 | robustness |
// |------------------------------------------------------|--------------------------------------------|------------|
// | 0x1000 to 0x1018                                     | every index, sub-indexes from both sides,  |            |
// | forced and from the bus value rules                  | SYNC and time stamp COB-ID, heartbeat time |            |
// | the SYNC rule asks the object, whatever sub-entry is | x                                          |            |
// | handed in                                            |                                            |            |
// | SDO parameters                                       | who may write which sub-index              |            |
// | PDO communication and mapping parameters, bounds of  | x                                          |            |
// | each area                                            |                                            |            |
// | every other area is closed                           | x                                          |            |
// | limits come first and compare unsigned               | x                                          |            |

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

#include "DictionaryFixture.h"
#include "KQErrorCodes.h"

using namespace KQ;
using test::stored;

namespace {

// ---- who may write what

struct PermissionRow {
  unsigned short index;
  unsigned char subIndex;
  int forced;   // result of a forced write
  int fromBus;  // result of a write from the bus
};

std::string permissionName(const testing::TestParamInfo<PermissionRow>& info) {
  std::ostringstream name;
  name << "x" << std::hex << info.param.index << "sub" << static_cast<unsigned int>(info.param.subIndex);
  return name.str();
}

class WritePermission : public test::DictionaryFixture, public testing::WithParamInterface<PermissionRow> {
protected:
  // Zero passes every rule that looks at the value, and differs from what is stored.
  static constexpr int WRITTEN = 0;
  static constexpr int BEFORE = 0x55;

  void SetUp() override { addObject(GetParam().index, GetParam().subIndex, BEFORE); }

  void expectWrite(bool force, int result) {
    EXPECT_EQ(result, dictionary.setValue(GetParam().index, GetParam().subIndex, WRITTEN, force));
    EXPECT_EQ(result == KQ_OK ? WRITTEN : BEFORE, storedValue(GetParam().index, GetParam().subIndex));
  }
};

TEST_P(WritePermission, Forced) {
  expectWrite(true, GetParam().forced);
}

TEST_P(WritePermission, FromTheBus) {
  expectWrite(false, GetParam().fromBus);
}

TEST_P(WritePermission, AskedAlone) {
  int value = WRITTEN;
  ObjectDictionarySubEntry* const sub = dictionary.getSubentry(GetParam().index, GetParam().subIndex);
  EXPECT_EQ(GetParam().fromBus, dictionary.handleValueChangeRequest(GetParam().index, sub, value, false));
  EXPECT_EQ(BEFORE, sub->value);
}

constexpr int NO = KQ_NOT_PERMITTED;
constexpr int NOT_HERE = KQ_NOT_HANDLED;

const PermissionRow PROFILE_PERMISSIONS[] = {
    {0x1000, 0, KQ_OK, NO},
    {0x1000, 1, NO, NO},
    {0x1000, 255, NO, NO},
    {0x1001, 0, KQ_OK, NO},
    {0x1001, 1, NO, NO},
    {0x1002, 0, KQ_OK, NO},
    {0x1002, 1, NO, NO},
    {0x1003, 0, KQ_OK, NOT_HERE},
    {0x1003, 1, NOT_HERE, NOT_HERE},
    {0x1003, 254, NOT_HERE, NOT_HERE},
    {0x1004, 0, NO, NO},
    {0x1005, 0, KQ_OK, KQ_OK},
    {0x1005, 1, NO, NO},
    {0x1006, 0, KQ_OK, KQ_OK},
    {0x1006, 1, NO, NO},
    {0x1007, 0, KQ_OK, KQ_OK},
    {0x1007, 1, NO, NO},
    {0x1008, 0, NO, NO},
    {0x1009, 0, NO, NO},
    {0x100A, 0, NO, NO},
    {0x100B, 0, NO, NO},
    {0x100C, 0, NO, NO},
    {0x100D, 0, NO, NO},
    {0x100E, 0, NO, NO},
    {0x100F, 0, NO, NO},
    {0x1010, 0, KQ_OK, NO},
    {0x1010, 1, test::ABORT_NO_SIGNATURE, test::ABORT_NO_SIGNATURE},
    {0x1010, 2, test::ABORT_NO_SIGNATURE, test::ABORT_NO_SIGNATURE},
    {0x1010, 3, NO, NO},
    {0x1010, 4, NO, NO},
    {0x1010, 255, NO, NO},
    {0x1011, 0, NO, NO},
    {0x1011, 1, NO, NO},
    {0x1011, 3, NO, NO},
    {0x1012, 0, KQ_OK, KQ_OK},
    {0x1012, 1, KQ_OK, KQ_OK},
    {0x1013, 0, NO, NO},
    {0x1014, 0, KQ_OK, KQ_OK},
    {0x1014, 1, KQ_OK, KQ_OK},
    {0x1015, 0, KQ_OK, KQ_OK},
    {0x1015, 1, KQ_OK, KQ_OK},
    {0x1016, 0, KQ_OK, NO},
    {0x1016, 1, KQ_OK, KQ_OK},
    {0x1016, 127, KQ_OK, KQ_OK},
    {0x1017, 0, KQ_OK, KQ_OK},
    {0x1017, 1, NO, NO},
    {0x1018, 0, KQ_OK, NO},
    {0x1018, 1, KQ_OK, NO},
    {0x1018, 4, KQ_OK, NO},
    {0x1018, 255, KQ_OK, NO},
};

INSTANTIATE_TEST_SUITE_P(Profile, WritePermission, testing::ValuesIn(PROFILE_PERMISSIONS), permissionName);

const PermissionRow CLOSED_AREAS[] = {
    {0x0000, 0, NO, NO}, {0x0007, 0, NO, NO}, {0x001B, 0, NO, NO}, {0x0040, 0, NO, NO}, {0x0FFF, 0, NO, NO},
    {0x1019, 0, NO, NO}, {0x1019, 1, NO, NO}, {0x11FF, 1, NO, NO}, {0x1300, 0, NO, NO}, {0x1300, 1, NO, NO},
    {0x13FF, 1, NO, NO}, {0x1C00, 0, NO, NO}, {0x1C00, 1, NO, NO}, {0x1FFF, 1, NO, NO},
};

INSTANTIATE_TEST_SUITE_P(ClosedAreas, WritePermission, testing::ValuesIn(CLOSED_AREAS), permissionName);

// Sub-indexes 1 and 2 hold a valid COB-ID, which may be replaced by anything.
const PermissionRow SDO_PERMISSIONS[] = {
    {0x1200, 0, KQ_OK, NO},    {0x1200, 1, KQ_OK, NO},    {0x1200, 2, KQ_OK, NO},    {0x1200, 3, KQ_OK, NO},
    {0x1201, 0, KQ_OK, NO},    {0x1201, 1, KQ_OK, KQ_OK}, {0x1201, 2, KQ_OK, KQ_OK}, {0x1201, 3, KQ_OK, KQ_OK},
    {0x127F, 0, KQ_OK, NO},    {0x127F, 1, KQ_OK, KQ_OK}, {0x127F, 2, KQ_OK, KQ_OK}, {0x127F, 3, KQ_OK, KQ_OK},
    {0x1280, 0, KQ_OK, KQ_OK}, {0x1280, 1, KQ_OK, KQ_OK}, {0x1280, 2, KQ_OK, KQ_OK}, {0x1280, 3, KQ_OK, KQ_OK},
    {0x12FF, 0, KQ_OK, KQ_OK}, {0x12FF, 1, KQ_OK, KQ_OK}, {0x12FF, 2, KQ_OK, KQ_OK}, {0x12FF, 3, KQ_OK, KQ_OK},
};

INSTANTIATE_TEST_SUITE_P(SDOParameters, WritePermission, testing::ValuesIn(SDO_PERMISSIONS), permissionName);

constexpr int NO_COUNT = test::ABORT_READ_ONLY;
constexpr int NO_MAPPING = test::ABORT_UNSUPPORTED_ACCESS;

const PermissionRow PDO_PERMISSIONS[] = {
    {0x1400, 0, KQ_OK, KQ_OK},        {0x1400, 1, KQ_OK, KQ_OK},       {0x1400, 2, KQ_OK, KQ_OK},
    {0x1400, 3, KQ_OK, KQ_OK},        {0x1400, 4, KQ_OK, KQ_OK},       {0x1400, 5, KQ_OK, KQ_OK},
    {0x15FF, 0, KQ_OK, KQ_OK},        {0x15FF, 5, KQ_OK, KQ_OK},       {0x1600, 0, KQ_OK, NO_COUNT},
    {0x1600, 1, KQ_OK, NO_MAPPING},   {0x1600, 64, KQ_OK, NO_MAPPING}, {0x17FF, 0, KQ_OK, NO_COUNT},
    {0x17FF, 1, KQ_OK, NO_MAPPING},   {0x1800, 0, KQ_OK, KQ_OK},       {0x1800, 1, KQ_OK, KQ_OK},
    {0x1800, 2, KQ_OK, KQ_OK},        {0x1800, 3, KQ_OK, KQ_OK},       {0x1800, 4, KQ_OK, KQ_OK},
    {0x1800, 5, KQ_OK, KQ_OK},        {0x1800, 6, KQ_OK, KQ_OK},       {0x19FF, 0, KQ_OK, KQ_OK},
    {0x19FF, 5, KQ_OK, KQ_OK},        {0x1A00, 0, KQ_OK, NO_COUNT},    {0x1A00, 1, KQ_OK, NO_MAPPING},
    {0x1A00, 255, KQ_OK, NO_MAPPING}, {0x1BFF, 0, KQ_OK, NO_COUNT},    {0x1BFF, 1, KQ_OK, NO_MAPPING},
};

INSTANTIATE_TEST_SUITE_P(PDOParameters, WritePermission, testing::ValuesIn(PDO_PERMISSIONS), permissionName);

// ---- which values

struct ValueRow {
  const char* name;
  unsigned short index;
  unsigned char subIndex;
  unsigned int current;
  unsigned int value;
  int result;
};

class WrittenValue : public test::DictionaryFixture, public testing::WithParamInterface<ValueRow> {
protected:
  void expectWrite(bool force) {
    const ValueRow& row = GetParam();
    addObject(row.index, row.subIndex, stored(row.current));
    EXPECT_EQ(row.result, dictionary.setValue(row.index, row.subIndex, stored(row.value), force));
    EXPECT_EQ(stored(row.result == KQ_OK ? row.value : row.current), storedValue(row.index, row.subIndex));
    EXPECT_EQ("", output.takeOutput());
  }
};

TEST_P(WrittenValue, FromTheBus) {
  expectWrite(false);
}

TEST_P(WrittenValue, Forced) {
  expectWrite(true);
}

// An extended COB-ID (bit 29) keeps its low 26 bits; bits 30 and 31 do not count.
const ValueRow SYNC_COB_IDS[] = {
    {"PlainTakesAny", 0x1005, 0, 0x80, 0x123, KQ_OK},
    {"PlainTakesBit30", 0x1005, 0, 0x80, 0x40000080, KQ_OK},
    {"PlainTakesBit29", 0x1005, 0, 0x80, 0x20000081, KQ_OK},
    {"Bits30And31AreNotExtended", 0x1005, 0, 0xC0000080, 0x123, KQ_OK},
    {"ExtendedCleared", 0x1005, 0, 0x20000080, 0x80, KQ_OK},
    {"ExtendedSame", 0x1005, 0, 0x20000080, 0x20000080, NO},
    {"ExtendedWithBit30", 0x1005, 0, 0x20000080, 0x40000080, KQ_OK},
    {"ExtendedWithBit31", 0x1005, 0, 0x20000080, 0x80000080, KQ_OK},
    {"ExtendedOtherIdentifier", 0x1005, 0, 0x20000080, 0x81, NO},
    {"ExtendedBit28", 0x1005, 0, 0x20000080, 0x10000080, NO},
    {"ExtendedBit26", 0x1005, 0, 0x20000080, 0x04000080, NO},
    {"ExtendedBit25", 0x1005, 0, 0x20000080, 0x02000080, NO},
    {"ExtendedBit25Kept", 0x1005, 0, 0x22000080, 0x02000080, KQ_OK},
    {"ExtendedBit26Dropped", 0x1005, 0, 0x24000080, 0x80, KQ_OK},
    {"ExtendedBit26Kept", 0x1005, 0, 0x24000080, 0x04000080, NO},
};

INSTANTIATE_TEST_SUITE_P(Sync, WrittenValue, testing::ValuesIn(SYNC_COB_IDS), test::rowName());

class SyncRule : public test::DictionaryFixture {
protected:
  // Asks with a sub-entry that is not the dictionary's.
  int ask(unsigned int inTheDictionary, unsigned int inTheSubEntry, unsigned int written) {
    addObject(0x1005, 0, stored(inTheDictionary));
    ObjectDictionarySubEntry other;
    other.highLimit = test::NO_UPPER_LIMIT;
    other.value = stored(inTheSubEntry);
    int value = stored(written);
    return dictionary.handleValueChangeRequest(0x1005, &other, value, false);
  }
};

TEST_F(SyncRule, ExtendedObjectRefuses) {
  EXPECT_EQ(NO, ask(0x20000080, 0x80, 0x123));
}

TEST_F(SyncRule, PlainObjectAccepts) {
  EXPECT_EQ(KQ_OK, ask(0x80, 0x20000080, 0x123));
}

const ValueRow TIME_STAMP_COB_IDS[] = {
    {"Plain", 0x1012, 0, 0x100, 0x101, KQ_OK},
    {"Bit28", 0x1012, 0, 0x100, 0x1FFFFFFF, KQ_OK},
    {"Bit29", 0x1012, 0, 0x100, 0x20000100, test::ABORT_VALUE_RANGE},
    {"Bit30", 0x1012, 0, 0x100, 0x40000100, test::ABORT_VALUE_RANGE},
    {"Bits29And30", 0x1012, 0, 0x100, 0x60000000, test::ABORT_VALUE_RANGE},
    {"Bit31", 0x1012, 0, 0x100, 0x80000100, KQ_OK},
    {"Bits31And29", 0x1012, 0, 0x100, 0xA0000100, test::ABORT_VALUE_RANGE},
    {"OtherSubIndexPlain", 0x1012, 7, 0x100, 0x101, KQ_OK},
    {"OtherSubIndexBit29", 0x1012, 7, 0x100, 0x20000100, test::ABORT_VALUE_RANGE},
};

INSTANTIATE_TEST_SUITE_P(TimeStamp, WrittenValue, testing::ValuesIn(TIME_STAMP_COB_IDS), test::rowName());

const ValueRow HEARTBEAT_TIMES[] = {
    {"Zero", 0x1017, 0, 1000, 0, KQ_OK},
    {"Usual", 0x1017, 0, 0, 0x1234, KQ_OK},
    {"Highest", 0x1017, 0, 0, 0xFFFF, KQ_OK},
    {"TooLong", 0x1017, 0, 0, 0x10000, test::ABORT_TOO_LONG},
    {"HighestPositive", 0x1017, 0, 0, 0x7FFFFFFF, test::ABORT_TOO_LONG},
    {"ComparedSigned", 0x1017, 0, 0, 0x80000000, KQ_OK},
    {"MinusOne", 0x1017, 0, 0, 0xFFFFFFFF, KQ_OK},
};

INSTANTIATE_TEST_SUITE_P(Heartbeat, WrittenValue, testing::ValuesIn(HEARTBEAT_TIMES), test::rowName());

const ValueRow FREE_VALUES[] = {
    {"EmergencyCOBID", 0x1014, 0, 0x85, 0xFFFFFFFF, KQ_OK}, {"EmergencyInhibitTime", 0x1015, 0, 0, 0xFFFFFFFF, KQ_OK},
    {"ConsumerHeartbeat", 0x1016, 1, 0, 0xFFFFFFFF, KQ_OK}, {"CyclePeriod", 0x1006, 0, 0, 0xFFFFFFFF, KQ_OK},
    {"SynchronousWindow", 0x1007, 0, 0, 0xFFFFFFFF, KQ_OK},
};

INSTANTIATE_TEST_SUITE_P(Unrestricted, WrittenValue, testing::ValuesIn(FREE_VALUES), test::rowName());

// The rule of the transmission type is one for both directions.
struct TransmissionRow {
  unsigned int value;
  bool accepted;
};

class WrittenTransmissionType : public test::DictionaryFixture, public testing::WithParamInterface<TransmissionRow> {
protected:
  void expectWrite(unsigned short index) {
    addObject(index, 2, 0xFE);
    for (const bool force : {false, true}) {
      EXPECT_EQ(GetParam().accepted ? KQ_OK : test::ABORT_VALUE_RANGE,
                dictionary.setValue(index, 2, stored(GetParam().value), force));
    }
    EXPECT_EQ(GetParam().accepted ? stored(GetParam().value) : 0xFE, storedValue(index, 2));
  }
};

TEST_P(WrittenTransmissionType, OfAReceivePDO) {
  expectWrite(0x1400);
}
TEST_P(WrittenTransmissionType, OfTheLastReceivePDO) {
  expectWrite(0x15FF);
}
TEST_P(WrittenTransmissionType, OfATransmitPDO) {
  expectWrite(0x1800);
}
TEST_P(WrittenTransmissionType, OfTheLastTransmitPDO) {
  expectWrite(0x19FF);
}

const TransmissionRow TRANSMISSION_TYPES[] = {{0x00, true},  {0x01, true},  {0xF0, true},      {0xF1, false},
                                              {0xF5, false}, {0xFB, false}, {0xFC, true},      {0xFD, true},
                                              {0xFE, true},  {0xFF, true},  {0x1F1, true},     {0x800000F1, true},
                                              {0x100, true}, {0xFA, false}, {0xFFFFFFFF, true}};

INSTANTIATE_TEST_SUITE_P(Values, WrittenTransmissionType, testing::ValuesIn(TRANSMISSION_TYPES), [](const auto& row) {
  std::ostringstream name;
  name << "x" << std::hex << row.param.value;
  return name.str();
});

const ValueRow INHIBIT_TIMES[] = {
    {"ReceiveZero", 0x1400, 3, 5, 0, KQ_OK},
    {"ReceiveOne", 0x1400, 3, 5, 1, test::ABORT_VALUE_TOO_HIGH},
    {"ReceiveHighest", 0x15FF, 3, 5, 0x7FFFFFFF, test::ABORT_VALUE_TOO_HIGH},
    {"ReceiveComparedSigned", 0x1400, 3, 5, 0x80000000, KQ_OK},
    {"ReceiveMinusOne", 0x15FF, 3, 5, 0xFFFFFFFF, KQ_OK},
    {"TransmitOne", 0x1800, 3, 5, 1, KQ_OK},
    {"TransmitHighest", 0x19FF, 3, 5, 0xFFFFFFFF, KQ_OK},
    {"ReceiveSub4", 0x1400, 4, 5, 1, KQ_OK},
    {"ReceiveSub5", 0x1400, 5, 5, 0xFFFFFFFF, KQ_OK},
    {"TransmitSub5", 0x1800, 5, 5, 0xFFFFFFFF, KQ_OK},
    {"TransmitSub6", 0x1800, 6, 5, 0xF1, KQ_OK},
    {"ReceiveSub0", 0x1400, 0, 5, 0xF1, KQ_OK},
};

INSTANTIATE_TEST_SUITE_P(PDOTimes, WrittenValue, testing::ValuesIn(INHIBIT_TIMES), test::rowName());

// ---- limits

struct LimitRow {
  const char* name;
  int low;
  int high;
  int value;
  int result;
};

class WriteLimit : public test::DictionaryFixture, public testing::WithParamInterface<LimitRow> {};

TEST_P(WriteLimit, ComparesUnsigned) {
  addObject(0x1015, 0, 0x55, DATA_TYPE_INTEGER32);
  dictionary.setLimits(0x1015, 0, GetParam().low, GetParam().high);
  for (const bool force : {false, true}) {
    EXPECT_EQ(GetParam().result, dictionary.setValue(0x1015, 0, GetParam().value, force));
  }
  EXPECT_EQ(GetParam().result == KQ_OK ? GetParam().value : 0x55, storedValue(0x1015, 0));
}

const LimitRow LIMITS[] = {
    {"BelowLow", 10, 20, 9, KQ_INVALID_ARGUMENT},
    {"Low", 10, 20, 10, KQ_OK},
    {"High", 10, 20, 20, KQ_OK},
    {"AboveHigh", 10, 20, 21, KQ_INVALID_ARGUMENT},
    {"NegativeIsAbovePositive", 0, 0x7FFFFFFF, -1, KQ_INVALID_ARGUMENT},
    {"HighestPositive", 0, 0x7FFFFFFF, 0x7FFFFFFF, KQ_OK},
    {"FullRangeNegative", 0, -1, -1, KQ_OK},
    {"FullRangeZero", 0, -1, 0, KQ_OK},
    {"NegativeRangeTakesNoZero", -128, 127, 0, KQ_INVALID_ARGUMENT},
};

INSTANTIATE_TEST_SUITE_P(Limits, WriteLimit, testing::ValuesIn(LIMITS), test::rowName());

class LimitOrder : public test::DictionaryFixture {};

TEST_F(LimitOrder, LimitComesBeforeTheHeartbeatRule) {
  addObject(0x1017, 0, 0);
  dictionary.setLimits(0x1017, 0, 0, 0xFFFF);
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.setValue(0x1017, 0, 0x10000, false));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.setValue(0x1017, 0, -1, false));
}

TEST_F(LimitOrder, LimitComesBeforePermission) {
  addObject(0x1018, 1, 0);
  dictionary.setLimits(0x1018, 1, 0, 5);
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.setValue(0x1018, 1, 6, false));
  EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(0x1018, 1, 5, false));
}

TEST_F(LimitOrder, LimitComesBeforeTheCOBIDRuleAndItsLine) {
  addObject(0x1400, 1, 0x201);
  dictionary.setLimits(0x1400, 1, 0, 0x7FF);
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.setValue(0x1400, 1, stored(0x80000201), false));
  EXPECT_EQ("", output.takeOutput());
}

}  // namespace
