#pragma once

#include <string>

namespace fuzz {

/// One end of a TCP connection over the loopback address, which never waits. It leaves nothing behind in the kernel: a
/// connection that rested there for a minute would leave none for the inputs that follow.
class LoopbackSocket {
public:
  /// @param descriptor an open socket, owned from now on; -1: none
  explicit LoopbackSocket(int connected = -1) : descriptor(connected) {}
  ~LoopbackSocket() { close(); }
  LoopbackSocket(const LoopbackSocket&) = delete;
  LoopbackSocket& operator=(const LoopbackSocket&) = delete;

  /// Connects to a port that is listened on.
  void connect(unsigned short port);
  /// Takes the place of a connection that was accepted.
  void take(int connected);
  /// Resets the connection.
  void close();
  bool isOpen() const { return descriptor >= 0; }

  /// Sends one segment. @return false: the other end takes no more of it
  bool send(const std::string& bytes);
  /// Appends what has arrived. @return false: the connection is over
  bool receive(std::string& text);

private:
  int descriptor;
};

/// A socket that listens on the loopback address.
class LoopbackListener {
public:
  LoopbackListener();
  ~LoopbackListener();
  LoopbackListener(const LoopbackListener&) = delete;
  LoopbackListener& operator=(const LoopbackListener&) = delete;

  unsigned short getPort() const { return port; }
  /// @return the next connection, -1 when there is none
  int accept() const;

private:
  const int descriptor;
  unsigned short port{0};
};

}  // namespace fuzz
