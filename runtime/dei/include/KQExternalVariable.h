#pragma once

#include "KQVariable.h"

namespace KQ {

/// A variable that a protocol brings into the variable store on behalf of the application.
class KQExternalVariable : public KQVariable {
public:
  /// @param index        first address part.
  /// @param subIndex     second address part.
  /// @param minimum      lower limit.
  /// @param maximum      upper limit; of an unsigned variable the bit pattern counts.
  /// @param initialText  value of a text variable at the start.
  /// @param owner        the protocol; not owned, may be null.
  /// The other parameters are those of KQVariable.
  KQExternalVariable(unsigned short index, unsigned short subIndex, const std::string& name,
                     KQVariableStorageType storageType, int minimum, int maximum, int initialValue,
                     const std::string& initialText, int bitLength, bool isSigned, KQVariableOwner* owner);
};

}  // namespace KQ
