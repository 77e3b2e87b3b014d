#include "KQCANMappingObject.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "KQCANMessage.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQSignalListener.h"

namespace KQ {

namespace {

using Layout = KQCANMappingData::Layout;
using Options = KQCANMappingData::Options;

// Room for a frame of eight bytes is there at once.
constexpr std::size_t USUAL_RECORDS = 8;

std::uint64_t at(const unsigned char* data, unsigned int byte) {
  return static_cast<std::uint64_t>(data[byte]) << (8U * byte);
}

// One expression, not a loop: compilers make one access of it where the machine is little-endian.
std::uint64_t loadFrame(const unsigned char* data) {
  return at(data, 0) | at(data, 1) | at(data, 2) | at(data, 3) | at(data, 4) | at(data, 5) | at(data, 6) | at(data, 7);
}

// Replaces the bits of a record, and only these: the bytes at its ends may be shared with neighbours.
void storeBits(unsigned char* data, std::uint64_t rawValue, const KQCANMappingData& record) {
  const unsigned int shift = record.getStartBit() & 7U;
  std::uint64_t mask = record.getMask() << shift;
  std::uint64_t bits = (rawValue << shift) & mask;
  unsigned char* byte = data + record.getFirstByte();
  for (unsigned int left = record.getByteSpan(); left > 0; --left) {
    *byte = static_cast<unsigned char>((*byte & ~mask) | bits);
    ++byte;
    mask >>= 8;
    bits >>= 8;
  }
}

// A value of the dictionary in as many bits as a record may have.
std::uint64_t widen(int value, const KQCANMappingData& record) {
  return record.isSigned() ? static_cast<std::uint64_t>(static_cast<std::int64_t>(value))
                           : static_cast<std::uint64_t>(static_cast<std::uint32_t>(value));
}

bool isScaling(float rawOffset, float valueOffset, float factor) {
  return rawOffset != 0.0F || valueOffset != 0.0F || factor != 1.0F;
}

bool canScale(float rawOffset, float valueOffset, float factor) {
  return std::isfinite(rawOffset) && std::isfinite(valueOffset) && std::isfinite(factor) && factor != 0.0F;
}

bool isScaled(const Options* options) {
  return options != nullptr && isScaling(options->rawOffset, options->valueOffset, options->factor);
}

// A value, scaled back, in the bits of its record. Out of range, it stays at the limit of the record.
std::uint64_t rawValueFor(int value, const KQCANMappingData& record) {
  const Options* options = record.getOptions();
  if (!isScaled(options)) {
    return widen(value, record) & record.getMask();
  }
  const double raw =
      std::round((static_cast<double>(value) - options->valueOffset) / options->factor - options->rawOffset);
  const unsigned int valueBits = record.isSigned() ? record.getBitLength() - 1U : record.getBitLength();
  const double limit = std::ldexp(1.0, static_cast<int>(valueBits));
  const std::uint64_t largest = record.getMask() >> (record.isSigned() ? 1U : 0U);
  if (raw >= limit) {
    return largest;
  }
  if (!record.isSigned()) {
    return raw <= 0.0 ? 0 : static_cast<std::uint64_t>(raw);
  }
  const std::uint64_t smallest = largest + 1U;  // only the sign bit
  return raw <= -limit ? smallest : static_cast<std::uint64_t>(static_cast<std::int64_t>(raw)) & record.getMask();
}

// What a raw value means. Out of the range of an int, it stays at its limit.
int valueFor(std::uint64_t rawValue, const KQCANMappingData& record) {
  const std::uint64_t extended = record.extend(rawValue);
  const Options* options = record.getOptions();
  if (!isScaled(options)) {
    return static_cast<int>(static_cast<std::uint32_t>(extended));
  }
  const double raw =
      record.isSigned() ? static_cast<double>(static_cast<std::int64_t>(extended)) : static_cast<double>(extended);
  const double value = std::round((raw + options->rawOffset) * options->factor + options->valueOffset);
  const double lowest = std::numeric_limits<int>::min();
  const double highest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(value, lowest, highest));
}

std::optional<std::string> textLimit(const unsigned char* text) {
  if (text == nullptr) {
    return std::nullopt;
  }
  return std::string(reinterpret_cast<const char*>(text));
}

// The results of the listeners are of no interest to the one who sent the frame.
void tellListener(const KQCANMappingData& record, int code, unsigned int value, int result) {
  const Options* options = record.getOptions();
  if (options == nullptr || options->listener == nullptr || (options->onlyAccepted && result != KQ_OK)) {
    return;
  }
  KQSignal signal(KQ_SIGNAL_TYPE_VARIABLE, code, record.getKey(), value);
  options->listener->signalOccurred(signal);
}

int tagOf(const KQCANMappingData& record) {
  return record.getOptions() != nullptr ? record.getOptions()->tag : 0;
}

}  // namespace

KQCANMappingObject::KQCANMappingObject(unsigned int dataLength, unsigned int transmitType, unsigned int /*unused*/,
                                       unsigned int cycleTime, int /*unused*/, bool /*unused*/,
                                       unsigned char /*unused*/, bool /*unused*/, unsigned int /*unused*/)
    : dataLength_(dataLength), transmitType_(transmitType), cycleTime_(cycleTime) {}

KQCANMappingObject::~KQCANMappingObject() = default;

int KQCANMappingObject::checkRawValue(unsigned int rawValue, KQCANMappingData* record) const {
  if (record == nullptr || rawValue < record->getLowestRawValue() || rawValue > record->getHighestRawValue()) {
    return KQ_INVALID_ARGUMENT;
  }
  return KQ_OK;
}

int KQCANMappingObject::checkRawValue(const std::string& rawValue, KQCANMappingData* record) const {
  if (record == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const Options* options = record->getOptions();
  if (options == nullptr) {
    return KQ_OK;
  }
  const bool tooLow = options->lowestText && rawValue < *options->lowestText;
  const bool tooHigh = options->highestText && rawValue > *options->highestText;
  return tooLow || tooHigh ? KQ_INVALID_ARGUMENT : KQ_OK;
}

int KQCANMappingObject::addMappingData(int bytePosition, unsigned int bitPosition, unsigned int bitLength,
                                       unsigned int key, KQVariableStorageType storageType, bool isSigned,
                                       unsigned int lowestRawValue, unsigned char* lowestText,
                                       unsigned int highestRawValue, unsigned char* highestText, float rawOffset,
                                       float valueOffset, float factor, int tag, KQSignalListener* listener,
                                       bool onlyAccepted) {
  const bool hasScaling = isScaling(rawOffset, valueOffset, factor);
  if (bytePosition < 0 || (hasScaling && !canScale(rawOffset, valueOffset, factor))) {
    return KQ_INVALID_ARGUMENT;
  }
  std::unique_ptr<const Options> options;
  if (hasScaling || lowestText != nullptr || highestText != nullptr || tag != 0 || listener != nullptr) {
    options = std::make_unique<const Options>(Options{rawOffset, valueOffset, factor, textLimit(lowestText),
                                                      textLimit(highestText), tag, listener, onlyAccepted});
  }
  if (mappingData_.empty()) {
    mappingData_.reserve(USUAL_RECORDS);
    mappedKeys_.reserve(USUAL_RECORDS);
  }
  const std::uint64_t startBit = std::uint64_t{8} * static_cast<unsigned int>(bytePosition) + bitPosition;
  mappingData_.push_back(std::make_unique<KQCANMappingData>(startBit, bitLength, key, storageType, isSigned,
                                                            lowestRawValue, highestRawValue, std::move(options)));
  insertMappedKey(key);
  return KQ_OK;
}

void KQCANMappingObject::insertMappedKey(unsigned int key) {
  if (mappedKeys_.empty() || mappedKeys_.back() < key) {
    mappedKeys_.push_back(key);
    return;
  }
  const auto place = std::lower_bound(mappedKeys_.begin(), mappedKeys_.end(), key);
  if (*place != key) {
    mappedKeys_.insert(place, key);
  }
}

int KQCANMappingObject::addOtherValue(unsigned char* data, unsigned int& bitCursor, int value, KQCANMappingData* record,
                                      bool checkLimits) const {
  if (record->getLayout() == Layout::TEXT) {
    return KQ_DOES_NOT_FIT;
  }
  const std::uint64_t rawValue = rawValueFor(value, *record);
  if (checkLimits && checkRawValue(static_cast<unsigned int>(rawValue), record) != KQ_OK) {
    return KQ_INVALID_ARGUMENT;
  }
  storeBits(data, rawValue, *record);
  bitCursor = record->getEndBit();
  return KQ_OK;
}

int KQCANMappingObject::extractMappedValues(KQCANMessage* message, KQDEI* dei, KQVariableOwner* owner,
                                            bool checkLimits) const {
  if (message == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const std::uint64_t frame = loadFrame(message->data);
  const unsigned int length = message->length;
  for (const auto& record : mappingData_) {
    if (!record->fitsInto(length)) {
      continue;
    }
    if (checkLimits || !record->isPlain()) {
      extractOther(frame, record.get(), {dei, owner, checkLimits});
    } else {
      handleExtractedValue(record->getKey(), record->valueOf(frame), dei, owner, 0);
    }
  }
  return KQ_OK;
}

void KQCANMappingObject::extractOther(std::uint64_t frame, KQCANMappingData* record, const Destination& to) const {
  if (record->getLayout() == Layout::TEXT) {
    extractText(frame, record, to);
  } else {
    extractCheckedValue(frame, record, to);
  }
}

void KQCANMappingObject::extractCheckedValue(std::uint64_t frame, KQCANMappingData* record,
                                             const Destination& to) const {
  const std::uint64_t rawValue = record->rawValueOf(frame);
  if (to.checkLimits && checkRawValue(static_cast<unsigned int>(rawValue), record) != KQ_OK) {
    return;
  }
  const int value = valueFor(rawValue, *record);
  const int result = handleExtractedValue(record->getKey(), value, to.dei, to.owner, tagOf(*record));
  tellListener(*record, KQ_SIGNAL_VARIABLE_CHANGED, static_cast<unsigned int>(value), result);
}

void KQCANMappingObject::extractText(std::uint64_t frame, KQCANMappingData* record, const Destination& to) const {
  // At most the eight bytes of a frame, which a string holds without an allocation.
  std::string text(record->getByteSpan(), '\0');
  std::uint64_t bits = record->rawValueOf(frame);
  for (char& character : text) {
    character = static_cast<char>(bits & 0xFFU);
    bits >>= 8;
  }
  if (to.checkLimits && checkRawValue(text, record) != KQ_OK) {
    return;
  }
  const int result = handleExtractedValue(record->getKey(), text, to.dei, to.owner, tagOf(*record));
  tellListener(*record, KQ_SIGNAL_VARIABLE_CHANGED_TEXT, 0, result);
}

}  // namespace KQ
