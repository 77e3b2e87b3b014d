#include "KQVirtualBus.h"

#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <map>
#include <utility>

namespace KQ {

namespace {

struct BusDirectory {
  std::mutex mutex;
  std::map<std::string, std::weak_ptr<KQVirtualBus>> buses;
};

BusDirectory& getDirectory() {
  static BusDirectory directory;
  return directory;
}

void forgetEndedBuses(BusDirectory& directory) {
  for (auto position = directory.buses.begin(); position != directory.buses.end();) {
    position = position->second.expired() ? directory.buses.erase(position) : std::next(position);
  }
}

}  // namespace

std::shared_ptr<KQVirtualBus> KQVirtualBus::get(const std::string& name) {
  BusDirectory& directory = getDirectory();
  const std::lock_guard<std::mutex> lock(directory.mutex);
  forgetEndedBuses(directory);
  std::weak_ptr<KQVirtualBus>& known = directory.buses[name];
  std::shared_ptr<KQVirtualBus> bus = known.lock();
  if (bus == nullptr) {
    bus = std::make_shared<KQVirtualBus>(name);
    known = bus;
  }
  return bus;
}

KQVirtualBus::KQVirtualBus(std::string name) : name_(std::move(name)) {}

std::size_t KQVirtualBus::getParticipantCount() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return seats_.size();
}

void KQVirtualBus::attach(KQBusParticipant* participant) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (Seat& seat : seats_) {
    if (seat.keepsFrame) {
      seat.keepsFrame = false;
      participant->takeFrame(seat.keptFrame);
    }
  }
  seats_.push_back(Seat{participant, false, false, KQBusFrame()});
}

void KQVirtualBus::detach(KQBusParticipant* participant) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = std::find_if(seats_.begin(), seats_.end(),
                                  [participant](const Seat& seat) { return seat.participant == participant; });
  if (found == seats_.end()) {
    return;
  }
  seats_.erase(found);
  announceRoom();
}

KQVirtualBus::SendResult KQVirtualBus::send(KQBusParticipant* sender, const KQBusFrame& frame) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return deliver(sender, frame);
}

KQVirtualBus::SendResult KQVirtualBus::sendWhenRoom(KQBusParticipant* sender, const KQBusFrame& frame,
                                                    int roomDescriptor, bool yields) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (hasRoom(sender, yields)) {
    return deliver(sender, frame);
  }
  if (std::find(roomDescriptors_.begin(), roomDescriptors_.end(), roomDescriptor) == roomDescriptors_.end()) {
    roomDescriptors_.push_back(roomDescriptor);
  }
  return SEND_NO_ROOM;
}

bool KQVirtualBus::hasRoom(const KQBusParticipant* sender, bool yields) const {
  return std::all_of(seats_.begin(), seats_.end(), [sender, yields](const Seat& seat) {
    if (seat.participant == sender) {
      return true;
    }
    const KQBusParticipant::Room room = seat.participant->getRoom();
    return room == KQBusParticipant::Room::PLENTY || (room == KQBusParticipant::Room::SCARCE && !yields);
  });
}

void KQVirtualBus::stopWaitingForRoom() {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const Seat& seat : seats_) {
    if (seat.participant->getRoom() != KQBusParticipant::Room::PLENTY) {
      seat.participant->stopHoldingUpUnlessTaking();
    }
  }
  announceRoom();
}

unsigned KQVirtualBus::getFrameCount() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return frameCount_;
}

void KQVirtualBus::removeRoomDescriptor(int roomDescriptor) {
  const std::lock_guard<std::mutex> lock(mutex_);
  roomDescriptors_.erase(std::remove(roomDescriptors_.begin(), roomDescriptors_.end(), roomDescriptor),
                         roomDescriptors_.end());
}

void KQVirtualBus::announceRoom() {
  const std::uint64_t one = 1;
  for (const int descriptor : roomDescriptors_) {
    [[maybe_unused]] const ssize_t written = write(descriptor, &one, sizeof one);
  }
  roomDescriptors_.clear();
}

KQVirtualBus::SendResult KQVirtualBus::deliver(KQBusParticipant* sender, const KQBusFrame& frame) {
  Seat* seat = findSeat(sender);
  assert(seat != nullptr && "a frame from somebody who is not on the bus");
  const bool isFirst = !seat->hasSent;
  seat->hasSent = true;
  ++frameCount_;
  if (seats_.size() == 1) {
    seat->keepsFrame = seat->keepsFrame || isFirst;
    if (isFirst) {
      seat->keptFrame = frame;
    }
    return isFirst ? SEND_KEPT : SEND_UNACKNOWLEDGED;
  }
  for (const Seat& other : seats_) {
    if (other.participant != sender) {
      other.participant->takeFrame(frame);
    }
  }
  return SEND_DELIVERED;
}

KQVirtualBus::Seat* KQVirtualBus::findSeat(const KQBusParticipant* participant) {
  for (Seat& seat : seats_) {
    if (seat.participant == participant) {
      return &seat;
    }
  }
  return nullptr;
}

}  // namespace KQ
