// Covers: RPDO 2 (0x1401) of a node, by the events that the stack reports.
//
// | subject                                                    | functional | robustness |
// |------------------------------------------------------------|------------|------------|
// | first check, first frame, time-out, frame after a time-out | x          |            |
// | events that change nothing                                 | x          |            |
// | an RPDO built anew; another RPDO's events                  |            | x          |

#include "PDOReporter.h"

#include <gtest/gtest.h>
#include <sstream>

#include "TestNode.h"

namespace {

constexpr unsigned short RPDO_2 = 0x1401;

class PDOReporterTest : public testing::Test {
protected:
  PDOReporterTest() {
    node.init();
    reporter.watch(node.canopen());
  }

  void timeOut() { node.canopen().sendPDOEvent(KQ::PDO_EVENT_RX_TIMEOUT, RPDO_2); }
  void receive() { node.canopen().sendPDOEvent(KQ::PDO_EVENT_RX_RECEIVED, RPDO_2); }
  void receiveAfterTimeOut() {
    receive();
    node.canopen().sendPDOEvent(KQ::PDO_EVENT_RX_TIMEOUT_RESOLVED, RPDO_2);
  }

  std::string takeOutput() {
    const std::string text = output.str();
    output.str("");
    return text;
  }

  std::ostringstream output;
  panel::PDOReporter reporter{output, 1};
  test::TestNode node;
};

TEST_F(PDOReporterTest, FirstTimeOutIsNoneYet) {
  timeOut();
  EXPECT_EQ("RPDO 2: nothing received yet\n", output.str());
}

TEST_F(PDOReporterTest, FirstFrameIsReported) {
  timeOut();
  takeOutput();
  receiveAfterTimeOut();
  EXPECT_EQ("RPDO 2: receiving\n", output.str());
}

TEST_F(PDOReporterTest, UnmonitoredRPDOStartsWithItsFirstFrame) {
  receive();
  EXPECT_EQ("RPDO 2: receiving\n", output.str());
}

TEST_F(PDOReporterTest, FurtherFramesAreNotReported) {
  receive();
  takeOutput();
  receive();
  receive();
  EXPECT_EQ("", output.str());
}

TEST_F(PDOReporterTest, TimeOutAndReturnAreReportedEachTime) {
  receive();
  takeOutput();
  for (int i = 0; i < 2; ++i) {
    timeOut();
    receiveAfterTimeOut();
    EXPECT_EQ("RPDO 2: reception timed out\nRPDO 2: receiving again\n", takeOutput());
  }
}

TEST_F(PDOReporterTest, TimeOutOfAnRPDOBuiltAnewIsNotReportedAgain) {
  timeOut();
  takeOutput();
  timeOut();
  EXPECT_EQ("", takeOutput());
  receive();
  timeOut();
  takeOutput();
  timeOut();
  EXPECT_EQ("", takeOutput());
}

TEST_F(PDOReporterTest, OtherRPDOsAreNotItsOwn) {
  node.canopen().sendPDOEvent(KQ::PDO_EVENT_RX_RECEIVED, RPDO_2 - 1);
  node.canopen().sendPDOEvent(KQ::PDO_EVENT_RX_TIMEOUT, RPDO_2 + 1);
  EXPECT_EQ("", output.str());
}

}  // namespace
