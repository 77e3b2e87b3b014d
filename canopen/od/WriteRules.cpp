// Which communication objects may be written, by whom, and with which values.

#include <ios>
#include <iostream>

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQSDOAbortCode.h"

namespace KQ {

namespace {

constexpr unsigned int INVALID_BIT = 0x80000000U;  ///< COB-ID: the channel or PDO does not exist
constexpr unsigned int NO_RTR_BIT = 0x40000000U;   ///< PDO COB-ID: no remote request on this PDO
constexpr unsigned int SYNC_EXTENDED_BIT = 0x20000000U;
constexpr unsigned int TIME_RESERVED_BITS = 0x60000000U;
constexpr unsigned int ELEVEN_BITS = 0x7FFU;
constexpr unsigned int SAVE_SIGNATURE = 0x65766173U;  ///< "save" in the order of transmission

struct Range {
  unsigned int low;
  unsigned int high;

  constexpr bool contains(unsigned int value) const { return value >= low && value <= high; }
};

constexpr Range SDO_REQUESTS{0x601, 0x67F};
constexpr Range SDO_RESPONSES{0x581, 0x5FF};
constexpr Range RESERVED_TRANSMISSION_TYPES{0xF1, 0xFB};

int forcedOnly(bool force) {
  return force ? KQ_OK : KQ_NOT_PERMITTED;
}

unsigned int bitsOf(int value) {
  return static_cast<unsigned int>(value);
}

void log(const char* text, unsigned int value, const char* rest = "") {
  std::cout << text << std::hex << value << std::dec << rest << std::endl;
}

bool isOutsideLimits(const ObjectDictionarySubEntry& subEntry, int value) {
  return bitsOf(value) < bitsOf(subEntry.lowLimit) || bitsOf(value) > bitsOf(subEntry.highLimit);
}

/// COB-IDs that CiA 301 keeps for other services.
bool isRestrictedCOBID(unsigned int cobID) {
  constexpr Range NMT{0, 0x7F};
  constexpr Range TIME_STAMP{0x101, 0x180};
  constexpr Range NMT_ERROR_CONTROL_AND_LSS{0x6E0, 0x6FF};
  // With bit 8 cleared, one range covers the SDO requests and the heartbeats, which lie 0x100 above.
  return NMT.contains(cobID) || TIME_STAMP.contains(cobID) || SDO_RESPONSES.contains(cobID) ||
         SDO_REQUESTS.contains(cobID & ~0x100U) || NMT_ERROR_CONTROL_AND_LSS.contains(cobID);
}

int checkSDOCOBID(const ObjectDictionarySubEntry& subEntry, int value, const Range& expected) {
  const unsigned int cobID = bitsOf(value);
  if ((cobID & INVALID_BIT) != 0) {
    log("Set SDO COB-ID invalid, new value: 0x", cobID);
    return KQ_OK;
  }
  const bool channelIsValid = (bitsOf(subEntry.value) & INVALID_BIT) == 0;
  if (channelIsValid) {
    return KQ_OK;
  }
  // The restricted test comes first and sees the whole value: a plain 11-bit COB-ID of the expected range fails it.
  if (isRestrictedCOBID(cobID) || !expected.contains(cobID & ELEVEN_BITS)) {
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  return KQ_OK;
}

int checkPDOCOBID(const ObjectDictionarySubEntry& subEntry, int& value, bool isTransmit) {
  const unsigned int cobID = bitsOf(value);
  if (cobID == 0) {
    return KQ_OK;
  }
  if ((cobID & INVALID_BIT) != 0) {
    log("Set COB-ID invalid, new value: 0x", cobID);
    return KQ_OK;
  }
  const bool pdoIsValid = (bitsOf(subEntry.value) & INVALID_BIT) == 0;
  if (pdoIsValid) {
    log("Trying to set 0x ", cobID, " to a valid PDO COB-ID -> Error");
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  if (isRestrictedCOBID(cobID)) {
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  const unsigned int changed = isTransmit ? cobID | NO_RTR_BIT : cobID & ~NO_RTR_BIT;
  value = static_cast<int>(changed);
  log("Set COB-ID valid, value: 0x", changed);
  return KQ_OK;
}

int checkSync(const ObjectDictionarySubEntry& subEntry, int value) {
  if (subEntry.subIndex != 0) {
    return KQ_NOT_PERMITTED;
  }
  const unsigned int current = bitsOf(subEntry.value);
  if ((current & SYNC_EXTENDED_BIT) == 0) {
    return KQ_OK;
  }
  return (bitsOf(value) & 0x3FFFFFFFU) == (current & 0x03FFFFFFU) ? KQ_OK : KQ_NOT_PERMITTED;
}

int checkStoreParameters(KQCANopenObjectDictionary& dictionary, const ObjectDictionarySubEntry& subEntry, int value,
                         bool force) {
  if (subEntry.subIndex == 0) {
    return forcedOnly(force);
  }
  if (subEntry.subIndex > 2) {
    return KQ_NOT_PERMITTED;
  }
  if (bitsOf(value) != SAVE_SIGNATURE) {
    return SDO_ABORT_NO_DICTIONARY;
  }
  return dictionary.storeParameters("tavo.dcf") == KQ_OK ? static_cast<int>(KQ_OK) : SDO_ABORT_HARDWARE;
}

int checkProducerHeartbeatTime(const ObjectDictionarySubEntry& subEntry, int value) {
  if (subEntry.subIndex != 0) {
    return KQ_NOT_PERMITTED;
  }
  return value >= 0x10000 ? static_cast<int>(SDO_ABORT_LENGTH_TOO_HIGH) : KQ_OK;
}

int checkGeneralObject(KQCANopenObjectDictionary& dictionary, unsigned short index,
                       const ObjectDictionarySubEntry& subEntry, int value, bool force) {
  const bool isFirst = subEntry.subIndex == 0;
  switch (index) {
    case 0x1000:
    case 0x1001:
    case 0x1002:
      return isFirst ? forcedOnly(force) : KQ_NOT_PERMITTED;
    case 0x1003:
      return isFirst && force ? KQ_OK : KQ_NOT_HANDLED;
    case 0x1005:
      return checkSync(subEntry, value);
    case 0x1006:
    case 0x1007:
      return isFirst ? KQ_OK : KQ_NOT_PERMITTED;
    case 0x1010:
      return checkStoreParameters(dictionary, subEntry, value, force);
    case 0x1012:
      return (bitsOf(value) & TIME_RESERVED_BITS) != 0 ? static_cast<int>(SDO_ABORT_VALUE_RANGE_EXCEEDED) : KQ_OK;
    case 0x1014:
    case 0x1015:
      return KQ_OK;
    case 0x1016:
      return isFirst ? forcedOnly(force) : KQ_OK;
    case 0x1017:
      return checkProducerHeartbeatTime(subEntry, value);
    case 0x1018:
      return forcedOnly(force);
    default:
      return KQ_NOT_PERMITTED;
  }
}

int checkSDOParameter(const ObjectDictionarySubEntry& subEntry, int value, const Range& sub1, const Range& sub2) {
  switch (subEntry.subIndex) {
    case 1:
      return checkSDOCOBID(subEntry, value, sub1);
    case 2:
      return checkSDOCOBID(subEntry, value, sub2);
    default:
      return KQ_OK;
  }
}

int checkServerSDOParameter(unsigned short index, const ObjectDictionarySubEntry& subEntry, int value, bool force) {
  const bool isDefaultChannel = index == 0x1200;
  if (!force && (isDefaultChannel || subEntry.subIndex == 0)) {
    return KQ_NOT_PERMITTED;
  }
  return checkSDOParameter(subEntry, value, SDO_REQUESTS, SDO_RESPONSES);
}

int checkMapping(const ObjectDictionarySubEntry& subEntry, bool force) {
  if (force) {
    return KQ_OK;
  }
  return subEntry.subIndex == 0 ? SDO_ABORT_READ_ONLY : SDO_ABORT_UNSUPPORTED_ACCESS;
}

int checkPDOCommunication(const ObjectDictionarySubEntry& subEntry, int& value, bool isTransmit) {
  switch (subEntry.subIndex) {
    case 1:
      return checkPDOCOBID(subEntry, value, isTransmit);
    case 2:
      return RESERVED_TRANSMISSION_TYPES.contains(bitsOf(value)) ? static_cast<int>(SDO_ABORT_VALUE_RANGE_EXCEEDED)
                                                                 : KQ_OK;
    case 3:
      return !isTransmit && value > 0 ? static_cast<int>(SDO_ABORT_VALUE_TOO_HIGH) : KQ_OK;
    default:
      return KQ_OK;
  }
}

}  // namespace

int KQCANopenObjectDictionary::handleValueChangeRequest(unsigned short index, ObjectDictionarySubEntry* subEntry,
                                                        int& value, bool force) {
  constexpr Range GENERAL_OBJECTS{0x1000, 0x1018};
  constexpr Range SERVER_SDO_PARAMETERS{0x1200, 0x127F};
  constexpr Range CLIENT_SDO_PARAMETERS{0x1280, 0x12FF};
  constexpr Range RECEIVE_PDO_COMMUNICATION{0x1400, 0x15FF};
  constexpr Range RECEIVE_PDO_MAPPING{0x1600, 0x17FF};
  constexpr Range TRANSMIT_PDO_COMMUNICATION{0x1800, 0x19FF};
  constexpr Range TRANSMIT_PDO_MAPPING{0x1A00, 0x1BFF};

  if (subEntry == nullptr || isOutsideLimits(*subEntry, value)) {
    return KQ_INVALID_ARGUMENT;
  }
  if (GENERAL_OBJECTS.contains(index)) {
    return checkGeneralObject(*this, index, *subEntry, value, force);
  }
  if (SERVER_SDO_PARAMETERS.contains(index)) {
    return checkServerSDOParameter(index, *subEntry, value, force);
  }
  if (CLIENT_SDO_PARAMETERS.contains(index)) {
    // The ranges stand the other way round than the direction of a client's frames would have it.
    return checkSDOParameter(*subEntry, value, SDO_RESPONSES, SDO_REQUESTS);
  }
  if (RECEIVE_PDO_MAPPING.contains(index) || TRANSMIT_PDO_MAPPING.contains(index)) {
    return checkMapping(*subEntry, force);
  }
  if (RECEIVE_PDO_COMMUNICATION.contains(index)) {
    return checkPDOCommunication(*subEntry, value, false);
  }
  if (TRANSMIT_PDO_COMMUNICATION.contains(index)) {
    return checkPDOCommunication(*subEntry, value, true);
  }
  return KQ_NOT_PERMITTED;
}

int KQCANopenObjectDictionary::handleValueChangeRequest(unsigned short index, ObjectDictionarySubEntry* subEntry,
                                                        const std::string& /*value*/, bool force) {
  constexpr Range DEVICE_TEXTS{0x1008, 0x100A};
  if (subEntry == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  return DEVICE_TEXTS.contains(index) ? forcedOnly(force) : static_cast<int>(KQ_NOT_PERMITTED);
}

}  // namespace KQ
