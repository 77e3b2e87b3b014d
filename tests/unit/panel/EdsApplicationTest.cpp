// | covered                                                                     | kind       |
// |-----------------------------------------------------------------------------|------------|
// | VAR, ARRAY, RECORD as objects of a node, with limits and default values       | functional |
// | every data type, access type and form of a number                             | functional |
// | each thing that cannot be read: one line with file, section and key           | robustness |
#include "EdsApplication.h"

#include <gtest/gtest.h>

#include <fstream>

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "PanelError.h"
#include "TestNode.h"

namespace {

using panel::EdsApplication;

constexpr const char LIST[] = "[ManufacturerObjects]\nSupportedObjects=1\n1=0x2000\n";

// A file with one VAR at 0x2000.
std::string withVariable(const std::string& keys) {
  return LIST + ("[2000]\nParameterName=Value\n" + keys);
}

EdsApplication load(const std::string& text) {
  std::ofstream("app.eds", std::ios::binary) << text;
  return {"app.eds", 5};
}

std::string getError(const std::string& text) {
  try {
    load(text);
  } catch (const panel::PanelError& error) {
    return error.what();
  }
  return "";
}

class EdsApplicationTest : public testing::Test {
protected:
  KQ::KQVariable loadVariable(const std::string& keys) { return load(withVariable(keys)).getObjects()[0].variables[0]; }

  const test::TemporaryDirectory directory;
};

struct TypeCase {
  const char* name;
  const char* code;
  int bitLength;
  bool isSigned;
  int minimum;
  int maximum;
};

class EdsDataType : public EdsApplicationTest, public testing::WithParamInterface<TypeCase> {};

TEST_P(EdsDataType, GivesBitsSignAndWholeRange) {
  const KQ::KQVariable variable = loadVariable(std::string("AccessType=rw\nDataType=") + GetParam().code + "\n");
  EXPECT_EQ(variable.getStorageType(), KQ::STORAGE_TYPE_INTEGER);
  EXPECT_EQ(variable.getBitLength(), GetParam().bitLength);
  EXPECT_EQ(variable.isSigned(), GetParam().isSigned);
  EXPECT_EQ(variable.getMinimum(), GetParam().minimum);
  EXPECT_EQ(variable.getMaximum(), GetParam().maximum);
}

INSTANTIATE_TEST_SUITE_P(Types, EdsDataType,
                         testing::Values(TypeCase{"BOOLEAN", "0x1", 1, false, 0, 1},
                                         TypeCase{"INTEGER8", "0x2", 8, true, -128, 127},
                                         TypeCase{"INTEGER16", "0x0003", 16, true, -32768, 32767},
                                         TypeCase{"INTEGER32", "4", 32, true, -2147483647 - 1, 2147483647},
                                         TypeCase{"UNSIGNED8", "0x05", 8, false, 0, 255},
                                         TypeCase{"UNSIGNED16", "0x06", 16, false, 0, 65535},
                                         TypeCase{"UNSIGNED32", "0x7", 32, false, 0, -1},
                                         TypeCase{"INTEGER24", "0x10", 24, true, -8388608, 8388607},
                                         TypeCase{"UNSIGNED24", "0x16", 24, false, 0, 16777215}),
                         [](const auto& tested) { return std::string(tested.param.name); });

struct AccessCase {
  const char* text;
  int mode;
};

class EdsAccessType : public EdsApplicationTest, public testing::WithParamInterface<AccessCase> {};

TEST_P(EdsAccessType, GivesAccessMode) {
  EXPECT_EQ(loadVariable(std::string("DataType=5\nAccessType=") + GetParam().text + "\n").getAccessMode(),
            GetParam().mode);
}

INSTANTIATE_TEST_SUITE_P(Texts, EdsAccessType,
                         testing::Values(AccessCase{"rw", 0}, AccessCase{"rwr", 0}, AccessCase{"rww", 0},
                                         AccessCase{"wo", 1}, AccessCase{"ro", 2}, AccessCase{"const", 3},
                                         AccessCase{"RO", 2}),
                         [](const auto& tested) { return std::string(tested.param.text); });

struct NumberCase {
  const char* name;
  const char* dataType;
  const char* text;
  int value;
};

class EdsNumber : public EdsApplicationTest, public testing::WithParamInterface<NumberCase> {};

TEST_P(EdsNumber, IsReadAsDefaultValue) {
  const KQ::KQVariable variable = loadVariable(std::string("AccessType=rw\nDataType=") + GetParam().dataType +
                                               "\nDefaultValue=" + GetParam().text + "\n");
  EXPECT_EQ(variable.getInitialValue(), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, EdsNumber,
    testing::Values(NumberCase{"Decimal", "6", "1000", 1000}, NumberCase{"Hexadecimal", "6", "0x3e8", 1000},
                    NumberCase{"HexadecimalUpperCase", "6", "0X3E8", 1000}, NumberCase{"Octal", "6", "010", 8},
                    NumberCase{"Negative", "3", "-5", -5}, NumberCase{"TwosComplement", "3", "0xFFFB", -5},
                    NumberCase{"TwosComplement8", "2", "0x80", -128}, NumberCase{"Highest8", "2", "127", 127},
                    NumberCase{"Lowest8", "2", "-128", -128}, NumberCase{"Highest32", "7", "4294967295", -1},
                    NumberCase{"Empty", "6", "", 0}, NumberCase{"NodeID", "7", "$NODEID", 5},
                    NumberCase{"NodeIDFirst", "7", "$NODEID+0x180", 0x185},
                    NumberCase{"NodeIDLast", "7", "0x180 + $NodeID", 0x185},
                    NumberCase{"BeforeComment", "6", "7 ; seven", 7}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(EdsApplicationTest, TextIsKeptAsItStands) {
  const KQ::KQVariable variable = loadVariable("AccessType=rw\nDataType=0x9\nDefaultValue=Press line = 3\n");
  EXPECT_EQ(variable.getStorageType(), KQ::STORAGE_TYPE_STRING);
  EXPECT_EQ(variable.getInitialText(), "Press line = 3");
}

TEST_F(EdsApplicationTest, WithoutDefaultTheValueNearestToZeroIsTaken) {
  EXPECT_EQ(loadVariable("AccessType=rw\nDataType=5\nLowLimit=10\nHighLimit=20\n").getInitialValue(), 10);
}

TEST_F(EdsApplicationTest, WindowsLineEndsAreRead) {
  const std::string text =
      "[ManufacturerObjects]\r\nSupportedObjects=1\r\n1=0x2000\r\n"
      "[2000]\r\nParameterName=Value\r\nAccessType=rw\r\nDataType=0x0005\r\n";
  EXPECT_EQ(load(text).getObjects()[0].name, "Value");
}

TEST_F(EdsApplicationTest, ObjectsOfAllListsFrom2000OnAreTaken) {
  const std::string text =
      "[MandatoryObjects]\nSupportedObjects=1\n1=0x1000\n[OptionalObjects]\nSupportedObjects=1\n1=0x6000\n" +
      withVariable("AccessType=ro\nDataType=5\n") + "[6000]\nParameterName=Input\nAccessType=ro\nDataType=5\n";
  const EdsApplication application = load(text);
  ASSERT_EQ(application.getObjects().size(), 2U);
  EXPECT_EQ(application.getObjects()[0].index, 0x2000);
  EXPECT_EQ(application.getObjects()[1].index, 0x6000);
}

TEST_F(EdsApplicationTest, DataSheetWithoutObjectsIsAnEmptyApplication) {
  EXPECT_TRUE(load("[ManufacturerObjects]\nSupportedObjects=0\n").getObjects().empty());
}

constexpr const char MACHINE[] = R"(
[ManufacturerObjects]
SupportedObjects=3
1=0x2000
2=0x2100
3=0x21AB
[2000]
ParameterName=Device Text
ObjectType=0x7
DataType=0x9
AccessType=rw
DefaultValue=Press
[2100]
ParameterName=Drive
ObjectType=0x9
SubNumber=3
[2100sub0]
ParameterName=Highest sub-index supported
DataType=0x5
AccessType=ro
DefaultValue=0xB
[2100sub1]
ParameterName=Speed
DataType=0x3
AccessType=rw
LowLimit=-100
HighLimit=100
DefaultValue=-7
[2100subB]
ParameterName=Fault
DataType=0x6
AccessType=ro
[21ab]
ParameterName=Inputs
ObjectType=0x8
SubNumber=2
[21absub0]
ParameterName=Number of entries
DataType=0x5
AccessType=const
DefaultValue=1
[21absub1]
ParameterName=Input 1
DataType=0x1
AccessType=rw
)";

class EdsApplicationNode : public testing::Test {
protected:
  EdsApplicationNode() {
    node.init();
    application = std::make_unique<EdsApplication>(load(MACHINE));
    application->bind(node.canopen());
    node.cycle();
  }

  test::TestNode node;
  std::unique_ptr<EdsApplication> application;
};

TEST_F(EdsApplicationNode, ObjectsHaveTheirKindAndName) {
  EXPECT_EQ(node.dictionary().getEntry(0x2000)->objectType, KQ::OBJECT_TYPE_VAR);
  EXPECT_EQ(node.dictionary().getEntry(0x2100)->objectType, KQ::OBJECT_TYPE_RECORD);
  EXPECT_EQ(node.dictionary().getEntry(0x21AB)->objectType, KQ::OBJECT_TYPE_ARRAY);
  EXPECT_EQ(node.dictionary().getEntry(0x2100)->name, "Drive");
  EXPECT_EQ(node.dictionary().getSubentry(0x2100, 1)->name, "Speed");
}

TEST_F(EdsApplicationNode, DefaultsAreReadOverSDO) {
  EXPECT_EQ(node.receive("605#40 00 21 00 00 00 00 00"), test::Frames({"585#4F 00 21 00 0B 00 00 00"}));
  EXPECT_EQ(node.receive("605#40 00 21 01 00 00 00 00"), test::Frames({"585#4B 00 21 01 F9 FF 00 00"}));
}

TEST_F(EdsApplicationNode, WrittenValueIsInTheStore) {
  EXPECT_EQ(node.receive("605#2B 00 21 01 64 00 00 00"), test::Frames({"585#60 00 21 01 00 00 00 00"}));
  int value = 0;
  EXPECT_EQ(KQ::KQDEI::instance()->getVariableValue(0x2100, 1, &value), 0);
  EXPECT_EQ(value, 100);
}

TEST_F(EdsApplicationNode, ValueOutsideTheLimitsIsRefused) {
  EXPECT_EQ(node.dictionary().setValue(0x2100, 1, 101, false), 0x06090030);
  EXPECT_EQ(node.dictionary().setValue(0x2100, 1, -101, false), 0x06090030);
  EXPECT_EQ(node.dictionary().setValue(0x2100, 1, -100, false), 0);
}

TEST_F(EdsApplicationNode, ReadOnlyAndConstantObjectsAreNotWritten) {
  EXPECT_EQ(node.dictionary().setValue(0x2100, 0x0B, 1, false), 0x06010002);
  EXPECT_EQ(node.dictionary().setValue(0x21AB, 0, 1, false), 0x06010002);
}

TEST_F(EdsApplicationNode, TextIsInTheStore) {
  std::string text;
  EXPECT_EQ(KQ::KQDEI::instance()->getVariableValue(0x2000, 0, &text), 0);
  EXPECT_EQ(text, "Press");
}

struct ErrorCase {
  const char* name;
  std::string text;
  const char* error;
};

class EdsError : public EdsApplicationTest, public testing::WithParamInterface<ErrorCase> {};

TEST_P(EdsError, NamesSectionAndKey) {
  EXPECT_EQ(getError(GetParam().text), GetParam().error);
}

const std::string RECORD = std::string(LIST) + "[2000]\nParameterName=Record\nObjectType=9\n";

INSTANTIATE_TEST_SUITE_P(
    File, EdsError,
    testing::Values(
        ErrorCase{"NoLists", "[FileInfo]\nFileName=app.eds\n",
                  "app.eds: [ManufacturerObjects] SupportedObjects: is missing, the file is no EDS"},
        ErrorCase{"NoINI", "[ManufacturerObjects]\nnonsense\n", "app.eds: line 2 is neither a section nor a key"},
        ErrorCase{"NoCount", "[ManufacturerObjects]\n1=0x2000\n",
                  "app.eds: [ManufacturerObjects] SupportedObjects: is missing"},
        ErrorCase{"ListTooShort", "[ManufacturerObjects]\nSupportedObjects=1\n",
                  "app.eds: [ManufacturerObjects] 1: is missing"},
        ErrorCase{"IndexTooLarge", "[ManufacturerObjects]\nSupportedObjects=1\n1=0x10000\n",
                  "app.eds: [ManufacturerObjects] 1: '0x10000' is out of range"},
        ErrorCase{"ListedTwice", "[ManufacturerObjects]\nSupportedObjects=2\n1=0x2000\n2=0x2000\n",
                  "app.eds: [ManufacturerObjects] 2: 0x2000 is listed twice"},
        ErrorCase{"NoSection", LIST, "app.eds: [2000] ParameterName: is missing, although the object is listed"}),
    [](const auto& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Object, EdsError,
    testing::Values(ErrorCase{"NoName", std::string(LIST) + "[2000]\nDataType=5\nAccessType=rw\n",
                              "app.eds: [2000] ParameterName: is missing"},
                    ErrorCase{"NoDataType", withVariable("AccessType=rw\n"), "app.eds: [2000] DataType: is missing"},
                    ErrorCase{"WrongDataType", withVariable("AccessType=rw\nDataType=five\n"),
                              "app.eds: [2000] DataType: 'five' is not a number"},
                    ErrorCase{"UnknownDataType", withVariable("AccessType=rw\nDataType=0x40\n"),
                              "app.eds: [2000] DataType: 0x40 is not a type that a variable can hold"},
                    ErrorCase{"FloatingPoint", withVariable("AccessType=rw\nDataType=0x8\n"),
                              "app.eds: [2000] DataType: REAL32 is not a type that a variable can hold"},
                    ErrorCase{"Domain", withVariable("AccessType=rw\nDataType=0xF\n"),
                              "app.eds: [2000] DataType: DOMAIN is not a type that a variable can hold"},
                    ErrorCase{"FortyBits", withVariable("AccessType=rw\nDataType=0x12\n"),
                              "app.eds: [2000] DataType: INTEGER40 has more than the 32 bits of a variable"},
                    ErrorCase{"SixtyFourBits", withVariable("AccessType=rw\nDataType=0x1B\n"),
                              "app.eds: [2000] DataType: UNSIGNED64 has more than the 32 bits of a variable"},
                    ErrorCase{"NoAccessType", withVariable("DataType=5\n"), "app.eds: [2000] AccessType: is missing"},
                    ErrorCase{"WrongAccessType", withVariable("DataType=5\nAccessType=read\n"),
                              "app.eds: [2000] AccessType: 'read' is not ro, wo, rw, rwr, rww or const"},
                    ErrorCase{"WrongObjectType", withVariable("ObjectType=2\n"),
                              "app.eds: [2000] ObjectType: is not VAR (0x7), ARRAY (0x8) or RECORD (0x9)"},
                    ErrorCase{"KeyGivenTwice", withVariable("DataType=5\nDataType=6\n"),
                              "app.eds: [2000] DataType: is given more than once"}),
    [](const auto& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Values, EdsError,
    testing::Values(
        ErrorCase{"DefaultTooLarge", withVariable("AccessType=rw\nDataType=5\nDefaultValue=256\n"),
                  "app.eds: [2000] DefaultValue: '256' does not fit into UNSIGNED8"},
        ErrorCase{"DefaultNegative", withVariable("AccessType=rw\nDataType=7\nDefaultValue=-1\n"),
                  "app.eds: [2000] DefaultValue: '-1' does not fit into UNSIGNED32"},
        ErrorCase{"DecimalAboveSignedRange", withVariable("AccessType=rw\nDataType=2\nDefaultValue=128\n"),
                  "app.eds: [2000] DefaultValue: '128' does not fit into INTEGER8"},
        ErrorCase{"DefaultNotANumber", withVariable("AccessType=rw\nDataType=5\nDefaultValue=0x\n"),
                  "app.eds: [2000] DefaultValue: '0x' is not a number"},
        ErrorCase{"NodeIDBeyondNumbers",
                  withVariable("AccessType=rw\nDataType=7\nDefaultValue=$NODEID+0x7FFFFFFFFFFFFFFF\n"),
                  "app.eds: [2000] DefaultValue: '$NODEID+0x7FFFFFFFFFFFFFFF' is not a number"},
        ErrorCase{"NodeIDWithoutPlus", withVariable("AccessType=rw\nDataType=7\nDefaultValue=$NODEID-1\n"),
                  "app.eds: [2000] DefaultValue: '$NODEID-1' is not a number"},
        ErrorCase{"LimitTooLarge", withVariable("AccessType=rw\nDataType=5\nHighLimit=0x100\n"),
                  "app.eds: [2000] HighLimit: '0x100' does not fit into UNSIGNED8"},
        ErrorCase{"LimitsCrossed", withVariable("AccessType=rw\nDataType=5\nLowLimit=2\nHighLimit=1\n"),
                  "app.eds: [2000] LowLimit: is above HighLimit"},
        ErrorCase{"DefaultOutsideLimits", withVariable("AccessType=rw\nDataType=5\nHighLimit=10\nDefaultValue=11\n"),
                  "app.eds: [2000] DefaultValue: is outside LowLimit to HighLimit"},
        ErrorCase{"NoSubNumber", RECORD, "app.eds: [2000] SubNumber: is missing"},
        ErrorCase{"SubNumberZero", RECORD + "SubNumber=0\n", "app.eds: [2000] SubNumber: '0' is out of range"},
        ErrorCase{"SubIndexMissing", RECORD + "SubNumber=2\n[2000sub0]\nParameterName=N\nDataType=5\nAccessType=ro\n",
                  "app.eds: [2000] SubNumber: does not agree with the 1 sub-indexes in the file"},
        ErrorCase{"SubIndexWrong", RECORD + "SubNumber=1\n[2000sub0]\nParameterName=N\nDataType=5\n",
                  "app.eds: [2000sub0] AccessType: is missing"},
        ErrorCase{"CompactForm", RECORD + "CompactSubObj=3\n",
                  "app.eds: [2000] CompactSubObj: is not supported, every sub-index needs a section of its own"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(EdsApplicationTest, MissingFileIsNamed) {
  try {
    const EdsApplication application("missing.eds", 5);
    FAIL() << "read";
  } catch (const panel::PanelError& error) {
    EXPECT_STREQ(error.what(), "--app: cannot read 'missing.eds': No such file or directory");
  }
}

TEST_F(EdsApplicationTest, DirectoryIsNoFile) {
  try {
    const EdsApplication application(".", 5);
    FAIL() << "read";
  } catch (const panel::PanelError& error) {
    EXPECT_STREQ(error.what(), "--app: cannot read '.': Is a directory");
  }
}

}  // namespace
