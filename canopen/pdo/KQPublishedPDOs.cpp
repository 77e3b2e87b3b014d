#include "internal/KQPublishedPDOs.h"

#include <utility>

namespace KQ {

namespace {

using Lock = std::lock_guard<std::mutex>;

}  // namespace

KQPublishedPDOs::KQPublishedPDOs(std::shared_ptr<const PDOTable> table)
    : current(table.get()), owner(std::move(table)) {}

void KQPublishedPDOs::publish(std::shared_ptr<const PDOTable> table) {
  {
    const Lock lock(mutex);
    owner.swap(table);
    current = owner.get();
  }
  if (walks == 0) {
    return;  // the one before goes now
  }
  {
    const Lock lock(mutex);
    replaced.push_back(std::move(table));
    hasReplaced = true;
  }
  if (walks == 0) {
    forgetReplaced();  // the last walk has ended before it saw that
  }
}

std::shared_ptr<const PDOTable> KQPublishedPDOs::get() const {
  const Lock lock(mutex);
  return owner;
}

void KQPublishedPDOs::forgetReplaced() {
  std::vector<std::shared_ptr<const PDOTable>> forgotten;  // goes when the lock is given back
  const Lock lock(mutex);
  if (walks == 0) {
    forgotten.swap(replaced);
    hasReplaced = false;
  }
}

}  // namespace KQ
