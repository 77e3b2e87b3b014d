#pragma once

#include <vector>

#include "Device.h"
#include "Random.h"

namespace model {

/// Ways to make the events of a sequence.

Event setClock(unsigned int tick);
Event advance(unsigned int milliseconds);
Event receive(const Frame& frame);
Event cycle();
Event watch(unsigned int key);

/// A frame with these bytes; its length is their number.
Frame frameOf(unsigned int identifier, const std::vector<unsigned char>& bytes);

/// The clock starts anywhere, often shortly before it wraps or where the sum of two ticks does.
Event anyStart(Random& random);

/// A step of the clock around a time that matters, or a short one.
Event anyStep(Random& random, unsigned int time);

/// A command of a master, as a rule for this node.
Event anyCommand(Random& random);

/// A heartbeat of a node, sometimes none that counts.
Event anyHeartbeat(Random& random, unsigned int node);

/// The port refuses writes, sometimes as many as are tried.
Event anyRefusal(Random& random);

}  // namespace model
