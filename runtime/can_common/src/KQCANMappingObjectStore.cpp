// Where unpacked values go when no derived class says otherwise. In a file of its own: beside the loop
// that unpacks a frame, the compiler would guess at each value that these are meant and test for it,
// although it is nearly always a derived class that is called.
#include <string>

#include "KQCANMappingObject.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariableOwner.h"

namespace KQ {

namespace {

unsigned short indexOf(unsigned int key) {
  return static_cast<unsigned short>(key >> 16);
}

unsigned short subIndexOf(unsigned int key) {
  return static_cast<unsigned short>(key & 0xFFFFU);
}

template <typename Value>
int writeToStore(unsigned int key, const Value& value, KQDEI* dei, const KQVariableOwner* owner) {
  if (dei == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  if (owner != nullptr) {
    return dei->forceSetVariableValue(indexOf(key), subIndexOf(key), value, owner->getOwnerName(), true, false);
  }
  return dei->setVariableValue(indexOf(key), subIndexOf(key), value, true, false);
}

}  // namespace

int KQCANMappingObject::handleExtractedValue(unsigned int key, int value, KQDEI* dei, KQVariableOwner* owner,
                                             int /*tag*/) const {
  return writeToStore(key, value, dei, owner);
}

int KQCANMappingObject::handleExtractedValue(unsigned int key, const std::string& value, KQDEI* dei,
                                             KQVariableOwner* owner, int /*tag*/) const {
  return writeToStore(key, value, dei, owner);
}

}  // namespace KQ
