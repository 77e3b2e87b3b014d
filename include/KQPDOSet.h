#pragma once

#include <vector>

namespace KQ {

class KQPDO;

/// An ordered set of PDOs, by communication index (and, among equal ones, by address). It keeps its memory when it
/// shrinks, so that PDOs come and go in steady state without an allocation, and a walk may go on while PDOs are
/// inserted and removed. Owns nothing.
class KQPDOSet {
public:
  /// The order of PDOs.
  static bool isBefore(const KQPDO* left, const KQPDO* right);

  /// @return false when the PDO is in the set already
  bool insert(KQPDO* pdo);
  /// @return false when the PDO is not in the set
  bool erase(const KQPDO* pdo);
  bool contains(const KQPDO* pdo) const;
  void clear() { items.clear(); }
  bool empty() const { return items.empty(); }
  std::size_t size() const { return items.size(); }
  void reserve(std::size_t count) { items.reserve(count); }
  void swap(KQPDOSet& other) { items.swap(other.items); }

  /// A walk: the first PDO, then the one that comes after another, which need not be in the set any more but must
  /// exist. Null at the end.
  KQPDO* first() const { return items.empty() ? nullptr : items.front(); }
  KQPDO* after(const KQPDO* pdo) const;
  /// The same, quicker. @param position 0 at the start of a walk; where the last PDO was found
  KQPDO* after(const KQPDO* pdo, std::size_t& position) const {
    const bool isUnchanged = position < items.size() && items[position] == pdo;
    if (!isUnchanged) {
      return after(pdo);
    }
    ++position;
    return position < items.size() ? items[position] : nullptr;
  }

  /// The first PDO with that communication index, or null.
  KQPDO* find(unsigned short communicationIndex) const;

  std::vector<KQPDO*>::const_iterator begin() const { return items.begin(); }
  std::vector<KQPDO*>::const_iterator end() const { return items.end(); }

private:
  std::vector<KQPDO*> items;
};

}  // namespace KQ
