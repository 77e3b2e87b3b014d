#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

#include "KQCANMessage.h"
#include "KQFrameObserver.h"

namespace panel {

/// A frame as it passed the CAN port.
struct ObservedFrame {
  long long microseconds = 0;  ///< since 1970, by a clock that does not go back when that of the wall is set
  KQ::KQCANMessage message;
  bool sent = false;  ///< by this node
};

/// Keeps the frames that pass a CAN port until another thread has time for them: CAPACITY of them, the oldest make room
/// for more. Takes its memory at once. Any thread.
class FrameLog : public KQ::KQFrameObserver {
public:
  /// What a bus of 1 Mbit/s carries in more than half a second.
  static constexpr std::size_t CAPACITY = 8192;
  /// How many are taken at once: those who add frames wait meanwhile.
  static constexpr std::size_t BATCH = 256;

  FrameLog();

  /// Microseconds of the frames' clock.
  long long getNow() const;

  void frameTransferred(const KQ::KQCANMessage& message, bool sent) override;

  /// Puts up to BATCH of the oldest frames into @p batch in place of what was there; none are left when it is empty.
  /// @return how many frames were lost before them
  std::size_t take(std::vector<ObservedFrame>& batch);

  /// Forgets all.
  void clear();

private:
  const long long clockOffset;  ///< from the steady clock to that of the wall
  std::mutex mutex;
  std::vector<ObservedFrame> frames;  ///< a ring
  std::size_t begin = 0;
  std::size_t count = 0;
  std::size_t lost = 0;
};

}  // namespace panel
