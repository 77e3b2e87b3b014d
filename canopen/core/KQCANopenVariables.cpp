// The binding of application variables to object dictionary entries.

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQExternalVariable.h"
#include "KQVariable.h"

namespace KQ {

namespace {

constexpr int BINDING_MODE_STACK = 2;

// A plain name that a runtime variable at sub-index 0 carries when it stands for a whole record.
constexpr const char* RECORD_MARKER = "INDEX_";
constexpr const char* NUMBER_OF_ENTRIES = "Number of Entries";

KQCANopenAccessType accessTypeOf(const KQVariable& variable) {
  switch (variable.getAccessMode()) {
    case 0:
      return ACCESS_RW;
    case 1:
      return ACCESS_WO;
    case 2:
      return ACCESS_RO;
    default:
      return ACCESS_CONST;
  }
}

struct Limits {
  int low;
  int high;
};

// Limits of a runtime variable's object by its size alone; the sign does not count.
Limits limitsOfSize(int bytes) {
  switch (bytes) {
    case 1:
      return {-128, 127};
    case 2:
      return {-32768, 32767};
    case 3:
      return {-8388608, 8388608};  // the upper bound is 2^23, not 2^23 - 1
    default:
      return {-2147483647, 2147483647};
  }
}

// Limits of a manufacturer-specific data type, in 32-bit arithmetic: from 32 bits on, all of them.
Limits limitsOfBits(int bits, bool isSigned) {
  if (!isSigned) {
    if (bits < 2) {
      return {0, 1};
    }
    const unsigned int highest = bits >= 32 ? 0xFFFFFFFFU : (1U << bits) - 1U;
    return {0, static_cast<int>(highest)};
  }
  if (bits < 3) {
    return {-2, 1};
  }
  const unsigned int highest = bits >= 32 ? 0x7FFFFFFFU : (1U << (bits - 1)) - 1U;
  return {-static_cast<int>(highest) - 1, static_cast<int>(highest)};
}

bool nameStandsForRecord(const std::string& name) {
  return name.find(RECORD_MARKER) != std::string::npos || name.find(NUMBER_OF_ENTRIES) != std::string::npos;
}

void addRecordWithNumberOfEntries(KQCANopenObjectDictionary& dictionary, unsigned short index,
                                  const std::string& name) {
  dictionary.addEntry(index, OBJECT_TYPE_RECORD, name);
  dictionary.addSubentry(index, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, NUMBER_OF_ENTRIES, false, 0, std::string(), 0);
  dictionary.setLimits(index, 0, 1, 255);
}

}  // namespace

int KQCANopen::addVariable(KQVariable* variable) {
  if (variable == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  if (getVariable(variable->getVariableID()) != nullptr) {
    return KQ_ALREADY_EXISTS;
  }
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  auto* const copy = new KQVariable(*variable);
  copy->setOwner(this);
  copy->setBindingMode(BINDING_MODE_STACK);
  if (!applicationVariables.emplace(variable->getVariableID(), copy).second) {
    delete copy;
    return KQ_NO_FREE_INDEX;
  }

  const unsigned short index = variable->getFirstAddress();
  const auto subIndex = static_cast<unsigned char>(variable->getSecondAddress());
  if (variable->getSecondAddress() == 0) {
    objectDictionary->addEntry(index, OBJECT_TYPE_VAR, variable->getName());
  } else if (!objectDictionary->objectExists(index)) {
    objectDictionary->addEntry(index, OBJECT_TYPE_RECORD, "Auto-Generated Record Object");
  }
  if (variable->getStorageType() == STORAGE_TYPE_UNDEFINED) {
    return KQ_INVALID_ARGUMENT;
  }
  const int dataType = variable->getStorageType() == STORAGE_TYPE_STRING
                           ? static_cast<int>(DATA_TYPE_VISIBLE_STRING)
                           : calculateDataType(variable->getBitLength(), variable->isSigned());
  objectDictionary->addSubentry(index, subIndex, accessTypeOf(*variable), static_cast<KQCANopenDataType>(dataType),
                                variable->getName(), true, variable->getInitialValue(), variable->getInitialText(), 0);
  objectDictionary->setLimits(index, subIndex, variable->getMinimum(), variable->getMaximum());
  addVariableToStore(*variable);
  return KQ_OK;
}

void KQCANopen::addVariableToStore(const KQVariable& variable) {
  KQDEI* const dei = getContext() != nullptr ? getContext()->dei : nullptr;
  if (dei == nullptr) {
    return;
  }
  KQExternalVariable external(variable.getFirstAddress(), variable.getSecondAddress(), variable.getName(),
                              variable.getStorageType(), variable.getMinimum(), variable.getMaximum(),
                              variable.getInitialValue(), variable.getInitialText(), variable.getBitLength(),
                              variable.isSigned(), this);
  external.setValid(variable.isValid());
  external.setEventActions(variable.getEventActions());
  external.setGroupName(variable.getGroupName());
  external.setChannelName(variable.getChannelName());
  external.setForceWriting(variable.isForceWriting());
  dei->addVariable(&external);
}

int KQCANopen::getApplicationVariables() {
  KQDEI* const dei = getContext() != nullptr ? getContext()->dei : nullptr;
  if (dei == nullptr || objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const auto variables = dei->getCopyOfVariableMap();
  if (!variables) {
    return KQ_DONE;
  }
  for (const auto& item : *variables) {
    if (item.second.getOwner() != this) {
      bindRuntimeVariable(item.second);
    }
  }
  return KQ_DONE;
}

void KQCANopen::bindRuntimeVariable(const KQVariable& variable) {
  const unsigned short index = variable.getFirstAddress();
  const auto subIndex = static_cast<unsigned char>(variable.getSecondAddress() & 0xFF);
  if (!objectDictionary->objectExists(index)) {
    addRuntimeEntry(variable, index, subIndex);
  }
  const int dataType = variable.getStorageType() == STORAGE_TYPE_STRING
                           ? static_cast<int>(DATA_TYPE_VISIBLE_STRING)
                           : calculateDataType(variable.getBitLength(), variable.isSigned());
  const auto type = static_cast<KQCANopenDataType>(dataType);
  objectDictionary->addSubentry(index, subIndex, accessTypeOf(variable), type, variable.getName(), true,
                                variable.getInitialValue(), variable.getInitialText(), 0);
  const Limits limits = limitsOfSize(objectDictionary->getNumberOfBytesByDatatType(type));
  objectDictionary->setLimits(index, subIndex, limits.low, limits.high);
}

void KQCANopen::addRuntimeEntry(const KQVariable& variable, unsigned short index, unsigned char subIndex) {
  if (subIndex != 0 || nameStandsForRecord(variable.getName())) {
    addRecordWithNumberOfEntries(*objectDictionary, index, variable.getName());
  } else {
    objectDictionary->addEntry(index, OBJECT_TYPE_VAR, variable.getName());
  }
}

KQVariable* KQCANopen::getVariable(unsigned int variableID) const {
  const auto it = applicationVariables.find(variableID);
  return it != applicationVariables.end() ? it->second : nullptr;
}

KQVariable* KQCANopen::getVariableByExternalIdentifier(unsigned short index, unsigned short subIndex,
                                                       unsigned int cobID) const {
  const auto channel = sdoChannelNames.find(cobID);
  // No object key: a variable ID has 16 bits of sub-index.
  const unsigned int identifier = static_cast<unsigned int>(index) << 16 | subIndex;
  if (channel == sdoChannelNames.end() || identifier == 0) {
    return nullptr;
  }
  for (const auto& item : applicationVariables) {
    KQVariable* const variable = item.second;
    const bool isMeant = variable->getExternalIdentifier() == identifier || variable->getVariableID() == identifier;
    if (isMeant && variable->getChannelName() == channel->second) {
      return variable;
    }
  }
  return nullptr;
}

int KQCANopen::calculateDataType(int bits, bool isSigned) {
  switch (bits) {
    case 1:
      return isSigned ? createDataTypeIfNotExisting(bits, isSigned) : static_cast<int>(DATA_TYPE_BOOLEAN);
    case 8:
      return isSigned ? DATA_TYPE_INTEGER8 : DATA_TYPE_UNSIGNED8;
    case 16:
      return isSigned ? DATA_TYPE_INTEGER16 : DATA_TYPE_UNSIGNED16;
    case 24:
      return isSigned ? DATA_TYPE_INTEGER24 : DATA_TYPE_UNSIGNED24;
    case 32:
      return isSigned ? DATA_TYPE_INTEGER32 : DATA_TYPE_UNSIGNED32;
    default:
      return createDataTypeIfNotExisting(bits, isSigned);
  }
}

int KQCANopen::createDataTypeIfNotExisting(int bits, bool isSigned) {
  if (bits < 0) {
    return DATA_TYPE_NONE;
  }
  for (ManufacturerSpecificDataTypeDefinition& slot : dataTypeSlots) {
    if (slot.bitCount == ManufacturerSpecificDataTypeDefinition::FREE) {
      slot.bitCount = bits;
      slot.isSigned = isSigned;
      addDataTypeEntry(slot);
      return slot.index;
    }
    if (slot.bitCount == bits && slot.isSigned == isSigned) {
      return slot.index;
    }
  }
  return DATA_TYPE_NONE;
}

void KQCANopen::addDataTypeEntry(const ManufacturerSpecificDataTypeDefinition& definition) {
  if (objectDictionary == nullptr) {
    return;
  }
  // Every such type bears this name, whatever its size and sign.
  objectDictionary->addEntry(definition.index, OBJECT_TYPE_VAR, "UNSIGNED64");
  objectDictionary->addSubentry(definition.index, 0, ACCESS_RO, static_cast<KQCANopenDataType>(definition.index),
                                std::string(), true, 0, std::string(), 0);
  const Limits limits = limitsOfBits(definition.bitCount, definition.isSigned);
  objectDictionary->setLimits(definition.index, 0, limits.low, limits.high);
}

const ManufacturerSpecificDataTypeDefinition* KQCANopen::getManufacturerSpecificDataTypeDefinition(
    KQCANopenDataType type) const {
  if (type < DATA_TYPE_MANUFACTURER_FIRST || type > DATA_TYPE_MANUFACTURER_LAST) {
    return nullptr;
  }
  const auto& slot = dataTypeSlots[static_cast<std::size_t>(type - DATA_TYPE_MANUFACTURER_FIRST)];
  return slot.bitCount != ManufacturerSpecificDataTypeDefinition::FREE ? &slot : nullptr;
}

}  // namespace KQ
