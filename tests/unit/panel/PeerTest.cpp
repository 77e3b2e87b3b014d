// Covers: node 5 with a peer, node 6, whose SDO server the test plays: frames as they stand on the bus.
//
// | subject                                         | functional                                     | robustness |
// |-------------------------------------------------|------------------------------------------------|------------|
// | objects of the peer and of the command, SDO     | x                                              |            |
// | channel, consumer entry                         |                                                |            |
// | reading                                         | at once, about once a second, a long text less |            |
// |                                                 | often                                          |            |
// | commands                                        | number and text, once, mirrored when confirmed |            |
// | presence by heartbeat                           | x                                              |            |
// | a peer that does not answer, that refuses, that |                                                | x          |
// | returns                                         |                                                |            |
// | two commands at once, reset of the node, writes |                                                | x          |
// | of other users                                  |                                                |            |
// | a long time-out, the wrap of the clock          |                                                | x          |

#include "Peer.h"

#include <gtest/gtest.h>
#include <sstream>

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQSignal.h"
#include "TestNode.h"

namespace {

using panel::Peer;
using test::Frames;

constexpr unsigned char OWN_NODE = 5;
constexpr unsigned char PEER_NODE = 6;
constexpr unsigned int PERIOD = Peer::READ_PERIOD_MS + OWN_NODE;

const std::string READ_SET_POINT = "606#40 00 20 02 00 00 00 00";
const std::string READ_TEXT = "606#40 01 20 00 00 00 00 00";

class PeerTest : public testing::Test {
protected:
  explicit PeerTest(unsigned int sdoTimeout = 100) : peer(*KQ::KQDEI::instance(), console, PEER_NODE) {
    node.canopen().setSDOTimeout(sdoTimeout);
    node.init();
    node.canopen().getApplicationVariables();
    peer.bind(node.canopen());
  }

  // What the panel's loop does: the peer's turn, then a cycle of the node.
  Frames loop() {
    peer.update();
    return node.cycle();
  }

  Frames run(unsigned int milliseconds) {
    Frames frames;
    for (unsigned int i = 0; i < milliseconds; ++i) {
      node.clock.advance(1);
      for (const std::string& frame : loop()) {
        frames.push_back(frame);
      }
    }
    return frames;
  }

  // Up to the first answers of the peer: set point 60.0 degC, text "abc".
  void boot() {
    loop();
    loop();
    answerReads();
  }

  // Answers a read of the set point that is under way, and the read of the text behind it.
  void answerReads() {
    node.receive("586#4B 00 20 02 58 02 00 00");
    loop();
    node.receive("586#47 01 20 00 61 62 63 00");
  }

  int number(unsigned short index, unsigned char subIndex) {
    int value = -1;
    KQ::KQDEI::instance()->getVariableValue(index, subIndex, &value);
    return value;
  }

  std::string text(unsigned short index, unsigned char subIndex) {
    std::string value;
    KQ::KQDEI::instance()->getVariableValue(index, subIndex, &value);
    return value;
  }

  std::ostringstream console;
  test::TestNode node{OWN_NODE};
  Peer peer;
};

struct ObjectCase {
  const char* name;
  unsigned short index;
  unsigned char subIndex;
  KQ::KQCANopenDataType dataType;
  KQ::KQCANopenAccessType access;
};

class PeerObjects : public PeerTest, public testing::WithParamInterface<ObjectCase> {};

TEST_P(PeerObjects, HaveTypeAndAccess) {
  const KQ::ObjectDictionarySubEntry* const entry =
      node.dictionary().getSubentry(GetParam().index, GetParam().subIndex);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(GetParam().dataType, entry->dataType);
  EXPECT_EQ(GetParam().access, entry->accessType);
}

INSTANTIATE_TEST_SUITE_P(
    Panel, PeerObjects,
    testing::Values(ObjectCase{"Count", 0x2100, 0, KQ::DATA_TYPE_UNSIGNED8, KQ::ACCESS_RO},
                    ObjectCase{"SetPoint", 0x2100, 1, KQ::DATA_TYPE_INTEGER16, KQ::ACCESS_RW},
                    ObjectCase{"Text", 0x2100, 2, KQ::DATA_TYPE_VISIBLE_STRING, KQ::ACCESS_RW},
                    ObjectCase{"Present", 0x2100, 3, KQ::DATA_TYPE_BOOLEAN, KQ::ACCESS_RO},
                    ObjectCase{"CommandCount", 0x2101, 0, KQ::DATA_TYPE_UNSIGNED8, KQ::ACCESS_RO},
                    ObjectCase{"CommandSetPoint", 0x2101, 1, KQ::DATA_TYPE_INTEGER16, KQ::ACCESS_RW},
                    ObjectCase{"CommandText", 0x2101, 2, KQ::DATA_TYPE_VISIBLE_STRING, KQ::ACCESS_RW}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(PeerTest, BothObjectsAreRecordsThatCountTheirSubIndexes) {
  EXPECT_EQ(KQ::OBJECT_TYPE_RECORD, node.dictionary().getEntry(Peer::PEER)->objectType);
  EXPECT_EQ(KQ::OBJECT_TYPE_RECORD, node.dictionary().getEntry(Peer::COMMAND)->objectType);
  EXPECT_EQ(3, number(Peer::PEER, 0));
  EXPECT_EQ(2, number(Peer::COMMAND, 0));
}

TEST_F(PeerTest, ChannelAndConsumerAreInTheDictionary) {
  boot();
  EXPECT_EQ(Frames{"585#43 80 12 01 06 06 00 00"}, node.receive("605#40 80 12 01 00 00 00 00"));
  EXPECT_EQ(Frames{"585#43 80 12 02 86 05 00 00"}, node.receive("605#40 80 12 02 00 00 00 00"));
  EXPECT_EQ(Frames{"585#43 16 10 01 D0 07 06 00"}, node.receive("605#40 16 10 01 00 00 00 00"));
}

// ---- reading

TEST_F(PeerTest, IsReadAsSoonAsTheNodeHasBooted) {
  EXPECT_EQ(Frames{"705#00"}, loop());
  EXPECT_EQ(Frames{READ_SET_POINT}, loop());
  node.receive("586#4B 00 20 02 84 03 00 00");
  EXPECT_EQ(Frames{READ_TEXT}, loop());
  node.receive("586#43 01 20 00 61 62 63 64");
  EXPECT_EQ(900, number(Peer::PEER, Peer::SUB_SET_POINT));
  EXPECT_EQ("abcd", text(Peer::PEER, Peer::SUB_TEXT));
  EXPECT_EQ("", console.str());
}

TEST_F(PeerTest, TextOfMoreThanFourCharactersIsReadInSegments) {
  loop();
  loop();
  node.receive("586#4B 00 20 02 58 02 00 00");
  loop();
  EXPECT_EQ(Frames{"606#60 00 00 00 00 00 00 00"}, node.receive("586#41 01 20 00 08 00 00 00"));
  EXPECT_EQ(Frames{"606#70 00 00 00 00 00 00 00"}, node.receive("586#00 41 42 43 44 45 46 47"));
  node.receive("586#1D 48 00 00 00 00 00 00");
  EXPECT_EQ("ABCDEFGH", text(Peer::PEER, Peer::SUB_TEXT));
}

TEST_F(PeerTest, MasterReadsThePresentValues) {
  boot();
  EXPECT_EQ(Frames{"585#4B 00 21 01 58 02 00 00"}, node.receive("605#40 00 21 01 00 00 00 00"));
  EXPECT_EQ(Frames{"585#47 00 21 02 61 62 63 00"}, node.receive("605#40 00 21 02 00 00 00 00"));
}

TEST_F(PeerTest, IsReadAboutOnceASecond) {
  boot();
  EXPECT_EQ(Frames{}, run(PERIOD - 1));
  EXPECT_EQ(Frames{READ_SET_POINT}, run(1));
}

TEST_F(PeerTest, LongTextIsReadLessOften) {
  boot();
  run(PERIOD);  // reads the set point, and by then the text is known to have 3 characters
  answerReads();
  EXPECT_EQ(Frames{}, run(PERIOD - 1));
  EXPECT_EQ(Frames{READ_SET_POINT}, run(1));
  node.receive("586#4B 00 20 02 58 02 00 00");
  EXPECT_EQ(Frames{}, run(3 * Peer::PERIOD_PER_CHARACTER_MS - 1));
  EXPECT_EQ(Frames{READ_TEXT}, run(1));
}

TEST_F(PeerTest, SilentPeerIsReportedOnceForEachValue) {
  loop();
  loop();
  run(10000);
  EXPECT_EQ("peer: set point not readable\npeer: device text not readable\n", console.str());
  EXPECT_FALSE(KQ::KQDEI::instance()->isValid(Peer::PEER, Peer::SUB_SET_POINT));
  EXPECT_FALSE(KQ::KQDEI::instance()->isValid(Peer::PEER, Peer::SUB_TEXT));
}

TEST_F(PeerTest, SilentPeerIsGivenUpAfterTheSDOTimeout) {
  loop();
  loop();
  EXPECT_EQ(Frames{}, run(100));
  EXPECT_EQ((Frames{"586#80 00 20 02 00 00 04 05", READ_TEXT}), run(1));
}

TEST_F(PeerTest, ValuesThatReturnAreReportedOnce) {
  loop();
  loop();
  run(300);
  console.str("");
  run(PERIOD - 300);
  answerReads();
  run(5);
  EXPECT_EQ("peer: set point readable again\npeer: device text readable again\n", console.str());
}

TEST_F(PeerTest, LastValueStaysWhenThePeerIsGone) {
  boot();
  run(5000);
  EXPECT_EQ(600, number(Peer::PEER, Peer::SUB_SET_POINT));
  EXPECT_EQ("abc", text(Peer::PEER, Peer::SUB_TEXT));
}

class PeerWithLongTimeout : public PeerTest {
protected:
  PeerWithLongTimeout() : PeerTest(2000) {}

  // Answers every read that was queued, as a peer does that is back.
  int answerQueuedReads() {
    int reads = 0;
    for (Frames frames = node.cycle(); !frames.empty(); frames = node.cycle()) {
      node.receive(frames.back() == READ_TEXT ? "586#43 01 20 00 61 62 63 64" : "586#4B 00 20 02 58 02 00 00");
      ++reads;
    }
    return reads;
  }
};

TEST_F(PeerWithLongTimeout, IsNotAskedFasterThanReadsCanFail) {
  loop();
  run(60000);
  node.receive("586#4B 00 20 02 58 02 00 00");
  node.receive("586#43 01 20 00 61 62 63 64");
  EXPECT_LE(answerQueuedReads(), 6);
}

// ---- commands

TEST_F(PeerTest, WrittenSetPointIsSentOnce) {
  boot();
  EXPECT_EQ(Frames{"585#60 01 21 01 00 00 00 00"}, node.receive("605#2B 01 21 01 84 03 00 00"));
  EXPECT_EQ(Frames{"606#2B 00 20 02 84 03 00 00"}, loop());
  EXPECT_EQ(Frames{}, loop());
  EXPECT_EQ(Peer::IDLE, number(Peer::COMMAND, Peer::SUB_SET_POINT));
}

TEST_F(PeerTest, SetPointChangesHereWithThePeersConfirmation) {
  boot();
  node.receive("605#2B 01 21 01 84 03 00 00");
  loop();
  EXPECT_EQ(600, number(Peer::PEER, Peer::SUB_SET_POINT));
  node.receive("586#60 00 20 02 00 00 00 00");
  EXPECT_EQ(900, number(Peer::PEER, Peer::SUB_SET_POINT));
}

TEST_F(PeerTest, SameSetPointIsSentAgainWhenItIsWrittenAgain) {
  boot();
  node.receive("605#2B 01 21 01 84 03 00 00");
  loop();
  node.receive("586#60 00 20 02 00 00 00 00");
  node.receive("605#2B 01 21 01 84 03 00 00");
  EXPECT_EQ(Frames{"606#2B 00 20 02 84 03 00 00"}, loop());
}

TEST_F(PeerTest, RefusedSetPointLeavesTheValueHere) {
  boot();
  node.receive("605#2B 01 21 01 14 05 00 00");
  loop();
  node.receive("586#80 00 20 02 30 00 09 06");
  EXPECT_EQ(Frames{}, run(200));
  EXPECT_EQ(600, number(Peer::PEER, Peer::SUB_SET_POINT));
}

TEST_F(PeerTest, UnconfirmedSetPointIsAborted) {
  boot();
  node.receive("605#2B 01 21 01 84 03 00 00");
  loop();
  EXPECT_EQ(Frames{}, run(100));
  EXPECT_EQ(Frames{"606#80 00 20 02 00 00 04 05"}, run(1));
  EXPECT_EQ(600, number(Peer::PEER, Peer::SUB_SET_POINT));
}

TEST_F(PeerTest, ShortTextIsSentExpedited) {
  boot();
  node.receive("605#27 01 21 02 58 59 5A 00");
  EXPECT_EQ(Frames{"606#27 01 20 00 58 59 5A 00"}, loop());
  node.receive("586#60 01 20 00 00 00 00 00");
  EXPECT_EQ("XYZ", text(Peer::PEER, Peer::SUB_TEXT));
  EXPECT_EQ("", text(Peer::COMMAND, Peer::SUB_TEXT));
}

TEST_F(PeerTest, LongTextIsSentInSegments) {
  boot();
  KQ::KQDEI::instance()->setVariableValue(Peer::COMMAND, Peer::SUB_TEXT, std::string("Line three"), true, true);
  EXPECT_EQ(Frames{"606#21 01 20 00 0A 00 00 00"}, loop());
  EXPECT_EQ(Frames{"606#00 4C 69 6E 65 20 74 68"}, node.receive("586#60 01 20 00 00 00 00 00"));
  EXPECT_EQ(Frames{"606#19 72 65 65 00 00 00 00"}, node.receive("586#20 00 00 00 00 00 00 00"));
  EXPECT_EQ("abc", text(Peer::PEER, Peer::SUB_TEXT));
  EXPECT_EQ(Frames{}, node.receive("586#30 00 00 00 00 00 00 00"));
  EXPECT_EQ("Line three", text(Peer::PEER, Peer::SUB_TEXT));
}

TEST_F(PeerTest, BothCommandsGoOutTogether) {
  boot();
  node.receive("605#2B 01 21 01 84 03 00 00");
  node.receive("605#2F 01 21 02 58 00 00 00");
  EXPECT_EQ((Frames{"606#2B 00 20 02 84 03 00 00", "606#2F 01 20 00 58 00 00 00"}), loop());
}

TEST_F(PeerTest, ResetOfTheNodeSendsNoCommand) {
  boot();
  node.receive("000#81 05");
  loop();
  EXPECT_EQ(Frames{"705#00"}, loop());
  EXPECT_EQ(Frames{}, run(50));
}

TEST_F(PeerTest, RuntimeMayGiveCommandsOnly) {
  KQ::KQDEI& store = *KQ::KQDEI::instance();
  boot();
  EXPECT_EQ(0, store.setVariableValue(Peer::COMMAND, Peer::SUB_SET_POINT, 900, true, true));
  EXPECT_EQ(Frames{"606#2B 00 20 02 84 03 00 00"}, loop());
  EXPECT_EQ(30, store.setVariableValue(Peer::PEER, Peer::SUB_PRESENT, 1, true, true));
  EXPECT_EQ(23, store.setVariableValue(Peer::COMMAND, Peer::SUB_COUNT, 7, true, true));
}

TEST(PeerClock, ReadsGoOnAcrossTheWrapOfTheClock) {
  std::ostringstream console;
  test::TestNode node(OWN_NODE);
  node.clock.advance(0xFFFFFFF0U - node.clock.now());
  Peer peer(*KQ::KQDEI::instance(), console, PEER_NODE);
  node.init();
  peer.bind(node.canopen());
  node.cycle();
  peer.update();
  EXPECT_EQ(Frames{READ_SET_POINT}, node.cycle());
  node.receive("586#4B 00 20 02 58 02 00 00");
  node.cycle();
  node.receive("586#43 01 20 00 61 62 63 64");
  node.clock.advance(PERIOD - 1);
  peer.update();
  EXPECT_EQ(Frames{}, node.cycle());
  node.clock.advance(1);
  peer.update();
  EXPECT_EQ(Frames{READ_SET_POINT}, node.cycle());
}

// ---- presence

TEST_F(PeerTest, PresenceFollowsTheHeartbeat) {
  boot();
  EXPECT_EQ(0, number(Peer::PEER, Peer::SUB_PRESENT));
  node.receive("706#7F");
  EXPECT_EQ(1, number(Peer::PEER, Peer::SUB_PRESENT));
  run(Peer::HEARTBEAT_TIME_MS);
  EXPECT_EQ(1, number(Peer::PEER, Peer::SUB_PRESENT));
  run(1);
  EXPECT_EQ(0, number(Peer::PEER, Peer::SUB_PRESENT));
  node.receive("706#00");
  EXPECT_EQ(1, number(Peer::PEER, Peer::SUB_PRESENT));
}

TEST_F(PeerTest, OtherSignalsAreNotItsOwn) {
  KQ::KQSignal other(6, 0x518, 7, 0);
  KQ::KQSignal state(6, 1700, PEER_NODE, 3);
  KQ::KQSignal variable(1, 0x518, PEER_NODE, 0);
  EXPECT_EQ(11, peer.signalOccurred(other));
  EXPECT_EQ(11, peer.signalOccurred(state));
  EXPECT_EQ(11, peer.signalOccurred(variable));
}

}  // namespace
