#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "KQTimedService.h"

namespace KQ {

class KQEndPointManager;
class SocketcandClient;
class KQVirtualBus;

/// Serves a KQVirtualBus on TCP, in the raw mode of socketcand's line protocol, so that unmodified
/// clients attach to it. Every client that entered raw mode is one more participant on the bus.
///
/// Everything happens inside KQEndPointManager::wait of the manager it was given, and every operation
/// belongs to that thread. Other threads only hand over frames, by writing to an end point on the bus.
///
/// What a client cannot do to the others: one that sends more than a CAN bus of 1 Mbit/s carries is slowed down by its
/// own socket, and those who do take turns (TURN_FRAMES each) in what the bus has left; a client is not read from while
/// a receive queue of the bus is nearly full, so a burst is slowed down and not lost; one that does not read what it is
/// sent is dropped when OUTPUT_LIMIT bytes wait for it; one that sends no line of the protocol is answered with an
/// error, or closed; more than MAXIMUM_CLIENTS are told so and closed.
class KQSocketcandServer : private KQTimedService {
public:
  static constexpr std::size_t OUTPUT_LIMIT = 1U << 20U;  ///< bytes waiting for one client
  static constexpr unsigned SETTLING_MS =
      20;  ///< frames wait this long behind an "< ok >", so as not to arrive with it
  static constexpr unsigned PATIENCE_MS = 1000;        ///< how long clients wait for an end point that reads nothing
  static constexpr unsigned TURN_FRAMES = 16;          ///< that a client may send at once
  static constexpr unsigned TURN_MS = 2;               ///< what these take a bus of 1 Mbit/s
  static constexpr std::size_t MAXIMUM_CLIENTS = 128;  ///< a bus has 127 nodes

  KQSocketcandServer();
  KQSocketcandServer(const KQSocketcandServer&) = delete;
  KQSocketcandServer& operator=(const KQSocketcandServer&) = delete;

  /// Closes.
  ~KQSocketcandServer() override;

  /// Opens the server.
  /// @param host name or address (IPv4 or IPv6) to listen on, all addresses of the name; empty: the loopback addresses
  /// @param port TCP port; 0: any free one, see getPort
  /// @param busName the bus to serve, and the name that clients open
  /// @param manager serves it; must outlive it
  /// @param error receives one line about what went wrong when the result is not 0
  /// @return 0 listening; 10 the address cannot be had (port in use...); 20 unknown host; 25 it is listening already
  int listen(const std::string& host, unsigned short port, const std::string& busName, KQEndPointManager& manager,
             std::string& error);

  /// Drops all clients and listens no longer. Not from inside a callback of one of its descriptors.
  void close();

  /// The port that is listened on; 0 when it is not open.
  [[nodiscard]] unsigned short getPort() const { return boundPort; }

  /// Number of connected clients, in raw mode or on the way to it.
  [[nodiscard]] std::size_t getClientCount() const { return clients.size(); }

private:
  int getServiceDelay() const override;
  void service() override;

  int openListeners(const std::string& host, unsigned short port, std::string& error);
  void acceptClients(int listener);
  void pauseAccepting();
  void resumeAccepting();
  void addClient(int descriptor);
  void refuseClient(int descriptor);
  void closeListeners();
  void onWake();
  void wake() const;
  void serveClients();
  void serveCrowd();
  void giveTurn();
  int getTurnDelay() const;
  void watchPatience();
  void removeFinishedClients();

  KQEndPointManager* endPointManager{nullptr};
  std::shared_ptr<KQVirtualBus> bus;
  std::vector<int> listeners;
  std::vector<std::unique_ptr<SocketcandClient>> clients;
  int wakeDescriptor{-1};  ///< eventfd: a client has output, or the bus has room again
  unsigned short boundPort{0};
  bool acceptPaused{false};
  unsigned acceptTick{0};
  bool isFull{false};     ///< a client was refused, and none has left since
  bool isWaiting{false};  ///< a client has been waiting for room since waitTick
  unsigned waitTick{0};
  unsigned turnTick{0};       ///< when one of the crowd had its turn
  unsigned turnFrames{0};     ///< frame count of the bus then
  std::size_t nextTurn{0};    ///< who of the clients is asked first whether it wants one
  std::size_t nextServed{0};  ///< who of the crowd is served first
};

}  // namespace KQ
