#include "KQTick.h"

#include <ctime>

#include <atomic>
#include <cstdint>

namespace KQ {

namespace {

unsigned int readMonotonicClock() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  // The product exceeds 32 bits after 49.7 days; cut off only at the end, so that it wraps cleanly
  // where time_t has 32 bits, too.
  const std::uint64_t milliseconds =
      static_cast<std::uint64_t>(now.tv_sec) * 1000U + static_cast<std::uint64_t>(now.tv_nsec) / 1000000U;
  return static_cast<unsigned int>(milliseconds);
}

std::atomic<KQTick::Source> activeSource{&readMonotonicClock};

}  // namespace

unsigned int KQTick::getTickCount() {
  return activeSource.load(std::memory_order_acquire)();
}

void KQTick::setSource(Source source) {
  activeSource.store(source != nullptr ? source : &readMonotonicClock, std::memory_order_release);
}

}  // namespace KQ
