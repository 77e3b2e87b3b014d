#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "KQErrorCodes.h"
#include "KQVariableStorageType.h"
#include "ObjectDictionaryEntry.h"

namespace KQ {

class KQCANopen;
class KQDEI;
class KQNMTHandler;
class KQPDOHandler;
class KQSDOHandler;

/// The node's object dictionary: the one place through which the handlers read and write objects.
///
/// Objects from index 0x2000 on are backed by application variables of the variable store; objects below keep their
/// value here. Results are those of KQErrorCodes.h or CiA 301 SDO abort codes, which the SDO server sends as they are.
/// Every failure leaves the dictionary as it was. Nothing is locked: all operations belong to the protocol thread. Only
/// the integer form of getValue(), and the write of a transmission counter, may run beside it, on the threads that send
/// a PDO, as long as no object is added or removed.
///
/// An object key is index << 16 | sub-index; bits 8 to 15 are ignored.
class KQCANopenObjectDictionary {
public:
  KQCANopenObjectDictionary() = default;
  KQCANopenObjectDictionary(const KQCANopenObjectDictionary&) = delete;
  KQCANopenObjectDictionary& operator=(const KQCANopenObjectDictionary&) = delete;
  /// Deletes all entries; none of the objects that it points to.
  virtual ~KQCANopenObjectDictionary();

  /// The variable store and the node itself, whose variables are the own ones; each may be null. Not owned.
  void setDEI(KQDEI* store) { dei = store; }
  void setCANopenInstance(KQCANopen* canopen) { instance = canopen; }
  /// Who is told of writes to communication objects; each may be null.
  void setPDOHandler(KQPDOHandler* handler) { pdoHandler = handler; }
  void setSDOHandler(KQSDOHandler* handler) { sdoHandler = handler; }
  void setNMTHandler(KQNMTHandler* handler) { nmtHandler = handler; }

  /// Adds an entry without sub-entries. @return 0; 25 when the index exists (nothing changes)
  int addEntry(unsigned short index, KQCANopenObjectType objectType, const std::string& name);

  /// Adds a sub-entry, or overwrites an existing one in place (its limits stay). Sub-index 0 of an ARRAY or RECORD
  /// follows the highest sub-index added.
  /// @param defaultValue default and first value of a non-string type
  /// @param defaultValueString default and first value of a string; kept as text for other types
  /// @param sdoServerID request COB-ID of the SDO server that holds the object, 0 = this node
  /// @return 0; 23 without the entry
  int addSubentry(unsigned short index, unsigned char subIndex, KQCANopenAccessType accessType,
                  KQCANopenDataType dataType, const std::string& name, bool pdoMappable, int defaultValue,
                  const std::string& defaultValueString, unsigned int sdoServerID);

  /// Look-ups; null or false when missing. What they return stays owned by the dictionary.
  ObjectDictionaryEntry* getEntry(unsigned short index) const;
  ObjectDictionarySubEntry* getSubentry(unsigned short index, unsigned char subIndex) const;
  bool objectExists(unsigned short index) const;
  bool subObjectExists(unsigned short index, unsigned char subIndex) const;
  /// The entries that exist from index @p first to @p last, in this order; empty when there are none.
  [[nodiscard]] std::vector<ObjectDictionaryEntry*> getEntries(unsigned short first, unsigned short last) const;

  /// The storage of a sub-entry's integer value, stable for the life of the dictionary; null when missing.
  int* getPointerToValue(unsigned short index, unsigned char subIndex) const;

  /// @return 0; 23 when missing (then @p dataType is DATA_TYPE_NONE)
  int getDataType(unsigned short index, unsigned char subIndex, KQCANopenDataType& dataType) const;

  /// Reads an integer value; a variable-backed one comes from the store.
  /// @return 0; 23 when missing; 0x06010001 for a write-only object; 10 for a variable-backed one without a store; else
  ///   the store's code, of which 12 (marked invalid) comes with a value
  int getValue(unsigned short index, unsigned char subIndex, int& value);
  int getValue(unsigned int key, int& value);

  /// Reads a text value; write-only objects are readable in this form. @return 0; 23; 10; the store's code
  int getValue(unsigned short index, unsigned char subIndex, std::string& value);
  int getValue(unsigned int key, std::string& value);

  /// Writes an integer value and tells the handlers concerned.
  /// @param force true for the stack's own writes, which may pass access rights; false for writes from the bus
  /// @return 0; 23 when missing or a VISIBLE_STRING; 0x06010002 (read only); 0x06090030 (outside the limits); the
  ///   codes of handleValueChangeRequest(); the store's code
  int setValue(unsigned short index, unsigned char subIndex, int value, bool force);
  int setValue(unsigned int key, int value, bool force);

  /// Writes a VISIBLE_STRING. @return 0; 23 when missing or of another type; 20, 30; the store's code
  int setValue(unsigned short index, unsigned char subIndex, const std::string& value, bool force);

  /// Forces the default value into a non-string sub-entry.
  /// @return 0 when missing; -1 for a VISIBLE_STRING, which stays as it is; else as setValue()
  int resetValue(unsigned int key);

  /// @param low,high stored as they are; compared signed or unsigned as the type says
  /// @return 0; 20 when missing
  int setLimits(unsigned short index, unsigned char subIndex, int low, int high);

  /// Properties of data types (CiA 301 data type area). -1 bytes and bits: no fixed size.
  bool isSigned(unsigned int key) const;
  bool isDataTypeSigned(KQCANopenDataType dataType) const;
  int getNumberOfBytesByDatatType(KQCANopenDataType dataType) const;
  int getNumberOfBitsByDatatType(KQCANopenDataType dataType) const;

  /// How the variable store keeps an object. @return 0; 1 when missing (nothing stored); 29 for type 0 (undefined)
  int getVariableStorageType(unsigned int key, KQVariableStorageType* storageType) const;

  /// "ro", "wo", "rw", "rww", "rwr", "const"; empty for any other value.
  static std::string getAccessTypeString(KQCANopenAccessType accessType);

  /// Binds an object to the SDO server of another node.
  /// @return 0; 10 when the sub-entry or the SDO handler is missing; 23 when the SDO handler refuses
  int setSDOServerID(unsigned short index, unsigned char subIndex, unsigned int id);

  /// The rules for writes to objects below 0x2000.
  /// @param value may be changed (bit 30 of a PDO COB-ID); the changed value is the one to store
  /// @return 0 to accept; 11, 20, 30; 0x06010000, 0x06010002, 0x06060000, 0x06070012, 0x06090030, 0x06090031,
  ///   0x08000023
  int handleValueChangeRequest(unsigned short index, ObjectDictionarySubEntry* subEntry, int& value, bool force);
  /// The same for texts. @return 0 to accept; 20; 30
  int handleValueChangeRequest(unsigned short index, ObjectDictionarySubEntry* subEntry, const std::string& value,
                               bool force);

  /// Forces every default value back, sub-index 0 only of a VAR. @param all false: the walk ends at the first entry
  /// from 0x2000 on, in the entry map's order. @return 0
  int performReset(bool all);

  /// Writes the dictionary with its current values as a device configuration file (CiA 306); those of variables are
  /// read from the store first, whatever their access right.
  /// @param fileName replaced when it exists; "cout" writes to standard output instead
  /// @return 0, also when the file could be opened but not be written to its end, on a full disk for instance: that is
  ///   one line on standard error, with the name of the file; 16 when the file cannot be opened for writing
  int storeParameters(const std::string& fileName);

  /// Creates the data type area (0x0001 to 0x001B). @return 0
  int createDataTypeEntries();

  /// Creates the data type area and the communication profile objects of a fresh node and writes
  /// "tavo_default.dcf". @return 0
  int createPreDefinedConnectionSet();

private:
  // Both look an object up once and use it often.
  friend class KQPDO;
  friend class KQSDOHandler;

  /// As the public ones, for who has looked the object up. @param subEntry one of the object @p index
  int getValue(unsigned short index, ObjectDictionarySubEntry& subEntry, int& value) const;
  int setValue(unsigned short index, ObjectDictionarySubEntry& subEntry, int value, bool force);
  int readVariable(unsigned short index, ObjectDictionarySubEntry& subEntry, int& value) const;
  int writeIntoDictionary(unsigned short index, ObjectDictionarySubEntry& subEntry, int value, bool force);
  int writeVariable(unsigned short index, ObjectDictionarySubEntry& subEntry, int value, bool force) const;
  bool isOwnVariable(unsigned short index, unsigned char subIndex) const;
  void notifyHandlers(unsigned short index, const ObjectDictionarySubEntry& subEntry);
  void raiseHighestSubIndex(const ObjectDictionaryEntry& entry, unsigned char subIndex);
  void resetSubEntry(unsigned short index, const ObjectDictionarySubEntry& subEntry);
  std::string getSoftwareVersion();
  void refreshVariables();
  std::string getDescription();

  std::unordered_map<unsigned short, ObjectDictionaryEntry*> entries;  ///< by index, owned
  KQDEI* dei = nullptr;
  KQCANopen* instance = nullptr;
  KQPDOHandler* pdoHandler = nullptr;
  KQSDOHandler* sdoHandler = nullptr;
  KQNMTHandler* nmtHandler = nullptr;
};

}  // namespace KQ
