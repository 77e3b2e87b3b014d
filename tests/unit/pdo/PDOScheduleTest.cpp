// Covers: the schedule of event timers and the time that a send pass may take.
//
// | subject     | functional                                     | robustness                                       |
// |-------------|------------------------------------------------|--------------------------------------------------|
// | event timer | period, from the moment of processing          | late passes, inhibited, refused, the tick wraps, |
// |             |                                                | weeks outside OPERATIONAL                        |
// | wait hint   | lowered only; status word of the cycle         | no event timer                                   |
// | time budget | the rest goes in the next pass; 50 ms for that | one PDO is tried in any case; any deadline of    |
// |             | of a cycle                                     | the cycle                                        |

#include "PDOFixture.h"
#include "ReadableName.h"

using namespace KQ;
using test::Frames;

namespace {

class PDOSchedule : public test::PDOFixture {
protected:
  int pass(unsigned int budget = 1000, unsigned int* waitHint = nullptr) {
    return handler().sendPDOs(node.clock.now() + budget, waitHint);
  }

  unsigned int hintAfterPass(unsigned int preset) {
    unsigned int hint = preset;
    pass(1000, &hint);
    return hint;
  }
};

// ---- event timer

TEST_F(PDOSchedule, EventTimerSendsPeriodically) {
  addTransmitPDO(0, {0x185, 255, 1000}, {});
  start();
  EXPECT_EQ(Frames{"185#"}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(999));
  EXPECT_EQ(Frames{"185#"}, node.run(1));
  EXPECT_EQ(Frames{}, node.run(999));
  EXPECT_EQ(Frames{"185#"}, node.run(1));
}

TEST_F(PDOSchedule, EventTimerRunsFromTheStartNotFromTheFirstPass) {
  addTransmitPDO(0, {0x185, 255, 1000}, {});
  start();
  node.clock.advance(600);
  EXPECT_EQ(Frames{"185#"}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(399));
  EXPECT_EQ(Frames{"185#"}, node.run(1));
}

TEST_F(PDOSchedule, LatePassShiftsTheSchedule) {
  addTransmitPDO(0, {0x185, 255, 100}, {});
  startAndSettle();
  node.clock.advance(350);
  EXPECT_EQ(Frames{"185#"}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(99));
  EXPECT_EQ(Frames{"185#"}, node.run(1));
}

TEST_F(PDOSchedule, ChangeDoesNotMoveTheEventTimer) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 255, 100}, {0x20010108});
  startAndSettle();
  node.run(60);
  change(0x2001, 1, 1);
  EXPECT_EQ((Frames{"185#01", "185#01"}), node.run(40));
}

TEST_F(PDOSchedule, TimersOfDifferentPeriodsKeepTheirOrder) {
  addTransmitPDO(0, {0x185, 255, 30}, {});
  addTransmitPDO(1, {0x186, 254, 20}, {});
  startAndSettle();
  EXPECT_EQ((Frames{"186#", "185#", "186#"}), node.run(40));
  EXPECT_EQ((Frames{"186#", "185#"}), [this] {
    Frames both = node.run(20);
    std::sort(both.rbegin(), both.rend());
    return both;
  }());
}

TEST_F(PDOSchedule, InhibitedEventTimerWaitsForTheInhibitTime) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 255, 100, 60}, {0x20010108});
  startAndSettle();
  node.run(90);
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{"185#01"}, node.run(59));
  EXPECT_EQ(Frames{"185#01"}, node.run(1));
  EXPECT_EQ(Frames{}, node.run(49));
  EXPECT_EQ(Frames{}, node.run(1));  // due at 200, but inhibited until 210
  EXPECT_EQ(Frames{"185#01"}, node.run(10));
}

TEST_F(PDOSchedule, RefusedEventTimerFrameWaitsForTheNextPeriod) {
  addTransmitPDO(0, {0x185, 255, 100}, {});
  startAndSettle();
  node.clock.advance(100);
  node.port().refuse(26, 24);
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(99));
  EXPECT_EQ(Frames{"185#"}, node.run(1));
}

TEST_F(PDOSchedule, EventTimerSurvivesTheWrapOfTheTick) {
  addTransmitPDO(0, {0x185, 255, 100}, {});
  node.clock.set(0xFFFFFFF0);
  startAndSettle();
  EXPECT_EQ(Frames{}, node.run(99));
  EXPECT_EQ(Frames{"185#"}, node.run(1));
  EXPECT_EQ(Frames{}, node.run(99));
}

// Expects the event timers of before to go on after weeks outside OPERATIONAL, from the present tick on.
class PDOScheduleAfterWeeks : public PDOSchedule {
protected:
  void expectEventTimersToGoOn() {
    constexpr unsigned int WEEKS = 0x80000000U;  // half of the range of ticks: what was due then seems to lie ahead
    addTransmitPDO(0, {0x185, 255, 1000}, {});
    addTransmitPDO(1, {0x186, 255, 3000}, {});
    startAndSettle();
    node.receive("000#80 00");
    node.clock.advance(WEEKS + 2000);
    node.receive("000#01 00");
    node.cycle();
    EXPECT_EQ(Frames{"185#"}, node.run(1000));
    EXPECT_EQ(Frames{"185#"}, node.run(1000));
    Frames both = node.run(1000);
    std::sort(both.begin(), both.end());
    EXPECT_EQ((Frames{"185#", "186#"}), both);
  }
};

TEST_F(PDOScheduleAfterWeeks, EventTimersGoOn) {
  expectEventTimersToGoOn();
}

TEST_F(PDOScheduleAfterWeeks, EventTimersGoOnBehindTheWrapOfTheTick) {
  node.clock.set(0x90000000U);
  expectEventTimersToGoOn();
}

// ---- wait hint

TEST_F(PDOSchedule, WaitHintIsTheTimeToTheNextEventTimer) {
  addTransmitPDO(0, {0x185, 255, 1000}, {});
  addTransmitPDO(1, {0x186, 255, 300}, {});
  startAndSettle();
  EXPECT_EQ(300U, hintAfterPass(5000));
  node.clock.advance(299);
  EXPECT_EQ(1U, hintAfterPass(5000));
  node.clock.advance(1);
  EXPECT_EQ(300U, hintAfterPass(5000));
}

TEST_F(PDOSchedule, WaitHintIsOnlyLowered) {
  addTransmitPDO(0, {0x185, 255, 300}, {});
  startAndSettle();
  EXPECT_EQ(5U, hintAfterPass(5));
  EXPECT_EQ(299U, hintAfterPass(299));
  EXPECT_EQ(300U, hintAfterPass(301));
}

TEST_F(PDOSchedule, WithoutEventTimerTheWaitHintStays) {
  addTransmitPDO(0, {0x185, 255}, {});
  startAndSettle();
  EXPECT_EQ(5000U, hintAfterPass(5000));
}

TEST_F(PDOSchedule, StatusWordOfTheCycleIsTheWaitHint) {
  addTransmitPDO(0, {0x185, 255, 300}, {});
  startAndSettle();
  EXPECT_EQ(5, node.canopen().getProtocolStatus());
  node.run(296);
  EXPECT_EQ(4, node.canopen().getProtocolStatus());
  node.run(3);
  EXPECT_EQ(1, node.canopen().getProtocolStatus());
  node.run(1);
  EXPECT_EQ(5, node.canopen().getProtocolStatus());
}

// ---- time budget

TEST_F(PDOSchedule, PendingPDOsBeyondTheBudgetGoInTheNextPass) {
  for (unsigned short i = 0; i < 6; ++i) {
    addTransmitPDO(i, {0x185U + i}, {});
  }
  start();
  node.clock.advanceOnEveryReading(1);
  EXPECT_EQ(KQ_DEFERRED, pass(4));
  node.clock.advanceOnEveryReading(0);
  const Frames first = sent();
  EXPECT_LT(first.size(), 6U);
  EXPECT_GT(first.size(), 0U);
  Frames expected = {"185#", "186#", "187#", "188#", "189#", "18A#"};
  expected.erase(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(first.size()));
  EXPECT_EQ(KQ_OK, pass());
  EXPECT_EQ(expected, sent());
}

TEST_F(PDOSchedule, EveryPassSendsOneEvenWithoutABudget) {
  addTransmitPDO(0, {0x185}, {});
  addTransmitPDO(1, {0x186}, {});
  start();
  EXPECT_EQ(KQ_DEFERRED, pass(0));
  EXPECT_EQ(Frames{"185#"}, sent());
  EXPECT_EQ(KQ_DEFERRED, pass(0));
  EXPECT_EQ(Frames{"186#"}, sent());
  EXPECT_EQ(KQ_OK, pass(0));
}

TEST_F(PDOSchedule, TimedPDOIsServedEvenWhenThePendingOnesUsedUpTheBudget) {
  addTransmitPDO(0, {0x185}, {});
  addTransmitPDO(1, {0x186}, {});
  addTransmitPDO(2, {0x187, 255, 100, 50}, {});
  startAndSettle();
  handler().signalPDOChange(0x1800);
  handler().signalPDOChange(0x1801);
  node.clock.advance(100);
  EXPECT_EQ(KQ_DEFERRED, pass(0));
  EXPECT_EQ((Frames{"185#", "187#"}), sent());
  EXPECT_EQ(KQ_DEFERRED, pass(0));
  EXPECT_EQ(Frames{"186#"}, sent());
}

TEST_F(PDOSchedule, TimedPDOsBeyondTheBudgetGoInTheNextPass) {
  for (unsigned short i = 0; i < 3; ++i) {
    addTransmitPDO(i, {0x185U + i, 255, 100}, {});
  }
  startAndSettle();
  node.clock.advance(100);
  EXPECT_EQ(KQ_DEFERRED, pass(0));
  EXPECT_EQ(Frames{"185#"}, sent());
  EXPECT_EQ(KQ_OK, pass());
  EXPECT_EQ((Frames{"186#", "187#"}), sent());
}

TEST_F(PDOSchedule, DeadlineOfNowIsOverAndOneOfLaterIsNot) {
  addTransmitPDO(0, {0x185}, {});
  addTransmitPDO(1, {0x186}, {});
  start();
  EXPECT_EQ(KQ_OK, pass(1));
  EXPECT_EQ((Frames{"185#", "186#"}), sent());
}

class PassOfTheCycle : public PDOSchedule, public testing::WithParamInterface<int> {};

// Each reading of the clock takes a millisecond, and each PDO two of them.
TEST_P(PassOfTheCycle, EndsAfter50MillisecondsWhateverTheDeadlineOfTheCycle) {
  for (unsigned short i = 0; i < 60; ++i) {
    addTransmitPDO(i, {0x185U + i}, {});
  }
  start();
  const unsigned int begin = node.clock.now();
  node.clock.advanceOnEveryReading(1);
  node.canopen().getStateMachine()->run(begin + static_cast<unsigned int>(GetParam()));
  node.clock.advanceOnEveryReading(0);
  // The last reading is the first after a PDO that finds 50 ms gone.
  const unsigned int lastReading = node.clock.now() - 1 - begin;
  EXPECT_GE(lastReading, 50U);
  EXPECT_LE(lastReading, 51U);
}

INSTANTIATE_TEST_SUITE_P(Deadlines, PassOfTheCycle, testing::Values(-1000, 0, 10, 49, 51, 1000), test::ReadableName());

TEST_F(PDOSchedule, InhibitedPDOUsesUpBudgetToo) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 255, 0, 100}, {0x20010108});
  startAndSettle();
  change(0x2001, 1, 1);
  EXPECT_EQ(KQ_DEFERRED, pass(0));
}

}  // namespace
