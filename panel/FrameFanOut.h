#pragma once

#include <array>
#include <atomic>

#include "KQFrameObserver.h"

namespace KQ {
class KQEndPoint;
}

namespace panel {

/// Lets several observers see the frames of an end point, which knows one. It is the end point's observer only while it
/// has one itself: frames that nobody wants to see wake nobody.
class FrameFanOut : public KQ::KQFrameObserver {
public:
  static constexpr unsigned int MAXIMUM_OBSERVERS = 4;

  /// @param endPoint must outlive the observers' use here, as the observers must
  explicit FrameFanOut(KQ::KQEndPoint& endPoint) : port(endPoint) {}

  /// @return false when there are MAXIMUM_OBSERVERS already. One that is there already is added no second time.
  /// Protocol
  ///   thread
  bool add(KQ::KQFrameObserver& observer);

  /// A frame that another thread sends may still be on its way to it. Protocol thread.
  void remove(const KQ::KQFrameObserver& observer);

  void frameTransferred(const KQ::KQCANMessage& message, bool sent) override;

private:
  void attach();

  KQ::KQEndPoint& port;
  std::array<std::atomic<KQ::KQFrameObserver*>, MAXIMUM_OBSERVERS> observers{};
};

}  // namespace panel
