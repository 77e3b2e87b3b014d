#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "KQCANMessage.h"
#include "KQEndPoint.h"
#include "KQEndPointListener.h"
#include "KQEndPointManager.h"
#include "KQTick.h"

namespace KQ::test {

/// A clock that only the test moves, for as long as it lives.
class TestClock {
public:
  explicit TestClock(unsigned start = 1000) {
    getNow() = start;
    KQTick::setSource([] { return getNow().load(); });
  }
  TestClock(const TestClock&) = delete;
  TestClock& operator=(const TestClock&) = delete;
  ~TestClock() { KQTick::setSource(nullptr); }

  static void advance(unsigned milliseconds) { getNow() += milliseconds; }

private:
  static std::atomic<unsigned>& getNow() {
    static std::atomic<unsigned> now{0};
    return now;
  }
};

inline KQCANMessage makeMessage(unsigned identifier, std::initializer_list<unsigned char> bytes = {}) {
  KQCANMessage message;
  message.identifier = identifier;
  message.length = static_cast<unsigned>(bytes.size());
  unsigned position = 0;
  for (const unsigned char byte : bytes) {
    message.data[position++] = byte;
  }
  return message;
}

/// A frame as a candump line has it, as in "581#4300".
inline std::string toText(const KQCANMessage& message) {
  char text[32];
  std::snprintf(text, sizeof text, "%03X#", message.identifier);
  std::string result = text;
  for (unsigned i = 0; i < message.length; ++i) {
    std::snprintf(text, sizeof text, "%02X", message.data[i]);
    result += text;
  }
  return result;
}

/// All frames that wait on an end point.
inline std::vector<std::string> readAll(KQEndPoint& endPoint) {
  std::vector<std::string> frames;
  KQCANMessage message;
  while (endPoint.readMessage(message) == KQ_OK) {
    frames.push_back(toText(message));
  }
  return frames;
}

inline bool isReadable(int descriptor) {
  pollfd waiting{descriptor, POLLIN, 0};
  return poll(&waiting, 1, 0) == 1;
}

/// Reads whatever comes, up to a number of frames a call, and keeps what it was told.
class RecordingListener : public KQEndPointListener {
public:
  void onEndPointReadable(KQEndPoint* endPoint, KQEndPointManager*) override {
    ++announcements;
    KQCANMessage message;
    for (unsigned i = 0; i < framesPerCall && endPoint->readMessage(message) == KQ_OK; ++i) {
      frames.push_back(toText(message));
    }
  }
  void onEndPointReconnected(KQEndPoint*) override { events.push_back("reconnected"); }
  void onEndPointDisconnected(KQEndPoint*) override { events.push_back("disconnected"); }

  unsigned framesPerCall{10000};
  unsigned announcements{0};
  std::vector<std::string> frames;
  std::vector<std::string> events;
};

/// Lets the manager work until something is true. @return false: it did not become true within some seconds
template <class Predicate>
bool waitUntil(KQEndPointManager& manager, Predicate predicate) {
  for (int i = 0; i < 2000; ++i) {
    if (predicate()) {
      return true;
    }
    manager.wait(2);
  }
  return predicate();
}

/// Lets the manager work for a while in which nothing particular is expected.
inline void settle(KQEndPointManager& manager) {
  for (int i = 0; i < 10; ++i) {
    manager.wait(1);
  }
}

/// A plain TCP connection to the loopback address that does not block.
class TcpPeer {
public:
  explicit TcpPeer(unsigned short port, int receiveBuffer = 0) : connection(socket(AF_INET, SOCK_STREAM, 0)) {
    if (receiveBuffer > 0) {
      setsockopt(connection, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    stillOpen = connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  explicit TcpPeer(int acceptedSocket) : connection(acceptedSocket), stillOpen(acceptedSocket >= 0) {}
  TcpPeer(const TcpPeer&) = delete;
  TcpPeer& operator=(const TcpPeer&) = delete;
  ~TcpPeer() { close(); }

  void close() {
    if (connection >= 0) {
      ::close(connection);
    }
    connection = -1;
    stillOpen = false;
  }

  /// Sends the text as one piece. @return false: not all of it was taken
  bool send(const std::string& text) {
    return ::send(connection, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(text.size());
  }

  /// What one read gives; empty when nothing has arrived.
  std::string read() {
    char buffer[65536];
    const ssize_t count = recv(connection, buffer, sizeof buffer, MSG_DONTWAIT);
    if (count == 0 || (count < 0 && errno != EAGAIN)) {
      stillOpen = false;
    }
    return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
  }

  /// Adds what has arrived to received.
  void collect() {
    for (std::string part = read(); !part.empty(); part = read()) {
      received += part;
    }
  }

  bool isOpen() const { return stillOpen; }
  int getSocket() const { return connection; }

  std::string received;

private:
  int connection;
  bool stillOpen{false};
};

}  // namespace KQ::test
