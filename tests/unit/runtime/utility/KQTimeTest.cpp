// Covers: KQTime.
//
// | subject | functional                                                | robustness |
// |---------|-----------------------------------------------------------|------------|
// | parts   | noon, midnight, first and last moment of a year, leap day |            |
// | now     | argument 0, own clock of a test, back to the system clock |            |
// | zone    | parts are local time                                      |            |

#include "KQTime.h"

#include <gtest/gtest.h>
#include <cstdlib>
#include <ctime>

#include <optional>
#include <string>

namespace KQ {
namespace {

constexpr long NOON_OF_LEAP_DAY = 1709208000;  // 2024-02-29 12:00:00 UTC

long readLeapDay() {
  return NOON_OF_LEAP_DAY;
}

// Runs with a time zone of its own and puts the process's back.
class Time : public testing::Test {
protected:
  Time() {
    if (const char* zone = getenv("TZ")) {
      zoneBefore = zone;
    }
    useZone("UTC0");
  }

  ~Time() override {
    KQTime::setSource(nullptr);
    if (zoneBefore) {
      useZone(zoneBefore->c_str());
    } else {
      unsetenv("TZ");
      tzset();
    }
  }

  static void useZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }

private:
  std::optional<std::string> zoneBefore;
};

struct Moment {
  const char* name;
  long seconds;
  int year, month, day, hours, minutes, second;
};

class TimeParts : public Time, public testing::WithParamInterface<Moment> {};

TEST_P(TimeParts, AreThoseOfTheMoment) {
  const KQTime time(GetParam().seconds);
  EXPECT_EQ(GetParam().year, time.getYear());
  EXPECT_EQ(GetParam().month, time.getMonth());
  EXPECT_EQ(GetParam().day, time.getDays());
  EXPECT_EQ(GetParam().hours, time.getHours());
  EXPECT_EQ(GetParam().minutes, time.getMinutes());
  EXPECT_EQ(GetParam().second, time.getSeconds());
}

INSTANTIATE_TEST_SUITE_P(Moments, TimeParts,
                         testing::Values(Moment{"SecondOne", 1, 1970, 1, 1, 0, 0, 1},
                                         Moment{"LeapDay", NOON_OF_LEAP_DAY, 2024, 2, 29, 12, 0, 0},
                                         Moment{"LastOfYear", 1704067199, 2023, 12, 31, 23, 59, 59},
                                         Moment{"FirstOfYear", 1704067200, 2024, 1, 1, 0, 0, 0}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Time, IsLocal) {
  useZone("TST-5:30");
  const KQTime time(NOON_OF_LEAP_DAY);
  EXPECT_EQ(17, time.getHours());
  EXPECT_EQ(30, time.getMinutes());
}

TEST_F(Time, ZeroIsNowOfTheClockThatWasPutIn) {
  KQTime::setSource(&readLeapDay);
  const KQTime now(0);
  EXPECT_EQ(2024, now.getYear());
  EXPECT_EQ(2, now.getMonth());
  EXPECT_EQ(29, now.getDays());
  EXPECT_EQ(12, now.getHours());
}

TEST_F(Time, NullPutsTheSystemClockBack) {
  KQTime::setSource(&readLeapDay);
  KQTime::setSource(nullptr);
  const KQTime before(static_cast<long>(time(nullptr)));
  const KQTime now(0);
  const KQTime after(static_cast<long>(time(nullptr)));
  EXPECT_GE(now.getYear(), before.getYear());
  EXPECT_LE(now.getYear(), after.getYear());
}

}  // namespace
}  // namespace KQ
