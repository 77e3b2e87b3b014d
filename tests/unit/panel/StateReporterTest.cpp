// Covers: the lines about the state of the node.
//
// | subject                                  | functional | robustness |
// |------------------------------------------|------------|------------|
// | the line of every state                  | x          |            |
// | a number that is no state; other signals |            | x          |

#include "StateReporter.h"

#include <gtest/gtest.h>
#include <sstream>

#include "KQSignal.h"

namespace {

struct StateCase {
  const char* name;
  unsigned int state;
  const char* line;
};

class StateReporterLine : public testing::TestWithParam<StateCase> {};

TEST_P(StateReporterLine, NamesNodeAndState) {
  std::ostringstream output;
  panel::StateReporter reporter(output);
  KQ::KQSignal signal(6, 1700, 5, GetParam().state);
  EXPECT_EQ(0, reporter.signalOccurred(signal));
  EXPECT_EQ(GetParam().line, output.str());
}

INSTANTIATE_TEST_SUITE_P(States, StateReporterLine,
                         testing::Values(StateCase{"Initialising", 0, "node 5: INITIALISING\n"},
                                         StateCase{"ResetApplication", 1, "node 5: RESET APPLICATION\n"},
                                         StateCase{"ResetCommunication", 2, "node 5: RESET COMMUNICATION\n"},
                                         StateCase{"PreOperational", 3, "node 5: PRE-OPERATIONAL\n"},
                                         StateCase{"Operational", 4, "node 5: OPERATIONAL\n"},
                                         StateCase{"Stopped", 5, "node 5: STOPPED\n"},
                                         StateCase{"FatalError", 6, "node 5: FATAL ERROR\n"},
                                         StateCase{"NoState", 7, "node 5: UNKNOWN STATE\n"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(StateReporter, OtherSignalsAreNotItsOwn) {
  std::ostringstream output;
  panel::StateReporter reporter(output);
  KQ::KQSignal heartbeat(6, 1303, 5, 17);
  KQ::KQSignal variable(1, 1700, 5, 3);
  EXPECT_EQ(11, reporter.signalOccurred(heartbeat));
  EXPECT_EQ(11, reporter.signalOccurred(variable));
  EXPECT_EQ("", output.str());
}

}  // namespace
