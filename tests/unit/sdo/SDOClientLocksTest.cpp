// Covers: which lock each operation on the SDO client's queues waits for, and which one it does without.
//
// | subject   | functional                                       | robustness                               |
// |-----------|--------------------------------------------------|------------------------------------------|
// | operation | requests, mapping, reading of channels, cycle    | nothing queued                           |
// | lock      | of the writes, of the reads: held by another one | held only for the queue, not for a cycle |
//
// The operation runs on a thread of its own while the test holds a lock. It either ends, or its thread sleeps in front
// of the lock: that is what is waited for, and no time passes otherwise.

#include <functional>
#include <mutex>
#include <thread>

#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "NamedCase.h"
#include "OtherThread.h"
#include "SDOClientFixture.h"
#include "SignalRecorder.h"

namespace {

using test::Frames;
using test::OtherThread;

struct LockCase : test::NamedCase {
  std::function<void(KQ::KQSDOHandler&)> operation;
  bool locksWrites;
  bool locksReads;
};

constexpr unsigned int KEY = 0x20010001;

class SDOClientLocks : public test::SDOClientFixture, public testing::WithParamInterface<LockCase> {
protected:
  SDOClientLocks() {
    addNumber(1, 16, false);
    addNumber(2, 16, false);
  }

  bool waitsFor(KQ::KQMutex& held) {
    std::unique_lock<KQ::KQMutex> lock(held);
    const OtherThread other([this] { GetParam().operation(client()); });
    const bool waits = other.waits();
    lock.unlock();
    return waits;
  }
};

TEST_P(SDOClientLocks, OfWritesIsWaitedFor) {
  write(2, 5);
  read(2);
  EXPECT_EQ(GetParam().locksWrites, waitsFor(*KQ::sdoDownloadResponseLocker));
}

TEST_P(SDOClientLocks, OfReadsIsWaitedFor) {
  write(2, 5);
  read(2);
  EXPECT_EQ(GetParam().locksReads, waitsFor(*KQ::sdoUploadRequestLocker));
}

const LockCase LOCK_CASES[] = {
    {{"Number"}, [](KQ::KQSDOHandler& client) { client.handleUpdateRequest(KEY, 7); }, true, false},
    {{"Text"}, [](KQ::KQSDOHandler& client) { client.handleUpdateRequest(KEY, "seven"); }, true, false},
    {{"Read"}, [](KQ::KQSDOHandler& client) { client.handleGetValueRequest(KEY); }, false, true},
    {{"RefusedNumber"}, [](KQ::KQSDOHandler& client) { client.handleUpdateRequest(1, 7); }, true, false},
    {{"RefusedRead"}, [](KQ::KQSDOHandler& client) { client.handleGetValueRequest(1); }, false, true},
    {{"Mapping"}, [](KQ::KQSDOHandler& client) { client.addVariableSDOServerMapping(0x2001, 1, 0x607); }, true, true},
    {{"Channels"}, [](KQ::KQSDOHandler& client) { client.init(); }, true, true},
    {{"SendingWrites"}, [](KQ::KQSDOHandler& client) { client.sendQueuedDownloadRequests(); }, true, false},
    {{"SendingARead"}, [](KQ::KQSDOHandler& client) { client.sendNextQueuedUploadRequest(); }, false, true},
};

INSTANTIATE_TEST_SUITE_P(Operations, SDOClientLocks, testing::ValuesIn(LOCK_CASES), test::caseName<LockCase>);

class SDOClientLocksOfACycle : public test::SDOClientFixture {
protected:
  SDOClientLocksOfACycle() { addNumber(1, 16, false); }

  // Whether another thread would find the lock taken now.
  static bool isTaken(KQ::KQMutex& mutex) {
    bool taken = true;
    std::thread([&] {
      if (mutex.tryLock()) {
        taken = false;
        mutex.unlock();
      }
    }).join();
    return taken;
  }

  static void expectNoneTaken() {
    EXPECT_FALSE(isTaken(*KQ::sdoDownloadResponseLocker));
    EXPECT_FALSE(isTaken(*KQ::sdoUploadRequestLocker));
  }
};

TEST_F(SDOClientLocksOfACycle, IdleCycleTakesNone) {
  const std::lock_guard<KQ::KQMutex> writes(*KQ::sdoDownloadResponseLocker);
  const std::lock_guard<KQ::KQMutex> reads(*KQ::sdoUploadRequestLocker);
  const OtherThread other([this] { node.cycle(); });
  EXPECT_FALSE(other.waits());
}

TEST_F(SDOClientLocksOfACycle, WriteIsSentWithItsLockOnly) {
  int writes = 0;
  node.port().onWrite = [&writes] {
    ++writes;
    EXPECT_TRUE(isTaken(*KQ::sdoDownloadResponseLocker));
    EXPECT_FALSE(isTaken(*KQ::sdoUploadRequestLocker));
  };
  sendWrite(1, 5);
  EXPECT_EQ(1, writes);
}

TEST_F(SDOClientLocksOfACycle, ReadIsSentWithItsLockOnly) {
  int writes = 0;
  node.port().onWrite = [&writes] {
    ++writes;
    EXPECT_FALSE(isTaken(*KQ::sdoDownloadResponseLocker));
    EXPECT_TRUE(isTaken(*KQ::sdoUploadRequestLocker));
  };
  sendRead(1);
  EXPECT_EQ(1, writes);
}

TEST_F(SDOClientLocksOfACycle, NoneIsHeldWhileTheApplicationHears) {
  test::SignalRecorder listener(expectNoneTaken);
  client().setSDOEventListener(&listener);
  sendWrite(1, 5);
  server("60 00 60 11 00 00 00 00");
  EXPECT_EQ(1U, listener.signals.size());
}

TEST_F(SDOClientLocksOfACycle, NoneIsHeldWhileTheRuntimeHearsOfARequest) {
  test::SignalRecorder listener(expectNoneTaken);
  node.canopen().setWorkListener(&listener);
  write(1, 5);
  read(1);
  EXPECT_EQ(2U, listener.signals.size());
  node.canopen().setWorkListener(nullptr);
}

}  // namespace
