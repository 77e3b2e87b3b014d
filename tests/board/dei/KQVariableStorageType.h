#pragma once

namespace KQ {

enum KQVariableStorageType : int { STORAGE_TYPE_INTEGER = 0, STORAGE_TYPE_STRING = 1, STORAGE_TYPE_UNDEFINED = 2 };

}  // namespace KQ
