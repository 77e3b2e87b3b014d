#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "KQEndPoint.h"

namespace KQ {

/// Which port number stands for which CAN port: a protocol is given a number, and the program says
/// beforehand what is behind it. One per process; every operation is safe from any thread.
class KQCANPortRegistry {
public:
  /// Opens an end point on a port; null with a text in the argument when it cannot.
  using Factory = std::function<std::unique_ptr<KQEndPoint>(std::string& error)>;

  /// The registry of the process, made on first use. Never null.
  static KQCANPortRegistry* instance();

  KQCANPortRegistry() = default;
  KQCANPortRegistry(const KQCANPortRegistry&) = delete;
  KQCANPortRegistry& operator=(const KQCANPortRegistry&) = delete;

  /// Lets a port number stand for a port URI, in place of what it stood for. Nothing is opened yet.
  /// @param port any number
  /// @param uri see KQEndPointFactory
  /// @return 0 bound; 20 the URI has wrong syntax (nothing is changed)
  int bindPort(unsigned port, const std::string& uri);

  /// The same for a port that the caller opens himself. @return 0 bound; 20 the factory is empty
  int bindPort(unsigned port, Factory factory);

  /// Forgets the number; end points that are open stay open. @return 0 done; 23 the number was not bound
  int unbindPort(unsigned port);

  /// Opens a new end point on the port. Two end points of one port see each other's frames as well.
  /// @param port a bound number
  /// @param error receives what went wrong, in one line, when null is returned; otherwise empty
  /// @return the open end point, the caller's; null when the number is not bound or the port cannot be opened
  [[nodiscard]] std::unique_ptr<KQEndPoint> openPort(unsigned port, std::string& error);

private:
  std::mutex mutex;
  std::map<unsigned, Factory> ports;
};

}  // namespace KQ
