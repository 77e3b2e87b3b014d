#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQVariableStorageType.h"

namespace KQ {

class KQSignalListener;
class KQVariableOwner;

/// A variable as the store keeps it, for those who use one often: found once (KQDEI::findVariable) and kept, it is read
/// and written without a look-up. Each operation does what the one of the same name in KQDEI does for the variable,
/// with the same results; the store never moves or deletes it. When the store forgets the variable, the results are
/// those of a variable that does not exist, until it is added again. Any thread.
class KQStoredVariable {
public:
  KQStoredVariable(const KQStoredVariable&) = delete;
  KQStoredVariable& operator=(const KQStoredVariable&) = delete;

  /// @param value receives the integer. @return 0; 12 marked invalid, with the value; 20 a text; 23 forgotten
  int getVariableValue(int* value) const {
    if (!holds(STORAGE_TYPE_INTEGER)) {
      return codeOfOther();
    }
    const bool isInvalid = isMarkedInvalid();
    *value = integer.load(std::memory_order_relaxed);
    return isInvalid ? KQ_VALUE_INVALID : KQ_OK;
  }

  /// Without forwarding to the owner. @param notify tell of a change. @return 0; 20 a text; 23 forgotten
  int setVariableValue(int value, bool notify) {
    if (!holds(STORAGE_TYPE_INTEGER)) {
      return codeOfOther();
    }
    assign(value, notify);
    return KQ_OK;
  }

  /// Likewise, on behalf of the owner of that name. @return also 30 when it belongs to another
  int forceSetVariableValue(int value, const std::string& ownerName, bool notify) {
    return isOwnedBy(ownerName) ? setVariableValue(value, notify) : codeOfStranger();
  }

  /// The owner, or null. To be compared, not called: it may go at any time.
  KQVariableOwner* getVariableOwnerPointer() const {
    const Ownership* const current = getOwnership();
    return current != nullptr ? current->owner : nullptr;
  }

private:
  friend class KQDEI;

  /// An owner as the store knows it. It never changes and is kept until KQDEI::clear(), so that it can be read without
  /// asking whether the owner still lives.
  struct Ownership {
    explicit Ownership(KQVariableOwner* theOwner);

    KQVariableOwner* const owner;
    const std::string* const nameAddress;  ///< where the owner keeps its name; compared, never read
    const std::string name;
  };

  /// Null when nobody listens.
  using Listeners = std::atomic<const std::vector<KQSignalListener*>*>;

  /// The storage type of a variable that the store has forgotten.
  static constexpr auto FORGOTTEN = static_cast<KQVariableStorageType>(-1);

  explicit KQStoredVariable(const Listeners& ownListeners) : listeners(ownListeners) {}
  ~KQStoredVariable() = default;

  bool holds(KQVariableStorageType type) const { return storageType.load(std::memory_order_relaxed) == type; }
  /// Why a variable that is not of the wanted type is refused.
  int codeOfOther() const;

  const Ownership* getOwnership() const { return ownership.load(std::memory_order_acquire); }
  bool isOwnedBy(const std::string& ownerName) const {
    const Ownership* const current = getOwnership();
    return current != nullptr && (&ownerName == current->nameAddress || isNamed(*current, ownerName));
  }
  /// Apart, so that the comparison of texts does not weigh on an owner that passes its own string.
  static bool isNamed(const Ownership& ownership, const std::string& ownerName);
  /// Why one is refused who is not the owner.
  int codeOfStranger() const;

  /// A writer stores the value first and the validity after it, a reader goes the other way round: who sees that a
  /// value became valid sees that value or a later one.
  bool isMarkedInvalid() const { return invalid.load(std::memory_order_acquire); }
  void markInvalid(bool isInvalid) { invalid.store(isInvalid, std::memory_order_release); }

  void assign(int value, bool notify) {
    const int previous = integer.exchange(value, std::memory_order_acq_rel);
    markInvalid(false);
    if (notify && previous != value) {
      report(KQ_SIGNAL_VARIABLE_CHANGED, static_cast<unsigned int>(value));
    }
  }

  /// Tells the listeners, if there are any.
  void report(int code, unsigned int number) const {
    if (listeners.load(std::memory_order_relaxed) != nullptr) {
      tellListeners(code, number);
    }
  }
  /// Apart, so that a write that nobody listens to has no signal on its stack.
  void tellListeners(int code, unsigned int number) const;

  std::atomic<int> integer{0};
  std::atomic<bool> invalid{false};
  std::atomic<KQVariableStorageType> storageType{STORAGE_TYPE_UNDEFINED};
  std::atomic<const Ownership*> ownership{nullptr};
  const Listeners& listeners;
};

}  // namespace KQ
