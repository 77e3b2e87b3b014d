#pragma once

namespace test {

/// While one lives, KQTick tells the time that the test sets. It starts at 10000 ms.
class TestClock {
public:
  explicit TestClock(unsigned int start = 10000);
  ~TestClock();
  TestClock(const TestClock&) = delete;
  TestClock& operator=(const TestClock&) = delete;

  void advance(unsigned int milliseconds);
  void set(unsigned int tick);
  unsigned int now() const;

  /// Every further reading of the clock moves it on by itself: the time that work takes.
  void advanceOnEveryReading(unsigned int milliseconds);

  /// How often the clock was read since the test began.
  unsigned int readings() const;
};

}  // namespace test
