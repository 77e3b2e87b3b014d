#pragma once

#include <optional>
#include <string>
#include <vector>

#include "KQCANopenAccessType.h"
#include "KQCANopenDataType.h"

namespace KQ {
class KQCANopen;
struct ObjectDictionaryEntry;
struct ObjectDictionarySubEntry;
}  // namespace KQ

namespace panel {

/// A sub-index of the node's object dictionary, as it does not change while the node runs.
struct ObjectInfo {
  unsigned short index = 0;
  unsigned char subIndex = 0;
  std::string objectName;  ///< of the index
  std::string name;        ///< of the sub-index
  std::string typeName;    ///< "INTEGER16"; "UNSIGNED12" for a type of this node's own
  std::string accessName;  ///< "ro", "rww", ...
  KQ::KQCANopenDataType dataType = KQ::DATA_TYPE_NONE;
  bool isText = false;
  bool isInteger = false;
  bool isSigned = false;
  bool isReadable = false;
  bool isWritable = false;
  bool isVariable = false;  ///< its value lives in the variable store
  bool isInRecord = false;  ///< of a RECORD or ARRAY
  int bits = 0;             ///< of an integer
  long long lowest = 0;     ///< limits of an integer
  long long highest = 0;
};

/// An object of a PDO.
struct MappingInfo {
  unsigned short index = 0;
  unsigned char subIndex = 0;
  unsigned char bits = 0;
};

/// A PDO as it is configured at the moment.
struct PDOInfo {
  bool isTransmit = false;
  unsigned int number = 0;  ///< from 1 on
  unsigned int cobID = 0;   ///< 11 bits
  bool isValid = false;
  unsigned int transmissionType = 0;
  unsigned int inhibitTime = 0;  ///< ms
  unsigned int eventTimer = 0;   ///< ms
  std::vector<MappingInfo> mapping;

  bool operator==(const PDOInfo& other) const;
};

/// The value of an object, or why there is none.
struct ObjectReading {
  std::optional<long long> number;
  std::optional<std::string> text;
  bool isValid = true;  ///< false: marked invalid in the variable store, its source is gone
  std::string reason;
};

/// The node as the page shows it: what a person wants to know of the object dictionary. All operations belong to the
/// protocol thread, but for those that say otherwise.
class NodeView {
public:
  /// @param shown initialised; no object is added to it from now on; must outlive the view
  explicit NodeView(KQ::KQCANopen& shown);

  /// Every sub-index in the order of the dictionary. It never changes: any thread.
  const std::vector<ObjectInfo>& getObjects() const { return objects; }
  /// null for an object that there is not. Any thread.
  const ObjectInfo* findObject(unsigned short index, unsigned char subIndex) const;

  /// The communication parameters of the node's PDOs. It never changes: any thread.
  const std::vector<unsigned short>& getPDOs() const { return pdos; }
  PDOInfo readPDO(unsigned short communicationParameter);

  /// KQCANopenState
  int getState() const;

  ObjectReading read(const ObjectInfo& object);

  /// Writes as a master does by SDO: with the object's access right and limits. @param text as a person types it
  /// @return why it was refused; empty when it was not
  std::string write(const ObjectInfo& object, const std::string& text);

private:
  void addObject(const KQ::ObjectDictionaryEntry& entry, const KQ::ObjectDictionarySubEntry& subEntry);
  void describeType(ObjectInfo& object) const;
  unsigned int readNumber(unsigned short index, unsigned char subIndex);

  KQ::KQCANopen& node;
  std::vector<ObjectInfo> objects;
  std::vector<unsigned short> pdos;
};

}  // namespace panel
