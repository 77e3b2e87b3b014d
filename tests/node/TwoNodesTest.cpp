// Covers: two nodes of one process, 5 and 6, on one virtual bus, driven by the instance manager.
//
// | subject                                     | functional | robustness                  |
// |---------------------------------------------|------------|-----------------------------|
// | boot-up of each                             | x          |                             |
// | commands to one, to all                     | x          | one ignores commands to all |
// | requests answered by the one asked          | x          | nobody asked                |
// | watching each other, and nodes of one alone | x          |                             |
// | look-up on the port                         | x          |                             |
// | one reset, one paused                       | x          | x                           |

#include "KQCANopenObjectDictionary.h"
#include "KQNMTHandler.h"
#include "SignalRecorder.h"
#include "TwoNodesFixture.h"

namespace {

using test::Frames;

class TwoNodes : public test::TwoNodesFixture {};

TEST_F(TwoNodes, EachBootsOnItsOwnCOBID) {
  EXPECT_EQ((Frames{"705#00", "706#00"}), cycle());
  expectStates(3, 3);
}

TEST_F(TwoNodes, AreFoundOnTheirPort) {
  EXPECT_EQ(five, manager.getCANopenInstance(PORT, 0));
  EXPECT_EQ(five, manager.getCANopenInstance(PORT, 5));
  EXPECT_EQ(six, manager.getCANopenInstance(PORT, 6));
  EXPECT_EQ(nullptr, manager.getCANopenInstance(PORT, 7));
}

TEST_F(TwoNodes, CommandToAllIsObeyedByBoth) {
  boot();
  send("000#01 00");
  expectStates(4, 4);
}

TEST_F(TwoNodes, CommandToOneIsObeyedByThatOne) {
  boot();
  send("000#01 06");
  expectStates(3, 4);
  send("000#02 05");
  expectStates(5, 4);
}

TEST_F(TwoNodes, OneMayIgnoreCommandsToAll) {
  boot();
  six->setOption(KQ::KQCANopen::OPTION_IGNORE_BROADCAST_COMMANDS, true);
  send("000#01 00");
  expectStates(4, 3);
}

TEST_F(TwoNodes, RequestIsAnsweredByTheOneAsked) {
  boot();
  EXPECT_EQ(Frames{"585#43 00 12 01 05 06 00 00"}, send("605#40 00 12 01 00 00 00 00"));
  EXPECT_EQ(Frames{"586#43 00 12 01 06 06 00 00"}, send("606#40 00 12 01 00 00 00 00"));
  EXPECT_EQ(Frames{}, send("607#40 00 12 01 00 00 00 00"));
}

TEST_F(TwoNodes, WriteReachesOnlyTheOneAsked) {
  boot();
  EXPECT_EQ(Frames{"586#60 17 10 00 00 00 00 00"}, send("606#2B 17 10 00 64 00 00 00"));
  EXPECT_EQ(0, five->getHeartbeatTime());
  EXPECT_EQ(100, six->getHeartbeatTime());
}

TEST_F(TwoNodes, EachTellsItsOwnState) {
  five->setHeartbeatProducerTime(100);
  six->setHeartbeatProducerTime(100);
  boot();
  send("000#01 06");
  clock.advance(100);
  EXPECT_EQ((Frames{"705#7F", "706#05"}), cycle());
}

TEST_F(TwoNodes, ResetOfOneLeavesTheOther) {
  boot();
  send("000#01 00");
  send("000#81 05");
  cycle();
  EXPECT_EQ(Frames{"705#00"}, cycle());
  expectStates(3, 4);
}

TEST_F(TwoNodes, PausedOneLeavesTheOther) {
  boot();
  five->setPaused(true);
  send("000#01 00");
  expectStates(3, 4);
  five->setPaused(false);
  cycle();
  expectStates(4, 4);
}

TEST_F(TwoNodes, WatchEachOther) {
  test::SignalRecorder ofSix;
  five->setHeartbeatProducerTime(50);
  boot();
  six->getNMTHandler()->addHeartbeatListener(&ofSix);
  six->getObjectDictionary()->setValue(0x1016, 1, 0x00050064, true);  // node 5, 100 ms
  clock.advance(50);
  cycle();
  ASSERT_EQ(1U, ofSix.signals.size());
  EXPECT_EQ(0x518, ofSix.signals[0].getCode());
  EXPECT_EQ(5U, ofSix.signals[0].getFirstValue());
  five->setPaused(true);
  clock.advance(100);
  cycle();
  EXPECT_EQ(1U, ofSix.signals.size());
  clock.advance(1);
  cycle();
  ASSERT_EQ(2U, ofSix.signals.size());
  EXPECT_EQ(0x517, ofSix.signals[1].getCode());
}

TEST_F(TwoNodes, LogNamesNoNodeButTheListenerIsToldWhich) {
  boot();
  test::SignalRecorder ofFive;
  test::SignalRecorder ofSix;
  five->addStateListener(&ofFive);
  six->addStateListener(&ofSix);
  output.takeOutput();
  send("000#01 00");
  EXPECT_EQ(5U, ofFive.signals.at(0).getFirstValue());
  EXPECT_EQ(6U, ofSix.signals.at(0).getFirstValue());
  EXPECT_EQ("CANOPEN: State set to 0x4\nCANOPEN: State set to 0x4\n", output.takeOutput());
}

TEST_F(TwoNodes, EachServesItsOwnIdentifiers) {
  boot();
  test::SignalRecorder ofFive;
  test::SignalRecorder ofSix;
  five->getNMTHandler()->addHeartbeatListener(&ofFive);
  six->getNMTHandler()->addHeartbeatListener(&ofSix);
  five->getObjectDictionary()->setValue(0x1016, 1, 0x00070064, true);
  six->getObjectDictionary()->setValue(0x1016, 1, 0x00080064, true);
  send("707#05");
  EXPECT_EQ(1U, ofFive.signals.size());
  EXPECT_EQ(0U, ofSix.signals.size());
  send("708#05");
  EXPECT_EQ(1U, ofFive.signals.size());
  EXPECT_EQ(1U, ofSix.signals.size());
}

}  // namespace
