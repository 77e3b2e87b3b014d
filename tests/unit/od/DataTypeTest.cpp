// Covers: properties of the data types and access rights.
//
// | subject                                                          | functional                        | robustness |
// |------------------------------------------------------------------|-----------------------------------|------------|
// | bytes, bits, sign of every type of the data type area            | x                                 |            |
// | numbers that are no type (gaps, beyond the end, negative)        |                                   | x          |
// | manufacturer-specific types                                      | defined, not defined, no instance |            |
// | text of every access right, and of numbers that are none         | x                                 |            |
// | storage type of every kind of type, of none, of a missing object | x                                 |            |

#include <gtest/gtest.h>

#include <string>

#include "DictionaryFixture.h"
#include "KQErrorCodes.h"
#include "TestNode.h"

using namespace KQ;
using test::objectKey;

namespace {

struct DataTypeRow {
  const char* name;
  int dataType;
  int bytes;
  int bits;
  bool isSigned;
};

const DataTypeRow DATA_TYPES[] = {
    {"NoType", 0x00, 1, 0, false},
    {"Boolean", 0x01, 1, 1, false},
    {"Integer8", 0x02, 1, 8, true},
    {"Integer16", 0x03, 2, 16, true},
    {"Integer32", 0x04, 4, 32, true},
    {"Unsigned8", 0x05, 1, 8, false},
    {"Unsigned16", 0x06, 2, 16, false},
    {"Unsigned32", 0x07, 4, 32, false},
    {"Real32", 0x08, 4, 32, false},
    {"VisibleString", 0x09, -1, -1, false},
    {"OctetString", 0x0A, -1, -1, false},
    {"UnicodeString", 0x0B, -1, -1, false},
    {"TimeOfDay", 0x0C, -1, -1, false},
    {"TimeDifference", 0x0D, -1, -1, false},
    {"Domain", 0x0F, -1, -1, false},
    {"Integer24", 0x10, 3, 24, true},
    {"Real64", 0x11, 8, 64, false},
    {"Integer40", 0x12, 5, 40, true},
    {"Integer48", 0x13, 6, 48, true},
    {"Integer56", 0x14, 7, 56, true},
    {"Integer64", 0x15, 8, 64, true},
    {"Unsigned24", 0x16, 3, 24, false},
    {"Unsigned40", 0x18, 5, 40, false},
    {"Unsigned48", 0x19, 6, 48, false},
    {"Unsigned56", 0x1A, 7, 56, false},
    {"Unsigned64", 0x1B, 8, 64, false},
    {"Gap0E", 0x0E, -1, -1, false},
    {"Gap17", 0x17, -1, -1, false},
    {"FirstAfterArea", 0x1C, -1, -1, false},
    {"BeforeManufacturer", 0x3F, -1, -1, false},
    {"UndefinedFirst", 0x40, -1, -1, false},
    {"UndefinedLast", 0x47, -1, -1, false},
    {"AfterManufacturer", 0x48, -1, -1, false},
    {"Large", 0x10007, -1, -1, false},
    {"Negative", -1, -1, -1, false},
};

class DataTypeTable : public testing::TestWithParam<DataTypeRow> {
protected:
  KQCANopenObjectDictionary dictionary;
  KQCANopenDataType dataType = static_cast<KQCANopenDataType>(GetParam().dataType);
};

TEST_P(DataTypeTable, Bytes) {
  EXPECT_EQ(GetParam().bytes, dictionary.getNumberOfBytesByDatatType(dataType));
}

TEST_P(DataTypeTable, Bits) {
  EXPECT_EQ(GetParam().bits, dictionary.getNumberOfBitsByDatatType(dataType));
}

TEST_P(DataTypeTable, Signedness) {
  EXPECT_EQ(GetParam().isSigned, dictionary.isDataTypeSigned(dataType));
}

TEST_P(DataTypeTable, SignednessOfAnObject) {
  dictionary.addEntry(0x1300, OBJECT_TYPE_VAR, "Object");
  dictionary.addSubentry(0x1300, 0, ACCESS_RW, dataType, "", false, 0, "", 0);
  EXPECT_EQ(GetParam().isSigned, dictionary.isSigned(objectKey(0x1300, 0)));
}

INSTANTIATE_TEST_SUITE_P(Types, DataTypeTable, testing::ValuesIn(DATA_TYPES), test::rowName());

TEST(DataType, MissingObjectIsUnsigned) {
  KQCANopenObjectDictionary dictionary;
  EXPECT_FALSE(dictionary.isSigned(objectKey(0x1300, 0)));
}

// Lengths in bits that need a manufacturer-specific type, from one side of each byte boundary to the other.
struct ManufacturerRow {
  const char* name;
  int bits;
  bool isSigned;
  int bytes;
};

class ManufacturerDataType : public testing::TestWithParam<ManufacturerRow> {
protected:
  void SetUp() override {
    node.init();
    dataType = static_cast<KQCANopenDataType>(
        node.canopen().createDataTypeIfNotExisting(GetParam().bits, GetParam().isSigned));
    ASSERT_EQ(DATA_TYPE_MANUFACTURER_FIRST, dataType);
  }

  test::TestNode node;
  KQCANopenDataType dataType = DATA_TYPE_NONE;
};

TEST_P(ManufacturerDataType, BitsAreThoseDefined) {
  EXPECT_EQ(GetParam().bits, node.dictionary().getNumberOfBitsByDatatType(dataType));
}

TEST_P(ManufacturerDataType, BytesHoldTheBits) {
  EXPECT_EQ(GetParam().bytes, node.dictionary().getNumberOfBytesByDatatType(dataType));
}

TEST_P(ManufacturerDataType, SignIsThatDefined) {
  EXPECT_EQ(GetParam().isSigned, node.dictionary().isDataTypeSigned(dataType));
}

const ManufacturerRow MANUFACTURER_TYPES[] = {
    {"Bits0", 0, false, 1},        {"Bits1", 1, true, 1},   {"Bits8", 8, false, 1},   {"Bits9", 9, false, 2},
    {"Bits12Signed", 12, true, 2}, {"Bits16", 16, true, 2}, {"Bits17", 17, true, 3},  {"Bits32", 32, false, 4},
    {"Bits33", 33, true, 5},       {"Bits64", 64, true, 8}, {"Bits65", 65, false, 9},
};

INSTANTIATE_TEST_SUITE_P(Bits, ManufacturerDataType, testing::ValuesIn(MANUFACTURER_TYPES), test::rowName());

TEST(ManufacturerDataTypes, EachSlotHasItsOwnDefinition) {
  test::TestNode node;
  node.init();
  for (int i = 0; i < 8; ++i) {
    node.canopen().createDataTypeIfNotExisting(33 + i, i % 2 != 0);
  }
  for (int i = 0; i < 8; ++i) {
    const auto dataType = static_cast<KQCANopenDataType>(0x40 + i);
    EXPECT_EQ(33 + i, node.dictionary().getNumberOfBitsByDatatType(dataType)) << i;
    EXPECT_EQ(i % 2 != 0, node.dictionary().isDataTypeSigned(dataType)) << i;
  }
}

TEST(ManufacturerDataTypes, FreeSlotHasNoSize) {
  test::TestNode node;
  node.init();
  node.canopen().createDataTypeIfNotExisting(12, true);
  const auto next = static_cast<KQCANopenDataType>(0x41);
  EXPECT_EQ(-1, node.dictionary().getNumberOfBytesByDatatType(next));
  EXPECT_EQ(-1, node.dictionary().getNumberOfBitsByDatatType(next));
  EXPECT_FALSE(node.dictionary().isDataTypeSigned(next));
}

struct AccessRow {
  const char* name;
  int access;
  const char* text;
};

class AccessText : public testing::TestWithParam<AccessRow> {};

TEST_P(AccessText, IsThatOfTheDescriptionFile) {
  const auto access = static_cast<KQCANopenAccessType>(GetParam().access);
  EXPECT_EQ(GetParam().text, KQCANopenObjectDictionary::getAccessTypeString(access));
}

const AccessRow ACCESS_TEXTS[] = {{"ReadOnly", 0, "ro"},        {"WriteOnly", 1, "wo"},      {"ReadWrite", 2, "rw"},
                                  {"ReadWriteWrite", 3, "rww"}, {"ReadWriteRead", 4, "rwr"}, {"Constant", 5, "const"},
                                  {"BeyondTheLast", 6, ""},     {"Negative", -1, ""}};

INSTANTIATE_TEST_SUITE_P(Rights, AccessText, testing::ValuesIn(ACCESS_TEXTS), test::rowName());

struct StorageRow {
  const char* name;
  int dataType;
  int storageType;
  int result;
};

class StorageType : public testing::TestWithParam<StorageRow> {};

TEST_P(StorageType, FollowsTheDataType) {
  KQCANopenObjectDictionary dictionary;
  dictionary.addEntry(0x2000, OBJECT_TYPE_VAR, "Object");
  dictionary.addSubentry(0x2000, 0, ACCESS_RW, static_cast<KQCANopenDataType>(GetParam().dataType), "", false, 0, "",
                         0);
  auto storageType = static_cast<KQVariableStorageType>(77);
  EXPECT_EQ(GetParam().result, dictionary.getVariableStorageType(objectKey(0x2000, 0), &storageType));
  EXPECT_EQ(GetParam().storageType, storageType);
}

const StorageRow STORAGE_TYPES[] = {
    {"NoType", 0x00, STORAGE_TYPE_UNDEFINED, KQ_NO_STORAGE_TYPE},
    {"Boolean", 0x01, STORAGE_TYPE_INTEGER, KQ_OK},
    {"Real32", 0x08, STORAGE_TYPE_INTEGER, KQ_OK},
    {"VisibleString", 0x09, STORAGE_TYPE_STRING, KQ_OK},
    {"OctetString", 0x0A, STORAGE_TYPE_STRING, KQ_OK},
    {"UnicodeString", 0x0B, STORAGE_TYPE_STRING, KQ_OK},
    {"TimeOfDay", 0x0C, STORAGE_TYPE_INTEGER, KQ_OK},
    {"Domain", 0x0F, STORAGE_TYPE_INTEGER, KQ_OK},
    {"Unsigned64", 0x1B, STORAGE_TYPE_INTEGER, KQ_OK},
    {"Manufacturer", 0x40, STORAGE_TYPE_INTEGER, KQ_OK},
    {"Unknown", 0x100, STORAGE_TYPE_INTEGER, KQ_OK},
};

INSTANTIATE_TEST_SUITE_P(Types, StorageType, testing::ValuesIn(STORAGE_TYPES), test::rowName());

TEST(StorageTypeOfAnObject, MissingObjectIsReportedAndNothingStored) {
  KQCANopenObjectDictionary dictionary;
  auto storageType = static_cast<KQVariableStorageType>(77);
  EXPECT_EQ(1, dictionary.getVariableStorageType(objectKey(0x2000, 0), &storageType));
  EXPECT_EQ(77, storageType);
}

}  // namespace
