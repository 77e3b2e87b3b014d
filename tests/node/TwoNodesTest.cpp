// Two nodes of one process, 5 and 6, on one virtual bus, driven by the instance manager.
//
//  scenario                                    | functional | robustness
//  --------------------------------------------+------------+----------------------------------------
//  boot-up of each                             | x          |
//  commands to one, to all                     | x          | one ignores commands to all
//  requests answered by the one asked          | x          | nobody asked
//  watching each other, and nodes of one alone | x          |
//  look-up on the port                         | x          |
//  one reset, one paused                       | x          | x

#include "KQCANopenObjectDictionary.h"
#include "KQNMTHandler.h"
#include "SignalRecorder.h"
#include "TwoNodesFixture.h"

namespace {

using test::Frames;

class TwoNodes : public test::TwoNodesFixture {};

TEST_F(TwoNodes, EachBootsOnItsOwnCOBID) {
  EXPECT_EQ(cycle(), (Frames{"705#00", "706#00"}));
  expectStates(3, 3);
}

TEST_F(TwoNodes, AreFoundOnTheirPort) {
  EXPECT_EQ(manager.getCANopenInstance(PORT, 0), five);
  EXPECT_EQ(manager.getCANopenInstance(PORT, 5), five);
  EXPECT_EQ(manager.getCANopenInstance(PORT, 6), six);
  EXPECT_EQ(manager.getCANopenInstance(PORT, 7), nullptr);
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
  EXPECT_EQ(send("605#40 00 12 01 00 00 00 00"), Frames{"585#43 00 12 01 05 06 00 00"});
  EXPECT_EQ(send("606#40 00 12 01 00 00 00 00"), Frames{"586#43 00 12 01 06 06 00 00"});
  EXPECT_EQ(send("607#40 00 12 01 00 00 00 00"), Frames{});
}

TEST_F(TwoNodes, WriteReachesOnlyTheOneAsked) {
  boot();
  EXPECT_EQ(send("606#2B 17 10 00 64 00 00 00"), Frames{"586#60 17 10 00 00 00 00 00"});
  EXPECT_EQ(five->getHeartbeatTime(), 0);
  EXPECT_EQ(six->getHeartbeatTime(), 100);
}

TEST_F(TwoNodes, EachTellsItsOwnState) {
  five->setHeartbeatProducerTime(100);
  six->setHeartbeatProducerTime(100);
  boot();
  send("000#01 06");
  clock.advance(100);
  EXPECT_EQ(cycle(), (Frames{"705#7F", "706#05"}));
}

TEST_F(TwoNodes, ResetOfOneLeavesTheOther) {
  boot();
  send("000#01 00");
  send("000#81 05");
  cycle();
  EXPECT_EQ(cycle(), Frames{"705#00"});
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
  ASSERT_EQ(ofSix.signals.size(), 1U);
  EXPECT_EQ(ofSix.signals[0].getCode(), 0x518);
  EXPECT_EQ(ofSix.signals[0].getFirstValue(), 5U);
  five->setPaused(true);
  clock.advance(100);
  cycle();
  EXPECT_EQ(ofSix.signals.size(), 1U);
  clock.advance(1);
  cycle();
  ASSERT_EQ(ofSix.signals.size(), 2U);
  EXPECT_EQ(ofSix.signals[1].getCode(), 0x517);
}

TEST_F(TwoNodes, LogNamesNoNodeButTheListenerIsToldWhich) {
  boot();
  test::SignalRecorder ofFive;
  test::SignalRecorder ofSix;
  five->addStateListener(&ofFive);
  six->addStateListener(&ofSix);
  output.takeOutput();
  send("000#01 00");
  EXPECT_EQ(ofFive.signals.at(0).getFirstValue(), 5U);
  EXPECT_EQ(ofSix.signals.at(0).getFirstValue(), 6U);
  EXPECT_EQ(output.takeOutput(), "CANOPEN: State set to 0x4\nCANOPEN: State set to 0x4\n");
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
  EXPECT_EQ(ofFive.signals.size(), 1U);
  EXPECT_EQ(ofSix.signals.size(), 0U);
  send("708#05");
  EXPECT_EQ(ofFive.signals.size(), 1U);
  EXPECT_EQ(ofSix.signals.size(), 1U);
}

}  // namespace
