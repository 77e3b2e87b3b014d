#include "KQSocketcandEndPoint.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>
#include <vector>

#include "Network.h"
#include "SocketcandCodec.h"
#include "TickDelay.h"

namespace KQ {

// The addresses of the host, looked up once: a look-up may wait, and a reconnect must not.
struct KQSocketcandEndPoint::Addresses {
  std::vector<NetworkAddress> list;
  std::size_t next{0};

  const NetworkAddress& takeNext() {
    next = (next + 1) % list.size();
    return list[(next + list.size() - 1) % list.size()];
  }
};

namespace {

std::string makeURI(const std::string& host, unsigned short port, const std::string& channel) {
  const bool isVersion6 = host.find(':') != std::string::npos;
  const std::string name = isVersion6 ? "[" + host + "]" : host;
  return "socketcand:" + name + ":" + std::to_string(port) + "/" + channel;
}

}  // namespace

std::unique_ptr<KQSocketcandEndPoint> KQSocketcandEndPoint::open(const std::string& host, unsigned short port,
                                                                 const std::string& channel, std::string& error,
                                                                 unsigned timeLimitMs) {
  error.clear();
  const std::string uri = makeURI(host, port, channel);
  auto addresses = std::make_unique<Addresses>();
  addresses->list = resolveHost(host, port, error);
  if (addresses->list.empty()) {
    error = uri + ": " + error;
    return nullptr;
  }
  const int epoll = epoll_create1(EPOLL_CLOEXEC);
  if (epoll < 0) {
    error = uri + ": " + std::strerror(errno);
    return nullptr;
  }
  std::unique_ptr<KQSocketcandEndPoint> endPoint(new KQSocketcandEndPoint(uri, channel, std::move(addresses), epoll));
  return endPoint->openAny(timeLimitMs, error) ? std::move(endPoint) : nullptr;
}

KQSocketcandEndPoint::KQSocketcandEndPoint(std::string uri, std::string channelName,
                                           std::unique_ptr<Addresses> hostAddresses, int epollDescriptor)
    : KQEndPoint(std::move(uri)),
      channel(std::move(channelName)),
      addresses(std::move(hostAddresses)),
      epoll(epollDescriptor),
      received(RECEIVE_CAPACITY) {}

KQSocketcandEndPoint::~KQSocketcandEndPoint() {
  if (socket >= 0) {
    close(socket);
  }
  close(epoll);
}

// Tries all addresses, until one leads to a server: what that one answers holds.
bool KQSocketcandEndPoint::openAny(unsigned timeLimitMs, std::string& error) {
  for (std::size_t i = 0; i < addresses->list.size(); ++i) {
    lastFailure.clear();
    const bool hasReachedServer = openNext(timeLimitMs);
    if (stage == Stage::RUNNING) {
      isOpening = false;
      return true;
    }
    error = getURI() + ": " + lastFailure;
    if (hasReachedServer) {
      break;
    }
  }
  return false;
}

// Connects to the next address and waits for the end of the handshake. @return true: somebody is there
bool KQSocketcandEndPoint::openNext(unsigned timeLimitMs) {
  using Clock = std::chrono::steady_clock;  // not the tick, which stands still under a test's clock
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(timeLimitMs);
  bool hasReachedServer = false;
  connectNext();
  while (stage != Stage::IDLE && stage != Stage::RUNNING) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting{epoll, POLLIN, 0};
    if (left <= 0 || poll(&waiting, 1, static_cast<int>(left)) == 0) {
      fail("no answer within " + std::to_string(timeLimitMs) + " ms");
      break;
    }
    advance();
    hasReachedServer = hasReachedServer || stage > Stage::CONNECTING;
  }
  return hasReachedServer;
}

// ---- The connection

void KQSocketcandEndPoint::connectNext() {
  const NetworkAddress& address = addresses->takeNext();
  stageTick = KQTick::getTickCount();
  const int descriptor = ::socket(address.getFamily(), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0) {
    fail(std::strerror(errno));
    return;
  }
  disableDelay(descriptor);
  {
    const std::lock_guard<std::mutex> lock(mutex);
    socket = descriptor;
    epoll_event event{};
    event.events = EPOLLIN | EPOLLOUT;
    epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event);
    isWatchedForWriting = true;
  }
  stage = Stage::CONNECTING;
  if (connect(descriptor, address.get(), address.size) != 0 && errno != EINPROGRESS) {
    fail(std::strerror(errno));
  }
}

void KQSocketcandEndPoint::finishConnecting() {
  pollfd ready{socket, POLLOUT, 0};
  if (poll(&ready, 1, 0) <= 0) {
    return;
  }
  int failure = 0;
  socklen_t size = sizeof failure;
  getsockopt(socket, SOL_SOCKET, SO_ERROR, &failure, &size);
  if (failure != 0) {
    fail(std::strerror(failure));
    return;
  }
  stage = Stage::AWAIT_HI;
}

// Goes as far as it goes without waiting.
void KQSocketcandEndPoint::advance() {
  if (stage == Stage::CONNECTING) {
    finishConnecting();
  }
  if (stage > Stage::CONNECTING) {
    flush();
    parseInput();
    readSocket();
  }
}

void KQSocketcandEndPoint::enterRunning() {
  stage = Stage::RUNNING;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    isRunning = true;
  }
  setConnected(true, "connected again");
}

// Ends the connection, or the attempt.
void KQSocketcandEndPoint::fail(const std::string& reason) {
  lastFailure = reason;
  stage = Stage::IDLE;
  stageTick = KQTick::getTickCount();
  inputCount = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (socket >= 0) {
      close(socket);  // which takes it out of the epoll set as well
    }
    socket = -1;
    isRunning = false;
    isBroken = false;
    const auto lost = std::count(output.begin() + static_cast<std::ptrdiff_t>(sent), output.end(), '>');
    count(counters_.discarded, static_cast<unsigned>(lost));
    output.clear();
    sent = 0;
  }
  if (!isOpening) {
    setConnected(false, reason.c_str());
  }
}

int KQSocketcandEndPoint::getServiceDelay() const {
  if (stage == Stage::IDLE) {
    return remainingDelay(stageTick, RETRY_MS);
  }
  if (stage != Stage::RUNNING) {
    return remainingDelay(stageTick, HANDSHAKE_MS);
  }
  const std::lock_guard<std::mutex> lock(mutex);
  return isBroken && received.getRoom() > 0 ? 0 : -1;
}

void KQSocketcandEndPoint::service() {
  if (getServiceDelay() != 0) {
    return;
  }
  if (stage == Stage::IDLE) {
    connectNext();
    return;
  }
  if (stage == Stage::RUNNING) {
    // A write found it gone: what was sent before that is still there to be read, and then the end.
    parseInput();
    readSocket();
  }
  if (getServiceDelay() == 0) {
    fail(stage == Stage::RUNNING ? "connection lost" : "no answer from the server");
  }
}

// ---- Reading

bool KQSocketcandEndPoint::prepareRead() {
  advance();
  return !received.isEmpty();
}

int KQSocketcandEndPoint::doRead(KQCANMessage& message) {
  if (received.isEmpty()) {
    service();
    advance();
  }
  if (received.isEmpty()) {
    return isConnected() ? KQ_NO_DATA : KQ_NOT_AVAILABLE;
  }
  received.getFront().toMessage(message);
  received.pop();
  if (received.isEmpty()) {
    parseInput();  // lines that there was no room for
  }
  return KQ_OK;
}

void KQSocketcandEndPoint::readSocket() {
  // With the queue full nothing is read: what was sent before the connection ends would be lost with it.
  while (stage > Stage::CONNECTING && received.getRoom() > 0) {
    const ssize_t number = recv(socket, input.data() + inputCount, input.size() - inputCount, MSG_DONTWAIT);
    if (number < 0 && errno == EINTR) {
      continue;
    }
    if (number < 0 && errno == EAGAIN) {
      return;
    }
    if (number <= 0) {
      fail(number == 0 ? "the server closed the connection" : std::strerror(errno));
      return;
    }
    inputCount += static_cast<std::size_t>(number);
    parseInput();
  }
}

void KQSocketcandEndPoint::parseInput() {
  std::size_t consumed = 0;
  while (stage > Stage::CONNECTING && received.getRoom() > 0) {
    std::string_view line;
    std::size_t used = 0;
    const std::string_view rest(input.data() + consumed, inputCount - consumed);
    const SocketcandCodec::Split split = SocketcandCodec::nextLine(rest, line, used);
    if (split == SocketcandCodec::Split::ENDLESS) {
      fail("the server does not speak this protocol");
    }
    if (split != SocketcandCodec::Split::LINE) {
      break;
    }
    consumed += used;
    handleLine(line);
  }
  if (consumed > 0 && inputCount > 0) {
    inputCount -= consumed;
    std::memmove(input.data(), input.data() + consumed, inputCount);
  }
}

void KQSocketcandEndPoint::handleLine(std::string_view line) {
  std::string_view arguments = line;
  const std::string_view command = SocketcandCodec::nextWord(arguments);
  if (stage == Stage::RUNNING) {
    handleRunningLine(command, arguments);
  } else {
    handleHandshakeLine(command, line);
  }
}

void KQSocketcandEndPoint::handleRunningLine(std::string_view command, std::string_view arguments) {
  KQBusFrame frame;
  if (command != "frame") {
    return;
  }
  if (SocketcandCodec::parseFrame(arguments, frame) && !frame.extended) {
    received.push(frame);
  } else {
    count(counters_.dropped);
  }
}

void KQSocketcandEndPoint::handleHandshakeLine(std::string_view command, std::string_view line) {
  if (command == "error") {
    fail("the server refuses channel '" + channel + "': " + std::string(line));
  } else if (stage == Stage::AWAIT_HI && command == "hi") {
    stage = Stage::AWAIT_OPENED;
    sendLine("< open " + channel + " >");
  } else if (stage == Stage::AWAIT_OPENED && command == "ok") {
    stage = Stage::AWAIT_RAW;
    sendLine("< rawmode >");
  } else if (stage == Stage::AWAIT_RAW && command == "ok") {
    enterRunning();
  }
}

// ---- Writing

int KQSocketcandEndPoint::doWrite(const KQCANMessage& message) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (!isRunning) {
    return KQ_NOT_AVAILABLE;
  }
  if (output.size() - sent >= TRANSMIT_LIMIT) {
    return KQ_DEFERRED;
  }
  const bool mustWait = !output.empty();
  SocketcandCodec::appendSendLine(output, KQBusFrame::fromMessage(message));
  if (!mustWait && sendPending() == KQ_NOT_AVAILABLE) {
    output.clear();
    sent = 0;
    return KQ_NOT_AVAILABLE;
  }
  return KQ_OK;
}

void KQSocketcandEndPoint::sendLine(std::string_view line) {
  const std::lock_guard<std::mutex> lock(mutex);
  output += line;
  sendPending();
}

int KQSocketcandEndPoint::flush() {
  const std::lock_guard<std::mutex> lock(mutex);
  return socket < 0 || isBroken ? KQ_NOT_AVAILABLE : sendPending();
}

// With the lock held. A broken connection is closed later, by the one thread that may.
int KQSocketcandEndPoint::sendPending() {
  while (sent < output.size()) {
    const ssize_t number = send(socket, output.data() + sent, output.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (number >= 0) {
      sent += static_cast<std::size_t>(number);
    } else if (errno == EAGAIN) {
      output.erase(0, sent);
      sent = 0;
      watchSocket(true);
      return KQ_NO_DATA;
    } else if (errno != EINTR) {
      isBroken = true;
      isRunning = false;
      wakeManager();
      return KQ_NOT_AVAILABLE;
    }
  }
  output.clear();
  sent = 0;
  watchSocket(false);
  return KQ_OK;
}

// With the lock held. Writing is watched for inside the own descriptor, which becomes readable by it.
void KQSocketcandEndPoint::watchSocket(bool alsoWritable) {
  if (isWatchedForWriting == alsoWritable) {
    return;
  }
  isWatchedForWriting = alsoWritable;
  epoll_event event{};
  event.events = alsoWritable ? EPOLLIN | EPOLLOUT : EPOLLIN;
  epoll_ctl(epoll, EPOLL_CTL_MOD, socket, &event);
}

}  // namespace KQ
