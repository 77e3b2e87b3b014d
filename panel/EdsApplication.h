#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Application.h"
#include "DeviceDescription.h"
#include "KQCANopenObjectType.h"
#include "KQVariable.h"
#include "NodeConfiguration.h"

namespace panel {

/// An application that is nothing but a device description (CiA 306): every object from index 0x2000 on becomes
/// variables of the node, with the name, type, access, limits, default value and mapping right that the file gives it,
/// and its communication parameters configure the node.
///
/// VAR, ARRAY and RECORD are taken, of integer types up to 32 bits and of VISIBLE_STRING. Everything else is left out,
/// and told in the findings.
class EdsApplication : public Application {
public:
  /// One object of the file.
  struct Object {
    unsigned short index;
    KQ::KQCANopenObjectType type;
    std::string name;
    std::vector<KQ::KQVariable> variables;  ///< by sub-index
  };

  /// @param fileName names the description in the findings
  EdsApplication(device_description::DeviceDescription read, const std::string& fileName,
                 device_description::Findings& findings);

  /// Reads the file. @param nodeID stands for $NODEID; nothing: the one that the file says, else @p otherwise
  EdsApplication(const std::string& fileName, std::optional<unsigned char> nodeID,
                 device_description::Findings& findings, unsigned char otherwise);

  void bind(KQ::KQCANopen& node) override;

  /// The variables change by what a master writes, and only by that.
  void update(unsigned int /*now*/) override {}

  /// What was read, by index.
  const std::vector<Object>& getObjects() const { return objects; }
  const device_description::DeviceDescription& getDescription() const { return description; }
  const NodeConfiguration& getConfiguration() const { return *configuration; }

private:
  class Reader;

  device_description::DeviceDescription description;
  std::vector<Object> objects;
  std::vector<device_description::IntegerType> ownTypes;  ///< in the order in which the node numbers them
  std::unique_ptr<NodeConfiguration> configuration;
};

}  // namespace panel
