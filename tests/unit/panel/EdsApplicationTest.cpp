// Covers: an application that is made of a description.
//
// | subject                                                                   | functional | robustness |
// |---------------------------------------------------------------------------|------------|------------|
// | VAR, ARRAY, RECORD as objects of a node, with limits and default values   | x          |            |
// | every data type, access type and form of a number                         | x          |            |
// | what a variable cannot hold is left out, in one line with section and key |            | x          |
// | PDO mapping right, node-ID, communication of the node: the whole device   | x          |            |

#include "EdsApplication.h"

#include <gtest/gtest.h>

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "TestNode.h"

namespace {

using panel::EdsApplication;

constexpr const char LIST[] = "[ManufacturerObjects]\nSupportedObjects=1\n1=0x2000\n";

// A file with one VAR at 0x2000.
std::string withVariable(const std::string& keys) {
  return LIST + ("[2000]\nParameterName=Value\n" + keys);
}

EdsApplication load(const std::string& text, device_description::Findings& findings) {
  return {device_description::DeviceDescription::parse(text, "app.eds", 5, findings), "app.eds", findings};
}

EdsApplication load(const std::string& text) {
  device_description::Findings findings;
  return load(text, findings);
}

class EdsApplicationTest : public testing::Test {
protected:
  KQ::KQVariable loadVariable(const std::string& keys) { return load(withVariable(keys)).getObjects()[0].variables[0]; }
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
  EXPECT_EQ(KQ::STORAGE_TYPE_INTEGER, variable.getStorageType());
  EXPECT_EQ(GetParam().bitLength, variable.getBitLength());
  EXPECT_EQ(GetParam().isSigned, variable.isSigned());
  EXPECT_EQ(GetParam().minimum, variable.getMinimum());
  EXPECT_EQ(GetParam().maximum, variable.getMaximum());
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
  EXPECT_EQ(GetParam().mode,
            loadVariable(std::string("DataType=5\nAccessType=") + GetParam().text + "\n").getAccessMode());
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
  EXPECT_EQ(GetParam().value, variable.getInitialValue());
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
  EXPECT_EQ(KQ::STORAGE_TYPE_STRING, variable.getStorageType());
  EXPECT_EQ("Press line = 3", variable.getInitialText());
}

TEST_F(EdsApplicationTest, WithoutDefaultTheValueNearestToZeroIsTaken) {
  EXPECT_EQ(10, loadVariable("AccessType=rw\nDataType=5\nLowLimit=10\nHighLimit=20\n").getInitialValue());
}

TEST_F(EdsApplicationTest, WindowsLineEndsAreRead) {
  const std::string text =
      "[ManufacturerObjects]\r\nSupportedObjects=1\r\n1=0x2000\r\n"
      "[2000]\r\nParameterName=Value\r\nAccessType=rw\r\nDataType=0x0005\r\n";
  EXPECT_EQ("Value", load(text).getObjects()[0].name);
}

TEST_F(EdsApplicationTest, ObjectsOfAllListsFrom2000OnAreTaken) {
  const std::string text =
      "[MandatoryObjects]\nSupportedObjects=1\n1=0x1000\n[OptionalObjects]\nSupportedObjects=1\n1=0x6000\n" +
      withVariable("AccessType=ro\nDataType=5\n") + "[6000]\nParameterName=Input\nAccessType=ro\nDataType=5\n";
  const EdsApplication application = load(text);
  ASSERT_EQ(2U, application.getObjects().size());
  EXPECT_EQ(0x2000, application.getObjects()[0].index);
  EXPECT_EQ(0x6000, application.getObjects()[1].index);
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
  EXPECT_EQ(KQ::OBJECT_TYPE_VAR, node.dictionary().getEntry(0x2000)->objectType);
  EXPECT_EQ(KQ::OBJECT_TYPE_RECORD, node.dictionary().getEntry(0x2100)->objectType);
  EXPECT_EQ(KQ::OBJECT_TYPE_ARRAY, node.dictionary().getEntry(0x21AB)->objectType);
  EXPECT_EQ("Drive", node.dictionary().getEntry(0x2100)->name);
  EXPECT_EQ("Speed", node.dictionary().getSubentry(0x2100, 1)->name);
}

TEST_F(EdsApplicationNode, DefaultsAreReadOverSDO) {
  EXPECT_EQ(test::Frames({"585#4F 00 21 00 0B 00 00 00"}), node.receive("605#40 00 21 00 00 00 00 00"));
  EXPECT_EQ(test::Frames({"585#4B 00 21 01 F9 FF 00 00"}), node.receive("605#40 00 21 01 00 00 00 00"));
}

TEST_F(EdsApplicationNode, WrittenValueIsInTheStore) {
  EXPECT_EQ(test::Frames({"585#60 00 21 01 00 00 00 00"}), node.receive("605#2B 00 21 01 64 00 00 00"));
  int value = 0;
  EXPECT_EQ(0, KQ::KQDEI::instance()->getVariableValue(0x2100, 1, &value));
  EXPECT_EQ(100, value);
}

TEST_F(EdsApplicationNode, ValueOutsideTheLimitsIsRefused) {
  EXPECT_EQ(0x06090030, node.dictionary().setValue(0x2100, 1, 101, false));
  EXPECT_EQ(0x06090030, node.dictionary().setValue(0x2100, 1, -101, false));
  EXPECT_EQ(0, node.dictionary().setValue(0x2100, 1, -100, false));
}

TEST_F(EdsApplicationNode, ReadOnlyAndConstantObjectsAreNotWritten) {
  EXPECT_EQ(0x06010002, node.dictionary().setValue(0x2100, 0x0B, 1, false));
  EXPECT_EQ(0x06010002, node.dictionary().setValue(0x21AB, 0, 1, false));
}

TEST_F(EdsApplicationNode, TextIsInTheStore) {
  std::string text;
  EXPECT_EQ(0, KQ::KQDEI::instance()->getVariableValue(0x2000, 0, &text));
  EXPECT_EQ("Press", text);
}

struct LeftOutCase {
  const char* name;
  std::string keys;
  const char* reason;
};

class EdsLeftOut : public EdsApplicationTest, public testing::WithParamInterface<LeftOutCase> {};

TEST_P(EdsLeftOut, IsToldAndTheRestServes) {
  device_description::Findings findings;
  const EdsApplication application =
      load("[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=2\n1=0x2000\n2=0x2001\n[2000]\nParameterName=V\n" +
               GetParam().keys + "[2001]\nParameterName=W\nDataType=5\nAccessType=rw\n",
           findings);
  ASSERT_EQ(1U, findings.getAll().size());
  EXPECT_EQ(std::string("app.eds: [2000] ") + GetParam().reason + "; it is left out", findings.getAll()[0].text);
  EXPECT_EQ(device_description::Severity::WARNING, findings.getAll()[0].severity);
  ASSERT_EQ(1U, application.getObjects().size());
  EXPECT_EQ(0x2001, application.getObjects()[0].index);
}

INSTANTIATE_TEST_SUITE_P(
    Types, EdsLeftOut,
    testing::Values(
        LeftOutCase{"FloatingPoint", "DataType=8\nAccessType=rw\nDefaultValue=1.5\n",
                    "DataType: REAL32 is not a type that a variable can hold, expected an integer of up to 32 "
                    "bits or VISIBLE_STRING"},
        LeftOutCase{"Domain", "DataType=0xF\nAccessType=rw\n",
                    "DataType: DOMAIN is not a type that a variable can hold, expected an integer of up to 32 "
                    "bits or VISIBLE_STRING"},
        LeftOutCase{"UnknownType", "DataType=0x40\nAccessType=rw\n",
                    "DataType: 0x40 is not a type that a variable can hold, expected an integer of up to 32 "
                    "bits or VISIBLE_STRING"},
        LeftOutCase{"FortyBits", "DataType=0x12\nAccessType=rw\n",
                    "DataType: INTEGER40 has more than the 32 bits of a variable"},
        LeftOutCase{"SixtyFourBits", "DataType=0x1B\nAccessType=rw\nDefaultValue=0xFFFFFFFFFFFFFFFF\n",
                    "DataType: UNSIGNED64 has more than the 32 bits of a variable"},
        LeftOutCase{"DomainObject", "ObjectType=2\n",
                    "ObjectType: 0x2 is no object of variables, expected VAR (0x7), ARRAY (0x8) or RECORD "
                    "(0x9)"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(EdsApplicationTest, HighestSubIndexIsKnownWithoutADefault) {
  const EdsApplication application = load(
      "[ManufacturerObjects]\nSupportedObjects=1\n1=0x2000\n[2000]\nParameterName=R\nObjectType=9\nSubNumber=2\n"
      "[2000sub0]\nParameterName=N\nDataType=5\nAccessType=ro\n[2000sub7]\nParameterName=V\nDataType=5\nAccessType="
      "ro\n");
  EXPECT_EQ(7, application.getObjects()[0].variables[0].getInitialValue());
}

TEST_F(EdsApplicationTest, NinthTypeOfAnOddLengthIsLeftOut) {
  std::string lists = "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=18\n";
  std::string sections;
  for (int i = 0; i < 9; ++i) {
    const std::string bits = std::to_string(9 + i > 15 ? 9 + i + 1 : 9 + i);
    lists += std::to_string(2 * i + 1) + "=0x4" + std::to_string(i) + "\n" + std::to_string(2 * i + 2) + "=0x200" +
             std::to_string(i) + "\n";
    sections += "[4" + std::to_string(i) + "]\nParameterName=UNSIGNED" + bits +
                "\nObjectType=5\nDataType=7\nDefaultValue=" + bits + "\n[200" + std::to_string(i) +
                "]\nParameterName=V\nDataType=0x4" + std::to_string(i) + "\nAccessType=rw\n";
  }
  device_description::Findings findings;
  EXPECT_EQ(8U, load(lists + sections, findings).getObjects().size());
  EXPECT_EQ("app.eds: [2008] DataType: 0x48 is the ninth type of its own, expected at most 8; it is left out",
            findings.getFirst(device_description::Severity::WARNING));
}

TEST_F(EdsApplicationTest, MappingRightIsThatOfTheFile) {
  test::TestNode node;
  node.init();
  EdsApplication application = load(
      "[ManufacturerObjects]\nSupportedObjects=2\n1=0x2000\n2=0x2001\n[2000]\nParameterName=V\nDataType=5\nAccessType="
      "rw\n"
      "PDOMapping=1\n[2001]\nParameterName=W\nDataType=5\nAccessType=rw\nPDOMapping=0\n");
  application.bind(node.canopen());
  EXPECT_TRUE(node.dictionary().getSubentry(0x2000, 0)->pdoMappable);
  EXPECT_FALSE(node.dictionary().getSubentry(0x2001, 0)->pdoMappable);
}

TEST_F(EdsApplicationTest, MissingFileIsNamed) {
  device_description::Findings findings;
  const EdsApplication application("missing.eds", 5, findings, 5);
  EXPECT_EQ("missing.eds: cannot be read: No such file or directory",
            findings.getFirst(device_description::Severity::ERROR));
}

TEST_F(EdsApplicationTest, DirectoryIsNoFile) {
  device_description::Findings findings;
  const EdsApplication application(".", 5, findings, 5);
  EXPECT_EQ(".: cannot be read: Is a directory", findings.getFirst(device_description::Severity::ERROR));
}

}  // namespace
