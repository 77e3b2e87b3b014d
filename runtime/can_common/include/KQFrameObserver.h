#pragma once

namespace KQ {

class KQCANMessage;

/// Sees every frame that passes an end point: what a trace is written from.
class KQFrameObserver {
public:
  virtual ~KQFrameObserver() = default;

  /// A frame was read from the end point, or was accepted by it for sending (a refused one is not reported).
  /// Called on the thread that read or wrote the frame: an observer of an end point that several threads
  /// write to must be safe for that. It must not read or write the end point itself.
  /// @param message the frame; valid during the call only
  /// @param sent true for a frame accepted for sending, false for one that was read
  virtual void frameTransferred(const KQCANMessage& message, bool sent) = 0;
};

}  // namespace KQ
