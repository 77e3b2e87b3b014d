#include "LoopbackSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "Check.h"

namespace fuzz {

namespace {

sockaddr_in loopback(unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

}  // namespace

void LoopbackSocket::connect(unsigned short port) {
  const int connected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  int result = 0;
  do {
    result = ::connect(connected, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  } while (result != 0 && (errno == EINTR || errno == EALREADY));  // the fuzzer's timer goes off now and then
  require(result == 0 || errno == EISCONN, "no connection; errno", static_cast<unsigned int>(errno));
  take(connected);
}

void LoopbackSocket::take(int connected) {
  close();
  descriptor = connected;
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // each write in a segment of its own
  const linger reset{1, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
}

void LoopbackSocket::close() {
  if (isOpen()) {
    ::close(descriptor);
  }
  descriptor = -1;
}

bool LoopbackSocket::send(const std::string& bytes) {
  const ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  return count == static_cast<ssize_t>(bytes.size());
}

bool LoopbackSocket::receive(std::string& text) {
  char buffer[4096];
  for (;;) {
    const ssize_t count = recv(descriptor, buffer, sizeof buffer, MSG_DONTWAIT);
    if (count <= 0) {
      return count < 0 && errno == EAGAIN;
    }
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

LoopbackListener::LoopbackListener() : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  require(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), size) == 0 && listen(descriptor, 16) == 0,
          "nothing to listen on");
  getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
  port = ntohs(address.sin_port);
}

LoopbackListener::~LoopbackListener() {
  ::close(descriptor);
}

int LoopbackListener::accept() const {
  return accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC);
}

}  // namespace fuzz
