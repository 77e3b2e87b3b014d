#pragma once

#include <string>
#include <vector>

#include "Application.h"
#include "KQCANopenObjectType.h"
#include "KQVariable.h"

namespace panel {

class EdsFile;

/// An application that is nothing but the objects of an EDS (CiA 306) from index 0x2000 on: every sub-index becomes a
/// variable of the node, with the name, type, access, limits and default value that the file gives it.
///
/// VAR, ARRAY and RECORD are read, of the data types BOOLEAN, INTEGER8 to INTEGER32, UNSIGNED8 to UNSIGNED32 and
/// VISIBLE_STRING. Objects below 0x2000 are the node's own and stay as they are.
class EdsApplication : public Application {
public:
  /// One object of the file.
  struct Object {
    unsigned short index;
    KQ::KQCANopenObjectType type;
    std::string name;
    std::vector<KQ::KQVariable> variables;  ///< by sub-index
  };

  /// Reads the file. @param nodeID stands for $NODEID
  /// @throws PanelError naming file, section and key of what cannot be read
  EdsApplication(const std::string& fileName, unsigned char nodeID);

  void bind(KQ::KQCANopen& node) override;

  /// The variables change by what a master writes, and only by that.
  void update(unsigned int /*now*/) override {}

  /// What was read, by index.
  const std::vector<Object>& getObjects() const { return objects; }

private:
  std::vector<Object> objects;
};

}  // namespace panel
