// Which communication objects may be written, by whom, and with which values.

#include "COBID.h"
#include "DiagnosticLine.h"
#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQSDOAbortCode.h"
#include "ObjectIndexes.h"

namespace KQ {

namespace {

using Range = object::IndexRange;  // of indexes, and of any other values of 16 bits

constexpr unsigned int SAVE_SIGNATURE = 0x65766173U;  // "save" in the order of transmission

constexpr Range GENERAL_OBJECTS{0x1000, 0x1018};
constexpr Range DEVICE_TEXTS{0x1008, 0x100A};
constexpr unsigned short DEFAULT_SERVER_SDO_PARAMETER = object::SERVER_SDO_PARAMETERS.first;

constexpr Range SDO_REQUESTS{0x601, 0x67F};
constexpr Range SDO_RESPONSES{0x581, 0x5FF};
constexpr Range RESERVED_TRANSMISSION_TYPES{0xF1, 0xFB};

int forcedOnly(bool force) {
  return force ? KQ_OK : KQ_NOT_PERMITTED;
}

unsigned int bitsOf(int value) {
  return static_cast<unsigned int>(value);
}

bool isOutsideLimits(const ObjectDictionarySubEntry& subEntry, int value) {
  return bitsOf(value) < bitsOf(subEntry.lowLimit) || bitsOf(value) > bitsOf(subEntry.highLimit);
}

// COB-IDs that CiA 301 keeps for other services.
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
  if ((cobID & cobid::INVALID) != 0) {
    printLine("Set SDO COB-ID invalid, new value: 0x" + hexadecimal(cobID));
    return KQ_OK;
  }
  const bool channelIsValid = (bitsOf(subEntry.value) & cobid::INVALID) == 0;
  if (channelIsValid) {
    return KQ_OK;
  }
  // The restricted test comes first and sees the whole value: a plain 11-bit COB-ID of the expected range fails it.
  if (isRestrictedCOBID(cobID) || !expected.contains(cobID & cobid::ELEVEN_BITS)) {
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  return KQ_OK;
}

int checkPDOCOBID(const ObjectDictionarySubEntry& subEntry, int& value, bool isTransmit) {
  const unsigned int cobID = bitsOf(value);
  if (cobID == 0) {
    return KQ_OK;
  }
  if ((cobID & cobid::INVALID) != 0) {
    printLine("Set COB-ID invalid, new value: 0x" + hexadecimal(cobID));
    return KQ_OK;
  }
  const bool pdoIsValid = (bitsOf(subEntry.value) & cobid::INVALID) == 0;
  if (pdoIsValid) {
    printLine("Trying to set 0x " + hexadecimal(cobID) + " to a valid PDO COB-ID -> Error");
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  if (isRestrictedCOBID(cobID)) {
    return SDO_ABORT_VALUE_RANGE_EXCEEDED;
  }
  const unsigned int changed = isTransmit ? cobID | cobid::NO_RTR : cobID & ~cobid::NO_RTR;
  value = static_cast<int>(changed);
  printLine("Set COB-ID valid, value: 0x" + hexadecimal(changed));
  return KQ_OK;
}

int checkSync(KQCANopenObjectDictionary& dictionary, const ObjectDictionarySubEntry& subEntry, int value) {
  if (subEntry.subIndex != 0) {
    return KQ_NOT_PERMITTED;
  }
  int current = 0;
  dictionary.getValue(object::COB_ID_SYNC, 0, current);
  if ((bitsOf(current) & cobid::EXTENDED) == 0) {
    return KQ_OK;
  }
  return (bitsOf(value) & 0x3FFFFFFFU) == (bitsOf(current) & 0x03FFFFFFU) ? KQ_OK : KQ_NOT_PERMITTED;
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
  return dictionary.storeParameters("tavo.dcf") == KQ_OK ? KQ_OK : SDO_ABORT_HARDWARE;
}

int checkProducerHeartbeatTime(const ObjectDictionarySubEntry& subEntry, int value) {
  if (subEntry.subIndex != 0) {
    return KQ_NOT_PERMITTED;
  }
  return value >= 0x10000 ? SDO_ABORT_LENGTH_TOO_HIGH : KQ_OK;
}

int checkGeneralObject(KQCANopenObjectDictionary& dictionary, unsigned short index,
                       const ObjectDictionarySubEntry& subEntry, int value, bool force) {
  const bool isFirst = subEntry.subIndex == 0;
  switch (index) {
    case 0x1000:
    case object::ERROR_REGISTER:
    case 0x1002:
      return isFirst ? forcedOnly(force) : KQ_NOT_PERMITTED;
    case 0x1003:
      return isFirst && force ? KQ_OK : KQ_NOT_HANDLED;
    case object::COB_ID_SYNC:
      return checkSync(dictionary, subEntry, value);
    case 0x1006:
    case 0x1007:
      return isFirst ? KQ_OK : KQ_NOT_PERMITTED;
    case 0x1010:
      return checkStoreParameters(dictionary, subEntry, value, force);
    case 0x1012:
      return (bitsOf(value) & (cobid::NO_RTR | cobid::EXTENDED)) != 0 ? SDO_ABORT_VALUE_RANGE_EXCEEDED : KQ_OK;
    case object::COB_ID_EMCY:
    case 0x1015:
      return KQ_OK;
    case object::CONSUMER_HEARTBEAT_TIME:
      return isFirst ? forcedOnly(force) : KQ_OK;
    case object::PRODUCER_HEARTBEAT_TIME:
      return checkProducerHeartbeatTime(subEntry, value);
    case object::IDENTITY:
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
  const bool isDefaultChannel = index == DEFAULT_SERVER_SDO_PARAMETER;
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
    case object::PDO_COB_ID:
      return checkPDOCOBID(subEntry, value, isTransmit);
    case object::PDO_TRANSMISSION_TYPE:
      return RESERVED_TRANSMISSION_TYPES.contains(bitsOf(value)) ? SDO_ABORT_VALUE_RANGE_EXCEEDED : KQ_OK;
    case object::PDO_INHIBIT_TIME:
      return !isTransmit && value > 0 ? SDO_ABORT_VALUE_TOO_HIGH : KQ_OK;
    default:
      return KQ_OK;
  }
}

}  // namespace

int KQCANopenObjectDictionary::handleValueChangeRequest(unsigned short index, ObjectDictionarySubEntry* subEntry,
                                                        int& value, bool force) {
  if (subEntry == nullptr || isOutsideLimits(*subEntry, value)) {
    return KQ_INVALID_ARGUMENT;
  }
  if (GENERAL_OBJECTS.contains(index)) {
    return checkGeneralObject(*this, index, *subEntry, value, force);
  }
  if (object::SERVER_SDO_PARAMETERS.contains(index)) {
    return checkServerSDOParameter(index, *subEntry, value, force);
  }
  if (object::CLIENT_SDO_PARAMETERS.contains(index)) {
    // The ranges stand the other way round than the direction of a client's frames would have it.
    return checkSDOParameter(*subEntry, value, SDO_RESPONSES, SDO_REQUESTS);
  }
  if (object::RECEIVE_PDO_MAPPING.contains(index) || object::TRANSMIT_PDO_MAPPING.contains(index)) {
    return checkMapping(*subEntry, force);
  }
  if (object::RECEIVE_PDO_COMMUNICATION.contains(index)) {
    return checkPDOCommunication(*subEntry, value, false);
  }
  if (object::TRANSMIT_PDO_COMMUNICATION.contains(index)) {
    return checkPDOCommunication(*subEntry, value, true);
  }
  return KQ_NOT_PERMITTED;
}

int KQCANopenObjectDictionary::handleValueChangeRequest(unsigned short index, ObjectDictionarySubEntry* subEntry,
                                                        const std::string& /*value*/, bool force) {
  if (subEntry == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  return DEVICE_TEXTS.contains(index) ? forcedOnly(force) : KQ_NOT_PERMITTED;
}

}  // namespace KQ
