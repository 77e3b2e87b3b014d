#include "KQTime.h"

#include <ctime>

#include <atomic>

namespace KQ {

namespace {

long readSystemClock() {
  return static_cast<long>(time(nullptr));
}

std::atomic<KQTime::Source> activeSource{&readSystemClock};

constexpr int FIRST_YEAR = 1900;  // of the C library's calendar

}  // namespace

KQTime::KQTime(long secondsSinceEpoch) {
  const time_t moment = secondsSinceEpoch != 0 ? secondsSinceEpoch : activeSource.load(std::memory_order_acquire)();
  tm parts{};
  localtime_r(&moment, &parts);
  hours = parts.tm_hour;
  minutes = parts.tm_min;
  seconds = parts.tm_sec;
  days = parts.tm_mday;
  month = parts.tm_mon + 1;
  year = parts.tm_year + FIRST_YEAR;
}

void KQTime::setSource(Source source) {
  activeSource.store(source != nullptr ? source : &readSystemClock, std::memory_order_release);
}

}  // namespace KQ
