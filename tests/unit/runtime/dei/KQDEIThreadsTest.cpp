// Covers: the variable store, used by four threads that start together.
//
// | subject  | functional                                           | robustness                                 |
// |----------|------------------------------------------------------|--------------------------------------------|
// | growth   | every variable is found from the moment its addition |                                            |
// |          | returned                                             |                                            |
// | integers | never torn                                           |                                            |
// | texts    | never mixed                                          |                                            |
// | reports  | one for each change, while registrations come and go |                                            |
// | owners   |                                                      | come and go while their variables are read |
//
// The file is also to be run under a thread sanitizer, which sees the races that no assertion shows.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "KQDEI.h"
#include "KQExternalVariable.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQVariableEventDispatcher.h"
#include "OwnerRecorder.h"

namespace KQ {
namespace {

constexpr unsigned short INDEX = 0x2000;
constexpr unsigned short SHARED_SUB = 0xFFF0;
constexpr unsigned short TEXT_SUB = 0xFFF1;
constexpr unsigned short VARIABLES = 5000;
constexpr int ROUNDS = 20000;

// Counts without a lock: one would put the writers in order that are to meet in the store.
class CountingListener : public KQSignalListener {
public:
  int signalOccurred(KQSignal&) override {
    told.fetch_add(1, std::memory_order_relaxed);
    return 0;
  }
  int count() const { return told.load(); }

private:
  std::atomic<int> told{0};
};

class StoreThreads : public testing::Test {
protected:
  StoreThreads() {
    dei->clear();
    dispatcher->clear();
    const KQVariable shared(INDEX, SHARED_SUB, "shared");
    dei->addVariable(&shared);
    const KQVariable text(INDEX, TEXT_SUB, "text", STORAGE_TYPE_STRING);
    dei->addVariable(&text);
  }

  ~StoreThreads() override {
    dispatcher->clear();
    dei->clear();
  }

  // Runs all at once and waits for the last.
  static void runTogether(const std::vector<std::function<void()>>& works) {
    std::atomic<std::size_t> waiting{works.size()};
    std::vector<std::thread> threads;
    threads.reserve(works.size());
    for (const auto& work : works) {
      threads.emplace_back([&waiting, &work] {
        --waiting;
        while (waiting.load() != 0) {
          std::this_thread::yield();
        }
        work();
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  KQDEI* const dei{KQDEI::instance()};
  KQVariableEventDispatcher* const dispatcher{KQVariableEventDispatcher::instance()};
};

// Both halves carry the same number, so that a torn value shows.
int twice(int round) {
  const auto half = static_cast<unsigned int>(round) & 0x7FFFU;
  return static_cast<int>(half << 16 | half);
}

bool isWhole(int value) {
  return (value & 0xFFFF) == value >> 16;
}

TEST_F(StoreThreads, AddReadWriteAndListenTogether) {
  std::atomic<int> added{0};
  std::atomic<int> faults{0};
  CountingListener listener;
  CountingListener passing;
  dispatcher->addMapping(INDEX, SHARED_SUB, &listener);

  const auto add = [&] {
    for (unsigned short sub = 0; sub < VARIABLES; ++sub) {
      KQVariable variable(INDEX, sub, "added");
      variable.setInitialValue(sub);
      faults += dei->addVariable(&variable) != 0 ? 1 : 0;
      added.store(sub + 1);
    }
  };
  const auto read = [&] {
    for (int round = 0; round < ROUNDS; ++round) {
      int value = 0;
      faults += dei->getVariableValue(INDEX, SHARED_SUB, &value) != 0 || !isWhole(value) ? 1 : 0;
      const int known = added.load();
      if (known > 0) {
        const auto sub = static_cast<unsigned short>(round % known);
        faults += dei->getVariableValue(INDEX, sub, &value) != 0 || value != sub ? 1 : 0;
      }
    }
  };
  const auto write = [&] {
    for (int round = 1; round <= ROUNDS; ++round) {
      faults += dei->setVariableValue(INDEX, SHARED_SUB, twice(round), true, false) != 0 ? 1 : 0;
    }
  };
  const auto listen = [&] {
    for (int round = 0; round < ROUNDS / 10; ++round) {
      dispatcher->addMapping(INDEX, SHARED_SUB, &passing);
      dispatcher->removeMapping(INDEX, SHARED_SUB, &passing);
    }
  };
  runTogether({add, read, write, listen});

  EXPECT_EQ(0, faults.load());
  EXPECT_EQ(ROUNDS, listener.count());
  EXPECT_EQ(VARIABLES + 2U, dei->getCopyOfVariableMap()->size());
}

TEST_F(StoreThreads, AddTheSameVariablesAtOnce) {
  const auto add = [&] {
    for (unsigned short sub = 0; sub < VARIABLES; ++sub) {
      const KQVariable variable(INDEX, sub, "added");
      dei->addVariable(&variable);
    }
  };
  runTogether({add, add, add, add});
  EXPECT_EQ(VARIABLES + 2U, dei->getCopyOfVariableMap()->size());
}

TEST_F(StoreThreads, TextsAreNeverMixed) {
  std::atomic<int> faults{0};
  const auto writeAll = [&](char letter) {
    for (int round = 0; round < ROUNDS / 10; ++round) {
      dei->setVariableValue(INDEX, TEXT_SUB, std::string(static_cast<std::size_t>(round % 40), letter), true, false);
    }
  };
  const auto read = [&] {
    for (int round = 0; round < ROUNDS / 10; ++round) {
      std::string text;
      dei->getVariableValue(INDEX, TEXT_SUB, &text);
      faults += !text.empty() && text.find_first_not_of(text.front()) != std::string::npos ? 1 : 0;
    }
  };
  runTogether({[&] { writeAll('x'); }, [&] { writeAll('y'); }, read, read});
  EXPECT_EQ(0, faults.load());
}

TEST_F(StoreThreads, EveryChangeOfSeveralWritersIsReportedOnce) {
  CountingListener listener;
  std::array<CountingListener, 3> passing;
  dispatcher->addMapping(INDEX, SHARED_SUB, &listener);
  // Each writer has values of its own, none of which is written twice in a row: every write is a change.
  const auto write = [&](int offset) {
    for (int round = 1; round <= ROUNDS / 2; ++round) {
      dei->setVariableValue(INDEX, SHARED_SUB, 2 * round + offset, true, false);
    }
  };
  const auto enrol = [&] {
    for (int round = 0; round < ROUNDS / 10; ++round) {
      CountingListener& one = passing[static_cast<std::size_t>(round) % passing.size()];
      dispatcher->addMapping(INDEX, SHARED_SUB, &one);
      dispatcher->removeListener(&one);
    }
  };
  runTogether({[&] { write(0); }, [&] { write(1); }, enrol, enrol});
  EXPECT_EQ(ROUNDS, listener.count());
}

TEST_F(StoreThreads, OwnersComeAndGoWhileTheirVariablesAreUsed) {
  std::atomic<int> faults{0};
  const auto comeAndGo = [&] {
    for (int round = 0; round < ROUNDS / 10; ++round) {
      test::OwnerRecorder owner("idle");
      const KQExternalVariable variable(INDEX, SHARED_SUB, "owned", STORAGE_TYPE_INTEGER, 0, 1, 0, "", 32, false,
                                        &owner);
      faults += dei->addVariable(&variable) != 0 ? 1 : 0;
    }
  };
  const auto use = [&] {
    for (int round = 0; round < ROUNDS / 10; ++round) {
      const std::string* name = dei->getVariableOwner(INDEX, SHARED_SUB);
      faults += name != nullptr && *name != "idle" ? 1 : 0;
      const int result = dei->forceSetVariableValue(INDEX, SHARED_SUB, round, "idle", true, false);
      faults += result != 0 && result != 30 ? 1 : 0;
      dei->getVariableOwnerPointer(INDEX, SHARED_SUB);
      dei->isVariableSigned(static_cast<unsigned int>(INDEX) << 16 | SHARED_SUB);
    }
  };
  const auto copy = [&] {
    for (int round = 0; round < ROUNDS / 100; ++round) {
      faults += dei->getCopyOfVariableMap() == nullptr ? 1 : 0;
    }
  };
  runTogether({comeAndGo, use, use, copy});
  EXPECT_EQ(0, faults.load());
}

}  // namespace
}  // namespace KQ
