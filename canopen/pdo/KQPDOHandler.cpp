// Which PDOs the node has: all of them at the start, one when its parameters are written.

#include "KQPDOHandler.h"

#include <iterator>
#include <mutex>
#include <typeinfo>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQMutex.h"
#include "KQSyncHandler.h"
#include "KQTick.h"
#include "KQVariableEventDispatcher.h"
#include "ObjectIndexes.h"
#include "ObjectKey.h"
#include "PDOInternals.h"
#include "PDOTable.h"

namespace KQ {

KQPDOHandler::KQPDOHandler(KQCANopen* canopen)
    : publishedPDOs(std::make_shared<const PDOTable>()), dei(KQDEI::instance()), sendMutex(KQMutex::create()) {
  setCANopenInstance(canopen);
}

KQPDOHandler::~KQPDOHandler() = default;

bool KQPDOHandler::isOperational() const {
  return stateMachine != nullptr && stateMachine->getState() == CANOPEN_STATE_OPERATIONAL;
}

void KQPDOHandler::publish(const std::shared_ptr<PDOTable>& pdos) {
  pdos->indexMappedVariables();
  publishedPDOs.publish(pdos);
}

// ---- all PDOs

int KQPDOHandler::init() {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  retireAll();
  const auto pdos = std::make_shared<PDOTable>();
  const unsigned int now = KQTick::getTickCount();
  forEachParameter(object::RECEIVE_PDO_COMMUNICATION, [&](unsigned short index) { addReceivePDO(*pdos, index, now); });
  forEachParameter(object::TRANSMIT_PDO_COMMUNICATION,
                   [&](unsigned short index) { addTransmitPDO(*pdos, index, now); });
  pendingPDOs.reserve(pdos->getTransmitPDOs().size());
  publish(pdos);
  declareReceivePDOs();
  return KQ_OK;
}

// The objects of the range, in ascending order.
template <typename Range, typename Build>
void KQPDOHandler::forEachParameter(const Range& range, Build build) {
  for (const ObjectDictionaryEntry* const entry : objectDictionary->getEntries(range.first, range.last)) {
    build(entry->index);
  }
}

void KQPDOHandler::addReceivePDO(PDOTable& pdos, unsigned short index, unsigned int now) {
  const std::shared_ptr<KQPDO> pdo(getPDODataFromObjectDictionary(index));
  if (pdo == nullptr) {
    return;
  }
  PDOInternals::setReceptionKey(*pdo, pdo->getCOBID());
  pdos.addReceivePDO(pdo);
  // A second RPDO with the same COB-ID takes the place of the first, which takes no frames from then on.
  pdos.setFrameTaker(*pdo);
  startMonitoring(*pdo, now);
}

void KQPDOHandler::addTransmitPDO(PDOTable& pdos, unsigned short index, unsigned int now) {
  const std::shared_ptr<KQPDO> pdo(getPDODataFromObjectDictionary(index));
  if (pdo == nullptr) {
    if (syncHandler != nullptr) {
      syncHandler->removeTxPDO(index);
    }
    return;
  }
  pdos.addTransmitPDO(pdo);
  listenToVariables(*pdo);
  startTransmission(*pdo, now, true);
}

// ---- one PDO

void KQPDOHandler::signalPDOChange(unsigned short index) {
  if (object::TRANSMIT_PDO_COMMUNICATION.contains(index)) {
    rebuildTransmitPDO(index);
  } else if (object::RECEIVE_PDO_COMMUNICATION.contains(index)) {
    rebuildReceivePDO(index);
    declareReceivePDOs();
  }
}

void KQPDOHandler::rebuildTransmitPDO(unsigned short index) {
  const auto pdos = std::make_shared<PDOTable>(*PDOInternals::pdosOf(*this));
  const std::shared_ptr<KQPDO> previous = pdos->removeTransmitPDO(index);
  const std::shared_ptr<KQPDO> pdo(getPDODataFromObjectDictionary(index));
  if (pdo != nullptr) {
    pdos->addTransmitPDO(pdo);
    listenToVariables(*pdo);
  }
  publish(pdos);
  // Afterwards, so that who meets a retired PDO finds its successor.
  const bool hadTurnAtNextSync = previous != nullptr && retire(*previous);
  if (pdo != nullptr) {
    // One of type 0 waits for its first change, unlike at the start, unless a change has been waiting already.
    startTransmission(*pdo, KQTick::getTickCount(), hadTurnAtNextSync);
  }
}

void KQPDOHandler::rebuildReceivePDO(unsigned short index) {
  const auto pdos = std::make_shared<PDOTable>(*PDOInternals::pdosOf(*this));
  if (const std::shared_ptr<KQPDO> previous = pdos->removeReceivePDO(index)) {
    retire(*previous);
  }
  if (const std::shared_ptr<KQPDO> pdo{getPDODataFromObjectDictionary(index)}) {
    // Under the COB-ID as it stands, flags included, and only when no other RPDO has it.
    PDOInternals::setReceptionKey(*pdo, static_cast<unsigned int>(readParameter(index, object::PDO_COB_ID)));
    pdos->addReceivePDO(pdo);
    if (pdos->findFrameTaker(PDOInternals::receptionKeyOf(*pdo)) == nullptr) {
      pdos->setFrameTaker(*pdo);
    }
    startMonitoring(*pdo, KQTick::getTickCount());
  }
  publish(pdos);
}

// ---- what a PDO is entered into, and taken out of

void KQPDOHandler::listenToVariables(const KQPDO& pdo) {
  for (const unsigned int key : pdo.getMappedKeys()) {
    if (instance == nullptr || dei->getVariableOwnerPointer(indexOf(key), subIndexOf(key)) != instance) {
      KQVariableEventDispatcher::instance()->addMapping(indexOf(key), subIndexOf(key), instance);
    }
  }
}

void KQPDOHandler::startTransmission(KQPDO& pdo, unsigned int now, bool hasTurnAtNextSync) {
  const KQCANopenPDOTransmissionMode mode = pdo.getTransmissionType();
  if (isEventDriven(mode)) {
    if (pdo.getEventTimer() != 0) {
      bringEventTimersUpToDate(now);
      eventTimers.emplace(now + pdo.getEventTimer(), &pdo);
    }
    pendingPDOs.insert(&pdo);
    return;
  }
  const bool waitsForSync = isSyncCyclic(mode) || (mode == PDO_TRANSMISSION_SYNC_ACYCLIC && hasTurnAtNextSync);
  if (waitsForSync && syncHandler != nullptr) {
    syncHandler->addTxPDO(&pdo);
  }
}

// @return whether the PDO had a turn at the next SYNC
bool KQPDOHandler::retire(KQPDO& pdo) {
  {
    // First, so that no thread that still walks over it enters it again, and not while one sends it.
    const std::lock_guard<KQMutex> lock(*sendMutex);
    PDOInternals::retire(pdo);
  }
  pendingPDOs.erase(&pdo);
  for (auto entry = eventTimers.begin(); entry != eventTimers.end();) {
    entry = entry->second == &pdo ? eventTimers.erase(entry) : std::next(entry);
  }
  return syncHandler != nullptr && PDOInternals::forget(*syncHandler, pdo);
}

void KQPDOHandler::retireAll() {
  const KQPublishedPDOs::Walk pdos = PDOInternals::walkOver(*this);
  for (const PDOTable::PDOs* const all : {&pdos->getReceivePDOs(), &pdos->getTransmitPDOs()}) {
    for (const auto& pdo : *all) {
      PDOInternals::retire(*pdo);
      if (syncHandler != nullptr) {
        PDOInternals::forget(*syncHandler, *pdo);
      }
    }
  }
  pendingPDOs.clear();
  eventTimers.clear();
}

void KQPDOHandler::declareReceivePDOs() {
  KQServedCOBIDs& served = declareServedCOBIDs(typeid(KQPDOHandler));
  const KQPublishedPDOs::Walk pdos = PDOInternals::walkOver(*this);
  for (const auto& pdo : pdos->getReceivePDOs()) {
    served.add(PDOInternals::receptionKeyOf(*pdo));
  }
}

// ---- configuration

void KQPDOHandler::addInvalidPDOIndex(unsigned short mappingIndex) {
  invalidMappings.insert(mappingIndex);
}

int KQPDOHandler::setPDOAction(int pdoNumber, KQCANopenPDOType type, int action, unsigned int objectKey) {
  if (type == PDO_TYPE_RECEIVE) {
    return KQ_NOT_HANDLED;
  }
  const auto index = static_cast<unsigned short>(object::TRANSMIT_PDO_COMMUNICATION.first + pdoNumber);
  pdoActions[index] = {pdoNumber, type, action, objectKey};
  return KQ_DONE;
}

}  // namespace KQ
