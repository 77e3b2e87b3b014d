// Covers: how long an application's write of a mapped variable may have to wait for the transmissions of the node.
//
// | subject      | functional                                   | robustness                                       |
// |--------------|----------------------------------------------|--------------------------------------------------|
// | send mutex   | free between two TPDOs of a send pass, while | held while a TPDO is sent: its replacement waits |
// |              | PDOs are built                               | for that                                         |
// | other frames | leave between two TPDOs of one SYNC          |                                                  |

#include <algorithm>
#include <atomic>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "Edition.h"
#include "KQMutex.h"
#include "OtherThread.h"
#include "PDOFixture.h"
#include "PDOInternals.h"

using namespace KQ;
using test::Frames;

namespace {

// A transmission reads the clock with the send mutex held; whatever goes on around the transmissions reads it without.
class PDOSendMutex : public test::PDOFixture {
protected:
  PDOSendMutex() {
    addVariable(0x2001, 1, 8);
    for (unsigned short number = 0; number < 3; ++number) {
      addTransmitPDO(number, {0x181U + number}, {0x20010108});
    }
    start();
  }

  // From now on each reading of the clock notes, in the respect of another thread, whether the send mutex is free.
  void watch() {
    sendMutex = &PDOInternals::sendMutexOf(handler());
    port = &node.port();
    now = node.clock.now();
    framesBefore = port->writeAttempts();
    whenFree.clear();
    whenHeld.clear();
    test::edition::setClock(readTick);  // until the node's clock goes
  }

  // By the number of frames that were sent since watch().
  static inline std::set<unsigned int> whenFree;
  static inline std::set<unsigned int> whenHeld;

private:
  static unsigned int readTick() {
    std::thread([] {
      const bool isFree = sendMutex->tryLock();
      if (isFree) {
        sendMutex->unlock();
      }
      (isFree ? whenFree : whenHeld).insert(port->writeAttempts() - framesBefore);
    }).join();
    return now;
  }

  static inline KQMutex* sendMutex = nullptr;
  static inline test::MemoryEndPoint* port = nullptr;
  static inline unsigned int now = 0;
  static inline unsigned int framesBefore = 0;
};

TEST_F(PDOSendMutex, IsFreeBetweenTwoPDOsOfASendPass) {
  watch();
  EXPECT_EQ(3U, node.cycle().size());
  EXPECT_EQ(1U, whenFree.count(1));
  EXPECT_EQ(1U, whenFree.count(2));
}

TEST_F(PDOSendMutex, IsHeldWhileAPDOIsSent) {
  watch();
  EXPECT_EQ(3U, node.cycle().size());
  EXPECT_EQ((std::set<unsigned int>{0, 1, 2}), whenHeld);
}

TEST_F(PDOSendMutex, IsFreeWhileAllPDOsAreBuilt) {
  watch();
  EXPECT_EQ(KQ_OK, handler().init());
  EXPECT_EQ(std::set<unsigned int>{0}, whenFree);
  EXPECT_EQ(std::set<unsigned int>{}, whenHeld);
}

TEST_F(PDOSendMutex, IsFreeWhileOnePDOIsBuilt) {
  watch();
  handler().signalPDOChange(0x1800);
  EXPECT_EQ(std::set<unsigned int>{0}, whenFree);
  EXPECT_EQ(std::set<unsigned int>{}, whenHeld);
}

TEST_F(PDOSendMutex, LetsNoPDOBeReplacedWhileItIsSent) {
  node.cycle();
  std::optional<test::OtherThread> replacing;
  bool waits = false;
  node.port().onWrite = [&] {
    if (!replacing) {
      replacing.emplace([this] { handler().signalPDOChange(0x1800); });
      waits = replacing->waits();
    }
  };
  change(0x2001, 1, 7);
  replacing.reset();
  EXPECT_TRUE(waits);
}

// Changes a variable all the time.
class ChangingThread {
public:
  explicit ChangingThread(unsigned short variable) : index(variable), thread([this] { run(); }) {}
  ~ChangingThread() {
    isOver = true;
    thread.join();
  }
  ChangingThread(const ChangingThread&) = delete;
  ChangingThread& operator=(const ChangingThread&) = delete;

private:
  void run() {
    for (int value = 0; !isOver; ++value) {
      KQDEI::instance()->setVariableValue(index, 1, value & 0x7F, true, false);
    }
  }

  const unsigned short index;
  std::atomic<bool> isOver{false};
  std::thread thread;
};

class PDOsOfASync : public test::PDOFixture {
protected:
  static constexpr unsigned short COUNT = 32;

  PDOsOfASync() {
    addVariable(0x2001, 1, 8);
    for (unsigned short number = 0; number < COUNT; ++number) {
      addTransmitPDO(number, {0x181U + number, 1}, {});
    }
    addTransmitPDO(COUNT, {0x1FF}, {0x20010108});
    startAndSettle();
    node.receive("080#");
  }

  static bool isOfSync(const std::string& frame) { return frame.compare(0, 3, "1FF") != 0; }

  // Whether the frame of a change left between the first and the last one of the SYNC.
  static bool hasChangeInBetween(const Frames& frames) {
    const auto first = std::find_if(frames.begin(), frames.end(), isOfSync);
    const auto last = std::find_if(frames.rbegin(), frames.rend(), isOfSync).base();
    return std::any_of(first, last, [](const std::string& frame) { return !isOfSync(frame); });
  }
};

TEST_F(PDOsOfASync, LetChangesOfOtherThreadsPass) {
  constexpr unsigned int MOST_SYNCS = 20000;  // one of them is enough, and nearly each is one
  const ChangingThread application(0x2001);
  bool hasPassed = false;
  for (unsigned int i = 0; i < MOST_SYNCS && !hasPassed; ++i) {
    hasPassed = hasChangeInBetween(node.receive("080#"));
  }
  EXPECT_TRUE(hasPassed);
}

}  // namespace
