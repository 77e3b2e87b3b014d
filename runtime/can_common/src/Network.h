#pragma once

#include <sys/socket.h>

#include <string>
#include <vector>

namespace KQ {

/// One TCP address of a host.
struct NetworkAddress {
  sockaddr_storage storage;
  socklen_t size;

  int getFamily() const { return storage.ss_family; }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
  void setPort(unsigned short port);
  unsigned short getPort() const;

  /// As in "127.0.0.1:29536" or "[::1]:29536".
  std::string toString() const;
};

/// Looks a host up; may take as long as the resolver does.
/// @param host name or address, IPv4 or IPv6; empty: the loopback addresses
/// @param error receives one line when there is none
/// @return its addresses, in the resolver's order; empty when there is none
std::vector<NetworkAddress> resolveHost(const std::string& host, unsigned short port, std::string& error);

/// Lets lines leave at once, each in its own segment.
void disableDelay(int socket);

/// The address of this end or of the other end of a socket.
NetworkAddress getLocalAddress(int socket);
NetworkAddress getPeerAddress(int socket);

}  // namespace KQ
