// Covers: a master that configures PDOs over SDO, frame by frame.
//
// | subject        | functional                                    | robustness                             |
// |----------------|-----------------------------------------------|----------------------------------------|
// | TPDO procedure | invalidate, change the mapping, validate      | a valid COB-ID, restricted COB-IDs     |
// | RPDO procedure | the same                                      | taken COB-ID                           |
// | mapping        | the device's own change counts after the next | the bus cannot change it, valid or not |
// |                | validation                                    |                                        |
// | parameters     | type, inhibit time, event timer, moved COB-ID | reserved types                         |
// | log            | each line to the letter                       |                                        |

#include <string>

#include "NamedCase.h"
#include "PDOFixture.h"

using namespace KQ;
using test::Frames;

namespace {

class PDORemapping : public test::PDOFixture {
protected:
  PDORemapping() {
    addVariables(4, 8);
    addTransmitPDO(0, {0x185}, {0x20010108});
    addReceivePDO(0, {0x205}, {0x20010308});
    startAndSettle();
  }

  // A request of the master. @return all frames that it sets off, the answer last
  Frames request(const std::string& bytes) { return node.receive("605#" + bytes); }
  std::string printed() { return node.output.takeOutput(); }
};

// ---- TPDO

TEST_F(PDORemapping, TransmitPDOFollowsTheProcedure) {
  // Invalidated, it is silent.
  EXPECT_EQ(Frames{"585#60 00 18 01 00 00 00 00"}, request("23 00 18 01 85 01 00 C0"));
  EXPECT_EQ("Set COB-ID invalid, new value: 0xc0000185\n", printed());
  change(0x2001, 1, 0x11);
  EXPECT_EQ(Frames{}, node.run(10));
  // The device maps other objects meanwhile.
  map(0x1A00, {0x20010208, 0x20010108});
  EXPECT_EQ(Frames{}, node.run(10));
  // Validated, it goes out once by itself, then on change of what is mapped now.
  EXPECT_EQ(Frames{"585#60 00 18 01 00 00 00 00"}, request("23 00 18 01 85 01 00 00"));
  EXPECT_EQ("Set COB-ID valid, value: 0x40000185\n", printed());
  EXPECT_EQ(Frames{"185#00 11"}, node.cycle());
  change(0x2001, 2, 0x22);
  EXPECT_EQ(Frames{"185#22 11"}, sent());
  EXPECT_EQ(Frames{"585#43 00 18 01 85 01 00 40"}, request("40 00 18 01 00 00 00 00"));
}

TEST_F(PDORemapping, TransmitPDOMovesToAnotherCOBID) {
  request("23 00 18 01 85 01 00 80");
  request("23 00 18 01 95 01 00 00");
  EXPECT_EQ(Frames{"195#00"}, node.cycle());
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{"195#01"}, sent());
}

TEST_F(PDORemapping, InvalidatedTwiceStaysInvalid) {
  request("23 00 18 01 85 01 00 80");
  EXPECT_EQ(Frames{"585#60 00 18 01 00 00 00 00"}, request("23 00 18 01 85 01 00 80"));
  EXPECT_EQ(Frames{}, node.run(10));
}

TEST_F(PDORemapping, ValidCOBIDIsRefusedAndThePDOGoesOn) {
  printed();
  EXPECT_EQ(Frames{"585#80 00 18 01 30 00 09 06"}, request("23 00 18 01 95 01 00 00"));
  EXPECT_EQ("Trying to set 0x 195 to a valid PDO COB-ID -> Error\n", printed());
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{"185#01"}, sent());
}

struct RestrictedCase : test::NamedCase {
  const char* bytes;
};

class RestrictedCOBID : public PDORemapping, public testing::WithParamInterface<RestrictedCase> {};

TEST_P(RestrictedCOBID, DoesNotValidateThePDO) {
  request("23 00 18 01 85 01 00 80");
  EXPECT_EQ(Frames{"585#80 00 18 01 30 00 09 06"}, request(std::string("23 00 18 01 ") + GetParam().bytes));
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{}, node.run(10));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RestrictedCOBID,
    testing::Values(RestrictedCase{{"Below080"}, "7F 00 00 00"}, RestrictedCase{{"Of101"}, "01 01 00 00"},
                    RestrictedCase{{"Of180"}, "80 01 00 00"}, RestrictedCase{{"OfSDOResponses"}, "85 05 00 00"},
                    RestrictedCase{{"OfSDORequests"}, "05 06 00 00"}, RestrictedCase{{"OfHeartbeats"}, "05 07 00 00"}),
    test::caseName<RestrictedCase>);

// ---- RPDO

TEST_F(PDORemapping, ReceivePDOFollowsTheProcedure) {
  EXPECT_EQ(Frames{"585#60 00 14 01 00 00 00 00"}, request("23 00 14 01 05 02 00 80"));
  EXPECT_EQ("Set COB-ID invalid, new value: 0x80000205\n", printed());
  node.receive("205#11");
  EXPECT_EQ(0, stored(0x2001, 3));
  map(0x1600, {0x20010408, 0x20010308});
  EXPECT_EQ(Frames{"585#60 00 14 01 00 00 00 00"}, request("23 00 14 01 05 02 00 40"));
  EXPECT_EQ("Set COB-ID valid, value: 0x205\n", printed());
  node.receive("205#44 33");
  EXPECT_EQ(0x33, stored(0x2001, 3));
  EXPECT_EQ(0x44, stored(0x2001, 4));
  EXPECT_EQ(Frames{"585#43 00 14 01 05 02 00 00"}, request("40 00 14 01 00 00 00 00"));
}

TEST_F(PDORemapping, ReceivePDOMovesToAnotherCOBID) {
  request("23 00 14 01 05 02 00 80");
  request("23 00 14 01 15 02 00 00");
  node.receive("205#11");
  EXPECT_EQ(0, stored(0x2001, 3));
  node.receive("215#22");
  EXPECT_EQ(0x22, stored(0x2001, 3));
}

TEST_F(PDORemapping, ReceivePDOOnATakenCOBIDGetsNoFrames) {
  addReceivePDO(1, {0x80000305}, {0x20010408});
  EXPECT_EQ(KQ_OK, write(0x1401, 1, 0x80000305));
  EXPECT_EQ(Frames{"585#60 01 14 01 00 00 00 00"}, request("23 01 14 01 05 02 00 00"));
  node.receive("205#11");
  EXPECT_EQ(0x11, stored(0x2001, 3));
  EXPECT_EQ(0, stored(0x2001, 4));
}

// ---- mapping and parameters

TEST_F(PDORemapping, MasterCannotChangeAMapping) {
  request("23 00 18 01 85 01 00 80");
  EXPECT_EQ(Frames{"585#80 00 1A 00 02 00 01 06"}, request("2F 00 1A 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#80 00 1A 01 00 00 01 06"}, request("23 00 1A 01 08 02 01 20"));
  EXPECT_EQ(Frames{"585#80 00 16 00 02 00 01 06"}, request("2F 00 16 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#80 00 16 01 00 00 01 06"}, request("23 00 16 01 08 02 01 20"));
  EXPECT_EQ(Frames{"585#43 00 1A 01 08 01 01 20"}, request("40 00 1A 01 00 00 00 00"));
}

TEST_F(PDORemapping, TransmissionTypeIsChangedOverSDO) {
  EXPECT_EQ(Frames{"585#60 00 18 02 00 00 00 00"}, request("2F 00 18 02 01 00 00 00"));
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ((Frames{"185#00", "185#00"}), node.receive("080#"));
}

TEST_F(PDORemapping, ReservedTransmissionTypeIsRefused) {
  EXPECT_EQ(Frames{"585#80 00 18 02 30 00 09 06"}, request("2F 00 18 02 F1 00 00 00"));
  EXPECT_EQ(Frames{"585#80 00 18 02 30 00 09 06"}, request("2F 00 18 02 FB 00 00 00"));
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{"185#01"}, sent());
}

TEST_F(PDORemapping, EventTimerAndInhibitTimeAreChangedOverSDO) {
  EXPECT_EQ(Frames{"585#60 00 18 05 00 00 00 00"}, request("2B 00 18 05 64 00 00 00"));
  EXPECT_EQ(Frames{"585#60 00 18 03 00 00 00 00"}, request("2B 00 18 03 32 00 00 00"));
  EXPECT_EQ(Frames{"185#00"}, node.cycle());
  EXPECT_EQ(Frames{"185#00"}, node.run(100));
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{}, node.run(49));
  EXPECT_EQ(Frames{"185#01"}, node.run(1));
}

TEST_F(PDORemapping, ReceivePDOBecomesSynchronousOverSDO) {
  EXPECT_EQ(Frames{"585#60 00 14 02 00 00 00 00"}, request("2F 00 14 02 00 00 00 00"));
  node.receive("205#11");
  EXPECT_EQ(0, stored(0x2001, 3));
  node.receive("080#");
  EXPECT_EQ(0x11, stored(0x2001, 3));
}

TEST_F(PDORemapping, WorksInPreOperationalForTheTimeAfterIt) {
  node.receive("000#80 05");
  request("23 00 18 01 85 01 00 80");
  map(0x1A00, {0x20010208});
  request("23 00 18 01 85 01 00 00");
  EXPECT_EQ(Frames{}, node.run(20));
  node.receive("000#01 05");
  EXPECT_EQ(Frames{"185#00"}, node.cycle());
  change(0x2001, 2, 2);
  EXPECT_EQ(Frames{"185#02"}, sent());
}

}  // namespace
