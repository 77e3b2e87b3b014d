// The description of the node's communication: channels, PDOs, heartbeats, listeners and actions.

#include "COBID.h"
#include "DiagnosticLine.h"
#include "KQAction.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQPDOHandler.h"
#include "KQSDOHandler.h"
#include "ObjectIndexes.h"

namespace KQ {

namespace {

// Transmission types from here on are event-driven and know an inhibit time.
constexpr unsigned char FIRST_EVENT_DRIVEN_TYPE = 254;
// Mapped indexes below this one are data types: dummy entries.
constexpr unsigned short FIRST_INDEX_AFTER_DATA_TYPES = 0x48;
constexpr int HIGHEST_MAPPED_OBJECTS = 64;

unsigned short communicationIndexOf(KQCANopenPDOType type, unsigned short number) {
  return static_cast<unsigned short>(number + (type == PDO_TYPE_RECEIVE ? object::RECEIVE_PDO_COMMUNICATION.first
                                                                        : object::TRANSMIT_PDO_COMMUNICATION.first));
}

unsigned short mappingIndexOf(KQCANopenPDOType type, unsigned short number) {
  return static_cast<unsigned short>(communicationIndexOf(type, number) + object::PDO_MAPPING_OFFSET);
}

// Adds a sub-entry that no PDO can map.
int addParameter(KQCANopenObjectDictionary& dictionary, unsigned short index, unsigned char subIndex,
                 KQCANopenAccessType access, KQCANopenDataType type, const char* name, unsigned int value) {
  return dictionary.addSubentry(index, subIndex, access, type, name, false, static_cast<int>(value), std::string(), 0);
}

void addLimitedParameter(KQCANopenObjectDictionary& dictionary, unsigned short index, unsigned char subIndex,
                         KQCANopenAccessType access, KQCANopenDataType type, const char* name, unsigned int value,
                         unsigned int low, unsigned int high) {
  addParameter(dictionary, index, subIndex, access, type, name, value);
  dictionary.setLimits(index, subIndex, static_cast<int>(low), static_cast<int>(high));
}

void addMappingObject(KQCANopenObjectDictionary& dictionary, unsigned short index, KQCANopenAccessType access) {
  // The name is that of a receive PDO for both kinds.
  dictionary.addEntry(index, OBJECT_TYPE_RECORD, "receive PDO mapping");
  addLimitedParameter(dictionary, index, 0, access, DATA_TYPE_UNSIGNED8, "number of mapped application objects in PDO",
                      0, 0, HIGHEST_MAPPED_OBJECTS);
}

// Remembers the direction. The access right tells it too, as long as the object is mapped in one only; a right that
// has no such form stays.
void markMapped(ObjectDictionarySubEntry& mapped, bool isTransmit) {
  (isTransmit ? mapped.isMappedForTransmission : mapped.isMappedForReception) = true;
  KQCANopenAccessType& access = mapped.accessType;
  if (mapped.isMappedForTransmission && mapped.isMappedForReception) {
    access = access == ACCESS_RWR || access == ACCESS_RWW ? ACCESS_RW : access;
  } else if (access == ACCESS_RW) {
    access = isTransmit ? ACCESS_RWR : ACCESS_RWW;
  }
}

}  // namespace

// ---- SDO

int KQCANopen::addSDOChannel(unsigned int cobIDClientToServer, unsigned int cobIDServerToClient, unsigned char node,
                             KQCANopenSDOChannelType type, const std::string& name) {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  const bool isServer = type == SDO_CHANNEL_SERVER;
  const object::IndexRange& indexes = isServer ? object::SERVER_SDO_PARAMETERS : object::CLIENT_SDO_PARAMETERS;
  unsigned short index = indexes.first;
  while (indexes.contains(index) && objectDictionary->objectExists(index)) {
    ++index;
  }
  if (!indexes.contains(index)) {
    return KQ_NO_FREE_INDEX;
  }
  if (!isServer) {
    sdoChannelNames[cobIDServerToClient] = name;
  }
  KQCANopenObjectDictionary& od = *objectDictionary;
  od.addEntry(index, OBJECT_TYPE_RECORD, isServer ? "Server SDO parameter" : "Client SDO parameter");
  addParameter(od, index, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "number of entries", 0);
  addParameter(od, index, 1, ACCESS_RW, DATA_TYPE_UNSIGNED32, "COB-ID Client -> Server", cobIDClientToServer);
  addParameter(od, index, 2, ACCESS_RW, DATA_TYPE_UNSIGNED32, "COB-ID Server -> Client", cobIDServerToClient);
  addParameter(od, index, 3, ACCESS_RW, DATA_TYPE_UNSIGNED8, "Node-ID", node);
  return KQ_OK;
}

int KQCANopen::setSDOServerID(unsigned short index, unsigned short subIndex, unsigned int serverID) {
  return objectDictionary != nullptr
             ? objectDictionary->setSDOServerID(index, static_cast<unsigned char>(subIndex & 0xFF), serverID)
             : KQ_NOT_AVAILABLE;
}

int KQCANopen::setSDOEventListener(KQSignalListener* listener) {
  if (sdoHandler == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  sdoHandler->setSDOEventListener(listener);
  return KQ_OK;
}

// ---- PDO

int KQCANopen::addPDO(KQCANopenPDOType type, unsigned short number, unsigned int cobID, unsigned short eventTimer,
                      unsigned short inhibitTime, unsigned char transmissionType, bool enabled,
                      KQSignalListener* listener) {
  if (objectDictionary == nullptr) {
    return KQ_NOT_AVAILABLE;
  }
  KQCANopenObjectDictionary& od = *objectDictionary;
  const bool isTransmit = type != PDO_TYPE_RECEIVE;
  const unsigned short index = communicationIndexOf(type, number);

  // The name is that of a receive PDO for both kinds.
  od.addEntry(index, OBJECT_TYPE_RECORD, "receive PDO parameter");
  addLimitedParameter(od, index, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "largest sub-index supported", 0, 2, 5);
  pdoListeners[index] = listener;

  unsigned int cobIDValue = enabled ? cobID & ~cobid::INVALID : cobID | cobid::INVALID;
  cobIDValue = isTransmit ? cobIDValue | cobid::NO_RTR : cobIDValue & ~cobid::NO_RTR;
  addLimitedParameter(od, index, object::PDO_COB_ID, ACCESS_RW, DATA_TYPE_UNSIGNED32, "COB-ID used by PDO", cobIDValue,
                      1, 0xFFFFFFFF);
  addLimitedParameter(od, index, object::PDO_TRANSMISSION_TYPE, ACCESS_RW, DATA_TYPE_UNSIGNED8, "transmission type",
                      transmissionType, 0, 255);
  if (isTransmit) {
    addLimitedParameter(od, index, object::PDO_INHIBIT_TIME, ACCESS_RW, DATA_TYPE_UNSIGNED16, "inhibit time",
                        inhibitTime, 0, 65535);
    od.setValue(index, object::PDO_INHIBIT_TIME, transmissionType >= FIRST_EVENT_DRIVEN_TYPE ? inhibitTime : 0, true);
  }
  addLimitedParameter(od, index, object::PDO_EVENT_TIMER, ACCESS_RW, DATA_TYPE_UNSIGNED16, "event timer", eventTimer, 0,
                      65535);
  od.setValue(index, object::PDO_EVENT_TIMER, eventTimer, true);

  addMappingObject(od, mappingIndexOf(type, number), ACCESS_RW);
  return KQ_OK;
}

int KQCANopen::addPDOMapping(unsigned short number, KQCANopenPDOType type, unsigned short index,
                             unsigned short subIndex, int bits) {
  const unsigned short mappingIndex = mappingIndexOf(type, number);
  const int result =
      objectDictionary != nullptr
          ? appendMapping(mappingIndex, type, index, static_cast<unsigned char>(subIndex & 0xFF), subIndex, bits)
          : KQ_NOT_AVAILABLE;
  if (result != KQ_OK) {
    if (pdoHandler != nullptr) {
      pdoHandler->addInvalidPDOIndex(mappingIndex);
    }
    printLine("WARNING: Marking PDO " + std::to_string(number) + " OD index 0x" + hexadecimal(mappingIndex) +
              " as forever invalid due to invalid mapping!");
  }
  return result;
}

int KQCANopen::appendMapping(unsigned short mappingIndex, KQCANopenPDOType type, unsigned short index,
                             unsigned char subIndex, unsigned short variableSubIndex, int bits) {
  KQCANopenObjectDictionary& od = *objectDictionary;
  const unsigned short mappedIndex =
      index < FIRST_INDEX_AFTER_DATA_TYPES ? dataTypeOfVariable(index, variableSubIndex) : index;
  ObjectDictionarySubEntry* const mapped = od.getSubentry(mappedIndex, subIndex);
  if (mapped == nullptr || !mapped->pdoMappable) {
    return KQ_INVALID_ARGUMENT;
  }
  if (!od.objectExists(mappingIndex)) {
    addMappingObject(od, mappingIndex, ACCESS_RO);
  }
  int count = 0;
  od.getValue(mappingIndex, 0, count);
  if (bits < 1) {
    return KQ_NO_STORAGE_TYPE;
  }
  if (count >= object::HIGHEST_SUB_INDEX) {
    return KQ_INVALID_ARGUMENT;
  }
  const unsigned int mapping = static_cast<unsigned int>(mappedIndex) << 16 | static_cast<unsigned int>(subIndex) << 8 |
                               (static_cast<unsigned int>(bits) & 0xFFU);
  const int result =
      addParameter(od, mappingIndex, static_cast<unsigned char>(count + 1), ACCESS_RW, DATA_TYPE_UNSIGNED32,
                   "PDO mapping for the nth application object to be mapped", mapping);
  markMapped(*mapped, type != PDO_TYPE_RECEIVE);
  return result;
}

unsigned short KQCANopen::dataTypeOfVariable(unsigned short index, unsigned short subIndex) {
  KQDEI* const dei = getContext() != nullptr ? getContext()->dei : nullptr;
  // No object key: a variable ID has 16 bits of sub-index.
  const unsigned int variableID = static_cast<unsigned int>(index) << 16 | subIndex;
  const int length = dei != nullptr ? dei->getVariableLength(variableID) : 0;
  return length > 0 ? static_cast<unsigned short>(calculateDataType(length, dei->isVariableSigned(variableID))) : index;
}

int KQCANopen::setPDOAction(int pdoNumber, KQCANopenPDOType type, int action, unsigned int objectKey) {
  return pdoHandler != nullptr ? pdoHandler->setPDOAction(pdoNumber, type, action, objectKey) : KQ_NOT_AVAILABLE;
}

void KQCANopen::setPDOEventAction(unsigned short key, int eventType, KQAction* action) {
  if (action == nullptr) {
    return;
  }
  action->setEventType(eventType);
  pdoEventActions[key][eventType] = action;
}

int KQCANopen::sendPDOEvent(KQEventType eventType, unsigned short key) {
  const auto actions = pdoEventActions.find(key);
  if (actions == pdoEventActions.end()) {
    return KQ_OK;
  }
  const auto action = actions->second.find(eventType);
  return action != actions->second.end() ? action->second->execute() : KQ_OK;
}

// ---- heartbeat

void KQCANopen::setHeartbeatProducerTime(int ms) {
  heartbeatProducerTime = ms;
  if (objectDictionary != nullptr) {
    objectDictionary->setValue(object::PRODUCER_HEARTBEAT_TIME, 0, ms, true);
  }
}

int KQCANopen::getHeartbeatTime() {
  int ms = 0;
  if (objectDictionary == nullptr || objectDictionary->getValue(object::PRODUCER_HEARTBEAT_TIME, 0, ms) != KQ_OK) {
    return 0;
  }
  return ms;
}

int KQCANopen::addHeartbeatConsumer(unsigned char node, unsigned short timeMs) {
  if (objectDictionary == nullptr) {
    printLine("Can't add heartbeat consumer! Object dictionary not available!");
    return KQ_NOT_AVAILABLE;
  }
  if (!objectDictionary->objectExists(object::CONSUMER_HEARTBEAT_TIME)) {
    objectDictionary->addEntry(object::CONSUMER_HEARTBEAT_TIME, OBJECT_TYPE_ARRAY, "Consumer Heartbeat Time");
    addParameter(*objectDictionary, object::CONSUMER_HEARTBEAT_TIME, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8,
                 "number entries", 0);
  }
  placeHeartbeatConsumer(node, timeMs);
  if (nmtHandler != nullptr) {
    nmtHandler->updateHeartbeatConsumerSettings();
    renewReceptionFilter();
  }
  return KQ_OK;
}

void KQCANopen::placeHeartbeatConsumer(unsigned char node, unsigned short timeMs) {
  for (unsigned char subIndex = 1; subIndex <= object::LAST_CONSUMER_SUB_INDEX; ++subIndex) {
    const ObjectDictionarySubEntry* const subEntry =
        objectDictionary->getSubentry(object::CONSUMER_HEARTBEAT_TIME, subIndex);
    const unsigned int setting = subEntry != nullptr ? static_cast<unsigned int>(subEntry->value) : 0;
    const unsigned int listedNode = setting >> 16 & 0xFF;
    if (subEntry != nullptr && listedNode == node) {
      objectDictionary->setValue(object::CONSUMER_HEARTBEAT_TIME, subIndex,
                                 static_cast<int>((setting & 0xFFFF0000U) | timeMs), true);
      return;
    }
    if (subEntry == nullptr || listedNode == 0) {
      addParameter(*objectDictionary, object::CONSUMER_HEARTBEAT_TIME, subIndex, ACCESS_RW, DATA_TYPE_UNSIGNED32,
                   "Consumer Heartbeat Time", static_cast<unsigned int>(node) << 16 | timeMs);
      return;
    }
  }
}

int KQCANopen::addHeartbeatListener(KQSignalListener* listener) {
  if (nmtHandler == nullptr) {
    printLine("Could not add heartbeat listener! NMT handler not available");
    return KQ_NOT_AVAILABLE;
  }
  printLine("Adding heartbeat listener");
  nmtHandler->addHeartbeatListener(listener);
  return KQ_OK;
}

void KQCANopen::addHeartbeatListener(KQSignalListener* listener, int node) {
  if (nmtHandler != nullptr) {
    nmtHandler->addHeartbeatListner(listener, node);
  }
}

// ---- state

int KQCANopen::addStateListener(KQSignalListener* listener) {
  if (stateMachine == nullptr) {
    printLine("Could not add state listener! State machine not available");
    return KQ_NOT_AVAILABLE;
  }
  printLine("Adding state listener");
  stateMachine->addStateListener(listener);
  return KQ_OK;
}

}  // namespace KQ
