#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "KQPDOSet.h"

namespace KQ {

class PDOTable;

/// A walk over the PDOs that stand in a set when it begins, in their order. What comes up meanwhile is not met; what is
/// replaced meanwhile exists until the walk ends, and is not sent.
class PDOWalk {
public:
  /// @param table the node's PDOs
  /// @param memory of the walks of one place in the code, so that they allocate nothing in steady state
  PDOWalk(std::shared_ptr<const PDOTable> table, const KQPDOSet& set, std::vector<KQPDO*>& memory)
      : held(std::move(table)), lender(memory) {
    pdos.swap(lender);  // a walk of the same place within this one finds nothing to borrow
    set.copyTo(pdos);
  }
  ~PDOWalk() { pdos.swap(lender); }
  PDOWalk(const PDOWalk&) = delete;
  PDOWalk& operator=(const PDOWalk&) = delete;

  std::vector<KQPDO*>::const_iterator begin() const { return pdos.begin(); }
  std::vector<KQPDO*>::const_iterator end() const { return pdos.end(); }

private:
  std::shared_ptr<const PDOTable> held;
  std::vector<KQPDO*>& lender;
  std::vector<KQPDO*> pdos;
};

}  // namespace KQ
