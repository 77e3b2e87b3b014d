// Covers: the communication states, the commands of a master, boot-up and heartbeat.
//
// | subject        | functional                                  | robustness                                         |
// |----------------|---------------------------------------------|----------------------------------------------------|
// | commands       | all, to this node, to all nodes             | unknown ones, other nodes, frames of other lengths |
// | states         | by command, by the application              | values that are no state, pause                    |
// | heartbeat time | set by the application, written by a master | out of range, changed while one is due             |
// | clock          | around the heartbeat time                   | its wrap                                           |
// | port           |                                             | refuses some or all attempts                       |

#include <gtest/gtest.h>

#include "Events.h"
#include "Generators.h"
#include "SequenceRun.h"

using namespace model;

namespace {

Event anyStateChange(Random& random) {
  const int state = static_cast<int>(random.pick({0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 0xFFFFFFFFU}));
  return [=](Device& device) { device.setState(state); };
}

Event anyProducerTime(Random& random, unsigned int time) {
  if (random.oneIn(2)) {
    const int set = static_cast<int>(random.pick({0U, 1U, time, time, 65535U, 65536U, 0xFFFFFFFFU}));
    return [=](Device& device) { device.setProducerTime(set); };
  }
  const unsigned int written = random.pick({0U, 1U, time, time, 65535U});
  return receive(frameOf(0x605, {0x2B, 0x17, 0x10, 0, static_cast<unsigned char>(written),
                                 static_cast<unsigned char>(written >> 8U), 0, 0}));
}

Event anyOption(Random& random) {
  const int option = static_cast<int>(random.pick({3U, 3U, 4U, 4U, 4U, 0U, 5U}));
  const bool value = !random.oneIn(3);
  return [=](Device& device) { device.setOption(option, value); };
}

}  // namespace

Event model::anyNMTEvent(Random& random, unsigned int time) {
  switch (random.below(20)) {
    case 0:
    case 1:
    case 2:
    case 3:
      return anyCommand(random);
    case 4:
      return anyStateChange(random);
    case 5:
      return anyProducerTime(random, time);
    case 6:
      return anyOption(random);
    case 7: {
      const unsigned int listener = random.below(3);
      return [=](Device& device) { device.listenToState(listener); };
    }
    case 8: {
      const bool pause = random.oneIn(3);
      return [=](Device& device) { device.setPaused(pause); };
    }
    case 9:
      return random.oneIn(4) ? anyRefusal(random) : anyHeartbeat(random, random.below(10));
    case 10:
    case 11:
    case 12:
    case 13:
    case 14:
      return anyStep(random, time);
    default:
      return cycle();
  }
}

namespace {

Sequence anySequence(Random& random) {
  const unsigned int time = random.pick({1U, 10U, 100U, 1000U, 60000U});
  Sequence sequence{anyStart(random), watch(0x10170000),
                    [=](Device& device) { device.setProducerTime(static_cast<int>(time)); }};
  for (unsigned int count = random.between(10, 60); count > 0; --count) {
    sequence.push_back(anyNMTEvent(random, time));
  }
  return sequence;
}

}  // namespace

TEST(NMTModel, NodeAndModelAreAlike) {
  expectAlike(anySequence);
}
