#include "KQSocketcandServer.h"

#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQVirtualBus.h"
#include "Network.h"
#include "SocketcandClient.h"
#include "TickDelay.h"

namespace KQ {

namespace {

constexpr int BACKLOG = 64;
constexpr unsigned ACCEPTED_AT_ONCE = 8;
constexpr int SEND_BUFFER = 65536;
constexpr unsigned ACCEPT_PAUSE_MS = 100;

// To how many of the crowd something is sent before others are looked at again: a system call takes as long as an
// answer of the node.
constexpr unsigned SENT_AT_ONCE = 4;

// The bus carries TURN_FRAMES in TURN_MS, and handing them to many clients is to leave time for other work. However
// much goes on there, the crowd waits for its turn no longer than LONGEST_TURN_MS.
constexpr unsigned FRAMES_A_MS = KQSocketcandServer::TURN_FRAMES / KQSocketcandServer::TURN_MS;
constexpr unsigned CLIENTS_A_MS = 8;
constexpr unsigned LONGEST_TURN_MS = KQSocketcandServer::MAXIMUM_CLIENTS / CLIENTS_A_MS;

void setOption(int socket, int level, int option, int value = 1) {
  setsockopt(socket, level, option, &value, sizeof value);
}

// Opens a listening socket. @return the descriptor, or a negated errno value
int openListener(const NetworkAddress& address) {
  const int descriptor = socket(address.getFamily(), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0) {
    return -errno;
  }
  setOption(descriptor, SOL_SOCKET, SO_REUSEADDR);
  if (address.getFamily() == AF_INET6) {
    setOption(descriptor, IPPROTO_IPV6, IPV6_V6ONLY);  // the IPv4 address of a name has a socket of its own
  }
  if (bind(descriptor, address.get(), address.size) == 0 && listen(descriptor, BACKLOG) == 0) {
    return descriptor;
  }
  const int failure = -errno;
  ::close(descriptor);
  return failure;
}

// True for the errors by which the machine says that it has no such kind of address, not that it is taken.
bool meansNoSuchAddress(int error) {
  return error == -EAFNOSUPPORT || error == -EADDRNOTAVAIL;
}

bool meansOutOfResources(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

KQSocketcandServer::KQSocketcandServer() = default;

KQSocketcandServer::~KQSocketcandServer() {
  close();
}

int KQSocketcandServer::listen(const std::string& host, unsigned short port, const std::string& busName,
                               KQEndPointManager& manager, std::string& error) {
  error.clear();
  if (endPointManager != nullptr) {
    error = "listening already";
    return KQ_ALREADY_EXISTS;
  }
  const int result = openListeners(host, port, error);
  if (result != KQ_OK) {
    return result;
  }
  wakeDescriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  endPointManager = &manager;
  bus = KQVirtualBus::get(busName);
  manager.addDescriptor(wakeDescriptor, EPOLLIN, [this](unsigned) { onWake(); });
  for (const int listener : listeners) {
    manager.addDescriptor(listener, EPOLLIN, [this, listener](unsigned) { acceptClients(listener); });
  }
  manager.addService(this);
  return KQ_OK;
}

int KQSocketcandServer::openListeners(const std::string& host, unsigned short port, std::string& error) {
  std::vector<NetworkAddress> addresses = resolveHost(host, port, error);
  if (addresses.empty()) {
    return KQ_INVALID_ARGUMENT;
  }
  int failure = 0;
  for (NetworkAddress& address : addresses) {
    // Asked for any port, the first address chooses it for the others.
    address.setPort(boundPort != 0 ? boundPort : port);
    const int listener = openListener(address);
    if (listener >= 0) {
      listeners.push_back(listener);
      boundPort = getLocalAddress(listener).getPort();
      continue;
    }
    failure = failure == 0 || !meansNoSuchAddress(listener) ? listener : failure;
    error = "cannot listen on " + address.toString() + ": " + std::strerror(-failure);
  }
  if (!listeners.empty() && (failure == 0 || meansNoSuchAddress(failure))) {
    error.clear();
    return KQ_OK;
  }
  closeListeners();
  return KQ_NOT_AVAILABLE;
}

void KQSocketcandServer::closeListeners() {
  for (const int listener : listeners) {
    ::close(listener);
  }
  listeners.clear();
  boundPort = 0;
}

void KQSocketcandServer::close() {
  if (endPointManager == nullptr) {
    return;
  }
  clients.clear();
  endPointManager->removeService(this);
  endPointManager->removeDescriptor(wakeDescriptor);
  for (const int listener : listeners) {
    endPointManager->removeDescriptor(listener);
  }
  closeListeners();
  bus->removeRoomDescriptor(wakeDescriptor);
  ::close(wakeDescriptor);
  wakeDescriptor = -1;
  bus = nullptr;
  endPointManager = nullptr;
  acceptPaused = false;
  isFull = false;
  isWaiting = false;
}

// Some at a time: those who connect without end are not to be the only ones who are served.
void KQSocketcandServer::acceptClients(int listener) {
  for (unsigned i = 0; i < ACCEPTED_AT_ONCE; ++i) {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor >= 0) {
      addClient(descriptor);
      continue;
    }
    const int failure = errno;
    if (meansOutOfResources(failure)) {
      pauseAccepting();
    }
    if (failure != EINTR && failure != ECONNABORTED) {
      return;
    }
  }
}

// The connection that cannot be accepted stays waiting and would be reported without end.
void KQSocketcandServer::pauseAccepting() {
  acceptPaused = true;
  acceptTick = KQTick::getTickCount();
  for (const int listener : listeners) {
    endPointManager->modifyDescriptor(listener, 0);
  }
}

void KQSocketcandServer::resumeAccepting() {
  acceptPaused = false;
  for (const int listener : listeners) {
    endPointManager->modifyDescriptor(listener, EPOLLIN);
  }
}

void KQSocketcandServer::addClient(int descriptor) {
  if (clients.size() >= MAXIMUM_CLIENTS) {
    refuseClient(descriptor);
    return;
  }
  setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE);
  // The kernel says that there is room again when a third of this was read: soon, so that whoever reads is known to.
  setOption(descriptor, SOL_SOCKET, SO_SNDBUF, SEND_BUFFER);
  clients.push_back(std::make_unique<SocketcandClient>(descriptor, bus, *endPointManager, wakeDescriptor));
  SocketcandClient* client = clients.back().get();
  client->watch([this, client](unsigned events) {
    client->handleEvents(events);
    watchPatience();
    removeFinishedClients();
  });
}

void KQSocketcandServer::refuseClient(int descriptor) {
  if (!isFull) {
    std::fprintf(stderr, "%s: more than %zu clients, %s and others are refused\n", bus->getName().c_str(),
                 MAXIMUM_CLIENTS, getPeerAddress(descriptor).toString().c_str());
  }
  isFull = true;
  constexpr std::string_view ANSWER = "< error too many clients >";
  [[maybe_unused]] const ssize_t sent = send(descriptor, ANSWER.data(), ANSWER.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  ::close(descriptor);
}

void KQSocketcandServer::onWake() {
  std::uint64_t ignored = 0;
  [[maybe_unused]] const ssize_t count = read(wakeDescriptor, &ignored, sizeof ignored);
  serveClients();
}

void KQSocketcandServer::wake() const {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(wakeDescriptor, &one, sizeof one);
}

void KQSocketcandServer::serveClients() {
  for (const auto& client : clients) {
    if (!client->isCrowding()) {
      client->serve();
    }
  }
  serveCrowd();
  watchPatience();
  removeFinishedClients();
}

// Those who send too much get theirs after the others, and not all of them at once.
void KQSocketcandServer::serveCrowd() {
  unsigned sent = 0;
  for (std::size_t i = 0; i < clients.size() && sent < SENT_AT_ONCE; ++i) {
    nextServed = (nextServed + 1) % clients.size();
    SocketcandClient& client = *clients[nextServed];
    sent += client.isCrowding() && client.serve() ? 1U : 0U;
  }
  if (sent == SENT_AT_ONCE) {
    wake();
  }
}

// Lets one of those who send more than their share go on.
void KQSocketcandServer::giveTurn() {
  for (std::size_t i = 0; i < clients.size(); ++i) {
    nextTurn = (nextTurn + 1) % clients.size();
    if (clients[nextTurn]->isCrowding()) {
      turnTick = KQTick::getTickCount();
      turnFrames = bus->getFrameCount();
      clients[nextTurn]->takeTurn();
      return;
    }
  }
}

// Milliseconds for which bus and server are still taken up by what was sent since the last turn.
int KQSocketcandServer::getTurnDelay() const {
  const unsigned carrying = (bus->getFrameCount() - turnFrames) / FRAMES_A_MS;
  const unsigned handingOut = static_cast<unsigned>(clients.size()) / CLIENTS_A_MS;
  return remainingDelay(turnTick, std::clamp(std::max(carrying, handingOut), TURN_MS, LONGEST_TURN_MS));
}

// Clients wait for somebody who reads slowly, and not for somebody who does not read.
void KQSocketcandServer::watchPatience() {
  const bool waits =
      std::any_of(clients.begin(), clients.end(), [](const auto& client) { return client->isWaitingForRoom(); });
  const bool isOver = waits && isWaiting && remainingDelay(waitTick, PATIENCE_MS) == 0;
  if (isOver) {
    bus->stopWaitingForRoom();
  }
  if (isOver || !isWaiting) {
    waitTick = KQTick::getTickCount();
  }
  isWaiting = waits;
}

void KQSocketcandServer::removeFinishedClients() {
  const auto end =
      std::remove_if(clients.begin(), clients.end(), [](const auto& client) { return client->isFinished(); });
  isFull = isFull && end == clients.end();
  clients.erase(end, clients.end());
}

int KQSocketcandServer::getServiceDelay() const {
  int delay = acceptPaused ? remainingDelay(acceptTick, ACCEPT_PAUSE_MS) : -1;
  bool isCrowded = false;
  for (const auto& client : clients) {
    delay = shorterDelay(delay, client->getServiceDelay());
    isCrowded = isCrowded || client->isCrowding();
  }
  if (isCrowded) {
    delay = shorterDelay(delay, getTurnDelay());
  }
  return isWaiting ? shorterDelay(delay, remainingDelay(waitTick, PATIENCE_MS)) : delay;
}

void KQSocketcandServer::service() {
  if (acceptPaused && remainingDelay(acceptTick, ACCEPT_PAUSE_MS) == 0) {
    resumeAccepting();
  }
  if (getTurnDelay() == 0) {
    giveTurn();
  }
  serveClients();
}

}  // namespace KQ
