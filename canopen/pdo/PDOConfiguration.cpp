// How one PDO is built from its communication and mapping parameters in the dictionary.

#include <algorithm>
#include <array>
#include <string>

#include "COBID.h"
#include "DiagnosticLine.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQDebug.h"
#include "KQErrorCodes.h"
#include "KQPDOHandler.h"
#include "ObjectIndexes.h"
#include "ObjectKey.h"
#include "PDOInternals.h"

namespace KQ {

namespace {

constexpr unsigned int FRAME_BYTES = 8;

unsigned int bitLengthOf(int mapping) {
  return static_cast<unsigned int>(mapping) & 0xFFU;
}

// A mapping entry holds index, sub-index and length.
unsigned int keyOfMapping(int mapping) {
  const auto bits = static_cast<unsigned int>(mapping);
  return keyOf(static_cast<unsigned short>(bits >> 16), static_cast<unsigned char>(bits >> 8 & 0xFFU));
}

KQTransmitType transmitTypeOf(bool isReceive, KQCANopenPDOTransmissionMode mode, unsigned int eventTimer) {
  if (isReceive) {
    return TRANSMIT_RECEIVE;
  }
  if (mode == PDO_TRANSMISSION_RTR_SYNC || mode == PDO_TRANSMISSION_RTR_EVENT) {
    return TRANSMIT_ON_REQUEST;
  }
  return isEventDriven(mode) && eventTimer != 0 ? TRANSMIT_ON_CHANGE_AND_TIMER : TRANSMIT_ON_CHANGE;
}

// Bytes of the frame: those of all mapped bits, but no more than a frame has.
unsigned int frameLengthOf(unsigned int bits, unsigned short commIndex, bool isReceive) {
  const unsigned int length = (bits + 7) / 8;
  if (length <= FRAME_BYTES) {
    return length;
  }
  printLine("WARNING: PDO 0x" + hexadecimal(commIndex) + " exceeds 8 data bytes (" + std::to_string(length) + ")");
  printLine(std::string("\tLength was reduced to 8 bytes but data ") + (isReceive ? "reception" : "transmission") +
            " will be corrupted!");
  return FRAME_BYTES;
}

void reportUnusableVariable(unsigned int key, int result) {
  constexpr int LEVEL = 1;
  KQDebug::debugPrintError(LEVEL, KQCANopen::debugSection, "%s%X%s%X%s",
                           "KQPDOHandler::getPDODataFromObjectDictionary()   => Variable 0x", unsigned{indexOf(key)},
                           ", 0x", unsigned{subIndexOf(key)},
                           result == KQ_NO_STORAGE_TYPE ? " has Storage Type: STORAGE_TYPE_UNDEFINED "
                                                        : " could not be found in Object Dictionary ");
}

// The entries of a mapping parameter that can be read, as they stand in the dictionary.
class Mapping {
public:
  Mapping(KQCANopenObjectDictionary& od, unsigned short index) : dictionary(od) {
    int last = 0;
    dictionary.getValue(index, 0, last);
    for (int subIndex = 1; subIndex <= std::min(last, object::HIGHEST_SUB_INDEX); ++subIndex) {
      if (dictionary.getValue(index, static_cast<unsigned char>(subIndex), entries[count]) == KQ_OK) {
        ++count;
      }
    }
  }

  unsigned int bits() const {
    unsigned int total = 0;
    for (unsigned int i = 0; i < count; ++i) {
      total += bitLengthOf(entries[i]);
    }
    return total;
  }

  void addTo(KQPDO& pdo) const {
    unsigned int bits = 0;
    unsigned int bytePosition = 0;
    PDOInternals::reserveObjects(pdo, count);
    for (unsigned int i = 0; i < count; ++i) {
      const unsigned int key = keyOfMapping(entries[i]);
      const unsigned int length = bitLengthOf(entries[i]);
      ObjectDictionarySubEntry* const object = dictionary.getSubentry(indexOf(key), subIndexOf(key));
      const bool isSigned = object != nullptr && dictionary.isDataTypeSigned(object->dataType);
      const int result =
          pdo.addMappingData(static_cast<int>(bytePosition), bits - 8 * bytePosition, length, key, storageTypeOf(key),
                             isSigned, 0, nullptr, 0xFFFFFFFF, nullptr, 0.0F, 0.0F, 1.0F, 0, nullptr, false);
      if (result == KQ_OK) {
        // A dummy entry has a data type's object, which is neither read nor written.
        const bool isDummy = indexOf(key) < object::FIRST_COMMUNICATION_OBJECT;
        PDOInternals::keepObject(pdo, key, isDummy ? nullptr : object);
      }
      bits += length;
      bytePosition += length >> 3;
    }
  }

private:
  KQVariableStorageType storageTypeOf(unsigned int key) const {
    KQVariableStorageType storageType = STORAGE_TYPE_UNDEFINED;
    const int result = dictionary.getVariableStorageType(key, &storageType);
    if (result != KQ_OK) {
      reportUnusableVariable(key, result);
    }
    return storageType;
  }

  KQCANopenObjectDictionary& dictionary;
  unsigned int count = 0;
  std::array<int, object::HIGHEST_SUB_INDEX> entries;
};

}  // namespace

int KQPDOHandler::readParameter(unsigned short index, unsigned char subIndex) const {
  int value = 0;
  objectDictionary->getValue(index, subIndex, value);
  return value;
}

KQPDO* KQPDOHandler::getPDODataFromObjectDictionary(unsigned short commIndex) {
  const auto mappingIndex = static_cast<unsigned short>(commIndex + object::PDO_MAPPING_OFFSET);
  if (objectDictionary == nullptr || !objectDictionary->objectExists(commIndex) ||
      !objectDictionary->objectExists(mappingIndex)) {
    return nullptr;
  }
  if (invalidMappings.count(mappingIndex) != 0) {
    printLine("Not creating invalid PDO from OD index 0x" + hexadecimal(commIndex));
    countInTens();  // the application finds the stream so afterwards
    return nullptr;
  }
  std::unique_ptr<KQPDO> pdo = buildPDO(commIndex, mappingIndex);
  const auto action = pdoActions.find(commIndex);
  if (action != pdoActions.end()) {
    PDOInternals::setAction(*pdo, action->second.action, action->second.objectKey);
  }
  const auto cobID = static_cast<unsigned int>(readParameter(commIndex, object::PDO_COB_ID));
  pdo->setCOBID(cobID & cobid::IDENTIFIER);
  return (cobID & cobid::INVALID) == 0 ? pdo.release() : nullptr;
}

std::unique_ptr<KQPDO> KQPDOHandler::buildPDO(unsigned short commIndex, unsigned short mappingIndex) const {
  const bool isReceive = object::RECEIVE_PDO_COMMUNICATION.contains(commIndex);
  const auto mode = static_cast<KQCANopenPDOTransmissionMode>(readParameter(commIndex, object::PDO_TRANSMISSION_TYPE));
  const auto eventTimer = static_cast<unsigned int>(readParameter(commIndex, object::PDO_EVENT_TIMER));
  const int inhibitTime = isReceive ? 0 : readParameter(commIndex, object::PDO_INHIBIT_TIME);
  const Mapping mapping(*objectDictionary, mappingIndex);
  const unsigned int length = frameLengthOf(mapping.bits(), commIndex, isReceive);
  auto pdo =
      std::make_unique<KQPDO>(length, transmitTypeOf(isReceive, mode, eventTimer),
                              static_cast<unsigned short>(inhibitTime & 0xFFFF), eventTimer, objectDictionary, mode);
  mapping.addTo(*pdo);
  pdo->setFrameLength(static_cast<unsigned char>(pdo->getDataLength() & 0xFF));
  pdo->setCommunicationIndex(commIndex);
  return pdo;
}

}  // namespace KQ
