#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "DataType.h"
#include "Findings.h"

namespace device_description {

/// A number of the file, the node-ID added where it says so.
struct Value {
  long long number = 0;          ///< an UNSIGNED64 by its bit pattern
  bool dependsOnNodeID = false;  ///< written with $NODEID
};

/// Access right as CiA 306 writes it: "ro", "wo", "rw", "rwr", "rww", "const".
enum class Access { RO, WO, RW, RWR, RWW, CONST };

/// The text of an access right in a file.
const char* getName(Access access);

/// One sub-index.
struct SubObject {
  unsigned char subIndex = 0;
  std::string name;  ///< UTF-8, never empty
  unsigned int dataType = 0;
  Access access = Access::RO;
  bool isMappable = false;  ///< may be mapped into a PDO

  /// Of an integer: nothing where the file has nothing. Limits that are missing are those of the type.
  std::optional<Value> lowLimit;
  std::optional<Value> highLimit;
  std::optional<Value> defaultValue;
  std::optional<Value> parameterValue;  ///< only of a DCF

  /// Of every other type: the text as it stands.
  std::string defaultText;
  std::string parameterText;  ///< only of a DCF

  /// What the device holds at first: the configured value before the default one.
  const std::optional<Value>& getValue() const { return parameterValue ? parameterValue : defaultValue; }
  const std::string& getText() const { return parameterText.empty() ? defaultText : parameterText; }
};

/// Object codes of CiA 301.
enum ObjectCode : unsigned int {
  CODE_DOMAIN = 0x2,
  CODE_DEFTYPE = 0x5,
  CODE_DEFSTRUCT = 0x6,
  CODE_VAR = 0x7,
  CODE_ARRAY = 0x8,
  CODE_RECORD = 0x9
};

/// One index.
struct Object {
  unsigned short index = 0;
  ObjectCode code = CODE_VAR;
  std::string name;                               ///< UTF-8, never empty
  std::map<unsigned char, SubObject> subObjects;  ///< by sub-index; sub-index 0 alone unless ARRAY, RECORD, DEFSTRUCT

  /// An ARRAY or RECORD has sub-indexes with names of their own.
  bool hasSubIndexes() const { return code == CODE_ARRAY || code == CODE_RECORD || code == CODE_DEFSTRUCT; }
};

/// One entry of a PDO's mapping.
struct MappedObject {
  unsigned short index = 0;  ///< of a data type: a dummy entry
  unsigned char subIndex = 0;
  unsigned char bits = 0;
};

/// A PDO as communication and mapping parameter describe it.
struct PDO {
  bool isTransmit = false;
  unsigned short number = 0;  ///< zero-based
  unsigned int cobID = 0;     ///< the whole entry, with its flags; 0x80000000 where the file has none
  unsigned char transmissionType = 0xFF;
  unsigned short inhibitTime = 0;
  unsigned short eventTimer = 0;
  std::vector<MappedObject> mapping;

  /// Whether the PDO exists; bit 31 says that it does not.
  bool isValid() const { return (cobID & 0x80000000U) == 0; }
  /// The CAN identifier.
  unsigned int getIdentifier() const { return cobID & 0x1FFFFFFFU; }
  unsigned short getCommunicationIndex() const;
  unsigned short getMappingIndex() const;
};

/// Who made the file, and when; texts as they stand.
struct FileInfo {
  std::string creationTime;
  std::string creationDate;
  std::string modificationTime;
  std::string modificationDate;
};

struct DeviceInfo {
  std::string vendorName;
  std::string productName;
  std::string orderCode;
  unsigned int vendorNumber = 0;
  unsigned int productNumber = 0;
  unsigned int revisionNumber = 0;
};

/// What an electronic data sheet or a device configuration file (CiA 306) says about a device.
///
/// A plain value. Reading belongs to any thread; nothing here knows of a node.
class DeviceDescription {
public:
  /// Reads a file, as far as it can be read: what is wrong or odd is told in @p findings, and what is wrong is left
  /// out. A file that cannot be opened is an error and an empty description.
  /// @param nodeID stands for $NODEID, 1 to 127; nothing: the one that a DCF says, else @p otherwise
  static DeviceDescription read(const std::string& fileName, std::optional<unsigned char> nodeID, Findings& findings,
                                unsigned char otherwise = 1);

  /// The same for a text. @param name stands for the file in the findings
  static DeviceDescription parse(const std::string& text, const std::string& name, std::optional<unsigned char> nodeID,
                                 Findings& findings, unsigned char otherwise = 1);

  /// The description as a file that can be read again: lists complete, limits in their type's range.
  /// @param fileName is told in the file, as CiA 306 wants it
  std::string write(const std::string& fileName) const;

  /// Null when missing.
  const Object* find(unsigned short index) const;
  const SubObject* find(unsigned short index, unsigned char subIndex) const;

  /// For people: the object's name, behind it that of the sub-index where there are several: "Drive, Speed"; empty when
  /// neither is described.
  std::string getName(unsigned short index, unsigned char subIndex) const;

  /// The bits and sign of an integer type, standard or defined by the file (DEFTYPE); nothing for other types.
  std::optional<IntegerType> getIntegerType(unsigned int dataType) const;
  /// "UNSIGNED8", or the number of a type that has no name here: "0x40".
  std::string getTypeName(unsigned int dataType) const;

  /// The PDOs, receive ones first, by number.
  std::vector<PDO> getPDOs() const;

  FileInfo fileInfo;
  DeviceInfo deviceInfo;
  unsigned char nodeID = 1;                         ///< what stood for $NODEID
  std::optional<unsigned char> commissionedNodeID;  ///< what a DCF says
  std::map<unsigned short, Object> objects;         ///< by index
};

/// "0x" and the number in upper-case hexadecimal digits, at least as many as asked for.
std::string toHexadecimal(unsigned long long number, int digits = 1);

/// The name of the section of a sub-index: "1018sub4".
std::string getSectionName(unsigned short index, unsigned char subIndex);
/// That of an object: "1018".
std::string getSectionName(unsigned short index);

}  // namespace device_description
