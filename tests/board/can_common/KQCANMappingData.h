#pragma once

#include "KQVariableStorageType.h"

namespace KQ {

class KQCANMappingData {
public:
  KQCANMappingData(unsigned int startBit, unsigned int bitLength, unsigned int key, KQVariableStorageType storageType,
                   bool isSigned);

  unsigned int getKey() const;

private:
  friend class KQCANMappingObject;
  bool liesWithin(unsigned int bytes) const;
  bool isText() const;

  unsigned int startBit;
  unsigned int bitLength;
  unsigned int key;
  KQVariableStorageType storageType;
  bool isSigned;
};

}  // namespace KQ
