// Covers: the node as a description configures it.
//
// | subject                                                     | functional | robustness                           |
// |-------------------------------------------------------------|------------|--------------------------------------|
// | PDOs, heartbeat consumers, SDO channels, producer heartbeat | x          |                                      |
// | time of a description                                       |            |                                      |
// | what the node cannot have                                   |            | one line, and the rest is configured |

#include "NodeConfiguration.h"

#include <gtest/gtest.h>

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "TestNode.h"

namespace {

using device_description::DeviceDescription;
using device_description::Finding;
using device_description::Findings;
using device_description::Severity;
using panel::NodeConfiguration;

// Sections of a description, and the list that names them.
class Sections {
public:
  Sections& add(const std::string& index, const std::string& keys) {
    list += std::to_string(++count) + "=0x" + index + "\n";
    text += "[" + index + "]\nParameterName=Object\n" + keys;
    return *this;
  }

  Sections& addNumber(const std::string& index, const std::string& type, const std::string& value) {
    return add(index, "DataType=" + type + "\nAccessType=rw\nDefaultValue=" + value + "\n");
  }

  // A RECORD of UNSIGNED32 from sub-index 0 on; nothing is a sub-index that is missing.
  Sections& addRecord(const std::string& index, const std::vector<std::optional<std::string>>& values) {
    std::string subs;
    int described = 0;
    for (std::size_t sub = 0; sub < values.size(); ++sub) {
      if (values[sub]) {
        ++described;
        subs += "[" + index + "sub" + std::to_string(sub) +
                "]\nParameterName=Value\nDataType=7\nAccessType=rw\nDefaultValue=" + *values[sub] + "\n";
      }
    }
    return add(index, "ObjectType=9\nSubNumber=" + std::to_string(described) + "\n" + subs);
  }

  std::string getText() const {
    return "[DeviceInfo]\n[OptionalObjects]\nSupportedObjects=" + std::to_string(count) + "\n" + list + text;
  }

private:
  std::string list;
  std::string text;
  int count = 0;
};

constexpr unsigned int SPEED = 0x20000000;

class NodeConfigurationTest : public testing::Test {
protected:
  NodeConfigurationTest() {
    node.init();
    KQ::KQVariable speed(0x2000, 0, "Speed", KQ::STORAGE_TYPE_INTEGER, 16, true);
    node.canopen().addVariable(&speed);
    sections.add("2000", "DataType=3\nAccessType=rw\nPDOMapping=1\n");
  }

  NodeConfiguration configure() {
    const DeviceDescription description = DeviceDescription::parse(sections.getText(), "app.eds", 5, findings);
    EXPECT_TRUE(findings.getAll().empty()) << findings.getAll()[0].text;
    NodeConfiguration configuration(description, "app.eds", {{SPEED, 16}}, findings);
    configuration.apply(node.canopen());
    return configuration;
  }

  unsigned int read(unsigned short index, unsigned char subIndex) {
    int value = 0;
    EXPECT_EQ(0, node.dictionary().getValue(index, subIndex, value));
    return static_cast<unsigned int>(value);
  }

  std::vector<std::string> getTexts() const {
    std::vector<std::string> texts;
    for (const Finding& finding : findings.getAll()) {
      texts.push_back(std::string(getName(finding.severity)) + ": " + finding.text);
    }
    return texts;
  }

  using Texts = std::vector<std::string>;

  test::TestNode node;
  Sections sections;
  Findings findings;
};

TEST_F(NodeConfigurationTest, TransmitPDOIsAsDescribed) {
  sections.addRecord("1801", {"5", "$NODEID+0x40000280", "254", "30", std::nullopt, "250"});
  sections.addRecord("1A01", {"1", "0x20000010"});
  EXPECT_TRUE(configure().maps(SPEED));
  EXPECT_EQ(0x40000285U, read(0x1801, 1));
  EXPECT_EQ(254U, read(0x1801, 2));
  EXPECT_EQ(30U, read(0x1801, 3));
  EXPECT_EQ(250U, read(0x1801, 5));
  EXPECT_EQ(1U, read(0x1A01, 0));
  EXPECT_EQ(0x20000010U, read(0x1A01, 1));
}

TEST_F(NodeConfigurationTest, TransmitPDOGoesOutWhenTheNodeIsStarted) {
  sections.addRecord("1800", {"2", "$NODEID+0x40000180", "254"}).addRecord("1A00", {"1", "0x20000010"});
  configure();
  node.cycle();
  node.receive("000#01 00");
  EXPECT_EQ(test::Frames({"185#00 00"}), node.cycle());
}

TEST_F(NodeConfigurationTest, ReceivePDOMapsDummiesToo) {
  sections.addRecord("1400", {"2", "0x201", "255"}).addRecord("1600", {"2", "0x00050008", "0x20000010"});
  configure();
  node.cycle();
  node.receive("000#01 00");
  node.receive("201#FF 34 12");
  int value = 0;
  EXPECT_EQ(0, KQ::KQDEI::instance()->getVariableValue(0x2000, 0, &value));
  EXPECT_EQ(0x1234, value);
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(NodeConfigurationTest, PDOThatIsNotValidStaysSo) {
  sections.addRecord("1400", {"2", "0x80000201", "255"}).addRecord("1600", {"0"});
  configure();
  EXPECT_EQ(0x80000201U, read(0x1400, 1));
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(NodeConfigurationTest, HeartbeatConsumersAreWatched) {
  sections.addRecord("1016", {"2", "0x7F03E8", "0x1401F4"});
  configure();
  EXPECT_EQ(0x7F03E8U, read(0x1016, 1));
  EXPECT_EQ(0x1401F4U, read(0x1016, 2));
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(NodeConfigurationTest, ProducerHeartbeatTimeIsTold) {
  sections.addNumber("1017", "6", "700");
  EXPECT_EQ(700, configure().getHeartbeatTime());
}

TEST_F(NodeConfigurationTest, WithoutAProducerHeartbeatTimeThereIsNone) {
  EXPECT_EQ(std::nullopt, configure().getHeartbeatTime());
}

TEST_F(NodeConfigurationTest, SDOChannelsAreCreated) {
  sections.addRecord("1201", {"3", "0x620", "0x5A0", "0x7E"}).addRecord("1280", {"3", "0x609", "0x589", "9"});
  configure();
  EXPECT_EQ(0x620U, read(0x1201, 1));
  EXPECT_EQ(0x5A0U, read(0x1201, 2));
  EXPECT_EQ(0x7EU, read(0x1201, 3));
  EXPECT_EQ(0x609U, read(0x1280, 1));
  EXPECT_EQ(0x589U, read(0x1280, 2));
  EXPECT_EQ(9U, read(0x1280, 3));
  EXPECT_EQ(Texts(), getTexts());
}

TEST_F(NodeConfigurationTest, ChannelBehindAGapMovesUp) {
  sections.addRecord("1202", {"3", "0x620", "0x5A0", "0x7E"});
  configure();
  EXPECT_EQ(0x620U, read(0x1201, 1));
  EXPECT_EQ(Texts({"warning: app.eds: [1202] becomes 0x1201, expected no gap before it"}), getTexts());
}

TEST_F(NodeConfigurationTest, ObjectsOfTheNodesOwnAreNoted) {
  sections.addNumber("1000", "7", "0x191").addNumber("1005", "7", "0x80").addNumber("1014", "7", "$NODEID+0x80");
  configure();
  EXPECT_EQ(Texts({"note: app.eds: the node has 0x1000, 0x1005, 0x1014 of its own, those of the file are not read"}),
            getTexts());
}

TEST_F(NodeConfigurationTest, OtherValueOfAnOwnObjectIsTold) {
  sections.addNumber("1005", "7", "0x81");
  configure();
  EXPECT_EQ("app.eds: [1005] DefaultValue: 0x81 is not taken: the node starts with 0x80",
            findings.getFirst(Severity::WARNING));
}

struct OddCase {
  const char* name;
  std::vector<std::optional<std::string>> communication;
  std::vector<std::optional<std::string>> mapping;
  bool exists;
  const char* finding;
};

class OddPDO : public NodeConfigurationTest, public testing::WithParamInterface<OddCase> {};

TEST_P(OddPDO, IsTold) {
  sections.addRecord("1800", GetParam().communication).addRecord("1A00", GetParam().mapping);
  sections.addRecord("1801", {"2", "0x40000285", "254"}).addRecord("1A01", {"1", "0x20000010"});
  configure();
  EXPECT_EQ(GetParam().exists, node.dictionary().objectExists(0x1800));
  EXPECT_TRUE(node.dictionary().objectExists(0x1801));
  EXPECT_EQ(Texts({GetParam().finding}), getTexts());
}

INSTANTIATE_TEST_SUITE_P(
    PDOs, OddPDO,
    testing::Values(
        OddCase{"MapsWhatIsNotThere",
                {"2", "0x40000185", "254"},
                {"2", "0x20000010", "0x20010008"},
                false,
                "warning: app.eds: [1A00sub2] DefaultValue: maps 8 bits of 0x2001 sub-index 0, expected an application "
                "object of the node; the PDO is left out"},
        OddCase{"MapsNoBits",
                {"2", "0x40000185", "254"},
                {"1", "0x20000000"},
                false,
                "warning: app.eds: [1A00sub1] DefaultValue: maps 0 bits of 0x2000 sub-index 0, expected an application "
                "object of the node; the PDO is left out"},
        OddCase{"MapsMoreThanAFrame",
                {"2", "0x40000185", "254"},
                {"5", "0x20000010", "0x20000010", "0x20000010", "0x20000010", "0x00050001"},
                false,
                "warning: app.eds: [1A00] maps 65 bits, expected at most 64; the PDO is left out"},
        OddCase{"MapsOtherLength",
                {"2", "0x40000185", "254"},
                {"1", "0x20000008"},
                true,
                "warning: app.eds: [1A00sub1] DefaultValue: maps 8 bits, expected the 16 of the object"},
        OddCase{"UnusedEntries",
                {"2", "0x40000185", "254"},
                {"1", "0x20000010", "0", "0"},
                true,
                "note: app.eds: [1A00] 2 that map nothing: the node has entries only for what it maps"},
        OddCase{
            "LongIdentifier",
            {"2", "0x60000185", "254"},
            {"1", "0x20000010"},
            false,
            "warning: app.eds: [1800sub1] DefaultValue: 0x60000185 is a 29-bit identifier, expected one of 11 bits; "
            "the PDO is left out"},
        OddCase{"NoCOBID",
                {"2", "", "254"},
                {"1", "0x20000010"},
                true,
                "warning: app.eds: [1800sub1] DefaultValue: is missing, expected a COB-ID; the PDO is not valid"},
        OddCase{"ReservedType",
                {"2", "0x40000185", "241"},
                {"1", "0x20000010"},
                true,
                "warning: app.eds: [1800sub2] DefaultValue: 241 is reserved, expected 0 to 240 or 252 to 255"},
        OddCase{"InhibitTimeWithoutEffect",
                {"3", "0x40000185", "1", "30"},
                {"1", "0x20000010"},
                true,
                "warning: app.eds: [1800sub3] DefaultValue: 30 is not taken, expected 0 with transmission type 1"},
        OddCase{"InhibitTime",
                {"3", "0x40000185", "254", "30"},
                {"1", "0x20000010"},
                true,
                "note: app.eds: 1 inhibit times are milliseconds to the node, not the tenths that other devices count"},
        OddCase{"RemoteRequests",
                {"2", "0x185", "254"},
                {"1", "0x20000010"},
                true,
                "note: app.eds: 1 COB-IDs of TPDOs get bit 30: the node answers no remote requests"},
        OddCase{"UnknownParameter",
                {"6", "0x40000185", "254", std::nullopt, std::nullopt, std::nullopt, "3"},
                {"1", "0x20000010"},
                true,
                "warning: app.eds: [1800sub6] is a parameter that the node's PDOs do not have; it is left out"}),
    [](const auto& tested) { return std::string(tested.param.name); });

struct OddObjectCase {
  const char* name;
  const char* index;
  std::vector<std::optional<std::string>> values;
  const char* finding;
};

class OddObject : public NodeConfigurationTest, public testing::WithParamInterface<OddObjectCase> {};

TEST_P(OddObject, IsTold) {
  sections.addRecord(GetParam().index, GetParam().values);
  configure();
  EXPECT_EQ(Texts({GetParam().finding}), getTexts());
}

INSTANTIATE_TEST_SUITE_P(
    Objects, OddObject,
    testing::Values(
        OddObjectCase{"UnknownCommunicationObject",
                      "1029",
                      {"1", "0"},
                      "warning: app.eds: [1029] is a communication object that the node does not have; it is left out"},
        OddObjectCase{"MappingAlone",
                      "1A00",
                      {"1", "0x20000010"},
                      "warning: app.eds: [1A00] is half of a PDO, expected [1800], too; it is left out"},
        OddObjectCase{"CommunicationAlone",
                      "1400",
                      {"2", "0x205", "255"},
                      "warning: app.eds: [1400] is half of a PDO, expected [1600], too; the PDO carries no data"},
        OddObjectCase{"ConsumersWithoutANode",
                      "1016",
                      {"2", "0", "0x1401F4"},
                      "note: app.eds: [1016] 1 without a node: the node has entries only for those that it watches"},
        OddObjectCase{"NodeWatchedTwice",
                      "1016",
                      {"2", "0x1403E8", "0x1401F4"},
                      "warning: app.eds: [1016sub2] DefaultValue: 0x1401F4 watches node 20, expected one from 1 to 127 "
                      "that no other entry has; it is left out"},
        OddObjectCase{
            "NodeThatCannotBe",
            "1016",
            {"1", "0x8003E8"},
            "warning: app.eds: [1016sub1] DefaultValue: 0x8003E8 watches node 128, expected one from 1 to 127 "
            "that no other entry has; it is left out"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(NodeConfigurationTest, ObjectThatIsNotMappableIsMappedAndTold) {
  sections.add("2001", "DataType=5\nAccessType=rw\nPDOMapping=0\n");
  sections.addRecord("1800", {"2", "0x40000185", "254"}).addRecord("1A00", {"1", "0x20010008"});
  const DeviceDescription description = DeviceDescription::parse(sections.getText(), "app.eds", 5, findings);
  const NodeConfiguration configuration(description, "app.eds", {{0x20010000U, 8}}, findings);
  EXPECT_TRUE(configuration.maps(0x20010000U));
  EXPECT_EQ(Texts({"warning: app.eds: [1A00sub1] DefaultValue: maps 0x2001 sub-index 0, whose PDOMapping is "
                   "0, expected 1; it is mapped"}),
            getTexts());
}

}  // namespace
