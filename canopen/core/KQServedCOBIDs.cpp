#include "KQServedCOBIDs.h"

namespace KQ {

std::atomic<unsigned int> KQServedCOBIDs::changes{0};

void KQServedCOBIDs::clear() {
  identifiers.clear();
  followed = nullptr;
  ++changes;
}

void KQServedCOBIDs::add(unsigned int cobID) {
  if (cobID < COUNT) {
    identifiers.push_back(cobID);
    ++changes;
  }
}

void KQServedCOBIDs::follow(const int* cobID) {
  followed = cobID;
  ++changes;
}

}  // namespace KQ
