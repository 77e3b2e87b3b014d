// Covers: the lines about nodes that are lost and back.
//
// | subject                                       | functional | robustness |
// |-----------------------------------------------|------------|------------|
// | the line of a node that is lost, that is back | x          |            |
// | other signals                                 |            | x          |

#include "HeartbeatReporter.h"

#include <gtest/gtest.h>
#include <sstream>

#include "KQSignal.h"

namespace {

struct HeartbeatCase {
  const char* name;
  int code;
  unsigned int node;
  const char* line;
};

class HeartbeatReporterLine : public testing::TestWithParam<HeartbeatCase> {};

TEST_P(HeartbeatReporterLine, NamesTheNodeAndWhatHappened) {
  std::ostringstream output;
  panel::HeartbeatReporter reporter(output);
  KQ::KQSignal signal(6, GetParam().code, GetParam().node, 17);
  EXPECT_EQ(0, reporter.signalOccurred(signal));
  EXPECT_EQ(GetParam().line, output.str());
}

INSTANTIATE_TEST_SUITE_P(Events, HeartbeatReporterLine,
                         testing::Values(HeartbeatCase{"Lost", 1303, 6, "node 6: heartbeat lost\n"},
                                         HeartbeatCase{"Back", 1304, 127, "node 127: heartbeat back\n"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(HeartbeatReporter, OtherSignalsAreNotItsOwn) {
  std::ostringstream output;
  panel::HeartbeatReporter reporter(output);
  KQ::KQSignal state(6, 1700, 5, 3);
  KQ::KQSignal variable(1, 1303, 5, 3);
  EXPECT_EQ(11, reporter.signalOccurred(state));
  EXPECT_EQ(11, reporter.signalOccurred(variable));
  EXPECT_EQ("", output.str());
}

}  // namespace
