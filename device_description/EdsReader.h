#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "DeviceDescription.h"
#include "EdsText.h"

namespace device_description {

/// Makes a description of one text, step by step, and tells what it finds. What is wrong in an object leaves the
/// object, or its sub-index, out.
class EdsReader {
public:
  EdsReader(const EdsText& eds, DeviceDescription& filled) : text(eds), description(filled) {}

  /// @param nodeID stands for $NODEID; nothing: the one that the file says, else @p otherwise
  void readAll(std::optional<unsigned char> nodeID, unsigned char otherwise);

private:
  /// The sections that an object is described in.
  struct ObjectSections {
    std::string object;  ///< empty: there is none
    std::map<unsigned char, std::string> subObjects;
    std::map<std::string, std::string> additions;  ///< by what they add: "NAME", "VALUE", "DENOTATION"
  };

  void readNodeID(std::optional<unsigned char> nodeID, unsigned char otherwise);
  void sortSections();
  bool sortObjectSection(const std::string& section);
  void readDeviceInfo();
  void readLists();
  void readList(const std::string& list);
  void checkListed();
  void readObjects(bool areTypes);
  void readObject(unsigned short index, const ObjectSections& sections);
  void readSubObjects(const ObjectSections& sections, Object& object);
  void tellUnused(const ObjectSections& sections);
  void readCompact(const ObjectSections& sections, unsigned int count, Object& object);
  void readAddition(const ObjectSections& sections, const char* kind, Object& object);
  void checkSubNumber(const ObjectSections& sections, const Object& object);
  std::optional<SubObject> readSubObject(const std::string& section, ObjectCode code, unsigned char subIndex);
  bool readValues(const std::string& section, SubObject& subObject);
  bool checkLimits(const std::string& section, SubObject& subObject);
  bool readValue(const std::string& section, const char* key, const IntegerType& type, unsigned int dataType,
                 std::optional<Value>& value);
  std::optional<ObjectCode> readObjectCode(const ObjectSections& sections);
  std::optional<Access> readAccess(const std::string& section, bool mayBeMissing);
  bool readMappable(const std::string& section, SubObject& subObject);
  std::optional<std::string> readName(const std::string& section);
  /// A number that must be in a range. A missing one is an error without a default.
  std::optional<unsigned int> readNumber(const std::string& section, const std::string& key, unsigned int lowest,
                                         unsigned int highest, std::optional<unsigned int> otherwise = std::nullopt);
  void checkKeys(const std::string& section);
  void report(Severity severity, const std::string& section, const std::string& key, const std::string& reason) {
    text.report(severity, section, key, reason);
  }

  const EdsText& text;
  DeviceDescription& description;
  std::map<unsigned short, ObjectSections> objectSections;
  std::map<unsigned short, std::string> listed;  ///< the list that names the object
};

}  // namespace device_description
