#include "FrameLog.h"

#include <algorithm>
#include <chrono>

namespace panel {

namespace {

template <typename Clock>
long long getMicroseconds() {
  return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch()).count();
}

}  // namespace

FrameLog::FrameLog()
    : clockOffset(getMicroseconds<std::chrono::system_clock>() - getMicroseconds<std::chrono::steady_clock>()),
      frames(CAPACITY) {}

long long FrameLog::getNow() const {
  return getMicroseconds<std::chrono::steady_clock>() + clockOffset;
}

void FrameLog::frameTransferred(const KQ::KQCANMessage& message, bool sent) {
  const long long now = getNow();
  const std::lock_guard<std::mutex> lock(mutex);
  if (count == CAPACITY) {
    begin = (begin + 1) % CAPACITY;
    --count;
    ++lost;
  }
  ObservedFrame& frame = frames[(begin + count++) % CAPACITY];
  frame.microseconds = now;
  frame.message = message;
  frame.sent = sent;
}

std::size_t FrameLog::take(std::vector<ObservedFrame>& batch) {
  batch.clear();
  batch.reserve(BATCH);
  const std::lock_guard<std::mutex> lock(mutex);
  const std::size_t taken = std::min(count, BATCH);
  for (std::size_t i = 0; i < taken; ++i) {
    batch.push_back(frames[(begin + i) % CAPACITY]);
  }
  begin = (begin + taken) % CAPACITY;
  count -= taken;
  const std::size_t missing = lost;
  lost = 0;
  return missing;
}

void FrameLog::clear() {
  const std::lock_guard<std::mutex> lock(mutex);
  count = 0;
  lost = 0;
}

}  // namespace panel
