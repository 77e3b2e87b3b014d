// Covers: the objects that a fresh node has.
//
// | subject                                        | functional                                    | robustness |
// |------------------------------------------------|-----------------------------------------------|------------|
// | every sub-entry of data type and profile area  | all of its properties                         |            |
// | exactly these entries and sub-entries          | x                                             |            |
// | values that depend on the node ID, lowest and  | x                                             |            |
// | highest                                        |                                               |            |
// | product code, serial number text in every base | x                                             |            |
// | and length                                     |                                               |            |
// | software version from the application          | x                                             |            |
// | created twice                                  | values back, names and highest sub-indexes as |            |
// |                                                | before                                        |            |
// | default description file                       | x                                             |            |

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "FreshNodeFixture.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQExternalVariable.h"
#include "StandardObjectsTable.h"

using namespace KQ;
using test::ExpectedObject;
using test::stored;

namespace {

std::string objectName(const testing::TestParamInfo<ExpectedObject>& info) {
  std::ostringstream name;
  name << "x" << std::hex << info.param.index << "sub" << static_cast<unsigned int>(info.param.subIndex);
  return name.str();
}

class StandardObject : public test::FreshNodeFixture, public testing::WithParamInterface<ExpectedObject> {
protected:
  void SetUp() override {
    ASSERT_EQ(KQ_OK, dictionary.createPreDefinedConnectionSet());
    entry = dictionary.getEntry(GetParam().index);
    ASSERT_NE(nullptr, entry);
    sub = dictionary.getSubentry(GetParam().index, GetParam().subIndex);
    ASSERT_NE(nullptr, sub);
  }

  const ObjectDictionaryEntry* entry = nullptr;
  const ObjectDictionarySubEntry* sub = nullptr;
};

TEST_P(StandardObject, EntryHasNameAndObjectType) {
  EXPECT_EQ(GetParam().index, entry->index);
  EXPECT_EQ(GetParam().entryName, entry->name);
  EXPECT_EQ(GetParam().objectType, entry->objectType);
}

TEST_P(StandardObject, SubEntryHasNameAccessAndType) {
  EXPECT_EQ(GetParam().subIndex, sub->subIndex);
  EXPECT_EQ(GetParam().subName, sub->name);
  EXPECT_EQ(GetParam().access, KQCANopenObjectDictionary::getAccessTypeString(sub->accessType));
  EXPECT_EQ(GetParam().dataType, sub->dataType);
}

TEST_P(StandardObject, StartsWithItsDefault) {
  EXPECT_EQ(stored(GetParam().defaultValue), sub->defaultValue);
  EXPECT_EQ(stored(GetParam().defaultValue), sub->value);
}

TEST_P(StandardObject, StartsWithItsDefaultText) {
  EXPECT_EQ(GetParam().defaultText, sub->defaultValueString);
  EXPECT_EQ(GetParam().defaultText, sub->valueString);
}

TEST_P(StandardObject, HasItsLimits) {
  EXPECT_EQ(stored(GetParam().lowLimit), sub->lowLimit);
  EXPECT_EQ(stored(GetParam().highLimit), sub->highLimit);
}

TEST_P(StandardObject, HasItsMappingAndNoServer) {
  EXPECT_EQ(GetParam().pdoMappable, sub->pdoMappable);
  EXPECT_EQ(0U, sub->sdoServerID);
  EXPECT_FALSE(sub->isVariable);
}

INSTANTIATE_TEST_SUITE_P(DataTypes, StandardObject, testing::ValuesIn(test::dataTypeObjects()), objectName);
INSTANTIATE_TEST_SUITE_P(Profile, StandardObject, testing::ValuesIn(test::profileObjects({})), objectName);

class StandardObjects : public test::FreshNodeFixture {
protected:
  void create() { ASSERT_EQ(KQ_OK, dictionary.createPreDefinedConnectionSet()); }

  int valueOf(unsigned short index, unsigned char subIndex) {
    int value = 0;
    EXPECT_EQ(KQ_OK, dictionary.getValue(index, subIndex, value));
    return value;
  }

  std::string textOf(unsigned short index) {
    std::string text;
    EXPECT_EQ(KQ_OK, dictionary.getValue(index, 0, text));
    return text;
  }
};

TEST_F(StandardObjects, AreAllThereIs) {
  create();
  std::map<unsigned short, std::size_t> expected;
  for (const ExpectedObject& object : test::standardObjects({})) {
    ++expected[object.index];
  }
  for (unsigned int i = 0; i <= 0xFFFF; ++i) {
    const auto index = static_cast<unsigned short>(i);
    const ObjectDictionaryEntry* const entry = dictionary.getEntry(index);
    const std::size_t count = entry == nullptr ? 0 : entry->subEntries.size();
    EXPECT_EQ(expected.count(index) == 0 ? 0 : expected[index], count) << std::hex << index;
  }
}

TEST_F(StandardObjects, DataTypeAreaAloneHasNoProfileObjects) {
  EXPECT_EQ(KQ_OK, dictionary.createDataTypeEntries());
  EXPECT_TRUE(dictionary.objectExists(0x0001));
  EXPECT_TRUE(dictionary.objectExists(0x001B));
  EXPECT_FALSE(dictionary.objectExists(0x1000));
  EXPECT_FALSE(std::filesystem::exists("tavo_default.dcf"));
}

TEST_F(StandardObjects, ArePrintedNowhere) {
  create();
  EXPECT_EQ("", output.takeOutput());
  EXPECT_EQ("", output.takeErrors());
}

class NodeIDValues : public StandardObjects, public testing::WithParamInterface<int> {};

TEST_P(NodeIDValues, FollowTheNodeID) {
  node.setNodeID(static_cast<unsigned char>(GetParam()));
  create();
  EXPECT_EQ(0x80 + GetParam(), valueOf(0x1014, 0));
  EXPECT_EQ(0x600 + GetParam(), valueOf(0x1200, 1));
  EXPECT_EQ(0x580 + GetParam(), valueOf(0x1200, 2));
}

TEST_P(NodeIDValues, KeepTheTextOfTheExpression) {
  node.setNodeID(static_cast<unsigned char>(GetParam()));
  create();
  EXPECT_EQ("$NODEID+0x80", dictionary.getSubentry(0x1014, 0)->defaultValueString);
  EXPECT_EQ("$NODEID+0x600", dictionary.getSubentry(0x1200, 1)->defaultValueString);
  EXPECT_EQ("$NODEID+0x580", dictionary.getSubentry(0x1200, 2)->defaultValueString);
}

INSTANTIATE_TEST_SUITE_P(NodeIDs, NodeIDValues, testing::Values(0, 1, 5, 127, 255));

// ---- identity

TEST_F(StandardObjects, ProductCodeIsTheProductType) {
  environment.set("KQ_PRODUCT_TYPE", "4294967295");
  create();
  EXPECT_EQ(-1, valueOf(0x1018, 2));
}

struct SerialRow {
  const char* name;
  const char* text;
  int serialNumber;
  int revisionNumber;
};

class SerialNumber : public StandardObjects, public testing::WithParamInterface<SerialRow> {};

TEST_P(SerialNumber, IsTakenApart) {
  environment.set("KQ_SERIAL_NUMBER", GetParam().text);
  create();
  EXPECT_EQ(GetParam().serialNumber, valueOf(0x1018, 4));
  EXPECT_EQ(GetParam().revisionNumber, valueOf(0x1018, 3));
}

const SerialRow SERIAL_NUMBERS[] = {
    {"Decimal", "123456702", 1234567, 2},
    {"TwoDigitRevision", "123456710", 1234567, 10},
    {"LargestDecimal", "999999999", 9999999, 99},
    {"EightCharacters", "12345670", 0, 0},
    {"OneCharacter", "1", 0, 0},
    {"TenCharacters", "1234567234", 1234567, 23},
    {"OctalSerial", "012345610", 0123456, 10},
    {"OctalRevision", "123456707", 1234567, 7},
    {"OctalRevisionEndsAtEight", "123456708", 1234567, 0},
    {"OctalRevisionEndsAtNine", "123456709", 1234567, 0},
    {"OctalSerialEndsAtEight", "012845610", 012, 10},
    {"HexadecimalSerial", "0x1ABcD10", 0x1ABCD, 10},
    {"UpperCasePrefix", "0X1ABCD10", 0x1ABCD, 10},
    {"HexadecimalEndsAtOtherLetters", "0x12G4510", 0x12, 10},
    {"PrefixAloneIsZero", "0xGHIJK10", 0, 10},
    {"RevisionOfPrefixAloneIsZero", "12345670x1", 1234567, 0},
    {"EndsAtTheFirstLetter", "12a456710", 12, 10},
    {"NoNumbers", "abcdefghi", 0, 0},
    {"Zeros", "000000000", 0, 0},
};

INSTANTIATE_TEST_SUITE_P(Texts, SerialNumber, testing::ValuesIn(SERIAL_NUMBERS), test::rowName());

// ---- software version

class SoftwareVersion : public StandardObjects {
protected:
  void SetUp() override { KQDEI::instance()->clear(); }
  void TearDown() override { KQDEI::instance()->clear(); }

  void addVersion(unsigned char subIndex, const std::string& text) {
    const KQExternalVariable variable(0x2400, subIndex, "Version", STORAGE_TYPE_STRING, 0, 0, 0, text, 32, false,
                                      nullptr);
    ASSERT_EQ(KQ_OK, KQDEI::instance()->addVariable(&variable));
    addText(0x2400, subIndex, "");
    dictionary.setDEI(KQDEI::instance());
  }
};

TEST_F(SoftwareVersion, IsTakenFromTheApplication) {
  addVersion(0x0F, "2.7.1");
  create();
  EXPECT_EQ("2.7.1", textOf(0x100A));
  EXPECT_EQ("2.7.1", dictionary.getSubentry(0x100A, 0)->defaultValueString);
}

TEST_F(SoftwareVersion, OfAnotherSubIndexDoesNotCount) {
  addVersion(0x0E, "2.7.1");
  create();
  EXPECT_EQ("undefined", textOf(0x100A));
}

TEST_F(SoftwareVersion, IsUndefinedWithoutItsVariable) {
  addText(0x2400, 0x0F, "");
  dictionary.setDEI(KQDEI::instance());
  create();
  EXPECT_EQ("undefined", textOf(0x100A));
}

TEST_F(SoftwareVersion, IsTakenWhenCreatedAgain) {
  create();
  EXPECT_EQ("undefined", textOf(0x100A));
  addVersion(0x0F, "2.7.1");
  create();
  EXPECT_EQ("2.7.1", textOf(0x100A));
}

// ---- created twice

TEST_F(StandardObjects, CreatedAgainHaveTheirDefaultsBack) {
  create();
  dictionary.setValue(0x1017, 0, 1000, true);
  dictionary.setValue(0x1008, 0, std::string("changed"), true);
  create();
  EXPECT_EQ(0, valueOf(0x1017, 0));
  EXPECT_EQ("TAVO", textOf(0x1008));
}

TEST_F(StandardObjects, CreatedAgainHaveTheirHighestSubIndexes) {
  create();
  create();
  EXPECT_EQ(1, valueOf(0x1003, 0));
  EXPECT_EQ(3, valueOf(0x1010, 0));
  EXPECT_EQ(3, valueOf(0x1011, 0));
  EXPECT_EQ(1, valueOf(0x1016, 0));
  EXPECT_EQ(4, valueOf(0x1018, 0));
  EXPECT_EQ(2, valueOf(0x1200, 0));
}

TEST_F(StandardObjects, CreatedAgainHaveTheirLimitsBack) {
  create();
  dictionary.setLimits(0x1017, 0, 5, 6);
  create();
  EXPECT_EQ(0, dictionary.getSubentry(0x1017, 0)->lowLimit);
  EXPECT_EQ(65535, dictionary.getSubentry(0x1017, 0)->highLimit);
}

TEST_F(StandardObjects, ExistingEntryKeepsNameAndType) {
  dictionary.addEntry(0x1000, OBJECT_TYPE_RECORD, "Mine");
  create();
  EXPECT_EQ("Mine", dictionary.getEntry(0x1000)->name);
  EXPECT_EQ(OBJECT_TYPE_RECORD, dictionary.getEntry(0x1000)->objectType);
  EXPECT_TRUE(dictionary.subObjectExists(0x1000, 0));
}

TEST_F(StandardObjects, FollowANodeIDChangedInBetween) {
  create();
  node.setNodeID(9);
  create();
  EXPECT_EQ(0x89, valueOf(0x1014, 0));
}

// ---- default description file

TEST_F(StandardObjects, AreWrittenToTheDefaultFile) {
  create();
  EXPECT_EQ("[FileInfo]\nFileName=tavo.dcf\nF", directory.read("tavo_default.dcf").substr(0, 30));
  EXPECT_FALSE(std::filesystem::exists("tavo.dcf"));
}

TEST_F(StandardObjects, DefaultFileHoldsTheLastObject) {
  create();
  EXPECT_NE(std::string::npos, directory.read("tavo_default.dcf").find("[1200sub2]\n"));
}

TEST_F(StandardObjects, AreThereAlsoWhenTheDefaultFileCannotBeWritten) {
  std::filesystem::create_directory("tavo_default.dcf");
  EXPECT_EQ(KQ_OK, dictionary.createPreDefinedConnectionSet());
  EXPECT_EQ(2, valueOf(0x1200, 0));
}

}  // namespace
