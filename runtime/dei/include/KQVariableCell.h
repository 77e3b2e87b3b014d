#pragma once

#include <atomic>

#include "KQErrorCodes.h"
#include "KQVariableStorageType.h"

namespace KQ {

class KQVariableOwner;

/// The value of one variable of the store, for those who read and write it over and over: KQDEI::findCell finds it
/// once, and then no look-up is needed any more. It belongs to the store and is good until KQDEI::clear(), which
/// shows in KQDEI::getGeneration(). Every operation may be called from any thread.
class KQVariableCell {
public:
  KQVariableCell(const KQVariableCell&) = delete;
  KQVariableCell& operator=(const KQVariableCell&) = delete;

  /// As KQDEI::getVariableValue for an integer, but never 23.
  int read(int* value) const {
    if (!holds(STORAGE_TYPE_INTEGER)) {
      return KQ_INVALID_ARGUMENT;
    }
    const bool isInvalid = isMarkedInvalid();
    *value = value_.load(std::memory_order_relaxed);
    return isInvalid ? KQ_VALUE_INVALID : KQ_OK;
  }

  /// As KQDEI::setVariableValue for an integer with notification and without forwarding, but never 23.
  int write(int value) {
    return holds(STORAGE_TYPE_INTEGER) ? writeInteger(value) : static_cast<int>(KQ_INVALID_ARGUMENT);
  }

  /// The same for who has asked isInteger(). @return 0
  int writeInteger(int value) {
    const int previous = value_.exchange(value, std::memory_order_acq_rel);
    markInvalid(false);
    return previous != value ? reportChange(value) : static_cast<int>(KQ_OK);
  }

  /// Whether the variable is an integer, which read(), write() and writeInteger() want.
  bool isInteger() const { return holds(STORAGE_TYPE_INTEGER); }

  /// The owner of the variable, or null.
  KQVariableOwner* getOwner() const { return owner_.load(std::memory_order_acquire); }

protected:
  KQVariableCell() = default;
  ~KQVariableCell() = default;

  bool holds(KQVariableStorageType type) const { return storageType_.load(std::memory_order_relaxed) == type; }

  /// A writer stores the value first and the validity after it, a reader goes the other way round: who
  /// sees that a value became valid sees that value or a later one.
  bool isMarkedInvalid() const { return invalid_.load(std::memory_order_acquire); }
  void markInvalid(bool isInvalid) { invalid_.store(isInvalid, std::memory_order_release); }

  /// Tells the listeners of the variable, if there are any. @return 0
  int reportChange(int value) const;

  std::atomic<int> value_{0};
  std::atomic<bool> invalid_{false};
  std::atomic<KQVariableStorageType> storageType_{STORAGE_TYPE_UNDEFINED};
  std::atomic<KQVariableOwner*> owner_{nullptr};
};

}  // namespace KQ
