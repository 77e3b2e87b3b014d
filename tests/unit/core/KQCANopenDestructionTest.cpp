// The end of a stack instance, and of its parts in a second init(). The sanitizer run shows what is leaked, deleted
// twice, or told of a change after its end.
//
//  stage of the instance                 | functional              | robustness
//  --------------------------------------+-------------------------+---------------------------
//  constructed, created                  |                         | x
//  with a state machine only             |                         | x
//  running                               | silent                  |
//  with variables                        | variables stay          | a variable that changes later
//  initialised again                     |                         | a variable of before that changes later
//  with an open port                     | port is closed once     |

#include <memory>

#include "KQCANPortRegistry.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariable.h"
#include "SignalRecorder.h"
#include "TestNode.h"

namespace {

using KQ::KQCANopen;
using test::TestNode;

TEST(StackInstanceEnd, UnusedInstance) {
  const auto node = std::make_unique<KQCANopen>("node");
}

TEST(StackInstanceEnd, CreatedInstance) {
  TestNode node;
  node.destroy();
  EXPECT_EQ(node.output.takeErrors(), "");
}

TEST(StackInstanceEnd, InstanceWithAStateMachineOnly) {
  TestNode node;
  node.canopen().createStateMachine();
  node.destroy();
  EXPECT_EQ(node.output.takeErrors(), "");
}

TEST(StackInstanceEnd, RunningInstanceEndsSilently) {
  TestNode node;
  test::SignalRecorder states;
  node.start();
  node.canopen().addStateListener(&states);
  node.output.takeOutput();
  node.destroy();
  EXPECT_TRUE(states.signals.empty());
  EXPECT_EQ(node.output.takeOutput(), "");
  EXPECT_EQ(node.output.takeErrors(), "");
}

TEST(StackInstanceEnd, VariablesOfTheApplicationStayWithoutOwner) {
  TestNode node;
  node.boot();
  KQ::KQVariable variable(0x2001, 3, "speed");
  ASSERT_EQ(node.canopen().addVariable(&variable), 0);
  KQ::KQDEI* const store = KQ::KQDEI::instance();
  ASSERT_EQ(store->getVariableOwnerPointer(0x2001, 3), &node.canopen());
  store->forceSetVariableValue(0x2001, 3, 77, "node", false, false);
  node.destroy();
  int value = 0;
  EXPECT_EQ(store->getVariableValue(0x2001, 3, &value), 0);
  EXPECT_EQ(value, 77);
  EXPECT_EQ(store->getVariableOwnerPointer(0x2001, 3), nullptr);
  EXPECT_EQ(variable.getName(), "speed");
}

/// A node in operation that sends its own variable 0x2001 sub-index 3 at each change.
void startSender(TestNode& node) {
  node.init();
  KQ::KQVariable variable(0x2001, 3, "speed");
  ASSERT_EQ(node.canopen().addVariable(&variable), 0);
  ASSERT_EQ(node.canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 0, 0, 255, true, nullptr), 0);
  ASSERT_EQ(node.canopen().addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, 0x2001, 3, 32), 0);
  node.cycle();
  node.receive("000#01 00");
  node.cycle();
  KQ::KQDEI::instance()->forceSetVariableValue(0x2001, 3, 1, "node", true, false);
  ASSERT_EQ(node.port().takeSent(), test::Frames{"185#01 00 00 00"});
}

TEST(StackInstanceEnd, ChangeAfterTheEndReachesNobody) {
  TestNode node;
  startSender(node);
  node.destroy();
  EXPECT_EQ(KQ::KQDEI::instance()->setVariableValue(0x2001, 3, 2, true, false), 0);
  EXPECT_EQ(node.output.takeErrors(), "");
}

TEST(StackInstanceEnd, ChangeAfterASecondInitIsOfNoInterest) {
  TestNode node;
  startSender(node);
  node.boot();
  node.receive("000#01 00");
  EXPECT_EQ(KQ::KQDEI::instance()->setVariableValue(0x2001, 3, 2, true, false), 0);
  EXPECT_EQ(node.cycle(), test::Frames{});
}

/// Tells when it is deleted.
class MortalEndPoint : public test::MemoryEndPoint {
public:
  explicit MortalEndPoint(int& counter) : deletions(counter) {}
  ~MortalEndPoint() override { ++deletions; }

private:
  int& deletions;
};

TEST(StackInstanceEnd, ClosesItsPortOnce) {
  const test::TemporaryDirectory directory;
  int deletions = 0;
  auto* const ports = KQ::KQCANPortRegistry::instance();
  ports->bindPort(78, [&deletions](std::string& /*error*/) { return std::make_unique<MortalEndPoint>(deletions); });
  auto node = std::make_unique<KQCANopen>("node");
  ASSERT_EQ(node->create(KQ::KQDEI::instance(), nullptr, 78, nullptr), 0);
  ASSERT_EQ(node->init(), 0);
  EXPECT_EQ(deletions, 0);
  node.reset();
  EXPECT_EQ(deletions, 1);
  ports->unbindPort(78);
}

}  // namespace
