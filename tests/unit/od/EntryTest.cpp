// Covers: entries and sub-entries: adding, overwriting, looking up.
//
// | subject                                                 | functional                              | robustness |
// |---------------------------------------------------------|-----------------------------------------|------------|
// | addEntry                                                | fields, second time                     |            |
// | addSubentry                                             | every field, without entry, overwriting |            |
// | limits                                                  | at creation, set, kept when overwritten |            |
// | boundary between dictionary values and variables        | x                                       |            |
// | sub-index 0 follows the sub-entries of ARRAY and RECORD | x                                       |            |
// | look-ups of what is there and what is not               | x                                       |            |
// | sub-entries put into an entry or taken out by somebody  | x                                       |            |
// | else                                                    |                                         |            |
// | entries of a range                                      | order, bounds, none                     |            |
// | setSDOServerID and the server of addSubentry            | x                                       |            |
// | object key                                              | bits 8 to 15                            |            |

#include <gtest/gtest.h>

#include "DictionaryFixture.h"
#include "KQErrorCodes.h"
#include "KQSDOHandler.h"

using namespace KQ;
using test::objectKey;

namespace {

class Entry : public test::DictionaryFixture {};

TEST_F(Entry, StartsWithoutSubEntries) {
  EXPECT_EQ(KQ_OK, dictionary.addEntry(0x1400, OBJECT_TYPE_ARRAY, "Name"));
  const ObjectDictionaryEntry* const entry = dictionary.getEntry(0x1400);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(0x1400, entry->index);
  EXPECT_EQ(OBJECT_TYPE_ARRAY, entry->objectType);
  EXPECT_EQ("Name", entry->name);
  EXPECT_TRUE(entry->subEntries.empty());
}

TEST_F(Entry, SecondOneOfTheIndexChangesNothing) {
  dictionary.addEntry(0x1400, OBJECT_TYPE_ARRAY, "Name");
  dictionary.addSubentry(0x1400, 1, ACCESS_RW, DATA_TYPE_UNSIGNED8, "Part", false, 1, "", 0);
  EXPECT_EQ(KQ_ALREADY_EXISTS, dictionary.addEntry(0x1400, OBJECT_TYPE_VAR, "Other"));
  EXPECT_EQ(OBJECT_TYPE_ARRAY, dictionary.getEntry(0x1400)->objectType);
  EXPECT_EQ("Name", dictionary.getEntry(0x1400)->name);
  EXPECT_TRUE(dictionary.subObjectExists(0x1400, 1));
}

TEST_F(Entry, LowestAndHighestIndexAreApart) {
  EXPECT_EQ(KQ_OK, dictionary.addEntry(0x0000, OBJECT_TYPE_VAR, "Lowest"));
  EXPECT_EQ(KQ_OK, dictionary.addEntry(0xFFFF, OBJECT_TYPE_VAR, "Highest"));
  EXPECT_EQ("Lowest", dictionary.getEntry(0x0000)->name);
  EXPECT_EQ("Highest", dictionary.getEntry(0xFFFF)->name);
}

class LookUp : public test::DictionaryFixture {
protected:
  void SetUp() override { addObject(0x1400, 1, 0x1234, DATA_TYPE_UNSIGNED16); }
};

TEST_F(LookUp, FindsWhatIsThere) {
  EXPECT_TRUE(dictionary.objectExists(0x1400));
  EXPECT_TRUE(dictionary.subObjectExists(0x1400, 1));
  ASSERT_NE(nullptr, dictionary.getSubentry(0x1400, 1));
  EXPECT_EQ(dictionary.getEntry(0x1400)->subEntries.at(1), dictionary.getSubentry(0x1400, 1));
}

TEST_F(LookUp, MissingEntry) {
  EXPECT_FALSE(dictionary.objectExists(0x1401));
  EXPECT_FALSE(dictionary.subObjectExists(0x1401, 1));
  EXPECT_EQ(nullptr, dictionary.getEntry(0x1401));
  EXPECT_EQ(nullptr, dictionary.getSubentry(0x1401, 1));
  EXPECT_EQ(nullptr, dictionary.getPointerToValue(0x1401, 1));
}

TEST_F(LookUp, MissingSubEntry) {
  EXPECT_FALSE(dictionary.subObjectExists(0x1400, 2));
  EXPECT_EQ(nullptr, dictionary.getSubentry(0x1400, 2));
  EXPECT_EQ(nullptr, dictionary.getPointerToValue(0x1400, 2));
}

TEST_F(LookUp, FindsWhatWasPutIntoTheEntry) {
  auto* const sub = new ObjectDictionarySubEntry;
  sub->subIndex = 2;
  sub->value = 7;
  dictionary.getEntry(0x1400)->subEntries[2] = sub;
  EXPECT_EQ(sub, dictionary.getSubentry(0x1400, 2));
  int value = 0;
  EXPECT_EQ(KQ_OK, dictionary.getValue(0x1400, 2, value));
  EXPECT_EQ(7, value);
}

TEST_F(LookUp, RulesOfTheIndexHoldForWhatWasPutIntoTheEntry) {
  auto* const sub = new ObjectDictionarySubEntry;
  sub->subIndex = 2;
  dictionary.getEntry(0x1400)->subEntries[2] = sub;
  EXPECT_EQ(test::ABORT_VALUE_RANGE, dictionary.setValue(0x1400, 2, 0xF1, false));
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1400, 2, 0xFE, false));
  EXPECT_EQ(0xFE, sub->value);
}

TEST_F(LookUp, MissesWhatWasTakenOutOfTheEntry) {
  ObjectDictionaryEntry* const entry = dictionary.getEntry(0x1400);
  delete entry->subEntries.at(1);
  entry->subEntries.erase(1);
  EXPECT_EQ(nullptr, dictionary.getSubentry(0x1400, 1));
  int value = 0;
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getValue(0x1400, 1, value));
}

TEST_F(LookUp, PointerToValueIsTheLiveValue) {
  int* const value = dictionary.getPointerToValue(0x1400, 1);
  ASSERT_NE(nullptr, value);
  EXPECT_EQ(0x1234, *value);
  *value = 0x4321;
  int read = 0;
  EXPECT_EQ(KQ_OK, dictionary.getValue(0x1400, 1, read));
  EXPECT_EQ(0x4321, read);
}

TEST_F(LookUp, PointerToValueSurvivesGrowthAndOverwriting) {
  const int* const value = dictionary.getPointerToValue(0x1400, 1);
  for (unsigned int i = 2; i < 256; ++i) {
    addObject(0x1400, static_cast<unsigned char>(i), 0);
    addObject(static_cast<unsigned short>(0x1400 + i), 1, 0);
  }
  addObject(0x1400, 1, 0x77);
  EXPECT_EQ(value, dictionary.getPointerToValue(0x1400, 1));
  EXPECT_EQ(0x77, *value);
}

TEST_F(LookUp, DataTypeOfAnObject) {
  KQCANopenDataType dataType = DATA_TYPE_NONE;
  EXPECT_EQ(KQ_OK, dictionary.getDataType(0x1400, 1, dataType));
  EXPECT_EQ(DATA_TYPE_UNSIGNED16, dataType);
}

TEST_F(LookUp, DataTypeOfAMissingEntryIsNone) {
  KQCANopenDataType dataType = DATA_TYPE_UNSIGNED8;
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getDataType(0x1401, 1, dataType));
  EXPECT_EQ(DATA_TYPE_NONE, dataType);
}

TEST_F(LookUp, DataTypeOfAMissingSubEntryIsNone) {
  KQCANopenDataType dataType = DATA_TYPE_UNSIGNED8;
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getDataType(0x1400, 2, dataType));
  EXPECT_EQ(DATA_TYPE_NONE, dataType);
}

TEST_F(LookUp, KeyIgnoresBits8To15) {
  addObject(0x1018, 3, 0x55);
  int value = 0;
  EXPECT_EQ(KQ_OK, dictionary.getValue(0x10180203U, value));
  EXPECT_EQ(0x55, value);
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1018FF03U, 0x66, true));
  EXPECT_EQ(0x66, storedValue(0x1018, 3));
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
  EXPECT_EQ((std::vector<unsigned short>{0x17FF, 0x1800, 0x1801, 0x19FF, 0x1A00}), indexesOf(0x1400, 0x1BFF));
}

TEST_F(EntryRange, HoldsItsBoundsAndNothingBeyond) {
  EXPECT_EQ((std::vector<unsigned short>{0x1800, 0x1801, 0x19FF}), indexesOf(0x1800, 0x19FF));
}

TEST_F(EntryRange, OfAllIndexesHoldsTheLowestAndTheHighest) {
  EXPECT_EQ(7U, indexesOf(0, 0xFFFF).size());
}

TEST_F(EntryRange, WithoutEntriesIsEmpty) {
  EXPECT_TRUE(indexesOf(0x1802, 0x19FE).empty());
}

class SubEntry : public test::DictionaryFixture {
protected:
  void SetUp() override { dictionary.addEntry(0x1400, OBJECT_TYPE_VAR, "Name"); }
};

TEST_F(SubEntry, NeedsItsEntry) {
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.addSubentry(0x1401, 0, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0));
  EXPECT_FALSE(dictionary.objectExists(0x1401));
}

TEST_F(SubEntry, HoldsWhatItWasGiven) {
  EXPECT_EQ(KQ_OK, dictionary.addSubentry(0x1400, 7, ACCESS_RWW, DATA_TYPE_INTEGER16, "Part", true, -5, "$NODEID+0x80",
                                          0x606));
  const ObjectDictionarySubEntry* const sub = dictionary.getSubentry(0x1400, 7);
  ASSERT_NE(nullptr, sub);
  EXPECT_EQ(7, sub->subIndex);
  EXPECT_EQ(ACCESS_RWW, sub->accessType);
  EXPECT_EQ(DATA_TYPE_INTEGER16, sub->dataType);
  EXPECT_EQ(-5, sub->value);
  EXPECT_EQ("$NODEID+0x80", sub->valueString);
  EXPECT_EQ(0x606U, sub->sdoServerID);
  EXPECT_EQ("Part", sub->name);
  EXPECT_TRUE(sub->pdoMappable);
  EXPECT_EQ(-5, sub->defaultValue);
  EXPECT_EQ("$NODEID+0x80", sub->defaultValueString);
}

TEST_F(SubEntry, CreationLimitsAreThePositiveNumbers) {
  dictionary.addSubentry(0x1400, 0, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  EXPECT_EQ(0, dictionary.getSubentry(0x1400, 0)->lowLimit);
  EXPECT_EQ(0x7FFFFFFF, dictionary.getSubentry(0x1400, 0)->highLimit);
}

TEST_F(SubEntry, SecondOneOverwritesInPlace) {
  dictionary.addSubentry(0x1400, 3, ACCESS_RO, DATA_TYPE_UNSIGNED8, "Old", false, 1, "old", 0);
  const ObjectDictionarySubEntry* const sub = dictionary.getSubentry(0x1400, 3);
  EXPECT_EQ(KQ_OK, dictionary.addSubentry(0x1400, 3, ACCESS_WO, DATA_TYPE_INTEGER32, "New", true, 2, "new", 0x603));
  ASSERT_EQ(sub, dictionary.getSubentry(0x1400, 3));
  EXPECT_EQ(3, sub->subIndex);
  EXPECT_EQ(ACCESS_WO, sub->accessType);
  EXPECT_EQ(DATA_TYPE_INTEGER32, sub->dataType);
  EXPECT_EQ("New", sub->name);
  EXPECT_TRUE(sub->pdoMappable);
  EXPECT_EQ(2, sub->value);
  EXPECT_EQ(2, sub->defaultValue);
  EXPECT_EQ("new", sub->valueString);
  EXPECT_EQ("new", sub->defaultValueString);
  EXPECT_EQ(0x603U, sub->sdoServerID);
}

TEST_F(SubEntry, OverwritingKeepsTheLimits) {
  dictionary.addSubentry(0x1400, 3, ACCESS_RO, DATA_TYPE_UNSIGNED8, "Old", false, 1, "", 0);
  dictionary.setLimits(0x1400, 3, 1, 2);
  dictionary.addSubentry(0x1400, 3, ACCESS_RO, DATA_TYPE_UNSIGNED8, "New", false, 1, "", 0);
  EXPECT_EQ(1, dictionary.getSubentry(0x1400, 3)->lowLimit);
  EXPECT_EQ(2, dictionary.getSubentry(0x1400, 3)->highLimit);
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
  EXPECT_EQ(KQ_OK, dictionary.setLimits(0x1400, 1, 5, -1));
  EXPECT_EQ(5, dictionary.getSubentry(0x1400, 1)->lowLimit);
  EXPECT_EQ(-1, dictionary.getSubentry(0x1400, 1)->highLimit);
}

TEST_F(SubEntry, LimitsOfAMissingEntryOrSubEntry) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.setLimits(0x1401, 0, 0, 1));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.setLimits(0x1400, 9, 0, 1));
}

struct HighestSubIndexRow {
  const char* name;
  KQCANopenObjectType objectType;
  int before;  // value of sub-index 0
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
  EXPECT_EQ(row.after, sub->value);
  EXPECT_EQ(row.after, sub->defaultValue);
  EXPECT_EQ("text", sub->valueString);
  EXPECT_EQ("text", sub->defaultValueString);
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
  EXPECT_EQ(5, storedValue(0x1003, 0));
}

TEST_F(SubEntry, SubIndexZeroAddedLateStaysAsGiven) {
  dictionary.addEntry(0x1003, OBJECT_TYPE_ARRAY, "Array");
  dictionary.addSubentry(0x1003, 4, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  dictionary.addSubentry(0x1003, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 1, "", 0);
  EXPECT_EQ(1, storedValue(0x1003, 0));
}

TEST_F(SubEntry, NegativeSubIndexZeroOfARecordStartsAsZero) {
  dictionary.addEntry(0x1003, OBJECT_TYPE_RECORD, "Record");
  dictionary.addSubentry(0x1003, 0, ACCESS_RO, DATA_TYPE_INTEGER8, "", false, -1, "", 0);
  EXPECT_EQ(0, storedValue(0x1003, 0));
  EXPECT_EQ(0, dictionary.getSubentry(0x1003, 0)->defaultValue);
}

TEST_F(SubEntry, OverwrittenSubEntryRaisesToo) {
  dictionary.addEntry(0x1003, OBJECT_TYPE_ARRAY, "Array");
  dictionary.addSubentry(0x1003, 4, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  dictionary.addSubentry(0x1003, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 1, "", 0);
  dictionary.addSubentry(0x1003, 4, ACCESS_RO, DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  EXPECT_EQ(4, storedValue(0x1003, 0));
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
    ASSERT_EQ(0, handler.init());
  }

  bool isMapped(unsigned short index, unsigned char subIndex) {
    return handler.handleUpdateRequest(objectKey(index, subIndex), 1) == KQ_OK;
  }

  KQSDOHandler handler;
};

TEST_F(SDOServer, MissingSubEntry) {
  dictionary.setSDOHandler(&handler);
  EXPECT_EQ(KQ_NOT_AVAILABLE, dictionary.setSDOServerID(0x2001, 2, REQUEST_COB_ID));
  EXPECT_EQ(KQ_NOT_AVAILABLE, dictionary.setSDOServerID(0x2002, 1, REQUEST_COB_ID));
}

TEST_F(SDOServer, WithoutSDOHandlerNothingIsStored) {
  EXPECT_EQ(KQ_NOT_AVAILABLE, dictionary.setSDOServerID(0x2001, 1, REQUEST_COB_ID));
  EXPECT_EQ(0U, dictionary.getSubentry(0x2001, 1)->sdoServerID);
}

TEST_F(SDOServer, IsStoredAndMapped) {
  dictionary.setSDOHandler(&handler);
  ASSERT_FALSE(isMapped(0x2001, 1));
  EXPECT_EQ(KQ_OK, dictionary.setSDOServerID(0x2001, 1, REQUEST_COB_ID));
  EXPECT_EQ(REQUEST_COB_ID, dictionary.getSubentry(0x2001, 1)->sdoServerID);
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
  EXPECT_EQ(0U, dictionary.getSubentry(0x2001, 1)->sdoServerID);
  EXPECT_TRUE(isMapped(0x2001, 1));
}

TEST_F(SDOServer, OfAnAddedSubEntryWithoutHandlerIsOnlyStored) {
  EXPECT_EQ(KQ_OK, dictionary.addSubentry(0x2001, 2, ACCESS_RW, DATA_TYPE_UNSIGNED8, "", true, 0, "", REQUEST_COB_ID));
  EXPECT_EQ(REQUEST_COB_ID, dictionary.getSubentry(0x2001, 2)->sdoServerID);
  EXPECT_FALSE(isMapped(0x2001, 2));
}

}  // namespace
