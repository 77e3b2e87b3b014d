#include "KQExternalVariable.h"

namespace KQ {

KQExternalVariable::KQExternalVariable(unsigned short index, unsigned short subIndex, const std::string& text,
                                       KQVariableStorageType storageType, int low, int high, int startValue,
                                       const std::string& startText, int bitLength, bool hasSign,
                                       KQVariableOwner* theOwner)
    : KQVariable(index, subIndex, text, storageType, bitLength, hasSign) {
  setMinimum(low);
  setMaximum(high);
  setInitialValue(startValue);
  setInitialText(startText);
  setOwner(theOwner);
}

KQExternalVariable::~KQExternalVariable() {}

}  // namespace KQ
