#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

namespace test {

/// An operation on a thread of its own.
class OtherThread {
public:
  explicit OtherThread(const std::function<void()>& operation)
      : thread([this, operation] {
          id = static_cast<int>(::syscall(SYS_gettid));
          operation();
          ended = true;
        }) {}
  ~OtherThread() { thread.join(); }
  OtherThread(const OtherThread&) = delete;
  OtherThread& operator=(const OtherThread&) = delete;

  /// @return false when it has ended, true when it sleeps
  bool waits() const {
    while (!ended) {
      if (id != 0 && isAsleep()) {
        return !ended;
      }
      std::this_thread::yield();
    }
    return false;
  }

private:
  bool isAsleep() const {
    std::ifstream file("/proc/self/task/" + std::to_string(id) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t name = text.rfind(") ");
    return name != std::string::npos && text[name + 2] == 'S';
  }

  std::atomic<int> id{0};
  std::atomic<bool> ended{false};
  std::thread thread;
};

}  // namespace test
