// Covers: the data types 0x40 to 0x47, which the node defines for odd bit lengths.
//
// | subject    | functional                                 | robustness                    |
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
  ASSERT_EQ(0x40, create(12, false));
  const KQ::ObjectDictionaryEntry* const entry = node.dictionary().getEntry(0x40);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(KQ::OBJECT_TYPE_VAR, entry->objectType);
  EXPECT_EQ("UNSIGNED64", entry->name);
  EXPECT_EQ(1U, entry->subEntries.size());
  const KQ::ObjectDictionarySubEntry* const subEntry = node.dictionary().getSubentry(0x40, 0);
  ASSERT_NE(nullptr, subEntry);
  EXPECT_EQ(KQ::ACCESS_RO, subEntry->accessType);
  EXPECT_EQ(0x40, subEntry->dataType);
  EXPECT_EQ("", subEntry->name);
  EXPECT_TRUE(subEntry->pdoMappable);
  EXPECT_EQ(0, subEntry->value);
  EXPECT_EQ(0, subEntry->defaultValue);
}

TEST_F(ManufacturerDataType, OfASignedNumberBearsTheSameName) {
  create(12, false);
  ASSERT_EQ(0x41, create(12, true));
  EXPECT_EQ("UNSIGNED64", node.dictionary().getEntry(0x41)->name);
  EXPECT_EQ(0x41, node.dictionary().getSubentry(0x41, 0)->dataType);
}

TEST_F(ManufacturerDataType, IsReusedForTheSameLengthAndSign) {
  EXPECT_EQ(0x40, create(12, false));
  EXPECT_EQ(0x41, create(12, true));
  EXPECT_EQ(0x40, create(12, false));
  EXPECT_EQ(0x41, create(12, true));
  EXPECT_FALSE(node.dictionary().objectExists(0x42));
}

TEST_F(ManufacturerDataType, ThereAreEightOfThem) {
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(0x40 + i, create(33 + i, false));
  }
  EXPECT_EQ(0, create(41, false));
  EXPECT_FALSE(node.dictionary().objectExists(0x48));
}

TEST_F(ManufacturerDataType, IsFoundAfterANinthWasRefused) {
  for (int i = 0; i < 9; ++i) {
    create(33 + i, false);
  }
  EXPECT_EQ(0x47, create(40, false));
  EXPECT_EQ(0x40, create(33, false));
  EXPECT_EQ(0, create(33, true));
}

TEST_F(ManufacturerDataType, NinthVariableOfAnOddLengthHasNoDataType) {
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(i < 8 ? 0x40 + i : 0, node.canopen().calculateDataType(33 + i, false));
  }
}

TEST_F(ManufacturerDataType, DefinitionIsItsSlot) {
  create(12, false);
  create(33, true);
  ASSERT_NE(nullptr, definition(0x40));
  EXPECT_EQ(12, definition(0x40)->bitCount);
  EXPECT_FALSE(definition(0x40)->isSigned);
  EXPECT_EQ(0x40, definition(0x40)->index);
  ASSERT_NE(nullptr, definition(0x41));
  EXPECT_EQ(33, definition(0x41)->bitCount);
  EXPECT_TRUE(definition(0x41)->isSigned);
  EXPECT_EQ(0x41, definition(0x41)->index);
}

TEST_F(ManufacturerDataType, UnusedSlotHasNoDefinition) {
  EXPECT_EQ(nullptr, definition(0x40));
  create(12, false);
  EXPECT_EQ(nullptr, definition(0x41));
  EXPECT_EQ(nullptr, definition(0x47));
}

TEST_F(ManufacturerDataType, OtherTypesHaveNoDefinition) {
  for (int i = 0; i < 8; ++i) {
    create(33 + i, false);
  }
  EXPECT_NE(nullptr, definition(0x47));
  for (const int type : {0x3F, 0x48, 0, 7, -1}) {
    EXPECT_EQ(nullptr, definition(type)) << type;
  }
}

TEST_F(ManufacturerDataType, GivesTheDictionaryItsSize) {
  create(12, true);
  const auto type = static_cast<KQ::KQCANopenDataType>(0x40);
  EXPECT_EQ(12, node.dictionary().getNumberOfBitsByDatatType(type));
  EXPECT_EQ(2, node.dictionary().getNumberOfBytesByDatatType(type));
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
  ASSERT_EQ(0x40, create(GetParam().bits, GetParam().isSigned));
  EXPECT_EQ(GetParam().low, node.dictionary().getSubentry(0x40, 0)->lowLimit);
  EXPECT_EQ(GetParam().high, node.dictionary().getSubentry(0x40, 0)->highLimit);
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
