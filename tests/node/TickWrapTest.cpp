// Covers: a whole node while the tick passes the middle and the end of its 32 bits, when cycles come late, and when the
// wall clock is set.
//
// | subject    | functional                                        | robustness                               |
// |------------|---------------------------------------------------|------------------------------------------|
// | tick       | as anywhere else                                  | 0x80000000, the wrap                     |
// | timers     | event timer, inhibit time, RPDO and SDO time-outs | heartbeats: what shows, and for how long |
// | pace       | a cycle each millisecond, cycles as asked for     | seconds late                             |
// | drain      | a flood is read whole                             | in the upper half one frame a call       |
// | wall clock |                                                   | set by hours and years, forth and back   |

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "CountedAction.h"
#include "Edition.h"
#include "KQCANopenObjectDictionary.h"
#include "KQNMTHandler.h"
#include "PDOFixture.h"
#include "SignalRecorder.h"

namespace {

using test::Frames;

constexpr unsigned int BEFORE = 1500;  // ms of a run in front of the tick in question
constexpr unsigned int AFTER = 1500;
constexpr unsigned int ANYWHERE = 0x20000000;
constexpr unsigned int MIDDLE = 0x80000000;
constexpr unsigned int WRAP = 0;

// "1503 185#05": what happened, and how many ms after the begin.
using History = std::vector<std::string>;

class TickWrap : public test::PDOFixture {
protected:
  // A node with every timer, started so long before that tick.
  void startBefore(unsigned int tick) {
    begin = tick - BEFORE - 5;  // nothing is sent in tick 0 itself, which the last test of these timers is about
    node.clock.set(begin);
    addVariable(0x2001, 1, 8);
    addVariable(0x2001, 2, 8);
    addTransmitPDO(0, {0x185, 255, 70}, {0x20010108});
    addTransmitPDO(1, {0x285, 255, 0, 30}, {0x20010208});
    addReceivePDO(0, {0x205, 255, 50}, {0x00050008});
    node.canopen().addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "remote");
    node.dictionary().addEntry(0x2100, KQ::OBJECT_TYPE_RECORD, "remote");
    node.dictionary().addSubentry(0x2100, 1, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED16, "remote", false, 0, "", 0x606);
    node.dictionary().addSubentry(0x2100, 2, KQ::ACCESS_RW, KQ::DATA_TYPE_VISIBLE_STRING, "text", false, 0, "", 0);
    node.canopen().setPDOEventAction(0x1400, KQ::PDO_EVENT_RX_TIMEOUT, &missing);
    start();
  }

  void note(const Frames& frames) {
    for (const std::string& frame : frames) {
      history.push_back(std::to_string(node.clock.now() - begin) + ' ' + frame);
    }
  }

  // What the bus and the application do in the millisecond now of the run.
  void act(unsigned int now) {
    if (now % 7 == 0) {
      change(0x2001, 2, static_cast<int>(now % 100));
    }
    if (now % 500 < 300 && now % 40 == 0) {
      note(node.receive("205#01"));
    }
    if (now % 250 == 0) {
      note(node.receive("605#21 00 21 02 0E 00 00 00"));                // and no segment: times out
      node.canopen().updateRequest(0x21000001, static_cast<int>(now));  // and no answer
      node.canopen().getValueRequest(0x21000001);
    }
  }

  History run() {
    for (unsigned int now = 0; now <= BEFORE + AFTER; ++now) {
      act(now);
      note(node.cycle());
      if (missing.runs != reportedMissing) {
        reportedMissing = missing.runs;
        history.push_back(std::to_string(now) + " RPDO missing");
      }
      node.clock.advance(1);
    }
    return history;
  }

  unsigned int begin = 0;
  unsigned int reportedMissing = 0;
  History history;
  test::CountedAction missing;
};

// The same run at a tick where nothing is special.
class AnywhereRun : public TickWrap {
public:
  History record() {
    startBefore(ANYWHERE);
    return run();
  }
  void TestBody() override {}
};

History runAnywhere() {
  AnywhereRun run;
  return run.record();
}

class TimersAcross : public TickWrap, public testing::WithParamInterface<unsigned int> {
protected:
  // Before the node of the test is there: they would share the store and the clock.
  static void SetUpTestSuite() { expected = runAnywhere(); }

  static History expected;
};

History TimersAcross::expected;

TEST_P(TimersAcross, GoOnAsAnywhereElse) {
  for (const char* const what : {" 185#", " 285#", " 585#80", " 606#80", " 586#80", " RPDO missing"}) {
    const auto isOfIt = [what](const std::string& entry) { return entry.find(what) != std::string::npos; };
    EXPECT_GT(std::count_if(expected.begin(), expected.end(), isOfIt), 2) << what;  // the run has all of them
  }
  startBefore(GetParam());
  const History found = run();
  const auto different = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
  EXPECT_EQ(History(different.first, expected.end()), History(different.second, found.end()));
}

std::string nameOfTick(const testing::TestParamInfo<unsigned int>& row) {
  return row.param == MIDDLE ? "Middle" : row.param == WRAP ? "Wrap" : "Anywhere";
}

INSTANTIATE_TEST_SUITE_P(Ticks, TimersAcross, testing::Values(MIDDLE, WRAP), nameOfTick);

// ---- the wall clock

// A wall clock that is somewhere else at every reading: hours ahead, years ago, before 1970.
long readSteppedWallClock() {
  static constexpr long TIMES[] = {1'700'000'000, 1'700'003'600, 86'400, 2'147'483'647, -5};
  static std::size_t readings = 0;
  return TIMES[readings++ % std::size(TIMES)];
}

// With heartbeats as well.
class EveryTimerRun : public TickWrap {
public:
  History record() {
    node.canopen().setHeartbeatProducerTime(90);
    startBefore(ANYWHERE);
    return run();
  }
  void TestBody() override {}
};

History runEveryTimer() {
  EveryTimerRun run;
  return run.record();
}

TEST(SteppedWallClock, MovesNoTimer) {
  const History expected = runEveryTimer();
  test::edition::setWallClock(readSteppedWallClock);
  const History found = runEveryTimer();
  test::edition::setWallClock(nullptr);
  EXPECT_EQ(expected, found);
}

// The time of a transmission is 0 as long as there was none: one in tick 0 is forgotten.
TEST_F(TickWrap, TransmissionInTickZeroInhibitsNothing) {
  startBefore(WRAP);
  node.clock.set(WRAP - 40);
  node.cycle();
  node.clock.set(WRAP);
  sent();
  change(0x2001, 2, 1);
  EXPECT_EQ(Frames{"285#01"}, sent());
  node.clock.advance(1);
  change(0x2001, 2, 2);
  EXPECT_EQ(Frames{"285#02"}, sent());
  node.clock.advance(1);
  change(0x2001, 2, 3);
  EXPECT_EQ(Frames{}, sent());
}

// ---- heartbeats: ticks are compared as they stand

class HeartbeatsAcross : public test::PDOFixture {
protected:
  static constexpr int PERIOD = 1000;

  // Boots so long before that tick, with the first heartbeat after that.
  void bootBefore(unsigned int tick) {
    node.clock.set(tick - BEFORE);
    node.canopen().setHeartbeatProducerTime(PERIOD);
    start();
  }

  std::size_t heartbeatsIn(unsigned int milliseconds) {
    const Frames frames = node.run(milliseconds);
    return static_cast<std::size_t>(std::count(frames.begin(), frames.end(), "705#05"));
  }
};

TEST_F(HeartbeatsAcross, TheMiddleKeepTheirPeriod) {
  bootBefore(MIDDLE);
  EXPECT_EQ(0U, heartbeatsIn(999));
  EXPECT_EQ(1U, heartbeatsIn(1));
  EXPECT_EQ(3U, heartbeatsIn(3000));
}

// From the last one that is due before the wrap up to the wrap: less than one period.
TEST_F(HeartbeatsAcross, TheWrapGoOutInEveryCycleForTheRestOfAPeriod) {
  bootBefore(WRAP);
  EXPECT_EQ(1U, heartbeatsIn(1000));
  EXPECT_EQ(499U, heartbeatsIn(499));
  EXPECT_EQ(0U, heartbeatsIn(999));
  EXPECT_EQ(1U, heartbeatsIn(1));
  EXPECT_EQ(0U, heartbeatsIn(999));
  EXPECT_EQ(1U, heartbeatsIn(1));
}

// A runtime that sleeps as long as the node allows, as the panel does.
TEST_F(HeartbeatsAcross, TheWrapAreFiveMillisecondsApartWhenTheRuntimeSleeps) {
  bootBefore(WRAP);
  heartbeatsIn(1000);
  std::size_t heartbeats = 0;
  for (unsigned int passed = 0; passed < 499;) {
    const unsigned int sleep = std::max(node.canopen().getTimeToNextWork(), 1U);
    ASSERT_LE(sleep, 5U);
    passed += sleep;
    node.clock.advance(sleep);
    heartbeats += node.cycle().size();
  }
  EXPECT_EQ(99U, heartbeats);
}

TEST_F(HeartbeatsAcross, TheWrapOfAWatchedNodeAreReportedAsMissingUntilTheWrap) {
  test::SignalRecorder events;
  node.clock.set(WRAP - BEFORE);
  start();
  node.canopen().addHeartbeatListener(&events);
  node.canopen().addHeartbeatConsumer(9, 200);
  std::vector<std::string> heard;
  for (unsigned int passed = 0; passed < BEFORE + AFTER; ++passed) {
    if (passed % 100 == 0) {
      node.receive("709#05");
    }
    node.run(1);
    for (const KQ::KQSignal& signal : events.signals) {
      heard.push_back(std::to_string(passed) + (signal.getCode() == 0x517 ? " missing" : " back"));
    }
    events.signals.clear();
  }
  // Those of 1300 and 1400 have deadlines beyond the wrap, which is at 1500.
  EXPECT_EQ((std::vector<std::string>{"0 back", "1300 missing", "1400 back", "1400 missing", "1500 back"}), heard);
}

// ---- cycles that come late

class LateCycle : public HeartbeatsAcross, public testing::WithParamInterface<unsigned int> {};

TEST_P(LateCycle, SendsWhatIsDueOnceAndGoesOnFromThere) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 255, 70}, {0x20010108});
  bootBefore(GetParam());
  node.run(1);
  node.receive("605#21 08 10 00 0E 00 00 00");
  node.clock.advance(5000);
  EXPECT_EQ((Frames{"705#05", "185#00", "585#80 08 10 00 00 00 04 05"}), node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(69));
  EXPECT_EQ(Frames{"185#00"}, node.run(1));
}

INSTANTIATE_TEST_SUITE_P(Ticks, LateCycle, testing::Values(ANYWHERE, MIDDLE), nameOfTick);

// The heartbeat that was due shortly before the wrap is not due any more after it: a runtime must not let the last
// tick pass without asking for it, as the panel does not.
TEST_F(HeartbeatsAcross, AWrapThatNoCycleSawBeforeStayAwayUntilTheNextOne) {
  constexpr unsigned int DUE = WRAP - 3;
  node.clock.set(DUE - PERIOD);
  node.canopen().setHeartbeatProducerTime(PERIOD);
  start();
  node.clock.set(WRAP + 1);
  EXPECT_EQ(0U, heartbeatsIn(5 * PERIOD));
  node.clock.set(MIDDLE);
  EXPECT_EQ(Frames{}, node.cycle());
  node.clock.set(DUE - 1);
  EXPECT_EQ(Frames{}, node.cycle());
  node.clock.set(DUE);
  EXPECT_EQ(Frames{"705#05"}, node.cycle());
}

TEST_F(HeartbeatsAcross, AWrapThatNoCycleSawGoOnWhenTheyAreAskedForInTheLastTick) {
  node.clock.set(WRAP - 3 - PERIOD);
  node.canopen().setHeartbeatProducerTime(PERIOD);
  start();
  node.clock.set(WRAP - 1);
  node.canopen().getNMTHandler()->sendHeartbeatMessage(node.canopen().getCANopenState());
  EXPECT_EQ(Frames{"705#05"}, sent());
  node.clock.set(WRAP);
  EXPECT_EQ(1U, heartbeatsIn(PERIOD));
}

// ---- a flood

class FloodAt : public test::PDOFixture {
protected:
  static constexpr unsigned int FRAMES = 500;

  // @return how many turns the node needs until the port is empty
  unsigned int drain() {
    for (unsigned int i = 0; i < FRAMES; ++i) {
      node.port().inject("605#40 18 10 01 00 00 00 00");
    }
    unsigned int turns = 0;
    for (; node.port().waitingFrames() > 0; ++turns) {
      node.canopen().onEndPointReadable(&node.port(), nullptr);
    }
    return turns;
  }
};

class FloodAnswers : public FloodAt, public testing::WithParamInterface<unsigned int> {};

TEST_P(FloodAnswers, AreForAllOfIt) {
  start();
  node.clock.set(GetParam());
  drain();
  EXPECT_EQ(FRAMES, node.port().takeSent().size());
}

INSTANTIATE_TEST_SUITE_P(Ticks, FloodAnswers, testing::Values(ANYWHERE, MIDDLE, WRAP - 1, WRAP),
                         [](const auto& row) { return "At" + std::to_string(row.param); });

struct TurnsRow {
  unsigned int tick;
  unsigned int turns;
};

class FloodTurns : public FloodAt, public testing::WithParamInterface<TurnsRow> {};

// The tick counts twice in the budget of a turn, and the sum of both wraps in the upper half.
TEST_P(FloodTurns, AreOneForAllOrOneForEachFrame) {
  start();
  node.clock.set(GetParam().tick);
  EXPECT_EQ(GetParam().turns, drain());
}

INSTANTIATE_TEST_SUITE_P(Ticks, FloodTurns,
                         testing::Values(TurnsRow{0, 1}, TurnsRow{0x7FFFFFFA, 1}, TurnsRow{0x7FFFFFFB, 500},
                                         TurnsRow{0x80000000, 500}, TurnsRow{0xFFFFFFF6, 500}, TurnsRow{0xFFFFFFF7, 1},
                                         TurnsRow{0xFFFFFFFA, 1}, TurnsRow{0xFFFFFFFB, 500}, TurnsRow{0xFFFFFFFF, 500}),
                         [](const auto& row) { return "At" + std::to_string(row.param.tick); });

}  // namespace
