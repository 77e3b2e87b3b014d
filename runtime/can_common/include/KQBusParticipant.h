#pragma once

namespace KQ {

struct KQBusFrame;

/// One connection to a KQVirtualBus. Every operation is called by the bus, on any thread, with the bus locked.
class KQBusParticipant {
public:
  virtual ~KQBusParticipant() = default;

  /// A frame that another participant sent. Must not call the bus.
  virtual void takeFrame(const KQBusFrame& frame) = 0;

  /// Room for what takeFrame hands over.
  enum class Room {
    PLENTY,
    SCARCE,  ///< what is left is for senders that send little
    NONE     ///< takeFrame would soon lose frames: senders that can wait should
  };
  /// Must not call the bus.
  [[nodiscard]] virtual Room getRoom() const { return Room::PLENTY; }

  /// Somebody has waited for room for a while. If nothing was taken since this was asked before, it has PLENTY from now
  /// on, and loses frames, until it has made room.
  virtual void stopHoldingUpUnlessTaking() {}
};

}  // namespace KQ
