#pragma once

namespace KQ {

struct KQBusFrame;

/// One connection to a KQVirtualBus. Every operation is called by the bus, on any thread, with the bus locked.
class KQBusParticipant {
public:
  virtual ~KQBusParticipant() = default;

  /// A frame that another participant sent. Must not call the bus.
  virtual void takeFrame(const KQBusFrame& frame) = 0;

  /// True when takeFrame would soon lose frames, so that senders that can wait should. Must not call the bus.
  virtual bool isNearlyFull() const { return false; }

  /// It has been nearly full for so long that nobody waits for it any more, until it has made room.
  virtual void stopHoldingUp() {}
};

}  // namespace KQ
