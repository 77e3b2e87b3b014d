#include "NodeNames.h"

#include "StandardNames.h"

namespace panel {

NodeNames::NodeNames(unsigned char id, const NodeView& view, const std::vector<PDOInfo>& pdos)
    : nodeID(id), nodeView(view) {
  for (const PDOInfo& pdo : pdos) {
    if (!pdo.isValid) {
      continue;
    }
    monitor::CommunicationObject object;
    object.service = pdo.isTransmit ? monitor::Service::TPDO : monitor::Service::RPDO;
    object.node = nodeID;
    object.number = static_cast<unsigned short>(pdo.number);
    object.mappingKnown = true;
    for (const MappingInfo& mapping : pdo.mapping) {
      object.mapping.push_back(getMapped(mapping));
    }
    communicationObjects.emplace(pdo.cobID, std::move(object));
  }
}

monitor::ValueType NodeNames::getType(const ObjectInfo& object) {
  if (!object.isInteger) {
    return monitor::ValueType::fromCode(static_cast<unsigned int>(object.dataType));
  }
  const auto form = object.bits == 1  ? monitor::Form::BOOLEAN
                    : object.isSigned ? monitor::Form::SIGNED
                                      : monitor::Form::UNSIGNED;
  return {form, static_cast<unsigned short>(object.bits)};
}

monitor::MappedObject NodeNames::getMapped(const MappingInfo& mapping) const {
  monitor::MappedObject mapped;
  mapped.index = mapping.index;
  mapped.subIndex = mapping.subIndex;
  mapped.bits = mapping.bits;
  const ObjectInfo* const object = nodeView.findObject(mapping.index, mapping.subIndex);
  if (object != nullptr) {
    mapped.type = getType(*object);
    mapped.name = object->name;
  }
  return mapped;
}

monitor::ObjectDescription NodeNames::describe(unsigned char node, unsigned short index, unsigned char subIndex) const {
  const ObjectInfo* const object = node == nodeID ? nodeView.findObject(index, subIndex) : nullptr;
  if (object == nullptr) {
    return monitor::StandardNames::instance().describe(node, index, subIndex);
  }
  return {object->name, getType(*object)};
}

const monitor::CommunicationObject* NodeNames::findCommunicationObject(unsigned int cobID) const {
  const auto found = communicationObjects.find(cobID);
  return found == communicationObjects.end() ? nullptr : &found->second;
}

}  // namespace panel
