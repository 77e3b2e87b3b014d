// The description of the node's communication: channels, PDOs, heartbeats, listeners and actions.

#include <ios>
#include <iostream>

#include "KQAction.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQPDOHandler.h"
#include "KQSDOHandler.h"

namespace KQ {

namespace {

constexpr unsigned short CONSUMER_HEARTBEAT_TIME = 0x1016;
constexpr unsigned short PRODUCER_HEARTBEAT_TIME = 0x1017;
constexpr unsigned char LAST_CONSUMER_SUB_INDEX = 127;

constexpr unsigned short FIRST_SERVER_SDO_PARAMETER = 0x1200;
constexpr unsigned short LAST_SERVER_SDO_PARAMETER = 0x127F;
constexpr unsigned short FIRST_CLIENT_SDO_PARAMETER = 0x1280;
constexpr unsigned short LAST_CLIENT_SDO_PARAMETER = 0x12FF;

constexpr unsigned int COB_ID_INVALID = 0x80000000U;
constexpr unsigned int COB_ID_NO_RTR = 0x40000000U;
/// Transmission types from here on are event-driven and know an inhibit time.
constexpr unsigned char FIRST_EVENT_DRIVEN_TYPE = 254;
/// Mapped indexes below this one are data types: dummy entries.
constexpr unsigned short FIRST_INDEX_AFTER_DATA_TYPES = 0x48;
constexpr int HIGHEST_MAPPED_OBJECTS = 64;
constexpr int HIGHEST_SUB_INDEX = 255;

unsigned short communicationIndexOf(KQCANopenPDOType type, unsigned short number) {
  return static_cast<unsigned short>(number + (type == PDO_TYPE_RECEIVE ? 0x1400 : 0x1800));
}

unsigned short mappingIndexOf(KQCANopenPDOType type, unsigned short number) {
  return static_cast<unsigned short>(number + (type == PDO_TYPE_RECEIVE ? 0x1600 : 0x1A00));
}

/// Adds a sub-entry that no PDO can map.
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

/// The access right of an object that is mapped, which tells the direction when it is mapped in one only.
KQCANopenAccessType mappedAccessType(KQCANopenAccessType access, bool isTransmit) {
  switch (access) {
    case ACCESS_RW:
      return isTransmit ? ACCESS_RWR : ACCESS_RWW;
    case ACCESS_RWR:
      return isTransmit ? ACCESS_RWR : ACCESS_RW;
    case ACCESS_RWW:
      return isTransmit ? ACCESS_RW : ACCESS_RWW;
    default:
      return access;
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
  const unsigned short last = isServer ? LAST_SERVER_SDO_PARAMETER : LAST_CLIENT_SDO_PARAMETER;
  unsigned short index = isServer ? FIRST_SERVER_SDO_PARAMETER : FIRST_CLIENT_SDO_PARAMETER;
  while (index <= last && objectDictionary->objectExists(index)) {
    ++index;
  }
  if (index > last) {
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
             : static_cast<int>(KQ_NOT_AVAILABLE);
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

  unsigned int cobIDValue = enabled ? cobID & ~COB_ID_INVALID : cobID | COB_ID_INVALID;
  cobIDValue = isTransmit ? cobIDValue | COB_ID_NO_RTR : cobIDValue & ~COB_ID_NO_RTR;
  addLimitedParameter(od, index, 1, ACCESS_RW, DATA_TYPE_UNSIGNED32, "COB-ID used by PDO", cobIDValue, 1, 0xFFFFFFFF);
  addLimitedParameter(od, index, 2, ACCESS_RW, DATA_TYPE_UNSIGNED8, "transmission type", transmissionType, 0, 255);
  if (isTransmit) {
    addLimitedParameter(od, index, 3, ACCESS_RW, DATA_TYPE_UNSIGNED16, "inhibit time", inhibitTime, 0, 65535);
    od.setValue(index, 3, transmissionType >= FIRST_EVENT_DRIVEN_TYPE ? inhibitTime : 0, true);
  }
  addLimitedParameter(od, index, 5, ACCESS_RW, DATA_TYPE_UNSIGNED16, "event timer", eventTimer, 0, 65535);
  od.setValue(index, 5, eventTimer, true);

  addMappingObject(od, mappingIndexOf(type, number), ACCESS_RW);
  return KQ_OK;
}

int KQCANopen::addPDOMapping(unsigned short number, KQCANopenPDOType type, unsigned short index,
                             unsigned short subIndex, int bits) {
  const unsigned short mappingIndex = mappingIndexOf(type, number);
  const int result =
      objectDictionary != nullptr
          ? appendMapping(mappingIndex, type, index, static_cast<unsigned char>(subIndex & 0xFF), subIndex, bits)
          : static_cast<int>(KQ_NOT_AVAILABLE);
  if (result != KQ_OK) {
    if (pdoHandler != nullptr) {
      pdoHandler->addInvalidPDOIndex(mappingIndex);
    }
    std::cout << "WARNING: Marking PDO " << number << " OD index 0x" << std::hex << mappingIndex << std::dec
              << " as forever invalid due to invalid mapping!" << std::endl;
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
  if (count >= HIGHEST_SUB_INDEX) {
    return KQ_INVALID_ARGUMENT;
  }
  const unsigned int mapping = static_cast<unsigned int>(mappedIndex) << 16 | static_cast<unsigned int>(subIndex) << 8 |
                               (static_cast<unsigned int>(bits) & 0xFFU);
  const int result =
      addParameter(od, mappingIndex, static_cast<unsigned char>(count + 1), ACCESS_RW, DATA_TYPE_UNSIGNED32,
                   "PDO mapping for the nth application object to be mapped", mapping);
  mapped->accessType = mappedAccessType(mapped->accessType, type != PDO_TYPE_RECEIVE);
  return result;
}

unsigned short KQCANopen::dataTypeOfVariable(unsigned short index, unsigned short subIndex) {
  KQDEI* const dei = getContext() != nullptr ? getContext()->dei : nullptr;
  const unsigned int variableID = static_cast<unsigned int>(index) << 16 | subIndex;
  const int length = dei != nullptr ? dei->getVariableLength(variableID) : 0;
  return length > 0 ? static_cast<unsigned short>(calculateDataType(length, dei->isVariableSigned(variableID))) : index;
}

int KQCANopen::setPDOAction(int pdoNumber, KQCANopenPDOType type, int action, unsigned int objectKey) {
  return pdoHandler != nullptr ? pdoHandler->setPDOAction(pdoNumber, type, action, objectKey)
                               : static_cast<int>(KQ_NOT_AVAILABLE);
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
  return action != actions->second.end() ? action->second->execute() : static_cast<int>(KQ_OK);
}

// ---- heartbeat

void KQCANopen::setHeartbeatProducerTime(int ms) {
  heartbeatProducerTime = ms;
  if (objectDictionary != nullptr) {
    objectDictionary->setValue(PRODUCER_HEARTBEAT_TIME, 0, ms, true);
  }
}

int KQCANopen::getHeartbeatTime() {
  int ms = 0;
  if (objectDictionary == nullptr || objectDictionary->getValue(PRODUCER_HEARTBEAT_TIME, 0, ms) != KQ_OK) {
    return 0;
  }
  return ms;
}

int KQCANopen::addHeartbeatConsumer(unsigned char node, unsigned short timeMs) {
  if (objectDictionary == nullptr) {
    std::cout << "Can't add heartbeat consumer! Object dictionary not available!" << std::endl;
    return KQ_NOT_AVAILABLE;
  }
  if (!objectDictionary->objectExists(CONSUMER_HEARTBEAT_TIME)) {
    objectDictionary->addEntry(CONSUMER_HEARTBEAT_TIME, OBJECT_TYPE_ARRAY, "Consumer Heartbeat Time");
    addParameter(*objectDictionary, CONSUMER_HEARTBEAT_TIME, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "number entries", 0);
  }
  placeHeartbeatConsumer(node, timeMs);
  if (nmtHandler != nullptr) {
    nmtHandler->updateHeartbeatConsumerSettings();
  }
  return KQ_OK;
}

void KQCANopen::placeHeartbeatConsumer(unsigned char node, unsigned short timeMs) {
  for (unsigned char subIndex = 1; subIndex <= LAST_CONSUMER_SUB_INDEX; ++subIndex) {
    const ObjectDictionarySubEntry* const subEntry = objectDictionary->getSubentry(CONSUMER_HEARTBEAT_TIME, subIndex);
    const unsigned int setting = subEntry != nullptr ? static_cast<unsigned int>(subEntry->value) : 0;
    const unsigned int listedNode = setting >> 16 & 0xFF;
    if (subEntry != nullptr && listedNode == node) {
      objectDictionary->setValue(CONSUMER_HEARTBEAT_TIME, subIndex, static_cast<int>((setting & 0xFFFF0000U) | timeMs),
                                 true);
      return;
    }
    if (subEntry == nullptr || listedNode == 0) {
      addParameter(*objectDictionary, CONSUMER_HEARTBEAT_TIME, subIndex, ACCESS_RW, DATA_TYPE_UNSIGNED32,
                   "Consumer Heartbeat Time", static_cast<unsigned int>(node) << 16 | timeMs);
      return;
    }
  }
}

int KQCANopen::addHeartbeatListener(KQSignalListener* listener) {
  if (nmtHandler == nullptr) {
    std::cout << "Could not add heartbeat listener! NMT handler not available" << std::endl;
    return KQ_NOT_AVAILABLE;
  }
  std::cout << "Adding heartbeat listener" << std::endl;
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
    std::cout << "Could not add state listener! State machine not available" << std::endl;
    return KQ_NOT_AVAILABLE;
  }
  std::cout << "Adding state listener" << std::endl;
  stateMachine->addStateListener(listener);
  return KQ_OK;
}

}  // namespace KQ
