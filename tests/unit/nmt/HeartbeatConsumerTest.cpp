// Covers: the heartbeat consumer.
//
// | subject           | functional                                    | robustness                                   |
// |-------------------|-----------------------------------------------|----------------------------------------------|
// | settings (0x1016) | encoding, re-read, in and outside OPERATIONAL | no dictionary, no object, node 0, above 127, |
// |                   |                                               | time 0                                       |
// | state of a node   | every row of the table                        | never heard, removed from 0x1016             |
// | deadline          | equality, one later, re-armed, moved          | wrap of the tick                             |
// | listeners         | one for all, one for each node, order, log    | none, replaced, removed, node ID & 0xFF      |
// | frames            | any byte on a watched COB-ID                  | other lengths, other COB-IDs                 |
// | several nodes     | ascending order                               |                                              |

#include <functional>
#include <utility>

#include "KQCANopenStateMachine.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "ReadableName.h"
#include "SignalRecorder.h"
#include "StandardDictionary.h"
#include "TestNode.h"

namespace {

constexpr int TIMEOUT = 0x517;
constexpr int RESOLVED = 0x518;

// What listeners were told, in order: "timeout 5 17".
using Events = std::vector<std::string>;

class HeartbeatConsumer : public testing::Test {
protected:
  HeartbeatConsumer() {
    nmt.setNodeID(1);
    nmt.setCANopenInstance(&node.canopen());
    nmt.setObjectDictionary(&dictionary);
    nmt.setStateMachine(&machine);
    enter(3);
    nmt.addHeartbeatListener(&forAll);
  }

  // A listener that is told notes it under its name.
  std::function<void()> note(const std::string& name, const test::SignalRecorder& listener) {
    return [this, name, &listener] {
      const KQ::KQSignal& signal = listener.signals.back();
      const std::string code = signal.getCode() == TIMEOUT    ? " timeout "
                               : signal.getCode() == RESOLVED ? " resolved "
                                                              : " unknown ";
      events.push_back(name + code + std::to_string(signal.getFirstValue()) + " " +
                       std::to_string(signal.getSecondValue()));
    };
  }

  void enter(int state) {
    machine.setState(state);
    node.output.takeOutput();
  }

  // Writes the entry of one sub-index, without a re-read.
  void write(unsigned char subIndex, unsigned int entry) {
    dictionary.addSubentry(0x1016, subIndex, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "", false,
                           static_cast<int>(entry), "", 0);
  }

  // Makes node 5 (100 ms) watched.
  void watchNode5() {
    write(1, 0x00050064);
    nmt.updateHeartbeatConsumerSettings();
  }

  int receive(const std::string& text) {
    KQ::KQCANMessage message = test::frame(text);
    return nmt.handleMessage(&message);
  }

  void advanceAndCheck(unsigned int milliseconds) {
    node.clock.advance(milliseconds);
    nmt.checkHeartbeatTimeouts();
  }

  Events take() {
    Events taken;
    taken.swap(events);
    return taken;
  }

  test::TestNode node{1};
  test::StandardDictionary dictionary{&node.canopen()};
  KQ::KQCANopenStateMachine machine{&node.canopen()};
  KQ::KQNMTHandler nmt;
  Events events;
  test::SignalRecorder forAll{note("all", forAll)};
  test::SignalRecorder forNode{note("node", forNode)};
};

// ---- state table

TEST_F(HeartbeatConsumer, ReadingTheEntryReportsNothing) {
  watchNode5();
  EXPECT_EQ(Events{}, take());
}

TEST_F(HeartbeatConsumer, MissingNodeThatIsHeardIsReportedAsResolved) {
  watchNode5();
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("705#05"));
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
}

TEST_F(HeartbeatConsumer, PresentNodeThatIsHeardIsNotReported) {
  watchNode5();
  receive("705#05");
  take();
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("705#05"));
  EXPECT_EQ(Events{}, take());
}

TEST_F(HeartbeatConsumer, PresentNodeThatFallsSilentIsReportedAsTimeout) {
  watchNode5();
  receive("705#05");
  take();
  advanceAndCheck(101);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, SilentNodeIsReportedOnce) {
  watchNode5();
  receive("705#05");
  advanceAndCheck(101);
  take();
  for (int i = 0; i < 5; ++i) {
    advanceAndCheck(101);
  }
  EXPECT_EQ(Events{}, take());
}

TEST_F(HeartbeatConsumer, SilentNodeThatReturnsIsReportedAsResolvedAgain) {
  watchNode5();
  receive("705#05");
  advanceAndCheck(101);
  take();
  receive("705#05");
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
  advanceAndCheck(101);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, NodeNeverHeardIsNeverReported) {
  watchNode5();
  for (int i = 0; i < 10; ++i) {
    advanceAndCheck(101);
  }
  EXPECT_EQ(Events{}, take());
}

TEST_F(HeartbeatConsumer, ReReadMakesAPresentNodeMissingInSilence) {
  watchNode5();
  receive("705#05");
  take();
  nmt.updateHeartbeatConsumerSettings();
  advanceAndCheck(101);
  EXPECT_EQ(Events{}, take());
  receive("705#05");
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
}

TEST_F(HeartbeatConsumer, SignalIsOfType6WithAllOtherFieldsZero) {
  test::SignalRecorder recorder;
  nmt.addHeartbeatListener(&recorder);
  watchNode5();
  receive("705#05");
  advanceAndCheck(101);
  ASSERT_EQ(2U, recorder.signals.size());
  EXPECT_EQ(6, recorder.signals[0].getType());
  EXPECT_EQ(1304, recorder.signals[0].getCode());
  EXPECT_FALSE(recorder.signals[0].getFlag());
  EXPECT_EQ(6, recorder.signals[1].getType());
  EXPECT_EQ(1303, recorder.signals[1].getCode());
  EXPECT_FALSE(recorder.signals[1].getFlag());
}

// ---- deadlines

TEST_F(HeartbeatConsumer, DeadlineItselfIsNotYetATimeout) {
  watchNode5();
  receive("705#05");
  take();
  advanceAndCheck(100);
  EXPECT_EQ(Events{}, take());
  advanceAndCheck(1);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, HeartbeatMovesTheDeadline) {
  watchNode5();
  receive("705#05");
  take();
  for (int i = 0; i < 5; ++i) {
    advanceAndCheck(100);
    receive("705#05");
  }
  EXPECT_EQ(Events{}, take());
  advanceAndCheck(101);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, HeartbeatAfterTheDeadlineButBeforeTheCheckComesInTime) {
  watchNode5();
  receive("705#05");
  take();
  node.clock.advance(500);
  receive("705#05");
  nmt.checkHeartbeatTimeouts();
  EXPECT_EQ(Events{}, take());
}

TEST_F(HeartbeatConsumer, ReReadTakesTheNewTime) {
  watchNode5();
  receive("705#05");
  write(1, 0x000507D0);  // 2000 ms
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  take();
  advanceAndCheck(2000);
  EXPECT_EQ(Events{}, take());
  advanceAndCheck(1);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, TimeThatAListenerChangesCountsFromTheFrameItHearsOf) {
  class Changing : public KQ::KQSignalListener {
  public:
    explicit Changing(std::function<void()> changeOfTime) : change(std::move(changeOfTime)) {}
    int signalOccurred(KQ::KQSignal& /*signal*/) override {
      change();
      return 0;
    }

  private:
    std::function<void()> change;
  };
  Changing listener([this] {
    write(1, 0x000503E8);
    nmt.updateHeartbeatConsumerSettings();
  });
  watchNode5();
  enter(4);
  nmt.addHeartbeatListener(&listener);
  receive("705#05");
  nmt.addHeartbeatListener(&forAll);
  advanceAndCheck(1000);
  EXPECT_EQ(Events{}, take());
  advanceAndCheck(1);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, ReReadInOperationalReportsNothingEither) {
  enter(4);
  watchNode5();
  receive("705#05");
  take();
  nmt.updateHeartbeatConsumerSettings();
  advanceAndCheck(101);
  EXPECT_EQ(Events{}, take());
  receive("705#05");
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
}

TEST_F(HeartbeatConsumer, DeadlineBeyondTheWrapOfTheTickIsPassedAtOnce) {
  node.clock.set(0xFFFFFFFFU - 99);
  watchNode5();
  receive("705#05");
  take();
  nmt.checkHeartbeatTimeouts();
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, DeadlineAtTheLastTickIsNotPassedBeforeIt) {
  node.clock.set(0xFFFFFFFFU - 100);
  watchNode5();
  receive("705#05");
  take();
  advanceAndCheck(100);
  EXPECT_EQ(Events{}, take());
}

TEST_F(HeartbeatConsumer, CheckWithoutConsumersReadsNoTick) {
  const unsigned int readings = node.clock.readings();
  nmt.checkHeartbeatTimeouts();
  EXPECT_EQ(readings, node.clock.readings());
}

// ---- settings

TEST_F(HeartbeatConsumer, HighestByteOfTheEntryIsIgnored) {
  write(1, 0xAA050064);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
  advanceAndCheck(101);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, LongestTime) {
  write(1, 0x0005FFFF);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  take();
  advanceAndCheck(65535);
  EXPECT_EQ(Events{}, take());
  advanceAndCheck(1);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, Time0IsWatchedAndOverOneTickLater) {
  write(1, 0x00050000);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  take();
  advanceAndCheck(0);
  EXPECT_EQ(Events{}, take());
  advanceAndCheck(1);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, Node0OfAnUnusedEntryIsWatched) {
  nmt.updateHeartbeatConsumerSettings();
  receive("700#05");
  EXPECT_EQ(Events{"all resolved 0 0"}, take());
}

TEST_F(HeartbeatConsumer, LastSubIndexIsRead) {
  write(127, 0x00050064);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
}

TEST_F(HeartbeatConsumer, SubIndex128IsNotRead) {
  write(128, 0x00050064);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  EXPECT_EQ(Events{}, take());
}

TEST_F(HeartbeatConsumer, LaterSubIndexOverwritesTheTimeOfANode) {
  write(1, 0x00050064);
  write(3, 0x00050032);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  take();
  advanceAndCheck(51);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
}

TEST_F(HeartbeatConsumer, NodeThatIsNoLongerListedStaysWatched) {
  watchNode5();
  write(1, 0x00060064);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  receive("706#05");
  EXPECT_EQ((Events{"all resolved 5 0", "all resolved 6 0"}), take());
  advanceAndCheck(101);
  EXPECT_EQ((Events{"all timeout 5 17", "all timeout 6 17"}), take());
}

TEST_F(HeartbeatConsumer, SettingsWithoutDictionaryWatchNobody) {
  nmt.setObjectDictionary(nullptr);
  write(1, 0x00050064);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  EXPECT_EQ(Events{}, take());
}

TEST_F(HeartbeatConsumer, SettingsWithoutTheObjectWatchNobody) {
  KQ::KQCANopenObjectDictionary empty;
  nmt.setObjectDictionary(&empty);
  nmt.updateHeartbeatConsumerSettings();
  receive("700#05");
  EXPECT_EQ(Events{}, take());
}

// ---- listeners

TEST_F(HeartbeatConsumer, ListenerOfTheNodeIsToldAfterTheOneForAllAndLogged) {
  nmt.addHeartbeatListner(&forNode, 5);
  watchNode5();
  receive("705#05");
  EXPECT_EQ((Events{"all resolved 5 0", "node resolved 5 0"}), take());
  EXPECT_EQ("Sending heartbeat resolved timeout to ECU with node ID 0x5\n", node.output.takeOutput());
  advanceAndCheck(101);
  EXPECT_EQ((Events{"all timeout 5 17", "node timeout 5 17"}), take());
  EXPECT_EQ("Sending heartbeat timeout to ECU with node ID 0x5\n", node.output.takeOutput());
}

TEST_F(HeartbeatConsumer, ListenerForAllAloneIsNotLogged) {
  watchNode5();
  receive("705#05");
  advanceAndCheck(101);
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(HeartbeatConsumer, ListenerOfTheNodeNeedsNoListenerForAll) {
  nmt.addHeartbeatListener(nullptr);
  nmt.addHeartbeatListner(&forNode, 5);
  watchNode5();
  receive("705#05");
  advanceAndCheck(101);
  EXPECT_EQ((Events{"node resolved 5 0", "node timeout 5 17"}), take());
}

TEST_F(HeartbeatConsumer, LogNamesTheNodeInLowerCaseHexadecimal) {
  nmt.addHeartbeatListner(&forNode, 0x1A);
  write(1, 0x001A0064);
  nmt.updateHeartbeatConsumerSettings();
  receive("71A#05");
  advanceAndCheck(101);
  EXPECT_EQ(
      "Sending heartbeat resolved timeout to ECU with node ID 0x1a\n"
      "Sending heartbeat timeout to ECU with node ID 0x1a\n",
      node.output.takeOutput());
}

TEST_F(HeartbeatConsumer, TimeoutIsLoggedOnce) {
  nmt.addHeartbeatListner(&forNode, 5);
  watchNode5();
  receive("705#05");
  node.output.takeOutput();
  advanceAndCheck(101);
  advanceAndCheck(101);
  advanceAndCheck(101);
  EXPECT_EQ("Sending heartbeat timeout to ECU with node ID 0x5\n", node.output.takeOutput());
}

TEST_F(HeartbeatConsumer, WithoutListenersTheStateIsKeptAllTheSame) {
  nmt.addHeartbeatListener(nullptr);
  watchNode5();
  receive("705#05");
  nmt.addHeartbeatListener(&forAll);
  advanceAndCheck(101);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(HeartbeatConsumer, SecondListenerForAllReplacesTheFirst) {
  test::SignalRecorder second(note("second", second));
  nmt.addHeartbeatListener(&second);
  watchNode5();
  receive("705#05");
  EXPECT_EQ(Events{"second resolved 5 0"}, take());
}

TEST_F(HeartbeatConsumer, SecondListenerOfANodeReplacesTheFirst) {
  test::SignalRecorder second(note("second", second));
  nmt.addHeartbeatListener(nullptr);
  nmt.addHeartbeatListner(&forNode, 5);
  nmt.addHeartbeatListner(&second, 5);
  watchNode5();
  receive("705#05");
  EXPECT_EQ(Events{"second resolved 5 0"}, take());
}

TEST_F(HeartbeatConsumer, NullListenerOfANodeIsNobody) {
  nmt.addHeartbeatListner(&forNode, 5);
  nmt.addHeartbeatListner(nullptr, 5);
  watchNode5();
  receive("705#05");
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(HeartbeatConsumer, ListenerOfAnotherNodeIsNotTold) {
  nmt.addHeartbeatListner(&forNode, 6);
  watchNode5();
  receive("705#05");
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(HeartbeatConsumer, OnlyTheLow8BitsOfTheListenersNodeCount) {
  nmt.addHeartbeatListener(nullptr);
  nmt.addHeartbeatListner(&forNode, 0x105);
  watchNode5();
  receive("705#05");
  EXPECT_EQ(Events{"node resolved 5 0"}, take());
}

// ---- frames

class WatchedByte : public HeartbeatConsumer, public testing::WithParamInterface<const char*> {};

TEST_P(WatchedByte, CountsAsHeartbeat) {
  watchNode5();
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive(GetParam()));
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
}

INSTANTIATE_TEST_SUITE_P(Bytes, WatchedByte, testing::Values("705#00", "705#04", "705#05", "705#7F", "705#FF"),
                         test::ReadableName());

class OtherFrame : public HeartbeatConsumer, public testing::WithParamInterface<const char*> {};

TEST_P(OtherFrame, IsNoHeartbeat) {
  watchNode5();
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive(GetParam()));
  EXPECT_EQ(Events{}, take());
  receive("705#05");
  EXPECT_EQ(Events{"all resolved 5 0"}, take());
}

INSTANTIATE_TEST_SUITE_P(Frames, OtherFrame,
                         testing::Values("705#", "705#05 00", "705#05 00 00 00 00 00 00 00", "704#05", "706#05",
                                         "605#05", "005#05", "000#05", "785#05"),
                         test::ReadableName());

TEST_F(HeartbeatConsumer, WithoutConsumersEveryHeartbeatIsLeftToOthers) {
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("705#05"));
  EXPECT_EQ(Events{}, take());
}

// ---- several nodes

TEST_F(HeartbeatConsumer, NodesTimeOutInAscendingOrder) {
  write(1, 0x00200064);
  write(2, 0x00030064);
  write(3, 0x00110064);
  nmt.updateHeartbeatConsumerSettings();
  nmt.addHeartbeatListner(&forNode, 0x11);
  receive("720#05");
  receive("711#05");
  receive("703#05");
  take();
  advanceAndCheck(101);
  EXPECT_EQ((Events{"all timeout 3 17", "all timeout 17 17", "node timeout 17 17", "all timeout 32 17"}), take());
}

TEST_F(HeartbeatConsumer, EveryNodeHasItsOwnTime) {
  write(1, 0x00050064);
  write(2, 0x000600C8);
  nmt.updateHeartbeatConsumerSettings();
  receive("705#05");
  receive("706#05");
  take();
  advanceAndCheck(101);
  EXPECT_EQ(Events{"all timeout 5 17"}, take());
  advanceAndCheck(99);
  EXPECT_EQ(Events{}, take());
  advanceAndCheck(1);
  EXPECT_EQ(Events{"all timeout 6 17"}, take());
}

struct HighNode {
  unsigned int nodeID;
  const char* heartbeat;
  const char* resolved;
  const char* timeout;
};

// The object holds eight bits of node ID, more than there are nodes.
class HighNodeID : public HeartbeatConsumer, public testing::WithParamInterface<HighNode> {};

TEST_P(HighNodeID, IsWatchedAsAnyOther) {
  write(1, GetParam().nodeID << 16 | 100);
  nmt.updateHeartbeatConsumerSettings();
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive(GetParam().heartbeat));
  EXPECT_EQ(Events{GetParam().resolved}, take());
  advanceAndCheck(101);
  EXPECT_EQ(Events{GetParam().timeout}, take());
}

INSTANTIATE_TEST_SUITE_P(NodeIDs, HighNodeID,
                         testing::Values(HighNode{127, "77F#05", "all resolved 127 0", "all timeout 127 17"},
                                         HighNode{128, "780#05", "all resolved 128 0", "all timeout 128 17"},
                                         HighNode{255, "7FF#05", "all resolved 255 0", "all timeout 255 17"}),
                         [](const testing::TestParamInfo<HighNode>& testInfo) {
                           return "Node" + std::to_string(testInfo.param.nodeID);
                         });

TEST_F(HeartbeatConsumer, All127NodesAreWatched) {
  for (unsigned int id = 1; id <= 127; ++id) {
    write(static_cast<unsigned char>(id), id << 16 | 100);
  }
  nmt.updateHeartbeatConsumerSettings();
  for (unsigned int id = 127; id >= 1; --id) {
    KQ::KQCANMessage message = test::frame("700#05");
    message.identifier += id;
    nmt.handleMessage(&message);
  }
  EXPECT_EQ(127U, take().size());
  advanceAndCheck(101);
  const Events timeouts = take();
  ASSERT_EQ(127U, timeouts.size());
  EXPECT_EQ("all timeout 1 17", timeouts.front());
  EXPECT_EQ("all timeout 127 17", timeouts.back());
}

}  // namespace
