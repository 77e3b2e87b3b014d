#include "KQExternalVariable.h"

namespace KQ {

KQExternalVariable::KQExternalVariable(unsigned short index, unsigned short subIndex, const std::string& name,
                                       KQVariableStorageType storageType, int minimum, int maximum, int initialValue,
                                       const std::string& initialText, int bitLength, bool isSigned,
                                       KQVariableOwner* owner)
    : KQVariable(index, subIndex, name, storageType, bitLength, isSigned) {
  setMinimum(minimum);
  setMaximum(maximum);
  setInitialValue(initialValue);
  setInitialText(initialText);
  setOwner(owner);
}

}  // namespace KQ
