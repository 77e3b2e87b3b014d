#include "KQCANMappingObject.h"

#include "KQCANMessage.h"
#include "KQErrorCodes.h"

namespace KQ {

namespace {

constexpr unsigned int VALUE_BITS = 32;

bool bitOf(const unsigned char* data, unsigned int position) {
  return (data[position / 8] >> position % 8 & 1) != 0;
}

void setBit(unsigned char* data, unsigned int position, bool bit) {
  const auto mask = static_cast<unsigned char>(1U << position % 8);
  data[position / 8] = static_cast<unsigned char>(bit ? data[position / 8] | mask : data[position / 8] & ~mask);
}

// A number of fewer than 32 bits is extended by its sign, or by zeros; of more than 32 the lower ones count.
int numberAt(const unsigned char* data, unsigned int startBit, unsigned int bitLength, bool isSigned) {
  unsigned int value = 0;
  for (unsigned int bit = 0; bit < VALUE_BITS; ++bit) {
    const bool isBeyond = bit >= bitLength;
    const unsigned int source = startBit + (isBeyond ? bitLength - 1 : bit);
    if ((!isBeyond || isSigned) && bitOf(data, source)) {
      value |= 1U << bit;
    }
  }
  return static_cast<int>(value);
}

}  // namespace

KQCANMappingObject::KQCANMappingObject(unsigned int length, unsigned int, unsigned int, unsigned int time, int, bool,
                                       unsigned char, bool, unsigned int)
    : bytes(length), milliseconds(time) {}

KQCANMappingObject::~KQCANMappingObject() {}

int KQCANMappingObject::checkRawValue(unsigned int, KQCANMappingData*) const {
  return KQ_OK;
}

int KQCANMappingObject::checkRawValue(const std::string&, KQCANMappingData*) const {
  return KQ_OK;
}

int KQCANMappingObject::handleExtractedValue(unsigned int, int, KQDEI*, KQVariableOwner*, int) const {
  return KQ_NOT_HANDLED;
}

int KQCANMappingObject::handleExtractedValue(unsigned int, const std::string&, KQDEI*, KQVariableOwner*, int) const {
  return KQ_NOT_HANDLED;
}

int KQCANMappingObject::addMappingData(int bytePosition, unsigned int bitPosition, unsigned int bitLength,
                                       unsigned int key, KQVariableStorageType storageType, bool isSigned, unsigned int,
                                       unsigned char*, unsigned int, unsigned char*, float, float, float, int,
                                       KQSignalListener*, bool) {
  const unsigned int startBit = 8 * static_cast<unsigned int>(bytePosition) + bitPosition;
  records.push_back(std::make_unique<KQCANMappingData>(startBit, bitLength, key, storageType, isSigned));
  keys.insert(key);
  return KQ_OK;
}

int KQCANMappingObject::addSingleMappingDataToCANMsgData(unsigned char* data, unsigned int length,
                                                         unsigned int& bitCursor, int value, KQCANMappingData* record,
                                                         bool) const {
  if (record->isText() || !record->liesWithin(length)) {
    return KQ_DOES_NOT_FIT;
  }
  for (unsigned int bit = 0; bit < record->bitLength; ++bit) {
    const bool isSet = bit < VALUE_BITS ? (static_cast<unsigned int>(value) >> bit & 1U) != 0 : value < 0;
    setBit(data, record->startBit + bit, isSet && (bit < VALUE_BITS || record->isSigned));
  }
  bitCursor = record->startBit + record->bitLength;
  return KQ_OK;
}

int KQCANMappingObject::extractMappedValues(KQCANMessage* message, KQDEI* dei, KQVariableOwner* owner, bool) const {
  for (const auto& record : records) {
    if (!record->liesWithin(message->length)) {
      continue;
    }
    if (!record->isText()) {
      const int value = numberAt(message->data, record->startBit, record->bitLength, record->isSigned);
      handleExtractedValue(record->key, value, dei, owner, 0);
    } else if (record->startBit % 8 == 0 && record->bitLength % 8 == 0) {
      const auto* const text = reinterpret_cast<const char*>(message->data + record->startBit / 8);
      handleExtractedValue(record->key, std::string(text, record->bitLength / 8), dei, owner, 0);
    }
  }
  return KQ_OK;
}

unsigned int KQCANMappingObject::getDataLength() const {
  return bytes;
}

unsigned int KQCANMappingObject::getCycleTime() const {
  return milliseconds;
}

const std::vector<std::unique_ptr<KQCANMappingData>>& KQCANMappingObject::getMappingData() const {
  return records;
}

const std::set<unsigned int>& KQCANMappingObject::getMappedKeys() const {
  return keys;
}

}  // namespace KQ
