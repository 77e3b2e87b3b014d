// Covers: what is known of a network takes the heap for what is new, and for nothing else.
//
// | subject                  | functional                                     | robustness                        |
// |--------------------------|------------------------------------------------|-----------------------------------|
// | frames of every service, | ObservedFrames.AllocateNothingOnceTheyAreKnown |                                   |
// | seen before              |                                                |                                   |
// | any frames at all        |                                                | ObservedFrames.TakeABoundedMemory |

#include <gtest/gtest.h>

#include <vector>

#include "AllocationCounter.h"
#include "FrameDecoder.h"
#include "Frames.h"
#include "NetworkStatistics.h"
#include "TestSeed.h"

namespace {

using bench::AllocationCounter;

class ObservedFrames : public testing::Test {
protected:
  void see(const KQ::KQCANMessage& message) {
    statistics.add(decoder.decode(now += 700, message), false);
    statistics.advance(now);
  }

  long long now = 0;
  monitor::FrameDecoder decoder;
  monitor::NetworkStatistics statistics;
};

TEST_F(ObservedFrames, AllocateNothingOnceTheyAreKnown) {
  std::vector<KQ::KQCANMessage> messages;
  for (const char* text : {"000#01 05",
                           "080#",
                           "100#00 00 00 00 00 00",
                           "705#00",
                           "705#05",
                           "085#30 81 11 00 00 00 00 00",
                           "185#01 02",
                           "205#01 02",
                           "605#40 18 10 01 00 00 00 00",
                           "585#43 18 10 01 C7 03 00 00",
                           "605#40 18 10 09 00 00 00 00",
                           "585#80 18 10 09 11 00 09 06",
                           "605#21 01 20 00 0A 00 00 00",
                           "585#60 01 20 00 00 00 00 00",
                           "605#00 41 42 43 44 45 46 47",
                           "585#20 00 00 00 00 00 00 00",
                           "605#19 48 49 4A 00 00 00 00",
                           "585#30 00 00 00 00 00 00 00",
                           "605#E0 00 20 00 00 00 00 00",
                           "605#40 18 10 01 00 00 00 00",
                           "7E5#04 00"}) {
    messages.push_back(test::frame(text));
  }
  const auto seeAll = [&] {
    for (const KQ::KQCANMessage& message : messages) {
      see(message);
    }
  };
  seeAll();
  seeAll();
  const std::size_t before = AllocationCounter::allocations();
  for (int i = 0; i < 1000; ++i) {
    seeAll();
  }
  EXPECT_EQ(0U, AllocationCounter::allocations() - before);
}

TEST_F(ObservedFrames, TakeABoundedMemory) {
  constexpr std::size_t LIMIT = 1024U * 1024U;
  const unsigned int seed = test::chooseSeed();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  AllocationCounter::countBytes();
  const std::size_t before = AllocationCounter::bytes();
  KQ::KQCANMessage message;
  for (int i = 0; i < 1000000; ++i) {
    message.identifier = static_cast<unsigned int>(random() & 0x7FF);
    message.length = static_cast<unsigned int>(random() % 9);
    for (unsigned char& byte : message.data) {
      byte = static_cast<unsigned char>(random());
    }
    see(message);
  }
  EXPECT_LT(AllocationCounter::bytes() - before, LIMIT);
}

}  // namespace
