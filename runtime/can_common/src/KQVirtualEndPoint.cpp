#include "KQVirtualEndPoint.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

namespace KQ {

namespace {

constexpr std::size_t LARGEST_RESERVE = 64;

void makeReadable(int descriptor) {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(descriptor, &one, sizeof one);
}

void makeUnreadable(int descriptor) {
  std::uint64_t ignored = 0;
  [[maybe_unused]] const ssize_t count = read(descriptor, &ignored, sizeof ignored);
}

}  // namespace

std::unique_ptr<KQVirtualEndPoint> KQVirtualEndPoint::open(const std::string& busName, std::string& error,
                                                           std::size_t capacity) {
  error.clear();
  const int descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (descriptor < 0) {
    error = "virtual:" + busName + ": " + std::strerror(errno);
    return nullptr;
  }
  return std::unique_ptr<KQVirtualEndPoint>(
      new KQVirtualEndPoint(KQVirtualBus::get(busName), descriptor, std::max<std::size_t>(capacity, 1)));
}

KQVirtualEndPoint::KQVirtualEndPoint(std::shared_ptr<KQVirtualBus> bus, int descriptor, std::size_t capacity)
    : KQEndPoint("virtual:" + bus->getName()),
      bus_(std::move(bus)),
      descriptor_(descriptor),
      reserve_(std::min(LARGEST_RESERVE, capacity / 4)),
      queue_(capacity) {
  bus_->attach(this);
}

KQVirtualEndPoint::~KQVirtualEndPoint() {
  bus_->detach(this);
  close(descriptor_);
}

int KQVirtualEndPoint::doRead(KQCANMessage& message) {
  if (!hasFrames_.load(std::memory_order_acquire)) {
    return KQ_NO_DATA;
  }
  const std::lock_guard<std::mutex> lock(bus_->getMutex());
  queue_.getFront().toMessage(message);
  queue_.pop();
  isTaking_ = true;
  if (queue_.isEmpty()) {
    makeUnreadable(descriptor_);
    hasFrames_.store(false, std::memory_order_release);
  }
  noteRoom();
  return KQ_OK;
}

int KQVirtualEndPoint::doWrite(const KQCANMessage& message) {
  if (bus_->send(this, KQBusFrame::fromMessage(message)) == KQVirtualBus::SEND_UNACKNOWLEDGED) {
    count(counters_.unacknowledged);
  }
  return KQ_OK;
}

void KQVirtualEndPoint::doSetFilter(const KQReceptionFilter* filter) {
  const std::lock_guard<std::mutex> lock(bus_->getMutex());
  acceptedFrames_ = filter != nullptr ? std::optional<KQReceptionFilter>(*filter) : std::nullopt;
}

void KQVirtualEndPoint::takeFrame(const KQBusFrame& frame) {
  if (frame.extended) {
    count(counters_.dropped);
    return;
  }
  if (acceptedFrames_ && !acceptedFrames_->contains(frame.identifier)) {
    return;
  }
  if (!queue_.push(frame)) {
    count(counters_.overruns);
    return;
  }
  if (queue_.getCount() == 1) {
    makeReadable(descriptor_);
    hasFrames_.store(true, std::memory_order_release);
  }
}

KQBusParticipant::Room KQVirtualEndPoint::getRoom() const {
  if (!holdsUp_ || queue_.getRoom() > 2 * reserve_) {
    return Room::PLENTY;
  }
  return queue_.getRoom() > reserve_ ? Room::SCARCE : Room::NONE;
}

void KQVirtualEndPoint::stopHoldingUpUnlessTaking() {
  holdsUp_ = isTaking_;
  isTaking_ = false;
}

void KQVirtualEndPoint::noteRoom() {
  // Not before half of the queue is free, so that senders are not woken for a frame each.
  const bool hasRoom = queue_.getRoom() == std::max<std::size_t>(queue_.getCapacity() / 2, 1) || queue_.isEmpty();
  if (hasRoom) {
    holdsUp_ = true;
    bus_->announceRoom();
  }
}

}  // namespace KQ
