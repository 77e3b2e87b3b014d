#include "KQTick.h"

#include <atomic>
#include <chrono>

#include "BoardClock.h"

namespace {

std::atomic<unsigned int (*)()> replacement{nullptr};

}  // namespace

namespace KQ {

unsigned int KQTick::getTickCount() {
  if (auto* const clock = replacement.load()) {
    return clock();
  }
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<unsigned int>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace KQ

void board::setClock(unsigned int (*clock)()) {
  replacement = clock;
}
