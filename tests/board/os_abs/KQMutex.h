#pragma once

#include <mutex>

namespace KQ {

/// Recursive.
class KQMutex {
public:
  static KQMutex* create();
  virtual ~KQMutex();
  KQMutex(const KQMutex&) = delete;
  KQMutex& operator=(const KQMutex&) = delete;

  void lock();
  void unlock();
  bool tryLock();

private:
  KQMutex();

  std::recursive_mutex mutex;
};

}  // namespace KQ
