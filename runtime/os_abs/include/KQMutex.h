#pragma once

#include <mutex>

namespace KQ {

/// A recursive mutex: the thread that holds it may take it again and gives it back as often.
/// Works with std::lock_guard<KQMutex> and std::unique_lock<KQMutex>.
class KQMutex {
public:
  /// @return a new mutex, not locked, which the caller owns and deletes; never null.
  [[nodiscard]] static KQMutex* create();

  /// The mutex must not be held by anybody.
  virtual ~KQMutex();

  KQMutex(const KQMutex&) = delete;
  KQMutex& operator=(const KQMutex&) = delete;

  /// Waits until the calling thread holds the mutex.
  void lock() { mutex.lock(); }

  /// Gives the mutex back; only the holder may call it, once for each lock or successful tryLock.
  void unlock() { mutex.unlock(); }

  /// Takes the mutex if that needs no waiting.
  /// @return true when the calling thread now holds the mutex (once more).
  [[nodiscard]] bool tryLock() { return mutex.try_lock(); }

  /// The same as tryLock, under the name that std::unique_lock and std::scoped_lock call.
  [[nodiscard]] bool try_lock() { return tryLock(); }

private:
  KQMutex();

  std::recursive_mutex mutex;
};

}  // namespace KQ
