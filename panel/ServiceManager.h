#pragma once

#include <string>

namespace panel {

/// Whoever started the panel as a service and wants to know how it is, over the socket that the variable NOTIFY_SOCKET
/// of its environment names, as systemd does for units of Type=notify. Without that variable nothing happens.
class ServiceManager {
public:
  /// Reads NOTIFY_SOCKET, and from WATCHDOG_USEC (and WATCHDOG_PID) how often it wants to hear from this process.
  ServiceManager();
  ~ServiceManager();
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  /// The panel does what it is there for. Told once.
  void ready();

  /// The panel ends.
  void stopping() const { notify("STOPPING=1"); }

  /// Tells that the loop goes round, when that is due. @param now tick
  void update(unsigned int now);

  /// @param now tick
  /// @return ms until update() has something to tell; 0xFFFFFFFF: never
  unsigned int getTimeToNextUpdate(unsigned int now) const;

private:
  void notify(const char* message) const;

  std::string address;  ///< empty: nobody wants to know
  int descriptor = -1;
  unsigned int interval = 0;  ///< ms between two signs of life, 0: none wanted
  unsigned int lastSign = 0;  ///< tick
  bool isReady = false;
};

}  // namespace panel
