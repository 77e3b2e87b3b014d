#pragma once

#include <array>
#include <cstddef>

#include "KQCANMessage.h"
#include "KQEndPoint.h"

namespace bench {

/// The last frames that went one way, by their number since the start. Fixed memory.
class FrameRing {
public:
  static constexpr std::size_t CAPACITY = 256;

  void push(const KQ::KQCANMessage& message) { frames[count++ % CAPACITY] = message; }

  /// How many frames were pushed since the start.
  std::size_t getCount() const { return count; }

  /// @param number from 0; one of the last CAPACITY
  const KQ::KQCANMessage& operator[](std::size_t number) const { return frames[number % CAPACITY]; }

private:
  std::array<KQ::KQCANMessage, CAPACITY> frames;
  std::size_t count = 0;
};

/// Both directions of a port. Kept outside of the end point, which belongs to the node and is no part of its memory.
struct FrameRings {
  const KQ::KQCANMessage* received = nullptr;  ///< the one frame that waits to be read, if any
  FrameRing sent;
};

/// A CAN port in memory.
class RingEndPoint : public KQ::KQEndPoint {
public:
  /// @param frameRings not owned
  explicit RingEndPoint(FrameRings& frameRings) : KQEndPoint("memory:bench"), rings(frameRings) {}

protected:
  int doRead(KQ::KQCANMessage& message) override {
    if (rings.received == nullptr) {
      return KQ::KQ_NO_DATA;
    }
    message = *rings.received;
    rings.received = nullptr;
    return KQ::KQ_OK;
  }

  int doWrite(const KQ::KQCANMessage& message) override {
    rings.sent.push(message);
    return KQ::KQ_OK;
  }

private:
  FrameRings& rings;
};

}  // namespace bench
