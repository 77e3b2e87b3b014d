// Covers: the end of a stack instance, and of its parts in a second init(). The sanitizer run shows what is leaked,
// deleted twice, or told of a change after its end.
//
// | subject                         | functional              | robustness                                        |
// |---------------------------------|-------------------------|---------------------------------------------------|
// | constructed, created            |                         | x                                                 |
// | with a state machine only       |                         | x                                                 |
// | running                         | silent                  |                                                   |
// | with variables                  | variables stay          | a variable that changes later                     |
// | initialised again               | configuration forgotten | a variable of before that changes later           |
// | initialised again by a listener | goes on as a fresh node | state, heartbeat, SDO; in a cycle and a reception |
// | with an open port               | port is closed once     |                                                   |

#include <memory>

#include "CountedAction.h"
#include "KQCANPortRegistry.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariable.h"
#include "NodeInternals.h"
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
  EXPECT_EQ("", node.output.takeErrors());
}

TEST(StackInstanceEnd, InstanceWithAStateMachineOnly) {
  TestNode node;
  node.canopen().createStateMachine();
  node.destroy();
  EXPECT_EQ("", node.output.takeErrors());
}

TEST(StackInstanceEnd, RunningInstanceEndsSilently) {
  TestNode node;
  test::SignalRecorder states;
  node.start();
  node.canopen().addStateListener(&states);
  node.output.takeOutput();
  node.destroy();
  EXPECT_TRUE(states.signals.empty());
  EXPECT_EQ("", node.output.takeOutput());
  EXPECT_EQ("", node.output.takeErrors());
}

TEST(StackInstanceEnd, VariablesOfTheApplicationStayWithoutOwner) {
  TestNode node;
  node.boot();
  KQ::KQVariable variable(0x2001, 3, "speed");
  ASSERT_EQ(0, node.canopen().addVariable(&variable));
  KQ::KQDEI* const store = KQ::KQDEI::instance();
  ASSERT_EQ(&node.canopen(), store->getVariableOwnerPointer(0x2001, 3));
  store->forceSetVariableValue(0x2001, 3, 77, "node", false, false);
  node.destroy();
  int value = 0;
  EXPECT_EQ(0, store->getVariableValue(0x2001, 3, &value));
  EXPECT_EQ(77, value);
  EXPECT_EQ(nullptr, store->getVariableOwnerPointer(0x2001, 3));
  EXPECT_EQ("speed", variable.getName());
}

// A node in operation that sends its own variable 0x2001 sub-index 3 at each change.
void startSender(TestNode& node) {
  node.init();
  KQ::KQVariable variable(0x2001, 3, "speed");
  ASSERT_EQ(0, node.canopen().addVariable(&variable));
  ASSERT_EQ(0, node.canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 0, 0, 255, true, nullptr));
  ASSERT_EQ(0, node.canopen().addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, 0x2001, 3, 32));
  node.cycle();
  node.receive("000#01 00");
  node.cycle();
  KQ::KQDEI::instance()->forceSetVariableValue(0x2001, 3, 1, "node", true, false);
  ASSERT_EQ(test::Frames{"185#01 00 00 00"}, node.port().takeSent());
}

TEST(StackInstanceEnd, ChangeAfterTheEndReachesNobody) {
  TestNode node;
  startSender(node);
  node.destroy();
  EXPECT_EQ(0, KQ::KQDEI::instance()->setVariableValue(0x2001, 3, 2, true, false));
  EXPECT_EQ("", node.output.takeErrors());
}

TEST(StackInstanceEnd, ChangeAfterASecondInitIsOfNoInterest) {
  TestNode node;
  startSender(node);
  node.boot();
  node.receive("000#01 00");
  EXPECT_EQ(0, KQ::KQDEI::instance()->setVariableValue(0x2001, 3, 2, true, false));
  EXPECT_EQ(test::Frames{}, node.cycle());
}

// ---- what the first init() had

TEST(SecondInit, ForgetsPDOActions) {
  TestNode node;
  test::CountedAction action;
  node.init();
  node.canopen().setPDOEventAction(0x1400, KQ::PDO_EVENT_RX_RECEIVED, &action);
  node.init();
  node.canopen().sendPDOEvent(KQ::PDO_EVENT_RX_RECEIVED, 0x1400);
  EXPECT_EQ(0U, action.runs);
}

TEST(SecondInit, ForgetsChannelNames) {
  TestNode node;
  node.init();
  node.canopen().addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "remote");
  node.init();
  KQ::KQVariable variable(0x2001, 3, "speed");
  variable.setExternalIdentifier(0x60000001);
  variable.setChannelName("remote");
  ASSERT_EQ(0, node.canopen().addVariable(&variable));
  EXPECT_EQ(nullptr, node.canopen().getVariableByExternalIdentifier(0x6000, 1, 0x586));
}

TEST(SecondInit, KeepsAnActionThatWasSetBeforeTheFirst) {
  TestNode node;
  test::CountedAction action;
  node.canopen().setPDOEventAction(0x1400, KQ::PDO_EVENT_RX_RECEIVED, &action);
  node.init();
  node.canopen().sendPDOEvent(KQ::PDO_EVENT_RX_RECEIVED, 0x1400);
  EXPECT_EQ(1U, action.runs);
}

TEST(SecondInit, KeepsTheWorkListener) {
  TestNode node;
  test::SignalRecorder work;
  node.canopen().setWorkListener(&work);
  node.init();
  node.init();
  KQ::NodeInternals::reportQueuedWork(node.canopen());
  EXPECT_EQ(1U, work.signals.size());
}

class InitInAListener : public testing::Test {
protected:
  // Lets the listener build the node anew at the first signal with that code and second value.
  void rebuildAt(int code, unsigned int value) {
    rebuilder.reaction = [this, code, value] {
      const KQ::KQSignal& signal = rebuilder.signals.back();
      if (signal.getCode() == code && signal.getSecondValue() == value && rebuilds == 0) {
        ++rebuilds;
        EXPECT_EQ(0, node.canopen().init());
        node.canopen().addStateListener(&states);
      }
    };
  }

  // The node boots as a fresh one does, with a frame that waits still unread.
  void expectFreshNode() {
    EXPECT_EQ(1, rebuilds);
    EXPECT_EQ(KQ::CANOPEN_STATE_INIT, node.canopen().getCANopenState());
    EXPECT_EQ(test::Frames{"705#00"}, node.cycle());
    EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
    EXPECT_EQ(1U, states.signals.size());
    EXPECT_EQ("", node.output.takeErrors());
  }

  int rebuilds = 0;
  test::SignalRecorder rebuilder;
  test::SignalRecorder states;
  TestNode node;
};

TEST_F(InitInAListener, OfANodeResetIsSafe) {
  rebuildAt(1700, KQ::CANOPEN_STATE_RESET_APPLICATION);
  node.start();
  node.canopen().addStateListener(&rebuilder);
  node.receive("000#81 05");
  expectFreshNode();
}

TEST_F(InitInAListener, LeavesTheFramesBehindTheResetToTheFreshNode) {
  rebuildAt(1700, KQ::CANOPEN_STATE_RESET_APPLICATION);
  node.start();
  node.canopen().addStateListener(&rebuilder);
  node.port().inject("000#81 05");
  node.port().inject("605#40 18 10 01 00 00 00 00");
  node.canopen().onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ(1U, node.port().waitingFrames());
  expectFreshNode();
  node.canopen().onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ(1U, node.port().takeSent().size());
}

TEST_F(InitInAListener, OfACycleIsSafe) {
  rebuildAt(1700, KQ::CANOPEN_STATE_INIT);
  node.start();
  node.receive("000#81 05");
  node.canopen().addStateListener(&rebuilder);
  node.cycle();
  expectFreshNode();
}

TEST_F(InitInAListener, OfTheApplicationsOwnStateChangeIsSafe) {
  rebuildAt(1700, KQ::CANOPEN_STATE_RESET_APPLICATION);
  node.canopen().setOption(KQCANopen::OPTION_ALLOW_STATE_CHANGE, true);
  node.start();
  node.canopen().addStateListener(&rebuilder);
  EXPECT_EQ(0, node.canopen().setCANopenState(KQ::CANOPEN_STATE_RESET_APPLICATION));
  expectFreshNode();
}

TEST_F(InitInAListener, OfAMissingHeartbeatEndsTheCycleOfBefore) {
  constexpr unsigned int TIMED_OUT = 17;
  rebuildAt(0x517, TIMED_OUT);
  node.init();
  ASSERT_EQ(0, node.canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 200, 0, 255, true, nullptr));
  node.canopen().addHeartbeatConsumer(9, 100);
  node.canopen().addHeartbeatListener(&rebuilder);
  node.cycle();
  node.receive("000#01 00");
  node.receive("709#05");
  node.run(100);
  node.clock.advance(1000);
  EXPECT_EQ(test::Frames{}, node.cycle());  // the event timer of before is over, too
  expectFreshNode();
}

TEST_F(InitInAListener, OfAnSDOEventIsSafe) {
  rebuildAt(1103, 0);
  node.start();
  node.canopen().setSDOEventListener(&rebuilder);
  node.receive("605#80 18 10 01 00 00 00 00");
  expectFreshNode();
}

TEST_F(InitInAListener, OfAPDOIsSafe) {
  class Rebuilding : public KQ::KQAction {
  public:
    explicit Rebuilding(TestNode& testNode) : node(testNode) {}
    int execute() override { return node.canopen().init(); }

  private:
    TestNode& node;
  } action(node);
  node.init();
  ASSERT_EQ(0, node.canopen().addPDO(KQ::PDO_TYPE_RECEIVE, 0, 0x205, 0, 0, 255, true, nullptr));
  ASSERT_EQ(0, node.canopen().addPDOMapping(0, KQ::PDO_TYPE_RECEIVE, 5, 0, 8));
  node.canopen().setPDOEventAction(0x1400, KQ::PDO_EVENT_RX_RECEIVED, &action);
  node.cycle();
  node.receive("000#01 00");
  node.port().takeSent();
  node.receive("205#01");
  EXPECT_EQ(KQ::CANOPEN_STATE_INIT, node.canopen().getCANopenState());
  EXPECT_EQ(test::Frames{"705#00"}, node.cycle());
}

// Tells when it is deleted.
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
  ASSERT_EQ(0, node->create(KQ::KQDEI::instance(), nullptr, 78, nullptr));
  ASSERT_EQ(0, node->init());
  EXPECT_EQ(0, deletions);
  node.reset();
  EXPECT_EQ(1, deletions);
  ports->unbindPort(78);
}

}  // namespace
