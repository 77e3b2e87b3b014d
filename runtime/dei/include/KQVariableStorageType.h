#pragma once

namespace KQ {

/// How the store keeps the value of a variable.
enum KQVariableStorageType : int {
  STORAGE_TYPE_INTEGER = 0,   ///< a 32-bit integer
  STORAGE_TYPE_STRING = 1,    ///< a text
  STORAGE_TYPE_UNDEFINED = 2  ///< no value; every access is refused with 20
};

}  // namespace KQ
