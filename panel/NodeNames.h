#pragma once

#include <map>
#include <vector>

#include "NodeView.h"
#include "ObjectNames.h"

namespace panel {

/// The names by which traffic is shown: those of this node's own dictionary and PDOs, and for all other nodes what the
/// standard says.
class NodeNames : public monitor::ObjectNames {
public:
  /// @param id of this node. @param view must outlive the names
  NodeNames(unsigned char id, const NodeView& view, const std::vector<PDOInfo>& pdos);

  monitor::ObjectDescription describe(unsigned char node, unsigned short index, unsigned char subIndex) const override;
  const monitor::CommunicationObject* findCommunicationObject(unsigned int cobID) const override;

private:
  static monitor::ValueType getType(const ObjectInfo& object);
  monitor::MappedObject getMapped(const MappingInfo& mapping) const;

  const unsigned char nodeID;
  const NodeView& nodeView;
  std::map<unsigned int, monitor::CommunicationObject> communicationObjects;
};

}  // namespace panel
