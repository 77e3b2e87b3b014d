// Covers: the heartbeats of one node, and the gaps in them.
//
// | subject                | functional                                             | robustness |
// |------------------------|--------------------------------------------------------|------------|
// | the expected period    | from the third interval on, without stray ones         |            |
// | gaps                   | both sides of the limit, how many heartbeats they lack |            |
// | silence that goes on   | missed so far, never more than in the end              |            |
// | boot-up                | ends a gap, makes no period                            |            |
// | a clock that goes back |                                                        | x          |

#include "HeartbeatStatistics.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

using monitor::HeartbeatStatistics;

constexpr long long PERIOD = 1000;

// Four heartbeats, from 0 to 3 periods: the period is known.
HeartbeatStatistics learned() {
  HeartbeatStatistics heartbeats;
  for (int i = 0; i < 4; ++i) {
    heartbeats.add(i * PERIOD);
  }
  return heartbeats;
}

TEST(HeartbeatStatistics, LearnsThePeriodFromThreeIntervals) {
  HeartbeatStatistics heartbeats;
  for (int i = 0; i < 3; ++i) {
    heartbeats.add(i * PERIOD);
    EXPECT_EQ(0, heartbeats.getExpectedPeriod()) << i;
  }
  heartbeats.add(3 * PERIOD);
  EXPECT_EQ(PERIOD, heartbeats.getExpectedPeriod());
}

TEST(HeartbeatStatistics, IsNotMisledByAStrayInterval) {
  HeartbeatStatistics heartbeats = learned();
  heartbeats.add(3 * PERIOD + 10);  // a heartbeat at a change of state
  heartbeats.add(7 * PERIOD);
  EXPECT_EQ(PERIOD, heartbeats.getExpectedPeriod());
}

TEST(HeartbeatStatistics, FollowsANewPeriod) {
  HeartbeatStatistics heartbeats = learned();
  for (int i = 1; i <= 5; ++i) {
    heartbeats.add(3 * PERIOD + i * 100);
  }
  EXPECT_EQ(100, heartbeats.getExpectedPeriod());
}

TEST(HeartbeatStatistics, SeesNoGapBeforeThePeriodIsKnown) {
  HeartbeatStatistics heartbeats;
  heartbeats.add(0);
  heartbeats.add(PERIOD);
  EXPECT_EQ(0, heartbeats.add(100 * PERIOD));
  EXPECT_EQ(0U, heartbeats.getGaps());
}

struct Gap {
  const char* name;
  long long interval;
  unsigned int missed;
};

class HeartbeatGap : public testing::TestWithParam<Gap> {};

TEST_P(HeartbeatGap, LacksAsManyHeartbeatsAsHavePlaceInIt) {
  HeartbeatStatistics heartbeats = learned();
  const long long gap = heartbeats.add(3 * PERIOD + GetParam().interval);
  EXPECT_EQ(GetParam().missed == 0 ? 0 : GetParam().interval, gap);
  EXPECT_EQ(GetParam().missed, heartbeats.getMissed(3 * PERIOD + GetParam().interval));
  EXPECT_EQ(GetParam().missed == 0 ? 0U : 1U, heartbeats.getGaps());
  EXPECT_EQ(gap, heartbeats.getLongestGap());
}

INSTANTIATE_TEST_SUITE_P(Intervals, HeartbeatGap,
                         testing::Values(Gap{"OnePeriod", PERIOD, 0}, Gap{"OneAndAHalf", PERIOD * 3 / 2, 0},
                                         Gap{"MoreThanOneAndAHalf", PERIOD * 3 / 2 + 1, 1}, Gap{"Two", 2 * PERIOD, 1},
                                         Gap{"TwoAndAHalf", PERIOD * 5 / 2, 1},
                                         Gap{"MoreThanTwoAndAHalf", PERIOD * 5 / 2 + 1, 2}, Gap{"Ten", 10 * PERIOD, 9}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(HeartbeatStatistics, CountsWhatIsMissingWhileTheNodeIsSilent) {
  const HeartbeatStatistics heartbeats = learned();
  EXPECT_FALSE(heartbeats.isSilent(3 * PERIOD + PERIOD * 3 / 2));
  EXPECT_TRUE(heartbeats.isSilent(3 * PERIOD + PERIOD * 3 / 2 + 1));
  EXPECT_EQ(9U, heartbeats.getMissed(3 * PERIOD + 10 * PERIOD));
}

TEST(HeartbeatStatistics, NeverCountsBackwards) {
  HeartbeatStatistics heartbeats = learned();
  unsigned long long before = 0;
  for (long long now = 3 * PERIOD; now < 20 * PERIOD; now += 77) {
    const unsigned long long missed = heartbeats.getMissed(now);
    EXPECT_GE(missed, before) << now;
    before = missed;
    if (now % 5 == 0) {
      heartbeats.add(now);
      EXPECT_EQ(before, heartbeats.getMissed(now)) << now;
    }
  }
}

TEST(HeartbeatStatistics, EndsAGapWithABootUp) {
  HeartbeatStatistics heartbeats = learned();
  EXPECT_EQ(10 * PERIOD, heartbeats.addBootUp(13 * PERIOD));
  EXPECT_EQ(9U, heartbeats.getMissed(13 * PERIOD));
  EXPECT_FALSE(heartbeats.isSilent(13 * PERIOD));
}

TEST(HeartbeatStatistics, TakesNoPeriodFromABootUpToTheFirstHeartbeat) {
  HeartbeatStatistics heartbeats = learned();
  heartbeats.addBootUp(3 * PERIOD + 100);
  heartbeats.add(3 * PERIOD + 110);
  EXPECT_EQ(5U, heartbeats.getSeries().getFrames());
  EXPECT_EQ(3U, heartbeats.getSeries().getPeriods().getCount());
  EXPECT_EQ(PERIOD, heartbeats.getSeries().getPeriods().getShortest());
}

TEST(HeartbeatStatistics, SurvivesAClockThatGoesBack) {
  HeartbeatStatistics heartbeats = learned();
  EXPECT_EQ(0, heartbeats.add(-50 * PERIOD));
  EXPECT_EQ(0U, heartbeats.getMissed(-50 * PERIOD));
  EXPECT_EQ(PERIOD, heartbeats.getExpectedPeriod());
}

}  // namespace
