#include "KQVariableOwner.h"

#include "KQDEI.h"

namespace KQ {

KQVariableOwner::KQVariableOwner(const std::string& name) : ownerName(name) {}

KQVariableOwner::~KQVariableOwner() {
  KQDEI::instance()->withdraw(this);
}

const std::string& KQVariableOwner::getOwnerName() const {
  return ownerName;
}

}  // namespace KQ
