#include "LastTick.h"

#include <utility>

namespace panel {

namespace {

unsigned int readLastTick() {
  return 0xFFFFFFFFU;
}

}  // namespace

bool LastTick::hasPassed(unsigned int tick) {
  return tick < std::exchange(previous, tick);
}

LastTick::Hold::Hold(KQ::KQTick::Source clock) : resumed(clock) {
  KQ::KQTick::setSource(&readLastTick);
}

LastTick::Hold::~Hold() {
  KQ::KQTick::setSource(resumed);
}

}  // namespace panel
