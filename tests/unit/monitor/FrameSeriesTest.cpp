// | covered                                            | kind       |
// |----------------------------------------------------|------------|
// | count, first, last, periods, jitter of successive frames | functional |
// | an interruption makes no period and no jitter      | functional |
// | a clock that goes back                             | robustness |
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
  EXPECT_EQ(series.getFrames(), 1U);
  EXPECT_EQ(series.getFirst(), 5000);
  EXPECT_EQ(series.getLast(), 5000);
  EXPECT_EQ(series.getPeriods().getCount(), 0U);
}

TEST(FrameSeries, MeasuresThePeriodFromFrameToFrame) {
  const FrameSeries series = seriesOf({1000, 11000, 20000, 31000});
  EXPECT_EQ(series.getPeriods().getCount(), 3U);
  EXPECT_EQ(series.getPeriods().getShortest(), 9000);
  EXPECT_EQ(series.getPeriods().getLongest(), 11000);
}

TEST(FrameSeries, TakesTheDifferenceOfSuccessivePeriodsForJitter) {
  const FrameSeries series = seriesOf({1000, 11000, 20000, 31000});
  EXPECT_EQ(series.getJitter().getCount(), 2U);
  EXPECT_EQ(series.getJitter().getShortest(), 1000);
  EXPECT_EQ(series.getJitter().getLongest(), 2000);
}

TEST(FrameSeries, MakesNoPeriodOverAnInterruption) {
  FrameSeries series = seriesOf({0, 1000, 2000});
  series.interrupt();
  series.add(900000);
  series.add(901000);
  EXPECT_EQ(series.getPeriods().getCount(), 3U);
  EXPECT_EQ(series.getPeriods().getLongest(), 1000);
  EXPECT_EQ(series.getJitter().getCount(), 1U);
}

TEST(FrameSeries, BeginsAnewWhenTheClockGoesBack) {
  const FrameSeries series = seriesOf({10000, 11000, 500, 1500});
  EXPECT_EQ(series.getFrames(), 4U);
  EXPECT_EQ(series.getPeriods().getCount(), 2U);
  EXPECT_EQ(series.getPeriods().getLongest(), 1000);
  EXPECT_EQ(series.getJitter().getCount(), 0U);
}

}  // namespace
