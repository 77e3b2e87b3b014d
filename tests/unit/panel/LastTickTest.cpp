// Covers: the last tick before the wrap, which is held.
//
// | subject                                                  | functional | robustness |
// |----------------------------------------------------------|------------|------------|
// | the wrap is seen once, and nothing else is taken for it  | x          |            |
// | the tick stands while it is held, and goes on afterwards | x          |            |

#include "LastTick.h"

#include <gtest/gtest.h>

namespace {

unsigned int readTestTick() {
  return 7;
}

TEST(LastTick, HasNotPassedWhileTheTickGoesOn) {
  panel::LastTick lastTick;
  for (const unsigned int tick : {5U, 5U, 6U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(lastTick.hasPassed(tick)) << tick;
  }
}

TEST(LastTick, HasPassedOnceWhenTheTickBeginsAnew) {
  panel::LastTick lastTick;
  lastTick.hasPassed(0xFFFFFFF0U);
  EXPECT_TRUE(lastTick.hasPassed(3));
  EXPECT_FALSE(lastTick.hasPassed(4));
}

TEST(LastTick, IsToldWhileItIsHeld) {
  KQ::KQTick::setSource(&readTestTick);
  {
    const panel::LastTick::Hold hold(&readTestTick);
    EXPECT_EQ(0xFFFFFFFFU, KQ::KQTick::getTickCount());
  }
  EXPECT_EQ(7U, KQ::KQTick::getTickCount());
  KQ::KQTick::setSource(nullptr);
}

}  // namespace
