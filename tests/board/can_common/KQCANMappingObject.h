#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "KQCANMappingData.h"
#include "KQTransmitType.h"

namespace KQ {

class KQCANMessage;
class KQDEI;
class KQSignalListener;
class KQVariableOwner;

/// Bit n of a frame is bit n % 8 of its byte n / 8. A value is moved bit by bit.
class KQCANMappingObject {
public:
  KQCANMappingObject(unsigned int dataLength, unsigned int transmitType, unsigned int, unsigned int cycleTime, int,
                     bool, unsigned char, bool, unsigned int);
  virtual ~KQCANMappingObject();
  KQCANMappingObject(const KQCANMappingObject&) = delete;
  KQCANMappingObject& operator=(const KQCANMappingObject&) = delete;

  virtual int checkRawValue(unsigned int rawValue, KQCANMappingData* record) const;
  virtual int checkRawValue(const std::string& rawValue, KQCANMappingData* record) const;
  virtual int handleExtractedValue(unsigned int key, int value, KQDEI* dei, KQVariableOwner* owner, int tag) const;
  virtual int handleExtractedValue(unsigned int key, const std::string& value, KQDEI* dei, KQVariableOwner* owner,
                                   int tag) const;

  int addMappingData(int bytePosition, unsigned int bitPosition, unsigned int bitLength, unsigned int key,
                     KQVariableStorageType storageType, bool isSigned, unsigned int, unsigned char*, unsigned int,
                     unsigned char*, float, float, float, int, KQSignalListener*, bool);
  int addSingleMappingDataToCANMsgData(unsigned char* data, unsigned int length, unsigned int& bitCursor, int value,
                                       KQCANMappingData* record, bool) const;
  int extractMappedValues(KQCANMessage* message, KQDEI* dei, KQVariableOwner* owner, bool) const;

  unsigned int getDataLength() const;
  unsigned int getCycleTime() const;
  const std::vector<std::unique_ptr<KQCANMappingData>>& getMappingData() const;
  const std::set<unsigned int>& getMappedKeys() const;

private:
  unsigned int bytes;
  unsigned int milliseconds;
  std::vector<std::unique_ptr<KQCANMappingData>> records;
  std::set<unsigned int> keys;
};

}  // namespace KQ
