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

KQVirtualEndPoint::KQVirtualEndPoint(std::shared_ptr<KQVirtualBus> joinedBus, int eventDescriptor, std::size_t capacity)
    : KQEndPoint("virtual:" + joinedBus->getName()),
      bus(std::move(joinedBus)),
      descriptor(eventDescriptor),
      reserve(std::min(LARGEST_RESERVE, capacity / 4)),
      queue(capacity) {
  bus->attach(this);
}

KQVirtualEndPoint::~KQVirtualEndPoint() {
  bus->detach(this);
  close(descriptor);
}

int KQVirtualEndPoint::doRead(KQCANMessage& message) {
  if (!hasFrames.load(std::memory_order_acquire)) {
    return KQ_NO_DATA;
  }
  const std::lock_guard<std::mutex> lock(bus->getMutex());
  queue.getFront().toMessage(message);
  queue.pop();
  isTaking = true;
  if (queue.isEmpty()) {
    makeUnreadable(descriptor);
    hasFrames.store(false, std::memory_order_release);
  }
  noteRoom();
  return KQ_OK;
}

int KQVirtualEndPoint::doWrite(const KQCANMessage& message) {
  if (bus->send(this, KQBusFrame::fromMessage(message)) == KQVirtualBus::SEND_UNACKNOWLEDGED) {
    count(counters_.unacknowledged);
  }
  return KQ_OK;
}

void KQVirtualEndPoint::doSetFilter(const KQReceptionFilter* filter) {
  const std::lock_guard<std::mutex> lock(bus->getMutex());
  acceptedFrames = filter != nullptr ? std::optional<KQReceptionFilter>(*filter) : std::nullopt;
}

void KQVirtualEndPoint::takeFrame(const KQBusFrame& frame) {
  if (frame.extended) {
    count(counters_.dropped);
    return;
  }
  if (acceptedFrames && !acceptedFrames->contains(frame.identifier)) {
    return;
  }
  if (!queue.push(frame)) {
    count(counters_.overruns);
    return;
  }
  if (queue.getCount() == 1) {
    makeReadable(descriptor);
    hasFrames.store(true, std::memory_order_release);
  }
}

KQBusParticipant::Room KQVirtualEndPoint::getRoom() const {
  if (!holdsUp || queue.getRoom() > 2 * reserve) {
    return Room::PLENTY;
  }
  return queue.getRoom() > reserve ? Room::SCARCE : Room::NONE;
}

void KQVirtualEndPoint::stopHoldingUpUnlessTaking() {
  holdsUp = isTaking;
  isTaking = false;
}

void KQVirtualEndPoint::noteRoom() {
  // Not before half of the queue is free, so that senders are not woken for a frame each.
  const bool hasRoom = queue.getRoom() == std::max<std::size_t>(queue.getCapacity() / 2, 1) || queue.isEmpty();
  if (hasRoom) {
    holdsUp = true;
    bus->announceRoom();
  }
}

}  // namespace KQ
