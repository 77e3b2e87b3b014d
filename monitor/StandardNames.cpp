#include "StandardNames.h"

namespace monitor {

const StandardNames& StandardNames::instance() {
  static const StandardNames NAMES;
  return NAMES;
}

ObjectDescription StandardNames::describe(unsigned char /*node*/, unsigned short /*index*/,
                                          unsigned char /*subIndex*/) const {
  return {};
}

const CommunicationObject* StandardNames::findCommunicationObject(unsigned int /*cobID*/) const {
  return nullptr;
}

}  // namespace monitor
