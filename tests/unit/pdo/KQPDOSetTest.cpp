// Covers: the ordered set of PDOs.
//
// | subject       | functional                                 | robustness                                   |
// |---------------|--------------------------------------------|----------------------------------------------|
// | insert, erase | order by communication index               | twice, not contained, equal indexes, retired |
// | eraseIndex    | every PDO with the index                   | none                                         |
// | clear, copyTo | nothing is left; what the set holds        | what the copy held before                    |
// | threads       | each operation waits for the one under way | each finds what it has put in                |

#include "internal/KQPDOSet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "KQPDO.h"
#include "NamedCase.h"
#include "OtherThread.h"
#include "PDOInternals.h"

using namespace KQ;

namespace {

using PDOs = std::vector<KQPDO*>;

class PDOSet : public testing::Test {
protected:
  PDOSet() {
    a.setCommunicationIndex(0x1800);
    b.setCommunicationIndex(0x1801);
    c.setCommunicationIndex(0x1802);
    twin.setCommunicationIndex(0x1801);
  }

  PDOs contents() const {
    PDOs pdos;
    set.copyTo(pdos);
    return pdos;
  }

  KQPDO a{0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_ACYCLIC};
  KQPDO b{0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_ACYCLIC};
  KQPDO c{0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_ACYCLIC};
  KQPDO twin{0, TRANSMIT_ON_CHANGE, 0, 0, nullptr, PDO_TRANSMISSION_SYNC_ACYCLIC};
  KQPDOSet set;
};

TEST_F(PDOSet, StartsEmpty) {
  EXPECT_TRUE(set.empty());
  EXPECT_EQ(PDOs{}, contents());
}

TEST_F(PDOSet, IsOrderedByCommunicationIndex) {
  EXPECT_TRUE(set.insert(&c));
  EXPECT_TRUE(set.insert(&a));
  EXPECT_TRUE(set.insert(&b));
  EXPECT_FALSE(set.empty());
  EXPECT_EQ((PDOs{&a, &b, &c}), contents());
}

TEST_F(PDOSet, HoldsAPDOOnce) {
  EXPECT_TRUE(set.insert(&a));
  EXPECT_FALSE(set.insert(&a));
  EXPECT_EQ(PDOs{&a}, contents());
}

TEST_F(PDOSet, HoldsDifferentPDOsOfOneIndex) {
  EXPECT_TRUE(set.insert(&b));
  EXPECT_TRUE(set.insert(&twin));
  EXPECT_EQ((PDOs{std::min(&b, &twin), std::max(&b, &twin)}), contents());
  EXPECT_TRUE(set.erase(&b));
  EXPECT_EQ(PDOs{&twin}, contents());
}

TEST_F(PDOSet, ErasesOnlyWhatItHolds) {
  set.insert(&b);
  EXPECT_FALSE(set.erase(&twin));
  EXPECT_FALSE(set.erase(&a));
  EXPECT_EQ(PDOs{&b}, contents());
  EXPECT_TRUE(set.erase(&b));
  EXPECT_TRUE(set.empty());
}

TEST_F(PDOSet, TakesNoRetiredPDO) {
  PDOInternals::retire(a);
  EXPECT_FALSE(set.insert(&a));
  EXPECT_TRUE(set.empty());
}

TEST_F(PDOSet, GivesBackAPDOThatWasRetiredMeanwhile) {
  set.insert(&a);
  PDOInternals::retire(a);
  EXPECT_TRUE(set.erase(&a));
  EXPECT_TRUE(set.empty());
}

TEST_F(PDOSet, ErasesEveryPDOOfAnIndex) {
  for (KQPDO* const pdo : {&a, &b, &c, &twin}) {
    set.insert(pdo);
  }
  set.eraseIndex(0x1801);
  EXPECT_EQ((PDOs{&a, &c}), contents());
}

TEST_F(PDOSet, ErasesNothingForAnIndexWithoutPDO) {
  set.insert(&a);
  set.eraseIndex(0x1801);
  EXPECT_EQ(PDOs{&a}, contents());
}

TEST_F(PDOSet, IsEmptyAfterTheLastOfAnIndexWasErased) {
  set.insert(&a);
  set.eraseIndex(0x1800);
  EXPECT_TRUE(set.empty());
}

TEST_F(PDOSet, IsEmptyAfterItWasCleared) {
  set.insert(&a);
  set.clear();
  EXPECT_TRUE(set.empty());
  EXPECT_EQ(PDOs{}, contents());
}

TEST_F(PDOSet, CopyReplacesWhatWasThere) {
  set.insert(&a);
  PDOs copy{&b, &c};
  set.copyTo(copy);
  EXPECT_EQ(PDOs{&a}, copy);
}

// Each thread finds what it has put in, whatever the others do meanwhile.
class PDOSetThreads : public PDOSet {
protected:
  static constexpr int ROUNDS = 100000;

  void putInAndTakeOut(KQPDO& pdo) {
    for (int i = 0; i < ROUNDS; ++i) {
      losses += set.insert(&pdo) ? 0 : 1;
      losses += set.erase(&pdo) ? 0 : 1;
    }
  }

  std::atomic<int> losses{0};
};

TEST_F(PDOSetThreads, LoseNothingToOnesThatTakeOut) {
  std::thread other([this] { putInAndTakeOut(c); });
  putInAndTakeOut(a);
  other.join();
  EXPECT_EQ(0, losses);
  EXPECT_EQ(PDOs{}, contents());
}

TEST_F(PDOSetThreads, LoseNothingToOnesThatTakeOutAnIndex) {
  std::thread other([this] { putInAndTakeOut(c); });
  for (int i = 0; i < ROUNDS; ++i) {
    set.insert(&a);
    set.eraseIndex(0x1800);
  }
  other.join();
  EXPECT_EQ(0, losses);
  EXPECT_EQ(PDOs{}, contents());
}

struct SetOperation : test::NamedCase {
  std::function<void(KQPDOSet&, KQPDO&)> run;
};

class PDOSetLock : public PDOSet, public testing::WithParamInterface<SetOperation> {};

TEST_P(PDOSetLock, IsWaitedFor) {
  set.insert(&a);
  std::unique_ptr<test::OtherThread> other;
  bool waits = false;
  // Whoever visits the PDOs holds the lock meanwhile.
  set.forEach([&](const KQPDO& /*pdo*/) {
    other = std::make_unique<test::OtherThread>([this] { GetParam().run(set, b); });
    waits = other->waits();
  });
  EXPECT_TRUE(waits);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, PDOSetLock,
    testing::Values(SetOperation{{"Insert"}, [](KQPDOSet& set, KQPDO& pdo) { set.insert(&pdo); }},
                    SetOperation{{"Erase"}, [](KQPDOSet& set, KQPDO& pdo) { set.erase(&pdo); }},
                    SetOperation{{"EraseIndex"}, [](KQPDOSet& set, KQPDO&) { set.eraseIndex(0x1801); }},
                    SetOperation{{"Clear"}, [](KQPDOSet& set, KQPDO&) { set.clear(); }},
                    SetOperation{{"Reserve"}, [](KQPDOSet& set, KQPDO&) { set.reserve(8); }},
                    SetOperation{{"Copy"},
                                 [](KQPDOSet& set, KQPDO&) {
                                   PDOs copy;
                                   set.copyTo(copy);
                                 }},
                    SetOperation{{"Visit"}, [](KQPDOSet& set, KQPDO&) { set.forEach([](const KQPDO&) {}); }}),
    test::caseName<SetOperation>);

}  // namespace
