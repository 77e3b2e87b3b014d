#include "KQSocketcandServer.h"

#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQNetwork.h"
#include "KQSocketcandClient.h"
#include "KQTickDelay.h"
#include "KQVirtualBus.h"

namespace KQ {

namespace {

constexpr int BACKLOG = 64;
constexpr unsigned ACCEPT_PAUSE_MS = 100;

void enable(int socket, int level, int option) {
  const int on = 1;
  setsockopt(socket, level, option, &on, sizeof on);
}

/// Opens a listening socket. @return the descriptor, or a negated errno value
int openListener(const KQNetworkAddress& address) {
  const int descriptor = socket(address.getFamily(), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0) {
    return -errno;
  }
  enable(descriptor, SOL_SOCKET, SO_REUSEADDR);
  if (address.getFamily() == AF_INET6) {
    enable(descriptor, IPPROTO_IPV6, IPV6_V6ONLY);  // the IPv4 address of a name has a socket of its own
  }
  if (bind(descriptor, address.get(), address.size) == 0 && listen(descriptor, BACKLOG) == 0) {
    return descriptor;
  }
  const int failure = -errno;
  ::close(descriptor);
  return failure;
}

/// True for the errors by which the machine says that it has no such kind of address, not that it is taken.
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
  if (manager_ != nullptr) {
    error = "listening already";
    return KQ_ALREADY_EXISTS;
  }
  const int result = openListeners(host, port, error);
  if (result != KQ_OK) {
    return result;
  }
  wake_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  manager_ = &manager;
  bus_ = KQVirtualBus::get(busName);
  manager.addDescriptor(wake_, EPOLLIN, [this](unsigned) { onWake(); });
  for (const int listener : listeners_) {
    manager.addDescriptor(listener, EPOLLIN, [this, listener](unsigned) { acceptClients(listener); });
  }
  manager.addService(this);
  return KQ_OK;
}

int KQSocketcandServer::openListeners(const std::string& host, unsigned short port, std::string& error) {
  std::vector<KQNetworkAddress> addresses = resolveHost(host, port, error);
  if (addresses.empty()) {
    return KQ_INVALID_ARGUMENT;
  }
  int failure = 0;
  for (KQNetworkAddress& address : addresses) {
    // Asked for any port, the first address chooses it for the others.
    address.setPort(port_ != 0 ? port_ : port);
    const int listener = openListener(address);
    if (listener >= 0) {
      listeners_.push_back(listener);
      port_ = getLocalAddress(listener).getPort();
      continue;
    }
    failure = failure == 0 || !meansNoSuchAddress(listener) ? listener : failure;
    error = "cannot listen on " + address.toString() + ": " + std::strerror(-failure);
  }
  if (!listeners_.empty() && (failure == 0 || meansNoSuchAddress(failure))) {
    error.clear();
    return KQ_OK;
  }
  closeListeners();
  return KQ_NOT_AVAILABLE;
}

void KQSocketcandServer::closeListeners() {
  for (const int listener : listeners_) {
    ::close(listener);
  }
  listeners_.clear();
  port_ = 0;
}

void KQSocketcandServer::close() {
  if (manager_ == nullptr) {
    return;
  }
  clients_.clear();
  manager_->removeService(this);
  manager_->removeDescriptor(wake_);
  for (const int listener : listeners_) {
    manager_->removeDescriptor(listener);
  }
  closeListeners();
  bus_->removeRoomDescriptor(wake_);
  ::close(wake_);
  wake_ = -1;
  bus_ = nullptr;
  manager_ = nullptr;
  acceptPaused_ = false;
}

void KQSocketcandServer::acceptClients(int listener) {
  for (;;) {
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

/// The connection that cannot be accepted stays waiting and would be reported without end.
void KQSocketcandServer::pauseAccepting() {
  acceptPaused_ = true;
  acceptTick_ = KQTick::getTickCount();
  for (const int listener : listeners_) {
    manager_->modifyDescriptor(listener, 0);
  }
}

void KQSocketcandServer::resumeAccepting() {
  acceptPaused_ = false;
  for (const int listener : listeners_) {
    manager_->modifyDescriptor(listener, EPOLLIN);
  }
}

void KQSocketcandServer::addClient(int descriptor) {
  enable(descriptor, SOL_SOCKET, SO_KEEPALIVE);
  clients_.push_back(std::make_unique<KQSocketcandClient>(descriptor, bus_, *manager_, wake_));
  KQSocketcandClient* client = clients_.back().get();
  client->watch([this, client](unsigned events) {
    client->handleEvents(events);
    removeFinishedClients();
  });
}

void KQSocketcandServer::onWake() {
  std::uint64_t ignored = 0;
  [[maybe_unused]] const ssize_t count = read(wake_, &ignored, sizeof ignored);
  serveClients();
}

void KQSocketcandServer::serveClients() {
  for (const auto& client : clients_) {
    client->serve();
  }
  removeFinishedClients();
}

void KQSocketcandServer::removeFinishedClients() {
  clients_.erase(
      std::remove_if(clients_.begin(), clients_.end(), [](const auto& client) { return client->isFinished(); }),
      clients_.end());
}

int KQSocketcandServer::getServiceDelay() const {
  int delay = acceptPaused_ ? remainingDelay(acceptTick_, ACCEPT_PAUSE_MS) : -1;
  for (const auto& client : clients_) {
    delay = shorterDelay(delay, client->getServiceDelay());
  }
  return delay;
}

void KQSocketcandServer::service() {
  if (acceptPaused_ && remainingDelay(acceptTick_, ACCEPT_PAUSE_MS) == 0) {
    resumeAccepting();
  }
  if (std::any_of(clients_.begin(), clients_.end(), [](const auto& client) { return client->hasWaitedTooLong(); })) {
    bus_->stopWaitingForRoom();
  }
  serveClients();
}

}  // namespace KQ
