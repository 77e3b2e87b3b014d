#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "DeviceDescription.h"

namespace KQ {
class KQCANopen;
}

namespace panel {

/// The communication of a node, as a device description has it: its SDO channels, PDOs, heartbeat consumers and its own
/// heartbeat. What the node cannot have is told in the findings and left out.
class NodeConfiguration {
public:
  /// Bits of the application objects that the node has, by object key; 0 for a text.
  using ObjectBits = std::map<unsigned int, unsigned int>;

  /// @param fileName names the description in the findings
  NodeConfiguration(const device_description::DeviceDescription& read, const std::string& fileName,
                    const ObjectBits& applicationObjects, device_description::Findings& findings);

  /// Configures a node, after its init() and when its variables are bound.
  void apply(KQ::KQCANopen& node) const;

  /// Producer heartbeat time in ms; nothing where the description has none.
  std::optional<int> getHeartbeatTime() const { return heartbeatTime; }

  /// Whether a PDO maps an object. @param key object key
  bool maps(unsigned int key) const { return mappedObjects.count(key) != 0; }

  std::size_t countPDOs() const { return pdos.size(); }

private:
  struct SDOChannel {
    bool isServer;
    unsigned int cobIDClientToServer;
    unsigned int cobIDServerToClient;
    unsigned char node;
    std::string name;
  };

  struct HeartbeatConsumer {
    unsigned char node;
    unsigned short time;
  };

  class Reader;

  std::vector<SDOChannel> channels;
  std::vector<device_description::PDO> pdos;
  std::vector<HeartbeatConsumer> consumers;
  std::optional<int> heartbeatTime;
  std::set<unsigned int> mappedObjects;
};

}  // namespace panel
