#include "KQEndPointManager.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "KQEndPoint.h"
#include "KQEndPointListener.h"
#include "TickDelay.h"

namespace KQ {

namespace {

// Stands for the descriptor that ends a wait, where an entry's address stands for the others.
constexpr void* WAKE_KEY = nullptr;
constexpr int UNREAD_PAUSE_MS = 10;
constexpr int EVENTS_PER_WAIT = 32;

}  // namespace

// One thing that is served: an end point, a descriptor, or a service. What does not apply is empty.
struct KQEndPointManager::Entry {
  int descriptor{-1};
  unsigned interest{0};  // events that epoll watches for
  bool watched{false};   // epoll knows the descriptor
  bool removed{false};
  KQTimedService* service{nullptr};

  DescriptorCallback callback;

  KQEndPoint* endPoint{nullptr};
  KQEndPointListener* listener{nullptr};
  unsigned reportedTransitions{0};
  bool announced{false};  // in this wait
  bool unread{false};     // the listener did not even try to read when frames were announced
  bool paused{false};     // because of that, nothing is announced in this wait
};

KQEndPointManager::KQEndPointManager()
    : epoll(epoll_create1(EPOLL_CLOEXEC)), wakeDescriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.ptr = WAKE_KEY;
  epoll_ctl(epoll, EPOLL_CTL_ADD, wakeDescriptor, &event);
}

KQEndPointManager::~KQEndPointManager() {
  for (const auto& entry : entries) {
    if (!entry->removed && entry->endPoint != nullptr) {
      entry->endPoint->manager_ = nullptr;
    }
  }
  close(epoll);
  close(wakeDescriptor);
}

int KQEndPointManager::addEndPoint(KQEndPoint* endPoint, KQEndPointListener* listener) {
  if (endPoint == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  KQEndPointManager* none = nullptr;
  if (!endPoint->manager_.compare_exchange_strong(none, this)) {
    return KQ_ALREADY_EXISTS;
  }
  auto entry = std::make_unique<Entry>();
  entry->endPoint = endPoint;
  entry->service = endPoint;
  entry->listener = listener;
  entry->descriptor = endPoint->getDescriptor();
  const unsigned transitions = endPoint->getTransitions();
  entry->reportedTransitions = transitions - transitions % 2;
  const int result = insert(std::move(entry), EPOLLIN);
  if (result != KQ_OK) {
    endPoint->manager_ = nullptr;
  }
  return result;
}

int KQEndPointManager::removeEndPoint(KQEndPoint* endPoint) {
  Entry* const entry = find([endPoint](const Entry& each) { return each.endPoint == endPoint; });
  if (endPoint == nullptr || entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  endPoint->manager_ = nullptr;
  endPoint->readsLeft_ = KQEndPoint::NO_LIMIT;
  erase(*entry);
  return KQ_OK;
}

int KQEndPointManager::addDescriptor(int descriptor, unsigned events, DescriptorCallback callback) {
  if (descriptor < 0 || !callback) {
    return KQ_INVALID_ARGUMENT;
  }
  if (findDescriptor(descriptor) != nullptr) {
    return KQ_ALREADY_EXISTS;
  }
  auto entry = std::make_unique<Entry>();
  entry->descriptor = descriptor;
  entry->callback = std::move(callback);
  return insert(std::move(entry), events);
}

int KQEndPointManager::modifyDescriptor(int descriptor, unsigned events) {
  Entry* const entry = findDescriptor(descriptor);
  if (entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  return watch(*entry, events) ? KQ_OK : KQ_INVALID_ARGUMENT;
}

int KQEndPointManager::removeDescriptor(int descriptor) {
  Entry* const entry = findDescriptor(descriptor);
  if (entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  erase(*entry);
  return KQ_OK;
}

int KQEndPointManager::addService(KQTimedService* service) {
  if (service == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  if (find([service](const Entry& each) { return each.service == service; }) != nullptr) {
    return KQ_ALREADY_EXISTS;
  }
  auto entry = std::make_unique<Entry>();
  entry->service = service;
  return insert(std::move(entry), 0);
}

int KQEndPointManager::removeService(KQTimedService* service) {
  Entry* const entry =
      find([service](const Entry& each) { return each.service == service && each.endPoint == nullptr; });
  if (service == nullptr || entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  erase(*entry);
  return KQ_OK;
}

int KQEndPointManager::wait(int timeoutMs) {
  ++waits;
  int served = serveEvents(prepare(timeoutMs));
  served += serveUnasked();
  --waits;
  deleteErased();
  return served;
}

void KQEndPointManager::wake() {
  const std::uint64_t one = 1;
  // Fails only when the counter is at its end, and then the descriptor is readable anyway.
  [[maybe_unused]] const ssize_t written = write(wakeDescriptor, &one, sizeof one);
}

template <class Predicate>
KQEndPointManager::Entry* KQEndPointManager::find(Predicate predicate) const {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [&predicate](const auto& entry) { return !entry->removed && predicate(*entry); });
  return found != entries.end() ? found->get() : nullptr;
}

KQEndPointManager::Entry* KQEndPointManager::findDescriptor(int descriptor) const {
  return find([descriptor](const Entry& each) { return each.callback && each.descriptor == descriptor; });
}

int KQEndPointManager::insert(std::unique_ptr<Entry> entry, unsigned events) {
  const bool waitable = entry->descriptor >= 0;
  if (waitable && !watch(*entry, events)) {
    return KQ_INVALID_ARGUMENT;
  }
  entries.push_back(std::move(entry));
  return KQ_OK;
}

// The entry itself may be in work, or an event of it be waiting for its turn.
void KQEndPointManager::erase(Entry& entry) {
  entry.removed = true;
  hasErased = true;
  unwatch(entry);
  deleteErased();
}

void KQEndPointManager::deleteErased() {
  if (!hasErased || waits > 0) {
    return;
  }
  const auto isErased = [](const auto& entry) { return entry->removed; };
  entries.erase(std::remove_if(entries.begin(), entries.end(), isErased), entries.end());
  hasErased = false;
}

bool KQEndPointManager::watch(Entry& entry, unsigned events) {
  if (entry.watched && entry.interest == events) {
    return true;
  }
  epoll_event event{};
  event.events = events;
  event.data.ptr = &entry;
  if (epoll_ctl(epoll, entry.watched ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, entry.descriptor, &event) != 0) {
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
  epoll_ctl(epoll, EPOLL_CTL_DEL, entry.descriptor, nullptr);
  entry.watched = false;
}

// Begins a turn. @return how long it may wait
int KQEndPointManager::prepare(int timeoutMs) {
  int delay = timeoutMs;
  for (const auto& entry : entries) {
    if (entry->removed || entry->service == nullptr) {
      continue;
    }
    delay = shorterDelay(delay, entry->service->getServiceDelay());
    if (entry->endPoint != nullptr) {
      delay = shorterDelay(delay, prepareEndPoint(*entry, timeoutMs == 0));
    }
  }
  return delay;
}

// Watches what is of interest in this turn. @return how long the end point lets the turn wait
int KQEndPointManager::prepareEndPoint(Entry& entry, bool polled) {
  const KQEndPoint& endPoint = *entry.endPoint;
  entry.announced = false;
  entry.paused = entry.unread && !polled;
  entry.unread = false;
  const unsigned readable = entry.paused ? 0U : static_cast<unsigned>(EPOLLIN);
  const unsigned writable = endPoint.wantsWritable() ? static_cast<unsigned>(EPOLLOUT) : 0U;
  if (entry.descriptor >= 0) {
    if ((readable | writable) != 0) {
      watch(entry, readable | writable);
    } else {
      // Without any interest epoll would still report an error condition, again and again.
      unwatch(entry);
    }
  }
  if (endPoint.getTransitions() != entry.reportedTransitions) {
    return 0;
  }
  if (entry.paused) {
    return UNREAD_PAUSE_MS;
  }
  return endPoint.hasBufferedFrames() ? 0 : -1;
}

int KQEndPointManager::serveEvents(int timeoutMs) {
  epoll_event events[EVENTS_PER_WAIT];
  int number = epoll_wait(epoll, events, EVENTS_PER_WAIT, timeoutMs);
  if (number < 0 && errno == EINTR) {
    // A signal, or a process that was stopped and goes on: what has come meanwhile is not left for later.
    number = epoll_wait(epoll, events, EVENTS_PER_WAIT, 0);
  }
  int served = 0;
  for (int i = 0; i < number; ++i) {
    if (events[i].data.ptr == WAKE_KEY) {
      std::uint64_t ignored = 0;
      [[maybe_unused]] const ssize_t count = read(wakeDescriptor, &ignored, sizeof ignored);
      continue;
    }
    Entry& entry = *static_cast<Entry*>(events[i].data.ptr);
    served += entry.removed ? 0 : serve(entry, events[i].events);
  }
  return served;
}

int KQEndPointManager::serve(Entry& entry, unsigned events) {
  if (entry.endPoint == nullptr) {
    entry.callback(events);
    return 1;
  }
  if ((events & static_cast<unsigned>(EPOLLOUT)) != 0) {
    entry.endPoint->flush();
  }
  const bool readable = (events & ~static_cast<unsigned>(EPOLLOUT)) != 0;
  return readable && entry.endPoint->prepareRead() ? announceFrames(entry) : 0;
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

// Ends a turn with what no event tells of: frames taken in a batch, services, ports that went and came. Callbacks may
// add entries meanwhile.
int KQEndPointManager::serveUnasked() {
  int served = 0;
  // NOLINTNEXTLINE(modernize-loop-convert): the entries may move in memory meanwhile
  for (std::size_t i = 0; i < entries.size(); ++i) {
    Entry& entry = *entries[i];
    if (entry.removed || entry.service == nullptr) {
      continue;
    }
    if (entry.endPoint != nullptr && !entry.announced && !entry.paused && entry.endPoint->hasBufferedFrames()) {
      served += announceFrames(entry);
    }
    if (!entry.removed && entry.service->getServiceDelay() == 0) {
      entry.service->service();
    }
    if (entry.endPoint != nullptr) {
      reportTransitions(entry);
    }
  }
  return served;
}

void KQEndPointManager::reportTransitions(Entry& entry) {
  while (!entry.removed && entry.reportedTransitions != entry.endPoint->getTransitions()) {
    ++entry.reportedTransitions;
    if (entry.listener == nullptr) {
      continue;
    }
    if (entry.reportedTransitions % 2 == 1) {
      entry.listener->onEndPointDisconnected(entry.endPoint);
    } else {
      entry.listener->onEndPointReconnected(entry.endPoint);
    }
  }
}

}  // namespace KQ
