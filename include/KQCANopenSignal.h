#pragma once

namespace KQ {

/// The type of every signal that the stack sends.
inline constexpr int STACK_SIGNAL_TYPE = 6;

inline constexpr int SIGNAL_STATE_CHANGED = 1700;                ///< node ID, new state
inline constexpr int SIGNAL_HEARTBEAT_TIMEOUT = 0x517;           ///< node ID, 17
inline constexpr int SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED = 0x518;  ///< node ID, 0
inline constexpr int SIGNAL_WORK_QUEUED = 1701;                  ///< nothing more
inline constexpr int SIGNAL_SDO_EVENT = 1103;                    ///< object key

}  // namespace KQ
