// | covered                                          | kind       |
// |--------------------------------------------------|------------|
// | nothing yet; shortest, longest, mean, sum        | functional |
// | both sides of every bound of the buckets         | functional |
// | counts up to a bound, and up to one that is none | functional |
#include "DurationStatistics.h"

#include <gtest/gtest.h>

namespace {

using monitor::DurationStatistics;

TEST(DurationStatistics, IsZeroAsLongAsThereIsNothing) {
  const DurationStatistics durations;
  EXPECT_EQ(durations.getCount(), 0U);
  EXPECT_EQ(durations.getMean(), 0);
  EXPECT_EQ(durations.getShortest(), 0);
}

TEST(DurationStatistics, KnowsShortestLongestAndMean) {
  DurationStatistics durations;
  for (const long long duration : {700, 100, 400}) {
    durations.add(duration);
  }
  EXPECT_EQ(durations.getShortest(), 100);
  EXPECT_EQ(durations.getLongest(), 700);
  EXPECT_EQ(durations.getMean(), 400);
  EXPECT_EQ(durations.getSum(), 1200);
}

class DurationBucket : public testing::TestWithParam<std::size_t> {};

TEST_P(DurationBucket, HoldsItsBoundAndNotWhatIsLonger) {
  DurationStatistics durations;
  durations.add(DurationStatistics::BOUNDS[GetParam()]);
  durations.add(DurationStatistics::BOUNDS[GetParam()] + 1);
  EXPECT_EQ(durations.getBucket(GetParam()), 1U);
  EXPECT_EQ(durations.getBucket(GetParam() + 1), 1U);
}

INSTANTIATE_TEST_SUITE_P(All, DurationBucket, testing::Range<std::size_t>(0, DurationStatistics::BOUNDS.size()));

TEST(DurationStatistics, CountsAllUpToABound) {
  DurationStatistics durations;
  for (const long long duration : {5, 10, 11, 1000, 1001, 99999999}) {
    durations.add(duration);
  }
  EXPECT_EQ(durations.getCountUpTo(10), 2U);
  EXPECT_EQ(durations.getCountUpTo(1000), 4U);
  EXPECT_EQ(durations.getCountUpTo(10000000), 5U);
}

TEST(DurationStatistics, TakesTheNextLowerBoundForOneThatIsNone) {
  DurationStatistics durations;
  durations.add(15);
  EXPECT_EQ(durations.getCountUpTo(19), 0U);
}

}  // namespace
