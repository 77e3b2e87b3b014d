// Covers: the published PDOs and the walks over them.
//
// | subject | functional                              | robustness                              |
// |---------|-----------------------------------------|-----------------------------------------|
// | get     | the table that was published last       | none                                    |
// | publish | the one before goes, or waits for walks | a walk that began later, walks in walks |

#include "internal/KQPublishedPDOs.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

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

}  // namespace
