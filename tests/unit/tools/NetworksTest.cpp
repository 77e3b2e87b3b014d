// Covers: the interfaces of a log.
//
// | subject                          | functional | robustness |
// |----------------------------------|------------|------------|
// | one network for each name        | x          |            |
// | more names than there are places |            | x          |

#include "Networks.h"

#include <gtest/gtest.h>

#include <string>

#include "StandardNames.h"

namespace {

class NetworksTest : public ::testing::Test {
protected:
  trace::Networks networks{monitor::StandardNames::instance(), 250000};
};

TEST_F(NetworksTest, AreTheSameForTheSameName) {
  trace::Network& first = networks.get("can0");
  networks.get("can1");
  EXPECT_EQ(&first, &networks.get("can0"));
}

TEST_F(NetworksTest, ShareTheLastPlace) {
  for (std::size_t i = 0; i < 10 * trace::Networks::PLACES; ++i) {
    networks.get("can" + std::to_string(i));
  }
  EXPECT_EQ(trace::Networks::PLACES, networks.getAll().size());
  EXPECT_EQ("(others)", networks.get("another").name);
}

}  // namespace
