// How PDOs are built from their communication and mapping parameters in the dictionary.

#include <algorithm>
#include <array>
#include <ios>
#include <iostream>
#include <mutex>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQDebug.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQPDO.h"
#include "KQPDOHandler.h"
#include "KQSyncHandler.h"
#include "KQTick.h"
#include "KQVariableEventDispatcher.h"

namespace KQ {

namespace {

using Lock = std::lock_guard<KQMutex>;

constexpr unsigned short FIRST_RECEIVE_PDO = 0x1400;
constexpr unsigned short LAST_RECEIVE_PDO = 0x15FF;
constexpr unsigned short FIRST_TRANSMIT_PDO = 0x1800;
constexpr unsigned short LAST_TRANSMIT_PDO = 0x19FF;
/// From a communication parameter to its mapping parameter.
constexpr unsigned short MAPPING_OFFSET = 0x200;

constexpr unsigned char COB_ID = 1;
constexpr unsigned char TRANSMISSION_TYPE = 2;
constexpr unsigned char INHIBIT_TIME = 3;
constexpr unsigned char EVENT_TIMER = 5;

constexpr unsigned int COB_ID_INVALID = 0x80000000U;
constexpr unsigned int COB_ID_FLAGS = 0xE0000000U;
constexpr unsigned int FRAME_BYTES = 8;
constexpr int HIGHEST_SUB_INDEX = 255;

bool isReceiveIndex(unsigned short index) {
  return index >= FIRST_RECEIVE_PDO && index <= LAST_RECEIVE_PDO;
}

bool isTransmitIndex(unsigned short index) {
  return index >= FIRST_TRANSMIT_PDO && index <= LAST_TRANSMIT_PDO;
}

unsigned int bitLengthOf(int mapping) {
  return static_cast<unsigned int>(mapping) & 0xFFU;
}

/// A mapping entry holds index, sub-index and length; a key holds index and sub-index.
unsigned int keyOf(int mapping) {
  const auto bits = static_cast<unsigned int>(mapping);
  return (bits & 0xFFFF0000U) | (bits >> 8 & 0xFFU);
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

/// Bytes of the frame: those of all mapped bits, but no more than a frame has.
unsigned int frameLengthOf(unsigned int bits, unsigned short commIndex, bool isReceive) {
  const unsigned int length = (bits + 7) / 8;
  if (length <= FRAME_BYTES) {
    return length;
  }
  std::cout << "WARNING: PDO 0x" << std::hex << commIndex << std::dec << " exceeds 8 data bytes (" << length << ")"
            << std::endl;
  std::cout << "\tLength was reduced to 8 bytes but data " << (isReceive ? "reception" : "transmission")
            << " will be corrupted!" << std::endl;
  return FRAME_BYTES;
}

void reportUnusableVariable(unsigned int key, int result) {
  constexpr int LEVEL = 1;
  KQDebug::debugPrintError(LEVEL, KQCANopen::debugSection, "%s%X%s%X%s",
                           "KQPDOHandler::getPDODataFromObjectDictionary()   => Variable 0x", key >> 16, ", 0x",
                           key & 0xFFU,
                           result == KQ_NO_STORAGE_TYPE ? " has Storage Type: STORAGE_TYPE_UNDEFINED "
                                                        : " could not be found in Object Dictionary ");
}

}  // namespace

// ---- one PDO

int KQPDOHandler::readParameter(unsigned short index, unsigned char subIndex) const {
  int value = 0;
  objectDictionary->getValue(index, subIndex, value);
  return value;
}

/// The mapping entries that are there, as they stand in the dictionary.
struct KQPDOHandler::Mapping {
  unsigned int count = 0;
  std::array<int, HIGHEST_SUB_INDEX> entries;
};

void KQPDOHandler::readMapping(unsigned short mappingIndex, int count, Mapping& mapping) const {
  for (int subIndex = 1; subIndex <= count; ++subIndex) {
    int& entry = mapping.entries[mapping.count];
    if (objectDictionary->getValue(mappingIndex, static_cast<unsigned char>(subIndex), entry) == KQ_OK) {
      ++mapping.count;
    }
  }
}

unsigned int KQPDOHandler::mappedBits(const Mapping& mapping) {
  unsigned int bits = 0;
  for (unsigned int i = 0; i < mapping.count; ++i) {
    bits += bitLengthOf(mapping.entries[i]);
  }
  return bits;
}

void KQPDOHandler::addMapping(KQPDO& pdo, const Mapping& mapping) const {
  unsigned int bits = 0;
  unsigned int bytePosition = 0;
  for (unsigned int i = 0; i < mapping.count; ++i) {
    const unsigned int key = keyOf(mapping.entries[i]);
    const unsigned int length = bitLengthOf(mapping.entries[i]);
    KQVariableStorageType storageType = STORAGE_TYPE_UNDEFINED;
    const int result = objectDictionary->getVariableStorageType(key, &storageType);
    if (result != KQ_OK) {
      reportUnusableVariable(key, result);
    }
    pdo.addMappingData(static_cast<int>(bytePosition), bits - 8 * bytePosition, length, key, storageType,
                       objectDictionary->isSigned(key), 0, nullptr, 0xFFFFFFFF, nullptr, 0.0F, 0.0F, 1.0F, 0, nullptr,
                       false);
    bits += length;
    bytePosition += length >> 3;
  }
}

KQPDO* KQPDOHandler::getPDODataFromObjectDictionary(unsigned short commIndex) {
  const auto mappingIndex = static_cast<unsigned short>(commIndex + MAPPING_OFFSET);
  if (objectDictionary == nullptr || !objectDictionary->objectExists(commIndex) ||
      !objectDictionary->objectExists(mappingIndex)) {
    return nullptr;
  }
  if (invalidMappings.count(mappingIndex) != 0) {
    std::cout << "Not creating invalid PDO from OD index 0x" << std::hex << commIndex << std::dec << std::endl;
    return nullptr;
  }
  const bool isReceive = isReceiveIndex(commIndex);
  const int count = std::min(readParameter(mappingIndex, 0), HIGHEST_SUB_INDEX);
  const auto mode = static_cast<KQCANopenPDOTransmissionMode>(readParameter(commIndex, TRANSMISSION_TYPE));
  const auto eventTimer = static_cast<unsigned int>(readParameter(commIndex, EVENT_TIMER));
  const int inhibitTime = isReceive ? 0 : readParameter(commIndex, INHIBIT_TIME);
  Mapping mapping;
  readMapping(mappingIndex, count, mapping);
  const unsigned int length = frameLengthOf(mappedBits(mapping), commIndex, isReceive);

  auto pdo =
      std::make_unique<KQPDO>(length, transmitTypeOf(isReceive, mode, eventTimer),
                              static_cast<unsigned short>(inhibitTime & 0xFFFF), eventTimer, objectDictionary, mode);
  addMapping(*pdo, mapping);
  pdo->setFrameLength(static_cast<unsigned char>(pdo->getDataLength() & 0xFF));
  pdo->setCommunicationIndex(commIndex);
  pdo->setBuildNumber(++buildCount);
  const auto action = pdoActions.find(commIndex);
  if (action != pdoActions.end()) {
    pdo->setAction(action->second.action, action->second.objectKey);
  }
  const auto cobID = static_cast<unsigned int>(readParameter(commIndex, COB_ID));
  if ((cobID & COB_ID_INVALID) != 0) {
    return nullptr;
  }
  pdo->setCOBID(cobID & ~COB_ID_FLAGS);
  return pdo.release();
}

// ---- all PDOs

int KQPDOHandler::init() {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const Lock lock(*sendMutex);
  buildReceivePDOs();
  buildTransmitPDOs();
  declareReceivePDOs();
  return KQ_OK;
}

// The objects from first to last, in this order.
template <typename Build>
void KQPDOHandler::forEachParameter(unsigned short first, unsigned short last, Build build) {
  for (const ObjectDictionaryEntry* const entry : objectDictionary->getEntries(first, last)) {
    build(entry->index);
  }
}

void KQPDOHandler::buildReceivePDOs() {
  monitoredPDOs.clear();
  receivePDOTable.clear();
  deleteAll(receivePDOs);
  forEachParameter(FIRST_RECEIVE_PDO, LAST_RECEIVE_PDO, [this](unsigned short index) {
    KQPDO* const pdo = getPDODataFromObjectDictionary(index);
    if (pdo == nullptr) {
      return;
    }
    receivePDOs.insert(pdo);
    // A second RPDO with the same COB-ID takes the place of the first, which takes no frames from then on.
    pdo->setReceptionKey(pdo->getCOBID());
    enterReceivePDO(pdo);
    monitorReception(pdo);
  });
}

void KQPDOHandler::buildTransmitPDOs() {
  eventTimers.clear();
  variableIndex.clear();
  changeVariableIndex();
  pendingPDOs.clear();
  hasPendingPDOs = false;
  deleteAll(transmitPDOs);
  const unsigned int now = KQTick::getTickCount();
  forEachParameter(FIRST_TRANSMIT_PDO, LAST_TRANSMIT_PDO,
                   [this, now](unsigned short index) { buildTransmitPDO(index, now); });
  pendingPDOs.reserve(transmitPDOs.size());
}

void KQPDOHandler::buildTransmitPDO(unsigned short index, unsigned int now) {
  KQPDO* const pdo = getPDODataFromObjectDictionary(index);
  if (pdo == nullptr) {
    if (syncHandler != nullptr) {
      syncHandler->removeTxPDO(index);
    }
    return;
  }
  registerTransmitPDO(pdo);
  const KQCANopenPDOTransmissionMode mode = pdo->getTransmissionType();
  if (isEventDriven(mode)) {
    scheduleTransmission(pdo, now);
  } else if (mode <= PDO_TRANSMISSION_SYNC_CYCLIC_LAST && syncHandler != nullptr) {
    syncHandler->addTxPDO(pdo);
  }
}

void KQPDOHandler::declareReceivePDOs() {
  KQServedCOBIDs& served = declareServedCOBIDs(typeid(KQPDOHandler));
  for (const KQPDO* const pdo : receivePDOs) {
    served.add(pdo->getReceptionKey());
  }
}

void KQPDOHandler::enterReceivePDO(KQPDO* pdo) {
  receivePDOTable.insert(pdo);
}

void KQPDOHandler::monitorReception(KQPDO* pdo) {
  if (pdo->getEventTimer() != 0 && isEventDriven(pdo->getTransmissionType())) {
    monitoredPDOs.insert(pdo);
    isRxCheckNeeded = true;
  }
}

void KQPDOHandler::registerTransmitPDO(KQPDO* pdo) {
  transmitPDOs.insert(pdo);
  changeVariableIndex();
  const auto isBefore = [](unsigned int wanted, const MappedVariable& mapped) { return wanted < mapped.key; };
  for (const unsigned int key : pdo->getMappedKeys()) {
    variableIndex.insert(std::upper_bound(variableIndex.begin(), variableIndex.end(), key, isBefore), {key, pdo});
    listenToVariable(key);
  }
}

void KQPDOHandler::listenToVariable(unsigned int key) {
  const auto index = static_cast<unsigned short>(key >> 16);
  const auto subIndex = static_cast<unsigned short>(key & 0xFF);
  if (instance == nullptr || dei->getVariableOwnerPointer(index, subIndex) != instance) {
    KQVariableEventDispatcher::instance()->addMapping(index, subIndex, instance);
  }
}

void KQPDOHandler::scheduleTransmission(KQPDO* pdo, unsigned int now) {
  if (pdo->getEventTimer() != 0) {
    eventTimers.emplace(now + pdo->getEventTimer(), pdo);
  }
  addPending(pdo);
}

// ---- changes

void KQPDOHandler::signalPDOChange(unsigned short index) {
  const Lock lock(*sendMutex);
  if (isTransmitIndex(index)) {
    rebuildTransmitPDO(index);
  } else if (isReceiveIndex(index)) {
    rebuildReceivePDO(index);
    declareReceivePDOs();
  }
}

void KQPDOHandler::rebuildTransmitPDO(unsigned short index) {
  KQPDO* const previous = transmitPDOs.find(index);
  if (previous != nullptr) {
    transmitPDOs.erase(previous);
    if (syncHandler != nullptr) {
      syncHandler->removeTxPDO(index);
    }
    forgetTransmissions(previous);
    deletePDO(previous);
  }
  KQPDO* const pdo = getPDODataFromObjectDictionary(index);
  if (pdo == nullptr) {
    return;
  }
  registerTransmitPDO(pdo);
  const KQCANopenPDOTransmissionMode mode = pdo->getTransmissionType();
  if (isEventDriven(mode)) {
    scheduleTransmission(pdo, KQTick::getTickCount());
  } else if (isSyncCyclic(mode) && syncHandler != nullptr) {
    // One of type 0 waits for its first change, unlike at the start.
    syncHandler->addTxPDO(pdo);
  }
}

void KQPDOHandler::forgetTransmissions(const KQPDO* pdo) {
  removePending(pdo);
  const auto isOfPDO = [pdo](const MappedVariable& mapped) { return mapped.pdo == pdo; };
  variableIndex.erase(std::remove_if(variableIndex.begin(), variableIndex.end(), isOfPDO), variableIndex.end());
  changeVariableIndex();
  for (auto it = eventTimers.begin(); it != eventTimers.end();) {
    it = it->second == pdo ? eventTimers.erase(it) : std::next(it);
  }
}

void KQPDOHandler::rebuildReceivePDO(unsigned short index) {
  forgetReceivePDOs(index);
  KQPDO* const pdo = getPDODataFromObjectDictionary(index);
  if (pdo == nullptr) {
    return;
  }
  receivePDOs.insert(pdo);
  // Under the COB-ID as it stands, flags included, and only when no other RPDO has it.
  pdo->setReceptionKey(static_cast<unsigned int>(readParameter(index, COB_ID)));
  if (receivePDOTable.find(pdo->getReceptionKey()) == nullptr) {
    enterReceivePDO(pdo);
  }
  monitorReception(pdo);
}

void KQPDOHandler::forgetReceivePDOs(unsigned short index) {
  while (KQPDO* const pdo = receivePDOs.find(index)) {
    receivePDOs.erase(pdo);
    monitoredPDOs.erase(pdo);
    receivePDOTable.erase(pdo);
    deletePDO(pdo);
  }
}

void KQPDOHandler::deletePDO(KQPDO* pdo) {
  if (syncHandler != nullptr) {
    syncHandler->forgetPDO(pdo);
  }
  std::unique_ptr<KQPDO> retired(pdo);
  if (activities != 0) {
    retiredPDOs.push_back(std::move(retired));
    hasRetiredPDOs = true;
  }
}

void KQPDOHandler::deleteAll(KQPDOSet& pdos) {
  KQPDOSet doomed;
  doomed.swap(pdos);
  for (KQPDO* const pdo : doomed) {
    deletePDO(pdo);
  }
}

void KQPDOHandler::addInvalidPDOIndex(unsigned short mappingIndex) {
  invalidMappings.insert(mappingIndex);
}

int KQPDOHandler::setPDOAction(int pdoNumber, KQCANopenPDOType type, int action, unsigned int objectKey) {
  if (type == PDO_TYPE_RECEIVE) {
    return KQ_NOT_HANDLED;
  }
  pdoActions[static_cast<unsigned short>(FIRST_TRANSMIT_PDO + pdoNumber)] = {pdoNumber, type, action, objectKey};
  return KQ_DONE;
}

}  // namespace KQ
