#pragma once

namespace KQ {

enum KQEventType : int {
  PDO_EVENT_RX_TIMEOUT = 1301,
  PDO_EVENT_RX_TIMEOUT_RESOLVED = 1302,
  PDO_EVENT_RX_RECEIVED = 1306
};

}  // namespace KQ
