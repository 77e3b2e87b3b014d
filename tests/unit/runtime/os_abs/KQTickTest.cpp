// Covers: KQTick.
//
// | subject | functional                                                        | robustness |
// |---------|-------------------------------------------------------------------|------------|
// | clock   | own clock of a test, wrap of 32 bits, back to the monotonic clock |            |

#include "KQTick.h"

#include <gtest/gtest.h>

#include <chrono>

namespace KQ {
namespace {

unsigned int testTick = 0;

unsigned int readTestTick() {
  return testTick;
}

class Tick : public testing::Test {
protected:
  ~Tick() override { KQTick::setSource(nullptr); }
};

// Milliseconds of the monotonic clock as the standard library gives them.
unsigned int steadyMilliseconds() {
  using std::chrono::duration_cast;
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<unsigned int>(duration_cast<std::chrono::milliseconds>(now).count());
}

void expectMonotonicClock() {
  const unsigned int before = steadyMilliseconds();
  const unsigned int tick = KQTick::getTickCount();
  const unsigned int after = steadyMilliseconds();
  EXPECT_LE(tick - before, after - before);
}

TEST_F(Tick, CountsMillisecondsOfTheMonotonicClock) {
  expectMonotonicClock();
}

TEST_F(Tick, ComesFromTheClockThatWasPutIn) {
  KQTick::setSource(&readTestTick);
  testTick = 99;
  EXPECT_EQ(99U, KQTick::getTickCount());
  testTick = 100;
  EXPECT_EQ(100U, KQTick::getTickCount());
}

TEST_F(Tick, DifferenceIsRightAcrossTheWrap) {
  KQTick::setSource(&readTestTick);
  testTick = 0xFFFFFFFEU;
  const unsigned int before = KQTick::getTickCount();
  testTick += 5;
  EXPECT_EQ(3U, KQTick::getTickCount());
  EXPECT_EQ(5U, KQTick::getTickCount() - before);
}

TEST_F(Tick, NullPutsTheMonotonicClockBack) {
  KQTick::setSource(&readTestTick);
  KQTick::setSource(nullptr);
  expectMonotonicClock();
}

}  // namespace
}  // namespace KQ
