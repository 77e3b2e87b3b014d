#pragma once

namespace KQ {

/// Events of a process data object, to which an action can be bound.
enum KQEventType : int {
  PDO_EVENT_RX_TIMEOUT = 1301,           ///< no frame of a monitored RPDO within its event time
  PDO_EVENT_RX_TIMEOUT_RESOLVED = 1302,  ///< the first frame after such a time-out was applied
  PDO_EVENT_RX_RECEIVED = 1306           ///< the values of a received frame were applied
};

}  // namespace KQ
