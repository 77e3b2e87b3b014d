#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "DeviceDescription.h"
#include "ObjectNames.h"

namespace trace {

/// Names, types and mappings out of the descriptions of devices. What they do not say is as the standard has it.
/// Filled first, then read; it is not to be filled any more while a decoder uses it.
class DescriptionNames : public monitor::ObjectNames {
public:
  /// Takes in what "FILE" or "FILE:NODE" describes. Without NODE, a device configuration file is that of the node that
  /// it names; any other file is for all nodes that no file has been given for.
  /// @return what is odd about the file, one line each; the rest of it serves
  /// @throws TraceError for a file that cannot be used
  std::vector<std::string> add(const std::string& argument);

  monitor::ObjectDescription describe(unsigned char node, unsigned short index, unsigned char subIndex) const override;
  const monitor::CommunicationObject* findCommunicationObject(unsigned int cobID) const override;

private:
  struct Entry {
    std::string name;
    monitor::ValueType type;
  };

  void addNode(const device_description::DeviceDescription& description, unsigned char node);
  void addAllNodes(const device_description::DeviceDescription& ofNode1,
                   const device_description::DeviceDescription& ofNode2);
  void addObjects(const device_description::DeviceDescription& description, unsigned char node);
  void addPDO(const device_description::DeviceDescription& description, const device_description::PDO& pdo,
              unsigned int cobID, unsigned char node);
  void addServers(const device_description::DeviceDescription& description, unsigned char node);
  void addServices(const device_description::DeviceDescription& description, unsigned char node);
  void put(long long cobID, monitor::CommunicationObject object);
  const Entry* find(unsigned char node, unsigned short index, unsigned char subIndex) const;

  std::unordered_map<unsigned int, Entry> entries;  ///< by node, index and sub-index; node 0: any
  std::array<std::unique_ptr<monitor::CommunicationObject>, 0x800> objects;
  std::array<bool, 128> described{};  ///< nodes with a file of their own
};

}  // namespace trace
