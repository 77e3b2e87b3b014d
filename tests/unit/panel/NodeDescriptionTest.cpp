// Covers: the description that is made of a node.
//
// | subject                                         | functional                              | robustness |
// |-------------------------------------------------|-----------------------------------------|------------|
// | a node as other tools read it                   | lists, limits, node-ID, device, PDOs as |            |
// |                                                 | configured                              |            |
// | the node that is made of the description is the | x                                       |            |
// | same, and describes itself the same             |                                         |            |

#include "NodeDescription.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "DemoApplication.h"
#include "EdsApplication.h"
#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "TestNode.h"

namespace {

using device_description::Access;
using device_description::DeviceDescription;
using device_description::Findings;
using device_description::Severity;

constexpr unsigned char NODE_ID = 9;
const device_description::FileInfo MADE = {"09:30AM", "03-14-2024", "", ""};

// What a node answers to the upload of everything that it has.
using Answers = std::map<std::string, test::Frames>;

Answers readAll(test::TestNode& node) {
  Answers answers;
  for (const KQ::ObjectDictionaryEntry* const entry : node.dictionary().getEntries(0, 0xFFFF)) {
    for (const auto& item : entry->subEntries) {
      char request[40];
      std::snprintf(request, sizeof request, "609#40 %02X %02X %02X 00 00 00 00", entry->index & 0xFFU,
                    entry->index >> 8U, static_cast<unsigned int>(item.first));
      answers[request] = node.receive(request);
      node.receive("609#80 00 00 00 00 00 00 08");  // of a text the first answer is enough
    }
  }
  return answers;
}

class NodeDescriptionTest : public testing::Test {
protected:
  // A demo machine, described, and what it answers.
  void describeDemo() {
    test::TestNode node(NODE_ID);
    std::ostringstream console;
    panel::DemoApplication application(*KQ::KQDEI::instance(), console, std::nullopt);
    node.canopen().setHeartbeatProducerTime(700);
    node.init();
    application.bind(node.canopen());
    node.canopen().addHeartbeatConsumer(0x20, 1000);
    node.canopen().addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "channel");
    node.canopen().addSDOChannel(0x80000000, 0x80000000, 7, KQ::SDO_CHANNEL_SERVER, "");
    take(node);
  }

  // A node that is made of the text.
  void describeAgain() {
    Findings findings;
    panel::EdsApplication application(DeviceDescription::parse(text, "out.eds", NODE_ID, findings), "out.eds",
                                      findings);
    EXPECT_EQ(0U, findings.count(Severity::WARNING) + findings.count(Severity::ERROR))
        << findings.getFirst(Severity::WARNING) << findings.getFirst(Severity::ERROR);
    test::TestNode node(NODE_ID);
    node.canopen().setHeartbeatProducerTime(application.getConfiguration().getHeartbeatTime().value_or(0));
    node.init();
    application.bind(node.canopen());
    take(node);
  }

  void take(test::TestNode& node) {
    description = panel::describeNode(node.canopen(), MADE);
    text = description.write("out.eds");
    node.cycle();
    answers = readAll(node);
  }

  DeviceDescription description;
  std::string text;
  Answers answers;
};

TEST_F(NodeDescriptionTest, NodeMadeOfTheDescriptionIsTheSame) {
  describeDemo();
  const Answers before = answers;
  EXPECT_GT(before.size(), 100U);
  describeAgain();
  EXPECT_EQ(before, answers);
}

TEST_F(NodeDescriptionTest, NodeMadeOfTheDescriptionDescribesItselfTheSame) {
  describeDemo();
  const std::string before = text;
  describeAgain();
  EXPECT_EQ(before, text);
}

TEST_F(NodeDescriptionTest, NodeIDStandsWhereAValueDependsOnIt) {
  describeDemo();
  for (const auto& [index, subIndex] : {std::pair{0x1014, 0}, {0x1200, 1}, {0x1200, 2}, {0x1400, 1}, {0x1800, 1}}) {
    const auto* const found =
        description.find(static_cast<unsigned short>(index), static_cast<unsigned char>(subIndex));
    EXPECT_TRUE(found->defaultValue->dependsOnNodeID) << index;
  }
  EXPECT_FALSE(description.find(0x1280, 1)->defaultValue->dependsOnNodeID);
  EXPECT_NE(std::string::npos, text.find("DefaultValue=$NODEID+0x40000180\n"));
}

TEST_F(NodeDescriptionTest, LimitsAreThoseThatTheNodeChecks) {
  describeDemo();
  const auto* const setPoint = description.find(0x2000, 2);
  EXPECT_EQ(0, setPoint->lowLimit->number);
  EXPECT_EQ(1200, setPoint->highLimit->number);
  const auto* const alarms =
      description.find(0x2000, 6);  // of the application: its dictionary limits are not its type's
  EXPECT_FALSE(alarms->lowLimit);
  EXPECT_FALSE(alarms->highLimit);
  EXPECT_FALSE(description.find(0x1A00, 1)->highLimit);
}

TEST_F(NodeDescriptionTest, ConfiguredValuesAreTheDefaults) {
  describeDemo();
  EXPECT_EQ(700, description.find(0x1017, 0)->defaultValue->number);
  EXPECT_EQ(0x2003E8, description.find(0x1016, 1)->defaultValue->number);
  EXPECT_EQ(4U, description.getPDOs().size());
}

TEST_F(NodeDescriptionTest, TypeOfAnOddLengthIsDefined) {
  describeDemo();
  EXPECT_EQ(device_description::CODE_DEFTYPE, description.find(0x40)->code);
  EXPECT_EQ(12U, description.getIntegerType(description.find(0x2000, 4)->dataType)->bits);
}

TEST_F(NodeDescriptionTest, DeviceIsTheNode) {
  describeDemo();
  EXPECT_EQ(0x3C7U, description.deviceInfo.vendorNumber);
  EXPECT_NE(std::string::npos, text.find("NrOfRXPDO=2\nNrOfTXPDO=2\n"));
  EXPECT_NE(std::string::npos, text.find("CreationTime=09:30AM\nCreationDate=03-14-2024\n"));
}

TEST_F(NodeDescriptionTest, AccessIsThatOfTheNode) {
  describeDemo();
  EXPECT_EQ(Access::CONST, description.find(0x1008, 0)->access);
  EXPECT_EQ(Access::RO, description.find(0x2000, 1)->access);
  EXPECT_EQ(Access::RWW, description.find(0x2000, 2)->access);
}

TEST_F(NodeDescriptionTest, ExpressionOfAnApplicationObjectIsKept) {
  text =
      "[DeviceInfo]\n[ManufacturerObjects]\nSupportedObjects=1\n1=0x2000\n[2000]\nParameterName=V\nDataType="
      "7\nAccessType=rw\n"
      "DefaultValue=0x100 + $NodeID\n";
  describeAgain();
  EXPECT_NE(std::string::npos, text.find("DefaultValue=$NODEID+0x100\n"));
}

}  // namespace
