// Entries and sub-entries: adding, overwriting, looking up.
//
// | covered                                                     | kind       |
// |-------------------------------------------------------------|------------|
// | addEntry: fields, second time                               | functional |
// | addSubentry: every field, without entry, overwriting        | functional |
// | limits: at creation, set, kept when overwritten             | functional |
// | boundary between dictionary values and variables            | functional |
// | sub-index 0 follows the sub-entries of ARRAY and RECORD     | functional |
// | look-ups of what is there and what is not                   | functional |
// | sub-entries put into an entry or taken out by somebody else | functional |
// | entries of a range: order, bounds, none                     | functional |
// | setSDOServerID and the server of addSubentry                | functional |
// | object key: bits 8 to 15                                    | functional |

#include <gtest/gtest.h>

#include "DictionaryFixture.h"
#include "KQErrorCodes.h"
#include "KQSDOHandler.h"

using namespace KQ;
using test::objectKey;

namespace {

class Entry : public test::DictionaryFixture {};

TEST_F(Entry, StartsWithoutSubEntries) {
  EXPECT_EQ(dictionary.addEntry(0x1400, OBJECT_TYPE_ARRAY, "Name"), KQ_OK);
  const ObjectDictionaryEntry* const entry = dictionary.getEntry(0x1400);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->index, 0x1400);
  EXPECT_EQ(entry->objectType, OBJECT_TYPE_ARRAY);
  EXPECT_EQ(entry->name, "Name");
  EXPECT_TRUE(entry->subEntries.empty());
}

TEST_F(Entry, SecondOneOfTheIndexChangesNothing) {
  dictionary.addEntry(0x1400, OBJECT_TYPE_ARRAY, "Name");
  dictionary.addSubentry(0x1400, 1, ACCESS_RW, DATA_TYPE_UNSIGNED8, "Part", false, 1, "", 0);
  EXPECT_EQ(dictionary.addEntry(0x1400, OBJECT_TYPE_VAR, "Other"), KQ_ALREADY_EXISTS);
  EXPECT_EQ(dictionary.getEntry(0x1400)->objectType, OBJECT_TYPE_ARRAY);
  EXPECT_EQ(dictionary.getEntry(0x1400)->name, "Name");
  EXPECT_TRUE(dictionary.subObjectExists(0x1400, 1));
}

TEST_F(Entry, LowestAndHighestIndexAreApart) {
  EXPECT_EQ(dictionary.addEntry(0x0000, OBJECT_TYPE_VAR, "Lowest"), KQ_OK);
  EXPECT_EQ(dictionary.addEntry(0xFFFF, OBJECT_TYPE_VAR, "Highest"), KQ_OK);
  EXPECT_EQ(dictionary.getEntry(0x0000)->name, "Lowest");
  EXPECT_EQ(dictionary.getEntry(0xFFFF)->name, "Highest");
}

class LookUp : public test::DictionaryFixture {
protected:
  void SetUp() override { addObject(0x1400, 1, 0x1234, DATA_TYPE_UNSIGNED16); }
};

TEST_F(LookUp, FindsWhatIsThere) {
  EXPECT_TRUE(dictionary.objectExists(0x1400));
  EXPECT_TRUE(dictionary.subObjectExists(0x1400, 1));
  ASSERT_NE(dictionary.getSubentry(0x1400, 1), nullptr);
  EXPECT_EQ(dictionary.getSubentry(0x1400, 1), dictionary.getEntry(0x1400)->subEntries.at(1));
}

TEST_F(LookUp, MissingEntry) {
  EXPECT_FALSE(dictionary.objectExists(0x1401));
  EXPECT_FALSE(dictionary.subObjectExists(0x1401, 1));
  EXPECT_EQ(dictionary.getEntry(0x1401), nullptr);
  EXPECT_EQ(dictionary.getSubentry(0x1401, 1), nullptr);
  EXPECT_EQ(dictionary.getPointerToValue(0x1401, 1), nullptr);
}

TEST_F(LookUp, MissingSubEntry) {
  EXPECT_FALSE(dictionary.subObjectExists(0x1400, 2));
  EXPECT_EQ(dictionary.getSubentry(0x1400, 2), nullptr);
  EXPECT_EQ(dictionary.getPointerToValue(0x1400, 2), nullptr);
}

TEST_F(LookUp, FindsWhatWasPutIntoTheEntry) {
  auto* const sub = new ObjectDictionarySubEntry;
  sub->subIndex = 2;
  sub->value = 7;
  dictionary.getEntry(0x1400)->subEntries[2] = sub;
  EXPECT_EQ(dictionary.getSubentry(0x1400, 2), sub);
  int value = 0;
  EXPECT_EQ(dictionary.getValue(0x1400, 2, value), KQ_OK);
  EXPECT_EQ(value, 7);
}

TEST_F(LookUp, RulesOfTheIndexHoldForWhatWasPutIntoTheEntry) {
  auto* const sub = new ObjectDictionarySubEntry;
  sub->subIndex = 2;
  dictionary.getEntry(0x1400)->subEntries[2] = sub;
  EXPECT_EQ(dictionary.setValue(0x1400, 2, 0xF1, false), test::ABORT_VALUE_RANGE);
  EXPECT_EQ(dictionary.setValue(0x1400, 2, 0xFE, false), KQ_OK);
  EXPECT_EQ(sub->value, 0xFE);
}

TEST_F(LookUp, MissesWhatWasTakenOutOfTheEntry) {
  ObjectDictionaryEntry* const entry = dictionary.getEntry(0x1400);
  delete entry->subEntries.at(1);
  entry->subEntries.erase(1);
  EXPECT_EQ(dictionary.getSubentry(0x1400, 1), nullptr);
  int value = 0;
  EXPECT_EQ(dictionary.getValue(0x1400, 1, value), KQ_NOT_FOUND);
}

TEST_F(LookUp, PointerToValueIsTheLiveValue) {
  int* const value = dictionary.getPointerToValue(0x1400, 1);
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(*value, 0x1234);
  *value = 0x4321;
  int read = 0;
  EXPECT_EQ(dictionary.getValue(0x1400, 1, read), KQ_OK);
  EXPECT_EQ(read, 0x4321);
}

TEST_F(LookUp, PointerToValueSurvivesGrowthAndOverwriting) {
  const int* const value = dictionary.getPointerToValue(0x1400, 1);
  for (unsigned int i = 2; i < 256; ++i) {
    addObject(0x1400, static_cast<unsigned char>(i), 0);
    addObject(static_cast<unsigned short>(0x1400 + i), 1, 0);
  }
  addObject(0x1400, 1, 0x77);
  EXPECT_EQ(dictionary.getPointerToValue(0x1400, 1), value);
  EXPECT_EQ(*value, 0x77);
}

TEST_F(LookUp, DataTypeOfAnObject) {
  KQCANopenDataType dataType = DATA_TYPE_NONE;
  EXPECT_EQ(dictionary.getDataType(0x1400, 1, dataType), KQ_OK);
  EXPECT_EQ(dataType, DATA_TYPE_UNSIGNED16);
}

TEST_F(LookUp, DataTypeOfAMissingEntryIsNone) {
  KQCANopenDataType dataType = DATA_TYPE_UNSIGNED8;
  EXPECT_EQ(dictionary.getDataType(0x1401, 1, dataType), KQ_NOT_FOUND);
  EXPECT_EQ(dataType, DATA_TYPE_NONE);
}

TEST_F(LookUp, DataTypeOfAMissingSubEntryIsNone) {
  KQCANopenDataType dataType = DATA_TYPE_UNSIGNED8;
  EXPECT_EQ(dictionary.getDataType(0x1400, 2, dataType), KQ_NOT_FOUND);
  EXPECT_EQ(dataType, DATA_TYPE_NONE);
}

TEST_F(LookUp, KeyIgnoresBits8To15) {
  addObject(0x1018, 3, 0x55);
  int value = 0;
  EXPECT_EQ(dictionary.getValue(0x10180203U, value), KQ_OK);
  EXPECT_EQ(value, 0x55);
  EXPECT_EQ(dictionary.setValue(0x1018FF03U, 0x66, true), KQ_OK);
  EXPECT_EQ(storedValue(0x1018, 3), 0x66);
}

class EntryRange : public test::DictionaryFixture {
protected:
  void SetUp() override {
    constexpr unsigned short INDEXES[] = {0x1A00, 0x1800, 0xFFFF, 0x1801, 0x0000, 0x19FF, 0x17FF};
    for (const unsigned short index : INDEXES) {
      dictionary.addEntry(index, OBJECT_TYPE_RECORD, "Object");
    }
  }

  std::vector<unsigned short> indexesOf(unsigned short first, unsigned short last) const {
    std::vector<unsigned short> indexes;
    for (const ObjectDictionaryEntry* const entry : dictionary.getEntries(first, last)) {
      indexes.push_back(entry->index);
    }
    return indexes;
  }
};

TEST_F(EntryRange, IsAscending) {
  EXPECT_EQ(indexesOf(0x1400, 0x1BFF), (std::vector<unsigned short>{0x17FF, 0x1800, 0x1801, 0x19FF, 0x1A00}));
}

TEST_F(EntryRange, HoldsItsBoundsAndNothingBeyond) {
  EXPECT_EQ(indexesOf(0x1800, 0x19FF), (std::vector<unsigned short>{0x1800, 0x1801, 0x19FF}));
}

TEST_F(EntryRange, OfAllIndexesHoldsTheLowestAndTheHighest) {
  EXPECT_EQ(indexesOf(0, 0xFFFF).size(), 7U);
}

TEST_F(EntryRange, WithoutEntriesIsEmpty) {
  EXPECT_TRUE(indexesOf(0x1802, 0x19FE).empty());
}

class SubEntry : public test::DictionaryFixture {
protected:
  void SetUp() override { dictionary.addEntry(0x1400, OBJECT_TYPE_VAR, "Name"); }
};

TEST_F(SubEntry, NeedsItsEntry) {
  EXPECT_EQ(dictionary.addSubentry(0x1401, 0, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0), KQ_NOT_FOUND);
  EXPECT_FALSE(dictionary.objectExists(0x1401));
}

TEST_F(SubEntry, HoldsWhatItWasGiven) {
  EXPECT_EQ(dictionary.addSubentry(0x1400, 7, ACCESS_RWW, DATA_TYPE_INTEGER16, "Part", true, -5, "$NODEID+0x80", 0x606),
            KQ_OK);
  const ObjectDictionarySubEntry* const sub = dictionary.getSubentry(0x1400, 7);
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(sub->subIndex, 7);
  EXPECT_EQ(sub->accessType, ACCESS_RWW);
  EXPECT_EQ(sub->dataType, DATA_TYPE_INTEGER16);
  EXPECT_EQ(sub->value, -5);
  EXPECT_EQ(sub->valueString, "$NODEID+0x80");
  EXPECT_EQ(sub->sdoServerID, 0x606U);
  EXPECT_EQ(sub->name, "Part");
  EXPECT_TRUE(sub->pdoMappable);
  EXPECT_EQ(sub->defaultValue, -5);
  EXPECT_EQ(sub->defaultValueString, "$NODEID+0x80");
}

TEST_F(SubEntry, CreationLimitsAreThePositiveNumbers) {
  dictionary.addSubentry(0x1400, 0, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  EXPECT_EQ(dictionary.getSubentry(0x1400, 0)->lowLimit, 0);
  EXPECT_EQ(dictionary.getSubentry(0x1400, 0)->highLimit, 0x7FFFFFFF);
}

TEST_F(SubEntry, SecondOneOverwritesInPlace) {
  dictionary.addSubentry(0x1400, 3, ACCESS_RO, DATA_TYPE_UNSIGNED8, "Old", false, 1, "old", 0);
  const ObjectDictionarySubEntry* const sub = dictionary.getSubentry(0x1400, 3);
  EXPECT_EQ(dictionary.addSubentry(0x1400, 3, ACCESS_WO, DATA_TYPE_INTEGER32, "New", true, 2, "new", 0x603), KQ_OK);
  ASSERT_EQ(dictionary.getSubentry(0x1400, 3), sub);
  EXPECT_EQ(sub->subIndex, 3);
  EXPECT_EQ(sub->accessType, ACCESS_WO);
  EXPECT_EQ(sub->dataType, DATA_TYPE_INTEGER32);
  EXPECT_EQ(sub->name, "New");
  EXPECT_TRUE(sub->pdoMappable);
  EXPECT_EQ(sub->value, 2);
  EXPECT_EQ(sub->defaultValue, 2);
  EXPECT_EQ(sub->valueString, "new");
  EXPECT_EQ(sub->defaultValueString, "new");
  EXPECT_EQ(sub->sdoServerID, 0x603U);
}

TEST_F(SubEntry, OverwritingKeepsTheLimits) {
  dictionary.addSubentry(0x1400, 3, ACCESS_RO, DATA_TYPE_UNSIGNED8, "Old", false, 1, "", 0);
  dictionary.setLimits(0x1400, 3, 1, 2);
  dictionary.addSubentry(0x1400, 3, ACCESS_RO, DATA_TYPE_UNSIGNED8, "New", false, 1, "", 0);
  EXPECT_EQ(dictionary.getSubentry(0x1400, 3)->lowLimit, 1);
  EXPECT_EQ(dictionary.getSubentry(0x1400, 3)->highLimit, 2);
}

TEST_F(SubEntry, LastIndexBelowTheManufacturerAreaIsNoVariable) {
  addObject(0x1FFF, 1, 0);
  EXPECT_FALSE(dictionary.getSubentry(0x1FFF, 1)->isVariable);
}

TEST_F(SubEntry, FirstIndexOfTheManufacturerAreaIsAVariable) {
  addObject(0x2000, 1, 0);
  EXPECT_TRUE(dictionary.getSubentry(0x2000, 1)->isVariable);
}

TEST_F(SubEntry, OverwritingRestoresTheVariableFlag) {
  addObject(0x2000, 1, 0);
  dictionary.getSubentry(0x2000, 1)->isVariable = false;
  addObject(0x2000, 1, 0);
  EXPECT_TRUE(dictionary.getSubentry(0x2000, 1)->isVariable);
}

TEST_F(SubEntry, LimitsAreStoredAsGiven) {
  addObject(0x1400, 1, 0);
  EXPECT_EQ(dictionary.setLimits(0x1400, 1, 5, -1), KQ_OK);
  EXPECT_EQ(dictionary.getSubentry(0x1400, 1)->lowLimit, 5);
  EXPECT_EQ(dictionary.getSubentry(0x1400, 1)->highLimit, -1);
}

TEST_F(SubEntry, LimitsOfAMissingEntryOrSubEntry) {
  EXPECT_EQ(dictionary.setLimits(0x1401, 0, 0, 1), KQ_INVALID_ARGUMENT);
  EXPECT_EQ(dictionary.setLimits(0x1400, 9, 0, 1), KQ_INVALID_ARGUMENT);
}

struct HighestSubIndexRow {
  const char* name;
  KQCANopenObjectType objectType;
  int before;  ///< value of sub-index 0
  unsigned char added;
  int after;
};

class HighestSubIndex : public testing::TestWithParam<HighestSubIndexRow> {};

TEST_P(HighestSubIndex, FollowsTheAddedSubEntry) {
  const HighestSubIndexRow& row = GetParam();
  KQCANopenObjectDictionary dictionary;
  dictionary.addEntry(0x1003, row.objectType, "Object");
  dictionary.addSubentry(0x1003, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "Number", false, row.before, "text", 0);
  dictionary.addSubentry(0x1003, row.added, ACCESS_RO, DATA_TYPE_UNSIGNED8, "Part", false, 77, "", 0);
  const ObjectDictionarySubEntry* const sub = dictionary.getSubentry(0x1003, 0);
  EXPECT_EQ(sub->value, row.after);
  EXPECT_EQ(sub->defaultValue, row.after);
  EXPECT_EQ(sub->valueString, "text");
  EXPECT_EQ(sub->defaultValueString, "text");
}

const HighestSubIndexRow HIGHEST_SUB_INDEX[] = {
    {"ArrayRises", OBJECT_TYPE_ARRAY, 3, 5, 5},
    {"RecordRises", OBJECT_TYPE_RECORD, 3, 4, 4},
    {"EqualStays", OBJECT_TYPE_ARRAY, 3, 3, 3},
    {"NeverShrinks", OBJECT_TYPE_ARRAY, 5, 2, 5},
    {"HighestPossible", OBJECT_TYPE_RECORD, 0, 255, 255},
    {"NegativeIsSmaller", OBJECT_TYPE_RECORD, -1, 1, 1},
    {"VarStays", OBJECT_TYPE_VAR, 0, 1, 0},
    {"OtherTypeStays", static_cast<KQCANopenObjectType>(2), 0, 1, 0},
};

INSTANTIATE_TEST_SUITE_P(Rows, HighestSubIndex, testing::ValuesIn(HIGHEST_SUB_INDEX), test::rowName());

TEST_F(SubEntry, RaisedHighestSubIndexStaysRaised) {
  dictionary.addEntry(0x1003, OBJECT_TYPE_ARRAY, "Array");
  constexpr unsigned char SUB_INDEXES[] = {0, 3, 5, 2};
  for (const unsigned char subIndex : SUB_INDEXES) {
    dictionary.addSubentry(0x1003, subIndex, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  }
  EXPECT_EQ(storedValue(0x1003, 0), 5);
}

TEST_F(SubEntry, SubIndexZeroAddedLateStaysAsGiven) {
  dictionary.addEntry(0x1003, OBJECT_TYPE_ARRAY, "Array");
  dictionary.addSubentry(0x1003, 4, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  dictionary.addSubentry(0x1003, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 1, "", 0);
  EXPECT_EQ(storedValue(0x1003, 0), 1);
}

TEST_F(SubEntry, NegativeSubIndexZeroOfARecordStartsAsZero) {
  dictionary.addEntry(0x1003, OBJECT_TYPE_RECORD, "Record");
  dictionary.addSubentry(0x1003, 0, ACCESS_RO, DATA_TYPE_INTEGER8, "", false, -1, "", 0);
  EXPECT_EQ(storedValue(0x1003, 0), 0);
  EXPECT_EQ(dictionary.getSubentry(0x1003, 0)->defaultValue, 0);
}

TEST_F(SubEntry, OverwrittenSubEntryRaisesToo) {
  dictionary.addEntry(0x1003, OBJECT_TYPE_ARRAY, "Array");
  dictionary.addSubentry(0x1003, 4, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  dictionary.addSubentry(0x1003, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 1, "", 0);
  dictionary.addSubentry(0x1003, 4, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  EXPECT_EQ(storedValue(0x1003, 0), 4);
}

// The node's SDO client finds a channel of the server of a mapped object, and none for any other object.
class SDOServer : public test::DictionaryFixture {
protected:
  static constexpr unsigned int REQUEST_COB_ID = 0x607;

  void SetUp() override {
    addObject(0x1280, 1, REQUEST_COB_ID);
    addObject(0x1280, 2, 0x587);
    addObject(0x2001, 1, 0);
    handler.setObjectDictionary(&dictionary);
    ASSERT_EQ(handler.init(), 0);
  }

  bool isMapped(unsigned short index, unsigned char subIndex) {
    return handler.handleUpdateRequest(objectKey(index, subIndex), 1) == KQ_OK;
  }

  KQSDOHandler handler;
};

TEST_F(SDOServer, MissingSubEntry) {
  dictionary.setSDOHandler(&handler);
  EXPECT_EQ(dictionary.setSDOServerID(0x2001, 2, REQUEST_COB_ID), KQ_NOT_AVAILABLE);
  EXPECT_EQ(dictionary.setSDOServerID(0x2002, 1, REQUEST_COB_ID), KQ_NOT_AVAILABLE);
}

TEST_F(SDOServer, WithoutSDOHandlerNothingIsStored) {
  EXPECT_EQ(dictionary.setSDOServerID(0x2001, 1, REQUEST_COB_ID), KQ_NOT_AVAILABLE);
  EXPECT_EQ(dictionary.getSubentry(0x2001, 1)->sdoServerID, 0U);
}

TEST_F(SDOServer, IsStoredAndMapped) {
  dictionary.setSDOHandler(&handler);
  ASSERT_FALSE(isMapped(0x2001, 1));
  EXPECT_EQ(dictionary.setSDOServerID(0x2001, 1, REQUEST_COB_ID), KQ_OK);
  EXPECT_EQ(dictionary.getSubentry(0x2001, 1)->sdoServerID, REQUEST_COB_ID);
  EXPECT_TRUE(isMapped(0x2001, 1));
}

TEST_F(SDOServer, OfAnAddedSubEntryIsMapped) {
  dictionary.setSDOHandler(&handler);
  dictionary.addSubentry(0x2001, 2, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", true, 0, "", REQUEST_COB_ID);
  EXPECT_TRUE(isMapped(0x2001, 2));
}

TEST_F(SDOServer, OfAnOverwrittenSubEntryIsMapped) {
  dictionary.setSDOHandler(&handler);
  dictionary.addSubentry(0x2001, 1, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", true, 0, "", REQUEST_COB_ID);
  EXPECT_TRUE(isMapped(0x2001, 1));
}

TEST_F(SDOServer, ZeroMapsNothing) {
  dictionary.setSDOHandler(&handler);
  dictionary.addSubentry(0x2001, 2, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", true, 0, "", 0);
  EXPECT_FALSE(isMapped(0x2001, 2));
}

TEST_F(SDOServer, ZeroLeavesAnEarlierMappingAlone) {
  dictionary.setSDOHandler(&handler);
  dictionary.setSDOServerID(0x2001, 1, REQUEST_COB_ID);
  dictionary.addSubentry(0x2001, 1, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", true, 0, "", 0);
  EXPECT_EQ(dictionary.getSubentry(0x2001, 1)->sdoServerID, 0U);
  EXPECT_TRUE(isMapped(0x2001, 1));
}

TEST_F(SDOServer, OfAnAddedSubEntryWithoutHandlerIsOnlyStored) {
  EXPECT_EQ(dictionary.addSubentry(0x2001, 2, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", true, 0, "", REQUEST_COB_ID), KQ_OK);
  EXPECT_EQ(dictionary.getSubentry(0x2001, 2)->sdoServerID, REQUEST_COB_ID);
  EXPECT_FALSE(isMapped(0x2001, 2));
}

}  // namespace
