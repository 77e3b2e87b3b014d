#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "KQEndPoint.h"
#include "internal/KQFrameQueue.h"

namespace KQ {

/// An end point on a bus that another program serves on TCP ("socketcand:HOST:PORT/CHANNEL").
///
/// The port is down while there is no connection; frames that were not sent yet are discarded then. A new
/// connection is tried every RETRY_MS by service(), or by readMessage when no manager serves the end point.
/// While its receive queue is full it does not read from the connection, so that nothing is lost here.
class KQSocketcandEndPoint : public KQEndPoint {
public:
  static constexpr std::size_t RECEIVE_CAPACITY = 1024;  ///< frames that wait for a reader
  static constexpr std::size_t TRANSMIT_LIMIT =
      std::size_t{1024} * 40;                     ///< bytes waiting: 1024 frames of the longest line
  static constexpr unsigned RETRY_MS = 500;       ///< between two tries to connect
  static constexpr unsigned HANDSHAKE_MS = 2000;  ///< longest time for a connection and its handshake

  /// Connects and enters raw mode; waits for that, no longer than the time limit for each address.
  /// @param host name or address (IPv4 or IPv6, without brackets)
  /// @param port TCP port, 1..65535
  /// @param channel name of the bus, as the server calls it
  /// @param error receives one line about what went wrong when null is returned
  /// @param timeLimitMs for connecting and the handshake, in milliseconds
  [[nodiscard]] static std::unique_ptr<KQSocketcandEndPoint> open(const std::string& host, unsigned short port,
                                                                  const std::string& channel, std::string& error,
                                                                  unsigned timeLimitMs = HANDSHAKE_MS);
  ~KQSocketcandEndPoint() override;

  int getDescriptor() const override { return epoll; }
  int flush() override;
  bool hasBufferedFrames() const override { return !received.isEmpty(); }
  bool prepareRead() override;
  int getServiceDelay() const override;
  void service() override;

protected:
  int doRead(KQCANMessage& message) override;
  int doWrite(const KQCANMessage& message) override;

private:
  /// How far the connection is.
  enum class Stage { IDLE, CONNECTING, AWAIT_HI, AWAIT_OPENED, AWAIT_RAW, RUNNING };

  struct Addresses;

  KQSocketcandEndPoint(std::string uri, std::string channelName, std::unique_ptr<Addresses> hostAddresses,
                       int epollDescriptor);

  bool openAny(unsigned timeLimitMs, std::string& error);
  bool openNext(unsigned timeLimitMs);
  void connectNext();
  void finishConnecting();
  void advance();
  void readSocket();
  void parseInput();
  void handleLine(std::string_view line);
  void handleRunningLine(std::string_view command, std::string_view arguments);
  void handleHandshakeLine(std::string_view command, std::string_view line);
  void enterRunning();
  void fail(const std::string& reason);

  void sendLine(std::string_view line);
  int sendPending();
  void watchSocket(bool alsoWritable);

  const std::string channel;
  const std::unique_ptr<Addresses> addresses;
  const int epoll;  ///< stays the same while the socket in it changes

  // The manager's thread.
  Stage stage{Stage::IDLE};
  unsigned stageTick{0};
  bool isOpening{true};  ///< nothing is reported before open() has returned
  std::string lastFailure;
  std::array<char, 16384> input;
  std::size_t inputCount{0};
  KQFrameQueue received;

  mutable std::mutex mutex;  ///< guards the rest; the manager's thread alone opens and closes the socket
  int socket{-1};
  bool isRunning{false};  ///< frames may be written
  bool isBroken{false};   ///< a write found the connection gone
  bool isWatchedForWriting{false};
  std::string output;
  std::size_t sent{0};
};

}  // namespace KQ
