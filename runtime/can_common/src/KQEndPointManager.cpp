#include "KQEndPointManager.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "KQEndPoint.h"
#include "KQEndPointListener.h"
#include "KQTickDelay.h"

namespace KQ {

namespace {

constexpr std::uint64_t WAKE_KEY = 0;
constexpr int UNREAD_PAUSE_MS = 10;
constexpr int EVENTS_PER_WAIT = 32;

}  // namespace

/// One thing that is served: an end point, a descriptor, or a service. What does not apply is empty.
struct KQEndPointManager::Entry {
  std::uint64_t key{0};
  int descriptor{-1};
  unsigned interest{0};  ///< events that epoll watches for
  bool watched{false};   ///< epoll knows the descriptor
  bool removed{false};
  KQTimedService* service{nullptr};

  DescriptorCallback callback;

  KQEndPoint* endPoint{nullptr};
  KQEndPointListener* listener{nullptr};
  unsigned reportedTransitions{0};
  bool announced{false};  ///< in this wait
  bool unread{false};     ///< the listener did not even try to read when frames were announced
  bool paused{false};     ///< because of that, nothing is announced in this wait
};

KQEndPointManager::KQEndPointManager()
    : epoll_(epoll_create1(EPOLL_CLOEXEC)), wake_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = WAKE_KEY;
  epoll_ctl(epoll_, EPOLL_CTL_ADD, wake_, &event);
}

KQEndPointManager::~KQEndPointManager() {
  for (const auto& [key, entry] : entries_) {
    if (entry->endPoint != nullptr) {
      entry->endPoint->manager_ = nullptr;
    }
  }
  close(epoll_);
  close(wake_);
}

int KQEndPointManager::addEndPoint(KQEndPoint* endPoint, KQEndPointListener* listener) {
  if (endPoint == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  KQEndPointManager* none = nullptr;
  if (!endPoint->manager_.compare_exchange_strong(none, this)) {
    return KQ_ALREADY_EXISTS;
  }
  auto entry = std::make_shared<Entry>();
  entry->endPoint = endPoint;
  entry->service = endPoint;
  entry->listener = listener;
  entry->descriptor = endPoint->getDescriptor();
  const unsigned transitions = endPoint->getTransitions();
  entry->reportedTransitions = transitions - transitions % 2;
  const int result = insert(entry, EPOLLIN);
  if (result != KQ_OK) {
    endPoint->manager_ = nullptr;
  }
  return result;
}

int KQEndPointManager::removeEndPoint(KQEndPoint* endPoint) {
  const EntryPointer entry = find([endPoint](const Entry& each) { return each.endPoint == endPoint; });
  if (endPoint == nullptr || entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  endPoint->manager_ = nullptr;
  endPoint->readsLeft_ = KQEndPoint::NO_LIMIT;
  erase(entry);
  return KQ_OK;
}

int KQEndPointManager::addDescriptor(int descriptor, unsigned events, DescriptorCallback callback) {
  if (descriptor < 0 || !callback) {
    return KQ_INVALID_ARGUMENT;
  }
  if (findDescriptor(descriptor) != nullptr) {
    return KQ_ALREADY_EXISTS;
  }
  auto entry = std::make_shared<Entry>();
  entry->descriptor = descriptor;
  entry->callback = std::move(callback);
  return insert(entry, events);
}

int KQEndPointManager::modifyDescriptor(int descriptor, unsigned events) {
  const EntryPointer entry = findDescriptor(descriptor);
  if (entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  return watch(*entry, events) ? KQ_OK : KQ_INVALID_ARGUMENT;
}

int KQEndPointManager::removeDescriptor(int descriptor) {
  const EntryPointer entry = findDescriptor(descriptor);
  if (entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  erase(entry);
  return KQ_OK;
}

int KQEndPointManager::addService(KQTimedService* service) {
  if (service == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  if (find([service](const Entry& each) { return each.service == service; }) != nullptr) {
    return KQ_ALREADY_EXISTS;
  }
  auto entry = std::make_shared<Entry>();
  entry->service = service;
  return insert(entry, 0);
}

int KQEndPointManager::removeService(KQTimedService* service) {
  const EntryPointer entry =
      find([service](const Entry& each) { return each.service == service && each.endPoint == nullptr; });
  if (service == nullptr || entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  erase(entry);
  return KQ_OK;
}

int KQEndPointManager::wait(int timeoutMs) {
  beginTurn(timeoutMs == 0);
  int served = serveEvents(limitWait(timeoutMs));
  served += serveBuffered();
  runServices();
  reportTransitions();
  return served;
}

void KQEndPointManager::wake() {
  const std::uint64_t one = 1;
  // Fails only when the counter is at its end, and then the descriptor is readable anyway.
  [[maybe_unused]] const ssize_t written = write(wake_, &one, sizeof one);
}

template <class Predicate>
KQEndPointManager::EntryPointer KQEndPointManager::find(Predicate predicate) const {
  for (const auto& [key, entry] : entries_) {
    if (predicate(*entry)) {
      return entry;
    }
  }
  return nullptr;
}

KQEndPointManager::EntryPointer KQEndPointManager::findDescriptor(int descriptor) const {
  return find([descriptor](const Entry& each) { return each.callback && each.descriptor == descriptor; });
}

/// Visits all entries, also when the visitor adds and removes some.
template <class Visitor>
void KQEndPointManager::forEachEntry(Visitor visit) {
  for (auto position = entries_.begin(); position != entries_.end();) {
    const EntryPointer entry = position->second;
    visit(entry);
    position = entries_.upper_bound(entry->key);
  }
}

int KQEndPointManager::insert(const EntryPointer& entry, unsigned events) {
  entry->key = nextKey_++;
  const bool waitable = entry->descriptor >= 0;
  if (waitable && !watch(*entry, events)) {
    return KQ_INVALID_ARGUMENT;
  }
  entries_.emplace(entry->key, entry);
  return KQ_OK;
}

void KQEndPointManager::erase(const EntryPointer& entry) {
  entry->removed = true;
  unwatch(*entry);
  entries_.erase(entry->key);
}

bool KQEndPointManager::watch(Entry& entry, unsigned events) {
  if (entry.watched && entry.interest == events) {
    return true;
  }
  epoll_event event{};
  event.events = events;
  event.data.u64 = entry.key;
  if (epoll_ctl(epoll_, entry.watched ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, entry.descriptor, &event) != 0) {
    return false;
  }
  entry.watched = true;
  entry.interest = events;
  return true;
}

void KQEndPointManager::unwatch(Entry& entry) {
  if (!entry.watched) {
    return;
  }
  epoll_ctl(epoll_, EPOLL_CTL_DEL, entry.descriptor, nullptr);
  entry.watched = false;
}

void KQEndPointManager::beginTurn(bool polled) {
  for (const auto& [key, entry] : entries_) {
    if (entry->endPoint == nullptr) {
      continue;
    }
    entry->announced = false;
    entry->paused = entry->unread && !polled;
    entry->unread = false;
    const unsigned readable = entry->paused ? 0U : static_cast<unsigned>(EPOLLIN);
    const unsigned writable = entry->endPoint->wantsWritable() ? static_cast<unsigned>(EPOLLOUT) : 0U;
    if (entry->descriptor < 0) {
      continue;
    }
    if ((readable | writable) != 0) {
      watch(*entry, readable | writable);
    } else {
      // Without any interest epoll would still report an error condition, again and again.
      unwatch(*entry);
    }
  }
}

int KQEndPointManager::limitWait(int timeoutMs) const {
  int delay = timeoutMs;
  for (const auto& [key, entry] : entries_) {
    if (entry->service != nullptr) {
      delay = shorterDelay(delay, entry->service->getServiceDelay());
    }
    if (entry->endPoint == nullptr) {
      continue;
    }
    if (entry->paused) {
      delay = shorterDelay(delay, UNREAD_PAUSE_MS);
    } else if (entry->endPoint->hasBufferedFrames()) {
      return 0;
    }
    if (entry->endPoint->getTransitions() != entry->reportedTransitions) {
      return 0;
    }
  }
  return delay;
}

int KQEndPointManager::serveEvents(int timeoutMs) {
  epoll_event events[EVENTS_PER_WAIT];
  const int number = epoll_wait(epoll_, events, EVENTS_PER_WAIT, timeoutMs);
  int served = 0;
  for (int i = 0; i < number; ++i) {
    if (events[i].data.u64 == WAKE_KEY) {
      std::uint64_t ignored = 0;
      [[maybe_unused]] const ssize_t count = read(wake_, &ignored, sizeof ignored);
      continue;
    }
    const auto found = entries_.find(events[i].data.u64);
    if (found != entries_.end()) {
      const EntryPointer entry = found->second;  // stays alive while it is called, even if it removes itself
      served += serve(entry, events[i].events);
    }
  }
  return served;
}

int KQEndPointManager::serve(const EntryPointer& entry, unsigned events) {
  if (entry->endPoint == nullptr) {
    entry->callback(events);
    return 1;
  }
  if ((events & static_cast<unsigned>(EPOLLOUT)) != 0) {
    entry->endPoint->flush();
  }
  const bool readable = (events & ~static_cast<unsigned>(EPOLLOUT)) != 0;
  return readable && entry->endPoint->prepareRead() ? announceFrames(*entry) : 0;
}

int KQEndPointManager::announceFrames(Entry& entry) {
  entry.announced = true;
  KQEndPoint& endPoint = *entry.endPoint;
  endPoint.readsLeft_ = FRAMES_PER_WAIT;
  if (entry.listener != nullptr) {
    entry.listener->onEndPointReadable(&endPoint, this);
  }
  if (!entry.removed) {
    entry.unread = endPoint.readsLeft_ == FRAMES_PER_WAIT;
    endPoint.readsLeft_ = KQEndPoint::NO_LIMIT;
  }
  return entry.listener != nullptr ? 1 : 0;
}

int KQEndPointManager::serveBuffered() {
  int served = 0;
  forEachEntry([this, &served](const EntryPointer& entry) {
    if (entry->endPoint != nullptr && !entry->announced && !entry->paused && entry->endPoint->hasBufferedFrames()) {
      served += announceFrames(*entry);
    }
  });
  return served;
}

void KQEndPointManager::runServices() {
  forEachEntry([](const EntryPointer& entry) {
    if (entry->service != nullptr && entry->service->getServiceDelay() == 0) {
      entry->service->service();
    }
  });
}

void KQEndPointManager::reportTransitions() {
  forEachEntry([](const EntryPointer& entry) {
    while (!entry->removed && entry->endPoint != nullptr &&
           entry->reportedTransitions != entry->endPoint->getTransitions()) {
      ++entry->reportedTransitions;
      if (entry->listener == nullptr) {
        continue;
      }
      if (entry->reportedTransitions % 2 == 1) {
        entry->listener->onEndPointDisconnected(entry->endPoint);
      } else {
        entry->listener->onEndPointReconnected(entry->endPoint);
      }
    }
  });
}

}  // namespace KQ
