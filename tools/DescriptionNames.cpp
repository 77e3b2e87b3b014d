#include "DescriptionNames.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "StandardNames.h"
#include "TraceError.h"

namespace trace {

namespace {

using device_description::DeviceDescription;
using device_description::Findings;
using device_description::Severity;
using device_description::SubObject;

constexpr unsigned char ANY_NODE = 0;
constexpr unsigned char LAST_NODE = 127;
constexpr unsigned int EMERGENCY_COB_ID = 0x1014;
constexpr long long SYNC = 0x80;
constexpr unsigned int FIRST_SERVER = 0x1200;
constexpr unsigned int LAST_SERVER = 0x127F;
constexpr unsigned int NOT_VALID = 0x80000000U;
constexpr unsigned int EXTENDED = 0x20000000U;
constexpr unsigned int PDO_BITS = 64;

unsigned int keyOf(unsigned int node, unsigned int index, unsigned int subIndex) {
  return node << 24 | index << 8 | subIndex;
}

struct Argument {
  std::string fileName;
  std::optional<unsigned char> node;
};

// "FILE:NODE", where FILE may have colons of its own.
Argument split(const std::string& argument) {
  const std::size_t colon = argument.rfind(':');
  const std::string digits = colon == std::string::npos ? "" : argument.substr(colon + 1);
  const bool isNumber = !digits.empty() && std::all_of(digits.begin(), digits.end(),
                                                       [](unsigned char letter) { return std::isdigit(letter) != 0; });
  if (!isNumber) {
    return {argument, std::nullopt};
  }
  unsigned int node = 0;
  const auto [reached, error] = std::from_chars(digits.data(), digits.data() + digits.size(), node);
  if (error != std::errc() || node < 1 || node > LAST_NODE) {
    throw TraceError("--eds: '" + digits + "' is not a node-ID, 1 to 127");
  }
  return {argument.substr(0, colon), static_cast<unsigned char>(node)};
}

DeviceDescription read(const Argument& argument, unsigned char otherwise, std::vector<std::string>& oddities) {
  Findings findings;
  DeviceDescription description = DeviceDescription::read(argument.fileName, argument.node, findings, otherwise);
  if (description.objects.empty()) {
    const std::string reason = findings.getFirst(Severity::ERROR);
    throw TraceError(reason.empty() ? "--eds: '" + argument.fileName + "' describes no objects" : "--eds: " + reason);
  }
  for (const device_description::Finding& finding : findings.getAll()) {
    if (finding.severity != Severity::NOTE) {
      oddities.push_back(finding.text);
    }
  }
  return description;
}

// Types that the file itself defines, and those of the standard.
monitor::ValueType getType(const DeviceDescription& description, unsigned int dataType) {
  const monitor::ValueType standard = monitor::ValueType::fromCode(dataType);
  const std::optional<device_description::IntegerType> integer = description.getIntegerType(dataType);
  if (standard.form != monitor::Form::PATTERN || !integer) {
    return standard;
  }
  return {integer->isSigned ? monitor::Form::SIGNED : monitor::Form::UNSIGNED,
          static_cast<unsigned short>(integer->bits)};
}

// The last part of the name, as long as that tells it from the others of the PDO.
std::string getShortName(const DeviceDescription& description, const device_description::PDO& pdo,
                         const device_description::MappedObject& mapped) {
  const SubObject* const own = description.find(mapped.index, mapped.subIndex);
  if (own == nullptr ||
      std::all_of(own->name.begin(), own->name.end(), [](unsigned char letter) { return std::isdigit(letter) != 0; })) {
    return description.getName(mapped.index, mapped.subIndex);
  }
  const auto sameName = std::count_if(pdo.mapping.begin(), pdo.mapping.end(), [&](const auto& other) {
    const SubObject* const object = description.find(other.index, other.subIndex);
    return object != nullptr && object->name == own->name;
  });
  return sameName == 1 ? own->name : description.getName(mapped.index, mapped.subIndex);
}

// A COB-ID that the file has in an object, or -1.
long long getCOBID(const DeviceDescription& description, unsigned int index, unsigned char subIndex) {
  const SubObject* const object = description.find(static_cast<unsigned short>(index), subIndex);
  if (object == nullptr || !object->getValue()) {
    return -1;
  }
  const auto cobID = static_cast<unsigned int>(object->getValue()->number);
  return (cobID & (NOT_VALID | EXTENDED)) != 0 ? -1 : static_cast<long long>(cobID & 0x7FF);
}

}  // namespace

std::vector<std::string> DescriptionNames::add(const std::string& argument) {
  std::vector<std::string> oddities;
  const Argument parts = split(argument);
  const DeviceDescription description = read(parts, 1, oddities);
  if (parts.node || description.commissionedNodeID) {
    addNode(description, description.nodeID);
  } else {
    std::vector<std::string> theSame;
    addAllNodes(description, read(parts, 2, theSame));
  }
  return oddities;
}

void DescriptionNames::addNode(const DeviceDescription& description, unsigned char node) {
  described[node] = true;
  addObjects(description, node);
  for (const device_description::PDO& pdo : description.getPDOs()) {
    if (pdo.isValid() && (pdo.cobID & EXTENDED) == 0) {
      addPDO(description, pdo, pdo.getIdentifier(), node);
    }
  }
  addServers(description, node);
  addServices(description, node);
}

// What has a COB-ID that goes with the node-ID is each node's. A fixed one could be anybody's.
void DescriptionNames::addAllNodes(const DeviceDescription& ofNode1, const DeviceDescription& ofNode2) {
  addObjects(ofNode1, ANY_NODE);
  const std::vector<device_description::PDO> first = ofNode1.getPDOs();
  const std::vector<device_description::PDO> second = ofNode2.getPDOs();
  for (std::size_t i = 0; i < first.size() && i < second.size(); ++i) {
    const bool goesWithNode = second[i].cobID == first[i].cobID + 1;
    for (unsigned char node = 1; goesWithNode && first[i].isValid() && node <= LAST_NODE; ++node) {
      if (!described[node]) {
        addPDO(ofNode1, first[i], first[i].getIdentifier() + node - 1, node);
      }
    }
  }
}

void DescriptionNames::addObjects(const DeviceDescription& description, unsigned char node) {
  for (const auto& [index, object] : description.objects) {
    for (const auto& [subIndex, subObject] : object.subObjects) {
      const monitor::ObjectDescription standard = monitor::StandardNames::instance().describe(node, index, subIndex);
      const monitor::ValueType type = standard.name.empty() ? getType(description, subObject.dataType) : standard.type;
      entries[keyOf(node, index, subIndex)] = {description.getName(index, subIndex), type};
    }
  }
}

void DescriptionNames::addPDO(const DeviceDescription& description, const device_description::PDO& pdo,
                              unsigned int cobID, unsigned char node) {
  monitor::CommunicationObject object;
  object.service = pdo.isTransmit ? monitor::Service::TPDO : monitor::Service::RPDO;
  object.node = node;
  object.number = static_cast<unsigned short>(pdo.number + 1);
  unsigned int bits = 0;
  for (const device_description::MappedObject& mapped : pdo.mapping) {
    const SubObject* const subObject = description.find(mapped.index, mapped.subIndex);
    const monitor::ValueType type =
        subObject != nullptr ? getType(description, subObject->dataType) : monitor::ValueType();
    object.mapping.push_back(
        {mapped.index, mapped.subIndex, mapped.bits, type, getShortName(description, pdo, mapped)});
    bits += mapped.bits;
  }
  object.mappingKnown = bits > 0 && bits <= PDO_BITS;
  put(cobID, std::move(object));
}

// The servers behind the default one.
void DescriptionNames::addServers(const DeviceDescription& description, unsigned char node) {
  for (unsigned int index = FIRST_SERVER + 1; index <= LAST_SERVER; ++index) {
    monitor::CommunicationObject object;
    object.node = node;
    object.number = static_cast<unsigned short>(index - FIRST_SERVER + 1);
    object.service = monitor::Service::SDO_REQUEST;
    put(getCOBID(description, index, 1), object);
    object.service = monitor::Service::SDO_RESPONSE;
    put(getCOBID(description, index, 2), object);
  }
}

void DescriptionNames::addServices(const DeviceDescription& description, unsigned char node) {
  monitor::CommunicationObject object;
  object.service = monitor::Service::EMERGENCY;
  object.node = node;
  const long long cobID = getCOBID(description, EMERGENCY_COB_ID, 0);
  if (cobID != SYNC) {  // where a file has forgotten the node-ID
    put(cobID, object);
  }
}

// A COB-ID that several use is the one's who sends. What is said of a node takes the place of what was said of all.
// @param cobID -1: none; 0 is no object's
void DescriptionNames::put(long long cobID, monitor::CommunicationObject object) {
  if (cobID <= 0 || cobID >= static_cast<long long>(objects.size())) {
    return;
  }
  std::unique_ptr<monitor::CommunicationObject>& place = objects[static_cast<std::size_t>(cobID)];
  if (!place || place->node == object.node ||
      (place->service == monitor::Service::RPDO && object.service == monitor::Service::TPDO)) {
    place = std::make_unique<monitor::CommunicationObject>(std::move(object));
  }
}

const DescriptionNames::Entry* DescriptionNames::find(unsigned char node, unsigned short index,
                                                      unsigned char subIndex) const {
  const auto found = entries.find(keyOf(node, index, subIndex));
  return found != entries.end() ? &found->second : nullptr;
}

monitor::ObjectDescription DescriptionNames::describe(unsigned char node, unsigned short index,
                                                      unsigned char subIndex) const {
  const bool isDescribed = node < described.size() && described[node];
  const Entry* const entry = find(isDescribed ? node : ANY_NODE, index, subIndex);
  return entry != nullptr ? monitor::ObjectDescription{entry->name, entry->type}
                          : monitor::StandardNames::instance().describe(node, index, subIndex);
}

const monitor::CommunicationObject* DescriptionNames::findCommunicationObject(unsigned int cobID) const {
  return cobID < objects.size() ? objects[cobID].get() : nullptr;
}

}  // namespace trace
