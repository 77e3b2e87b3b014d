// | covered                                                     | kind       |
// |-------------------------------------------------------------|------------|
// | state and its changes; heartbeats missed and back           | functional |
// | the signal goes on to the others until one has taken it     | functional |
// | signals of others, node-IDs that are none                   | robustness |
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
  EXPECT_EQ(counts.getState(), KQ::CANOPEN_STATE_INIT);
  tell(counts, 6, KQ::SIGNAL_STATE_CHANGED, 5, KQ::CANOPEN_STATE_PRE_OPERATIONAL);
  tell(counts, 6, KQ::SIGNAL_STATE_CHANGED, 5, KQ::CANOPEN_STATE_OPERATIONAL);
  EXPECT_EQ(counts.getState(), KQ::CANOPEN_STATE_OPERATIONAL);
  EXPECT_EQ(counts.getStateChanges(), 2U);
}

TEST(NodeCounts, KnowWhichHeartbeatIsMissing) {
  NodeCounts counts;
  tell(counts, 6, KQ::SIGNAL_HEARTBEAT_TIMEOUT, 127, 17);
  EXPECT_TRUE(counts.isHeartbeatMissing(127));
  EXPECT_FALSE(counts.isHeartbeatMissing(1));
  tell(counts, 6, KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED, 127, 0);
  EXPECT_FALSE(counts.isHeartbeatMissing(127));
  EXPECT_EQ(counts.getHeartbeatTimeouts(127), 1U);
}

TEST(NodeCounts, KnowWhichHeartbeatsAreWatched) {
  NodeCounts counts;
  EXPECT_FALSE(counts.isHeartbeatWatched(7));
  tell(counts, 6, KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED, 7, 0);
  EXPECT_TRUE(counts.isHeartbeatWatched(7));
  EXPECT_EQ(counts.getHeartbeatTimeouts(7), 0U);
}

TEST(NodeCounts, HandTheSignalOnUntilOneTakesIt) {
  test::SignalRecorder deaf;
  deaf.result = KQ::KQ_NOT_HANDLED;
  test::SignalRecorder first;
  test::SignalRecorder second;
  NodeCounts counts({&deaf, &first, &second});
  EXPECT_EQ(tell(counts, 6, KQ::SIGNAL_STATE_CHANGED, 5, 3), KQ::KQ_OK);
  EXPECT_EQ(deaf.signals.size(), 1U);
  EXPECT_EQ(first.signals.size(), 1U);
  EXPECT_EQ(second.signals.size(), 0U);
}

TEST(NodeCounts, LeaveToNobodyWhatNobodyTakes) {
  test::SignalRecorder deaf;
  deaf.result = KQ::KQ_NOT_HANDLED;
  NodeCounts counts({&deaf});
  EXPECT_EQ(tell(counts, 6, KQ::SIGNAL_STATE_CHANGED, 5, 3), KQ::KQ_NOT_HANDLED);
}

TEST(NodeCounts, IgnoreSignalsOfAnotherType) {
  NodeCounts counts;
  tell(counts, 2, KQ::SIGNAL_STATE_CHANGED, 5, 3);
  EXPECT_EQ(counts.getStateChanges(), 0U);
}

TEST(NodeCounts, IgnoreHeartbeatsOfNoNode) {
  NodeCounts counts;
  tell(counts, 6, KQ::SIGNAL_HEARTBEAT_TIMEOUT, 128, 17);
  EXPECT_FALSE(counts.isHeartbeatWatched(127));
}

}  // namespace
