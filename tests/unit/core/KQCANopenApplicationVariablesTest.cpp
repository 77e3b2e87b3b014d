// Covers: the objects that the node makes of the runtime's other variables.
//
// | subject             | functional                                 | robustness                         |
// |---------------------|--------------------------------------------|------------------------------------|
// | completion          | 1                                          | no variables, before init          |
// | owner               | none, another one                          | this node: left out                |
// | entry               | VAR, RECORD, its name                      | exists already                     |
// | name at sub-index 0 | INDEX_, Number of Entries                  | other case, in the middle          |
// | sub-entry           | access, type, name, initial value and text | second address above 255           |
// | limits              | by the size of the type                    | texts, manufacturer-specific types |

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariable.h"
#include "NamedCase.h"
#include "OwnerRecorder.h"
#include "ReadableName.h"
#include "TestNode.h"

namespace {

using KQ::KQVariable;

class RuntimeVariables : public testing::Test {
protected:
  RuntimeVariables() { node.init(); }

  static void addToStore(const KQVariable& variable) {
    ASSERT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->addVariable(&variable));
  }
  static void addToStore(unsigned short index, unsigned short subIndex, const std::string& name) {
    addToStore(KQVariable(index, subIndex, name));
  }
  void bindAll() { EXPECT_EQ(1, node.canopen().getApplicationVariables()); }

  const KQ::ObjectDictionarySubEntry& subEntry(unsigned short index, unsigned char subIndex) {
    static const KQ::ObjectDictionarySubEntry missing;
    const KQ::ObjectDictionarySubEntry* const found = node.dictionary().getSubentry(index, subIndex);
    EXPECT_NE(nullptr, found) << std::hex << index << "/" << int{subIndex};
    return found != nullptr ? *found : missing;
  }

  void expectEntry(unsigned short index, KQ::KQCANopenObjectType type, const std::string& name) {
    const KQ::ObjectDictionaryEntry* const entry = node.dictionary().getEntry(index);
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(type, entry->objectType);
    EXPECT_EQ(name, entry->name);
  }

  test::TestNode node;
};

// ---- completion

TEST(RuntimeVariablesAlone, BeforeInitGives10) {
  test::TestNode node;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, node.canopen().getApplicationVariables());
}

TEST_F(RuntimeVariables, NoneGives1) {
  EXPECT_EQ(1, node.canopen().getApplicationVariables());
}

TEST_F(RuntimeVariables, BoundGives1) {
  addToStore(0x2001, 1, "number");
  EXPECT_EQ(1, node.canopen().getApplicationVariables());
  EXPECT_TRUE(node.dictionary().subObjectExists(0x2001, 1));
}

TEST_F(RuntimeVariables, BoundTwiceStayTheSame) {
  addToStore(0x2001, 1, "number");
  bindAll();
  bindAll();
  expectEntry(0x2001, KQ::OBJECT_TYPE_RECORD, "number");
  EXPECT_EQ(2U, node.dictionary().getEntry(0x2001)->subEntries.size());
}

// ---- owner

TEST_F(RuntimeVariables, OfAnotherOwnerIsBound) {
  test::OwnerRecorder owner;
  KQVariable variable(0x2001, 1, "number");
  variable.setOwner(&owner);
  addToStore(variable);
  bindAll();
  EXPECT_TRUE(node.dictionary().subObjectExists(0x2001, 1));
  EXPECT_EQ(&owner, KQ::KQDEI::instance()->getVariableOwnerPointer(0x2001, 1));
}

TEST_F(RuntimeVariables, OfThisNodeAreLeftOut) {
  KQVariable variable(0x2001, 1, "number", KQ::STORAGE_TYPE_INTEGER, 8, false);
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
  bindAll();
  EXPECT_EQ(0, subEntry(0x2001, 1).lowLimit);
  EXPECT_EQ(255, subEntry(0x2001, 1).highLimit);
  EXPECT_FALSE(node.dictionary().subObjectExists(0x2001, 0));
}

TEST_F(RuntimeVariables, AreNotCopiedByTheNode) {
  addToStore(0x2001, 1, "number");
  bindAll();
  EXPECT_EQ(nullptr, node.canopen().getVariable(0x20010001));
}

// ---- entries

TEST_F(RuntimeVariables, AtASubIndexMakesARecordOfItsName) {
  addToStore(0x2001, 3, "number");
  bindAll();
  expectEntry(0x2001, KQ::OBJECT_TYPE_RECORD, "number");
}

TEST_F(RuntimeVariables, RecordStartsWithTheNumberOfEntries) {
  addToStore(0x2001, 3, "number");
  bindAll();
  const KQ::ObjectDictionarySubEntry& count = subEntry(0x2001, 0);
  EXPECT_EQ("Number of Entries", count.name);
  EXPECT_EQ(KQ::ACCESS_RO, count.accessType);
  EXPECT_EQ(KQ::DATA_TYPE_UNSIGNED8, count.dataType);
  EXPECT_EQ(1, count.lowLimit);
  EXPECT_EQ(255, count.highLimit);
  EXPECT_EQ(3, count.value);  // the record follows its highest sub-index
}

TEST_F(RuntimeVariables, OfOneIndexShareTheRecordOfTheFirst) {
  addToStore(0x2001, 1, "first");
  addToStore(0x2001, 2, "second");
  bindAll();
  expectEntry(0x2001, KQ::OBJECT_TYPE_RECORD, "first");
  EXPECT_EQ("first", subEntry(0x2001, 1).name);
  EXPECT_EQ("second", subEntry(0x2001, 2).name);
  EXPECT_EQ(2, subEntry(0x2001, 0).value);
}

TEST_F(RuntimeVariables, AtSubIndex0MakesAVAROfItsName) {
  addToStore(0x2001, 0, "number");
  bindAll();
  expectEntry(0x2001, KQ::OBJECT_TYPE_VAR, "number");
  EXPECT_EQ("number", subEntry(0x2001, 0).name);
  EXPECT_EQ(1U, node.dictionary().getEntry(0x2001)->subEntries.size());
}

TEST_F(RuntimeVariables, LeaveAnEntryAsItIs) {
  node.dictionary().addEntry(0x2001, KQ::OBJECT_TYPE_ARRAY, "array");
  node.dictionary().addEntry(0x2002, KQ::OBJECT_TYPE_VAR, "var");
  addToStore(0x2001, 1, "number");
  addToStore(0x2002, 0, "INDEX_2");
  bindAll();
  expectEntry(0x2001, KQ::OBJECT_TYPE_ARRAY, "array");
  EXPECT_FALSE(node.dictionary().subObjectExists(0x2001, 0));
  expectEntry(0x2002, KQ::OBJECT_TYPE_VAR, "var");
}

struct NameRow : test::NamedCase {
  const char* variable;
  KQ::KQCANopenObjectType entry;
};

class RuntimeVariableName : public RuntimeVariables, public testing::WithParamInterface<NameRow> {};

TEST_P(RuntimeVariableName, AtSubIndex0DecidesOnTheEntry) {
  KQVariable variable(0x2001, 0, GetParam().variable, KQ::STORAGE_TYPE_INTEGER, 16, false);
  variable.setInitialValue(9);
  addToStore(variable);
  bindAll();
  expectEntry(0x2001, GetParam().entry, GetParam().variable);
  EXPECT_EQ(GetParam().variable, subEntry(0x2001, 0).name);
  EXPECT_EQ(KQ::DATA_TYPE_UNSIGNED16, subEntry(0x2001, 0).dataType);
  EXPECT_EQ(9, subEntry(0x2001, 0).value);
  EXPECT_EQ(-32768, subEntry(0x2001, 0).lowLimit);
}

const NameRow NAME_ROWS[] = {
    {{"IndexInTheMiddle"}, "MY_INDEX_3", KQ::OBJECT_TYPE_RECORD},
    {{"IndexAlone"}, "INDEX_", KQ::OBJECT_TYPE_RECORD},
    {{"NumberOfEntries"}, "Number of Entries", KQ::OBJECT_TYPE_RECORD},
    {{"NumberOfEntriesInTheMiddle"}, "the Number of Entries here", KQ::OBJECT_TYPE_RECORD},
    {{"IndexWithoutUnderscore"}, "INDEX", KQ::OBJECT_TYPE_VAR},
    {{"LowerCaseIndex"}, "my_index_3", KQ::OBJECT_TYPE_VAR},
    {{"LowerCaseEntries"}, "Number of entries", KQ::OBJECT_TYPE_VAR},
    {{"NoName"}, "", KQ::OBJECT_TYPE_VAR},
};

INSTANTIATE_TEST_SUITE_P(Names, RuntimeVariableName, testing::ValuesIn(NAME_ROWS), test::caseName<NameRow>);

TEST_F(RuntimeVariables, RecordByNameTakesFurtherSubIndexes) {
  addToStore(0x2001, 0, "MY_INDEX_3");
  addToStore(0x2001, 4, "fourth");
  bindAll();
  expectEntry(0x2001, KQ::OBJECT_TYPE_RECORD, "MY_INDEX_3");
  EXPECT_EQ(4, subEntry(0x2001, 0).value);
}

struct SubIndexRow : test::NamedCase {
  unsigned short secondAddress;
  unsigned char subIndex;
  KQ::KQCANopenObjectType entry;
};

class RuntimeVariableSubIndex : public RuntimeVariables, public testing::WithParamInterface<SubIndexRow> {};

TEST_P(RuntimeVariableSubIndex, IsTheLowByteOfTheSecondAddress) {
  addToStore(0x2001, GetParam().secondAddress, "number");
  bindAll();
  expectEntry(0x2001, GetParam().entry, "number");
  EXPECT_EQ("number", subEntry(0x2001, GetParam().subIndex).name);
}

const SubIndexRow SUB_INDEX_ROWS[] = {
    {{"Highest"}, 0xFF, 0xFF, KQ::OBJECT_TYPE_RECORD},
    {{"Wrapped"}, 0x100, 0, KQ::OBJECT_TYPE_VAR},
    {{"Above"}, 0x103, 3, KQ::OBJECT_TYPE_RECORD},
    {{"All"}, 0xFFFF, 0xFF, KQ::OBJECT_TYPE_RECORD},
};

INSTANTIATE_TEST_SUITE_P(Table, RuntimeVariableSubIndex, testing::ValuesIn(SUB_INDEX_ROWS),
                         test::caseName<SubIndexRow>);

// ---- sub-entries

TEST_F(RuntimeVariables, BecomeSubEntriesWithTheirAttributes) {
  KQVariable variable(0x2001, 1, "number");
  variable.setInitialValue(17);
  variable.setInitialText("seventeen");
  addToStore(variable);
  bindAll();
  const KQ::ObjectDictionarySubEntry& entry = subEntry(0x2001, 1);
  EXPECT_EQ("number", entry.name);
  EXPECT_TRUE(entry.pdoMappable);
  EXPECT_EQ(17, entry.defaultValue);
  EXPECT_EQ("seventeen", entry.defaultValueString);
  EXPECT_EQ(0U, entry.sdoServerID);
  EXPECT_TRUE(entry.isVariable);
}

struct AccessRow : test::NamedCase {
  int mode;
  KQ::KQCANopenAccessType access;
};

class RuntimeVariableAccessMode : public RuntimeVariables, public testing::WithParamInterface<AccessRow> {};

TEST_P(RuntimeVariableAccessMode, IsTheAccessRight) {
  KQVariable variable(0x2001, 1, "number");
  variable.setAccessMode(GetParam().mode);
  addToStore(variable);
  bindAll();
  EXPECT_EQ(GetParam().access, subEntry(0x2001, 1).accessType);
}

const AccessRow ACCESS_ROWS[] = {
    {{"ReadWrite"}, 0, KQ::ACCESS_RW},   {{"WriteOnly"}, 1, KQ::ACCESS_WO}, {{"ReadOnly"}, 2, KQ::ACCESS_RO},
    {{"Constant"}, 3, KQ::ACCESS_CONST}, {{"Other"}, -1, KQ::ACCESS_CONST},
};

INSTANTIATE_TEST_SUITE_P(Table, RuntimeVariableAccessMode, testing::ValuesIn(ACCESS_ROWS), test::caseName<AccessRow>);

struct SizeRow {
  int bits;
  int low;
  int high;
};

std::ostream& operator<<(std::ostream& stream, const SizeRow& row) {
  return stream << "Bits" << row.bits;
}

class RuntimeVariableLimits : public RuntimeVariables, public testing::WithParamInterface<SizeRow> {
protected:
  void expectLimits(bool isSigned) {
    KQVariable variable(0x2001, 1, "number", KQ::STORAGE_TYPE_INTEGER, GetParam().bits, isSigned);
    variable.setMinimum(2);
    variable.setMaximum(3);
    addToStore(variable);
    bindAll();
    EXPECT_EQ(node.canopen().calculateDataType(GetParam().bits, isSigned), subEntry(0x2001, 1).dataType);
    EXPECT_EQ(GetParam().low, subEntry(0x2001, 1).lowLimit);
    EXPECT_EQ(GetParam().high, subEntry(0x2001, 1).highLimit);
  }
};

TEST_P(RuntimeVariableLimits, FollowFromTheBytesOfAnUnsignedType) {
  expectLimits(false);
}

TEST_P(RuntimeVariableLimits, FollowFromTheBytesOfASignedType) {
  expectLimits(true);
}

const SizeRow SIZE_ROWS[] = {
    {1, -128, 127},
    {7, -128, 127},
    {8, -128, 127},
    {9, -32768, 32767},
    {12, -32768, 32767},
    {16, -32768, 32767},
    {17, -8388608, 8388608},
    {24, -8388608, 8388608},
    {25, -2147483647, 2147483647},
    {32, -2147483647, 2147483647},
    {33, -2147483647, 2147483647},
    {64, -2147483647, 2147483647},
};

INSTANTIATE_TEST_SUITE_P(Sizes, RuntimeVariableLimits, testing::ValuesIn(SIZE_ROWS), test::ReadableName());

TEST_F(RuntimeVariables, TextsAreVisibleStrings) {
  KQVariable variable(0x2001, 1, "text", KQ::STORAGE_TYPE_STRING, 8, true);
  variable.setInitialText("initial");
  addToStore(variable);
  bindAll();
  EXPECT_EQ(KQ::DATA_TYPE_VISIBLE_STRING, subEntry(0x2001, 1).dataType);
  EXPECT_EQ("initial", subEntry(0x2001, 1).defaultValueString);
  EXPECT_EQ(-2147483647, subEntry(0x2001, 1).lowLimit);
  EXPECT_EQ(2147483647, subEntry(0x2001, 1).highLimit);
}

TEST_F(RuntimeVariables, OfOneOddLengthShareADataType) {
  addToStore(KQVariable(0x2001, 1, "first", KQ::STORAGE_TYPE_INTEGER, 12, false));
  addToStore(KQVariable(0x2001, 2, "second", KQ::STORAGE_TYPE_INTEGER, 12, true));
  addToStore(KQVariable(0x2001, 3, "third", KQ::STORAGE_TYPE_INTEGER, 12, false));
  bindAll();
  EXPECT_EQ(0x40, subEntry(0x2001, 1).dataType);
  EXPECT_EQ(0x41, subEntry(0x2001, 2).dataType);
  EXPECT_EQ(0x40, subEntry(0x2001, 3).dataType);
}

TEST_F(RuntimeVariables, NinthOddLengthHasNoDataType) {
  for (unsigned short i = 0; i < 9; ++i) {
    addToStore(KQVariable(0x2001, static_cast<unsigned short>(i + 1), "odd", KQ::STORAGE_TYPE_INTEGER, 33 + i, false));
  }
  bindAll();
  EXPECT_EQ(0x47, subEntry(0x2001, 8).dataType);
  EXPECT_EQ(KQ::DATA_TYPE_NONE, subEntry(0x2001, 9).dataType);
}

}  // namespace
