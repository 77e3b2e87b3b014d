// Covers: when the node next has something to do: a program that sleeps until then misses nothing.
//
// | subject                       | functional                                           | robustness            |
// |-------------------------------|------------------------------------------------------|-----------------------|
// | same events at the same times | heartbeats, heartbeat and reception time-outs,       | a port that refuses   |
// | as with a cycle every ms      | event timers, inhibit times, SDO time-outs, requests |                       |
// | how often it has to be asked  | once an event                                        | nothing due at all    |
// | states                        | before init, INIT, reset, paused                     |                       |
// | work listener                 | request, read, held-back PDO                         | refused request, none |

#include <algorithm>
#include <functional>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "KQAction.h"
#include "KQCANopenSignal.h"
#include "KQEventType.h"
#include "KQSignalListener.h"
#include "PDOFixture.h"
#include "SDOClientFixture.h"
#include "SignalRecorder.h"

namespace {

using test::Frames;

// Everything that a node did, each with the tick at which it did it.
using Log = std::vector<std::string>;

// Something that happens to a node from outside.
struct Event {
  unsigned int after;  // ms from the start
  std::function<void()> happen;
};

// How the program around the node waits.
enum class Pace { EVERY_MILLISECOND, UNTIL_NEXT_WORK };

// Drives a node for a while and keeps what it does.
class Drive {
public:
  explicit Drive(test::TestNode& driven) : node(driven), start(node.clock.now()) {}

  Log run(Pace pace, unsigned int milliseconds, std::vector<Event> events) {
    events.push_back({milliseconds, [] {}});
    for (const Event& event : events) {
      runUntil(pace, event.after);
      event.happen();
      note();
    }
    return log;
  }

  unsigned int cycles = 0;

private:
  unsigned int passed() const { return node.clock.now() - start; }

  void runUntil(Pace pace, unsigned int end) {
    while (passed() < end) {
      const unsigned int left = end - passed();
      const unsigned int next = pace == Pace::EVERY_MILLISECOND ? 1 : node.canopen().getTimeToNextWork();
      // Asked at the present tick, at which a cycle has just been: what is due then waits one millisecond at most.
      node.clock.advance(std::min(left, std::max(next, 1U)));
      node.canopen().process(node.clock.now());
      ++cycles;
      note();
    }
  }

  void note() {
    for (const std::string& frame : node.port().takeSent()) {
      log.push_back(std::to_string(passed()) + ": " + frame);
    }
    const std::string printed = node.output.takeOutput();
    if (!printed.empty()) {
      log.push_back(std::to_string(passed()) + ": " + printed);
    }
  }

  test::TestNode& node;
  const unsigned int start;
  Log log;
};

// Notes a PDO event where the node prints, so that it is logged with its tick.
class PrintingAction : public KQ::KQAction {
public:
  int execute() override {
    std::cout << "event " << getEventType() << std::endl;
    return 0;
  }
};

class PDOScenario : public test::PDOFixture {
public:
  void TestBody() override {}
  using PDOFixture::addOwnVariable;
  using PDOFixture::addReceivePDO;
  using PDOFixture::addTransmitPDO;
  using PDOFixture::addVariables;
  using PDOFixture::change;
  using PDOFixture::node;
  using PDOFixture::start;
};

class ClientScenario : public test::SDOClientFixture {
public:
  void TestBody() override {}
  using SDOClientFixture::addNumber;
  using SDOClientFixture::addText;
  using SDOClientFixture::node;
  using SDOClientFixture::read;
  using SDOClientFixture::write;
};

Log heartbeats(Pace pace) {
  PDOScenario scenario;
  scenario.node.canopen().setHeartbeatProducerTime(70);
  scenario.start();
  return Drive(scenario.node).run(pace, 500, {});
}

Log watchedHeartbeats(Pace pace) {
  PDOScenario scenario;
  test::SignalRecorder listener;
  scenario.node.canopen().addHeartbeatConsumer(0x21, 50);
  scenario.node.canopen().addHeartbeatConsumer(0x22, 80);
  scenario.node.canopen().addHeartbeatListener(&listener, 0x21);
  scenario.node.canopen().addHeartbeatListener(&listener, 0x22);
  scenario.start();
  const auto hear = [&scenario](const char* frame) { return [&scenario, frame] { scenario.node.receive(frame); }; };
  return Drive(scenario.node)
      .run(pace, 400, {{10, hear("721#05")}, {20, hear("722#05")}, {55, hear("721#05")}, {300, hear("721#05")}});
}

Log timedTransmissions(Pace pace) {
  PDOScenario scenario;
  scenario.addVariables(3, 8);
  scenario.addTransmitPDO(0, {0x185, 255, 30, 0}, {0x20010108});
  scenario.addTransmitPDO(1, {0x285, 254, 200, 70}, {0x20010208});
  scenario.addTransmitPDO(2, {0x385, 255, 0, 40}, {0x20010308});
  scenario.start();
  const auto change = [](unsigned char subIndex, int value) {
    return [subIndex, value] { PDOScenario::change(0x2001, subIndex, value); };
  };
  return Drive(scenario.node)
      .run(pace, 600,
           {{5, change(2, 1)},
            {10, change(2, 2)},
            {12, change(3, 1)},
            {95, change(2, 3)},
            {96, change(2, 4)},
            {97, change(3, 2)},
            {98, change(3, 3)}});
}

Log watchedReception(Pace pace) {
  PDOScenario scenario;
  PrintingAction timedOut;
  PrintingAction resolved;
  scenario.addOwnVariable(0x2001, 1, 8);
  scenario.addOwnVariable(0x2001, 2, 8);
  scenario.addReceivePDO(0, {0x205, 255, 40, 0}, {0x20010108});
  scenario.addReceivePDO(1, {0x305, 254, 90, 0}, {0x20010208});
  for (unsigned short index = 0x1400; index <= 0x1401; ++index) {
    scenario.node.canopen().setPDOEventAction(index, KQ::PDO_EVENT_RX_TIMEOUT, &timedOut);
    scenario.node.canopen().setPDOEventAction(index, KQ::PDO_EVENT_RX_TIMEOUT_RESOLVED, &resolved);
  }
  scenario.start();
  const auto hear = [&scenario](const char* frame) { return [&scenario, frame] { scenario.node.receive(frame); }; };
  return Drive(scenario.node)
      .run(pace, 400, {{20, hear("205#01")}, {30, hear("305#01")}, {50, hear("205#02")}, {200, hear("305#02")}});
}

Log serverTimeouts(Pace pace) {
  PDOScenario scenario;
  scenario.start();
  const auto ask = [&scenario](const char* frame) { return [&scenario, frame] { scenario.node.receive(frame); }; };
  return Drive(scenario.node)
      .run(pace, 500,
           {{10, ask("605#40 0A 10 00 00 00 00 00")},
            {60, ask("605#60 00 00 00 00 00 00 00")},
            {200, ask("605#21 08 10 00 0A 00 00 00")}});
}

Log clientTimeouts(Pace pace) {
  ClientScenario scenario;
  scenario.addNumber(1, 16, false);
  scenario.addNumber(2, 16, false);
  scenario.addText(3);
  return Drive(scenario.node)
      .run(pace, 700,
           {{10, [&scenario] { scenario.write(1, 5); }},
            {40, [&scenario] { scenario.write(2, 6); }},
            {200, [&scenario] { scenario.read(1); }},
            {210, [&scenario] { scenario.read(2); }},
            {450, [&scenario] { scenario.write(3, "more than four"); }}});
}

struct Scenario {
  const char* name;
  Log (*play)(Pace);
  std::size_t events;  // as many at least, so that there is something to compare
};

class Sleep : public testing::TestWithParam<Scenario> {};

TEST_P(Sleep, UntilTheNextWorkMissesNothing) {
  const Log expected = GetParam().play(Pace::EVERY_MILLISECOND);
  EXPECT_GE(expected.size(), GetParam().events);
  EXPECT_EQ(expected, GetParam().play(Pace::UNTIL_NEXT_WORK));
}

INSTANTIATE_TEST_SUITE_P(Scenarios, Sleep,
                         testing::Values(Scenario{"Heartbeats", heartbeats, 7},
                                         Scenario{"WatchedHeartbeats", watchedHeartbeats, 5},
                                         Scenario{"TimedTransmissions", timedTransmissions, 25},
                                         Scenario{"WatchedReception", watchedReception, 5},
                                         Scenario{"ServerTimeouts", serverTimeouts, 2},
                                         Scenario{"ClientTimeouts", clientTimeouts, 10}),
                         [](const auto& tested) { return std::string(tested.param.name); });

using NextWork = test::PDOFixture;

TEST_F(NextWork, OfAnIdleNodeIsItsHeartbeat) {
  node.canopen().setHeartbeatProducerTime(1000);
  node.canopen().addHeartbeatConsumer(0x21, 10);  // never heard: nothing to report
  start();
  Drive drive(node);
  EXPECT_EQ(10U, drive.run(Pace::UNTIL_NEXT_WORK, 10000, {}).size());
  EXPECT_LE(drive.cycles, 12U);
}

TEST_F(NextWork, OfAMissingHeartbeatIsNow) {
  node.canopen().addHeartbeatConsumer(0x21, 50);
  start();
  node.receive("721#05");
  EXPECT_EQ(51U, node.canopen().getTimeToNextWork());
  node.clock.advance(51);
  EXPECT_EQ(0U, node.canopen().getTimeToNextWork());
}

TEST_F(NextWork, OfANodeWithNothingToDoIsNever) {
  start();
  EXPECT_EQ(0xFFFFFFFFU, node.canopen().getTimeToNextWork());
}

TEST_F(NextWork, IsNowUntilTheNodeCommunicates) {
  EXPECT_EQ(0U, node.canopen().getTimeToNextWork());
  start();
  node.receive("000#82 00");
  EXPECT_EQ(0U, node.canopen().getTimeToNextWork());
  node.cycle();
  EXPECT_EQ(0U, node.canopen().getTimeToNextWork());
}

TEST_F(NextWork, OfAnUnknownStateIsAtThePaceOfTheStatusWord) {
  start();
  node.canopen().getStateMachine()->setState(77);
  EXPECT_EQ(5U, node.canopen().getTimeToNextWork());
}

TEST_F(NextWork, OfAPausedNodeIsNever) {
  node.canopen().setHeartbeatProducerTime(10);
  start();
  node.canopen().setPaused(true);
  EXPECT_EQ(0xFFFFFFFFU, node.canopen().getTimeToNextWork());
}

TEST_F(NextWork, OfANodeWithoutAPortIsNoHeartbeat) {
  node.canopen().setHeartbeatProducerTime(10);
  start();
  node.canopen().release();
  EXPECT_EQ(0xFFFFFFFFU, node.canopen().getTimeToNextWork());
}

TEST(NextWorkBeforeInit, IsNever) {
  test::TestNode node;
  EXPECT_EQ(0xFFFFFFFFU, node.canopen().getTimeToNextWork());
}

TEST_F(NextWork, AfterARefusalIsATryAtThePaceOfTheStatusWord) {
  addVariables(1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  start();
  node.port().refuse(52, 23);
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(5U, node.canopen().getTimeToNextWork());
  node.clock.advance(5);
  EXPECT_EQ(0U, node.canopen().getTimeToNextWork());
  EXPECT_EQ(Frames{}, node.cycle());
  node.clock.advance(5);
  EXPECT_EQ(Frames{"185#00"}, node.cycle());
  EXPECT_EQ(0xFFFFFFFFU, node.canopen().getTimeToNextWork());
}

// ---- work of other threads

class WorkListener : public test::SDOClientFixture {
protected:
  WorkListener() {
    addNumber(1, 16, false);
    node.canopen().setWorkListener(&listener);
  }

  std::size_t told() {
    const std::size_t count = listener.signals.size();
    listener.signals.clear();
    return count;
  }

  test::SignalRecorder listener;
};

TEST_F(WorkListener, HearsOfARequest) {
  EXPECT_EQ(0, write(1, 5));
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(KQ::STACK_SIGNAL_TYPE, listener.signals.front().getType());
  EXPECT_EQ(KQ::SIGNAL_WORK_QUEUED, listener.signals.front().getCode());
  EXPECT_EQ(0U, node.canopen().getTimeToNextWork());
}

TEST_F(WorkListener, HearsOfARead) {
  EXPECT_EQ(0, read(1));
  EXPECT_EQ(1U, told());
  EXPECT_EQ(0U, node.canopen().getTimeToNextWork());
}

TEST_F(WorkListener, HearsNothingOfARefusedRequest) {
  EXPECT_EQ(23, write(9, 5));
  EXPECT_EQ(23, read(9));
  EXPECT_EQ(0U, told());
}

TEST_F(WorkListener, MayBeTakenOut) {
  node.canopen().setWorkListener(nullptr);
  EXPECT_EQ(0, write(1, 5));
  EXPECT_EQ(0U, told());
}

class WorkListenerOfPDOs : public test::PDOFixture {
protected:
  test::SignalRecorder listener;
};

TEST_F(WorkListenerOfPDOs, HearsOfATransmissionThatIsHeldBackOnce) {
  addVariables(1, 8);
  addTransmitPDO(0, {0x185, 255, 0, 100}, {0x20010108});
  startAndSettle();
  node.canopen().setWorkListener(&listener);
  change(0x2001, 1, 1);
  change(0x2001, 1, 2);
  EXPECT_EQ(1U, listener.signals.size());
  EXPECT_EQ(100U, node.canopen().getTimeToNextWork());
}

}  // namespace
