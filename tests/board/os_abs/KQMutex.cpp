#include "KQMutex.h"

namespace KQ {

KQMutex* KQMutex::create() {
  return new KQMutex;
}

KQMutex::KQMutex() {}

KQMutex::~KQMutex() {}

void KQMutex::lock() {
  mutex.lock();
}

void KQMutex::unlock() {
  mutex.unlock();
}

bool KQMutex::tryLock() {
  return mutex.try_lock();
}

}  // namespace KQ
