#include "KQCANMappingData.h"

#include <limits>
#include <utility>

namespace KQ {

namespace {

constexpr unsigned int FRAME_BITS = 64;
// The byte in which a record ends that is never moved: no data are long enough to have it.
constexpr unsigned int UNREACHABLE = std::numeric_limits<unsigned int>::max();

std::uint64_t maskOf(unsigned int bitLength) {
  return bitLength >= FRAME_BITS ? ~std::uint64_t{0} : (std::uint64_t{1} << bitLength) - 1U;
}

std::uint64_t signBitOf(unsigned int bitLength) {
  return bitLength == 0 || bitLength > FRAME_BITS ? 0 : std::uint64_t{1} << (bitLength - 1U);
}

}  // namespace

KQCANMappingData::KQCANMappingData(std::uint64_t firstBit, unsigned int bits, unsigned int valueKey,
                                   KQVariableStorageType type, bool isSigned, unsigned int lowest, unsigned int highest,
                                   std::unique_ptr<const Options> furtherOptions)
    : startBit(firstBit),
      mask(maskOf(bits)),
      signBit(isSigned ? signBitOf(bits) : 0),
      key(valueKey),
      bitLength(bits),
      storageType(type),
      lowestRawValue(lowest),
      highestRawValue(highest),
      hasSign(isSigned),
      endBit(static_cast<unsigned int>(firstBit + bits)),
      options(std::move(furtherOptions)),
      layout(layoutOf()),
      firstByte(static_cast<unsigned char>(firstBit / 8U)),
      lastByte(layout == Layout::NOWHERE ? UNREACHABLE : static_cast<unsigned int>((startBit + bitLength - 1U) / 8U)) {}

KQCANMappingData::Layout KQCANMappingData::layoutOf() const {
  if (bitLength == 0 || bitLength > FRAME_BITS || startBit > FRAME_BITS - bitLength) {
    return Layout::NOWHERE;
  }
  const bool startsAtByte = startBit % 8U == 0;
  if (storageType == STORAGE_TYPE_STRING) {
    return startsAtByte && bitLength % 8U == 0 ? Layout::TEXT : Layout::NOWHERE;
  }
  if (options != nullptr) {
    return Layout::WITH_OPTIONS;
  }
  if (!startsAtByte) {
    return Layout::BITS;
  }
  switch (bitLength) {
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
