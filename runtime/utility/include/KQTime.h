#pragma once

namespace KQ {

/// A moment in local time, by its parts. A plain value.
class KQTime {
public:
  /// A wall clock: seconds since 1970-01-01 00:00:00 UTC. Called from any thread that asks for the time.
  using Source = long (*)();

  /// @param secondsSinceEpoch  the moment, in seconds since 1970-01-01 00:00:00 UTC; 0: now.
  /// May be called from any thread; the time zone is the process's.
  explicit KQTime(long secondsSinceEpoch);

  /// 0 to 23.
  int getHours() const { return hours; }
  /// 0 to 59.
  int getMinutes() const { return minutes; }
  /// 0 to 59, 60 in a leap second.
  int getSeconds() const { return seconds; }
  /// Day of the month, 1 to 31.
  int getDays() const { return days; }
  /// 1 to 12.
  int getMonth() const { return month; }
  /// All digits, for example 2024.
  int getYear() const { return year; }

  /// Puts another clock in place for the whole process, which then says what "now" is.
  /// @param source  null: back to the system's clock. Must stay callable until it is replaced.
  /// May be called from any thread.
  static void setSource(Source source);

private:
  int hours;
  int minutes;
  int seconds;
  int days;
  int month;
  int year;
};

}  // namespace KQ
