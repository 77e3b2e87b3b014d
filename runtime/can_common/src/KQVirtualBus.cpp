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

KQVirtualBus::KQVirtualBus(std::string busName) : name(std::move(busName)) {}

std::size_t KQVirtualBus::getParticipantCount() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return seats.size();
}

void KQVirtualBus::attach(KQBusParticipant* participant) {
  const std::lock_guard<std::mutex> lock(mutex);
  for (Seat& seat : seats) {
    if (seat.keepsFrame) {
      seat.keepsFrame = false;
      participant->takeFrame(seat.keptFrame);
    }
  }
  seats.push_back(Seat{participant, false, false, KQBusFrame()});
}

void KQVirtualBus::detach(KQBusParticipant* participant) {
  const std::lock_guard<std::mutex> lock(mutex);
  const auto found = std::find_if(seats.begin(), seats.end(),
                                  [participant](const Seat& seat) { return seat.participant == participant; });
  if (found == seats.end()) {
    return;
  }
  seats.erase(found);
  announceRoom();
}

KQVirtualBus::SendResult KQVirtualBus::send(KQBusParticipant* sender, const KQBusFrame& frame) {
  const std::lock_guard<std::mutex> lock(mutex);
  return deliver(sender, frame);
}

KQVirtualBus::SendResult KQVirtualBus::sendWhenRoom(KQBusParticipant* sender, const KQBusFrame& frame,
                                                    int roomDescriptor, bool yields) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (hasRoom(sender, yields)) {
    return deliver(sender, frame);
  }
  if (std::find(roomDescriptors.begin(), roomDescriptors.end(), roomDescriptor) == roomDescriptors.end()) {
    roomDescriptors.push_back(roomDescriptor);
  }
  return SEND_NO_ROOM;
}

bool KQVirtualBus::hasRoom(const KQBusParticipant* sender, bool yields) const {
  return std::all_of(seats.begin(), seats.end(), [sender, yields](const Seat& seat) {
    if (seat.participant == sender) {
      return true;
    }
    const KQBusParticipant::Room room = seat.participant->getRoom();
    return room == KQBusParticipant::Room::PLENTY || (room == KQBusParticipant::Room::SCARCE && !yields);
  });
}

void KQVirtualBus::stopWaitingForRoom() {
  const std::lock_guard<std::mutex> lock(mutex);
  for (const Seat& seat : seats) {
    if (seat.participant->getRoom() != KQBusParticipant::Room::PLENTY) {
      seat.participant->stopHoldingUpUnlessTaking();
    }
  }
  announceRoom();
}

unsigned KQVirtualBus::getFrameCount() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return frameCount;
}

void KQVirtualBus::removeRoomDescriptor(int roomDescriptor) {
  const std::lock_guard<std::mutex> lock(mutex);
  roomDescriptors.erase(std::remove(roomDescriptors.begin(), roomDescriptors.end(), roomDescriptor),
                        roomDescriptors.end());
}

void KQVirtualBus::announceRoom() {
  const std::uint64_t one = 1;
  for (const int descriptor : roomDescriptors) {
    [[maybe_unused]] const ssize_t written = write(descriptor, &one, sizeof one);
  }
  roomDescriptors.clear();
}

KQVirtualBus::SendResult KQVirtualBus::deliver(KQBusParticipant* sender, const KQBusFrame& frame) {
  Seat* seat = findSeat(sender);
  assert(seat != nullptr && "a frame from somebody who is not on the bus");
  const bool isFirst = !seat->hasSent;
  seat->hasSent = true;
  ++frameCount;
  if (seats.size() == 1) {
    seat->keepsFrame = seat->keepsFrame || isFirst;
    if (isFirst) {
      seat->keptFrame = frame;
    }
    return isFirst ? SEND_KEPT : SEND_UNACKNOWLEDGED;
  }
  for (const Seat& other : seats) {
    if (other.participant != sender) {
      other.participant->takeFrame(frame);
    }
  }
  return SEND_DELIVERED;
}

KQVirtualBus::Seat* KQVirtualBus::findSeat(const KQBusParticipant* participant) {
  for (Seat& seat : seats) {
    if (seat.participant == participant) {
      return &seat;
    }
  }
  return nullptr;
}

}  // namespace KQ
