#pragma once

namespace KQ {

/// The CiA 301 transmission type of a PDO (sub-index 2 of its communication parameter), 0 to 255, with the limits of
/// the ranges that the stack tells apart.
enum KQCANopenPDOTransmissionMode : int {
  PDO_TRANSMISSION_SYNC_ACYCLIC = 0,          ///< on the SYNC after a change; received data is applied on the next SYNC
  PDO_TRANSMISSION_SYNC_CYCLIC_FIRST = 1,     ///< on every n-th SYNC
  PDO_TRANSMISSION_SYNC_CYCLIC_LAST = 251,    ///< 241 to 251 are reserved and treated like 1 to 240
  PDO_TRANSMISSION_RTR_SYNC = 252,            ///< on remote request only: never sent
  PDO_TRANSMISSION_RTR_EVENT = 253,           ///< on remote request only: never sent
  PDO_TRANSMISSION_EVENT_MANUFACTURER = 254,  ///< on change and by event timer; received data is applied at once
  PDO_TRANSMISSION_EVENT_PROFILE = 255        ///< likewise
};

/// Whether a transmission type is event-driven (254, 255).
constexpr bool isEventDriven(KQCANopenPDOTransmissionMode mode) {
  return mode == PDO_TRANSMISSION_EVENT_MANUFACTURER || mode == PDO_TRANSMISSION_EVENT_PROFILE;
}

/// Whether a transmission type is synchronous and cyclic (1 to 251).
constexpr bool isSyncCyclic(KQCANopenPDOTransmissionMode mode) {
  return mode >= PDO_TRANSMISSION_SYNC_CYCLIC_FIRST && mode <= PDO_TRANSMISSION_SYNC_CYCLIC_LAST;
}

}  // namespace KQ
