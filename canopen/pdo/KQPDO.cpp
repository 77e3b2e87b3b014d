#include "KQPDO.h"

#include "KQCANMessage.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"

#include <cstdint>

namespace KQ {

namespace {

/// Indexes below this one name data types: entries that only fill up a frame.
constexpr unsigned int FIRST_INDEX_AFTER_DUMMIES = 0x1000;
constexpr unsigned int COB_ID_FLAGS = 0xE0000000U;
constexpr unsigned int VALUE_BITS = 32;

std::uint64_t at(const unsigned char* data, unsigned int byte) {
  return static_cast<std::uint64_t>(data[byte]) << (8U * byte);
}

// Spelt out byte by byte, which compilers turn into one access where the machine is little-endian.
std::uint64_t loadLittleEndian(const unsigned char* data) {
  return at(data, 0) | at(data, 1) | at(data, 2) | at(data, 3) | at(data, 4) | at(data, 5) | at(data, 6) | at(data, 7);
}

void storeLittleEndian(unsigned char* data, std::uint64_t frame) {
  data[0] = static_cast<unsigned char>(frame);
  data[1] = static_cast<unsigned char>(frame >> 8);
  data[2] = static_cast<unsigned char>(frame >> 16);
  data[3] = static_cast<unsigned char>(frame >> 24);
  data[4] = static_cast<unsigned char>(frame >> 32);
  data[5] = static_cast<unsigned char>(frame >> 40);
  data[6] = static_cast<unsigned char>(frame >> 48);
  data[7] = static_cast<unsigned char>(frame >> 56);
}

bool isDummy(unsigned int key) {
  return key >> 16 < FIRST_INDEX_AFTER_DUMMIES;
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
  message->identifier = cobID & ~COB_ID_FLAGS;
  message->length = frameLength;
  if (preparedRecords != getMappingData().size()) {
    preparePacking();
  }
  std::uint64_t frame = loadLittleEndian(message->data) & ~packedBits;
  for (PackedObject& object : packedObjects) {
    if (object.subEntry == nullptr) {
      object.subEntry = findSubEntry(object.key);
    }
    int value = 0;
    if (object.subEntry != nullptr) {
      objectDictionary->getValue(*object.subEntry, value);
    }
    frame |= (static_cast<std::uint64_t>(static_cast<std::int64_t>(value)) & object.mask) << object.shift;
  }
  storeLittleEndian(message->data, frame);
  if (hasOthers) {
    packOthers(*message);
  }
  return KQ_OK;
}

bool KQPDO::isPacked(const KQCANMappingData& record) const {
  // A wider one depends on its sign.
  return !areOverlapping && record.isPlain() && record.fitsInto(frameLength) && record.getBitLength() <= VALUE_BITS;
}

void KQPDO::preparePacking() {
  packedObjects.clear();
  packedObjects.reserve(getMappingData().size());
  packedBits = 0;
  hasOthers = false;
  areOverlapping = false;
  preparedRecords = getMappingData().size();
  for (const auto& record : getMappingData()) {
    if (!isPacked(*record)) {
      hasOthers = true;
      continue;
    }
    const auto shift = static_cast<unsigned int>(record->getStartBit());
    const std::uint64_t bits = record->getMask() << shift;
    if ((packedBits & bits) != 0) {
      packNothing();
      return;
    }
    packedBits |= bits;
    if (!isDummy(record->getKey())) {
      packedObjects.push_back({record->getKey(), shift, record->getMask(), nullptr});
    }
  }
}

void KQPDO::packNothing() {
  // Records that lie on each other are placed one after the other.
  packedObjects.clear();
  packedBits = 0;
  hasOthers = true;
  areOverlapping = true;
}

void KQPDO::packOthers(KQCANMessage& message) const {
  unsigned int bitCursor = 0;
  for (const auto& record : getMappingData()) {
    if (isPacked(*record)) {
      continue;
    }
    int value = 0;
    if (ObjectDictionarySubEntry* const subEntry = findSubEntry(record->getKey())) {
      objectDictionary->getValue(*subEntry, value);
    }
    addSingleMappingDataToCANMsgData(message.data, frameLength, bitCursor, value, record.get(), false);
  }
}

ObjectDictionarySubEntry* KQPDO::findSubEntry(unsigned int key) const {
  if (isDummy(key) || objectDictionary == nullptr) {
    return nullptr;
  }
  return objectDictionary->getSubentry(static_cast<unsigned short>(key >> 16), static_cast<unsigned char>(key));
}

int KQPDO::applyMessage(KQCANMessage& message, KQDEI* dei) {
  if (receivedRecords != getMappingData().size()) {
    prepareUnpacking();
  }
  if (isUnpackedByBase) {
    return extractMappedValues(&message, dei, nullptr, false);
  }
  const std::uint64_t frame = loadLittleEndian(message.data);
  for (ReceivedObject& object : receivedObjects) {
    if (!object.record->fitsInto(message.length)) {
      continue;
    }
    if (object.subEntry == nullptr) {
      object.subEntry = findSubEntry(object.record->getKey());
    }
    if (object.subEntry != nullptr) {
      objectDictionary->setValue(*object.subEntry, object.record->valueOf(frame), false);
    }
  }
  return KQ_OK;
}

void KQPDO::prepareUnpacking() {
  receivedObjects.clear();
  receivedObjects.reserve(getMappingData().size());
  isUnpackedByBase = false;
  receivedRecords = getMappingData().size();
  for (const auto& record : getMappingData()) {
    isUnpackedByBase = isUnpackedByBase || !record->isPlain();
    if (!isDummy(record->getKey())) {
      receivedObjects.push_back({record.get(), nullptr});
    }
  }
}

int KQPDO::handleExtractedValue(unsigned int key, int value, KQDEI* /*dei*/, KQVariableOwner* /*owner*/,
                                int /*tag*/) const {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  if (isDummy(key)) {
    return KQ_OK;
  }
  ObjectDictionarySubEntry* const subEntry =
      objectDictionary->getSubentry(static_cast<unsigned short>(key >> 16), static_cast<unsigned char>(key));
  return subEntry != nullptr ? objectDictionary->setValue(*subEntry, value, false) : static_cast<int>(KQ_NOT_FOUND);
}

int KQPDO::handleExtractedValue(unsigned int key, const std::string& value, KQDEI* /*dei*/, KQVariableOwner* /*owner*/,
                                int /*tag*/) const {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  return isDummy(key) ? static_cast<int>(KQ_OK)
                      : objectDictionary->setValue(static_cast<unsigned short>(key >> 16),
                                                   static_cast<unsigned char>(key & 0xFF), value, false);
}

}  // namespace KQ
