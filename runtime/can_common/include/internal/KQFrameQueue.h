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
  explicit KQFrameQueue(std::size_t capacity) : frames_(capacity) {}

  /// How many frames wait, fit in all, and fit in beside those that wait.
  [[nodiscard]] bool isEmpty() const { return count_ == 0; }
  [[nodiscard]] std::size_t getCount() const { return count_; }
  [[nodiscard]] std::size_t getCapacity() const { return frames_.size(); }
  [[nodiscard]] std::size_t getRoom() const { return frames_.size() - count_; }

  /// Appends a frame. @return false: full, nothing changed
  bool push(const KQBusFrame& frame) {
    if (count_ == frames_.size()) {
      return false;
    }
    frames_[wrap(first_ + count_)] = frame;
    ++count_;
    return true;
  }

  /// The oldest frame; only when the queue is not empty.
  [[nodiscard]] const KQBusFrame& getFront() const { return frames_[first_]; }

  /// Drops the oldest frame; only when the queue is not empty.
  void pop() {
    first_ = wrap(first_ + 1);
    --count_;
  }

  /// Drops all frames.
  void clear() { count_ = 0; }

private:
  std::size_t wrap(std::size_t position) const {
    return position < frames_.size() ? position : position - frames_.size();
  }

  std::vector<KQBusFrame> frames_;
  std::size_t first_{0};
  std::size_t count_{0};
};

}  // namespace KQ
