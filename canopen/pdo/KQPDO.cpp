#include "KQPDO.h"

#include "COBID.h"
#include "KQCANMessage.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "ObjectIndexes.h"
#include "ObjectKey.h"

namespace KQ {

namespace {

// Entries that only fill up a frame.
bool isDummy(unsigned int key) {
  return indexOf(key) < object::FIRST_COMMUNICATION_OBJECT;
}

}  // namespace

KQPDO::KQPDO(unsigned int dataLength, KQTransmitType transmitType, unsigned short inhibit, unsigned int eventTimer,
             KQCANopenObjectDictionary* od, KQCANopenPDOTransmissionMode mode)
    : KQCANMappingObject(dataLength, transmitType, 0, eventTimer, 1, true, 0, false, 0),
      objectDictionary(od),
      transmissionType(mode),
      inhibitTime(inhibit) {}

KQPDO::~KQPDO() {
  objectDictionary = nullptr;
}

int KQPDO::fillMessage(KQCANMessage* message) {
  if (message == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  message->identifier = cobID & cobid::IDENTIFIER;
  message->length = frameLength;
  unsigned int bitCursor = 0;
  auto object = objects.begin();
  for (const auto& record : getMappingData()) {
    ObjectDictionarySubEntry* const known = object != objects.end() ? (object++)->subEntry : nullptr;
    if (record != nullptr) {
      addSingleMappingDataToCANMsgData(message->data, frameLength, bitCursor, currentValue(record->getKey(), known),
                                       &*record, false);
    }
  }
  return KQ_OK;
}

// What cannot be read goes out as 0, an invalid value as it stands.
inline int KQPDO::currentValue(unsigned int key, ObjectDictionarySubEntry* object) const {
  if (object == nullptr) {
    return lookUpValue(key);
  }
  int value = 0;
  objectDictionary->getValue(indexOf(key), *object, value);
  return value;
}

int KQPDO::lookUpValue(unsigned int key) const {
  int value = 0;
  if (objectDictionary != nullptr && !isDummy(key)) {
    objectDictionary->getValue(indexOf(key), subIndexOf(key), value);
  }
  return value;
}

inline ObjectDictionarySubEntry* KQPDO::findObject(unsigned int key) const {
  for (const MappedObject& object : objects) {
    if (object.key == key) {
      return object.subEntry;
    }
  }
  return nullptr;
}

// Value is int or const std::string&; an integer stays in a register that way.
template <typename Value>
[[gnu::noinline]] int KQPDO::lookUpAndStore(unsigned int key, Value value) const {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  return isDummy(key) ? KQ_OK : objectDictionary->setValue(indexOf(key), subIndexOf(key), value, false);
}

int KQPDO::handleExtractedValue(unsigned int key, int value, KQDEI* /*dei*/, KQVariableOwner* /*owner*/,
                                int /*tag*/) const {
  ObjectDictionarySubEntry* const object = findObject(key);
  return object != nullptr ? objectDictionary->setValue(indexOf(key), *object, value, false)
                           : lookUpAndStore<int>(key, value);
}

int KQPDO::handleExtractedValue(unsigned int key, const std::string& value, KQDEI* /*dei*/, KQVariableOwner* /*owner*/,
                                int /*tag*/) const {
  return lookUpAndStore<const std::string&>(key, value);
}

}  // namespace KQ
