#include "internal/KQServedCOBIDs.h"

namespace KQ {

std::atomic<unsigned int> KQServedCOBIDs::changes{0};

void KQServedCOBIDs::clear() {
  identifiers.clear();
  followed = nullptr;
  ++changes;
}

void KQServedCOBIDs::add(unsigned int cobID) {
  const auto place = std::lower_bound(identifiers.begin(), identifiers.end(), cobID);
  const bool isThere = place != identifiers.end() && *place == cobID;
  if (cobID < COUNT && !isThere) {
    identifiers.insert(place, cobID);
    ++changes;
  }
}

void KQServedCOBIDs::follow(const int* cobID) {
  followed = cobID;
  ++changes;
}

}  // namespace KQ
