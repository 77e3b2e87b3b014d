// Covers: the published PDOs and the walks over them.
//
// | subject | functional                               | robustness                              |
// |---------|------------------------------------------|-----------------------------------------|
// | get     | the table that was published last        | none                                    |
// | publish | the one before goes, or waits for walks  | a walk that began later, walks in walks |
// | threads | who walks and who asks while others come | none                                    |

#include "internal/KQPublishedPDOs.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "KQPDOHandler.h"
#include "PDOInternals.h"

using namespace KQ;

namespace {

using Table = std::shared_ptr<const PDOTable>;

// Nobody else has it.
Table newTable() {
  return PDOInternals::pdosOf(KQPDOHandler(nullptr));
}

class PublishedPDOs : public testing::Test {
protected:
  Table first = newTable();
  const PDOTable* const firstTable = first.get();
  const std::weak_ptr<const PDOTable> replaced = first;
  const Table second = newTable();
  KQPublishedPDOs published{std::move(first)};
};

TEST_F(PublishedPDOs, GiveTheTableThatWasPublishedLast) {
  published.publish(second);
  EXPECT_EQ(second, published.get());
}

TEST_F(PublishedPDOs, LetTheOneBeforeGoAtOnceWhenNobodyWalks) {
  published.publish(second);
  EXPECT_TRUE(replaced.expired());
}

TEST_F(PublishedPDOs, KeepTheOneBeforeWhileSomebodyWalks) {
  const KQPublishedPDOs::Walk walk(published);
  published.publish(second);
  EXPECT_FALSE(replaced.expired());
}

TEST_F(PublishedPDOs, KeepTheOneBeforeUntilTheOuterWalkEnds) {
  const KQPublishedPDOs::Walk outer(published);
  published.publish(second);
  { const KQPublishedPDOs::Walk inner(published); }
  EXPECT_FALSE(replaced.expired());
}

TEST_F(PublishedPDOs, LetTheOneBeforeGoWithTheLastWalk) {
  {
    const KQPublishedPDOs::Walk walk(published);
    published.publish(second);
  }
  EXPECT_TRUE(replaced.expired());
}

TEST_F(PublishedPDOs, StayInAWalkAsTheyWereWhenItBegan) {
  const KQPublishedPDOs::Walk walk(published);
  published.publish(second);
  EXPECT_EQ(firstTable, walk.operator->());
}

TEST_F(PublishedPDOs, AreTheNewOnesForAWalkThatBeginsLater) {
  const KQPublishedPDOs::Walk earlier(published);
  published.publish(second);
  const KQPublishedPDOs::Walk later(published);
  EXPECT_EQ(second.get(), later.operator->());
}

// Tables come and go while another thread asks for them or walks over them: each exists as long as somebody has it.
class PublishedPDOsThreads : public testing::Test {
protected:
  static constexpr std::size_t ROUNDS = 100000;

  // Stands for a table, which nobody looks into: whether it exists.
  static Table tableThatTells(std::atomic<bool>& exists) {
    exists = true;
    return Table(reinterpret_cast<const PDOTable*>(&exists), [&exists](const PDOTable*) { exists = false; });
  }
  static bool exists(const PDOTable* table) { return *reinterpret_cast<const std::atomic<bool>*>(table); }

  template <class Use>
  void publishWhile(Use findsOneThatExists) {
    std::thread other([&] {
      while (!isOver) {
        losses += findsOneThatExists() ? 0 : 1;
      }
    });
    for (std::atomic<bool>& next : tables) {
      published.publish(tableThatTells(next));
    }
    isOver = true;
    other.join();
    EXPECT_EQ(0, losses);
  }

  std::atomic<bool> isOver{false};
  std::atomic<int> losses{0};
  std::atomic<bool> firstTable{false};
  std::vector<std::atomic<bool>> tables = std::vector<std::atomic<bool>>(ROUNDS);
  KQPublishedPDOs published{tableThatTells(firstTable)};
};

TEST_F(PublishedPDOsThreads, GiveATableThatExists) {
  publishWhile([this] { return exists(published.get().get()); });
}

TEST_F(PublishedPDOsThreads, KeepATableThatIsWalkedOver) {
  publishWhile([this] {
    const KQPublishedPDOs::Walk walk(published);
    return exists(walk.operator->());
  });
}

}  // namespace
