// Covers: how long something took, many times over.
//
// | subject                                          | functional | robustness |
// |--------------------------------------------------|------------|------------|
// | nothing yet; shortest, longest, mean, sum        | x          |            |
// | both sides of every bound of the buckets         | x          |            |
// | counts up to a bound, and up to one that is none | x          |            |

#include "DurationStatistics.h"

#include <gtest/gtest.h>

namespace {

using monitor::DurationStatistics;

TEST(DurationStatistics, IsZeroAsLongAsThereIsNothing) {
  const DurationStatistics durations;
  EXPECT_EQ(0U, durations.getCount());
  EXPECT_EQ(0, durations.getMean());
  EXPECT_EQ(0, durations.getShortest());
}

TEST(DurationStatistics, KnowsShortestLongestAndMean) {
  DurationStatistics durations;
  for (const long long duration : {700, 100, 400}) {
    durations.add(duration);
  }
  EXPECT_EQ(100, durations.getShortest());
  EXPECT_EQ(700, durations.getLongest());
  EXPECT_EQ(400, durations.getMean());
  EXPECT_EQ(1200, durations.getSum());
}

class DurationBucket : public testing::TestWithParam<std::size_t> {};

TEST_P(DurationBucket, HoldsItsBoundAndNotWhatIsLonger) {
  DurationStatistics durations;
  durations.add(DurationStatistics::BOUNDS[GetParam()]);
  durations.add(DurationStatistics::BOUNDS[GetParam()] + 1);
  EXPECT_EQ(1U, durations.getBucket(GetParam()));
  EXPECT_EQ(1U, durations.getBucket(GetParam() + 1));
}

INSTANTIATE_TEST_SUITE_P(All, DurationBucket, testing::Range<std::size_t>(0, DurationStatistics::BOUNDS.size()));

TEST(DurationStatistics, CountsAllUpToABound) {
  DurationStatistics durations;
  for (const long long duration : {5, 10, 11, 1000, 1001, 99999999}) {
    durations.add(duration);
  }
  EXPECT_EQ(2U, durations.getCountUpTo(10));
  EXPECT_EQ(4U, durations.getCountUpTo(1000));
  EXPECT_EQ(5U, durations.getCountUpTo(10000000));
}

TEST(DurationStatistics, TakesTheNextLowerBoundForOneThatIsNone) {
  DurationStatistics durations;
  durations.add(15);
  EXPECT_EQ(0U, durations.getCountUpTo(19));
}

}  // namespace
