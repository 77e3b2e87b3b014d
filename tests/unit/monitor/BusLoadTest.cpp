// Covers: the share of its time that the bus is busy.
//
// | subject                                                 | functional | robustness |
// |---------------------------------------------------------|------------|------------|
// | share of a second, of the last whole one, highest, mean | x          |            |
// | seconds without frames, seconds that are forgotten      | x          |            |
// | a clock that goes back, times before 0                  |            | x          |

#include "BusLoad.h"

#include <gtest/gtest.h>

namespace {

using monitor::BusLoad;

constexpr long long SECOND = 1000000;

TEST(BusLoad, IsTheShareOfTheBitRateInASecond) {
  BusLoad load(1000);
  load.add(7 * SECOND, 100);
  load.add(8 * SECOND - 1, 150);
  EXPECT_DOUBLE_EQ(0.25, load.getShareOfSecond(7));
}

TEST(BusLoad, OfNowIsThatOfTheLastWholeSecond) {
  BusLoad load(1000);
  load.add(7 * SECOND, 100);
  load.add(8 * SECOND, 300);
  EXPECT_DOUBLE_EQ(0.1, load.getShare(8 * SECOND + 5));
}

TEST(BusLoad, IsZeroInASecondWithoutFrames) {
  BusLoad load(1000);
  load.add(7 * SECOND, 100);
  EXPECT_DOUBLE_EQ(0, load.getShareOfSecond(6));
  EXPECT_DOUBLE_EQ(0, load.getShareOfSecond(8));
}

TEST(BusLoad, ForgetsASecondThatLiesFarBack) {
  BusLoad load(1000);
  load.add(7 * SECOND, 100);
  load.add((7 + static_cast<long long>(BusLoad::SECONDS)) * SECOND, 200);
  EXPECT_DOUBLE_EQ(0, load.getShareOfSecond(7));
  EXPECT_DOUBLE_EQ(0.2, load.getShareOfSecond(7 + static_cast<long long>(BusLoad::SECONDS)));
}

TEST(BusLoad, KnowsItsHighestSecond) {
  BusLoad load(1000);
  load.add(7 * SECOND, 100);
  load.add(8 * SECOND, 300);
  load.add(9 * SECOND, 200);
  EXPECT_DOUBLE_EQ(0.3, load.getHighestShare());
}

TEST(BusLoad, IsSpreadOverTheTimeFromTheFirstFrameToTheLast) {
  BusLoad load(1000);
  EXPECT_DOUBLE_EQ(0, load.getMeanShare());
  load.add(6 * SECOND, 100);
  EXPECT_DOUBLE_EQ(0, load.getMeanShare());
  load.add(10 * SECOND, 300);
  EXPECT_DOUBLE_EQ(0.1, load.getMeanShare());
}

TEST(BusLoad, CountsAllBits) {
  BusLoad load(1000);
  load.add(6 * SECOND, 100);
  load.add(600 * SECOND, 300);
  EXPECT_EQ(400U, load.getBits());
}

TEST(BusLoad, SurvivesAClockThatGoesBack) {
  BusLoad load(1000);
  load.add(6 * SECOND, 100);
  load.add(-3 * SECOND, 300);
  EXPECT_DOUBLE_EQ(0.3, load.getShareOfSecond(-3));
  EXPECT_EQ(400U, load.getBits());
}

}  // namespace
