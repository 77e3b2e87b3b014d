#include "NodeConfiguration.h"

#include <algorithm>
#include <iterator>

#include "KQCANopen.h"

namespace panel {

namespace {

using device_description::Object;
using device_description::PDO;
using device_description::Severity;
using device_description::SubObject;
using device_description::toHexadecimal;

constexpr unsigned short FIRST_APPLICATION_OBJECT = 0x2000;
constexpr unsigned short HEARTBEAT_CONSUMERS = 0x1016;
constexpr unsigned short HEARTBEAT_TIME = 0x1017;
constexpr unsigned short OWN_SDO_SERVER = 0x1200;
constexpr unsigned short FIRST_SDO_SERVER = 0x1201;
constexpr unsigned short FIRST_SDO_CLIENT = 0x1280;
constexpr unsigned short LAST_SDO_CLIENT = 0x12FF;
constexpr unsigned short FIRST_PDO = 0x1400;
constexpr unsigned short LAST_PDO = 0x1BFF;
constexpr unsigned short PDO_MAPPING_BIT = 0x0200;

constexpr unsigned char COB_ID = 1;
constexpr unsigned int NO_COB_ID = 0x80000000U;
constexpr unsigned int EXTENDED_IDENTIFIER = 0x20000000U;
constexpr unsigned int NO_REMOTE_REQUEST = 0x40000000U;
constexpr unsigned int FRAME_BITS = 64;
constexpr unsigned char HIGHEST_CYCLIC_TYPE = 240;
constexpr unsigned char FIRST_KNOWN_TYPE_ABOVE = 252;
constexpr unsigned char FIRST_EVENT_DRIVEN_TYPE = 254;
constexpr unsigned char LAST_NODE = 127;

// Communication objects that every node brings along, with the value that it gives them where that does not depend on
// the device.
struct OwnObject {
  unsigned short index;
  std::optional<unsigned int> value;
  bool dependsOnNodeID = false;
};

constexpr OwnObject OWN_OBJECTS[] = {
    {0x1000, {}},   {0x1001, {}}, {0x1002, {}},         {0x1003, {}}, {0x1005, 0x80},  {0x1008, {}},
    {0x1009, {}},   {0x100A, {}}, {0x1010, {}},         {0x1011, {}}, {0x1012, 0x100}, {0x1014, 0x80, true},
    {0x1015, 0x00}, {0x1018, {}}, {OWN_SDO_SERVER, {}}, {0x1016, {}}, {0x1017, {}}};

unsigned int getKey(unsigned short index, unsigned char subIndex) {
  return static_cast<unsigned int>(index) << 16 | subIndex;
}

bool isMappingParameter(unsigned short index) {
  return (index & PDO_MAPPING_BIT) != 0;
}

}  // namespace

// Goes through the communication objects of a description.
class NodeConfiguration::Reader {
public:
  Reader(const device_description::DeviceDescription& read, const std::string& file, const ObjectBits& objects,
         device_description::Findings& told, NodeConfiguration& filled)
      : description(read), fileName(file), applicationObjects(objects), findings(told), configuration(filled) {}

  void readAll() {
    for (const auto& [index, object] : description.objects) {
      if (index >= FIRST_APPLICATION_OBJECT) {
        break;
      }
      readObject(object);
    }
    for (const PDO& pdo : description.getPDOs()) {
      readPDO(pdo);
    }
    tellOwnObjects();
    tellOften(remoteRequests, "COB-IDs of TPDOs get bit 30: the node answers no remote requests");
    tellOften(inhibitTimes, "inhibit times are milliseconds to the node, not the tenths that other devices count");
  }

private:
  void readObject(const Object& object) {
    const unsigned short index = object.index;
    if (index == HEARTBEAT_TIME) {
      readHeartbeatTime();
    } else if (index == HEARTBEAT_CONSUMERS) {
      readConsumers(object);
    } else if (index >= FIRST_SDO_SERVER && index <= LAST_SDO_CLIENT) {
      readChannel(object);
    } else if (index >= FIRST_PDO && index <= LAST_PDO) {
      readPDOParameter(object);
    } else if (index >= 0x1000 && !readOwnObject(object)) {
      report(Severity::WARNING, index, "", "is a communication object that the node does not have; it is left out");
    }
  }

  void readHeartbeatTime() {
    if (const std::optional<long long> time = getNumber(HEARTBEAT_TIME, 0)) {
      configuration.heartbeatTime = static_cast<int>(*time & 0xFFFF);
    }
  }

  void readConsumers(const Object& object) {
    std::size_t unused = 0;
    for (const auto& item : object.subObjects) {
      if (item.first == 0) {
        continue;
      }
      const auto entry = static_cast<unsigned int>(getNumber(HEARTBEAT_CONSUMERS, item.first).value_or(0));
      const auto node = static_cast<unsigned char>(entry >> 16);
      if (node == 0) {
        ++unused;
      } else if (node > LAST_NODE || isWatched(node)) {
        report(Severity::WARNING, HEARTBEAT_CONSUMERS, item.first, "DefaultValue",
               toHexadecimal(entry) + " watches node " + std::to_string(node) +
                   ", expected one from 1 to 127 that no other entry has; it is left out");
      } else {
        configuration.consumers.push_back({node, static_cast<unsigned short>(entry)});
      }
    }
    if (unused != 0) {
      report(Severity::NOTE, HEARTBEAT_CONSUMERS, "",
             std::to_string(unused) + " without a node: the node has entries only for those that it watches");
    }
  }

  bool isWatched(unsigned char node) const {
    return std::any_of(configuration.consumers.begin(), configuration.consumers.end(),
                       [node](const HeartbeatConsumer& consumer) { return consumer.node == node; });
  }

  // The node gives its channels the indexes one after the other.
  void readChannel(const Object& object) {
    const bool isServer = object.index < FIRST_SDO_CLIENT;
    unsigned short& next = isServer ? nextServer : nextClient;
    if (object.index != next) {
      report(Severity::WARNING, object.index, "", "becomes " + toHexadecimal(next) + ", expected no gap before it");
    }
    ++next;
    const auto request = static_cast<unsigned int>(getNumber(object.index, 1).value_or(NO_COB_ID));
    const auto response = static_cast<unsigned int>(getNumber(object.index, 2).value_or(NO_COB_ID));
    const auto node = static_cast<unsigned char>(getNumber(object.index, 3).value_or(0));
    configuration.channels.push_back({isServer, request, response, node, toHexadecimal(object.index)});
  }

  // Of each pair of parameters; what it says is read with the PDO.
  void readPDOParameter(const Object& object) {
    const auto partner = static_cast<unsigned short>(object.index ^ PDO_MAPPING_BIT);
    if (description.find(partner) == nullptr) {
      report(Severity::WARNING, object.index, "",
             "is half of a PDO, expected [" + device_description::getSectionName(partner) + "], too" +
                 (isMappingParameter(object.index) ? "; it is left out" : "; the PDO carries no data"));
    }
    if (isMappingParameter(object.index)) {
      return;
    }
    const bool isTransmit = object.index >= 0x1800;
    for (const auto& item : object.subObjects) {
      const bool isTaken = item.first <= 2 || item.first == 5 || (item.first == 3 && isTransmit);
      if (!isTaken) {
        const bool isUsed = getNumber(object.index, item.first).value_or(0) != 0;
        report(isUsed ? Severity::WARNING : Severity::NOTE, object.index, item.first, "",
               "is a parameter that the node's PDOs do not have; it is left out");
      }
    }
  }

  bool readOwnObject(const Object& object) {
    const auto* const own = std::find_if(std::begin(OWN_OBJECTS), std::end(OWN_OBJECTS),
                                         [&object](const OwnObject& one) { return one.index == object.index; });
    if (own == std::end(OWN_OBJECTS)) {
      return false;
    }
    ownObjects += (ownObjects.empty() ? "" : ", ") + toHexadecimal(object.index);
    const std::optional<long long> value = getNumber(object.index, 0);
    if (own->value && value) {
      const unsigned int held = *own->value + (own->dependsOnNodeID ? description.nodeID : 0U);
      if (*value != held) {
        report(Severity::WARNING, object.index, 0, "DefaultValue",
               toHexadecimal(static_cast<unsigned int>(*value)) + " is not taken: the node starts with " +
                   toHexadecimal(held));
      }
    }
    return true;
  }

  void tellOwnObjects() {
    if (!ownObjects.empty()) {
      findings.add(Severity::NOTE,
                   fileName + ": the node has " + ownObjects + " of its own, those of the file are not read");
    }
  }

  // What would stand there for each of many PDOs.
  void tellOften(unsigned int count, const char* what) {
    if (count != 0) {
      findings.add(Severity::NOTE, fileName + ": " + std::to_string(count) + " " + what);
    }
  }

  void readPDO(PDO pdo) {
    const unsigned short index = pdo.getCommunicationIndex();
    if (!getNumber(index, COB_ID)) {
      report(Severity::WARNING, index, COB_ID, "DefaultValue", "is missing, expected a COB-ID; the PDO is not valid");
    }
    if (pdo.isValid() && (pdo.cobID & EXTENDED_IDENTIFIER) != 0) {
      report(Severity::WARNING, index, COB_ID, "DefaultValue",
             toHexadecimal(pdo.cobID) + " is a 29-bit identifier, expected one of 11 bits; the PDO is left out");
      return;
    }
    if (!checkMapping(pdo)) {
      return;
    }
    checkTransmission(pdo);
    for (const auto& mapped : pdo.mapping) {
      configuration.mappedObjects.insert(getKey(mapped.index, mapped.subIndex));
    }
    configuration.pdos.push_back(std::move(pdo));
  }

  bool checkMapping(const PDO& pdo) {
    unsigned int bits = 0;
    for (std::size_t i = 0; i < pdo.mapping.size(); ++i) {
      if (!checkMapped(pdo, i)) {
        return false;
      }
      bits += pdo.mapping[i].bits;
    }
    if (bits > FRAME_BITS) {
      report(Severity::WARNING, pdo.getMappingIndex(), "",
             "maps " + std::to_string(bits) + " bits, expected at most 64; the PDO is left out");
      return false;
    }
    if (const Object* const object = description.find(pdo.getMappingIndex())) {
      const std::size_t described = object->subObjects.size() - object->subObjects.count(0);
      if (described > pdo.mapping.size()) {
        report(Severity::NOTE, object->index, "",
               std::to_string(described - pdo.mapping.size()) +
                   " that map nothing: the node has entries only for what it maps");
      }
    }
    return true;
  }

  bool checkMapped(const PDO& pdo, std::size_t place) {
    const device_description::MappedObject& mapped = pdo.mapping[place];
    const auto subIndex = static_cast<unsigned char>(place + 1);
    const bool isDummy = mapped.subIndex == 0 && device_description::findDataType(mapped.index) != nullptr;
    const auto object = applicationObjects.find(getKey(mapped.index, mapped.subIndex));
    if (mapped.bits == 0 || (!isDummy && object == applicationObjects.end())) {
      report(Severity::WARNING, pdo.getMappingIndex(), subIndex, "DefaultValue",
             "maps " + std::to_string(mapped.bits) + " bits of " + toHexadecimal(mapped.index, 4) + " sub-index " +
                 std::to_string(mapped.subIndex) + ", expected an application object of the node; the PDO is left out");
      return false;
    }
    if (!isDummy && object->second != mapped.bits) {
      report(Severity::WARNING, pdo.getMappingIndex(), subIndex, "DefaultValue",
             "maps " + std::to_string(mapped.bits) + " bits, expected the " + std::to_string(object->second) +
                 " of the object");
    }
    const SubObject* const described = isDummy ? nullptr : description.find(mapped.index, mapped.subIndex);
    if (described != nullptr && !described->isMappable) {
      report(Severity::WARNING, pdo.getMappingIndex(), subIndex, "DefaultValue",
             "maps " + toHexadecimal(mapped.index, 4) + " sub-index " + std::to_string(mapped.subIndex) +
                 ", whose PDOMapping is 0, expected 1; it is mapped");
    }
    return true;
  }

  void checkTransmission(PDO& pdo) {
    const unsigned short index = pdo.getCommunicationIndex();
    if (pdo.transmissionType > HIGHEST_CYCLIC_TYPE && pdo.transmissionType < FIRST_KNOWN_TYPE_ABOVE) {
      report(Severity::WARNING, index, 2, "DefaultValue",
             std::to_string(pdo.transmissionType) + " is reserved, expected 0 to 240 or 252 to 255");
    }
    if (pdo.isTransmit && pdo.inhibitTime != 0 && pdo.transmissionType < FIRST_EVENT_DRIVEN_TYPE) {
      report(Severity::WARNING, index, 3, "DefaultValue",
             std::to_string(pdo.inhibitTime) + " is not taken, expected 0 with transmission type " +
                 std::to_string(pdo.transmissionType));
      pdo.inhibitTime = 0;
    } else if (pdo.isTransmit && pdo.inhibitTime != 0) {
      ++inhibitTimes;
    }
    if (pdo.isTransmit && pdo.isValid() && (pdo.cobID & NO_REMOTE_REQUEST) == 0) {
      ++remoteRequests;
    }
  }

  std::optional<long long> getNumber(unsigned short index, unsigned char subIndex) const {
    const SubObject* const subObject = description.find(index, subIndex);
    return subObject != nullptr && subObject->getValue() ? std::optional(subObject->getValue()->number) : std::nullopt;
  }

  void report(Severity severity, unsigned short index, const char* key, const std::string& reason) {
    findings.add(severity, fileName, device_description::getSectionName(index), key, reason);
  }

  void report(Severity severity, unsigned short index, unsigned char subIndex, const char* key,
              const std::string& reason) {
    const Object* const object = description.find(index);
    findings.add(severity, fileName,
                 object == nullptr || object->hasSubIndexes() ? device_description::getSectionName(index, subIndex)
                                                              : device_description::getSectionName(index),
                 key, reason);
  }

  const device_description::DeviceDescription& description;
  const std::string& fileName;
  const ObjectBits& applicationObjects;
  device_description::Findings& findings;
  NodeConfiguration& configuration;
  unsigned short nextServer = FIRST_SDO_SERVER;
  unsigned short nextClient = FIRST_SDO_CLIENT;
  std::string ownObjects;
  unsigned int remoteRequests = 0;
  unsigned int inhibitTimes = 0;
};

NodeConfiguration::NodeConfiguration(const device_description::DeviceDescription& read, const std::string& fileName,
                                     const ObjectBits& applicationObjects, device_description::Findings& findings) {
  Reader(read, fileName, applicationObjects, findings, *this).readAll();
}

void NodeConfiguration::apply(KQ::KQCANopen& node) const {
  for (const SDOChannel& channel : channels) {
    node.addSDOChannel(channel.cobIDClientToServer, channel.cobIDServerToClient, channel.node,
                       channel.isServer ? KQ::SDO_CHANNEL_SERVER : KQ::SDO_CHANNEL_CLIENT, channel.name);
  }
  for (const PDO& pdo : pdos) {
    const KQ::KQCANopenPDOType type = pdo.isTransmit ? KQ::PDO_TYPE_TRANSMIT : KQ::PDO_TYPE_RECEIVE;
    node.addPDO(type, pdo.number, pdo.cobID, pdo.eventTimer, pdo.inhibitTime, pdo.transmissionType, pdo.isValid(),
                nullptr);
    for (const auto& mapped : pdo.mapping) {
      node.addPDOMapping(pdo.number, type, mapped.index, mapped.subIndex, mapped.bits);
    }
  }
  for (const HeartbeatConsumer& consumer : consumers) {
    node.addHeartbeatConsumer(consumer.node, consumer.time);
  }
}

}  // namespace panel
