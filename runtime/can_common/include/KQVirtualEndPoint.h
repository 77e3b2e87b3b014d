#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "KQBusParticipant.h"
#include "KQEndPoint.h"
#include "KQVirtualBus.h"
#include "internal/KQFrameQueue.h"

namespace KQ {

/// An end point on a KQVirtualBus ("virtual:NAME").
///
/// Its receive queue is bounded: a frame that finds it full is lost for this end point and counted as an
/// overrun, as in a controller. A write never fails but for the frame itself; one that nobody is there to receive is
/// counted as unacknowledged (KQVirtualBus tells what is delivered later all the same). The descriptor is an
/// eventfd that is readable exactly while frames wait.
class KQVirtualEndPoint : public KQEndPoint, private KQBusParticipant {
public:
  static constexpr std::size_t DEFAULT_CAPACITY = 1024;  ///< frames that wait for a reader

  /// Opens an end point on a bus of this process.
  /// @param busName any text; the URI is "virtual:" and this
  /// @param error receives what went wrong when null is returned (the process has no descriptor left)
  /// @param capacity frames the receive queue holds; at least 1
  [[nodiscard]] static std::unique_ptr<KQVirtualEndPoint> open(const std::string& busName, std::string& error,
                                                               std::size_t capacity = DEFAULT_CAPACITY);
  ~KQVirtualEndPoint() override;

  int getDescriptor() const override { return descriptor; }

protected:
  int doRead(KQCANMessage& message) override;
  int doWrite(const KQCANMessage& message) override;
  void doSetFilter(const KQReceptionFilter* filter) override;

private:
  KQVirtualEndPoint(std::shared_ptr<KQVirtualBus> joinedBus, int eventDescriptor, std::size_t capacity);

  void takeFrame(const KQBusFrame& frame) override;
  Room getRoom() const override;
  void stopHoldingUpUnlessTaking() override;
  void noteRoom();

  const std::shared_ptr<KQVirtualBus> bus;
  const int descriptor;
  const std::size_t reserve;  ///< room that is left for senders that cannot wait
  KQFrameQueue queue;         ///< this, the filter and the flag below are guarded by the bus
  std::optional<KQReceptionFilter> acceptedFrames;
  bool holdsUp{true};
  bool isTaking{false};  ///< something was read since somebody last complained
  std::atomic<bool> hasFrames{false};
};

}  // namespace KQ
