// Covers: a list that keeps the last of what it is given.
//
// | subject                                              | functional | robustness |
// |------------------------------------------------------|------------|------------|
// | order, size and total before, at and after the limit | x          |            |

#include "Recent.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

std::vector<int> itemsAfter(int count) {
  monitor::Recent<int, 3> recent;
  for (int i = 1; i <= count; ++i) {
    recent.add(i);
  }
  std::vector<int> items;
  for (std::size_t i = 0; i < recent.size(); ++i) {
    items.push_back(recent[i]);
  }
  return items;
}

TEST(Recent, KeepsEverythingUpToItsLimit) {
  EXPECT_THAT(itemsAfter(0), testing::IsEmpty());
  EXPECT_THAT(itemsAfter(2), testing::ElementsAre(1, 2));
  EXPECT_THAT(itemsAfter(3), testing::ElementsAre(1, 2, 3));
}

TEST(Recent, KeepsTheLatestBeyondItsLimit) {
  EXPECT_THAT(itemsAfter(4), testing::ElementsAre(2, 3, 4));
  EXPECT_THAT(itemsAfter(8), testing::ElementsAre(6, 7, 8));
}

TEST(Recent, CountsThoseThatItNoLongerHas) {
  monitor::Recent<int, 2> recent;
  recent.add(1);
  recent.add(2);
  recent.add(3);
  EXPECT_EQ(3U, recent.getTotal());
  EXPECT_EQ(3, recent.back());
}

}  // namespace
