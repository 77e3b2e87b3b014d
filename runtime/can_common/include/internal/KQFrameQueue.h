// Internal: here because public headers need it; it may change without notice.
#pragma once

#include <cstddef>
#include <vector>

#include "KQBusFrame.h"

namespace KQ {

/// A bounded first-in-first-out queue of frames whose memory is allocated once. Not guarded: its owner locks.
class KQFrameQueue {
public:
  /// @param capacity number of frames it holds at most; above 0
  explicit KQFrameQueue(std::size_t capacity) : frames(capacity) {}

  /// How many frames wait, fit in all, and fit in beside those that wait.
  [[nodiscard]] bool isEmpty() const { return count == 0; }
  [[nodiscard]] std::size_t getCount() const { return count; }
  [[nodiscard]] std::size_t getCapacity() const { return frames.size(); }
  [[nodiscard]] std::size_t getRoom() const { return frames.size() - count; }

  /// Appends a frame. @return false: full, nothing changed
  bool push(const KQBusFrame& frame) {
    if (count == frames.size()) {
      return false;
    }
    frames[wrap(first + count)] = frame;
    ++count;
    return true;
  }

  /// The oldest frame; only when the queue is not empty.
  [[nodiscard]] const KQBusFrame& getFront() const { return frames[first]; }

  /// Drops the oldest frame; only when the queue is not empty.
  void pop() {
    first = wrap(first + 1);
    --count;
  }

  /// Drops all frames.
  void clear() { count = 0; }

private:
  std::size_t wrap(std::size_t position) const {
    return position < frames.size() ? position : position - frames.size();
  }

  std::vector<KQBusFrame> frames;
  std::size_t first{0};
  std::size_t count{0};
};

}  // namespace KQ
