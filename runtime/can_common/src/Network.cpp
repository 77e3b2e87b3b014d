#include "Network.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <cstring>

namespace KQ {

void NetworkAddress::setPort(unsigned short port) {
  if (getFamily() == AF_INET6) {
    reinterpret_cast<sockaddr_in6*>(&storage)->sin6_port = htons(port);
  } else {
    reinterpret_cast<sockaddr_in*>(&storage)->sin_port = htons(port);
  }
}

unsigned short NetworkAddress::getPort() const {
  const bool isVersion6 = getFamily() == AF_INET6;
  return ntohs(isVersion6 ? reinterpret_cast<const sockaddr_in6*>(&storage)->sin6_port
                          : reinterpret_cast<const sockaddr_in*>(&storage)->sin_port);
}

std::string NetworkAddress::toString() const {
  char host[NI_MAXHOST] = "?";
  getnameinfo(get(), size, host, sizeof host, nullptr, 0, NI_NUMERICHOST);
  const std::string name = getFamily() == AF_INET6 ? "[" + std::string(host) + "]" : std::string(host);
  return name + ":" + std::to_string(getPort());
}

std::vector<NetworkAddress> resolveHost(const std::string& host, unsigned short port, std::string& error) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* list = nullptr;
  const std::string service = std::to_string(port);
  const int result = getaddrinfo(host.empty() ? nullptr : host.c_str(), service.c_str(), &hints, &list);
  if (result != 0) {
    error = "unknown host '" + host + "': " + gai_strerror(result);
    return {};
  }
  std::vector<NetworkAddress> addresses;
  for (const addrinfo* each = list; each != nullptr; each = each->ai_next) {
    NetworkAddress address{};
    std::memcpy(&address.storage, each->ai_addr, each->ai_addrlen);
    address.size = each->ai_addrlen;
    addresses.push_back(address);
  }
  freeaddrinfo(list);
  return addresses;
}

void disableDelay(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

NetworkAddress getLocalAddress(int socket) {
  NetworkAddress address{};
  address.size = sizeof address.storage;
  getsockname(socket, reinterpret_cast<sockaddr*>(&address.storage), &address.size);
  return address;
}

NetworkAddress getPeerAddress(int socket) {
  NetworkAddress address{};
  address.size = sizeof address.storage;
  getpeername(socket, reinterpret_cast<sockaddr*>(&address.storage), &address.size);
  return address;
}

}  // namespace KQ
