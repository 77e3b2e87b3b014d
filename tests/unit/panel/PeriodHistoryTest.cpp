// Covers: the last periods of each identifier.
//
// | subject                                    | functional | robustness |
// |--------------------------------------------|------------|------------|
// | periods by identifier, the oldest first    | x          |            |
// | more periods and identifiers than are kept |            | x          |

#include "PeriodHistory.h"

#include <gtest/gtest.h>

namespace {

using panel::PeriodHistory;

TEST(PeriodHistory, PeriodsAreDifferencesOfTimes) {
  PeriodHistory history;
  for (const long long time : {1000, 1100, 1350}) {
    history.add(0x185, time);
    history.add(0x285, 2 * time);
  }
  EXPECT_EQ((std::vector<long long>{100, 250}), history.get(0x185));
  EXPECT_EQ((std::vector<long long>{200, 500}), history.get(0x285));
}

TEST(PeriodHistory, OneFrameMakesNoPeriod) {
  PeriodHistory history;
  history.add(0x185, 1000);
  EXPECT_TRUE(history.get(0x185).empty());
}

TEST(PeriodHistory, TheLatestAreKeptInTheirOrder) {
  PeriodHistory history;
  long long time = 0;
  for (long long period = 1; period <= static_cast<long long>(PeriodHistory::PERIODS) + 3; ++period) {
    history.add(0x185, time);
    time += period;
  }
  const std::vector<long long> periods = history.get(0x185);
  ASSERT_EQ(PeriodHistory::PERIODS, periods.size());
  EXPECT_EQ(3, periods.front());
  EXPECT_EQ(static_cast<long long>(PeriodHistory::PERIODS) + 2, periods.back());
}

TEST(PeriodHistory, IdentifiersBeyondTheLastAreLeftOut) {
  PeriodHistory history;
  for (unsigned int identifier = 0; identifier <= PeriodHistory::IDENTIFIERS; ++identifier) {
    history.add(identifier, 1);
    history.add(identifier, 2);
  }
  EXPECT_EQ(1U, history.get(PeriodHistory::IDENTIFIERS - 1).size());
  EXPECT_TRUE(history.get(PeriodHistory::IDENTIFIERS).empty());
}

}  // namespace
