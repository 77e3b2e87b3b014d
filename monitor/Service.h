#pragma once

#include <string_view>

namespace monitor {

/// The services of CANopen, by which a frame is called.
enum class Service : unsigned char {
  NMT_COMMAND,
  SYNC,
  TIME,
  EMERGENCY,
  TPDO,
  RPDO,
  SDO_REQUEST,   ///< from a client to a server
  SDO_RESPONSE,  ///< from a server to a client
  HEARTBEAT,     ///< and the answer to node guarding, which looks the same but for its toggle bit
  BOOT_UP,
  NODE_GUARDING,  ///< the remote frame that asks for a node's state
  LSS,
  UNKNOWN
};

inline constexpr unsigned int SERVICES = static_cast<unsigned int>(Service::UNKNOWN) + 1;

/// "NMT", "SYNC", "TIME", "EMCY", "TPDO", "RPDO", "SDO request", "SDO response", "heartbeat", "boot-up",
/// "node guarding", "LSS", "unknown". Any thread.
std::string_view getName(Service service);

}  // namespace monitor
