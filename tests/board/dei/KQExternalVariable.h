#pragma once

#include "KQVariable.h"

namespace KQ {

class KQExternalVariable : public KQVariable {
public:
  KQExternalVariable(unsigned short index, unsigned short subIndex, const std::string& name,
                     KQVariableStorageType storageType, int minimum, int maximum, int initialValue,
                     const std::string& initialText, int bitLength, bool isSigned, KQVariableOwner* owner);
  ~KQExternalVariable() override;
};

}  // namespace KQ
