// Covers: the ordered set of PDOs.
//
// | subject       | functional                                    | robustness                             |
// |---------------|-----------------------------------------------|----------------------------------------|
// | insert, erase | order by communication index                  | twice, not contained, equal indexes    |
// | find          | first with the index                          | none                                   |
// | walk          | first, after                                  | changed under way, PDO that is not in  |

#include "KQPDOSet.h"

#include <gtest/gtest.h>

#include <vector>

#include "KQPDO.h"

using namespace KQ;

namespace {

class PDOSet : public testing::Test {
protected:
  PDOSet() {
    a.setCommunicationIndex(0x1800);
    b.setCommunicationIndex(0x1801);
    c.setCommunicationIndex(0x1802);
    twin.setCommunicationIndex(0x1801);
  }

  std::vector<KQPDO*> walk() const {
    std::vector<KQPDO*> pdos;
    for (KQPDO* pdo = set.first(); pdo != nullptr; pdo = set.after(pdo)) {
      pdos.push_back(pdo);
    }
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
  EXPECT_EQ(0U, set.size());
  EXPECT_EQ(nullptr, set.first());
  EXPECT_EQ(nullptr, set.find(0x1800));
  EXPECT_FALSE(set.contains(&a));
}

TEST_F(PDOSet, IsOrderedByCommunicationIndex) {
  EXPECT_TRUE(set.insert(&c));
  EXPECT_TRUE(set.insert(&a));
  EXPECT_TRUE(set.insert(&b));
  EXPECT_EQ((std::vector<KQPDO*>{&a, &b, &c}), walk());
  EXPECT_EQ((std::vector<KQPDO*>{&a, &b, &c}), std::vector<KQPDO*>(set.begin(), set.end()));
}

TEST_F(PDOSet, HoldsAPDOOnce) {
  EXPECT_TRUE(set.insert(&a));
  EXPECT_FALSE(set.insert(&a));
  EXPECT_EQ(1U, set.size());
}

TEST_F(PDOSet, HoldsDifferentPDOsOfOneIndex) {
  EXPECT_TRUE(set.insert(&b));
  EXPECT_TRUE(set.insert(&twin));
  EXPECT_EQ(2U, set.size());
  EXPECT_TRUE(set.erase(&b));
  EXPECT_FALSE(set.contains(&b));
  EXPECT_EQ(&twin, set.find(0x1801));
}

TEST_F(PDOSet, ErasesOnlyWhatItHolds) {
  set.insert(&b);
  EXPECT_FALSE(set.erase(&twin));
  EXPECT_FALSE(set.erase(&a));
  EXPECT_TRUE(set.contains(&b));
}

TEST_F(PDOSet, FindsByIndex) {
  set.insert(&a);
  set.insert(&c);
  EXPECT_EQ(&c, set.find(0x1802));
  EXPECT_EQ(nullptr, set.find(0x1801));
  EXPECT_EQ(nullptr, set.find(0xFFFF));
}

TEST_F(PDOSet, WalkGoesOnFromAPDOThatIsGone) {
  set.insert(&a);
  set.insert(&b);
  set.insert(&c);
  set.erase(&b);
  EXPECT_EQ(&c, set.after(&b));
  EXPECT_EQ(nullptr, set.after(&c));
}

TEST_F(PDOSet, WalkMeetsWhatIsInsertedAhead) {
  set.insert(&a);
  set.insert(&c);
  EXPECT_EQ(&c, set.after(&a));
  set.insert(&b);
  EXPECT_EQ(&b, set.after(&a));
}

TEST_F(PDOSet, SwapsAndClears) {
  KQPDOSet other;
  set.insert(&a);
  other.swap(set);
  EXPECT_TRUE(set.empty());
  EXPECT_TRUE(other.contains(&a));
  other.clear();
  EXPECT_TRUE(other.empty());
}

}  // namespace
