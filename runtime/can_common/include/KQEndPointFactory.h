#pragma once

#include <memory>
#include <string>

#include "KQEndPoint.h"

namespace KQ {

/// Opens CAN ports by their URI:
/// - "socketcan:IF": the network interface IF of the kernel, as in "socketcan:can0" (KQSocketCANEndPoint)
/// - "virtual:NAME": the bus NAME inside this process, as in "virtual:bus0" (KQVirtualEndPoint)
/// - "socketcand:HOST:PORT/CHANNEL": a bus that another program serves on TCP, as in
///   "socketcand:localhost:29536/bus0"; an IPv6 address stands in brackets (KQSocketcandEndPoint)
/// Both operations are safe from any thread.
class KQEndPointFactory {
public:
  /// Opens the port.
  /// @param uri one of the forms above
  /// @param error receives one clear line about what went wrong when null is returned; otherwise empty
  /// @return the open end point, the caller's; null when the URI is wrong or the port cannot be opened
  [[nodiscard]] static std::unique_ptr<KQEndPoint> openEndPoint(const std::string& uri, std::string& error);

  /// True when the text has one of the forms above. Whether there is such a port is not looked at.
  [[nodiscard]] static bool isEndPointURI(const std::string& uri);
};

}  // namespace KQ
