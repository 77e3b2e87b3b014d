#include "TestClock.h"

#include <atomic>

#include "Edition.h"

namespace test {

namespace {

// Atomic, since application threads of a test may read the clock while the test moves it.
std::atomic<unsigned int> currentTick{0};
std::atomic<unsigned int> stepPerReading{0};
std::atomic<unsigned int> readingCount{0};

unsigned int readTick() {
  ++readingCount;
  return currentTick.fetch_add(stepPerReading.load());
}

}  // namespace

TestClock::TestClock(unsigned int start) {
  currentTick = start;
  stepPerReading = 0;
  readingCount = 0;
  edition::setClock(readTick);
}

TestClock::~TestClock() {
  edition::setClock(nullptr);
}

void TestClock::advance(unsigned int milliseconds) {
  currentTick += milliseconds;
}

void TestClock::set(unsigned int tick) {
  currentTick = tick;
}

unsigned int TestClock::now() const {
  return currentTick;
}

void TestClock::advanceOnEveryReading(unsigned int milliseconds) {
  stepPerReading = milliseconds;
}

unsigned int TestClock::readings() const {
  return readingCount;
}

}  // namespace test
