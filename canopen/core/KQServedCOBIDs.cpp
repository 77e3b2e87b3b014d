#include "KQServedCOBIDs.h"

namespace KQ {

std::atomic<unsigned int> KQServedCOBIDs::changes{0};

void KQServedCOBIDs::clear() {
  identifiers.reset();
  followed = nullptr;
  ++changes;
}

void KQServedCOBIDs::add(unsigned int cobID) {
  if (cobID < COUNT && !identifiers[cobID]) {
    identifiers[cobID] = true;
    ++changes;
  }
}

void KQServedCOBIDs::follow(const int* cobID) {
  followed = cobID;
  ++changes;
}

}  // namespace KQ
