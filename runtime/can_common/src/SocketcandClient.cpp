#include "SocketcandClient.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQSocketcandServer.h"
#include "Network.h"
#include "SocketcandCodec.h"
#include "TickDelay.h"

namespace KQ {

namespace {

constexpr unsigned GOODBYE_MS = 1000;
constexpr unsigned GONE_EVENTS = static_cast<unsigned>(EPOLLHUP) | static_cast<unsigned>(EPOLLERR);
constexpr std::size_t SCARCE = KQSocketcandServer::OUTPUT_LIMIT / 2;
constexpr std::size_t NEARLY_FULL = KQSocketcandServer::OUTPUT_LIMIT / 8 * 7;
constexpr std::size_t ROOM_AGAIN = KQSocketcandServer::OUTPUT_LIMIT / 8 * 3;

// Widely used clients read 1024 bytes at a time and lose a line that is cut by that. So a burst leaves
// in blocks of whole lines, at the pace of a CAN bus: a client that keeps up reads block by block.
constexpr std::size_t BLOCK_SIZE = 1024;
constexpr unsigned BLOCK_MS = 2;

// So many bytes are a turn of frames with eight bytes. A peer that waits for answers never has as many under way.
constexpr std::size_t TURN_BYTES = std::size_t{KQSocketcandServer::TURN_FRAMES} * 32;

}  // namespace

SocketcandClient::SocketcandClient(int connection, std::shared_ptr<KQVirtualBus> joinedBus,
                                   KQEndPointManager& endPointManager, int descriptorToWake)
    : descriptor(connection), bus(std::move(joinedBus)), manager(endPointManager), wakeDescriptor(descriptorToWake) {
  disableDelay(descriptor);
  reply("< hi >");
}

SocketcandClient::~SocketcandClient() {
  finish();
  close(descriptor);
}

void SocketcandClient::watch(std::function<void(unsigned)> callback) {
  if (stage == Stage::FINISHED) {
    return;
  }
  isWatched = manager.addDescriptor(descriptor, EPOLLIN, std::move(callback)) == KQ_OK;
  interest = EPOLLIN;
  if (!isWatched) {
    finish();
  }
}

void SocketcandClient::handleEvents(unsigned events) {
  if ((events & static_cast<unsigned>(EPOLLOUT)) != 0) {
    isSocketFull = false;
  }
  if ((events & GONE_EVENTS) != 0) {
    hangUp();
  } else if (mayRead()) {
    readInput();
  }
  serve();
}

bool SocketcandClient::serve() {
  if (isHolding && remainingDelay(holdTick, KQSocketcandServer::SETTLING_MS) == 0) {
    isHolding = false;
  }
  processInput();
  const bool hasSent = sendOutput();
  if (hungUp) {
    readToTheEnd();
  }
  if (stage == Stage::CLOSING) {
    finishClosing();
  }
  updateInterest();
  return hasSent;
}

void SocketcandClient::takeTurn() {
  beginTurn();
  serve();
}

// Apart, so that it does not weigh on every turn of a server that has no client.
[[gnu::noinline]] int SocketcandClient::getServiceDelay() const {
  int delay = -1;
  if (isHolding) {
    delay = remainingDelay(holdTick, KQSocketcandServer::SETTLING_MS);
  }
  if (isPaced) {
    delay = shorterDelay(delay, remainingDelay(blockTick, BLOCK_MS));
  }
  if (stage == Stage::CLOSING) {
    delay = shorterDelay(delay, remainingDelay(closeTick, GOODBYE_MS));
  }
  if (waitsForTurn && !crowding) {
    delay = shorterDelay(delay, remainingDelay(turnTick, KQSocketcandServer::TURN_MS));
  }
  return delay;
}

// ---- Input

bool SocketcandClient::mayProcess() const {
  return stage == Stage::GREETED || stage == Stage::RAW || (stage == Stage::OPENED && !isHolding);
}

bool SocketcandClient::mayRead() const {
  const bool canUse = stage == Stage::CLOSING || (mayProcess() && !waitsForRoom && !waitsForTurn);
  return canUse && inputCount < input.size();
}

// Reads what has arrived, up to one buffer. @return false: nothing has
bool SocketcandClient::readInput() {
  const ssize_t count = recv(descriptor, input.data() + inputCount, input.size() - inputCount, MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
    return false;
  }
  if (count <= 0) {
    finish();
    return false;
  }
  inputCount += static_cast<std::size_t>(count);
  processInput();
  return true;
}

// Takes what a peer that is gone has sent before; done when the bus has taken all of it.
void SocketcandClient::readToTheEnd() {
  while (mayRead()) {
    if (!readInput()) {
      finish();
    }
  }
}

void SocketcandClient::processInput() {
  std::size_t consumed = 0;
  waitsForTurn = false;
  while (mayProcess()) {
    waitsForTurn = !hasTurn();
    if (waitsForTurn) {
      break;
    }
    const bool isGreeted = stage == Stage::GREETED;
    std::string_view line;
    std::size_t used = 0;
    const std::string_view rest(input.data() + consumed, inputCount - consumed);
    const SocketcandCodec::Split split = SocketcandCodec::nextLine(rest, line, used);
    if (split == SocketcandCodec::Split::ENDLESS) {
      refuse("< error line too long >");
    }
    if (split != SocketcandCodec::Split::LINE || !handleLine(line)) {
      break;
    }
    consumed += used;
    if (isGreeted && stage == Stage::OPENED && consumed < inputCount) {
      // The peer did not wait for the answer and would get the next one together with it.
      hold();
    }
  }
  consumeInput(stage < Stage::CLOSING ? consumed : inputCount);
  // Once in the crowd, it stays there until it was given a turn that it does not use up.
  crowding = waitsForTurn ? crowding || inputCount >= TURN_BYTES : crowding && waitsForRoom;
}

// Whether one more line may be worked on. Whoever crowds the bus is given a turn, the others have one every TURN_MS.
bool SocketcandClient::hasTurn() {
  if (turnLeft == 0 && !crowding && remainingDelay(turnTick, KQSocketcandServer::TURN_MS) == 0) {
    beginTurn();
  }
  return turnLeft > 0;
}

void SocketcandClient::beginTurn() {
  turnLeft = KQSocketcandServer::TURN_FRAMES;
  turnTick = KQTick::getTickCount();
}

void SocketcandClient::consumeInput(std::size_t number) {
  if (number > 0) {
    inputCount -= number;
    std::memmove(input.data(), input.data() + number, inputCount);
  }
}

// @return false: the bus has no room for it; the line is to be handled again later
bool SocketcandClient::handleLine(std::string_view line) {
  const std::string_view command = SocketcandCodec::nextWord(line);
  if (stage == Stage::RAW && command == "send") {
    return handleSend(line);
  }
  handleCommand(command, line);
  return true;
}

void SocketcandClient::handleCommand(std::string_view command, std::string_view arguments) {
  if (command == "open" && stage == Stage::GREETED) {
    handleOpen(SocketcandCodec::nextWord(arguments));
  } else if (command == "rawmode" && stage == Stage::OPENED) {
    enterRawMode();
  } else if (command == "echo") {
    reply("< echo >");
  } else if (command == "open" || command == "rawmode" || command == "send") {
    reply("< error not now >");
  } else if (command == "sendr") {
    reply("< error remote frames are not carried >");
  } else {
    reply("< error unknown command >");
  }
}

void SocketcandClient::handleOpen(std::string_view name) {
  if (name != bus->getName()) {
    refuse("< error could not open bus >");
    return;
  }
  stage = Stage::OPENED;
  reply("< ok >");
}

void SocketcandClient::enterRawMode() {
  reply("< ok >");
  if (stage == Stage::FINISHED) {
    return;
  }
  stage = Stage::RAW;
  hold();
  bus->attach(this);
}

bool SocketcandClient::handleSend(std::string_view arguments) {
  KQBusFrame frame;
  if (!SocketcandCodec::parseSend(arguments, frame)) {
    reply("< error not a frame >");
    return true;
  }
  waitsForRoom = bus->sendWhenRoom(this, frame, wakeDescriptor, crowding) == KQVirtualBus::SEND_NO_ROOM;
  turnLeft -= waitsForRoom ? 0U : 1U;
  return !waitsForRoom;
}

// ---- Output

// Called by the bus, locked, on the thread that sends the frame.
void SocketcandClient::takeFrame(const KQBusFrame& frame) {
  if (overflowed || isDeaf) {
    return;
  }
  overflowed = pending.size() + unsent >= KQSocketcandServer::OUTPUT_LIMIT;
  if (!overflowed) {
    SocketcandCodec::appendFrameLine(pending, frame, SocketcandCodec::getWallClock());
  }
  if (overflowed || !isWakeRequested) {
    isWakeRequested = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeDescriptor, &one, sizeof one);
  }
}

KQBusParticipant::Room SocketcandClient::getRoom() const {
  const std::size_t waiting = pending.size() + unsent;
  if (!holdsUp || overflowed || isDeaf || waiting < SCARCE) {
    return Room::PLENTY;
  }
  return waiting < NEARLY_FULL ? Room::SCARCE : Room::NONE;
}

void SocketcandClient::stopHoldingUpUnlessTaking() {
  holdsUp = isTaking;
  isTaking = false;
}

// Nobody is there to hear it once the peer is gone, so that it takes nothing of a turn then.
void SocketcandClient::reply(std::string_view text) {
  if (hungUp) {
    return;
  }
  --turnLeft;
  {
    const std::lock_guard<std::mutex> lock(bus->getMutex());
    pending += text;
    overflowed = overflowed || pending.size() > KQSocketcandServer::OUTPUT_LIMIT;
  }
  sendOutput();
}

// Answers with an error and ends the connection.
void SocketcandClient::refuse(std::string_view text) {
  bus->detach(this);
  stage = Stage::CLOSING;
  closeTick = KQTick::getTickCount();
  isHolding = false;
  reply(text);
}

void SocketcandClient::hold() {
  isHolding = true;
  holdTick = KQTick::getTickCount();
}

// @return true: something was sent
bool SocketcandClient::sendOutput() {
  if (hasOverflowed()) {
    std::fprintf(stderr, "%s: client %s dropped: it does not read what it is sent\n", bus->getName().c_str(),
                 getPeerAddress(descriptor).toString().c_str());
    finish();
  }
  bool hasSent = false;
  isPaced = blockSize >= BLOCK_SIZE && remainingDelay(blockTick, BLOCK_MS) > 0;
  while (mayWrite() && (sent < sending.size() || refillOutput())) {
    if (!sendBlock()) {
      hangUp();
    }
    hasSent = hasSent || !isPaced;
  }
  return hasSent;
}

bool SocketcandClient::mayWrite() const {
  return stage != Stage::FINISHED && !hungUp && !isSocketFull && !isPaced;
}

// The number of bytes that may leave now: whole lines, as many as the block has room for.
std::size_t SocketcandClient::nextBlock() {
  if (blockSize == 0 || remainingDelay(blockTick, BLOCK_MS) == 0) {
    blockSize = 0;
    blockTick = KQTick::getTickCount();
  }
  const std::string_view rest = std::string_view(sending).substr(sent);
  const std::string_view fitting = rest.substr(0, BLOCK_SIZE - blockSize);
  return fitting.size() == rest.size() ? rest.size() : fitting.rfind('>') + 1;
}

// @return false: nobody is there to read it
bool SocketcandClient::sendBlock() {
  const std::size_t size = nextBlock();
  if (size == 0) {
    isPaced = true;
    return true;
  }
  const ssize_t count = send(descriptor, sending.data() + sent, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  if (count < 0) {
    isSocketFull = errno == EAGAIN;
    return isSocketFull || errno == EINTR;
  }
  sent += static_cast<std::size_t>(count);
  // One that sends too much is sent what waits in one go, and is served that much less often.
  blockSize = crowding ? BLOCK_SIZE : blockSize + static_cast<std::size_t>(count);
  const std::lock_guard<std::mutex> lock(bus->getMutex());
  unsent = sending.size() - sent;
  isTaking = true;
  noteRoom();
  return true;
}

// Takes over what the bus has put in, once everything before it is sent. @return true: there is something to send
bool SocketcandClient::refillOutput() {
  if (isHolding) {
    return false;
  }
  const std::lock_guard<std::mutex> lock(bus->getMutex());
  isWakeRequested = false;
  sending.clear();
  sent = 0;
  sending.swap(pending);
  unsent = sending.size();
  return !sending.empty();
}

// With the bus locked.
void SocketcandClient::noteRoom() {
  if (pending.size() + unsent < ROOM_AGAIN) {
    holdsUp = true;
    bus->announceRoom();
  }
}

bool SocketcandClient::hasOverflowed() const {
  const std::lock_guard<std::mutex> lock(bus->getMutex());
  return overflowed && stage != Stage::FINISHED;
}

// ---- The end of a connection

// The peer is gone. The descriptor would report that again and again, so it is watched no longer.
void SocketcandClient::hangUp() {
  hungUp = true;
  const std::lock_guard<std::mutex> lock(bus->getMutex());
  isDeaf = true;
  bus->announceRoom();
}

void SocketcandClient::finishClosing() {
  if (sent == sending.size() && !isShutDown) {
    isShutDown = true;
    shutdown(descriptor, SHUT_WR);
  }
  if (remainingDelay(closeTick, GOODBYE_MS) == 0) {
    finish();
  }
}

void SocketcandClient::finish() {
  stage = Stage::FINISHED;
  waitsForRoom = false;
  waitsForTurn = false;
  crowding = false;
  isHolding = false;
  bus->detach(this);
  updateInterest();
}

void SocketcandClient::updateInterest() {
  if (!isWatched) {
    return;
  }
  if (stage == Stage::FINISHED || hungUp) {
    isWatched = false;
    manager.removeDescriptor(descriptor);
    return;
  }
  const unsigned readable = mayRead() ? static_cast<unsigned>(EPOLLIN) : 0U;
  const unsigned writable = isSocketFull ? static_cast<unsigned>(EPOLLOUT) : 0U;
  if (interest != (readable | writable)) {
    interest = readable | writable;
    manager.modifyDescriptor(descriptor, interest);
  }
}

}  // namespace KQ
