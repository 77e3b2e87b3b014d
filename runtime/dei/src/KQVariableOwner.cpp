#include "KQVariableOwner.h"

#include "KQDEI.h"

namespace KQ {

KQVariableOwner::KQVariableOwner(const std::string& name) : ownerName_(name) {}

KQVariableOwner::~KQVariableOwner() {
  KQDEI::instance()->removeOwner(this);
}

}  // namespace KQ
