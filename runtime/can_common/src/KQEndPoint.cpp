#include "KQEndPoint.h"

#include <cstdio>
#include <utility>

#include "KQEndPointManager.h"

namespace KQ {

KQEndPoint::KQEndPoint(std::string uri) : uri_(std::move(uri)) {}

KQEndPoint::~KQEndPoint() {
  KQEndPointManager* manager = manager_.load();
  if (manager != nullptr) {
    manager->removeEndPoint(this);
  }
}

KQEndPointStatistics KQEndPoint::getStatistics() const {
  KQEndPointStatistics statistics;
  statistics.received = counters_.received;
  statistics.sent = counters_.sent;
  statistics.refused = counters_.refused;
  statistics.dropped = counters_.dropped;
  statistics.overruns = counters_.overruns;
  statistics.discarded = counters_.discarded;
  statistics.unacknowledged = counters_.unacknowledged;
  statistics.errorFrames = counters_.errorFrames;
  statistics.errorPassive = counters_.errorPassive;
  statistics.busOff = counters_.busOff;
  const unsigned transitions = getTransitions();
  statistics.disconnects = transitions / 2 + transitions % 2;
  statistics.reconnects = transitions / 2;
  return statistics;
}

void KQEndPoint::setFrameObserver(KQFrameObserver* observer) {
  observer_.store(observer, std::memory_order_release);
  applyFilter();
}

void KQEndPoint::setReceptionFilter(const KQReceptionFilter* filter) {
  {
    const std::lock_guard<std::mutex> lock(filterMutex_);
    filter_ = filter != nullptr ? std::optional<KQReceptionFilter>(*filter) : std::nullopt;
    isFiltered_ = filter != nullptr;
  }
  applyFilter();
}

void KQEndPoint::applyFilter() {
  const std::lock_guard<std::mutex> lock(filterMutex_);
  const bool wantsAll = !filter_ || observer_.load(std::memory_order_acquire) != nullptr;
  doSetFilter(wantsAll ? nullptr : &*filter_);
}

void KQEndPoint::setConnected(bool connected, const char* reason) {
  unsigned transitions = transitions_.load();
  do {
    const bool isUp = transitions % 2 == 0;
    if (isUp == connected) {
      return;
    }
  } while (!transitions_.compare_exchange_weak(transitions, transitions + 1));
  printLine(reason);
  wakeManager();
}

void KQEndPoint::printLine(const char* text) const {
  std::fprintf(stderr, "%s: %s\n", uri_.c_str(), text);
}

void KQEndPoint::wakeManager() const {
  KQEndPointManager* manager = manager_.load();
  if (manager != nullptr) {
    manager->wake();
  }
}

}  // namespace KQ
