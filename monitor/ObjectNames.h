#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Service.h"
#include "ValueType.h"

namespace monitor {

/// What is known of an object's sub-index.
struct ObjectDescription {
  std::string_view name;  ///< empty when it has none
  ValueType type;
};

/// One object of a PDO, with all that is needed to show it: it is looked up once, not for every frame.
struct MappedObject {
  unsigned short index = 0;
  unsigned char subIndex = 0;
  unsigned char bits = 0;  ///< 1 to 64
  ValueType type;
  std::string name;
};

/// What a COB-ID stands for on a certain network.
struct CommunicationObject {
  Service service = Service::UNKNOWN;
  unsigned char node = 0;             ///< 1 to 127; whose TPDO, RPDO, SDO server or EMCY it is; 0 for SYNC and TIME
  unsigned short number = 0;          ///< of a PDO 1 to 512, of an SDO channel 1 to 128; 0 for all others
  bool mappingKnown = false;          ///< only then a PDO is taken apart
  std::vector<MappedObject> mapping;  ///< of a PDO, from bit 0 of byte 0 on without gaps
};

/// Where a decoder has names, types and mappings from: an EDS, a running node, or StandardNames. What it hands out
/// stays where it is for as long as the decoder uses it; called on the decoder's thread.
class ObjectNames {
public:
  virtual ~ObjectNames() = default;

  /// @param node whose object it is, 1 to 127
  /// @return no name and a PATTERN for an object that is not known
  virtual ObjectDescription describe(unsigned char node, unsigned short index, unsigned char subIndex) const = 0;

  /// What goes by this COB-ID, where that is known and is not, or is more than, what the predefined connection set
  /// says.
  /// @param cobID 11 bits
  /// @return null: take what the predefined connection set says, the mapping of a PDO not being known
  virtual const CommunicationObject* findCommunicationObject(unsigned int cobID) const = 0;
};

}  // namespace monitor
