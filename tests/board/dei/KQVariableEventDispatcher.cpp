#include "KQVariableEventDispatcher.h"

#include <algorithm>

#include "KQErrorCodes.h"
#include "KQSignalListener.h"

namespace KQ {

using Lock = std::lock_guard<std::mutex>;

KQVariableEventDispatcher* KQVariableEventDispatcher::instance() {
  static auto* const theInstance = new KQVariableEventDispatcher;
  return theInstance;
}

KQVariableEventDispatcher::KQVariableEventDispatcher() {}

int KQVariableEventDispatcher::addMapping(unsigned short index, unsigned short subIndex, KQSignalListener* listener) {
  if (listener == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const Lock lock(mutex);
  auto& registered = listeners[static_cast<unsigned int>(index) << 16 | subIndex];
  if (std::find(registered.begin(), registered.end(), listener) == registered.end()) {
    registered.push_back(listener);
  }
  return KQ_OK;
}

void KQVariableEventDispatcher::withdraw(const KQSignalListener* listener) {
  const Lock lock(mutex);
  for (auto& item : listeners) {
    auto& registered = item.second;
    registered.erase(std::remove(registered.begin(), registered.end(), listener), registered.end());
  }
}

void KQVariableEventDispatcher::report(unsigned int key, KQSignal& signal) {
  std::vector<KQSignalListener*> toTell;
  {
    const Lock lock(mutex);
    toTell = listeners[key];
  }
  for (KQSignalListener* listener : toTell) {
    if (isRegistered(key, listener)) {  // one before it may have withdrawn it
      listener->signalOccurred(signal);
    }
  }
}

bool KQVariableEventDispatcher::isRegistered(unsigned int key, const KQSignalListener* listener) {
  const Lock lock(mutex);
  const auto& registered = listeners[key];
  return std::find(registered.begin(), registered.end(), listener) != registered.end();
}

void KQVariableEventDispatcher::clear() {
  const Lock lock(mutex);
  listeners.clear();
}

}  // namespace KQ
