// Covers: frames that come again and again.
//
// | subject                                                  | functional | robustness |
// |----------------------------------------------------------|------------|------------|
// | count, first, last, periods, jitter of successive frames | x          |            |
// | an interruption makes no period and no jitter            | x          |            |
// | a clock that goes back                                   |            | x          |

#include "FrameSeries.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

using monitor::FrameSeries;

FrameSeries seriesOf(std::initializer_list<long long> stamps) {
  FrameSeries series;
  for (const long long stamp : stamps) {
    series.add(stamp);
  }
  return series;
}

TEST(FrameSeries, HasNoPeriodWithOneFrame) {
  const FrameSeries series = seriesOf({5000});
  EXPECT_EQ(1U, series.getFrames());
  EXPECT_EQ(5000, series.getFirst());
  EXPECT_EQ(5000, series.getLast());
  EXPECT_EQ(0U, series.getPeriods().getCount());
}

TEST(FrameSeries, MeasuresThePeriodFromFrameToFrame) {
  const FrameSeries series = seriesOf({1000, 11000, 20000, 31000});
  EXPECT_EQ(3U, series.getPeriods().getCount());
  EXPECT_EQ(9000, series.getPeriods().getShortest());
  EXPECT_EQ(11000, series.getPeriods().getLongest());
}

TEST(FrameSeries, TakesTheDifferenceOfSuccessivePeriodsForJitter) {
  const FrameSeries series = seriesOf({1000, 11000, 20000, 31000});
  EXPECT_EQ(2U, series.getJitter().getCount());
  EXPECT_EQ(1000, series.getJitter().getShortest());
  EXPECT_EQ(2000, series.getJitter().getLongest());
}

TEST(FrameSeries, MakesNoPeriodOverAnInterruption) {
  FrameSeries series = seriesOf({0, 1000, 2000});
  series.interrupt();
  series.add(900000);
  series.add(901000);
  EXPECT_EQ(3U, series.getPeriods().getCount());
  EXPECT_EQ(1000, series.getPeriods().getLongest());
  EXPECT_EQ(1U, series.getJitter().getCount());
}

TEST(FrameSeries, BeginsAnewWhenTheClockGoesBack) {
  const FrameSeries series = seriesOf({10000, 11000, 500, 1500});
  EXPECT_EQ(4U, series.getFrames());
  EXPECT_EQ(2U, series.getPeriods().getCount());
  EXPECT_EQ(1000, series.getPeriods().getLongest());
  EXPECT_EQ(0U, series.getJitter().getCount());
}

}  // namespace
