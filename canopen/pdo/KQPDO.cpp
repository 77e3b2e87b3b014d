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

void KQPDO::findObjects() {
  objects.reserve(getMappedKeys().size());
  for (const unsigned int key : getMappedKeys()) {
    ObjectDictionarySubEntry* const subEntry = objectDictionary->getSubentry(indexOf(key), subIndexOf(key));
    if (subEntry != nullptr && !isDummy(key)) {
      objects.push_back({key, subEntry});
      objectsByKey.insert(&objects.back());
    }
  }
}

int KQPDO::fillMessage(KQCANMessage* message) {
  if (message == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  message->identifier = cobID & cobid::IDENTIFIER;
  message->length = frameLength;
  unsigned int bitCursor = 0;
  for (const auto& record : getMappingData()) {
    if (record != nullptr) {
      addSingleMappingDataToCANMsgData(message->data, frameLength, bitCursor, currentValue(record->getKey()), &*record,
                                       false);
    }
  }
  return KQ_OK;
}

int KQPDO::currentValue(unsigned int key) const {
  int value = 0;
  // What cannot be read goes out as 0, an invalid value as it stands.
  if (const MappedObject* const object = objectsByKey.find(key)) {
    objectDictionary->getValue(indexOf(key), *object->subEntry, value);
  } else if (objectDictionary != nullptr && !isDummy(key)) {
    objectDictionary->getValue(indexOf(key), subIndexOf(key), value);
  }
  return value;
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
  if (const MappedObject* const object = objectsByKey.find(key)) {
    return objectDictionary->setValue(indexOf(key), *object->subEntry, value, false);
  }
  return store(key, value);
}

int KQPDO::handleExtractedValue(unsigned int key, const std::string& value, KQDEI* /*dei*/, KQVariableOwner* /*owner*/,
                                int /*tag*/) const {
  return store(key, value);
}

}  // namespace KQ
