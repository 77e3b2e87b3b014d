// Internal: here because public headers need it; it may change without notice.
#pragma once

#include <atomic>
#include <mutex>
#include <vector>

namespace KQ {

class KQPDO;

/// An ordered set of PDOs, by communication index (and, among equal ones, by address). Any thread may use it: its own
/// lock is held for one look-up or change at a time, and nothing is called meanwhile. It keeps its memory when it
/// shrinks, so that PDOs come and go in steady state without an allocation. Owns nothing.
class KQPDOSet {
public:
  /// The order of PDOs.
  static bool isBefore(const KQPDO* left, const KQPDO* right);

  /// @return false when the PDO is in the set already, and for a retired one, which enters no set any more
  bool insert(KQPDO* pdo);
  /// @return false when the PDO is not in the set
  bool erase(const KQPDO* pdo);
  /// Takes out every PDO with that communication index.
  void eraseIndex(unsigned short communicationIndex);
  void clear();
  /// Asks without the lock: what another thread inserts at this moment may be missed.
  bool empty() const { return !hasItems.load(std::memory_order_relaxed); }
  void reserve(std::size_t count);
  /// Calls @p visit(const KQPDO&) for each, in their order, with the lock held.
  template <typename Visitor>
  void forEach(Visitor visit) const {
    const std::lock_guard<std::mutex> lock(mutex);
    for (const KQPDO* const pdo : items) {
      visit(*pdo);
    }
  }
  /// The PDOs in their order, in place of what @p pdos holds.
  void copyTo(std::vector<KQPDO*>& pdos) const;

private:
  void noteChange() { hasItems.store(!items.empty(), std::memory_order_relaxed); }

  mutable std::mutex mutex;
  std::vector<KQPDO*> items;
  std::atomic<bool> hasItems{false};
};

}  // namespace KQ
