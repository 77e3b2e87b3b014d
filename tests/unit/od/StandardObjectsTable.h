#ifndef TESTS_UNIT_OD_STANDARD_OBJECTS_TABLE_H
#define TESTS_UNIT_OD_STANDARD_OBJECTS_TABLE_H

#include <string>
#include <vector>

namespace test {

/// One sub-entry of a fresh node as a configuration tool is to find it; numbers as the description file writes them.
struct ExpectedObject {
  unsigned short index;
  int objectType;
  std::string entryName;
  unsigned char subIndex;
  std::string subName;
  std::string access;
  int dataType;
  unsigned int defaultValue;  ///< also the first value
  std::string defaultText;    ///< also the first text
  unsigned int lowLimit;
  unsigned int highLimit;
  bool pdoMappable;
};

/// What a node's own data contributes to its objects.
struct ExpectedNodeData {
  unsigned int nodeID = 5;
  unsigned int productCode = 0x54;
  unsigned int revisionNumber = 1;
  unsigned int serialNumber = 1000001;
  std::string softwareVersion = "undefined";
};

/// The data type area, by index.
std::vector<ExpectedObject> dataTypeObjects();

/// The communication profile area, in the order of creation.
std::vector<ExpectedObject> profileObjects(const ExpectedNodeData& data);

/// Both, in the order of creation.
std::vector<ExpectedObject> standardObjects(const ExpectedNodeData& data);

}  // namespace test

#endif
