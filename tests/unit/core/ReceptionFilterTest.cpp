// Covers: the frames that a node lets its CAN port hand out: those that its handlers declare, at every moment.
//
// | subject                            | functional                           | robustness                           |
// |------------------------------------|--------------------------------------|--------------------------------------|
// | nothing changes                    | exactly what is served               | not told again, by cycles, frames or |
// |                                    |                                      | a reset                              |
// | RPDO, SDO channel, SYNC, heartbeat | before the change is confirmed;      | through the pointer to the value of  |
// | consumer                           | before the call of the configuration | 0x1005; identifier given up          |
// |                                    | returns                              |                                      |
// | the port                           | a new one is told                    | none at the moment                   |
// | a handler that declares nothing    | everything passes                    |                                      |
// | several nodes                      | each its own                         |                                      |

#include <memory>
#include <set>

#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "PDOFixture.h"
#include "StateMachineFixture.h"
#include "TestNode.h"

namespace {

using test::Frames;
using Identifiers = std::set<unsigned int>;

Identifiers passing(const test::MemoryEndPoint& port) {
  Identifiers identifiers;
  for (unsigned int identifier = 0; identifier <= 0x7FF; ++identifier) {
    if (port.lets(identifier)) {
      identifiers.insert(identifier);
    }
  }
  return identifiers;
}

class ReceptionFilter : public test::PDOFixture {
protected:
  ReceptionFilter() {
    addVariables(2, 8);
    addReceivePDO(0, {0x205}, {0x20010108});
  }

  // A write of a master. @return whether identifier passed already when it was confirmed
  bool passesWhenConfirmed(const std::string& request, unsigned int identifier) {
    bool passes = false;
    node.port().onWrite = [this, identifier, &passes] { passes = node.port().lets(identifier); };
    EXPECT_EQ(1U, node.receive("605#" + request).size());
    node.port().onWrite = [] {};
    return passes;
  }
};

TEST_F(ReceptionFilter, LetsThroughWhatIsServedAndNothingElse) {
  start();
  // NMT, SYNC, RPDO, SDO server and the unused consumer of a fresh 0x1016.
  EXPECT_EQ((Identifiers{0x000, 0x080, 0x205, 0x605, 0x700}), passing(node.port()));
}

TEST_F(ReceptionFilter, IsNotSetAgainWithoutAChange) {
  start();
  const unsigned int changes = node.port().filterChanges();
  node.run(20);
  node.receive("605#40 18 10 01 00 00 00 00");
  node.receive("605#2B 17 10 00 E8 03 00 00");
  EXPECT_EQ(changes, node.port().filterChanges());
}

TEST_F(ReceptionFilter, IsNotSetAgainByAReset) {
  start();
  const unsigned int changes = node.port().filterChanges();
  node.receive("000#82 00");
  node.cycle();
  node.cycle();
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
  EXPECT_EQ(changes, node.port().filterChanges());
}

TEST_F(ReceptionFilter, FollowsAReceivePDOBeforeItsChangeIsConfirmed) {
  start();
  EXPECT_FALSE(passesWhenConfirmed("23 00 14 01 05 02 00 80", 0x205));
  EXPECT_TRUE(passesWhenConfirmed("23 00 14 01 45 03 00 00", 0x345));
}

TEST_F(ReceptionFilter, FollowsTheSyncBeforeItsChangeIsConfirmed) {
  start();
  EXPECT_TRUE(passesWhenConfirmed("23 05 10 00 81 00 00 00", 0x081));
  EXPECT_FALSE(node.port().lets(0x080));
}

TEST_F(ReceptionFilter, FollowsTheSyncThatWasMovedInPlaceWithTheNextCycle) {
  start();
  *node.dictionary().getPointerToValue(0x1005, 0) = 0x82;
  node.cycle();
  EXPECT_TRUE(node.port().lets(0x082));
}

TEST_F(ReceptionFilter, FollowsAHeartbeatConsumerBeforeItsChangeIsConfirmed) {
  start();
  EXPECT_TRUE(passesWhenConfirmed("23 16 10 01 64 00 07 00", 0x707));
}

TEST_F(ReceptionFilter, FollowsTheConfigurationBeforeItReturns) {
  start();
  node.canopen().addHeartbeatConsumer(0x21, 100);
  EXPECT_TRUE(node.port().lets(0x721));
  ASSERT_EQ(0, write(0x1400, 1, 0x80000205));
  EXPECT_FALSE(node.port().lets(0x205));
  ASSERT_EQ(0, write(0x1400, 1, 0x345));
  EXPECT_TRUE(node.port().lets(0x345));
}

TEST_F(ReceptionFilter, FollowsAnSDOChannel) {
  ASSERT_EQ(0, node.canopen().addSDOChannel(0x641, 0x5C1, 9, KQ::SDO_CHANNEL_SERVER, ""));
  ASSERT_EQ(0, node.canopen().addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "six"));
  start();
  EXPECT_TRUE(node.port().lets(0x641));
  EXPECT_TRUE(node.port().lets(0x586));
  ASSERT_EQ(0, write(0x1201, 1, 0x642, true));
  EXPECT_TRUE(node.port().lets(0x642));
}

TEST_F(ReceptionFilter, IsSetOnceForAllThatTheFirstCycleWires) {
  node.init();
  const unsigned int changes = node.port().filterChanges();
  node.cycle();
  EXPECT_LE(node.port().filterChanges() - changes, 1U);
}

TEST_F(ReceptionFilter, IsSetForANewPort) {
  start();
  ASSERT_EQ(0, node.canopen().reset());
  node.cycle();
  EXPECT_FALSE(node.port().lets(0x206));
  EXPECT_TRUE(node.port().lets(0x205));
}

TEST_F(ReceptionFilter, WaitsForAPort) {
  start();
  ASSERT_EQ(0, node.canopen().release());
  EXPECT_EQ(0, node.canopen().process(node.clock.now()));
  EXPECT_EQ(0, write(0x1400, 1, 0x80000205));
}

using HandlersOfAnotherClass = test::StateMachineFixture;

TEST_F(HandlersOfAnotherClass, SeeEveryFrame) {
  answerAsReal();
  machine.run(0);
  machine.receiveCANMessages(0);
  EXPECT_TRUE(node.port().lets(0x3FF));
}

TEST(ReceptionFilterOfTwoNodes, IsEachNodesOwn) {
  test::TestNode five(5);
  five.boot();
  five.cycle();
  KQ::KQCANopen six("six");
  const test::MemoryEndPoint& portOfFive = five.port();
  ASSERT_EQ(0, six.create(KQ::KQDEI::instance(), nullptr, test::TestNode::PORT, nullptr));
  six.setNodeID(6);
  ASSERT_EQ(0, six.init());
  six.process(0);
  six.process(0);
  const test::MemoryEndPoint& portOfSix = five.port();  // the one that was opened last
  ASSERT_NE(&portOfSix, &portOfFive);
  EXPECT_TRUE(portOfFive.lets(0x605));
  EXPECT_FALSE(portOfFive.lets(0x606));
  EXPECT_TRUE(portOfSix.lets(0x606));
  EXPECT_FALSE(portOfSix.lets(0x605));
}

}  // namespace
