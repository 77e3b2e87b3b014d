// Covers: how two devices are compared, on some that are small enough to tell what has to come out.
//
// | subject                | functional                                                              | robustness |
// |------------------------|-------------------------------------------------------------------------|------------|
// | devices that are alike | no difference                                                           |            |
// | a difference           | shrunk to the events that cause it, and shown with what both sides show |            |
// | the seed that is shown | repeats the sequence                                                    |            |

#include "Comparison.h"

#include <gtest/gtest.h>

#include "Events.h"

using namespace model;

namespace {

// Prints a line in every cycle after a number of frames.
class Counter : public Device {
public:
  explicit Counter(unsigned int most) : limit(most) {}

  void receive(const Frame& /*frame*/) override { ++frames; }
  void cycle() override {
    if (frames >= limit) {
      trace.line("enough");
    }
  }
  void showValues() override { trace.value(0x10, 0, static_cast<int>(frames)); }

private:
  unsigned int limit;
  unsigned int frames = 0;
};

Comparison::MakeDevice counterTo(unsigned int limit) {
  return [=] { return std::make_unique<Counter>(limit); };
}

Sequence anySequence(Random& random) {
  Sequence sequence;
  for (unsigned int count = 0; count < 40; ++count) {
    sequence.push_back(random.oneIn(2) ? cycle() : (random.oneIn(2) ? advance(1) : receive({0x123, 1, {7}})));
  }
  return sequence;
}

}  // namespace

TEST(Comparison, DevicesThatAreAlikeShowNoDifference) {
  EXPECT_EQ("", Comparison(counterTo(3), counterTo(3)).run(anySequence, 1, 100));
}

TEST(Comparison, ADifferenceIsShrunkToTheEventsThatCauseIt) {
  const Comparison comparison(counterTo(3), counterTo(4));
  Random random(1);
  EXPECT_EQ(4U, comparison.shrink(anySequence(random)).size());
}

TEST(Comparison, TheEventsAreShownWithWhatBothSidesShow) {
  EXPECT_EQ(
      "1 repeats it; shrunk from 40 events:\n"
      "  1. receive 123#07 | 00 00 00 00 00 00 00\n"
      "  2. cycle\n"
      "      node  prints \"enough\"\n",
      Comparison(counterTo(1), counterTo(2)).run(anySequence, 1, 1));
}

TEST(Comparison, TheSeedThatIsShownRepeatsTheSequence) {
  const auto onlyOnce = [](Random& random) {
    return random.oneIn(50) ? Sequence{receive({1, 0, {}}), cycle()} : Sequence();
  };
  const Comparison comparison(counterTo(1), counterTo(2));
  const std::string found = comparison.run(onlyOnce, 1, 1000);
  const unsigned long seed = std::stoul(found);
  EXPECT_EQ(found, comparison.run(onlyOnce, seed, 1));
}
