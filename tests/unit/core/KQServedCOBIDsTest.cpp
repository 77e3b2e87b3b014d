// Covers: the identifiers that one handler declares.
//
// | subject    | functional                            | robustness               |
// |------------|---------------------------------------|--------------------------|
// | add        | boundaries of the 11 bits, neighbours | more than 11 bits, twice |
// | follow     | kept                                  | null                     |
// | clear      | forgets both                          |                          |
// | getChanges | every change of any declaration       | none without a change    |

#include "internal/KQServedCOBIDs.h"

#include <gtest/gtest.h>

#include "ReadableName.h"

namespace {

using KQ::KQServedCOBIDs;

std::size_t countOf(const KQServedCOBIDs& served) {
  std::size_t count = 0;
  for (unsigned int cobID = 0; cobID < KQServedCOBIDs::COUNT; ++cobID) {
    count += served.contains(cobID) ? 1U : 0U;
  }
  return count;
}

TEST(ServedCOBIDs, AreNoneAtFirst) {
  const KQServedCOBIDs served;
  EXPECT_EQ(0U, countOf(served));
  EXPECT_EQ(nullptr, served.getFollowed());
}

class AddedCOBID : public testing::TestWithParam<unsigned int> {};

TEST_P(AddedCOBID, IsServedAndNoOther) {
  KQServedCOBIDs served;
  served.add(GetParam());
  EXPECT_TRUE(served.contains(GetParam()));
  EXPECT_EQ(1U, countOf(served));
}

INSTANTIATE_TEST_SUITE_P(Boundaries, AddedCOBID, testing::Values(0U, 1U, 0x3FFU, 0x7FEU, 0x7FFU), test::ReadableName());

class AddedWideCOBID : public testing::TestWithParam<unsigned int> {};

TEST_P(AddedWideCOBID, IsNotServed) {
  KQServedCOBIDs served;
  served.add(GetParam());
  EXPECT_EQ(0U, countOf(served));
}

INSTANTIATE_TEST_SUITE_P(Boundaries, AddedWideCOBID,
                         testing::Values(0x800U, 0x1FFFFFFFU, 0x40000205U, 0x80000205U, 0xFFFFFFFFU),
                         test::ReadableName());

TEST(ServedCOBIDs, KeepWhereTheFollowedOneStands) {
  const int cobID = 0x80;
  KQServedCOBIDs served;
  served.follow(&cobID);
  EXPECT_EQ(&cobID, served.getFollowed());
  EXPECT_EQ(0U, countOf(served));
}

TEST(ServedCOBIDs, ClearForgetsAllOfThem) {
  const int cobID = 0x80;
  KQServedCOBIDs served;
  served.add(0x205);
  served.follow(&cobID);
  served.clear();
  EXPECT_EQ(0U, countOf(served));
  EXPECT_EQ(nullptr, served.getFollowed());
}

TEST(ServedCOBIDs, EveryChangeOfAnyDeclarationIsSeen) {
  const int cobID = 0x80;
  KQServedCOBIDs one;
  KQServedCOBIDs other;
  unsigned int before = KQServedCOBIDs::getChanges();
  one.add(0x205);
  EXPECT_NE(before, KQServedCOBIDs::getChanges());
  before = KQServedCOBIDs::getChanges();
  other.follow(&cobID);
  EXPECT_NE(before, KQServedCOBIDs::getChanges());
  before = KQServedCOBIDs::getChanges();
  one.clear();
  EXPECT_NE(before, KQServedCOBIDs::getChanges());
}

TEST(ServedCOBIDs, WhatChangesNothingIsNoChange) {
  KQServedCOBIDs served;
  served.add(0x205);
  const unsigned int before = KQServedCOBIDs::getChanges();
  served.add(0x205);
  served.add(0x800);
  EXPECT_EQ(before, KQServedCOBIDs::getChanges());
}

}  // namespace
