#pragma once

namespace KQ {

/// The millisecond clock from which all times are taken.
class KQTick {
public:
  /// A clock: milliseconds since any moment, 32 bits, wrapping. Called from any thread that asks for the time.
  using Source = unsigned int (*)();

  /// The milliseconds that have passed since some fixed moment, wrapping after 2^32 ms (about 49.7
  /// days): the difference of two ticks is right across the wrap. Comes from the monotonic clock, so
  /// that a step of the wall clock never shows. May be called from any thread.
  static unsigned int getTickCount();

  /// Puts another clock in place for the whole process, so that a test moves the time itself.
  /// @param source  null: back to the monotonic clock. Must stay callable until it is replaced.
  /// May be called from any thread; a call of getTickCount in progress may still use the previous clock.
  static void setSource(Source source);
};

}  // namespace KQ
