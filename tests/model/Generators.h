#pragma once

#include "Device.h"
#include "Random.h"

namespace model {

/// What the tests of the parts have for the test of the whole node: how a part is set up, and one step that concerns
/// it.
void appendSDOServerSetup(Sequence& sequence, Random& random);
void appendSDOServerEvents(Sequence& sequence, Random& random);
void appendPDOSetup(Sequence& sequence, Random& random);
Event anyPDOEvent(Random& random);
Event anyNMTEvent(Random& random, unsigned int time);
Event anyConsumerEvent(Random& random, unsigned int time);

}  // namespace model
