// Covers: all parts of the node at once, so that they meet. The cases of each part are those of its own test.
//
// | subject         | functional                                          | robustness              |
// |-----------------|-----------------------------------------------------|-------------------------|
// | parts that meet | heartbeats between transfers, PDOs beside transfers | transfers during resets |

#include <gtest/gtest.h>

#include "Events.h"
#include "Generators.h"
#include "SequenceRun.h"

using namespace model;

namespace {

void appendEvents(Sequence& sequence, Random& random) {
  constexpr unsigned int TIME = 100;
  switch (random.below(4)) {
    case 0:
      appendSDOServerEvents(sequence, random);
      break;
    case 1:
      sequence.push_back(anyNMTEvent(random, TIME));
      break;
    case 2:
      sequence.push_back(anyConsumerEvent(random, TIME));
      break;
    default:
      sequence.push_back(anyPDOEvent(random));
      break;
  }
}

Sequence anySequence(Random& random) {
  Sequence sequence;
  appendSDOServerSetup(sequence, random);
  appendPDOSetup(sequence, random);
  const std::size_t length = sequence.size() + random.between(20, 80);
  while (sequence.size() < length) {
    appendEvents(sequence, random);
  }
  return sequence;
}

}  // namespace

TEST(NodeModel, NodeAndModelAreAlike) {
  expectAlike(anySequence);
}
