// Covers: EDS and DCF files, read and written.
//
// | subject                                                                        | functional | robustness |
// |--------------------------------------------------------------------------------|------------|------------|
// | objects, sub-indexes, compact sub-objects, values of a DCF, node-ID            | x          |            |
// | PDOs with their mapping, names for people, types that the file defines         | x          |            |
// | line ends, marks, character sets, blanks, letters of either case               | x          |            |
// | lists that do not fit, sections that no list names, duplicates: told, and read |            | x          |
// | what is written is read again as the same                                      | x          |            |

#include "DeviceDescription.h"

#include <gtest/gtest.h>

namespace {

using device_description::DeviceDescription;
using device_description::Finding;
using device_description::Findings;
using device_description::Severity;

constexpr const char LIST[] = "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=1\n1=0x2000\n";

class DeviceDescriptionTest : public testing::Test {
protected:
  DeviceDescription parse(const std::string& text, std::optional<unsigned char> nodeID = 5) {
    return DeviceDescription::parse(text, "app.eds", nodeID, findings);
  }

  std::vector<std::string> getTexts() const {
    std::vector<std::string> texts;
    for (const Finding& finding : findings.getAll()) {
      texts.push_back(std::string(getName(finding.severity)) + ": " + finding.text);
    }
    return texts;
  }

  using Texts = std::vector<std::string>;

  Findings findings;
};

const std::string VARIABLE = std::string(LIST) + "[2000]\nParameterName=Value\nObjectType=7\n";
const std::string SPEED =
    VARIABLE + "DataType=3\nAccessType=rw\nLowLimit=-100\nHighLimit=100\nDefaultValue=-7\nPDOMapping=1\n";

TEST_F(DeviceDescriptionTest, VariableHasAllThatTheFileSays) {
  const DeviceDescription description = parse(SPEED);
  const auto* const value = description.find(0x2000, 0);
  ASSERT_NE(nullptr, value);
  EXPECT_EQ("Value", value->name);
  EXPECT_EQ(3U, value->dataType);
  EXPECT_EQ(device_description::Access::RW, value->access);
  EXPECT_EQ(-100, value->lowLimit->number);
  EXPECT_EQ(100, value->highLimit->number);
  EXPECT_EQ(-7, value->defaultValue->number);
  EXPECT_TRUE(value->isMappable);
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(DeviceDescriptionTest, WhatIsMissingIsNotMadeUp) {
  const DeviceDescription description = parse(VARIABLE + "DataType=5\nAccessType=ro\n");
  const auto* const value = description.find(0x2000, 0);
  ASSERT_NE(nullptr, value);
  EXPECT_FALSE(value->lowLimit);
  EXPECT_FALSE(value->highLimit);
  EXPECT_FALSE(value->defaultValue);
  EXPECT_FALSE(value->isMappable);
}

TEST_F(DeviceDescriptionTest, NameKeepsSemicolonAndEqualsSign) {
  EXPECT_EQ("Valve; open = 1",
            parse(std::string(LIST) + "[2000]\nParameterName=Valve; open = 1\nDataType=5\nAccessType=ro\n")
                .getName(0x2000, 0));
}

TEST_F(DeviceDescriptionTest, LineMayBeLong) {
  const std::string name(100000, 'x');
  EXPECT_EQ(
      name,
      parse(std::string(LIST) + "[2000]\nParameterName=" + name + "\nDataType=5\nAccessType=ro\n").getName(0x2000, 0));
}

TEST_F(DeviceDescriptionTest, Latin1BecomesUTF8) {
  EXPECT_EQ("\xC3\x96l",
            parse(std::string(LIST) + "[2000]\nParameterName=\xD6l\nDataType=5\nAccessType=ro\n").getName(0x2000, 0));
  EXPECT_EQ(Texts({"note: app.eds: is not UTF-8 and read as Latin-1"}), getTexts());
}

TEST_F(DeviceDescriptionTest, UTF8StaysAsItIs) {
  EXPECT_EQ(
      "\xC3\x96l",
      parse(std::string(LIST) + "[2000]\nParameterName=\xC3\x96l\nDataType=5\nAccessType=ro\n").getName(0x2000, 0));
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(DeviceDescriptionTest, ByteOrderMarkWindowsLineEndsAndIndentationAreRead) {
  std::string text =
      "\xEF\xBB\xBF[DeviceInfo]\n  [ ManufacturerObjects ]\n\tSupportedObjects = 1 \n\t1 = 0x2000\n; comment\n"
      " [2000]\n PARAMETERNAME = Value\n DATATYPE=0X5\n accesstype=RW\n";
  for (std::size_t i = text.find('\n'); i != std::string::npos; i = text.find('\n', i + 2)) {
    text.insert(i, "\r");
  }
  EXPECT_EQ("Value", parse(text).getName(0x2000, 0));
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(DeviceDescriptionTest, SectionsAreFoundHoweverTheirDigitsAreWritten) {
  const DeviceDescription description = parse(
      "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=1\n1=0x20AB\n[20ab]\nParameterName=R\nObjectType="
      "9\nSubNumber=2\n"
      "[20abSUB0]\nParameterName=N\nDataType=5\nAccessType=ro\n[20ABsub0b]\nParameterName=V\nDataType=5\nAccessType="
      "ro\n");
  EXPECT_NE(nullptr, description.find(0x20AB, 0x0B));
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(DeviceDescriptionTest, CompactSubObjectsAreAlikeButForTheirNamesAndValues) {
  const DeviceDescription description =
      parse(std::string(LIST) +
            "[2000]\nParameterName=Valve\nObjectType=8\nDataType=5\nAccessType=rw\nDefaultValue=9\nPDOMapping="
            "1\nCompactSubObj=3\n"
            "[2000Name]\nNrOfEntries=1\n2=Second\n[2000Value]\nNrOfEntries=1\n3=0x10\n");
  EXPECT_EQ(4U, description.find(0x2000)->subObjects.size());
  EXPECT_EQ(3, description.find(0x2000, 0)->getValue()->number);
  EXPECT_EQ("Valve, Valve1", description.getName(0x2000, 1));
  EXPECT_EQ("Valve, Second", description.getName(0x2000, 2));
  EXPECT_EQ(9, description.find(0x2000, 2)->getValue()->number);
  EXPECT_EQ(0x10, description.find(0x2000, 3)->getValue()->number);
  EXPECT_TRUE(description.find(0x2000, 3)->isMappable);
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(DeviceDescriptionTest, ParameterValueGoesBeforeDefaultValue) {
  EXPECT_EQ(42, parse(SPEED + "ParameterValue=42\n").find(0x2000, 0)->getValue()->number);
}

struct NodeIDCase {
  const char* name;
  const char* commissioning;
  std::optional<unsigned char> wanted;
  unsigned char used;
};

class DescriptionNodeID : public testing::TestWithParam<NodeIDCase> {};

TEST_P(DescriptionNodeID, StandsForTheExpression) {
  Findings findings;
  const DeviceDescription description = DeviceDescription::parse(
      VARIABLE + "DataType=7\nAccessType=ro\nDefaultValue=$NODEID+0x100\n" + GetParam().commissioning, "app.eds",
      GetParam().wanted, findings, 9);
  EXPECT_EQ(GetParam().used, description.nodeID);
  EXPECT_EQ(0x100 + GetParam().used, description.find(0x2000, 0)->defaultValue->number);
}

INSTANTIATE_TEST_SUITE_P(
    Sources, DescriptionNodeID,
    testing::Values(NodeIDCase{"Otherwise", "", std::nullopt, 9}, NodeIDCase{"Given", "", 5, 5},
                    NodeIDCase{"OfTheFile", "[DeviceComissioning]\nNodeID=0x20\n", std::nullopt, 0x20},
                    NodeIDCase{"OfTheFileSpeltRight", "[DeviceCommissioning]\nNodeID=32\n", std::nullopt, 0x20},
                    NodeIDCase{"GivenBeforeTheFile", "[DeviceComissioning]\nNodeID=0x20\n", 5, 5}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(DeviceDescriptionTest, TypeThatTheFileDefinesIsAnInteger) {
  const DeviceDescription description = parse(
      "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=3\n1=0x40\n2=0x41\n3=0x2000\n"
      "[40]\nParameterName=UNSIGNED12\nObjectType=5\nDataType=7\nDefaultValue=12\n"
      "[41]\nParameterName=INTEGER12\nObjectType=5\nDataType=7\nDefaultValue=12\n"
      "[2000]\nParameterName=Value\nDataType=0x41\nAccessType=rw\nDefaultValue=0xFFF\n");
  EXPECT_FALSE(description.getIntegerType(0x40)->isSigned);
  EXPECT_TRUE(description.getIntegerType(0x41)->isSigned);
  EXPECT_EQ(-1, description.find(0x2000, 0)->defaultValue->number);
  EXPECT_EQ(Texts(), getTexts());
}

const std::string PDO_LIST =
    "[DeviceInfo]\n[OptionalObjects]\nSupportedObjects=2\n1=0x1801\n2=0x1A01\n[1801]\nParameterName=P\nObjectType="
    "9\nSubNumber=3\n"
    "[1801sub0]\nParameterName=N\nDataType=5\nAccessType=ro\nDefaultValue=5\n"
    "[1801sub1]\nParameterName=C\nDataType=7\nAccessType=rw\nDefaultValue=$NODEID+0x280\n"
    "[1801sub5]\nParameterName=E\nDataType=6\nAccessType=rw\nDefaultValue=250\n";

TEST_F(DeviceDescriptionTest, PDOHasCOBIDAndMapping) {
  const auto pdos = parse(PDO_LIST +
                          "[1A01]\nParameterName=M\nObjectType=9\nSubNumber=3\n"
                          "[1A01sub0]\nParameterName=N\nDataType=5\nAccessType=rw\nDefaultValue=1\n"
                          "[1A01sub1]\nParameterName=1\nDataType=7\nAccessType=rw\nDefaultValue=0x60000108\n"
                          "[1A01sub2]\nParameterName=2\nDataType=7\nAccessType=rw\nDefaultValue=0x60000208\n")
                        .getPDOs();
  ASSERT_EQ(1U, pdos.size());
  EXPECT_TRUE(pdos[0].isTransmit);
  EXPECT_EQ(1, pdos[0].number);
  EXPECT_EQ(0x285U, pdos[0].getIdentifier());
  EXPECT_TRUE(pdos[0].isValid());
  EXPECT_EQ(250, pdos[0].eventTimer);
  ASSERT_EQ(1U, pdos[0].mapping.size());
  EXPECT_EQ(0x6000, pdos[0].mapping[0].index);
  EXPECT_EQ(1, pdos[0].mapping[0].subIndex);
  EXPECT_EQ(8, pdos[0].mapping[0].bits);
}

TEST_F(DeviceDescriptionTest, MappingWithoutACountEndsBeforeTheFirstEmptyEntry) {
  const auto pdos = parse(PDO_LIST +
                          "[1A01]\nParameterName=M\nObjectType=9\nSubNumber=3\n"
                          "[1A01sub0]\nParameterName=N\nDataType=5\nAccessType=rw\nDefaultValue=\n"
                          "[1A01sub1]\nParameterName=1\nDataType=7\nAccessType=rw\nDefaultValue=0x60000108\n"
                          "[1A01sub2]\nParameterName=2\nDataType=7\nAccessType=rw\nDefaultValue=0\n")
                        .getPDOs();
  EXPECT_EQ(1U, pdos[0].mapping.size());
}

struct OddCase {
  const char* name;
  std::string text;
  const char* finding;
};

// Told as a warning, and the object is there all the same.
class OddDescription : public testing::TestWithParam<OddCase> {};

TEST_P(OddDescription, IsToldAndRead) {
  Findings findings;
  const DeviceDescription description = DeviceDescription::parse(GetParam().text, "app.eds", 5, findings);
  ASSERT_EQ(1U, findings.getAll().size());
  EXPECT_EQ(Severity::WARNING, findings.getAll()[0].severity);
  EXPECT_EQ(GetParam().finding, findings.getAll()[0].text);
  EXPECT_NE(nullptr, description.find(0x2000, 0));
}

const std::string LISTED = "[2000]\nParameterName=Value\nDataType=5\nAccessType=rw\n";
const std::string RECORD_SUBS =
    "[2000sub0]\nParameterName=N\nDataType=5\nAccessType=ro\n[2000sub1]\nParameterName=V\nDataType=5\nAccessType=ro\n";

INSTANTIATE_TEST_SUITE_P(
    Lists, OddDescription,
    testing::Values(
        OddCase{"LongerThanItsCount", "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=0\n1=0x2000\n" + LISTED,
                "app.eds: [ManufacturerObjects] SupportedObjects: '0' objects announced, found 1; all that are found "
                "are read"},
        OddCase{"ShorterThanItsCount", "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=2\n1=0x2000\n" + LISTED,
                "app.eds: [ManufacturerObjects] SupportedObjects: '2' objects announced, found 1; all that are found "
                "are read"},
        OddCase{"ListedTwice", "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=2\n1=0x2000\n2=0x2000\n" + LISTED,
                "app.eds: [ManufacturerObjects] 2: 0x2000 is listed twice, expected once"},
        OddCase{"ListedWithoutSection",
                "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=2\n1=0x2000\n2=0x2001\n" + LISTED,
                "app.eds: [2001] is missing, although [ManufacturerObjects] names the object"},
        OddCase{"InNoList", "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=0\n" + LISTED,
                "app.eds: [2000] is an object that no list names, expected it in one; it is read"},
        OddCase{"KeyThatIsNoNumber", LIST + ("x=0x2001\n" + LISTED),
                "app.eds: [ManufacturerObjects] x: is no key of a list, expected 1, 2, 3 and so on; it is not read"}),
    [](const auto& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Sections, OddDescription,
    testing::Values(
        OddCase{"GivenTwice", LIST + LISTED + "[2000]\nDefaultValue=1\n",
                "app.eds: [2000] is given more than once, expected one such section; all are read as one"},
        OddCase{
            "SameObjectWrittenOtherwise",
            std::string(LIST) + "[2000]\nParameterName=R\nObjectType=9\nSubNumber=2\n" + RECORD_SUBS + "[2000sub01]\n",
            "app.eds: [2000sub01] is the same as [2000sub1], expected one of them; it is not read"},
        OddCase{"SubIndexWithoutObject", LIST + LISTED + "[2001sub1]\nParameterName=V\n",
                "app.eds: [2001sub1] belongs to no object, expected a section [2001]; it is not read"},
        OddCase{"SubIndexOfAVariable", LIST + LISTED + "ObjectType=7\n[2000sub1]\nParameterName=V\n",
                "app.eds: [2000sub1] belongs to an object without sub-indexes; it is not read"},
        OddCase{"NamesOfAVariable", LIST + LISTED + "[2000Name]\nNrOfEntries=0\n",
                "app.eds: [2000Name] belongs to an object without CompactSubObj; it is not read"},
        OddCase{"TextBehindASection", LIST + LISTED + "[Comments] five\n",
                "app.eds: line 9: 'five' behind a section is not read, expected the end of the line"},
        OddCase{"KeyBeforeTheFirst", "a=b\n" + (LIST + LISTED),
                "app.eds: line 1: 'a=b' stands before the first section and is not read"},
        OddCase{"UnknownKey", LIST + LISTED + "DefualtValue=5\n",
                "app.eds: [2000] DefualtValue: is no key of an object, and is not read"},
        OddCase{"NoDeviceInfo", "[ManufacturerObjects]\nSupportedObjects=1\n1=0x2000\n" + LISTED,
                "app.eds: [DeviceInfo] is missing, expected vendor and product"},
        OddCase{"SubNumberTooHigh",
                std::string(LIST) + "[2000]\nParameterName=R\nObjectType=9\nSubNumber=3\n" + RECORD_SUBS,
                "app.eds: [2000] SubNumber: '3' sub-indexes announced, found 2; all that are found are read"},
        OddCase{"LimitsCrossed", LIST + LISTED + "LowLimit=2\nHighLimit=1\n",
                "app.eds: [2000] LowLimit: '2' is above HighLimit '1', expected at most that; both are ignored"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(DeviceDescriptionTest, CompactNamesThatDoNotFitAreTold) {
  parse(std::string(LIST) +
        "[2000]\nParameterName=Valve\nObjectType=8\nDataType=5\nAccessType=rw\nCompactSubObj=1\n[2000Name]"
        "\nNrOfEntries=1\n1=One\n2=Two\n");
  EXPECT_EQ(Texts({"warning: app.eds: [2000Name] 2: is no sub-index of the object; it is not read",
                   "warning: app.eds: [2000Name] NrOfEntries: '1' entries announced, found 2; all that are "
                   "found are read"}),
            getTexts());
}

TEST_F(DeviceDescriptionTest, UnknownSectionIsNoted) {
  parse(SPEED + "[Extras]\na=b\n");
  EXPECT_EQ(Texts({"note: app.eds: [Extras] is no section that is known here, and is not read"}), getTexts());
}

TEST_F(DeviceDescriptionTest, WhatIsWrongInOneObjectLeavesTheOthers) {
  const DeviceDescription description = parse(
      "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=2\n1=0x2000\n2=0x2001\n[2000]\nParameterName=V\nDataType="
      "5\n"
      "AccessType=rw\nDefaultValue=256\n[2001]\nParameterName=W\nDataType=5\nAccessType=rw\nDefaultValue=255\n");
  EXPECT_EQ(nullptr, description.find(0x2000));
  EXPECT_NE(nullptr, description.find(0x2001));
  EXPECT_EQ(1U, findings.count(Severity::ERROR));
}

TEST_F(DeviceDescriptionTest, WrittenTextIsReadAsTheSame) {
  const DeviceDescription description = parse(
      "[DeviceInfo]\nVendorName=V\nVendorNumber=1\n[MandatoryObjects]\nSupportedObjects=1\n1=0x1000\n[OptionalObjects]"
      "\n"
      "SupportedObjects=2\n1=0x1014\n2=0x6000\n[ManufacturerObjects]\nSupportedObjects=3\n1=0x2000\n2=0x2001\n3="
      "0x2002\n"
      "[1000]\nParameterName=T\nDataType=7\nAccessType=ro\nDefaultValue=0x191\n"
      "[1014]\nParameterName=E\nDataType=7\nAccessType=rw\nDefaultValue=$NODEID+0x80\n"
      "[2000]\nParameterName=S; a = b\nDataType=3\nAccessType=rww\nLowLimit=-5\nDefaultValue=-1\nPDOMapping=1\n"
      "[2001]\nParameterName=R\nObjectType=9\nSubNumber=2\n[2001sub0]\nParameterName=N\nDataType=5\nAccessType=ro\n"
      "[2001subFE]\nParameterName=U\nDataType=0x1B\nAccessType=wo\nDefaultValue=0xFFFFFFFFFFFFFFFF\n"
      "[2002]\nParameterName=Text\nDataType=9\nAccessType=const\nDefaultValue=a; b = c\n"
      "[6000]\nParameterName=D\nObjectType=2\n");
  EXPECT_EQ(Texts(), getTexts());
  const std::string written = description.write("out.eds");
  const DeviceDescription again = parse(written);
  EXPECT_EQ(Texts(), getTexts());
  EXPECT_EQ(written, again.write("out.eds"));
  EXPECT_EQ(description.objects.size(), again.objects.size());
  EXPECT_EQ(-1, again.find(0x2001, 0xFE)->defaultValue->number);
  EXPECT_EQ(-5, again.find(0x2000, 0)->lowLimit->number);
  EXPECT_EQ("a; b = c", again.find(0x2002, 0)->getText());
  EXPECT_NE(std::string::npos, written.find("DefaultValue=$NODEID+0x80\n"));
}

}  // namespace
