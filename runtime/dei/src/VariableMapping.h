#pragma once

#include <atomic>
#include <vector>

#include "KQVariableEventDispatcher.h"

namespace KQ {

/// The key under which store and dispatcher know a variable.
inline unsigned int keyOf(unsigned short index, unsigned short subIndex) {
  return static_cast<unsigned int>(index) << 16 | subIndex;
}

using ListenerList = std::vector<KQSignalListener*>;

/// The listeners of one variable.
struct KQVariableEventDispatcher::Mapping {
  explicit Mapping(unsigned int variableID) : key(variableID) {}

  /// Whether there is somebody to tell: asked before a signal is made.
  bool hasListeners() const { return listeners.load(std::memory_order_relaxed) != nullptr; }

  const unsigned int key;
  /// Null when there are none. The list is owned by the dispatcher.
  std::atomic<const ListenerList*> listeners{nullptr};
};

}  // namespace KQ
