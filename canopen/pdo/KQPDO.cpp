#include "KQPDO.h"

#include "COBID.h"
#include "KQCANMessage.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "ObjectIndexes.h"
#include "ObjectKey.h"

namespace KQ {

namespace {

/// Entries that only fill up a frame.
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

int KQPDO::currentValue(unsigned int key, ObjectDictionarySubEntry* object) const {
  int value = 0;
  // What cannot be read goes out as 0, an invalid value as it stands.
  if (object != nullptr) {
    objectDictionary->getValue(indexOf(key), *object, value);
  } else if (objectDictionary != nullptr && !isDummy(key)) {
    objectDictionary->getValue(indexOf(key), subIndexOf(key), value);
  }
  return value;
}

ObjectDictionarySubEntry* KQPDO::findObject(unsigned int key) const {
  for (std::size_t left = objects.size(); left > 0; --left) {
    const MappedObject& object = objects[nextObject];
    nextObject = nextObject + 1 < objects.size() ? nextObject + 1 : 0;
    if (object.key == key) {
      return object.subEntry;
    }
  }
  return nullptr;
}

template <typename Value>
int KQPDO::store(unsigned int key, const Value& value) const {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  return isDummy(key) ? static_cast<int>(KQ_OK)
                      : objectDictionary->setValue(indexOf(key), subIndexOf(key), value, false);
}

int KQPDO::handleExtractedValue(unsigned int key, int value, KQDEI* /*dei*/, KQVariableOwner* /*owner*/,
                                int /*tag*/) const {
  if (ObjectDictionarySubEntry* const object = findObject(key)) {
    return objectDictionary->setValue(indexOf(key), *object, value, false);
  }
  return store(key, value);
}

int KQPDO::handleExtractedValue(unsigned int key, const std::string& value, KQDEI* /*dei*/, KQVariableOwner* /*owner*/,
                                int /*tag*/) const {
  return store(key, value);
}

}  // namespace KQ
