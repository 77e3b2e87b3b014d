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

SocketcandClient::SocketcandClient(int descriptor, std::shared_ptr<KQVirtualBus> bus, KQEndPointManager& manager,
                                   int wakeDescriptor)
    : descriptor_(descriptor), bus_(std::move(bus)), manager_(manager), wakeDescriptor_(wakeDescriptor) {
  disableDelay(descriptor_);
  reply("< hi >");
}

SocketcandClient::~SocketcandClient() {
  finish();
  close(descriptor_);
}

void SocketcandClient::watch(std::function<void(unsigned)> callback) {
  if (stage_ == Stage::FINISHED) {
    return;
  }
  isWatched_ = manager_.addDescriptor(descriptor_, EPOLLIN, std::move(callback)) == KQ_OK;
  interest_ = EPOLLIN;
  if (!isWatched_) {
    finish();
  }
}

void SocketcandClient::handleEvents(unsigned events) {
  if ((events & static_cast<unsigned>(EPOLLOUT)) != 0) {
    isSocketFull_ = false;
  }
  if ((events & GONE_EVENTS) != 0) {
    hangUp();
  } else if (mayRead()) {
    readInput();
  }
  serve();
}

bool SocketcandClient::serve() {
  if (isHolding_ && remainingDelay(holdTick_, KQSocketcandServer::SETTLING_MS) == 0) {
    isHolding_ = false;
  }
  processInput();
  const bool hasSent = sendOutput();
  if (hungUp_) {
    readToTheEnd();
  }
  if (stage_ == Stage::CLOSING) {
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
  if (isHolding_) {
    delay = remainingDelay(holdTick_, KQSocketcandServer::SETTLING_MS);
  }
  if (isPaced_) {
    delay = shorterDelay(delay, remainingDelay(blockTick_, BLOCK_MS));
  }
  if (stage_ == Stage::CLOSING) {
    delay = shorterDelay(delay, remainingDelay(closeTick_, GOODBYE_MS));
  }
  if (waitsForTurn_ && !isCrowding_) {
    delay = shorterDelay(delay, remainingDelay(turnTick_, KQSocketcandServer::TURN_MS));
  }
  return delay;
}

// ---- Input

bool SocketcandClient::mayProcess() const {
  return stage_ == Stage::GREETED || stage_ == Stage::RAW || (stage_ == Stage::OPENED && !isHolding_);
}

bool SocketcandClient::mayRead() const {
  const bool canUse = stage_ == Stage::CLOSING || (mayProcess() && !waitsForRoom_ && !waitsForTurn_);
  return canUse && inputCount_ < input_.size();
}

/// Reads what has arrived, up to one buffer. @return false: nothing has
bool SocketcandClient::readInput() {
  const ssize_t count = recv(descriptor_, input_.data() + inputCount_, input_.size() - inputCount_, MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
    return false;
  }
  if (count <= 0) {
    finish();
    return false;
  }
  inputCount_ += static_cast<std::size_t>(count);
  processInput();
  return true;
}

/// Takes what a peer that is gone has sent before; done when the bus has taken all of it.
void SocketcandClient::readToTheEnd() {
  while (mayRead()) {
    if (!readInput()) {
      finish();
    }
  }
}

void SocketcandClient::processInput() {
  std::size_t consumed = 0;
  waitsForTurn_ = false;
  while (mayProcess()) {
    waitsForTurn_ = !hasTurn();
    if (waitsForTurn_) {
      break;
    }
    const bool isGreeted = stage_ == Stage::GREETED;
    std::string_view line;
    std::size_t used = 0;
    const std::string_view rest(input_.data() + consumed, inputCount_ - consumed);
    const SocketcandCodec::Split split = SocketcandCodec::nextLine(rest, line, used);
    if (split == SocketcandCodec::Split::ENDLESS) {
      refuse("< error line too long >");
    }
    if (split != SocketcandCodec::Split::LINE || !handleLine(line)) {
      break;
    }
    consumed += used;
    if (isGreeted && stage_ == Stage::OPENED && consumed < inputCount_) {
      // The peer did not wait for the answer and would get the next one together with it.
      hold();
    }
  }
  consumeInput(stage_ < Stage::CLOSING ? consumed : inputCount_);
  // Once in the crowd, it stays there until it was given a turn that it does not use up.
  isCrowding_ = waitsForTurn_ ? isCrowding_ || inputCount_ >= TURN_BYTES : isCrowding_ && waitsForRoom_;
}

/// Whether one more line may be worked on. Whoever crowds the bus is given a turn, the others have one every TURN_MS.
bool SocketcandClient::hasTurn() {
  if (turnLeft_ == 0 && !isCrowding_ && remainingDelay(turnTick_, KQSocketcandServer::TURN_MS) == 0) {
    beginTurn();
  }
  return turnLeft_ > 0;
}

void SocketcandClient::beginTurn() {
  turnLeft_ = KQSocketcandServer::TURN_FRAMES;
  turnTick_ = KQTick::getTickCount();
}

void SocketcandClient::consumeInput(std::size_t number) {
  if (number > 0) {
    inputCount_ -= number;
    std::memmove(input_.data(), input_.data() + number, inputCount_);
  }
}

/// @return false: the bus has no room for it; the line is to be handled again later
bool SocketcandClient::handleLine(std::string_view line) {
  const std::string_view command = SocketcandCodec::nextWord(line);
  if (stage_ == Stage::RAW && command == "send") {
    return handleSend(line);
  }
  handleCommand(command, line);
  return true;
}

void SocketcandClient::handleCommand(std::string_view command, std::string_view arguments) {
  if (command == "open" && stage_ == Stage::GREETED) {
    handleOpen(SocketcandCodec::nextWord(arguments));
  } else if (command == "rawmode" && stage_ == Stage::OPENED) {
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
  if (name != bus_->getName()) {
    refuse("< error could not open bus >");
    return;
  }
  stage_ = Stage::OPENED;
  reply("< ok >");
}

void SocketcandClient::enterRawMode() {
  reply("< ok >");
  if (stage_ == Stage::FINISHED) {
    return;
  }
  stage_ = Stage::RAW;
  hold();
  bus_->attach(this);
}

bool SocketcandClient::handleSend(std::string_view arguments) {
  KQBusFrame frame;
  if (!SocketcandCodec::parseSend(arguments, frame)) {
    reply("< error not a frame >");
    return true;
  }
  waitsForRoom_ = bus_->sendWhenRoom(this, frame, wakeDescriptor_, isCrowding_) == KQVirtualBus::SEND_NO_ROOM;
  turnLeft_ -= waitsForRoom_ ? 0U : 1U;
  return !waitsForRoom_;
}

// ---- Output

/// Called by the bus, locked, on the thread that sends the frame.
void SocketcandClient::takeFrame(const KQBusFrame& frame) {
  if (hasOverflowed_ || isDeaf_) {
    return;
  }
  hasOverflowed_ = pending_.size() + unsent_ >= KQSocketcandServer::OUTPUT_LIMIT;
  if (!hasOverflowed_) {
    SocketcandCodec::appendFrameLine(pending_, frame, SocketcandCodec::getWallClock());
  }
  if (hasOverflowed_ || !isWakeRequested_) {
    isWakeRequested_ = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeDescriptor_, &one, sizeof one);
  }
}

KQBusParticipant::Room SocketcandClient::getRoom() const {
  const std::size_t waiting = pending_.size() + unsent_;
  if (!holdsUp_ || hasOverflowed_ || isDeaf_ || waiting < SCARCE) {
    return Room::PLENTY;
  }
  return waiting < NEARLY_FULL ? Room::SCARCE : Room::NONE;
}

void SocketcandClient::stopHoldingUpUnlessTaking() {
  holdsUp_ = isTaking_;
  isTaking_ = false;
}

/// Nobody is there to hear it once the peer is gone, so that it takes nothing of a turn then.
void SocketcandClient::reply(std::string_view text) {
  if (hungUp_) {
    return;
  }
  --turnLeft_;
  {
    const std::lock_guard<std::mutex> lock(bus_->getMutex());
    pending_ += text;
    hasOverflowed_ = hasOverflowed_ || pending_.size() > KQSocketcandServer::OUTPUT_LIMIT;
  }
  sendOutput();
}

/// Answers with an error and ends the connection.
void SocketcandClient::refuse(std::string_view text) {
  bus_->detach(this);
  stage_ = Stage::CLOSING;
  closeTick_ = KQTick::getTickCount();
  isHolding_ = false;
  reply(text);
}

void SocketcandClient::hold() {
  isHolding_ = true;
  holdTick_ = KQTick::getTickCount();
}

/// @return true: something was sent
bool SocketcandClient::sendOutput() {
  if (hasOverflowed()) {
    std::fprintf(stderr, "%s: client %s dropped: it does not read what it is sent\n", bus_->getName().c_str(),
                 getPeerAddress(descriptor_).toString().c_str());
    finish();
  }
  bool hasSent = false;
  isPaced_ = blockSize_ >= BLOCK_SIZE && remainingDelay(blockTick_, BLOCK_MS) > 0;
  while (mayWrite() && (sent_ < sending_.size() || refillOutput())) {
    if (!sendBlock()) {
      hangUp();
    }
    hasSent = hasSent || !isPaced_;
  }
  return hasSent;
}

bool SocketcandClient::mayWrite() const {
  return stage_ != Stage::FINISHED && !hungUp_ && !isSocketFull_ && !isPaced_;
}

/// The number of bytes that may leave now: whole lines, as many as the block has room for.
std::size_t SocketcandClient::nextBlock() {
  if (blockSize_ == 0 || remainingDelay(blockTick_, BLOCK_MS) == 0) {
    blockSize_ = 0;
    blockTick_ = KQTick::getTickCount();
  }
  const std::string_view rest = std::string_view(sending_).substr(sent_);
  const std::string_view fitting = rest.substr(0, BLOCK_SIZE - blockSize_);
  return fitting.size() == rest.size() ? rest.size() : fitting.rfind('>') + 1;
}

/// @return false: nobody is there to read it
bool SocketcandClient::sendBlock() {
  const std::size_t size = nextBlock();
  if (size == 0) {
    isPaced_ = true;
    return true;
  }
  const ssize_t count = send(descriptor_, sending_.data() + sent_, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  if (count < 0) {
    isSocketFull_ = errno == EAGAIN;
    return isSocketFull_ || errno == EINTR;
  }
  sent_ += static_cast<std::size_t>(count);
  // One that sends too much is sent what waits in one go, and is served that much less often.
  blockSize_ = isCrowding_ ? BLOCK_SIZE : blockSize_ + static_cast<std::size_t>(count);
  const std::lock_guard<std::mutex> lock(bus_->getMutex());
  unsent_ = sending_.size() - sent_;
  isTaking_ = true;
  noteRoom();
  return true;
}

/// Takes over what the bus has put in, once everything before it is sent. @return true: there is something to send
bool SocketcandClient::refillOutput() {
  if (isHolding_) {
    return false;
  }
  const std::lock_guard<std::mutex> lock(bus_->getMutex());
  isWakeRequested_ = false;
  sending_.clear();
  sent_ = 0;
  sending_.swap(pending_);
  unsent_ = sending_.size();
  return !sending_.empty();
}

/// With the bus locked.
void SocketcandClient::noteRoom() {
  if (pending_.size() + unsent_ < ROOM_AGAIN) {
    holdsUp_ = true;
    bus_->announceRoom();
  }
}

bool SocketcandClient::hasOverflowed() const {
  const std::lock_guard<std::mutex> lock(bus_->getMutex());
  return hasOverflowed_ && stage_ != Stage::FINISHED;
}

// ---- The end of a connection

/// The peer is gone. The descriptor would report that again and again, so it is watched no longer.
void SocketcandClient::hangUp() {
  hungUp_ = true;
  const std::lock_guard<std::mutex> lock(bus_->getMutex());
  isDeaf_ = true;
  bus_->announceRoom();
}

void SocketcandClient::finishClosing() {
  if (sent_ == sending_.size() && !isShutDown_) {
    isShutDown_ = true;
    shutdown(descriptor_, SHUT_WR);
  }
  if (remainingDelay(closeTick_, GOODBYE_MS) == 0) {
    finish();
  }
}

void SocketcandClient::finish() {
  stage_ = Stage::FINISHED;
  waitsForRoom_ = false;
  waitsForTurn_ = false;
  isCrowding_ = false;
  isHolding_ = false;
  bus_->detach(this);
  updateInterest();
}

void SocketcandClient::updateInterest() {
  if (!isWatched_) {
    return;
  }
  if (stage_ == Stage::FINISHED || hungUp_) {
    isWatched_ = false;
    manager_.removeDescriptor(descriptor_);
    return;
  }
  const unsigned readable = mayRead() ? static_cast<unsigned>(EPOLLIN) : 0U;
  const unsigned writable = isSocketFull_ ? static_cast<unsigned>(EPOLLOUT) : 0U;
  if (interest_ != (readable | writable)) {
    interest_ = readable | writable;
    manager_.modifyDescriptor(descriptor_, interest_);
  }
}

}  // namespace KQ
