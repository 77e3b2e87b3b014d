#include "FrameFanOut.h"

#include <algorithm>

#include "KQEndPoint.h"

namespace panel {

bool FrameFanOut::add(KQ::KQFrameObserver& observer) {
  const auto is = [](const KQ::KQFrameObserver* wanted) { return [wanted](const auto& one) { return one == wanted; }; };
  if (std::any_of(observers.begin(), observers.end(), is(&observer))) {
    return true;
  }
  const auto place = std::find_if(observers.begin(), observers.end(), is(nullptr));
  if (place == observers.end()) {
    return false;
  }
  *place = &observer;
  attach();
  return true;
}

void FrameFanOut::remove(const KQ::KQFrameObserver& observer) {
  for (auto& place : observers) {
    if (place == &observer) {
      place = nullptr;
    }
  }
  attach();
}

// The end point filters nothing while it has an observer: each frame on the bus is read.
void FrameFanOut::attach() {
  const bool isWatched =
      std::any_of(observers.begin(), observers.end(), [](const auto& one) { return one != nullptr; });
  port.setFrameObserver(isWatched ? this : nullptr);
}

void FrameFanOut::frameTransferred(const KQ::KQCANMessage& message, bool sent) {
  for (const auto& place : observers) {
    KQ::KQFrameObserver* const observer = place.load(std::memory_order_acquire);
    if (observer != nullptr) {
      observer->frameTransferred(message, sent);
    }
  }
}

}  // namespace panel
