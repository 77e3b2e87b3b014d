// Covers: a whole node as a master sees it over SDO, from the port to the dictionary and the variable store.
//
// | subject               | functional                              | robustness                               |
// |-----------------------|-----------------------------------------|------------------------------------------|
// | standard objects      | device type, name, identity, versions   | unknown object                           |
// | application variables | own, of another owner; written and read | read only                                |
// | node ID               | channel and answers follow it           | requests to another node                 |
// | channels              | added before the boot, moved            | disabled                                 |
// | transfers             | text there and back                     | master that stops, second master, blocks |
// | NMT                   | PRE-OPERATIONAL, OPERATIONAL, STOPPED   | transfer over a state change             |

#include "KQDEI.h"
#include "OwnerRecorder.h"
#include "SDOServerFixture.h"
#include "SignalRecorder.h"
#include "StoredVariable.h"

namespace {

using test::Frames;

class SDOServer : public test::SDOServerFixture {
protected:
  // Adds a variable of another protocol to the store, and the node takes it over.
  void add(KQ::KQVariable& variable) {
    variable.setOwner(&owner);
    ASSERT_EQ(0, KQ::KQDEI::instance()->addVariable(&variable));
    ASSERT_EQ(1, node.canopen().getApplicationVariables());
  }

  test::OwnerRecorder owner;
};

// ---- standard objects

TEST_F(SDOServer, GivesTheDeviceName) {
  EXPECT_EQ(Frames{"585#43 08 10 00 54 41 56 4F"}, request("40 08 10 00 00 00 00 00"));
}

TEST_F(SDOServer, GivesTheDeviceType) {
  EXPECT_EQ(Frames{"585#43 00 10 00 00 00 00 00"}, request("40 00 10 00 00 00 00 00"));
}

TEST_F(SDOServer, GivesTheErrorRegister) {
  EXPECT_EQ(Frames{"585#4F 01 10 00 00 00 00 00"}, request("40 01 10 00 00 00 00 00"));
}

TEST_F(SDOServer, GivesTheIdentity) {
  EXPECT_EQ(Frames{"585#4F 18 10 00 04 00 00 00"}, request("40 18 10 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#43 18 10 01 C7 03 00 00"}, request("40 18 10 01 00 00 00 00"));
}

TEST_F(SDOServer, GivesTheHardwareVersion) {
  EXPECT_EQ(Frames{"585#47 09 10 00 31 2E 30 00"}, request("40 09 10 00 00 00 00 00"));
}

TEST_F(SDOServer, GivesTheSoftwareVersionInSegments) {
  EXPECT_EQ(Frames{"585#41 0A 10 00 09 00 00 00"}, request("40 0A 10 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#00 75 6E 64 65 66 69 6E"}, request("60 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#1B 65 64 00 00 00 00 00"}, request("70 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, request("60 00 00 00 00 00 00 00"));
}

TEST_F(SDOServer, GivesItsOwnChannel) {
  EXPECT_EQ(Frames{"585#43 00 12 01 05 06 00 00"}, request("40 00 12 01 00 00 00 00"));
  EXPECT_EQ(Frames{"585#43 00 12 02 85 05 00 00"}, request("40 00 12 02 00 00 00 00"));
}

TEST_F(SDOServer, TakesTheHeartbeatTime) {
  EXPECT_EQ(Frames{"585#60 17 10 00 00 00 00 00"}, request("2B 17 10 00 32 00 00 00"));
  EXPECT_EQ(Frames{"585#4B 17 10 00 32 00 00 00"}, request("40 17 10 00 00 00 00 00"));
}

TEST_F(SDOServer, SavesOnTheSignature) {
  EXPECT_EQ("", node.directory.read("tavo.dcf"));
  EXPECT_EQ(Frames{"585#60 10 10 01 00 00 00 00"}, request("23 10 10 01 73 61 76 65"));
  EXPECT_NE("", node.directory.read("tavo.dcf"));
  EXPECT_EQ(Frames{"585#43 10 10 01 73 61 76 65"}, request("40 10 10 01 00 00 00 00"));
}

TEST_F(SDOServer, AbortsTheReadOfAnUnknownObject) {
  EXPECT_EQ(Frames{"585#80 00 30 00 00 00 02 06"}, request("40 00 30 00 00 00 00 00"));
}

TEST_F(SDOServer, AbortsTheWriteOfAnUnknownObject) {
  EXPECT_EQ(Frames{"585#80 00 30 00 00 00 02 06"}, request("2F 00 30 00 01 00 00 00"));
}

TEST_F(SDOServer, AbortsBlockTransfer) {
  EXPECT_EQ(Frames{"585#80 08 10 00 01 00 04 05"}, request("A0 08 10 00 7F 00 00 00"));
  EXPECT_EQ(Frames{"585#80 01 20 01 01 00 04 05"}, request("C2 01 20 01 0A 00 00 00"));
  EXPECT_EQ(Frames{"585#80 01 20 01 01 00 04 05"}, request("E0 01 20 01 00 00 00 00"));
}

// ---- application variables

TEST_F(SDOServer, WritesAndReadsAVariableOfTheStore) {
  addOwnNumber(0x2001, 3, 16, true);
  EXPECT_EQ(Frames{"585#60 01 20 03 00 00 00 00"}, request("2B 01 20 03 FE FF 00 00"));
  EXPECT_EQ(-2, stored(0x2001, 3));
  EXPECT_EQ(Frames{"585#4B 01 20 03 FE FF 00 00"}, request("40 01 20 03 00 00 00 00"));
}

TEST_F(SDOServer, ReadsWhatTheApplicationHasWritten) {
  addOwnNumber(0x2001, 3, 32, false);
  store(0x2001, 3, 0x12345678);
  EXPECT_EQ(Frames{"585#43 01 20 03 78 56 34 12"}, request("40 01 20 03 00 00 00 00"));
}

TEST_F(SDOServer, WriteMakesAnInvalidVariableValid) {
  addOwnNumber(0x2001, 3, 16, false);
  KQ::KQDEI::instance()->markValueAsInvalid(0x2001, 3, true);
  request("2B 01 20 03 07 00 00 00");
  EXPECT_TRUE(test::isValid(0x2001, 3));
}

TEST_F(SDOServer, WritesAVariableOfAnotherOwnerIntoTheStore) {
  KQ::KQVariable variable(0x2100, 1, "foreign number", KQ::STORAGE_TYPE_INTEGER, 8, false);
  add(variable);
  EXPECT_EQ(Frames{"585#60 00 21 01 00 00 00 00"}, request("2F 00 21 01 C8 00 00 00"));
  EXPECT_EQ(200, stored(0x2100, 1));
  EXPECT_EQ(std::vector<std::string>{}, owner.requests);
  EXPECT_EQ(Frames{"585#4F 00 21 01 C8 00 00 00"}, request("40 00 21 01 00 00 00 00"));
}

TEST_F(SDOServer, ReadOnlyVariableOfAnotherOwnerIsRefused) {
  KQ::KQVariable variable(0x2100, 1, "foreign number", KQ::STORAGE_TYPE_INTEGER, 8, false);
  variable.setAccessMode(2);
  add(variable);
  EXPECT_EQ(Frames{"585#80 00 21 01 02 00 01 06"}, request("2F 00 21 01 01 00 00 00"));
}

TEST_F(SDOServer, TextOfAnotherOwnerGoesThereAndBack) {
  KQ::KQVariable variable(0x2100, 2, "foreign text", KQ::STORAGE_TYPE_STRING);
  add(variable);
  EXPECT_EQ(Frames{"585#60 00 21 02 00 00 00 00"}, request("21 00 21 02 08 00 00 00"));
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, request("00 54 41 56 4F 2D 31 32"));
  EXPECT_EQ(Frames{"585#30 00 00 00 00 00 00 00"}, request("1D 33 00 00 00 00 00 00"));
  EXPECT_EQ("TAVO-123", storedText(0x2100, 2));
  EXPECT_EQ(Frames{"585#41 00 21 02 08 00 00 00"}, request("40 00 21 02 00 00 00 00"));
  EXPECT_EQ(Frames{"585#00 54 41 56 4F 2D 31 32"}, request("60 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#1D 33 00 00 00 00 00 00"}, request("70 00 00 00 00 00 00 00"));
}

TEST_F(SDOServer, NumberOfEntriesFollowsTheVariables) {
  addOwnNumber(0x2001, 0, 8, false);
  EXPECT_EQ(Frames{"585#4F 01 20 00 00 00 00 00"}, request("40 01 20 00 00 00 00 00"));
}

// ---- masters

TEST_F(SDOServer, MasterThatStopsInADownloadIsAborted) {
  addOwnText(0x2001, 3, "before");
  test::SignalRecorder events;
  server().setSDOEventListener(&events);
  request("21 01 20 03 14 00 00 00");
  node.run(40);
  request("00 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(Frames{"585#80 01 20 03 00 00 04 05"}, node.run(1));
  ASSERT_EQ(1u, events.signals.size());
  EXPECT_EQ(0x20010003u, events.signals[0].getFirstValue());
  EXPECT_EQ("before", storedText(0x2001, 3));
}

TEST_F(SDOServer, MasterThatStopsInAnUploadIsAborted) {
  request("40 0A 10 00 00 00 00 00");
  request("60 00 00 00 00 00 00 00");
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(Frames{"585#80 0A 10 00 00 00 04 05"}, node.run(1));
  EXPECT_EQ(Frames{"585#41 0A 10 00 09 00 00 00"}, request("40 0A 10 00 00 00 00 00"));
}

TEST_F(SDOServer, SecondMasterTakesTheUploadOver) {
  addChannel(0x1201, 0x612, 0x592);
  addOwnText(0x2001, 1, "abcdef");
  request("40 0A 10 00 00 00 00 00");
  EXPECT_EQ(Frames{"592#41 01 20 01 06 00 00 00"}, node.receive("612#40 01 20 01 00 00 00 00"));
  EXPECT_EQ(Frames{"592#03 61 62 63 64 65 66 00"}, node.receive("612#60 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, request("60 00 00 00 00 00 00 00"));
}

TEST_F(SDOServer, AnswersEveryFrameThatWaitsAtThePort) {
  node.port().inject("605#40 00 10 00 00 00 00 00");
  node.port().inject("606#40 00 10 00 00 00 00 00");
  const Frames expected = {"585#43 00 10 00 00 00 00 00", "585#43 18 10 01 C7 03 00 00"};
  EXPECT_EQ(expected, request("40 18 10 01 00 00 00 00"));
}

TEST_F(SDOServer, RequestsToOtherNodesAreNotAnswered) {
  EXPECT_EQ(Frames{}, node.receive("604#40 00 10 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.receive("600#40 00 10 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.receive("585#43 00 10 00 00 00 00 00"));
}

// ---- states and node IDs

TEST_F(SDOServer, SilentOnlyWhileStopped) {
  const Frames answer = {"585#43 00 10 00 00 00 00 00"};
  EXPECT_EQ(answer, request("40 00 10 00 00 00 00 00"));
  node.receive("000#02 05");
  EXPECT_EQ(Frames{}, request("40 00 10 00 00 00 00 00"));
  node.receive("000#01 05");
  EXPECT_EQ(answer, request("40 00 10 00 00 00 00 00"));
}

TEST_F(SDOServer, TransferGoesOnOverAStateChange) {
  addOwnText(0x2001, 1, "before");
  request("21 01 20 01 14 00 00 00");
  node.receive("000#01 05");
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 1));
}

TEST(SDOServerOfAnotherNode, ChannelFollowsTheNodeID) {
  test::TestNode node(127);
  node.boot();
  EXPECT_EQ(Frames{"5FF#43 00 12 01 7F 06 00 00"}, node.receive("67F#40 00 12 01 00 00 00 00"));
}

// A second channel, which is there when the node boots.
class AddedSDOServer : public testing::Test {
protected:
  void boot(unsigned int responseCobID) {
    node.init();
    ASSERT_EQ(0, node.canopen().addSDOChannel(0x612, responseCobID, 18, KQ::SDO_CHANNEL_SERVER, "second master"));
    node.cycle();
  }

  test::TestNode node;
};

TEST_F(AddedSDOServer, IsServed) {
  boot(0x592);
  EXPECT_EQ(Frames{"592#43 18 10 01 C7 03 00 00"}, node.receive("612#40 18 10 01 00 00 00 00"));
  EXPECT_EQ(Frames{"585#4F 01 12 03 12 00 00 00"}, node.receive("605#40 01 12 03 00 00 00 00"));
}

TEST_F(AddedSDOServer, IsSilentWhenDisabled) {
  boot(0x80000592);
  EXPECT_EQ(Frames{}, node.receive("612#40 18 10 01 00 00 00 00"));
}

TEST_F(AddedSDOServer, LetsAMasterMoveItsResponseCobID) {
  boot(0x592);
  EXPECT_EQ(Frames{"585#60 01 12 02 00 00 00 00"}, node.receive("605#23 01 12 02 93 05 00 00"));
  EXPECT_EQ(Frames{"593#43 18 10 01 C7 03 00 00"}, node.receive("612#40 18 10 01 00 00 00 00"));
}

TEST_F(AddedSDOServer, CannotBeDisabledByAMasterBecauseOfItsLimit) {
  boot(0x592);
  EXPECT_EQ(Frames{"585#80 01 12 02 00 00 00 08"}, node.receive("605#23 01 12 02 92 05 00 80"));
  EXPECT_EQ(Frames{"592#43 18 10 01 C7 03 00 00"}, node.receive("612#40 18 10 01 00 00 00 00"));
}

TEST(SDOServerOfAnotherNode, EventListenerOfTheNodeHearsTheMastersAbort) {
  test::TestNode node;
  node.boot();
  test::SignalRecorder events;
  ASSERT_EQ(0, node.canopen().setSDOEventListener(&events));
  EXPECT_EQ(Frames{}, node.receive("605#80 01 20 03 00 00 04 05"));
  ASSERT_EQ(1u, events.signals.size());
  EXPECT_EQ(0x20010003u, events.signals[0].getFirstValue());
}

}  // namespace
