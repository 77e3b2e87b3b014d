#include "KQCANMappingData.h"

#include <limits>
#include <utility>

namespace KQ {

namespace {

constexpr unsigned int frameBits = 64;
/// The byte in which a record ends that is never moved: no data are long enough to have it.
constexpr unsigned int unreachable = std::numeric_limits<unsigned int>::max();

std::uint64_t maskOf(unsigned int bitLength) {
  return bitLength >= frameBits ? ~std::uint64_t{0} : (std::uint64_t{1} << bitLength) - 1U;
}

std::uint64_t signBitOf(unsigned int bitLength) {
  return bitLength == 0 || bitLength > frameBits ? 0 : std::uint64_t{1} << (bitLength - 1U);
}

}  // namespace

KQCANMappingData::KQCANMappingData(std::uint64_t startBit, unsigned int bitLength, unsigned int key,
                                   KQVariableStorageType storageType, bool isSigned, unsigned int lowestRawValue,
                                   unsigned int highestRawValue, std::unique_ptr<const Options> options)
    : startBit_(startBit),
      mask_(maskOf(bitLength)),
      signBit_(isSigned ? signBitOf(bitLength) : 0),
      key_(key),
      bitLength_(bitLength),
      storageType_(storageType),
      lowestRawValue_(lowestRawValue),
      highestRawValue_(highestRawValue),
      isSigned_(isSigned),
      endBit_(static_cast<unsigned int>(startBit + bitLength)),
      options_(std::move(options)),
      layout_(layoutOf()),
      firstByte_(static_cast<unsigned char>(startBit / 8U)),
      lastByte_(layout_ == Layout::NOWHERE ? unreachable
                                           : static_cast<unsigned int>((startBit_ + bitLength_ - 1U) / 8U)) {}

KQCANMappingData::Layout KQCANMappingData::layoutOf() const {
  if (bitLength_ == 0 || bitLength_ > frameBits || startBit_ > frameBits - bitLength_) {
    return Layout::NOWHERE;
  }
  const bool startsAtByte = startBit_ % 8U == 0;
  if (storageType_ == STORAGE_TYPE_STRING) {
    return startsAtByte && bitLength_ % 8U == 0 ? Layout::TEXT : Layout::NOWHERE;
  }
  if (options_ != nullptr) {
    return Layout::WITH_OPTIONS;
  }
  if (!startsAtByte) {
    return Layout::BITS;
  }
  switch (bitLength_) {
    case 8:
      return Layout::ONE_BYTE;
    case 16:
      return Layout::TWO_BYTES;
    case 32:
      return Layout::FOUR_BYTES;
    default:
      return Layout::BITS;
  }
}

}  // namespace KQ
