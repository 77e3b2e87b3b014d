// Covers: the watch over the heartbeats of other nodes.
//
// | subject    | functional                                      | robustness                                       |
// |------------|-------------------------------------------------|--------------------------------------------------|
// | consumers  | added, changed, by the application and a master | node 0, nodes from 128 on, time 0, more than fit |
// | heartbeats | of watched nodes                                | of others, of wrong length, wide identifiers     |
// | listeners  | for all nodes, for one, exchanged               | taken out                                        |
// | states     | all, so that the settings are read in each      | resets                                           |
// | clock      | around the consumer times                       | its wrap                                         |

#include <gtest/gtest.h>

#include "Events.h"
#include "Generators.h"
#include "SequenceRun.h"

using namespace model;

namespace {

constexpr unsigned int CONSUMERS = 0x10160000;

unsigned int anyNode(Random& random) {
  return random.pick({6U, 6U, 7U, 0x1AU, 0x7FU, 0U, 0x80U, 0xFFU});
}

Event anyConsumer(Random& random, unsigned int time) {
  const auto node = static_cast<unsigned char>(anyNode(random));
  const auto milliseconds = static_cast<unsigned short>(random.pick({time, time, time + 1, 0U, 65535U}));
  return [=](Device& device) { device.addConsumer(node, milliseconds); };
}

// A master writes an entry, or the stack itself does.
Event anyEntry(Random& random, unsigned int time) {
  const unsigned int subIndex = random.between(0, 4);
  const unsigned int value = anyNode(random) << 16U | time | (random.oneIn(8) ? 0x1000000U : 0U);
  if (random.oneIn(4)) {
    const bool force = random.oneIn(2);
    return [=](Device& device) { device.writeObject(CONSUMERS | subIndex, static_cast<int>(value), force); };
  }
  return receive(frameOf(0x605, {0x23, 0x16, 0x10, static_cast<unsigned char>(subIndex),
                                 static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8U),
                                 static_cast<unsigned char>(value >> 16U), static_cast<unsigned char>(value >> 24U)}));
}

Event anyListener(Random& random) {
  const unsigned int listener = random.below(4);
  if (random.oneIn(3)) {
    return [=](Device& device) { device.listenToHeartbeats(listener); };
  }
  const int node = static_cast<int>(anyNode(random) | (random.oneIn(8) ? 0x100U : 0U));
  return [=](Device& device) { device.listenToNode(listener, node); };
}

Event fill(Random& random) {
  const auto first = static_cast<unsigned char>(random.between(1, 200));
  return [=](Device& device) {
    for (unsigned char count = 0; count < 130; ++count) {
      device.addConsumer(static_cast<unsigned char>(first + count), 100);
    }
  };
}

}  // namespace

Event model::anyConsumerEvent(Random& random, unsigned int time) {
  switch (random.below(20)) {
    case 0:
      return anyCommand(random);
    case 1:
      return anyConsumer(random, time);
    case 2:
      return random.oneIn(50) ? fill(random) : anyEntry(random, time);
    case 3:
      return anyListener(random);
    case 4:
    case 5:
    case 6:
    case 7:
    case 8:
      return anyHeartbeat(random, anyNode(random));
    case 9:
    case 10:
    case 11:
    case 12:
    case 13:
      return anyStep(random, time);
    default:
      return cycle();
  }
}

namespace {

Sequence anySequence(Random& random) {
  const unsigned int time = random.pick({1U, 10U, 100U, 1000U, 60000U});
  Sequence sequence{anyStart(random), anyConsumer(random, time), anyListener(random), anyListener(random)};
  for (unsigned int subIndex = 0; subIndex < 4; ++subIndex) {
    sequence.push_back(watch(CONSUMERS | subIndex));
  }
  for (unsigned int count = random.between(10, 60); count > 0; --count) {
    sequence.push_back(anyConsumerEvent(random, time));
  }
  return sequence;
}

}  // namespace

TEST(HeartbeatConsumerModel, NodeAndModelAreAlike) {
  expectAlike(anySequence);
}
