#pragma once

#include <string>

#include "KQCANopenAccessType.h"
#include "KQCANopenDataType.h"

namespace KQ {

class KQStoredVariable;

/// One sub-index of an object dictionary entry.
struct ObjectDictionarySubEntry {
  /// The integer value is read and refreshed by every thread that sends a PDO; it must not tear.
  int loadValue() const { return __atomic_load_n(&value, __ATOMIC_RELAXED); }
  void storeValue(int newValue) { __atomic_store_n(&value, newValue, __ATOMIC_RELAXED); }

  unsigned char subIndex = 0;                   ///< under which the entry has it
  KQCANopenAccessType accessType = ACCESS_RO;   ///< of a number; a text is not guarded by it
  KQCANopenDataType dataType = DATA_TYPE_NONE;  ///< decides whether value or valueString counts
  int value = 0;                   ///< current value of every non-string type; a cache for variable-backed objects
  std::string valueString;         ///< current value of a VISIBLE_STRING
  unsigned int sdoServerID = 0;    ///< request COB-ID of the SDO server that holds the object, 0 = this node
  int defaultValue = 0;            ///< default of a non-string type
  std::string name;                ///< CiA 306 ParameterName
  std::string defaultValueString;  ///< default of a string; the CiA 306 form of a number ("$NODEID+0x80")
  int lowLimit = 0;                ///< smallest value, signed or not as the type is
  int highLimit = 0x7FFFFFFF;      ///< largest value, likewise
  bool pdoMappable = false;        ///< CiA 306 PDOMapping
  bool isVariable = false;         ///< the value lives in the variable store (every index from 0x2000 on)

  bool isMappedForTransmission = false;  ///< a mapping of a transmit PDO was added for it
  bool isMappedForReception = false;     ///< the same of a receive PDO

  /// The variable itself, once it was found in a store that hands its variables out. For the dictionary alone.
  KQStoredVariable* storedVariable = nullptr;
};

}  // namespace KQ
