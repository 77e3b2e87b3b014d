// Covers: what a frame is called: services, nodes, commands, states, and the values of PDOs.
//
// | subject                                                     | functional | robustness |
// |-------------------------------------------------------------|------------|------------|
// | COB-ID x service and node, boundaries of each range         | x          |            |
// | NMT commands, states, boot-up, node guarding                | x          |            |
// | EMCY, TIME, LSS                                             | x          |            |
// | PDOs with and without a mapping, too short, with gaps       | x          |            |
// | COB-IDs that the names assign                               | x          |            |
// | wrong lengths and values; frames that are none of CANopen's |            | x          |

#include <gtest/gtest.h>

#include <string>

#include "Decoding.h"
#include "NamedCase.h"
#include "StandardNames.h"

namespace {

using monitor::Form;
using monitor::Service;
using test::Decoding;

struct WordsCase : test::NamedCase {
  const char* frame;
  const char* words;
};

class FrameDecoderWords : public ::testing::TestWithParam<WordsCase> {};

TEST_P(FrameDecoderWords, SayWhatTheFrameIs) {
  EXPECT_EQ(GetParam().words, Decoding().words(GetParam().frame));
}

const WordsCase SERVICES[] = {
    {{"NMTStart"}, "000#0105", "NMT|5||start"},
    {{"NMTStop"}, "000#0205", "NMT|5||stop"},
    {{"NMTEnterPreOperational"}, "000#8005", "NMT|5||enter pre-operational"},
    {{"NMTResetNode"}, "000#8105", "NMT|5||reset node"},
    {{"NMTResetCommunication"}, "000#8205", "NMT|5||reset communication"},
    {{"NMTForAllNodes"}, "000#0100", "NMT|0||start"},
    {{"NMTUnknownCommand"}, "000#0305", "NMT|5||unknown command|unknown NMT command"},
    {{"NMTNodeIDTooHigh"}, "000#0180", "NMT|128||start|NMT command for a node-ID above 127"},
    {{"NMTTooShort"}, "000#01", "NMT|0||start|NMT command that has not 2 bytes"},
    {{"NMTTooLong"}, "000#010500", "NMT|5||start|NMT command that has not 2 bytes"},
    {{"ReservedBehindNMT"}, "001#", "unknown|0||"},
    {{"ReservedBeforeSync"}, "07F#", "unknown|0||"},
    {{"Sync"}, "080#", "SYNC|0||"},
    {{"SyncWithCounter"}, "080#07", "SYNC|0||07"},
    {{"SyncTooLong"}, "080#0700", "SYNC|0||07 00|SYNC of more than 1 byte"},
    {{"EmergencyOfNode1"},
     "081#1081810102030405",
     "EMCY|1||0x8110 CAN overrun, objects lost, error register 0x81, 01 02 03 04 05"},
    {{"EmergencyOfNode127"},
     "0FF#0000000000000000",
     "EMCY|127||0x0000 error reset or no error, error register 0x00, 00 00 00 00 00"},
    {{"EmergencyTooShort"},
     "085#1081",
     "EMCY|5||0x8110 CAN overrun, objects lost, error register 0x00|EMCY that has not 8 bytes"},
    {{"Time"}, "100#80A81C031A3B", "TIME|0||2025-06-04 14:30:09.792"},
    {{"TimeTooShort"}, "100#80A81C031A", "TIME|0|||TIME that has not 6 bytes"},
    {{"ReservedBehindTime"}, "101#", "unknown|0||"},
    {{"ReservedBeforeTPDO"}, "180#", "unknown|0||"},
    {{"FirstTPDO1"}, "181#AB", "TPDO 1|1||AB"},
    {{"LastTPDO1"}, "1FF#", "TPDO 1|127||"},
    {{"ReservedBeforeRPDO"}, "200#", "unknown|0||"},
    {{"RPDO1"}, "205#01", "RPDO 1|5||01"},
    {{"TPDO2"}, "285#01", "TPDO 2|5||01"},
    {{"RPDO2"}, "305#01", "RPDO 2|5||01"},
    {{"TPDO3"}, "385#01", "TPDO 3|5||01"},
    {{"RPDO3"}, "405#01", "RPDO 3|5||01"},
    {{"TPDO4"}, "485#01", "TPDO 4|5||01"},
    {{"RPDO4"}, "505#01", "RPDO 4|5||01"},
    {{"LastRPDO4"}, "57F#01", "RPDO 4|127||01"},
    {{"ReservedBeforeSDO"}, "580#0000000000000000", "unknown|0||00 00 00 00 00 00 00 00"},
    {{"SDOResponse"}, "585#4318100154415643", "SDO response|5|0x1018/1 Vendor-ID|initiate upload"},
    {{"SDORequest"}, "605#4018100100000000", "SDO request|5|0x1018/1 Vendor-ID|initiate upload"},
    {{"ReservedBehindSDO"}, "680#", "unknown|0||"},
    {{"ReservedBeforeHeartbeat"}, "700#00", "unknown|0||00"},
    {{"BootUp"}, "705#00", "boot-up|5||"},
    {{"BootUpOfNode127"}, "77F#00", "boot-up|127||"},
    {{"HeartbeatStopped"}, "705#04", "heartbeat|5||STOPPED"},
    {{"HeartbeatOperational"}, "705#05", "heartbeat|5||OPERATIONAL"},
    {{"HeartbeatPreOperational"}, "705#7F", "heartbeat|5||PRE-OPERATIONAL"},
    {{"GuardingWithToggleBit"}, "705#85", "heartbeat|5||OPERATIONAL"},
    {{"GuardingOfInitialisingNode"}, "705#80", "heartbeat|5||INITIALISING"},
    {{"HeartbeatUnknownState"}, "705#03", "heartbeat|5||unknown state|heartbeat with an unknown state"},
    {{"HeartbeatTooLong"}, "705#0500", "heartbeat|5||OPERATIONAL|heartbeat that has not 1 byte"},
    {{"HeartbeatEmpty"}, "705#", "heartbeat|5||INITIALISING|heartbeat that has not 1 byte"},
    {{"ReservedBehindHeartbeat"}, "780#", "unknown|0||"},
    {{"LSSOfSlave"}, "7E4#4400000000000000", "LSS|0||switch state selective: done 44 00 00 00 00 00 00 00"},
    {{"LSSOfMaster"}, "7E5#0401000000000000", "LSS|0||switch state global 04 01 00 00 00 00 00 00"},
    {{"LastIdentifier"}, "7FF#", "unknown|0||"},
    {{"NodeGuarding"}, "705#R", "node guarding|5||remote frame"},
    {{"TPDOAskedFor"}, "185#R", "TPDO 1|5||remote frame"},
    {{"NothingElseCanBeAskedFor"}, "605#R", "unknown|0||remote frame"},
    {{"ExtendedIsNoCANopen"}, "00000705#00", "unknown|0||29-bit identifier 00"},
    {{"FDIsNoCANopen"}, "705##000", "unknown|0||CAN FD 00"},
    {{"ErrorFrameIsNoCANopen"}, "20000004#0001", "unknown|0||error frame 00 01"},
};
INSTANTIATE_TEST_SUITE_P(FrameDecoder, FrameDecoderWords, ::testing::ValuesIn(SERVICES), test::caseName<WordsCase>);

// One COB-ID that is something else than the predefined connection set says.
class OneObject : public monitor::ObjectNames {
public:
  OneObject(unsigned int cobID, monitor::CommunicationObject communicationObject)
      : identifier(cobID), object(std::move(communicationObject)) {}

  monitor::ObjectDescription describe(unsigned char, unsigned short index, unsigned char) const override {
    return index == 0x2001 ? monitor::ObjectDescription{"Device Text", {Form::TEXT, 0}} : monitor::ObjectDescription();
  }
  const monitor::CommunicationObject* findCommunicationObject(unsigned int cobID) const override {
    return cobID == identifier ? &object : nullptr;
  }

private:
  const unsigned int identifier;
  const monitor::CommunicationObject object;
};

const monitor::CommunicationObject TPDO = {Service::TPDO,
                                           7,
                                           12,
                                           true,
                                           {{0x2000, 1, 16, {Form::SIGNED, 16}, "Temperature"},
                                            {0x2000, 4, 12, {Form::UNSIGNED, 12}, ""},
                                            {0x0005, 0, 3, {}, "gap"},
                                            {0x2000, 5, 1, {Form::BOOLEAN, 1}, "Run"}}};

TEST(FrameDecoderNames, AssignACOBIDToAService) {
  const OneObject names(0x1A3, TPDO);
  EXPECT_EQ(12, Decoding(&names).take("1A3#").number);
}

TEST(FrameDecoderNames, TakeAPDOApart) {
  const OneObject names(0x1A3, TPDO);
  EXPECT_EQ("TPDO 12|7||Temperature=-2, 0x2000/4=4095, Run=true", Decoding(&names).words("1A3#FEFFFFFF"));
}

TEST(FrameDecoderNames, ShowWhatAShortPDOHas) {
  const OneObject names(0x1A3, TPDO);
  EXPECT_EQ("TPDO 12|7||Temperature=1|PDO shorter than its mapping", Decoding(&names).words("1A3#0100FF"));
}

TEST(FrameDecoderNames, LeaveAPDOWithoutMappingWhole) {
  monitor::CommunicationObject object = TPDO;
  object.mappingKnown = false;
  const OneObject names(0x1A3, object);
  EXPECT_EQ("TPDO 12|7||01 00 FF", Decoding(&names).words("1A3#0100FF"));
}

TEST(FrameDecoderNames, TakeAWholeFrameOfOneBitObjects) {
  monitor::CommunicationObject object{Service::RPDO, 7, 1, true, {}};
  for (unsigned char i = 1; i <= 64; ++i) {
    object.mapping.push_back({0x2000, i, 1, {Form::BOOLEAN, 1}, ""});
  }
  const OneObject names(0x1A3, object);
  Decoding decoding(&names);
  EXPECT_EQ(1U, decoding.take("1A3#0000000000000080").values[63].value.getPattern());
}

TEST(FrameDecoderNames, GiveASecondServerItsOwnTransfers) {
  const OneObject names(0x6A0, {Service::SDO_REQUEST, 7, 2, false, {}});
  Decoding decoding(&names);
  decoding.take("607#4001200000000000");
  EXPECT_EQ("SDO 2 request|7|0x2001/0 Device Text|initiate upload", decoding.words("6A0#4001200000000000"));
}

TEST(FrameDecoder, TakesAFrameOfAPort) {
  KQ::KQCANMessage message;
  message.identifier = 0x705;
  message.length = 1;
  message.data[0] = 5;
  monitor::FrameDecoder decoder;
  EXPECT_EQ("heartbeat|5||OPERATIONAL", test::toWords(decoder.decode(1, message)));
}

TEST(FrameDecoder, TakesNoMoreOfAFrameThanItHolds) {
  monitor::Frame frame = test::loggedFrame("1A3#0102030405060708");
  frame.length = 64;
  monitor::CommunicationObject object = TPDO;
  object.mapping = {{0x2000, 1, 64, {}, "A"}, {0x2000, 2, 8, {}, "B"}};
  const OneObject names(0x1A3, object);
  monitor::FrameDecoder decoder(&names);
  EXPECT_EQ("TPDO 12|7||A=0x0807060504030201|PDO shorter than its mapping", test::toWords(decoder.decode(frame)));
}

}  // namespace
