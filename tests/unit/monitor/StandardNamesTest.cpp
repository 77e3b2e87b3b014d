// Covers: names and types of the objects that are the same on every node.
//
// | subject                                        | functional | robustness |
// |------------------------------------------------|------------|------------|
// | single objects, ranges of objects, sub-indexes | x          |            |
// | indexes and sub-indexes around them            |            | x          |

#include "StandardNames.h"

#include <gtest/gtest.h>

#include <string>

#include "NamedCase.h"

namespace {

using monitor::StandardNames;

struct ObjectCase : test::NamedCase {
  unsigned short index;
  unsigned char subIndex;
  const char* objectName;
};

class StandardName : public ::testing::TestWithParam<ObjectCase> {};

TEST_P(StandardName, IsThatOfTheObject) {
  EXPECT_EQ(GetParam().objectName, StandardNames::instance().describe(5, GetParam().index, GetParam().subIndex).name);
}

const ObjectCase OBJECTS[] = {
    {{"First"}, 0x1000, 0, "Device type"},
    {{"BeforeTheFirst"}, 0x0FFF, 0, ""},
    {{"NoSuchSubIndex"}, 0x1000, 1, ""},
    {{"Gap"}, 0x1004, 0, ""},
    {{"ProducerHeartbeatTime"}, 0x1017, 0, "Producer heartbeat time"},
    {{"VendorID"}, 0x1018, 1, "Vendor-ID"},
    {{"SerialNumber"}, 0x1018, 4, "Serial number"},
    {{"BehindTheSerialNumber"}, 0x1018, 5, ""},
    {{"LastServer"}, 0x127F, 1, "SDO server parameter: COB-ID client to server"},
    {{"FirstClient"}, 0x1280, 1, "SDO client parameter: COB-ID client to server"},
    {{"LastRPDO"}, 0x15FF, 2, "RPDO communication parameter: transmission type"},
    {{"FirstRPDOMapping"}, 0x1600, 0, "RPDO mapping parameter: number of objects"},
    {{"LastMappedObject"}, 0x17FF, 64, "RPDO mapping parameter: object"},
    {{"BehindTheLastMappedObject"}, 0x17FF, 65, ""},
    {{"FirstTPDO"}, 0x1800, 5, "TPDO communication parameter: event timer"},
    {{"LastTPDOMapping"}, 0x1BFF, 1, "TPDO mapping parameter: object"},
    {{"BehindAll"}, 0x1C00, 0, ""},
    {{"OfTheManufacturer"}, 0x2000, 0, ""},
};
INSTANTIATE_TEST_SUITE_P(StandardNames, StandardName, ::testing::ValuesIn(OBJECTS), test::caseName<ObjectCase>);

TEST(StandardType, OfATextIsAText) {
  EXPECT_EQ(monitor::Form::TEXT, StandardNames::instance().describe(5, 0x1008, 0).type.form);
}

TEST(StandardType, OfACOBIDIsAPatternOfFourBytes) {
  const monitor::ValueType type = StandardNames::instance().describe(5, 0x1800, 1).type;
  EXPECT_EQ(monitor::Form::PATTERN, type.form);
  EXPECT_EQ(32, type.bits);
}

TEST(StandardNamesOfCOBIDs, AreThoseOfThePredefinedConnectionSet) {
  EXPECT_EQ(nullptr, StandardNames::instance().findCommunicationObject(0x185));
}

}  // namespace
