#pragma once

#include <string>
#include <unordered_map>

#include "KQCANopenObjectType.h"
#include "ObjectDictionarySubEntry.h"

namespace KQ {

/// One index of the object dictionary. It owns its sub-entries.
struct ObjectDictionaryEntry {
  /// Without sub-entries.
  ObjectDictionaryEntry(unsigned short entryIndex, KQCANopenObjectType type, const std::string& entryName)
      : index(entryIndex), objectType(type), name(entryName) {}
  ~ObjectDictionaryEntry() {
    for (const auto& item : subEntries) {
      delete item.second;
    }
  }
  ObjectDictionaryEntry(const ObjectDictionaryEntry&) = delete;
  ObjectDictionaryEntry& operator=(const ObjectDictionaryEntry&) = delete;

  unsigned short index;  ///< under which the dictionary has it
  /// By sub-index, owned. One that a PDO maps stays, since the PDO keeps it.
  std::unordered_map<unsigned char, ObjectDictionarySubEntry*> subEntries;
  KQCANopenObjectType objectType;  ///< VAR, ARRAY or RECORD
  std::string name;                ///< CiA 306 ParameterName
};

}  // namespace KQ
