// Covers: the sections of single objects in the description file.
//
// | subject                                      | functional                                       | robustness |
// |----------------------------------------------|--------------------------------------------------|------------|
// | VAR                                          | order of the lines, without sub-index 0, further |            |
// |                                              | parts                                            |            |
// | ARRAY and RECORD                             | order of the lines, numbers, names               |            |
// | other object types, entries of the data type | x                                                |            |
// | area                                         |                                                  |            |
// | width of the values for every size of type   | x                                                |            |
// | current value against default, texts,        | x                                                |            |
// | expressions                                  |                                                  |            |
// | access texts                                 | x                                                |            |

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "DcfFixture.h"
#include "KQCANopen.h"
#include "KQErrorCodes.h"
#include "TestNode.h"

using namespace KQ;
using test::stored;

namespace {

class DcfSection : public test::DcfFixture {
protected:
  void addVar(unsigned short index, KQCANopenDataType dataType, int value, KQCANopenAccessType access = ACCESS_RW) {
    dictionary.addEntry(index, OBJECT_TYPE_VAR, "A Var");
    dictionary.addSubentry(index, 0, access, dataType, "hidden", false, value, "", 0);
  }

  // Everything after the lists of objects.
  std::string sections() {
    const std::string text = exported();
    const std::size_t lists = text.find("[ManufacturerObjects]");
    return text.substr(text.find("\n\n", lists) + 2);
  }
};

TEST_F(DcfSection, OfAVar) {
  addVar(0x100A, DATA_TYPE_UNSIGNED16, 0x1234);
  EXPECT_EQ(
      "[100a]\n"
      "ParameterName=A Var\n"
      "ObjectType=0x7\n"
      "DataType=0x6\n"
      "AccessType=rw\n"
      "PDOMapping=0\n"
      "LowLimit=0x0\n"
      "HighLimit=0xffff\n"
      "DefaultValue=0x1234\n"
      "ParameterValue=0x1234\n"
      "\n",
      sections());
}

TEST_F(DcfSection, OfATextVar) {
  dictionary.addEntry(0x1008, OBJECT_TYPE_VAR, "Name");
  dictionary.addSubentry(0x1008, 0, ACCESS_CONST, DATA_TYPE_VISIBLE_STRING, "", true, 0, "TAVO", 0);
  dictionary.setValue(0x1008, 0, std::string("changed"), true);
  EXPECT_EQ(
      "[1008]\n"
      "ParameterName=Name\n"
      "ObjectType=0x7\n"
      "DataType=0x9\n"
      "AccessType=const\n"
      "PDOMapping=1\n"
      "DefaultValue=TAVO\n"
      "ParameterValue=changed\n"
      "\n",
      sections());
}

TEST_F(DcfSection, OfAVarWithoutSubIndexZero) {
  dictionary.addEntry(0x1300, OBJECT_TYPE_VAR, "Empty");
  EXPECT_EQ("[1300]\nParameterName=Empty\nObjectType=0x7\n\n", sections());
}

TEST_F(DcfSection, OfAVarWithOtherSubIndexesOnly) {
  dictionary.addEntry(0x1300, OBJECT_TYPE_VAR, "Odd");
  addObject(0x1300, 1, 5);
  EXPECT_EQ("[1300]\nParameterName=Odd\nObjectType=0x7\n\n", sections());
}

TEST_F(DcfSection, OfAVarShowsSubIndexZeroAlone) {
  addVar(0x1300, DATA_TYPE_UNSIGNED8, 1);
  addObject(0x1300, 1, 5);
  EXPECT_EQ(std::string::npos, sections().find("sub1"));
}

struct CompoundRow {
  const char* name;
  KQCANopenObjectType objectType;
  const char* line;
};

class DcfCompound : public DcfSection, public testing::WithParamInterface<CompoundRow> {};

TEST_P(DcfCompound, HasASectionForEachPart) {
  dictionary.addEntry(0x1A00, GetParam().objectType, "Parts");
  dictionary.addSubentry(0x1A00, 0x1A, ACCESS_RWW, DATA_TYPE_INTEGER8, "Part", true, -1, "", 0);
  EXPECT_EQ(std::string("[1a00]\n"
                        "ParameterName=Parts\n") +
                GetParam().line +
                "SubNumber=1\n"
                "\n"
                "[1a00sub1a]\n"
                "ParameterName=Part\n"
                "ObjectType=0x7\n"
                "DataType=0x2\n"
                "AccessType=rww\n"
                "LowLimit=0x0\n"
                "HighLimit=0xff\n"
                "DefaultValue=0xff\n"
                "ParameterValue=0xff\n"
                "PDOMapping=1\n"
                "\n",
            sections());
}

TEST_P(DcfCompound, WithoutPartsCountsNone) {
  dictionary.addEntry(0x1A00, GetParam().objectType, "Parts");
  EXPECT_EQ(std::string("[1a00]\nParameterName=Parts\n") + GetParam().line + "SubNumber=0\n\n", sections());
}

const CompoundRow COMPOUNDS[] = {{"Array", OBJECT_TYPE_ARRAY, "ObjectType=0x8\n"},
                                 {"Record", OBJECT_TYPE_RECORD, "ObjectType=0x9\n"}};

INSTANTIATE_TEST_SUITE_P(Types, DcfCompound, testing::ValuesIn(COMPOUNDS), test::rowName());

TEST_F(DcfSection, NumberOfPartsIsDecimal) {
  dictionary.addEntry(0x1A00, OBJECT_TYPE_ARRAY, "Parts");
  for (unsigned char i = 0; i < 12; ++i) {
    addObject(0x1A00, i, 0);
  }
  EXPECT_EQ("ParameterName=Parts\nObjectType=0x8\nSubNumber=12\n", section(exported(), "1a00"));
}

TEST_F(DcfSection, TextPartShowsItsTexts) {
  dictionary.addEntry(0x1A00, OBJECT_TYPE_RECORD, "Parts");
  addText(0x1A00, 1, "text");
  EXPECT_EQ(
      "ParameterName=Text\nObjectType=0x7\nDataType=0x9\nAccessType=rw\nDefaultValue=text\nParameterValue=text\n"
      "PDOMapping=0\n",
      section(exported(), "1a00sub1"));
}

TEST_F(DcfSection, OfAnotherObjectTypeEndsAfterTheType) {
  dictionary.addEntry(0x1300, static_cast<KQCANopenObjectType>(2), "Domain");
  addObject(0x1300, 0, 5);
  EXPECT_EQ("[1300]\nParameterName=Domain\nObjectType=0x2\n\n", sections());
}

TEST_F(DcfSection, OfTheDataTypeAreaIsABlankLine) {
  addVar(0x0001, DATA_TYPE_BOOLEAN, 0);
  EXPECT_EQ("\n", sections());
}

TEST_F(DcfSection, LastEntryOfTheDataTypeAreaIsABlankLine) {
  addVar(0x0FFF, DATA_TYPE_BOOLEAN, 0);
  EXPECT_EQ("\n", sections());
}

TEST_F(DcfSection, FirstEntryOfTheProfileAreaIsWritten) {
  addVar(0x1000, DATA_TYPE_UNSIGNED32, 0);
  EXPECT_EQ("[1000]\n", sections().substr(0, 7));
}

TEST_F(DcfSection, HighestIndexIsWritten) {
  addVar(0xFFFF, DATA_TYPE_UNSIGNED32, 0);
  EXPECT_EQ("[ffff]\n", sections().substr(0, 7));
}

TEST_F(DcfSection, OfTheIdentityObject) {
  dictionary.createPreDefinedConnectionSet();
  const std::string text = exported();
  EXPECT_EQ("ParameterName=Identitiy Object\nObjectType=0x9\nSubNumber=5\n", section(text, "1018"));
  EXPECT_EQ(
      "ParameterName=Number of Entries\nObjectType=0x7\nDataType=0x5\nAccessType=ro\nLowLimit=0x1\n"
      "HighLimit=0x4\nDefaultValue=0x4\nParameterValue=0x4\nPDOMapping=0\n",
      section(text, "1018sub0"));
}

TEST_F(DcfSection, ExpressionOfTheNodeIDIsShownAsItsNumber) {
  dictionary.createPreDefinedConnectionSet();
  const std::string text = section(exported(), "1014");
  EXPECT_NE(std::string::npos, text.find("DefaultValue=0x85\nParameterValue=0x85\n"));
  EXPECT_EQ(std::string::npos, text.find("NODEID"));
}

TEST_F(DcfSection, CurrentValueStandsBesideTheDefault) {
  dictionary.createPreDefinedConnectionSet();
  dictionary.setValue(0x1017, 0, 0x1234, false);
  EXPECT_NE(std::string::npos, section(exported(), "1017").find("DefaultValue=0x0\nParameterValue=0x1234\n"));
}

TEST_F(DcfSection, WriteOnlyValueIsShown) {
  addVar(0x1300, DATA_TYPE_UNSIGNED8, 7, ACCESS_WO);
  EXPECT_NE(std::string::npos, section(exported(), "1300").find("AccessType=wo\n"));
  EXPECT_NE(std::string::npos, section(exported(), "1300").find("ParameterValue=0x7\n"));
}

// ---- width of the values

struct WidthRow {
  const char* name;
  int dataType;
  unsigned int mask;
};

class DcfValueWidth : public DcfSection, public testing::WithParamInterface<WidthRow> {
protected:
  static std::string line(const char* key, unsigned int value) {
    std::ostringstream text;
    text << key << "=0x" << std::hex << (value & GetParam().mask) << "\n";
    return text.str();
  }

  std::string written(unsigned int low, unsigned int high, unsigned int defaultValue, unsigned int value) {
    addVar(0x1300, static_cast<KQCANopenDataType>(GetParam().dataType), stored(defaultValue));
    dictionary.setLimits(0x1300, 0, stored(low), stored(high));
    *dictionary.getPointerToValue(0x1300, 0) = stored(value);
    const std::string text = section(exported(), "1300");
    return text.substr(text.find("LowLimit"));
  }

  static std::string expected(unsigned int low, unsigned int high, unsigned int defaultValue, unsigned int value) {
    return line("LowLimit", low) + line("HighLimit", high) + line("DefaultValue", defaultValue) +
           line("ParameterValue", value);
  }
};

TEST_P(DcfValueWidth, FollowsTheSizeOfTheType) {
  EXPECT_EQ(expected(0x87654321, 0xFFFFFFFF, 0x12345678, 0xFEDCBA98),
            written(0x87654321, 0xFFFFFFFF, 0x12345678, 0xFEDCBA98));
}

TEST_P(DcfValueWidth, HasNoLeadingZeros) {
  EXPECT_EQ(expected(0, 1, 0xA, 0xB), written(0, 1, 0xA, 0xB));
}

const WidthRow WIDTHS[] = {
    {"NoType", 0x00, 0xFF},
    {"Boolean", 0x01, 0xFF},
    {"Integer8", 0x02, 0xFF},
    {"Integer16", 0x03, 0xFFFF},
    {"Integer32", 0x04, 0xFFFFFFFF},
    {"Unsigned8", 0x05, 0xFF},
    {"Unsigned16", 0x06, 0xFFFF},
    {"Unsigned32", 0x07, 0xFFFFFFFF},
    {"Real32", 0x08, 0xFFFFFFFF},
    {"OctetString", 0x0A, 0xFFFFFFFF},
    {"UnicodeString", 0x0B, 0xFFFFFFFF},
    {"TimeOfDay", 0x0C, 0xFFFFFFFF},
    {"Domain", 0x0F, 0xFFFFFFFF},
    {"Integer24", 0x10, 0xFFFFFFFF},
    {"Unsigned24", 0x16, 0xFFFFFFFF},
    {"Unsigned64", 0x1B, 0xFFFFFFFF},
    {"UndefinedManufacturerType", 0x40, 0xFFFFFFFF},
    {"UnknownType", 0x100, 0xFFFFFFFF},
};

INSTANTIATE_TEST_SUITE_P(Types, DcfValueWidth, testing::ValuesIn(WIDTHS), test::rowName());

TEST(DcfManufacturerType, ShowsTheWidthOfItsDefinition) {
  test::TestNode node;
  node.init();
  const auto dataType = static_cast<KQCANopenDataType>(node.canopen().createDataTypeIfNotExisting(12, true));
  node.dictionary().addEntry(0x1300, OBJECT_TYPE_VAR, "Object");
  node.dictionary().addSubentry(0x1300, 0, ACCESS_RW, dataType, "", false, -1, "", 0);
  ASSERT_EQ(KQ_OK, node.dictionary().storeParameters("export.dcf"));
  EXPECT_NE(std::string::npos, node.directory.read("export.dcf")
                                   .find("DataType=0x40\nAccessType=rw\nPDOMapping=0\nLowLimit=0x0\n"
                                         "HighLimit=0xffff\nDefaultValue=0xffff\nParameterValue=0xffff\n"));
}

}  // namespace
