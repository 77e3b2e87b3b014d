// Covers: the data types 0x40 to 0x47, which the node defines for odd bit lengths.
//
// | parameter  | functional                                 | robustness                    |
// |------------|--------------------------------------------|-------------------------------|
// | entry      | name, access, type, default of sub-index 0 |                               |
// | slots      | filled in order, found again               | a ninth                       |
// | definition | length, sign, index                        | unused slot, other data types |
// | limits     | 1 to 32 bits, both signs                   | 0 bits, more than 32          |

#include "KQCANopenObjectDictionary.h"
#include "NamedCase.h"
#include "TestNode.h"

namespace {

class ManufacturerDataType : public testing::Test {
protected:
  ManufacturerDataType() { node.boot(); }

  int create(int bits, bool isSigned) { return node.canopen().createDataTypeIfNotExisting(bits, isSigned); }
  const KQ::ManufacturerSpecificDataTypeDefinition* definition(int type) {
    return node.canopen().getManufacturerSpecificDataTypeDefinition(static_cast<KQ::KQCANopenDataType>(type));
  }

  test::TestNode node;
};

TEST_F(ManufacturerDataType, BecomesAnEntry) {
  ASSERT_EQ(create(12, false), 0x40);
  const KQ::ObjectDictionaryEntry* const entry = node.dictionary().getEntry(0x40);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->objectType, KQ::OBJECT_TYPE_VAR);
  EXPECT_EQ(entry->name, "UNSIGNED64");
  EXPECT_EQ(entry->subEntries.size(), 1U);
  const KQ::ObjectDictionarySubEntry* const subEntry = node.dictionary().getSubentry(0x40, 0);
  ASSERT_NE(subEntry, nullptr);
  EXPECT_EQ(subEntry->accessType, KQ::ACCESS_RO);
  EXPECT_EQ(subEntry->dataType, 0x40);
  EXPECT_EQ(subEntry->name, "");
  EXPECT_TRUE(subEntry->pdoMappable);
  EXPECT_EQ(subEntry->value, 0);
  EXPECT_EQ(subEntry->defaultValue, 0);
}

TEST_F(ManufacturerDataType, OfASignedNumberBearsTheSameName) {
  create(12, false);
  ASSERT_EQ(create(12, true), 0x41);
  EXPECT_EQ(node.dictionary().getEntry(0x41)->name, "UNSIGNED64");
  EXPECT_EQ(node.dictionary().getSubentry(0x41, 0)->dataType, 0x41);
}

TEST_F(ManufacturerDataType, IsReusedForTheSameLengthAndSign) {
  EXPECT_EQ(create(12, false), 0x40);
  EXPECT_EQ(create(12, true), 0x41);
  EXPECT_EQ(create(12, false), 0x40);
  EXPECT_EQ(create(12, true), 0x41);
  EXPECT_FALSE(node.dictionary().objectExists(0x42));
}

TEST_F(ManufacturerDataType, ThereAreEightOfThem) {
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(create(33 + i, false), 0x40 + i);
  }
  EXPECT_EQ(create(41, false), 0);
  EXPECT_FALSE(node.dictionary().objectExists(0x48));
}

TEST_F(ManufacturerDataType, IsFoundAfterANinthWasRefused) {
  for (int i = 0; i < 9; ++i) {
    create(33 + i, false);
  }
  EXPECT_EQ(create(40, false), 0x47);
  EXPECT_EQ(create(33, false), 0x40);
  EXPECT_EQ(create(33, true), 0);
}

TEST_F(ManufacturerDataType, NinthVariableOfAnOddLengthHasNoDataType) {
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(node.canopen().calculateDataType(33 + i, false), i < 8 ? 0x40 + i : 0);
  }
}

TEST_F(ManufacturerDataType, DefinitionIsItsSlot) {
  create(12, false);
  create(33, true);
  ASSERT_NE(definition(0x40), nullptr);
  EXPECT_EQ(definition(0x40)->bitCount, 12);
  EXPECT_FALSE(definition(0x40)->isSigned);
  EXPECT_EQ(definition(0x40)->index, 0x40);
  ASSERT_NE(definition(0x41), nullptr);
  EXPECT_EQ(definition(0x41)->bitCount, 33);
  EXPECT_TRUE(definition(0x41)->isSigned);
  EXPECT_EQ(definition(0x41)->index, 0x41);
}

TEST_F(ManufacturerDataType, UnusedSlotHasNoDefinition) {
  EXPECT_EQ(definition(0x40), nullptr);
  create(12, false);
  EXPECT_EQ(definition(0x41), nullptr);
  EXPECT_EQ(definition(0x47), nullptr);
}

TEST_F(ManufacturerDataType, OtherTypesHaveNoDefinition) {
  for (int i = 0; i < 8; ++i) {
    create(33 + i, false);
  }
  EXPECT_NE(definition(0x47), nullptr);
  for (const int type : {0x3F, 0x48, 0, 7, -1}) {
    EXPECT_EQ(definition(type), nullptr) << type;
  }
}

TEST_F(ManufacturerDataType, GivesTheDictionaryItsSize) {
  create(12, true);
  const auto type = static_cast<KQ::KQCANopenDataType>(0x40);
  EXPECT_EQ(node.dictionary().getNumberOfBitsByDatatType(type), 12);
  EXPECT_EQ(node.dictionary().getNumberOfBytesByDatatType(type), 2);
  EXPECT_TRUE(node.dictionary().isDataTypeSigned(type));
}

constexpr int LOWEST = -2147483647 - 1;

struct LimitsRow : test::NamedCase {
  int bits;
  bool isSigned;
  int low;
  int high;
};

class ManufacturerDataTypeLimits : public ManufacturerDataType, public testing::WithParamInterface<LimitsRow> {};

TEST_P(ManufacturerDataTypeLimits, AreThoseOfItsLength) {
  ASSERT_EQ(create(GetParam().bits, GetParam().isSigned), 0x40);
  EXPECT_EQ(node.dictionary().getSubentry(0x40, 0)->lowLimit, GetParam().low);
  EXPECT_EQ(node.dictionary().getSubentry(0x40, 0)->highLimit, GetParam().high);
}

const LimitsRow UNSIGNED_ROWS[] = {
    {{"Bits0"}, 0, false, 0, 1},
    {{"Bits1"}, 1, false, 0, 1},
    {{"Bits2"}, 2, false, 0, 3},
    {{"Bits3"}, 3, false, 0, 7},
    {{"Bits12"}, 12, false, 0, 4095},
    {{"Bits23"}, 23, false, 0, 8388607},
    {{"Bits30"}, 30, false, 0, 1073741823},
    {{"Bits31"}, 31, false, 0, 2147483647},
    {{"Bits32"}, 32, false, 0, -1},
    {{"Bits33"}, 33, false, 0, -1},
    {{"Bits64"}, 64, false, 0, -1},
};

const LimitsRow SIGNED_ROWS[] = {
    {{"Bits0"}, 0, true, -2, 1},
    {{"Bits1"}, 1, true, -2, 1},
    {{"Bits2"}, 2, true, -2, 1},
    {{"Bits3"}, 3, true, -4, 3},
    {{"Bits4"}, 4, true, -8, 7},
    {{"Bits12"}, 12, true, -2048, 2047},
    {{"Bits23"}, 23, true, -4194304, 4194303},
    {{"Bits31"}, 31, true, -1073741824, 1073741823},
    {{"Bits32"}, 32, true, LOWEST, 2147483647},
    {{"Bits33"}, 33, true, LOWEST, 2147483647},
};

INSTANTIATE_TEST_SUITE_P(Unsigned, ManufacturerDataTypeLimits, testing::ValuesIn(UNSIGNED_ROWS),
                         test::caseName<LimitsRow>);
INSTANTIATE_TEST_SUITE_P(Signed, ManufacturerDataTypeLimits, testing::ValuesIn(SIGNED_ROWS), test::caseName<LimitsRow>);

}  // namespace
