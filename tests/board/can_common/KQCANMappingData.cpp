#include "KQCANMappingData.h"

namespace KQ {

KQCANMappingData::KQCANMappingData(unsigned int start, unsigned int bits, unsigned int objectKey,
                                   KQVariableStorageType type, bool hasSign)
    : startBit(start), bitLength(bits), key(objectKey), storageType(type), isSigned(hasSign) {}

unsigned int KQCANMappingData::getKey() const {
  return key;
}

bool KQCANMappingData::liesWithin(unsigned int bytes) const {
  const unsigned int frameBits = 8 * (bytes < 8 ? bytes : 8);
  return bitLength > 0 && bitLength <= frameBits && startBit <= frameBits - bitLength;
}

bool KQCANMappingData::isText() const {
  return storageType == STORAGE_TYPE_STRING;
}

}  // namespace KQ
