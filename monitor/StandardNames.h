#pragma once

#include "ObjectNames.h"

namespace monitor {

/// Names and types of the objects that CiA 301 itself defines, 0x1000 to 0x1FFF, which are the same on every node.
class StandardNames : public ObjectNames {
public:
  static const StandardNames& instance();

  /// Any thread.
  ObjectDescription describe(unsigned char node, unsigned short index, unsigned char subIndex) const override;

  /// @return null
  const CommunicationObject* findCommunicationObject(unsigned int cobID) const override;
};

}  // namespace monitor
