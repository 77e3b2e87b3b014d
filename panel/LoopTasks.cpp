#include "LoopTasks.h"

#include <utility>

namespace panel {

bool LoopTasks::post(std::function<void()> task) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (tasks.size() >= CAPACITY) {
      return false;
    }
    tasks.push_back(std::move(task));
    waiting.store(tasks.size(), std::memory_order_release);
  }
  wake();
  return true;
}

void LoopTasks::serveSome() {
  for (std::size_t done = 0; done < TASKS_PER_TURN && waiting.load(std::memory_order_acquire) != 0; ++done) {
    take()();
  }
  if (waiting.load(std::memory_order_acquire) != 0) {
    wake();
  }
}

// One thread takes: what was waiting still is.
std::function<void()> LoopTasks::take() {
  const std::lock_guard<std::mutex> lock(mutex);
  std::function<void()> task = std::move(tasks.front());
  tasks.pop_front();
  waiting.store(tasks.size(), std::memory_order_release);
  return task;
}

}  // namespace panel
