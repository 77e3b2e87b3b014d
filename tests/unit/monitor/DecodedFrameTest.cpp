// Covers: the words for codes: abort codes, EMCY error codes, states, NMT commands.
//
// | subject                                                  | functional | robustness |
// |----------------------------------------------------------|------------|------------|
// | each abort code of CiA 301 and its text                  | x          |            |
// | error codes with a text of their own, and by their class | x          |            |
// | states and NMT commands                                  | x          |            |
// | codes next to known ones, which are unknown              |            | x          |

#include "DecodedFrame.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

struct CodeCase {
  std::uint32_t code;
  const char* text;
};

std::string codeName(const ::testing::TestParamInfo<CodeCase>& info) {
  char name[16];
  std::snprintf(name, sizeof name, "x%08X", static_cast<unsigned int>(info.param.code));
  return name;
}

class AbortTextTest : public ::testing::TestWithParam<CodeCase> {};

TEST_P(AbortTextTest, IsThatOfTheStandard) {
  EXPECT_EQ(GetParam().text, monitor::getAbortText(GetParam().code));
}

const CodeCase ABORTS[] = {
    {0x05030000, "toggle bit not alternated"},
    {0x05040000, "SDO protocol timed out"},
    {0x05040001, "client/server command specifier not valid or unknown"},
    {0x05040002, "invalid block size"},
    {0x05040003, "invalid sequence number"},
    {0x05040004, "CRC error"},
    {0x05040005, "out of memory"},
    {0x06010000, "unsupported access to an object"},
    {0x06010001, "attempt to read a write-only object"},
    {0x06010002, "attempt to write a read-only object"},
    {0x06020000, "object does not exist in the object dictionary"},
    {0x06040041, "object cannot be mapped to the PDO"},
    {0x06040042, "number and length of the objects to be mapped would exceed PDO length"},
    {0x06040043, "general parameter incompatibility"},
    {0x06040047, "general internal incompatibility in the device"},
    {0x06060000, "access failed due to a hardware error"},
    {0x06070010, "data type does not match, length of service parameter does not match"},
    {0x06070012, "data type does not match, length of service parameter too high"},
    {0x06070013, "data type does not match, length of service parameter too low"},
    {0x06090011, "sub-index does not exist"},
    {0x06090030, "invalid value for parameter"},
    {0x06090031, "value of parameter written too high"},
    {0x06090032, "value of parameter written too low"},
    {0x06090036, "maximum value is less than minimum value"},
    {0x060A0023, "resource not available: SDO connection"},
    {0x08000000, "general error"},
    {0x08000020, "data cannot be transferred or stored to the application"},
    {0x08000021, "data cannot be transferred or stored to the application because of local control"},
    {0x08000022, "data cannot be transferred or stored to the application because of the present device state"},
    {0x08000023, "object dictionary dynamic generation fails or no object dictionary is present"},
    {0x08000024, "no data available"},
    {0x00000000, "unknown abort code"},
    {0x05030001, "unknown abort code"},
    {0x08000025, "unknown abort code"},
    {0xFFFFFFFF, "unknown abort code"},
};
INSTANTIATE_TEST_SUITE_P(DecodedFrame, AbortTextTest, ::testing::ValuesIn(ABORTS), codeName);

class EmergencyTextTest : public ::testing::TestWithParam<CodeCase> {};

TEST_P(EmergencyTextTest, IsThatOfTheCodeOrOfItsClass) {
  EXPECT_EQ(GetParam().text, monitor::getEmergencyText(GetParam().code));
}

const CodeCase EMERGENCIES[] = {
    {0x0000, "error reset or no error"},
    {0x1000, "generic error"},
    {0x2310, "current, device output side"},
    {0x3100, "mains voltage"},
    {0x4200, "device temperature"},
    {0x5000, "device hardware"},
    {0x6200, "user software"},
    {0x7000, "additional modules"},
    {0x8100, "communication"},
    {0x8110, "CAN overrun, objects lost"},
    {0x8120, "CAN in error passive mode"},
    {0x8130, "life guard error or heartbeat error"},
    {0x8140, "recovered from bus off"},
    {0x8150, "CAN-ID collision"},
    {0x8210, "PDO not processed due to length error"},
    {0x8220, "PDO length exceeded"},
    {0x8250, "RPDO timeout"},
    {0x9000, "external error"},
    {0xF001, "additional functions"},
    {0xFF12, "device specific"},
    {0xA000, "unknown error"},
};
INSTANTIATE_TEST_SUITE_P(DecodedFrame, EmergencyTextTest, ::testing::ValuesIn(EMERGENCIES), codeName);

TEST(StateName, IsUnknownBetweenTheKnownOnes) {
  EXPECT_EQ("STOPPED", monitor::getStateName(4));
  EXPECT_EQ(monitor::UNKNOWN_STATE, monitor::getStateName(6));
}

TEST(ServiceName, IsThatOfTheField) {
  EXPECT_EQ("node guarding", monitor::getName(monitor::Service::NODE_GUARDING));
  EXPECT_EQ("unknown", monitor::getName(monitor::Service::UNKNOWN));
}

TEST(SDOCommandName, IsThereForTheLastOne) {
  EXPECT_EQ("unknown command", monitor::getName(monitor::SDOCommand::UNKNOWN));
}

TEST(Violation, IsTheFirstThatWasFound) {
  monitor::DecodedFrame frame;
  frame.complain("one");
  frame.complain("two");
  EXPECT_EQ("one", frame.violation);
}

}  // namespace
