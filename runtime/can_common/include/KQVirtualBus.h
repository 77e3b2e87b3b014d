#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "KQBusFrame.h"
#include "KQBusParticipant.h"

namespace KQ {

/// A CAN bus inside the process. What one participant sends, every other one gets, all in the same order.
/// It lives as long as somebody holds it. Every operation is safe from any thread.
///
/// Like a controller that repeats its frame until somebody acknowledges it, the bus keeps the very first
/// frame of a participant that is sent while it is alone, and delivers it to the first one that
/// attaches after it: a client that comes later still sees the boot-up of a node. Further frames sent while alone
/// are lost, so that nobody is given process values of the past.
class KQVirtualBus {
public:
  /// What became of a frame.
  enum SendResult {
    SEND_DELIVERED,       ///< every other participant was given it
    SEND_KEPT,            ///< nobody else is on the bus; the first one that attaches is given it
    SEND_UNACKNOWLEDGED,  ///< nobody else is on the bus; it is lost
    SEND_NO_ROOM          ///< only of sendWhenRoom: nothing was done, a participant is nearly full
  };

  /// The bus of that name in this process, made when nobody holds it yet.
  [[nodiscard]] static std::shared_ptr<KQVirtualBus> get(const std::string& name);

  /// A bus that get() does not know. @param busName what getName() answers
  explicit KQVirtualBus(std::string busName);
  KQVirtualBus(const KQVirtualBus&) = delete;
  KQVirtualBus& operator=(const KQVirtualBus&) = delete;

  /// Name, and how many are attached at this moment. Any thread.
  const std::string& getName() const { return name; }
  std::size_t getParticipantCount() const;

  /// Puts a participant on the bus. Not owned; to be detached before it is deleted.
  void attach(KQBusParticipant* participant);

  /// Takes it off; no call of it comes after this. One that is not attached changes nothing.
  void detach(KQBusParticipant* participant);

  /// Delivers a frame to all others, whether they have room or not. @param sender an attached participant
  SendResult send(KQBusParticipant* sender, const KQBusFrame& frame);

  /// Delivers a frame to all others unless one of them is nearly full: for senders that can wait.
  /// @param sender an attached participant
  /// @param roomDescriptor an eventfd that is written to once when a participant has room again (after SEND_NO_ROOM)
  /// @param yields the sender sends much: it waits earlier, for what is left to be there for the others
  SendResult sendWhenRoom(KQBusParticipant* sender, const KQBusFrame& frame, int roomDescriptor, bool yields = false);

  /// Waits no longer for those that are nearly full now and have taken nothing since the last call of this: they lose
  /// frames instead. One that is slow, but reads, is waited for.
  void stopWaitingForRoom();

  /// Number of frames that were sent so far, wrapping at 2^32.
  unsigned getFrameCount() const;

  /// Forgets an eventfd given to sendWhenRoom; to be called before it is closed.
  void removeRoomDescriptor(int roomDescriptor);

  /// The lock of the bus, for the state that participants share with takeFrame.
  std::mutex& getMutex() const { return mutex; }

  /// To be called with the bus locked by a participant that is not nearly full any more.
  void announceRoom();

private:
  struct Seat {
    KQBusParticipant* participant;
    bool hasSent;     ///< its first frame is over
    bool keepsFrame;  ///< keptFrame waits for somebody to acknowledge it
    KQBusFrame keptFrame;
  };

  bool hasRoom(const KQBusParticipant* sender, bool yields) const;
  SendResult deliver(KQBusParticipant* sender, const KQBusFrame& frame);
  Seat* findSeat(const KQBusParticipant* participant);

  const std::string name;
  mutable std::mutex mutex;
  std::vector<Seat> seats;
  std::vector<int> roomDescriptors;
  unsigned frameCount{0};
};

}  // namespace KQ
