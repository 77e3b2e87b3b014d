// Covers: how long the loop may sleep.
//
// | subject                                                                 | functional | robustness |
// |-------------------------------------------------------------------------|------------|------------|
// | wait between two cycles against the time to the next work and the limit | x          |            |

#include "Panel.h"

#include <gtest/gtest.h>

namespace {

struct WaitCase {
  const char* name;
  unsigned int nextWork;
  int longest;
  int wait;
};

class PanelWaitTime : public testing::TestWithParam<WaitCase> {};

TEST_P(PanelWaitTime, IsTheTimeToTheNextWorkWithinItsLimits) {
  EXPECT_EQ(GetParam().wait, panel::Panel::getWaitTime(GetParam().nextWork, GetParam().longest));
}

INSTANTIATE_TEST_SUITE_P(Values, PanelWaitTime,
                         testing::Values(WaitCase{"NeverZero", 0, 1000, 1}, WaitCase{"Lowest", 1, 1000, 1},
                                         WaitCase{"AsNamed", 5, 1000, 5}, WaitCase{"Highest", 1000, 1000, 1000},
                                         WaitCase{"Limited", 1001, 1000, 1000}, WaitCase{"LimitedToOne", 5, 1, 1},
                                         WaitCase{"NothingDue", 0xFFFFFFFFU, 1000, 1000}),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
