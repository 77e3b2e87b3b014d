// Covers: KQMutex.
//
// | subject | functional                                                                     | robustness |
// |---------|--------------------------------------------------------------------------------|------------|
// | KQMutex | create, lock, unlock, tryLock, taken again by its holder, exclusion of threads |            |

#include "KQMutex.h"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <thread>

namespace KQ {
namespace {

class Mutex : public testing::Test {
protected:
  bool isFreeForOthers() {
    bool taken = false;
    std::thread other([&] {
      taken = mutex->tryLock();
      if (taken) {
        mutex->unlock();
      }
    });
    other.join();
    return taken;
  }

  std::unique_ptr<KQMutex> mutex{KQMutex::create()};
};

TEST_F(Mutex, IsFreeWhenCreated) {
  EXPECT_TRUE(isFreeForOthers());
}

TEST_F(Mutex, KeepsOthersOutWhileItIsHeld) {
  mutex->lock();
  EXPECT_FALSE(isFreeForOthers());
  mutex->unlock();
  EXPECT_TRUE(isFreeForOthers());
}

TEST_F(Mutex, IsGivenBackAsOftenAsItsHolderTookIt) {
  mutex->lock();
  EXPECT_TRUE(mutex->tryLock());
  mutex->unlock();
  EXPECT_FALSE(isFreeForOthers());
  mutex->unlock();
  EXPECT_TRUE(isFreeForOthers());
}

TEST_F(Mutex, WorksWithLockGuard) {
  {
    const std::lock_guard<KQMutex> guard(*mutex);
    EXPECT_FALSE(isFreeForOthers());
  }
  EXPECT_TRUE(isFreeForOthers());
}

TEST_F(Mutex, WorksWithUniqueLock) {
  std::unique_lock<KQMutex> lock(*mutex, std::try_to_lock);
  EXPECT_TRUE(lock.owns_lock());
}

TEST_F(Mutex, LetsOneThreadInAtATime) {
  constexpr int ROUNDS = 10000;
  int count = 0;
  const auto increment = [&] {
    for (int round = 0; round < ROUNDS; ++round) {
      const std::lock_guard<KQMutex> guard(*mutex);
      ++count;
    }
  };
  std::thread other(increment);
  increment();
  other.join();
  EXPECT_EQ(2 * ROUNDS, count);
}

}  // namespace
}  // namespace KQ
