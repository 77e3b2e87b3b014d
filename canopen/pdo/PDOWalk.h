#pragma once

#include <vector>

#include "internal/KQPDOSet.h"

namespace KQ {

/// A walk over the PDOs that stand in a set when it begins, in their order. What comes up meanwhile is not met; what is
/// replaced meanwhile is not sent, and exists as long as whoever walks keeps the node's PDOs.
class PDOWalk {
public:
  /// @param memory of the walks of one place in the code, so that they allocate nothing in steady state
  PDOWalk(const KQPDOSet& set, std::vector<KQPDO*>& memory) : lender(memory) {
    pdos.swap(lender);  // a walk of the same place within this one finds nothing to borrow
    set.copyTo(pdos);
  }
  ~PDOWalk() { pdos.swap(lender); }
  PDOWalk(const PDOWalk&) = delete;
  PDOWalk& operator=(const PDOWalk&) = delete;

  std::vector<KQPDO*>::const_iterator begin() const { return pdos.begin(); }
  std::vector<KQPDO*>::const_iterator end() const { return pdos.end(); }

private:
  std::vector<KQPDO*>& lender;
  std::vector<KQPDO*> pdos;
};

}  // namespace KQ
