#include "KQCANopenObjectDictionary.h"

#include <algorithm>
#include <array>

#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQPDOHandler.h"
#include "KQSDOAbortCode.h"
#include "KQSDOHandler.h"
#include "NodeInternals.h"
#include "ObjectIndexes.h"
#include "ObjectKey.h"
#include "RuntimeExtensions.h"

namespace KQ {

namespace {

using Variable = extension::ObjectVariable<KQDEI>;

constexpr object::IndexRange SDO_PARAMETERS{object::SERVER_SDO_PARAMETERS.first, object::CLIENT_SDO_PARAMETERS.last};
constexpr object::IndexRange PDO_PARAMETERS{object::RECEIVE_PDO_COMMUNICATION.first, object::TRANSMIT_PDO_MAPPING.last};
constexpr int NO_FIXED_SIZE = -1;
// What resetValue() answers for a string: no failure, and nothing was written.
constexpr int NOT_RESET = -1;

struct DataTypeProperties {
  int bytes;
  int bits;
  bool isSigned;
};

constexpr DataTypeProperties UNKNOWN_TYPE{NO_FIXED_SIZE, NO_FIXED_SIZE, false};

// By data type index. REAL32 and REAL64 count as unsigned, and "no type" has a byte but no bits.
constexpr std::array<DataTypeProperties, DATA_TYPE_UNSIGNED64 + 1> DATA_TYPES{{
    {1, 0, false},   // 0x00 no type
    {1, 1, false},   // 0x01 BOOLEAN
    {1, 8, true},    // 0x02 INTEGER8
    {2, 16, true},   // 0x03 INTEGER16
    {4, 32, true},   // 0x04 INTEGER32
    {1, 8, false},   // 0x05 UNSIGNED8
    {2, 16, false},  // 0x06 UNSIGNED16
    {4, 32, false},  // 0x07 UNSIGNED32
    {4, 32, false},  // 0x08 REAL32
    UNKNOWN_TYPE,    // 0x09 VISIBLE_STRING
    UNKNOWN_TYPE,    // 0x0A OCTET_STRING
    UNKNOWN_TYPE,    // 0x0B UNICODE_STRING
    UNKNOWN_TYPE,    // 0x0C TIME_OF_DAY
    UNKNOWN_TYPE,    // 0x0D TIME_DIFFERENCE
    UNKNOWN_TYPE,    // 0x0E
    UNKNOWN_TYPE,    // 0x0F DOMAIN
    {3, 24, true},   // 0x10 INTEGER24
    {8, 64, false},  // 0x11 REAL64
    {5, 40, true},   // 0x12 INTEGER40
    {6, 48, true},   // 0x13 INTEGER48
    {7, 56, true},   // 0x14 INTEGER56
    {8, 64, true},   // 0x15 INTEGER64
    {3, 24, false},  // 0x16 UNSIGNED24
    UNKNOWN_TYPE,    // 0x17
    {5, 40, false},  // 0x18 UNSIGNED40
    {6, 48, false},  // 0x19 UNSIGNED48
    {7, 56, false},  // 0x1A UNSIGNED56
    {8, 64, false},  // 0x1B UNSIGNED64
}};

DataTypeProperties manufacturerTypeProperties(const KQCANopen* instance, KQCANopenDataType dataType) {
  const ManufacturerSpecificDataTypeDefinition* const definition =
      instance != nullptr ? instance->getManufacturerSpecificDataTypeDefinition(dataType) : nullptr;
  if (definition == nullptr) {
    return UNKNOWN_TYPE;
  }
  return {(definition->bitCount - 1) / 8 + 1, definition->bitCount, definition->isSigned};
}

DataTypeProperties propertiesOf(const KQCANopen* instance, KQCANopenDataType dataType) {
  if (dataType >= DATA_TYPE_MANUFACTURER_FIRST && dataType <= DATA_TYPE_MANUFACTURER_LAST) {
    return manufacturerTypeProperties(instance, dataType);
  }
  const auto position = static_cast<std::size_t>(dataType);
  return position < DATA_TYPES.size() ? DATA_TYPES[position] : UNKNOWN_TYPE;
}

bool isReadOnly(const ObjectDictionarySubEntry& subEntry) {
  return subEntry.accessType == ACCESS_RO || subEntry.accessType == ACCESS_CONST;
}

bool isWithinLimits(const ObjectDictionarySubEntry& subEntry, int value, bool isSigned) {
  if (isSigned) {
    return value >= subEntry.lowLimit && value <= subEntry.highLimit;
  }
  const auto number = static_cast<unsigned int>(value);
  return number >= static_cast<unsigned int>(subEntry.lowLimit) &&
         number <= static_cast<unsigned int>(subEntry.highLimit);
}

}  // namespace

KQCANopenObjectDictionary::~KQCANopenObjectDictionary() {
  for (const auto& item : entries) {
    delete item.second;
  }
}

int KQCANopenObjectDictionary::addEntry(unsigned short index, KQCANopenObjectType objectType, const std::string& name) {
  if (objectExists(index)) {
    return KQ_ALREADY_EXISTS;
  }
  entries.emplace(index, new ObjectDictionaryEntry(index, objectType, name));
  return KQ_OK;
}

int KQCANopenObjectDictionary::addSubentry(unsigned short index, unsigned char subIndex, KQCANopenAccessType accessType,
                                           KQCANopenDataType dataType, const std::string& name, bool pdoMappable,
                                           int defaultValue, const std::string& defaultValueString,
                                           unsigned int sdoServerID) {
  ObjectDictionaryEntry* const entry = getEntry(index);
  if (entry == nullptr) {
    return KQ_NOT_FOUND;
  }
  // A sub-entry that is there already is overwritten in place, except for its limits.
  ObjectDictionarySubEntry*& subEntry = entry->subEntries[subIndex];
  if (subEntry == nullptr) {
    subEntry = new ObjectDictionarySubEntry;
  }
  subEntry->subIndex = subIndex;
  subEntry->accessType = accessType;
  subEntry->dataType = dataType;
  subEntry->sdoServerID = sdoServerID;
  subEntry->pdoMappable = pdoMappable;
  subEntry->name = name;
  subEntry->defaultValue = subEntry->value = defaultValue;
  subEntry->defaultValueString = subEntry->valueString = defaultValueString;
  subEntry->isVariable = index >= object::FIRST_APPLICATION_OBJECT;

  if (sdoServerID != 0 && sdoHandler != nullptr) {
    sdoHandler->addVariableSDOServerMapping(index, subIndex, sdoServerID);
  }
  raiseHighestSubIndex(*entry, subIndex);
  return KQ_OK;
}

void KQCANopenObjectDictionary::raiseHighestSubIndex(const ObjectDictionaryEntry& entry, unsigned char subIndex) {
  if (entry.objectType != OBJECT_TYPE_ARRAY && entry.objectType != OBJECT_TYPE_RECORD) {
    return;
  }
  const auto highest = entry.subEntries.find(0);
  if (highest != entry.subEntries.end() && highest->second->value < subIndex) {
    highest->second->value = highest->second->defaultValue = subIndex;
  }
}

ObjectDictionaryEntry* KQCANopenObjectDictionary::getEntry(unsigned short index) const {
  const auto it = entries.find(index);
  return it != entries.end() ? it->second : nullptr;
}

// Every frame that reads or writes an object comes through here: both look-ups in one piece.
[[gnu::flatten]] ObjectDictionarySubEntry* KQCANopenObjectDictionary::getSubentry(unsigned short index,
                                                                                  unsigned char subIndex) const {
  const ObjectDictionaryEntry* const entry = getEntry(index);
  if (entry == nullptr) {
    return nullptr;
  }
  const auto it = entry->subEntries.find(subIndex);
  return it != entry->subEntries.end() ? it->second : nullptr;
}

std::vector<ObjectDictionaryEntry*> KQCANopenObjectDictionary::getEntries(unsigned short first,
                                                                          unsigned short last) const {
  std::vector<ObjectDictionaryEntry*> found;
  for (const auto& item : entries) {
    if (item.first >= first && item.first <= last) {
      found.push_back(item.second);
    }
  }
  std::sort(found.begin(), found.end(), [](const auto* left, const auto* right) { return left->index < right->index; });
  return found;
}

bool KQCANopenObjectDictionary::objectExists(unsigned short index) const {
  return getEntry(index) != nullptr;
}

bool KQCANopenObjectDictionary::subObjectExists(unsigned short index, unsigned char subIndex) const {
  return getSubentry(index, subIndex) != nullptr;
}

int* KQCANopenObjectDictionary::getPointerToValue(unsigned short index, unsigned char subIndex) const {
  ObjectDictionarySubEntry* const subEntry = getSubentry(index, subIndex);
  return subEntry != nullptr ? &subEntry->value : nullptr;
}

int KQCANopenObjectDictionary::getDataType(unsigned short index, unsigned char subIndex,
                                           KQCANopenDataType& dataType) const {
  const ObjectDictionarySubEntry* const subEntry = getSubentry(index, subIndex);
  dataType = subEntry != nullptr ? subEntry->dataType : DATA_TYPE_NONE;
  return subEntry != nullptr ? KQ_OK : KQ_NOT_FOUND;
}

int KQCANopenObjectDictionary::getValue(unsigned short index, unsigned char subIndex, int& value) {
  ObjectDictionarySubEntry* const subEntry = getSubentry(index, subIndex);
  return subEntry != nullptr ? getValue(index, *subEntry, value) : KQ_NOT_FOUND;
}

int KQCANopenObjectDictionary::getValue(unsigned int key, int& value) {
  return getValue(indexOf(key), subIndexOf(key), value);
}

int KQCANopenObjectDictionary::getValue(unsigned short index, ObjectDictionarySubEntry& subEntry, int& value) const {
  if (subEntry.accessType == ACCESS_WO) {
    return SDO_ABORT_WRITE_ONLY;
  }
  if (subEntry.isVariable) {
    return readVariable(index, subEntry, value);
  }
  value = subEntry.loadValue();
  return KQ_OK;
}

int KQCANopenObjectDictionary::readVariable(unsigned short index, ObjectDictionarySubEntry& subEntry,
                                            int& value) const {
  if (dei == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const int result = Variable(*dei, index, subEntry).getValue(value);
  // A value that is marked invalid is delivered and kept all the same.
  if (result == KQ_OK || result == KQ_VALUE_INVALID) {
    subEntry.storeValue(value);
  }
  return result;
}

int KQCANopenObjectDictionary::getValue(unsigned short index, unsigned char subIndex, std::string& value) {
  ObjectDictionarySubEntry* const subEntry = getSubentry(index, subIndex);
  if (subEntry == nullptr) {
    return KQ_NOT_FOUND;
  }
  if (!subEntry->isVariable) {
    value = subEntry->valueString;
    return KQ_OK;
  }
  if (dei == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const int result = dei->getVariableValue(index, subIndex, &value);
  if (result == KQ_OK) {
    subEntry->valueString = value;
  }
  return result;
}

int KQCANopenObjectDictionary::getValue(unsigned int key, std::string& value) {
  return getValue(indexOf(key), subIndexOf(key), value);
}

int KQCANopenObjectDictionary::setValue(unsigned short index, unsigned char subIndex, int value, bool force) {
  ObjectDictionarySubEntry* const subEntry = getSubentry(index, subIndex);
  return subEntry != nullptr ? setValue(index, *subEntry, value, force) : KQ_NOT_FOUND;
}

int KQCANopenObjectDictionary::setValue(unsigned int key, int value, bool force) {
  return setValue(indexOf(key), subIndexOf(key), value, force);
}

int KQCANopenObjectDictionary::setValue(unsigned short index, ObjectDictionarySubEntry& subEntry, int value,
                                        bool force) {
  if (subEntry.dataType == DATA_TYPE_VISIBLE_STRING) {
    return KQ_NOT_FOUND;
  }
  if (!subEntry.isVariable || dei == nullptr) {
    return writeIntoDictionary(index, subEntry, value, force);
  }
  const int result = writeVariable(index, subEntry, value, force);
  if (result == KQ_OK) {
    subEntry.storeValue(value);
  }
  return result;
}

[[gnu::noinline]] int KQCANopenObjectDictionary::writeIntoDictionary(unsigned short index,
                                                                     ObjectDictionarySubEntry& subEntry, int value,
                                                                     bool force) {
  const int result = handleValueChangeRequest(index, &subEntry, value, force);
  if (result != KQ_OK) {
    return result;
  }
  subEntry.storeValue(value);
  if (!subEntry.isVariable) {
    notifyHandlers(index, subEntry);
    if (instance != nullptr) {
      // Whoever hears that a COB-ID was changed may send on it at once.
      NodeInternals::renewReceptionFilter(*instance);
    }
  }
  return KQ_OK;
}

inline int KQCANopenObjectDictionary::writeVariable(unsigned short index, ObjectDictionarySubEntry& subEntry, int value,
                                                    bool force) const {
  const Variable variable(*dei, index, subEntry);
  const bool isOwn = instance != nullptr && variable.getOwner() == instance;
  // Another owner's variable is never written against its access right, not even by the stack itself.
  if (isReadOnly(subEntry) && !(isOwn && force)) {
    return SDO_ABORT_READ_ONLY;
  }
  if (!isOwn) {
    return variable.setValue(value);
  }
  if (!isWithinLimits(subEntry, value, isDataTypeSigned(subEntry.dataType))) {
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  return variable.forceSetValue(value, instance->getOwnerName());
}

bool KQCANopenObjectDictionary::isOwnVariable(unsigned short index, unsigned char subIndex) const {
  return instance != nullptr && dei->getVariableOwnerPointer(index, subIndex) == instance;
}

void KQCANopenObjectDictionary::notifyHandlers(unsigned short index, const ObjectDictionarySubEntry& subEntry) {
  if (pdoHandler != nullptr) {
    pdoHandler->handleVariableChange(keyOf(index, subEntry.subIndex), subEntry.loadValue());
    if (PDO_PARAMETERS.contains(index)) {
      pdoHandler->signalPDOChange(index);
      return;
    }
  }
  if (sdoHandler != nullptr && SDO_PARAMETERS.contains(index)) {
    sdoHandler->init();
    return;
  }
  if (nmtHandler != nullptr && index == object::CONSUMER_HEARTBEAT_TIME) {
    nmtHandler->updateHeartbeatConsumerSettings();
  }
}

int KQCANopenObjectDictionary::setValue(unsigned short index, unsigned char subIndex, const std::string& value,
                                        bool force) {
  ObjectDictionarySubEntry* const subEntry = getSubentry(index, subIndex);
  if (subEntry == nullptr || subEntry->dataType != DATA_TYPE_VISIBLE_STRING) {
    return KQ_NOT_FOUND;
  }
  int result = KQ_OK;
  if (!subEntry->isVariable || dei == nullptr) {
    result = handleValueChangeRequest(index, subEntry, value, force);
  } else if (isOwnVariable(index, subIndex)) {
    result = dei->forceSetVariableValue(index, subIndex, value, instance->getOwnerName(), true, false);
  } else {
    result = dei->setVariableValue(index, subIndex, value, true, false);
  }
  if (result == KQ_OK) {
    subEntry->valueString = value;
  }
  return result;
}

int KQCANopenObjectDictionary::resetValue(unsigned int key) {
  const ObjectDictionarySubEntry* const subEntry = getSubentry(indexOf(key), subIndexOf(key));
  if (subEntry == nullptr) {
    return KQ_OK;
  }
  if (subEntry->dataType == DATA_TYPE_VISIBLE_STRING) {
    return NOT_RESET;
  }
  return setValue(key, subEntry->defaultValue, true);
}

int KQCANopenObjectDictionary::performReset(bool all) {
  for (const auto& item : entries) {
    if (!all && item.first >= object::FIRST_APPLICATION_OBJECT) {
      break;
    }
    for (const auto& subItem : item.second->subEntries) {
      if (subItem.first != 0 || item.second->objectType == OBJECT_TYPE_VAR) {
        resetSubEntry(item.first, *subItem.second);
      }
    }
  }
  return KQ_OK;
}

void KQCANopenObjectDictionary::resetSubEntry(unsigned short index, const ObjectDictionarySubEntry& subEntry) {
  if (subEntry.dataType == DATA_TYPE_VISIBLE_STRING) {
    setValue(index, subEntry.subIndex, subEntry.defaultValueString, true);
  } else {
    setValue(index, subEntry.subIndex, subEntry.defaultValue, true);
  }
}

int KQCANopenObjectDictionary::setLimits(unsigned short index, unsigned char subIndex, int low, int high) {
  ObjectDictionarySubEntry* const subEntry = getSubentry(index, subIndex);
  if (subEntry == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  subEntry->lowLimit = low;
  subEntry->highLimit = high;
  return KQ_OK;
}

bool KQCANopenObjectDictionary::isSigned(unsigned int key) const {
  const ObjectDictionarySubEntry* const subEntry = getSubentry(indexOf(key), subIndexOf(key));
  return subEntry != nullptr && isDataTypeSigned(subEntry->dataType);
}

bool KQCANopenObjectDictionary::isDataTypeSigned(KQCANopenDataType dataType) const {
  return propertiesOf(instance, dataType).isSigned;
}

int KQCANopenObjectDictionary::getNumberOfBytesByDatatType(KQCANopenDataType dataType) const {
  return propertiesOf(instance, dataType).bytes;
}

int KQCANopenObjectDictionary::getNumberOfBitsByDatatType(KQCANopenDataType dataType) const {
  return propertiesOf(instance, dataType).bits;
}

int KQCANopenObjectDictionary::getVariableStorageType(unsigned int key, KQVariableStorageType* storageType) const {
  const ObjectDictionarySubEntry* const subEntry = getSubentry(indexOf(key), subIndexOf(key));
  if (subEntry == nullptr) {
    return KQ_DONE;
  }
  switch (subEntry->dataType) {
    case DATA_TYPE_NONE:
      *storageType = STORAGE_TYPE_UNDEFINED;
      return KQ_NO_STORAGE_TYPE;
    case DATA_TYPE_VISIBLE_STRING:
    case DATA_TYPE_OCTET_STRING:
    case DATA_TYPE_UNICODE_STRING:
      *storageType = STORAGE_TYPE_STRING;
      return KQ_OK;
    default:
      *storageType = STORAGE_TYPE_INTEGER;
      return KQ_OK;
  }
}

std::string KQCANopenObjectDictionary::getAccessTypeString(KQCANopenAccessType accessType) {
  switch (accessType) {
    case ACCESS_RO:
      return "ro";
    case ACCESS_WO:
      return "wo";
    case ACCESS_RW:
      return "rw";
    case ACCESS_RWW:
      return "rww";
    case ACCESS_RWR:
      return "rwr";
    case ACCESS_CONST:
      return "const";
  }
  return std::string();
}

int KQCANopenObjectDictionary::setSDOServerID(unsigned short index, unsigned char subIndex, unsigned int id) {
  ObjectDictionarySubEntry* const subEntry = getSubentry(index, subIndex);
  if (subEntry == nullptr || sdoHandler == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  if (sdoHandler->addVariableSDOServerMapping(index, subIndex, id) != KQ_OK) {
    return KQ_NOT_FOUND;
  }
  subEntry->sdoServerID = id;
  return KQ_OK;
}

}  // namespace KQ
