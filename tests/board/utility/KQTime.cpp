#include "KQTime.h"

#include "BoardTime.h"

namespace {

long (*wallClock)() = nullptr;

std::time_t now() {
  return wallClock != nullptr ? wallClock() : std::time(nullptr);
}

}  // namespace

void board::setWallClock(long (*clock)()) {
  wallClock = clock;
}

namespace KQ {

KQTime::KQTime(long secondsSinceEpoch) : parts() {
  const std::time_t moment = secondsSinceEpoch == 0 ? now() : secondsSinceEpoch;
  localtime_r(&moment, &parts);
}

int KQTime::getHours() const {
  return parts.tm_hour;
}

int KQTime::getMinutes() const {
  return parts.tm_min;
}

int KQTime::getDays() const {
  return parts.tm_mday;
}

int KQTime::getMonth() const {
  return parts.tm_mon + 1;
}

int KQTime::getYear() const {
  return parts.tm_year + 1900;
}

}  // namespace KQ
