#include "KQPDOSet.h"

#include <algorithm>
#include <functional>

#include "KQPDO.h"

namespace KQ {

bool KQPDOSet::isBefore(const KQPDO* left, const KQPDO* right) {
  if (left->getCommunicationIndex() != right->getCommunicationIndex()) {
    return left->getCommunicationIndex() < right->getCommunicationIndex();
  }
  return std::less<const KQPDO*>()(left, right);
}

bool KQPDOSet::insert(KQPDO* pdo) {
  const auto place = std::lower_bound(items.begin(), items.end(), pdo, isBefore);
  if (place != items.end() && *place == pdo) {
    return false;
  }
  items.insert(place, pdo);
  return true;
}

bool KQPDOSet::erase(const KQPDO* pdo) {
  const auto place = std::lower_bound(items.begin(), items.end(), pdo, isBefore);
  if (place == items.end() || *place != pdo) {
    return false;
  }
  items.erase(place);
  return true;
}

bool KQPDOSet::contains(const KQPDO* pdo) const {
  return std::binary_search(items.begin(), items.end(), pdo, isBefore);
}

KQPDO* KQPDOSet::after(const KQPDO* pdo) const {
  const auto place = std::upper_bound(items.begin(), items.end(), pdo, isBefore);
  return place != items.end() ? *place : nullptr;
}

KQPDO* KQPDOSet::find(unsigned short communicationIndex) const {
  const auto place =
      std::lower_bound(items.begin(), items.end(), communicationIndex,
                       [](const KQPDO* pdo, unsigned short index) { return pdo->getCommunicationIndex() < index; });
  return place != items.end() && (*place)->getCommunicationIndex() == communicationIndex ? *place : nullptr;
}

}  // namespace KQ
