// Covers: what is counted of the signals of a node.
//
// | subject                                                 | functional | robustness |
// |---------------------------------------------------------|------------|------------|
// | state and its changes; heartbeats missed and back       | x          |            |
// | the signal goes on to the others until one has taken it | x          |            |
// | signals of others, node-IDs that are none               |            | x          |

#include "NodeCounts.h"

#include <gtest/gtest.h>

#include "KQCANopenSignal.h"
#include "KQCANopenState.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "SignalRecorder.h"

namespace {

using panel::NodeCounts;

int tell(NodeCounts& counts, int type, int code, unsigned int first, unsigned int second) {
  KQ::KQSignal signal(type, code, first, second);
  return counts.signalOccurred(signal);
}

TEST(NodeCounts, KnowTheStateAndItsChanges) {
  NodeCounts counts;
  EXPECT_EQ(KQ::CANOPEN_STATE_INIT, counts.getState());
  tell(counts, 6, KQ::SIGNAL_STATE_CHANGED, 5, KQ::CANOPEN_STATE_PRE_OPERATIONAL);
  tell(counts, 6, KQ::SIGNAL_STATE_CHANGED, 5, KQ::CANOPEN_STATE_OPERATIONAL);
  EXPECT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, counts.getState());
  EXPECT_EQ(2U, counts.getStateChanges());
}

TEST(NodeCounts, KnowWhichHeartbeatIsMissing) {
  NodeCounts counts;
  tell(counts, 6, KQ::SIGNAL_HEARTBEAT_TIMEOUT, 127, 17);
  EXPECT_TRUE(counts.isHeartbeatMissing(127));
  EXPECT_FALSE(counts.isHeartbeatMissing(1));
  tell(counts, 6, KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED, 127, 0);
  EXPECT_FALSE(counts.isHeartbeatMissing(127));
  EXPECT_EQ(1U, counts.getHeartbeatTimeouts(127));
}

TEST(NodeCounts, KnowWhichHeartbeatsAreWatched) {
  NodeCounts counts;
  EXPECT_FALSE(counts.isHeartbeatWatched(7));
  tell(counts, 6, KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED, 7, 0);
  EXPECT_TRUE(counts.isHeartbeatWatched(7));
  EXPECT_EQ(0U, counts.getHeartbeatTimeouts(7));
}

TEST(NodeCounts, HandTheSignalOnUntilOneTakesIt) {
  test::SignalRecorder deaf;
  deaf.result = KQ::KQ_NOT_HANDLED;
  test::SignalRecorder first;
  test::SignalRecorder second;
  NodeCounts counts({&deaf, &first, &second});
  EXPECT_EQ(KQ::KQ_OK, tell(counts, 6, KQ::SIGNAL_STATE_CHANGED, 5, 3));
  EXPECT_EQ(1U, deaf.signals.size());
  EXPECT_EQ(1U, first.signals.size());
  EXPECT_EQ(0U, second.signals.size());
}

TEST(NodeCounts, LeaveToNobodyWhatNobodyTakes) {
  test::SignalRecorder deaf;
  deaf.result = KQ::KQ_NOT_HANDLED;
  NodeCounts counts({&deaf});
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, tell(counts, 6, KQ::SIGNAL_STATE_CHANGED, 5, 3));
}

TEST(NodeCounts, IgnoreSignalsOfAnotherType) {
  NodeCounts counts;
  tell(counts, 2, KQ::SIGNAL_STATE_CHANGED, 5, 3);
  EXPECT_EQ(0U, counts.getStateChanges());
}

TEST(NodeCounts, IgnoreHeartbeatsOfNoNode) {
  NodeCounts counts;
  tell(counts, 6, KQ::SIGNAL_HEARTBEAT_TIMEOUT, 128, 17);
  EXPECT_FALSE(counts.isHeartbeatWatched(127));
}

}  // namespace
