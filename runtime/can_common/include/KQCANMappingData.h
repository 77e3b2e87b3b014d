#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "KQVariableStorageType.h"

namespace KQ {

class KQSignalListener;

/// One mapped value: which bits of a frame's data bytes belong to which object. Everything that moving
/// the bits needs is worked out when the record is made. A record never changes, so that any thread may
/// read it; it belongs to its KQCANMappingObject.
///
/// Bit 0 is the least significant bit of byte 0, values are little-endian, and a record lies at the
/// absolute bit 8 * byte position + bit position.
class KQCANMappingData {
public:
  /// What only few records have.
  struct Options {
    float rawOffset{0.0F};                   ///< value = (raw value + rawOffset) * factor + valueOffset
    float valueOffset{0.0F};                 ///< see rawOffset
    float factor{1.0F};                      ///< see rawOffset; not 0
    std::optional<std::string> lowestText;   ///< smallest text that checkRawValue accepts; none: no limit
    std::optional<std::string> highestText;  ///< largest text that checkRawValue accepts; none: no limit
    int tag{0};                              ///< handed to handleExtractedValue as its last argument
    KQSignalListener* listener{nullptr};     ///< told of every received value; not owned
    bool onlyAccepted{false};                ///< the listener is told only of values that handleExtractedValue accepted
  };

  /// How the bits of a record are moved.
  enum class Layout : unsigned char {
    NOWHERE,      ///< no bits, more than 64 bits, or bits beyond the eight bytes of a frame: never moved
    ONE_BYTE,     ///< byte-aligned, 8 bits
    TWO_BYTES,    ///< byte-aligned, 16 bits
    FOUR_BYTES,   ///< byte-aligned, 32 bits
    BITS,         ///< any other place of an integer
    TEXT,         ///< whole bytes of a text
    WITH_OPTIONS  ///< an integer with options
  };

  /// @param firstBit        absolute position of the lowest bit.
  /// @param bits            number of bits; 1 to 64 can be moved.
  /// @param valueKey        object key, index << 16 | sub-index.
  /// @param type            a text is moved only when it covers whole bytes; anything else is an integer.
  /// @param isSigned        true: the highest bit is the sign.
  /// @param lowest          smallest value that checkRawValue accepts.
  /// @param highest         largest value that checkRawValue accepts.
  /// @param furtherOptions  null when there are none.
  KQCANMappingData(std::uint64_t firstBit, unsigned int bits, unsigned int valueKey, KQVariableStorageType type,
                   bool isSigned, unsigned int lowest, unsigned int highest,
                   std::unique_ptr<const Options> furtherOptions);

  /// What the constructor was given.
  [[nodiscard]] unsigned int getKey() const { return key; }
  [[nodiscard]] std::uint64_t getStartBit() const { return startBit; }
  [[nodiscard]] unsigned int getBitLength() const { return bitLength; }
  [[nodiscard]] KQVariableStorageType getStorageType() const { return storageType; }
  bool isSigned() const { return hasSign; }
  [[nodiscard]] unsigned int getLowestRawValue() const { return lowestRawValue; }
  [[nodiscard]] unsigned int getHighestRawValue() const { return highestRawValue; }
  /// Null when the record has none.
  [[nodiscard]] const Options* getOptions() const { return options.get(); }
  [[nodiscard]] Layout getLayout() const { return layout; }

  /// Whether all bits of the record lie in the first `length` bytes; false for a record that is never moved.
  [[nodiscard]] bool fitsInto(unsigned int length) const { return lastByte < length; }

  /// Whether the record is an integer without options that can be moved.
  [[nodiscard]] bool isPlain() const { return layout >= Layout::ONE_BYTE && layout <= Layout::BITS; }

  /// The first of the bytes that the record touches, their number, and the bit behind the record. Of a
  /// record that is never moved they mean nothing.
  [[nodiscard]] unsigned int getFirstByte() const { return firstByte; }
  [[nodiscard]] unsigned int getByteSpan() const { return lastByte - firstByte + 1U; }
  [[nodiscard]] unsigned int getEndBit() const { return endBit; }

  /// Writes a value that fills one, two or four whole bytes.
  /// @param data  long enough for the record, see fitsInto.
  /// @return false, with the data untouched, when the record has another layout.
  /// Spelt out byte by byte, which compilers turn into one access where the machine is little-endian.
  [[nodiscard]] bool storeWholeBytes(unsigned char* data, int value) const {
    const auto bits = static_cast<std::uint32_t>(value);
    unsigned char* first = data + firstByte;
    switch (layout) {
      case Layout::TWO_BYTES:
        storeTwoBytes(first, bits);
        return true;
      case Layout::FOUR_BYTES:
        storeTwoBytes(first, bits);
        storeTwoBytes(first + 2, bits >> 16);
        return true;
      case Layout::ONE_BYTE:
        *first = static_cast<unsigned char>(bits);
        return true;
      default:
        return false;
    }
  }

  /// The record's bits out of a frame's eight bytes (byte 0 lowest), without sign extension.
  [[nodiscard]] std::uint64_t rawValueOf(std::uint64_t frame) const { return (frame >> startBit) & mask; }

  /// The same, sign- or zero-extended; of more than 32 bits the low 32.
  int valueOf(std::uint64_t frame) const {
    return static_cast<int>(static_cast<std::uint32_t>(extend(rawValueOf(frame))));
  }

  /// A raw value with the sign, if it has one, carried to bit 63.
  std::uint64_t extend(std::uint64_t rawValue) const { return (rawValue ^ signBit) - signBit; }

  /// As many ones as the record has bits.
  [[nodiscard]] std::uint64_t getMask() const { return mask; }

private:
  static void storeTwoBytes(unsigned char* first, std::uint32_t bits) {
    first[0] = static_cast<unsigned char>(bits);
    first[1] = static_cast<unsigned char>(bits >> 8);
  }

  Layout layoutOf() const;

  const std::uint64_t startBit;
  const std::uint64_t mask;
  const std::uint64_t signBit;  ///< 0 when unsigned, which makes the extension a no-op
  const unsigned int key;
  const unsigned int bitLength;
  const KQVariableStorageType storageType;
  const unsigned int lowestRawValue;
  const unsigned int highestRawValue;
  const bool hasSign;
  const unsigned int endBit;
  const std::unique_ptr<const Options> options;
  const Layout layout;
  const unsigned char firstByte;
  const unsigned int lastByte;  ///< the largest number when never moved, which no length exceeds
};

}  // namespace KQ
