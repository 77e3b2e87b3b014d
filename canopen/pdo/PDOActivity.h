#pragma once

#include "KQPDOHandler.h"

namespace KQ {

// What an RPDO writes, or a transmission counts, may be a parameter of the very PDO that is in work.
class KQPDOHandler::Activity {
public:
  explicit Activity(KQPDOHandler& pdoHandler) : handler(pdoHandler) { ++handler.activities; }
  ~Activity() {
    if (--handler.activities == 0 && handler.hasRetiredPDOs) {
      handler.deleteRetiredPDOs();
    }
  }
  Activity(const Activity&) = delete;
  Activity& operator=(const Activity&) = delete;

private:
  KQPDOHandler& handler;
};

}  // namespace KQ
