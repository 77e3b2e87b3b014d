#include "KQVariableEventDispatcher.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "InsertOnlyTable.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "VariableMapping.h"

namespace KQ {

namespace {

bool contains(const ListenerList* list, const KQSignalListener* listener) {
  return list != nullptr && std::find(list->begin(), list->end(), listener) != list->end();
}

}  // namespace

// A list that was replaced may still be read by a dispatch in progress. It is put aside and deleted
// at a moment after its replacement at which no dispatch is in progress: whoever starts later can
// only find the new list. Both sides use sequentially consistent operations, so that "the list was
// replaced, then the count was zero" and "the count was raised, then the list was read" cannot both
// miss each other.
struct KQVariableEventDispatcher::Registry {
  using Lock = InsertOnlyTable<Mapping>::WriterLock;

  ~Registry() {
    const Lock lock(mutex);
    for (const auto& mapping : table.nodes(lock)) {
      delete mapping->listeners.load();
    }
  }

  void replace(Mapping& mapping, std::unique_ptr<const ListenerList> list, const Lock& lock) {
    const ListenerList* replaced = mapping.listeners.exchange(list.release());
    if (replaced == nullptr) {
      return;
    }
    retired.emplace_back(replaced);
    hasRetired.store(true);
    reclaim(lock);
  }

  bool remove(Mapping& mapping, const KQSignalListener* listener, const Lock& lock) {
    const ListenerList* list = mapping.listeners.load();
    if (!contains(list, listener)) {
      return false;
    }
    auto rest = std::make_unique<ListenerList>(*list);
    rest->erase(std::find(rest->begin(), rest->end(), listener));
    replace(mapping, rest->empty() ? nullptr : std::move(rest), lock);
    return true;
  }

  void reclaim(const Lock& /*lock*/) {
    if (dispatchesInProgress.load() == 0) {
      retired.clear();
      hasRetired.store(false);
    }
  }

  // Listeners that change registrations while they are told leave lists behind that nobody may ever
  // replace again; the last dispatch to leave clears them away.
  void leave() {
    if (dispatchesInProgress.fetch_sub(1) == 1 && hasRetired.load()) {
      const Lock lock(mutex);
      reclaim(lock);
    }
  }

  std::mutex mutex;
  InsertOnlyTable<Mapping> table;
  std::vector<std::unique_ptr<const ListenerList>> retired;
  std::atomic<bool> hasRetired{false};
  std::atomic<unsigned int> dispatchesInProgress{0};
};

KQVariableEventDispatcher* KQVariableEventDispatcher::instance() {
  static KQVariableEventDispatcher* const theInstance = new KQVariableEventDispatcher;
  return theInstance;
}

KQVariableEventDispatcher::KQVariableEventDispatcher() : registry(std::make_unique<Registry>()) {}

KQVariableEventDispatcher::~KQVariableEventDispatcher() = default;

KQVariableEventDispatcher::Mapping* KQVariableEventDispatcher::findOrAddMapping(unsigned int variableID) {
  if (Mapping* mapping = registry->table.find(variableID)) {
    return mapping;
  }
  const Registry::Lock lock(registry->mutex);
  if (Mapping* mapping = registry->table.find(variableID)) {
    return mapping;
  }
  return &registry->table.insert(std::make_unique<Mapping>(variableID), lock);
}

int KQVariableEventDispatcher::addMapping(unsigned short index, unsigned short subIndex, KQSignalListener* listener) {
  if (listener == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  Mapping& mapping = *findOrAddMapping(keyOf(index, subIndex));
  const Registry::Lock lock(registry->mutex);
  const ListenerList* list = mapping.listeners.load();
  if (contains(list, listener)) {
    return KQ_OK;
  }
  auto extended = list != nullptr ? std::make_unique<ListenerList>(*list) : std::make_unique<ListenerList>();
  extended->push_back(listener);
  registry->replace(mapping, std::move(extended), lock);
  return KQ_OK;
}

int KQVariableEventDispatcher::removeMapping(unsigned short index, unsigned short subIndex,
                                             KQSignalListener* listener) {
  Mapping* mapping = registry->table.find(keyOf(index, subIndex));
  if (mapping == nullptr) {
    return KQ_NOT_FOUND;
  }
  const Registry::Lock lock(registry->mutex);
  return registry->remove(*mapping, listener, lock) ? KQ_OK : KQ_NOT_FOUND;
}

void KQVariableEventDispatcher::removeListener(const KQSignalListener* listener) {
  const Registry::Lock lock(registry->mutex);
  for (const auto& mapping : registry->table.nodes(lock)) {
    registry->remove(*mapping, listener, lock);
  }
}

void KQVariableEventDispatcher::dispatch(unsigned int variableID, KQSignal& signal) {
  const Mapping* mapping = registry->table.find(variableID);
  if (mapping != nullptr && mapping->hasListeners()) {
    dispatch(*mapping, signal);
  }
}

void KQVariableEventDispatcher::dispatch(const Mapping& mapping, KQSignal& signal) {
  registry->dispatchesInProgress.fetch_add(1);
  if (const ListenerList* list = mapping.listeners.load()) {
    for (KQSignalListener* listener : *list) {
      // A listener before this one may have removed, and even deleted, it.
      const ListenerList* now = mapping.listeners.load();
      if (now == list || contains(now, listener)) {
        listener->signalOccurred(signal);
      }
    }
  }
  registry->leave();
}

void KQVariableEventDispatcher::clear() {
  const Registry::Lock lock(registry->mutex);
  for (const auto& mapping : registry->table.nodes(lock)) {
    registry->replace(*mapping, nullptr, lock);
  }
}

}  // namespace KQ
