// Covers: names, types and mappings out of descriptions of devices.
//
// | subject                                                        | functional | robustness |
// |----------------------------------------------------------------|------------|------------|
// | a file for one node, for all nodes, a configuration's own node | x          |            |
// | names and types of objects, of the standard where none is said | x          |            |
// | PDOs and further SDO servers at their COB-IDs                  | x          |            |
// | files that cannot be used, node-IDs that cannot be             |            | x          |

#include "DescriptionNames.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "TemporaryDirectory.h"
#include "TraceError.h"

namespace {

using monitor::Form;
using monitor::Service;
using trace::DescriptionNames;

std::string section(const std::string& name, const std::string& text) {
  return "[" + name + "]\n" + text + "\n";
}

std::string variable(const std::string& name, const std::string& objectName, const std::string& type,
                     const std::string& value) {
  return section(name, "ParameterName=" + objectName + "\nObjectType=7\nDataType=" + type +
                           "\nAccessType=rw\nDefaultValue=" + value + "\nPDOMapping=1");
}

std::string record(const std::string& name, const std::string& objectName, int subIndexes) {
  return section(name, "ParameterName=" + objectName + "\nObjectType=9\nSubNumber=" + std::to_string(subIndexes));
}

// A device with one TPDO at 0x180 and its node-ID, one RPDO at a fixed COB-ID, and a second SDO server.
const std::string DEVICE =
    section("DeviceInfo", "VendorName=TAVO") + section("MandatoryObjects", "SupportedObjects=0") +
    section("OptionalObjects", "SupportedObjects=5\n1=0x1201\n2=0x1400\n3=0x1600\n4=0x1800\n5=0x1A00") +
    section("ManufacturerObjects", "SupportedObjects=1\n1=0x2000") + record("1201", "Second server", 3) +
    variable("1201sub0", "Count", "5", "2") + variable("1201sub1", "Request", "7", "$NODEID+0x620") +
    variable("1201sub2", "Response", "7", "$NODEID+0x5A0") + record("1400", "RPDO", 2) +
    variable("1400sub0", "Count", "5", "1") + variable("1400sub1", "COB-ID", "7", "0x333") +
    record("1600", "RPDO mapping", 2) + variable("1600sub0", "Count", "5", "1") +
    variable("1600sub1", "Object", "7", "0x20000110") + record("1800", "TPDO", 2) +
    variable("1800sub0", "Count", "5", "1") + variable("1800sub1", "COB-ID", "7", "$NODEID+0x180") +
    record("1A00", "TPDO mapping", 3) + variable("1A00sub0", "Count", "5", "2") +
    variable("1A00sub1", "Object", "7", "0x20000110") + variable("1A00sub2", "Object", "7", "0x20000208") +
    record("2000", "Machine", 3) + variable("2000sub0", "Count", "5", "2") +
    variable("2000sub1", "Temperature", "3", "0") + variable("2000sub2", "Alarms", "5", "0");

class DescriptionNamesTest : public ::testing::Test {
protected:
  DescriptionNamesTest() { write("device.eds", DEVICE); }

  static void write(const std::string& name, const std::string& text) { std::ofstream(name) << text; }
  std::string nameOf(unsigned char node, unsigned short index, unsigned char subIndex) const {
    return std::string(names.describe(node, index, subIndex).name);
  }

  const test::TemporaryDirectory directory;
  DescriptionNames names;
};

TEST_F(DescriptionNamesTest, NameTheObjectsOfANode) {
  names.add("device.eds:5");
  EXPECT_EQ("Machine, Temperature", nameOf(5, 0x2000, 1));
}

TEST_F(DescriptionNamesTest, SayNothingOfOtherNodes) {
  names.add("device.eds:5");
  EXPECT_EQ("", nameOf(6, 0x2000, 1));
}

TEST_F(DescriptionNamesTest, NameTheObjectsOfAllNodesWithoutANodeID) {
  names.add("device.eds");
  EXPECT_EQ("Machine, Temperature", nameOf(77, 0x2000, 1));
}

TEST_F(DescriptionNamesTest, PreferTheFileOfTheNode) {
  names.add("device.eds");
  write("other.eds", DEVICE + variable("2001", "Speed", "3", "0"));
  names.add("other.eds:5");
  EXPECT_EQ("Speed", nameOf(5, 0x2001, 0));
  EXPECT_EQ("", nameOf(6, 0x2001, 0));
}

TEST_F(DescriptionNamesTest, TakeTheNodeOfAConfiguration) {
  write("device.dcf", DEVICE + section("DeviceCommissioning", "NodeID=9"));
  names.add("device.dcf");
  EXPECT_EQ("Machine, Alarms", nameOf(9, 0x2000, 2));
  EXPECT_EQ("", nameOf(5, 0x2000, 2));
}

TEST_F(DescriptionNamesTest, HaveTheTypesOfObjects) {
  names.add("device.eds:5");
  const monitor::ValueType type = names.describe(5, 0x2000, 1).type;
  EXPECT_EQ(Form::SIGNED, type.form);
  EXPECT_EQ(16, type.bits);
}

TEST_F(DescriptionNamesTest, LeaveToTheStandardWhatTheyDoNotDescribe) {
  names.add("device.eds:5");
  EXPECT_EQ("Vendor-ID", nameOf(5, 0x1018, 1));
}

TEST_F(DescriptionNamesTest, FindATPDOOfTheNode) {
  names.add("device.eds:5");
  const monitor::CommunicationObject* const object = names.findCommunicationObject(0x185);
  ASSERT_NE(nullptr, object);
  EXPECT_EQ(Service::TPDO, object->service);
  EXPECT_EQ(1, object->number);
  ASSERT_EQ(2U, object->mapping.size());
  EXPECT_EQ("Temperature", object->mapping[0].name);
  EXPECT_EQ(8, object->mapping[1].bits);
}

TEST_F(DescriptionNamesTest, FindARPDOAtAFixedCOBIDOfOneNode) {
  names.add("device.eds:5");
  const monitor::CommunicationObject* const object = names.findCommunicationObject(0x333);
  ASSERT_NE(nullptr, object);
  EXPECT_EQ(Service::RPDO, object->service);
  EXPECT_EQ(5, object->node);
}

TEST_F(DescriptionNamesTest, FindThePDOsOfAllNodesThatGoWithTheNodeID) {
  names.add("device.eds");
  ASSERT_NE(nullptr, names.findCommunicationObject(0x1FF));
  EXPECT_EQ(127, names.findCommunicationObject(0x1FF)->node);
  EXPECT_EQ(nullptr, names.findCommunicationObject(0x333));
}

TEST_F(DescriptionNamesTest, FindTheFurtherServers) {
  names.add("device.eds:5");
  ASSERT_NE(nullptr, names.findCommunicationObject(0x625));
  EXPECT_EQ(Service::SDO_REQUEST, names.findCommunicationObject(0x625)->service);
  EXPECT_EQ(2, names.findCommunicationObject(0x625)->number);
  EXPECT_EQ(Service::SDO_RESPONSE, names.findCommunicationObject(0x5A5)->service);
}

TEST_F(DescriptionNamesTest, PreferWhoSendsAPDO) {
  names.add("device.eds:5");
  std::string sender = DEVICE;
  sender.replace(sender.find("$NODEID+0x180"), 13, "0x333");
  write("sender.eds", sender);
  names.add("sender.eds:6");
  EXPECT_EQ(Service::TPDO, names.findCommunicationObject(0x333)->service);
}

TEST_F(DescriptionNamesTest, RefuseAMissingFile) {
  EXPECT_THROW(names.add("missing.eds"), trace::TraceError);
}

TEST_F(DescriptionNamesTest, RefuseAFileWithoutObjects) {
  write("empty.eds", "");
  EXPECT_THROW(names.add("empty.eds"), trace::TraceError);
}

TEST_F(DescriptionNamesTest, RefuseNodeIDsThatCannotBe) {
  EXPECT_THROW(names.add("device.eds:0"), trace::TraceError);
  EXPECT_THROW(names.add("device.eds:128"), trace::TraceError);
}

}  // namespace
