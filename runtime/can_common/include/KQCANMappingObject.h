#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KQCANMappingData.h"
#include "KQErrorCodes.h"
#include "KQTransmitType.h"

namespace KQ {

class KQCANMessage;
class KQDEI;
class KQSignalListener;
class KQVariableOwner;

/// The data bytes of one kind of frame and the values that are packed into them: an ordered list of
/// records, each of which gives some of the bits to an object. Packs values into a frame and unpacks
/// a received frame; what happens to an unpacked value is for a derived class to say.
///
/// Configured by one thread and not changed afterwards; then any number of threads may pack and
/// unpack, which change nothing and allocate nothing.
class KQCANMappingObject {
public:
  /// The records, in the order in which they were added.
  using MappingData = std::vector<std::unique_ptr<KQCANMappingData>>;

  /// @param dataLength    number of data bytes of the frame.
  /// @param transmitType  when the frame is sent, a KQTransmitType; kept for the one who sends.
  /// @param cycleTime     milliseconds between two frames, or in which one must arrive; kept likewise.
  /// The parameters without a name describe frames of other protocols (identifier, repetitions and the
  /// like) and are not used by the host edition.
  KQCANMappingObject(unsigned int dataLength, unsigned int transmitType, unsigned int, unsigned int cycleTime, int,
                     bool, unsigned char, bool, unsigned int);
  virtual ~KQCANMappingObject();

  KQCANMappingObject(const KQCANMappingObject&) = delete;
  KQCANMappingObject& operator=(const KQCANMappingObject&) = delete;

  /// Whether a raw value is within the limits of its record.
  /// @param rawValue  the low 32 bits as they stand in the frame, without sign extension; compared unsigned.
  /// @param record    the record of the value.
  /// @return 0; 20 for null or when the value is outside.
  virtual int checkRawValue(unsigned int rawValue, KQCANMappingData* record) const;
  /// The same for a text, compared byte by byte; a limit that was not given does not limit.
  virtual int checkRawValue(const std::string& rawValue, KQCANMappingData* record) const;

  /// Called by extractMappedValues for each value of a frame; puts the value where it belongs. This
  /// one writes it into the variable store, for the owner when there is one, and reports a change.
  /// @param key    object key, index << 16 | sub-index.
  /// @param value  the value, sign- or zero-extended.
  /// @param dei    the store given to extractMappedValues.
  /// @param owner  the owner given to extractMappedValues; may be null.
  /// @param tag    the tag of the record.
  /// @return 20 when dei is null; otherwise the result of the store.
  virtual int handleExtractedValue(unsigned int key, int value, KQDEI* dei, KQVariableOwner* owner, int tag) const;
  /// The same for a text.
  virtual int handleExtractedValue(unsigned int key, const std::string& value, KQDEI* dei, KQVariableOwner* owner,
                                   int tag) const;

  /// Appends a record to the list and its key to the set of mapped keys. A record that has no bits, has
  /// more than 64 or reaches beyond eight data bytes is kept, but never moved; the same is true of a
  /// text that does not cover whole bytes.
  /// @param bytePosition     byte of the lowest bit, from 0.
  /// @param bitPosition      bit counted from that byte's bit 0; may exceed 7.
  /// @param bitLength        number of bits.
  /// @param key              object key, index << 16 | sub-index.
  /// @param storageType      a text is unpacked as its bytes; anything else is an integer.
  /// @param isSigned         true: the highest bit is the sign.
  /// @param lowestRawValue   smallest integer that checkRawValue accepts.
  /// @param lowestText       smallest text that checkRawValue accepts, zero-terminated, copied; null: no limit.
  /// @param highestRawValue  largest integer that checkRawValue accepts.
  /// @param highestText      largest text that checkRawValue accepts, likewise.
  /// @param rawOffset        scaling of an integer: value = (raw value + rawOffset) * factor + valueOffset,
  ///                         rounded to the nearest integer. 0, 0 and 1: no scaling.
  /// @param valueOffset      see rawOffset.
  /// @param factor           see rawOffset.
  /// @param tag              handed to handleExtractedValue.
  /// @param listener         told of each value that is unpacked, with a signal as the variable store's; not
  ///                         owned, may be null.
  /// @param onlyAccepted     true: only of values for which handleExtractedValue returned 0.
  /// @return 0; 20 when bytePosition is negative, or the factor is 0 or one of the three scaling numbers is
  /// not finite (nothing is added).
  int addMappingData(int bytePosition, unsigned int bitPosition, unsigned int bitLength, unsigned int key,
                     KQVariableStorageType storageType, bool isSigned, unsigned int lowestRawValue,
                     unsigned char* lowestText, unsigned int highestRawValue, unsigned char* highestText,
                     float rawOffset, float valueOffset, float factor, int tag, KQSignalListener* listener,
                     bool onlyAccepted);

  /// Writes a value to the bits of its record; all other bits stay as they are. A value of more bits
  /// than the record is cut off, one of fewer is sign-extended when the record is signed, else zero-extended.
  /// @param data         at least `length` bytes.
  /// @param length       number of data bytes of the frame.
  /// @param bitCursor    receives the bit behind the record.
  /// @param value        the value.
  /// @param record       where to put it.
  /// @param checkLimits  true: a raw value that checkRawValue refuses is not written.
  /// @return 0; 20 for null, or for a value that was refused; 24 when the record does not lie within `length`
  /// bytes, is a text or is never moved. The data and the cursor are untouched unless the result is 0.
  int addSingleMappingDataToCANMsgData(unsigned char* data, unsigned int length, unsigned int& bitCursor, int value,
                                       KQCANMappingData* record, bool checkLimits) const {
    if (data == nullptr || record == nullptr) {
      return KQ_INVALID_ARGUMENT;
    }
    if (!record->fitsInto(length)) {
      return KQ_DOES_NOT_FIT;
    }
    if (checkLimits || !record->storeWholeBytes(data, value)) {
      return addOtherValue(data, bitCursor, value, record, checkLimits);
    }
    bitCursor = record->getEndBit();
    return KQ_OK;
  }

  /// Unpacks a received frame: hands each value to handleExtractedValue, in the order of the list. A
  /// record that starts or ends beyond the frame's length is passed over, so that a short frame is
  /// applied as far as it reaches.
  /// @param message      the frame; not changed.
  /// @param dei          handed on to handleExtractedValue; may be null.
  /// @param owner        likewise.
  /// @param checkLimits  true: values that checkRawValue refuses are passed over.
  /// @return 0 when the frame was unpacked, whatever became of its values; 20 for a null message.
  int extractMappedValues(KQCANMessage* message, KQDEI* dei, KQVariableOwner* owner, bool checkLimits) const;

  /// Number of data bytes of the frame, as given to the constructor.
  [[nodiscard]] unsigned int getDataLength() const { return dataLength_; }
  /// In milliseconds.
  [[nodiscard]] unsigned int getCycleTime() const { return cycleTime_; }
  [[nodiscard]] unsigned int getTransmitType() const { return transmitType_; }
  /// All records in the order in which they were added. They belong to this object.
  [[nodiscard]] const MappingData& getMappingData() const { return mappingData_; }
  /// The object keys of all records, also of those that are never moved: each once, in ascending order.
  [[nodiscard]] const std::vector<unsigned int>& getMappedKeys() const { return mappedKeys_; }

private:
  void insertMappedKey(unsigned int key);

  /// Where an unpacked value goes.
  struct Destination {
    KQDEI* dei;
    KQVariableOwner* owner;
    bool checkLimits;
  };

  /// For whatever does not fill one, two or four bytes as it is.
  int addOtherValue(unsigned char* data, unsigned int& bitCursor, int value, KQCANMappingData* record,
                    bool checkLimits) const;
  void extractOther(std::uint64_t frame, KQCANMappingData* record, const Destination& to) const;
  void extractCheckedValue(std::uint64_t frame, KQCANMappingData* record, const Destination& to) const;
  void extractText(std::uint64_t frame, KQCANMappingData* record, const Destination& to) const;

  // The underscore leaves the plain names to the classes that are made of this.
  // NOLINTBEGIN(readability-identifier-naming)
  const unsigned int dataLength_;
  const unsigned int transmitType_;
  const unsigned int cycleTime_;
  MappingData mappingData_;
  std::vector<unsigned int> mappedKeys_;
  // NOLINTEND(readability-identifier-naming)
};

}  // namespace KQ
