#include "internal/KQPDOSet.h"

#include <algorithm>
#include <functional>

#include "KQPDO.h"
#include "PDOInternals.h"

namespace KQ {

namespace {

using Lock = std::lock_guard<std::mutex>;

}  // namespace

bool KQPDOSet::isBefore(const KQPDO* left, const KQPDO* right) {
  if (left->getCommunicationIndex() != right->getCommunicationIndex()) {
    return left->getCommunicationIndex() < right->getCommunicationIndex();
  }
  return std::less<const KQPDO*>()(left, right);
}

bool KQPDOSet::insert(KQPDO* pdo) {
  const Lock lock(mutex);
  // Asked under the lock: who retires a PDO marks it first and takes it out of the sets afterwards.
  if (PDOInternals::isRetired(*pdo)) {
    return false;
  }
  const auto place = std::lower_bound(items.begin(), items.end(), pdo, isBefore);
  if (place != items.end() && *place == pdo) {
    return false;
  }
  items.insert(place, pdo);
  noteChange();
  return true;
}

bool KQPDOSet::erase(const KQPDO* pdo) {
  const Lock lock(mutex);
  const auto place = std::lower_bound(items.begin(), items.end(), pdo, isBefore);
  if (place == items.end() || *place != pdo) {
    return false;
  }
  items.erase(place);
  noteChange();
  return true;
}

void KQPDOSet::eraseIndex(unsigned short communicationIndex) {
  const Lock lock(mutex);
  const auto hasIndex = [communicationIndex](const KQPDO* pdo) {
    return pdo->getCommunicationIndex() == communicationIndex;
  };
  items.erase(std::remove_if(items.begin(), items.end(), hasIndex), items.end());
  noteChange();
}

void KQPDOSet::clear() {
  const Lock lock(mutex);
  items.clear();
  noteChange();
}

void KQPDOSet::reserve(std::size_t count) {
  const Lock lock(mutex);
  items.reserve(count);
}

void KQPDOSet::copyTo(std::vector<KQPDO*>& pdos) const {
  const Lock lock(mutex);
  pdos.assign(items.begin(), items.end());
}

}  // namespace KQ
