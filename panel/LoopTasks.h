#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace panel {

/// What other threads ask the protocol thread to do for them: nearly all of the node belongs to that thread. A few of
/// them are done in each turn of the loop, so that those who ask never hold up the node.
class LoopTasks {
public:
  static constexpr std::size_t CAPACITY = 64;
  static constexpr std::size_t TASKS_PER_TURN = 4;

  /// @param wakeLoop called on the thread that has something to do for the loop
  explicit LoopTasks(std::function<void()> wakeLoop) : wake(std::move(wakeLoop)) {}
  LoopTasks(const LoopTasks&) = delete;
  LoopTasks& operator=(const LoopTasks&) = delete;

  /// Has a task done soon. It is to be a short one: whoever has much to do posts the next slice from the task itself.
  /// @return false when as many are waiting as are kept: nothing will be done. Any thread
  bool post(std::function<void()> task);

  /// Does what waits, TASKS_PER_TURN at most; when more is left, the loop is woken again. Protocol thread.
  void serve() {
    if (waiting.load(std::memory_order_acquire) != 0) {
      serveSome();
    }
  }

private:
  void serveSome();
  std::function<void()> take();

  const std::function<void()> wake;
  std::mutex mutex;
  std::deque<std::function<void()>> tasks;
  std::atomic<std::size_t> waiting{0};  ///< the size of the queue, for a loop that has nothing to do for anybody
};

}  // namespace panel
