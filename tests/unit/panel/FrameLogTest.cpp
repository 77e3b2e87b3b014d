// Covers: the frames that wait to be written.
//
// | subject                                     | functional | robustness                     |
// |---------------------------------------------|------------|--------------------------------|
// | frames come out as they went in, in batches | x          |                                |
// | more than are kept                          |            | the oldest go, and are counted |

#include "FrameLog.h"

#include <gtest/gtest.h>

#include "Frames.h"

namespace {

using panel::FrameLog;
using panel::ObservedFrame;

class FrameLogTest : public testing::Test {
protected:
  void add(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      log.frameTransferred(test::frame("705#05"), false);
    }
  }

  std::size_t takeAll() {
    std::size_t taken = 0;
    do {
      lost += log.take(batch);
      taken += batch.size();
    } while (!batch.empty());
    return taken;
  }

  FrameLog log;
  std::vector<ObservedFrame> batch;
  std::size_t lost = 0;
};

TEST_F(FrameLogTest, FrameComesOutAsItWentIn) {
  log.frameTransferred(test::frame("185#D7 00"), true);
  log.take(batch);
  ASSERT_EQ(1U, batch.size());
  EXPECT_EQ(0x185U, batch[0].message.identifier);
  EXPECT_EQ(2, batch[0].message.length);
  EXPECT_EQ(0xD7, batch[0].message.data[0]);
  EXPECT_TRUE(batch[0].sent);
}

TEST_F(FrameLogTest, TimeDoesNotGoBack) {
  const long long before = log.getNow();
  add(2);
  log.take(batch);
  EXPECT_LE(before, batch[0].microseconds);
  EXPECT_LE(batch[0].microseconds, batch[1].microseconds);
}

TEST_F(FrameLogTest, TheyAreTakenInBatches) {
  add(FrameLog::BATCH + 1);
  log.take(batch);
  EXPECT_EQ(FrameLog::BATCH, batch.size());
  log.take(batch);
  EXPECT_EQ(1U, batch.size());
}

TEST_F(FrameLogTest, FullLogHasLostNothing) {
  add(FrameLog::CAPACITY);
  EXPECT_EQ(FrameLog::CAPACITY, takeAll());
  EXPECT_EQ(0U, lost);
}

TEST_F(FrameLogTest, TheOldestGoAndAreCountedOnce) {
  log.frameTransferred(test::frame("000#01 05"), false);
  add(FrameLog::CAPACITY);
  log.take(batch);
  EXPECT_EQ(0x705U, batch[0].message.identifier);
  EXPECT_EQ(FrameLog::CAPACITY - FrameLog::BATCH, takeAll());
  EXPECT_EQ(0U, lost);
}

TEST_F(FrameLogTest, WhoTakesIsToldOfTheLost) {
  add(FrameLog::CAPACITY + 3);
  EXPECT_EQ(3U, log.take(batch));
  EXPECT_EQ(0U, log.take(batch));
}

TEST_F(FrameLogTest, ClearedLogIsEmpty) {
  add(3);
  log.clear();
  EXPECT_EQ(0U, takeAll());
}

}  // namespace
